#ifndef COMMON_FIXED_TEXT_H
#define COMMON_FIXED_TEXT_H

/// FixedText: a text in a buffer of fixed size. The text always ends with a NUL, and its stored length is always
/// correct. C functions can write into the buffer only through fill(), fillCounted() or edit(), which set the length
/// afterwards.

#include "common/base/vek_api.h"
#include "common/text/view_up_to.h"

#include <array>
#include <concepts>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <type_traits>

namespace vek {

/// A type that is neither a pointer nor a reference. A function that is called to write into a FixedText must return
/// such a type. If it returned a pointer into the buffer, the caller could write there later, and the length would be
/// wrong.
template <typename T>
concept NoPointer = !std::is_pointer_v<T> && !std::is_reference_v<T>;

/// Tag type that selects the FixedText constructor for variables in static storage.
struct ZeroFilled {};
inline constexpr ZeroFilled kZeroFilled{};

/// A NUL-terminated text of at most `Size` - 1 characters, stored in the object itself.
/// @tparam Size  the size of the buffer in bytes, including the NUL
template <std::size_t Size>
class FixedText {
  public:
    static_assert(Size > 0);
    static constexpr std::size_t kCapacity = Size - 1;

    // Initialize only the terminating NUL: setting all 4096 bytes of a path buffer to 0 would take longer than most
    // uses of the buffer.
    FixedText() { data_[0] = '\0'; } // NOLINT(cppcoreguidelines-pro-type-member-init)

    /// Sets the whole buffer to 0, so that the compiler can initialize a variable in static storage at compile time.
    constexpr explicit FixedText(ZeroFilled /*tag*/) : data_{} {}

    /// Appends `text`. @return false if it does not fit; nothing is then appended
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

    /// Appends all `pieces` in order. @return false if they do not fit together; nothing is then appended
    template <typename... Pieces>
    [[nodiscard]] bool appendAll(const Pieces &...pieces) {
        const std::size_t before = size_;
        if ((append(pieces) && ...)) {
            return true;
        }
        truncate(before);
        return false;
    }

    /// Appends as many characters of `text` as fit, and drops the rest. Only for a text whose maximum length is
    /// stated in the user documentation.
    void appendCut(std::string_view text) {
        const std::size_t free = kCapacity - size_;
        static_cast<void>(append(std::string_view(text.data(), text.size() < free ? text.size() : free)));
    }

    /// Replaces the text by the joined `pieces`. @return false if they do not fit; the text is then empty
    template <typename... Pieces>
    [[nodiscard]] bool assign(const Pieces &...pieces) {
        clear();
        return appendAll(pieces...);
    }

    void clear() { setSize(0); }

    /// Shortens the text to its first `size` characters. A text of at most `size` characters is unchanged.
    void truncate(std::size_t size) {
        if (size < size_) {
            setSize(size);
        }
    }

    /// Removes `count` characters, beginning at offset `from`. `from` + `count` must not exceed size().
    void erase(std::size_t from, std::size_t count) {
        const std::size_t rest = from + count;
        std::memmove(data_.data() + from, data_.data() + rest, size_ - rest);
        setSize(size_ - count);
    }

    /// Replaces the text by a NUL-terminated text that the C function `write` stores in the buffer.
    ///
    /// @param write  is called once as write(char *buffer, std::size_t size). It may write at most `size` bytes,
    ///               including a NUL at the end. If it writes nothing, the text is empty
    /// @return the result of `write`; errno keeps the value that `write` has set
    template <typename Write>
    requires std::invocable<Write &, char *, std::size_t> &&
        NoPointer<std::invoke_result_t<Write &, char *, std::size_t>>
    auto fill(Write write) {
        clear();
        const Measurement measurement(*this);
        return write(data_.data(), Size);
    }

    /// Replaces the text by the bytes that the C function `write` stores in the buffer. For functions such as
    /// readlink(), which return the number of bytes and write no NUL.
    ///
    /// @param write  is called once as write(char *buffer, std::size_t size). If it returns a negative number, the
    ///               text is empty
    /// @return the result of `write`; errno keeps the value that `write` has set
    template <typename Write>
    requires std::signed_integral<std::invoke_result_t<Write &, char *, std::size_t>>
    auto fillCounted(Write write) {
        const auto count = write(data_.data(), kCapacity);
        const std::size_t size = count < 0 ? 0 : static_cast<std::size_t>(count);
        setSize(size < kCapacity ? size : kCapacity);
        return count;
    }

    /// Calls a C function that changes the text in place.
    ///
    /// @param change  is called once as change(char *text). It must not write after the NUL of the text
    /// @return the result of `change`
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
    /// Scope guard for writes of a C function into the buffer: its destructor sets the length of the text to the
    /// offset of the first NUL.
    class Measurement {
      public:
        explicit Measurement(FixedText &text) : text_(text) {}
        Measurement(const Measurement &) = delete;
        Measurement &operator=(const Measurement &) = delete;
        ~Measurement() { text_.setSize(viewUpTo(text_.data_.data(), kCapacity).size()); }

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

/// A text buffer for one path or one line: at most 4095 characters and the NUL.
using PathText = FixedText<VEK_PATH_SIZE>;

/// Copies `text` and a NUL into `buffer`, which has `size` bytes.
/// @return false if they do not fit; the buffer is then unchanged
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
