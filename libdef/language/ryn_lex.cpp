#include "libdef/language/ryni_statement.h"

#include "common/text/ascii.h"

#include <cstring>
#include <string_view>

// The lexer: removes the comment of a line, then splits the line into a keyword and at most five arguments, separated
// by white space. An argument in double quotes can contain white space. There is no escape character and no
// continuation line.

namespace ryn {
namespace {

/// @return the first `end` characters of `text`, or all of it if it has fewer
std::string_view upTo(std::string_view text, std::size_t end) {
    return {text.data(), end < text.size() ? end : text.size()};
}

bool isSpaceAt(std::string_view text, std::size_t at) {
    return at < text.size() && vek::isSpace(text[at]);
}

/// Removes a comment that begins with "#". Documented: only the first "#" of the line is examined. It begins a
/// comment only after white space, and only if white space or the end of the line follows it.
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

/// Removes the line feed, the comment and trailing white space. A comment begins with "--" or "#" at the start of the
/// line, with white space and "--", or as in withoutHashComment().
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

/// Writes a NUL after the word that begins at `at`.
/// @return the rest of the line
char *endWord(char *at) {
    while (*at != '\0' && !vek::isSpace(*at)) {
        ++at;
    }
    if (*at != '\0') {
        *at++ = '\0';
    }
    return at;
}

/// Replaces by a NUL the closing quote of the quoted text that begins at `at`.
/// @return the rest of the line; null if there is no closing quote
char *endQuoted(char *at) {
    char *close = std::strchr(at, '"');
    if (close == nullptr) {
        return nullptr;
    }
    *close = '\0';
    return close + 1;
}

/// Stores the arguments that begin at `at` in `statement`. Documented: the text after the fifth argument is ignored.
/// @return Lexed::SyntaxError if a quote is not closed, otherwise Lexed::Statement
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
    const std::string_view text = reduce({line, strnlen(line, sizeof statement.line - 1)});
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
