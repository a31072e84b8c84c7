// Parser of tag files. It removes the comment and the white space around the rest of a line, and splits the rest into
// words in place, by writing NUL bytes. The first word is looked up in the table of keywords; if it is not there, the
// line is an application entry.

#include "tagfile/tovi_parse.h"

#include "common/text/ascii.h"
#include "common/text/owned_strlist.h"
#include "common/text/view_up_to.h"

#include <cstdlib>
#include <cstring>

namespace tov {

namespace {

/// The strings that begin a comment. Such a string must be at the start of the line, or directly after a blank or a
/// tab.
constexpr std::array<std::string_view, 3> kCommentMarkers = {"--", "#", ";"};

std::string_view withoutComment(std::string_view line) {
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (i > 0 && !vek::isBlank(line[i - 1])) {
            continue;
        }
        for (const std::string_view marker : kCommentMarkers) {
            if (vek::startsWith({line.data() + i, line.size() - i}, marker)) {
                return {line.data(), i == 0 ? 0 : i - 1};
            }
        }
    }
    return line;
}

std::string_view withoutWhiteSpaceAround(std::string_view line) {
    while (!line.empty() && vek::isBlank(line.back())) {
        line.remove_suffix(1);
    }
    while (!line.empty() && vek::isSpace(line.front())) {
        line.remove_prefix(1);
    }
    return line;
}

} // namespace

Words splitLine(vek::LineBuffer &text) {
    const std::size_t length = vek::viewUpTo(text.data(), text.size() - 1).size();
    const void *newline = std::memchr(text.data(), '\n', length);
    const std::size_t end = newline == nullptr
                                ? length
                                : static_cast<std::size_t>(static_cast<const char *>(newline) - text.data());
    const std::string_view line = withoutWhiteSpaceAround(withoutComment({text.data(), end}));

    char *at = text.data() + (line.data() - text.data());
    at[line.size()] = '\0';
    Words words;
    while (*at != '\0' && words.count < TOVI_LINE_WORDS) {
        words.word[static_cast<std::size_t>(words.count++)] = at;
        if (words.count == TOVI_LINE_WORDS) {
            break; // the third word is the whole rest of the line
        }
        while (*at != '\0' && !vek::isSpace(*at)) {
            ++at;
        }
        while (vek::isSpace(*at)) {
            *at++ = '\0';
        }
    }
    return words;
}

bool addApplicationEntry(VekinfoObj &obj, const char *name, const char *value) {
    if (!vek::appendToStrlist(obj.names, name, &obj.namesSize)) {
        return false;
    }
    if (vek::appendToStrlist(obj.values, value, &obj.valuesSize)) {
        return true;
    }
    // Remove the name again: `names` and `values` must have the same number of strings.
    char *&added = obj.names[vekGetStrlistSize(obj.names) - 1];
    std::free(added);
    added = nullptr;
    return false;
}

Report applyWords(const Keywords &keywords, const Words &words, VekinfoObj &obj) {
    const Keyword *keyword = keywords.find(words.word[0]);
    if (keyword == nullptr) {
        return addApplicationEntry(obj, words.name(), words.entryValue()) ? kNoError : kNoMemory;
    }
    if (!keyword->allows(words.count, words.value())) {
        return {TOV_SYNTAX_ERROR, keyword->syntaxError, Naming::File, static_cast<int>(obj.line)};
    }
    return keyword->set(obj, words.value()) ? kNoError : kNoMemory;
}

ParseResult parseLines(const Keywords &keywords, vek::LineReader &lines, const char *element,
                       VekinfoObj &obj) {
    bool hasElement = false;
    const Report report = forEachLine(lines, obj, [&](const Words &words) {
        hasElement = hasElement || (element != nullptr && vek::equalNoCase(words.name(), element));
        return applyWords(keywords, words, obj);
    });
    return {.report = report, .hasElement = hasElement && !report.isError()};
}

Report parseText(const Keywords &keywords, const char *path, std::string_view text, OwnedInfoObj &obj) {
    obj = makeEmptyInfoObj(path);
    if (!obj) {
        return kNoMemory;
    }
    vek::LineReader lines(text);
    return parseLines(keywords, lines, nullptr, *obj).report;
}

const Keyword *findRejected(const Keywords &keywords, std::string_view text) {
    vek::LineReader lines(text);
    vek::LineBuffer line; // NOLINT(cppcoreguidelines-pro-type-member-init): next() fills it
    while (lines.next(line)) {
        const Words words = splitLine(line);
        const Keyword *keyword = words.count == 0 ? nullptr : keywords.find(words.word[0]);
        if (keyword != nullptr && !keyword->allows(words.count, words.value())) {
            return keyword;
        }
    }
    return nullptr;
}

} // namespace tov
