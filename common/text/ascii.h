#ifndef COMMON_ASCII_H
#define COMMON_ASCII_H

/// Character classes and comparison of texts for ASCII. Unlike the functions of <cctype>, these functions do not
/// depend on the locale that setlocale() sets.

#include <cstddef>
#include <string_view>

namespace vek {

/// @return true if `c` is white space: a blank, or a control character from tab to carriage return (codes 9 to 13)
constexpr bool isSpace(char c) {
    // Most characters of a text are greater than the blank: they need one comparison.
    return static_cast<unsigned char>(c) <= ' ' && (c == ' ' || (c >= '\t' && c <= '\r'));
}

/// @return true if `c` is a blank or a tab
constexpr bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

/// @return true if `c` is a printable ASCII character; the blank is included
constexpr bool isPrint(char c) {
    return c >= ' ' && c <= '~';
}

constexpr bool isUpper(char c) {
    return c >= 'A' && c <= 'Z';
}

constexpr bool isAlnum(char c) {
    return (c >= '0' && c <= '9') || isUpper(c) || (c >= 'a' && c <= 'z');
}

constexpr char toLower(char c) {
    return isUpper(c) ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr char toUpper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

// These functions replace the members starts_with() and ends_with() of std::string_view. The members can call a
// function of the C++ run-time library that throws an exception, and this library is linked without the C++ run-time
// library.

constexpr bool startsWith(std::string_view text, std::string_view start) {
    return text.size() >= start.size() && std::string_view(text.data(), start.size()) == start;
}

constexpr bool endsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() &&
           std::string_view(text.data() + (text.size() - end.size()), end.size()) == end;
}

/// @return true if `a` and `b` are equal when the case of ASCII letters is ignored
constexpr bool equalNoCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (toLower(a[i]) != toLower(b[i])) {
            return false;
        }
    }
    return true;
}

} // namespace vek

#endif
