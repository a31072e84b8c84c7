#ifndef COMMON_FIXED_TEXT_H
#define COMMON_FIXED_TEXT_H

/// The one type for text in a buffer of fixed size. It knows its capacity, is always NUL-terminated, and
/// never writes past its end.

#include "common/vek_api.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace vek {

/// @tparam Size  bytes of the buffer, the NUL included, so that the text has at most Size - 1 characters
template <std::size_t Size>
class FixedText {
  public:
    static_assert(Size > 0);
    static constexpr std::size_t kCapacity = Size - 1;

    // The buffer beyond the NUL stays uninitialized on purpose: clearing 4 KiB per path would cost more
    // than most uses of it.
    FixedText() { data_[0] = '\0'; } // NOLINT(cppcoreguidelines-pro-type-member-init)

    /// Appends all of `text`, or nothing. @return whether it fitted
    [[nodiscard]] bool append(std::string_view text) {
        if (text.size() > kCapacity - size_) {
            return false;
        }
        if (!text.empty()) { // an empty view may have no address
            std::memmove(data_.data() + size_, text.data(), text.size());
        }
        setSize(size_ + text.size());
        return true;
    }
    [[nodiscard]] bool append(char c) { return append(std::string_view(&c, 1)); }

    /// Appends every piece in order. @return whether all of them fitted; else the text is as it was
    template <typename... Pieces>
    [[nodiscard]] bool appendAll(const Pieces &...pieces) {
        const std::size_t before = size_;
        if ((append(pieces) && ...)) {
            return true;
        }
        truncate(before);
        return false;
    }

    /// Appends as much of `text` as fits. For texts that the documentation says are cut.
    void appendCut(std::string_view text) {
        const std::size_t room = kCapacity - size_;
        static_cast<void>(append(std::string_view(text.data(), text.size() < room ? text.size() : room)));
    }

    /// Replaces the text by the pieces, joined. @return whether they fitted; else the text is empty
    template <typename... Pieces>
    [[nodiscard]] bool assign(const Pieces &...pieces) {
        clear();
        return appendAll(pieces...);
    }

    void clear() { setSize(0); }

    /// Drops everything from offset `size` on; a text no longer than that stays as it is.
    void truncate(std::size_t size) {
        if (size < size_) {
            setSize(size);
        }
    }

    /// The buffer, for a C function that fills up to Size bytes of it; measure() must follow.
    [[nodiscard]] char *data() { return data_.data(); }
    /// Takes the length anew from the NUL that a C function wrote.
    void measure() {
        data_[kCapacity] = '\0';
        size_ = std::strlen(data_.data());
    }
    /// Takes a length that a C function returned; `size` is at most kCapacity.
    void setSize(std::size_t size) {
        size_ = size;
        data_[size_] = '\0';
    }

    [[nodiscard]] const char *c_str() const { return data_.data(); }
    [[nodiscard]] std::string_view view() const { return {data_.data(), size_}; }
    [[nodiscard]] std::size_t size() const { return size_; }
    [[nodiscard]] bool empty() const { return size_ == 0; }
    [[nodiscard]] char back() const { return size_ == 0 ? '\0' : data_[size_ - 1]; }

  private:
    std::array<char, Size> data_;
    std::size_t size_ = 0;
};

/// A path or line of at most 4095 characters.
using PathText = FixedText<VEK_PATH_SIZE>;

/// Copies `text` and its NUL into a caller's buffer of `size` bytes. @return whether it fitted; else the
/// buffer is untouched
[[nodiscard]] inline bool copyToBuffer(std::string_view text, char *buffer, std::size_t size) {
    if (text.size() >= size) {
        return false;
    }
    if (!text.empty()) {
        std::memmove(buffer, text.data(), text.size());
    }
    buffer[text.size()] = '\0';
    return true;
}

} // namespace vek

#endif
