#ifndef RYNI_PATH_BUFFER_H
#define RYNI_PATH_BUFFER_H

#include "common/base/vek_api.h"

#include <cstring>
#include <string_view>

namespace ryn {

/// Copies `text` and a NUL into a C buffer of VEK_PATH_SIZE (4096) bytes. Truncates `text` to 4095 characters.
///
/// @param text    may point into `buffer`
/// @param buffer  if it is null, nothing is copied
inline void storeCut(std::string_view text, char *buffer) {
    if (buffer == nullptr) {
        return;
    }
    const std::size_t size = text.size() < VEK_PATH_SIZE ? text.size() : VEK_PATH_SIZE - 1;
    std::memmove(buffer, text.data(), size);
    buffer[size] = '\0';
}

} // namespace ryn

#endif
