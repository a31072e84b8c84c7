#ifndef COMMON_FIXED_TEXT_H
#define COMMON_FIXED_TEXT_H

/// Text in a buffer of fixed size. It is always NUL-terminated and its length is always right: a C function can write
/// into it only through fill(), fillCounted() or edit(), which set the length afterwards.

#include "common/base/vek_api.h"

#include <array>
#include <concepts>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <type_traits>

namespace vek {

/// The result of a function that writes into a buffer. A pointer or a reference could be one into the buffer, and
/// would allow writing without setting the length.
template <typename T>
concept NoPointer = !std::is_pointer_v<T> && !std::is_reference_v<T>;

/// Selects the constructor for static storage.
struct ZeroFilled {};
inline constexpr ZeroFilled kZeroFilled{};

/// @tparam Size  bytes of the buffer, including the NUL
template <std::size_t Size>
class FixedText {
  public:
    static_assert(Size > 0);
    static constexpr std::size_t kCapacity = Size - 1;

    // The buffer after the NUL is not initialized: clearing 4 KiB for each path would cost more than most uses of it.
    FixedText() { data_[0] = '\0'; } // NOLINT(cppcoreguidelines-pro-type-member-init)

    /// For static storage: with the whole buffer zero, no code runs before main().
    constexpr explicit FixedText(ZeroFilled /*tag*/) : data_{} {}

    /// Appends `text`. @return false, and the text is unchanged, if it does not fit
    [[nodiscard]] bool append(std::string_view text) {
        if (text.size() > kCapacity - size_) {
            return false;
        }
        if (!text.empty()) { // memmove() must not get the null pointer of an empty view
            std::memmove(data_.data() + size_, text.data(), text.size());
        }
        setSize(size_ + text.size());
        return true;
    }
    [[nodiscard]] bool append(char c) { return append(std::string_view(&c, 1)); }

    /// Appends the pieces in order. @return false, and the text is unchanged, if they do not all fit
    template <typename... Pieces>
    [[nodiscard]] bool appendAll(const Pieces &...pieces) {
        const std::size_t before = size_;
        if ((append(pieces) && ...)) {
            return true;
        }
        truncate(before);
        return false;
    }

    /// Appends as much of `text` as fits. For texts that are documented to be cut.
    void appendCut(std::string_view text) {
        const std::size_t free = kCapacity - size_;
        static_cast<void>(append(std::string_view(text.data(), text.size() < free ? text.size() : free)));
    }

    /// Replaces the text by the joined pieces. @return false, and the text is empty, if they do not fit
    template <typename... Pieces>
    [[nodiscard]] bool assign(const Pieces &...pieces) {
        clear();
        return appendAll(pieces...);
    }

    void clear() { setSize(0); }

    /// Removes everything from offset `size` on. A text that is not longer is unchanged.
    void truncate(std::size_t size) {
        if (size < size_) {
            setSize(size);
        }
    }

    /// Removes `count` characters from offset `from` on. Both must lie in the text.
    void erase(std::size_t from, std::size_t count) {
        const std::size_t rest = from + count;
        std::memmove(data_.data() + from, data_.data() + rest, size_ - rest);
        setSize(size_ - count);
    }

    /// Replaces the text by what a C function writes.
    ///
    /// @param write  called once as write(char *buffer, std::size_t size). It may write `size` bytes and ends the text
    ///               with a NUL. If it writes nothing, the text is empty
    /// @return what `write` returned; errno is unchanged
    template <typename Write>
    requires std::invocable<Write &, char *, std::size_t> &&
        NoPointer<std::invoke_result_t<Write &, char *, std::size_t>>
    auto fill(Write write) {
        clear();
        const Measurement measurement(*this);
        return write(data_.data(), Size);
    }

    /// Replaces the text by what a function writes that returns the number of bytes and writes no NUL, like
    /// readlink().
    ///
    /// @param write  called once as write(char *buffer, std::size_t size). If it returns a negative number, the text is
    ///               empty
    /// @return what `write` returned; errno is unchanged
    template <typename Write>
    requires std::signed_integral<std::invoke_result_t<Write &, char *, std::size_t>>
    auto fillCounted(Write write) {
        const auto count = write(data_.data(), kCapacity);
        const std::size_t size = count < 0 ? 0 : static_cast<std::size_t>(count);
        setSize(size < kCapacity ? size : kCapacity);
        return count;
    }

    /// Lets a C function change the text in place.
    ///
    /// @param change  called once as change(char *text). It may write up to and including the NUL, not beyond
    /// @return what `change` returned
    template <typename Change>
    requires std::invocable<Change &, char *> && NoPointer<std::invoke_result_t<Change &, char *>>
    auto edit(Change change) {
        const Measurement measurement(*this);
        return change(data_.data());
    }

    [[nodiscard]] const char *c_str() const { return data_.data(); }
    [[nodiscard]] std::string_view view() const { return {data_.data(), size_}; }
    [[nodiscard]] std::size_t size() const { return size_; }
    [[nodiscard]] bool empty() const { return size_ == 0; }
    [[nodiscard]] char back() const { return size_ == 0 ? '\0' : data_[size_ - 1]; }

  private:
    /// Sets the length when it goes out of scope.
    class Measurement {
      public:
        explicit Measurement(FixedText &text) : text_(text) {}
        Measurement(const Measurement &) = delete;
        Measurement &operator=(const Measurement &) = delete;
        ~Measurement() { text_.setSize(strnlen(text_.data_.data(), kCapacity)); }

      private:
        FixedText &text_;
    };

    void setSize(std::size_t size) {
        size_ = size;
        data_[size_] = '\0';
    }

    std::array<char, Size> data_;
    std::size_t size_ = 0;
};

/// A path or line of at most 4095 characters.
using PathText = FixedText<VEK_PATH_SIZE>;

/// Copies `text` and a NUL into a caller's buffer of `size` bytes. @return false, and the buffer is unchanged, if it
/// does not fit
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
