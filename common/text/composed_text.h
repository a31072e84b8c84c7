#ifndef COMMON_COMPOSED_TEXT_H
#define COMMON_COMPOSED_TEXT_H

#include "common/base/owned.h"

#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace vek {

/// A text of any length that is made of pieces, so that it is whole before any file is touched. A stream in memory
/// will not do: when memory is exhausted it loses what it holds and says that all is well.
class ComposedText {
  public:
    template <typename... Pieces>
    void append(const Pieces &...pieces) {
        const std::array<std::string_view, sizeof...(Pieces)> views = {std::string_view(pieces)...};
        for (const std::string_view view : views) {
            appendOne(view);
        }
    }

    /// @return false when memory was exhausted on the way
    [[nodiscard]] bool isWhole() const { return whole_; }

    /// @return the text, NUL-terminated, until the next change; null if memory was exhausted
    [[nodiscard]] const char *c_str() {
        append(std::string_view("", 1));
        if (!whole_) {
            return nullptr;
        }
        --size_;
        return text_.get();
    }

    [[nodiscard]] std::string_view view() const { return {text_.get(), size_}; }
    [[nodiscard]] std::size_t size() const { return size_; }

    /// Drops everything from offset `size` on.
    void truncate(std::size_t size) { size_ = size < size_ ? size : size_; }

  private:
    void appendOne(std::string_view piece) {
        if (!whole_ || !reserve(size_ + piece.size())) {
            whole_ = false;
            return;
        }
        if (!piece.empty()) {
            std::memcpy(text_.get() + size_, piece.data(), piece.size());
            size_ += piece.size();
        }
    }

    bool reserve(std::size_t size) {
        if (size <= capacity_) {
            return true;
        }
        constexpr std::size_t kFirst = 4096;
        const std::size_t wanted = 2 * capacity_ > size ? 2 * capacity_ : size + kFirst;
        auto *grown = static_cast<char *>(std::realloc(text_.get(), wanted));
        if (grown == nullptr) {
            return false;
        }
        static_cast<void>(text_.release()); // realloc() has taken it over
        text_.reset(grown);
        capacity_ = wanted;
        return true;
    }

    OwnedText text_;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
    bool whole_ = true;
};

} // namespace vek

#endif
