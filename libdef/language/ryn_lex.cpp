#include "libdef/language/ryni_statement.h"

#include "common/text/ascii.h"
#include "common/text/view_up_to.h"

#include <string_view>

// Lexer for one line of a library definition file (vek.lib). Removes the comment, then splits the line at white space
// into a keyword and at most five arguments. An argument in double quotes can contain white space. There is no escape
// character, and a statement cannot continue on the next line.

namespace ryn {
namespace {

/// @return the first `end` characters of `text`, or all of it if it has fewer
std::string_view upTo(std::string_view text, std::size_t end) {
    return {text.data(), end < text.size() ? end : text.size()};
}

bool isSpaceAt(std::string_view text, std::size_t at) {
    return at < text.size() && vek::isSpace(text[at]);
}

/// Returns `line` without a comment that begins with "#". Documented: only the first "#" of the line can begin a
/// comment. It begins one if white space comes before it, and white space or the end of the line comes after it.
std::string_view withoutHashComment(std::string_view line) {
    const std::size_t at = line.find('#');
    if (at == std::string_view::npos || at == 0 || !isSpaceAt(line, at - 1)) {
        return line;
    }
    return at + 1 == line.size() || isSpaceAt(line, at + 1) ? upTo(line, at - 1) : line;
}

std::string_view withoutTrailingSpace(std::string_view line) {
    while (!line.empty() && vek::isSpace(line.back())) {
        line.remove_suffix(1);
    }
    return line;
}

/// Returns `line` without its line feed, its comment and trailing white space. A comment begins with "--" or "#" at the
/// start of the line, with "--" after a space or a tab, or with the first "#" of the line if white space comes before
/// it, and white space or the end of the line comes after it.
std::string_view reduce(std::string_view line) {
    line = upTo(line, line.find('\n'));
    if (vek::startsWith(line, "--")) {
        return upTo(line, 0);
    }
    line = upTo(line, line.find(" --"));
    line = upTo(line, line.find("\t--"));
    return vek::startsWith(line, "#") ? upTo(line, 0) : withoutTrailingSpace(withoutHashComment(line));
}

void copyLine(std::string_view text, char *to) {
    std::memcpy(to, text.data(), text.size());
    to[text.size()] = '\0';
}

char *skipSpace(char *at) {
    while (vek::isSpace(*at)) {
        ++at;
    }
    return at;
}

/// Ends the word that begins at `at` with a NUL, which replaces the white space after it.
/// @return the rest of the line, after the word
char *endWord(char *at) {
    while (*at > ' ' || (*at != '\0' && !vek::isSpace(*at))) { // one comparison for most characters
        ++at;
    }
    if (*at != '\0') {
        *at++ = '\0';
    }
    return at;
}

/// Ends a quoted argument with a NUL, which replaces the closing quote.
/// @param at  the first character after the opening quote
/// @return the rest of the line, after the closing quote; null if there is no closing quote
char *endQuoted(char *at) {
    const std::size_t length = std::string_view(at).find('"');
    if (length == std::string_view::npos) {
        return nullptr;
    }
    at[length] = '\0';
    return at + length + 1;
}

/// Splits the text at `at` into arguments and adds them to `statement`. Documented: the text after the fifth argument
/// is ignored, even if it contains an unclosed quote.
/// @return Lexed::SyntaxError if a quote of the first five arguments is not closed, otherwise Lexed::Statement
Lexed lexArguments(char *at, Statement &statement) {
    for (at = skipSpace(at); *at != '\0' && statement.count < kMaxArguments; at = skipSpace(at)) {
        const bool quoted = *at == '"';
        char *argument = quoted ? at + 1 : at;
        at = quoted ? endQuoted(argument) : endWord(argument);
        if (at == nullptr) {
            return Lexed::SyntaxError;
        }
        statement.arguments[static_cast<std::size_t>(statement.count++)] = argument;
    }
    return Lexed::Statement;
}

} // namespace

Lexed lex(const char *line, Statement &statement) {
    const std::string_view text = reduce(vek::viewUpTo(line, sizeof statement.line - 1));
    copyLine(text, statement.line);
    copyLine(text, statement.copy);
    statement.count = 0;
    statement.keyword = skipSpace(statement.line);
    if (*statement.keyword == '\0' || *statement.keyword == '#') {
        return Lexed::Nothing;
    }
    return lexArguments(endWord(statement.keyword), statement);
}

} // namespace ryn
