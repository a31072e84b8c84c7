#ifndef COMMON_DECIMAL_H
#define COMMON_DECIMAL_H

#include <array>
#include <charconv>
#include <string_view>

namespace vek {

/// The decimal text of an int, for messages that are composed without printf(). Programs start faster without
/// printf(), because the dynamic linker need not resolve this symbol.
class Decimal {
  public:
    explicit Decimal(int number)
        : end_(std::to_chars(text_.data(), text_.data() + text_.size(), number).ptr) {}
    Decimal(const Decimal &) = delete; // end_ points into the object
    Decimal &operator=(const Decimal &) = delete;

    operator std::string_view() const { // NOLINT(google-explicit-constructor): a piece of text
        return {text_.data(), static_cast<std::size_t>(end_ - text_.data())};
    }

  private:
    std::array<char, 12> text_ = {}; ///< enough for a sign and the 10 digits of an int
    char *end_;
};

} // namespace vek

#endif
