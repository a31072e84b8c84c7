// The tag file parser. A line is reduced and split in place, without copies. Its first word is looked up in the table of
// keywords. The documented functions also report errors and update the cached object that was returned last; they call
// the functions that return a report.

#include "tagfile/tovi_parse.h"

#include "common/text/ascii.h"
#include "common/text/owned_strlist.h"
#include "tagfile/tovi_cache.h"

#include <cstdlib>
#include <cstring>

static struct { vek::LineBuffer text; } lastLine; // the words of toviProcessLine() point into it

namespace tov {

namespace {

/// A comment begins with one of these, at the start of the line or after a blank or a tab.
constexpr std::array<std::string_view, 3> kCommentMarkers = {"--", "#", ";"};

bool opensComment(std::string_view text) {
    for (const std::string_view marker : kCommentMarkers) {
        if (vek::startsWith(text, marker)) {
            return true;
        }
    }
    return false;
}

std::string_view prefix(std::string_view text, std::size_t size) {
    return {text.data(), size};
}

std::string_view withoutComment(std::string_view line) {
    for (std::size_t i = 0; i < line.size(); ++i) {
        const bool atWordStart = i == 0 || vek::isBlank(line[i - 1]);
        if (atWordStart && opensComment({line.data() + i, line.size() - i})) {
            return prefix(line, i == 0 ? 0 : i - 1);
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

bool isSameText(const char *a, const char *b) {
    return a != nullptr && a == b;
}

/// Whether `obj` is a shallow copy of `cached`, with the same strings.
bool isShallowCopy(const VekinfoObj &obj, const VekinfoObj &cached) {
    return isSameText(obj.path, cached.path) || isSameText(obj.dmtype, cached.dmtype);
}

/// Applies the line of a keyword to an object and to the cached object returned last. Shared strings remain shared.
Report applyKeywordToBoth(const Words &words, VekinfoObj &obj, VekinfoObj &cached) {
    if (!isShallowCopy(obj, cached)) {
        const Report report = applyWords(kKeywords, words, obj);
        return report.isError() ? report : applyWords(kKeywords, words, cached);
    }
    const Report report = applyWords(kKeywords, words, cached);
    if (!report.isError()) {
        obj.dmtype = nullptr;
        static_cast<void>(applyWords(kKeywords, words, obj));
        std::free(obj.dmtype);
    }
    obj.dmtype = cached.dmtype;
    return report;
}

/// Adds an application entry to an object. Lists that it shares with the cached object remain shared.
Report applyEntryToOne(const Words &words, VekinfoObj &obj, VekinfoObj &cached) {
    const bool areShared = cached.names != nullptr && cached.names == obj.names;
    const Report report = applyWords(kKeywords, words, obj);
    if (areShared) {
        cached.names = obj.names;
        cached.namesSize = obj.namesSize;
        cached.values = obj.values;
        cached.valuesSize = obj.valuesSize;
    }
    return report;
}

} // namespace

Words splitLine(vek::LineBuffer &text) {
    const std::size_t length = strnlen(text.data(), text.size() - 1);
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
            break; // the last word is the rest of the line
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
    // The two lists stay parallel.
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

Report parseLines(const Keywords &keywords, vek::LineReader &lines, const char *element, VekinfoObj &obj,
                  bool &found) {
    const Report report = forEachLine(lines, obj, [&](const Words &words) {
        found = found || (element != nullptr && vek::equalNoCase(words.name(), element));
        return applyWords(keywords, words, obj);
    });
    found = found && !report.isError();
    return report;
}

Report parseText(const Keywords &keywords, const char *path, std::string_view text, OwnedInfoObj &obj) {
    obj = makeEmptyInfoObj(path);
    if (!obj) {
        return kNoMemory;
    }
    vek::LineReader lines(text);
    bool found = false;
    return parseLines(keywords, lines, nullptr, *obj, found);
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

void toviProcessLine(const char *line, int *count, char **words) {
    const std::size_t length = strnlen(line, lastLine.text.size() - 1);
    std::memmove(lastLine.text.data(), line, length);
    lastLine.text[length] = '\0';
    const tov::Words split = tov::splitLine(lastLine.text);
    *count = split.count;
    for (int i = 0; i < split.count; ++i) {
        words[i] = split.word[static_cast<std::size_t>(i)];
    }
}

int toviHandleInputLine(VekinfoObj *obj, const char *path, const char *element, int *found, int count,
                        char **words) {
    if (element != nullptr && found != nullptr && vek::equalNoCase(words[0], element)) {
        *found = 1;
    }
    tov::Words line;
    for (; line.count < count && line.count < TOVI_LINE_WORDS; ++line.count) {
        line.word[static_cast<std::size_t>(line.count)] = words[line.count];
    }
    tov::Report report;
    if (tempVekinfoFromHash == nullptr || tempVekinfoFromHash == obj) {
        report = tov::applyWords(tov::kKeywords, line, *obj);
    } else if (tov::kKeywords.find(words[0]) != nullptr) {
        report = tov::applyKeywordToBoth(line, *obj, *tempVekinfoFromHash);
    } else {
        report = tov::applyEntryToOne(line, *obj, *tempVekinfoFromHash);
    }
    return report.isError() ? tov::makeReport(report, path, nullptr) : TOV_OK;
}

int tovProcessVekinfoCommand(const char *line, const char *element, int *found, VekinfoObj *obj,
                             const char *path) {
    int count = 0;
    std::array<char *, TOVI_LINE_WORDS> words = {};
    toviProcessLine(line, &count, words.data());
    return count == 0 ? TOV_OK : toviHandleInputLine(obj, path, element, found, count, words.data());
}
