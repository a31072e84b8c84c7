#ifndef COMMON_VIEW_UP_TO_H
#define COMMON_VIEW_UP_TO_H

#include <cstddef>
#include <cstring>
#include <string_view>

namespace vek {

/// @return `text` up to its NUL, at most `most` characters. Nothing after them is read, so the NUL may be missing.
[[nodiscard]] inline std::string_view viewUpTo(const char *text, std::size_t most) {
    const void *const end = std::memchr(text, '\0', most);
    return {text, end == nullptr ? most : static_cast<std::size_t>(static_cast<const char *>(end) - text)};
}

} // namespace vek

#endif
