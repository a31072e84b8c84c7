#include "libdef/language/ryni_statement.h"

#include "common/text/ascii.h"

#include <cstring>
#include <string_view>

namespace {

std::string_view upTo(std::string_view text, std::size_t end) {
    return {text.data(), end < text.size() ? end : text.size()};
}

bool isSpaceAt(std::string_view text, std::size_t at) {
    return at < text.size() && vek::isSpace(text[at]);
}

/// Only the first "#" is looked at: it begins a comment when white space stands on both sides, or on the left and
/// nothing on the right.
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

/// The part of a line that counts, its leading white space included.
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

/// Ends the word at `at` with a NUL. @return where the rest of the line begins
char *endWord(char *at) {
    while (*at != '\0' && !vek::isSpace(*at)) {
        ++at;
    }
    if (*at != '\0') {
        *at++ = '\0';
    }
    return at;
}

/// Ends the quoted text at `at` with a NUL. @return where the rest of the line begins; null when it is not closed
char *endQuoted(char *at) {
    char *close = std::strchr(at, '"');
    if (close == nullptr) {
        return nullptr;
    }
    *close = '\0';
    return close + 1;
}

/// What stands behind the last argument is not looked at.
Lexed lexArguments(char *at, ryniStatement &statement) {
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

Lexed ryniLex(const char *line, ryniStatement &statement) {
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
