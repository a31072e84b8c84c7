#ifndef COMMON_COMPOSED_TEXT_H
#define COMMON_COMPOSED_TEXT_H

#include "common/containers/growing_array.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace vek {

/// A growable text in memory, to compose the content of a file before the file is opened. Not open_memstream(): on
/// ENOMEM glibc drops buffered data and still reports success.
class ComposedText {
  public:
    template <typename... Pieces>
    void append(const Pieces &...pieces) {
        const std::array<std::string_view, sizeof...(Pieces)> views = {std::string_view(pieces)...};
        for (const std::string_view view : views) {
            appendOne(view);
        }
    }

    /// @return false if memory was exhausted in an earlier append(); the text is then incomplete
    [[nodiscard]] bool isWhole() const { return whole_; }

    /// @return the NUL-terminated text, valid until this object is changed; null if memory was exhausted
    [[nodiscard]] const char *c_str() {
        constexpr char kEnd = '\0';
        append(std::string_view(&kEnd, 1));
        if (!whole_) {
            return nullptr;
        }
        text_.pop();
        return &text_[0];
    }

    [[nodiscard]] std::string_view view() const {
        return text_.empty() ? std::string_view() : std::string_view(&text_[0], text_.size());
    }
    [[nodiscard]] std::size_t size() const { return text_.size(); }

    /// Shortens the text to its first `size` characters. A text of at most `size` characters is unchanged.
    void truncate(std::size_t size) {
        if (size < text_.size()) {
            text_.shrink(size);
        }
    }

  private:
    void appendOne(std::string_view piece) {
        if (!whole_ || piece.empty()) {
            return;
        }
        char *const end = text_.extend(piece.size());
        if (end == nullptr) {
            whole_ = false;
            return;
        }
        std::memcpy(end, piece.data(), piece.size());
    }

    GrowingArray<char> text_;
    bool whole_ = true;
};

} // namespace vek

#endif
