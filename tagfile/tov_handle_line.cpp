#include "tagfile/tovi_handle_line.h"

#include "common/text/ascii.h"
#include "common/text/view_up_to.h"
#include "tagfile/tovi_cache.h"
#include "tagfile/tovi_object.h"
#include "tagfile/tovi_parse.h"
#include "tagfile/tovi_read.h"

#include <array>
#include <cstdlib>
#include <cstring>

/// Copy of the line that toviProcessLine() split last. The returned words are pointers into this buffer.
static struct { vek::LineBuffer text; } lastLine;

namespace tov {

namespace {

bool isSameText(const char *a, const char *b) {
    return a != nullptr && a == b;
}

/// Returns true if `obj` is a shallow copy of `cached`, that is, if both contain a pointer to the same string. Such a
/// string must be freed only once.
bool isShallowCopy(const VekinfoObj &obj, const VekinfoObj &cached) {
    return isSameText(obj.path, cached.path) || isSameText(obj.dmtype, cached.dmtype);
}

/// Sets the keyword in `words` in both objects. If `obj` is a shallow copy of `cached`, both objects point to the same
/// new DMTYPE string afterwards; otherwise each has a string of its own.
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

/// Adds the application entry in `words` to `obj`. If `obj` and `cached` point to the same lists, also copies the new
/// list pointers to `cached`: appending may reallocate the lists, and the old pointers in `cached` would be invalid.
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

/// Adds all settings of `read` to `obj`, by calling toviHandleInputLine() for each keyword and each application entry.
/// @param path  the tag file, named in reports
/// @return TOV_OK, or the code of an error that has been reported
int merge(const VekinfoObj &read, const char *path, VekinfoObj *obj) {
    const auto apply = [&](const char *name, const char *value, int count) {
        // const_cast is safe here, because toviHandleInputLine() does not modify the words.
        std::array<char *, TOVI_LINE_WORDS> words = {const_cast<char *>(name), const_cast<char *>(value)};
        return toviHandleInputLine(obj, path, nullptr, nullptr, count, words.data());
    };
    int status = TOV_OK;
    for (const Keyword &keyword : kKeywords) {
        if (status == TOV_OK && keyword.isPresent(read)) {
            status = apply(keyword.name.data(), keyword.value(read), keyword.wordCount);
        }
    }
    for (int i = 0; status == TOV_OK && read.names != nullptr && read.names[i] != nullptr; ++i) {
        status = apply(read.names[i], read.values[i], 2);
    }
    return status;
}

} // namespace

} // namespace tov

void toviProcessLine(const char *line, int *count, char **words) {
    const std::size_t length = vek::viewUpTo(line, lastLine.text.size() - 1).size();
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

int tovParseVekinfo(const char *path, const char *element, VekinfoObj *obj, int *found) {
    VekinfoObj read = {};
    tovInitVekinfoObj(&read);
    const tov::ParseResult parsed = tov::readTagFile(tov::kKeywords, path, element, read);
    const bool hasLines = read.line > 0;
    if (hasLines) {
        obj->line = read.line;
    }
    const int merged = tov::merge(read, path, obj);
    tov::clearInfoObj(&read);
    const bool hasFailed = merged != TOV_OK || parsed.report.isError();
    // If the file could not be opened, no line was read (`hasLines` is false), and `*found` must not change.
    if (found != nullptr && (parsed.hasElement || (hasFailed && hasLines))) {
        *found = hasFailed ? 0 : 1;
    }
    return merged == TOV_OK && parsed.report.isError() ? tov::makeReport(parsed.report, path, nullptr)
                                                       : merged;
}
