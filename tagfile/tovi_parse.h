#ifndef TOVI_PARSE_H
#define TOVI_PARSE_H

/// Parsing tag files. A line is reduced (comment and white space cut off) and split into at most three words; the
/// first word selects a keyword or is the name of an application entry.

#include "common/platform/line_reader.h"
#include "tagfile/keyword.h"
#include "tagfile/tov.h"
#include "tagfile/tovi_object.h"
#include "tagfile/tovi_report.h"

#include <array>

/// Words that a line is split into at most.
enum { TOVI_LINE_WORDS = 3 };

namespace tov {

/// The words of one line; they point into the line.
struct Words {
    int count = 0;
    std::array<char *, TOVI_LINE_WORDS> word = {};

    [[nodiscard]] const char *name() const { return word[0]; }
    /// The value of an application entry. Documented: a third word is dropped.
    [[nodiscard]] const char *entryValue() const { return count > 1 ? word[1] : ""; }
    /// The last word; "" without one.
    [[nodiscard]] const char *value() const {
        return count == 0 ? "" : word[static_cast<std::size_t>(count) - 1];
    }
};

/// Reduces the line in `text` and splits it in place.
[[nodiscard]] Words splitLine(vek::LineBuffer &text);

/// Appends an application entry. @return false if memory is exhausted; `obj` is then unchanged
[[nodiscard]] bool addApplicationEntry(VekinfoObj &obj, const char *name, const char *value);

/// Applies the words of one line to `obj`.
/// @return kNoError, or why the line was not applied, with `obj.line` as the line number
Report applyWords(const Keywords &keywords, const Words &words, VekinfoObj &obj);

/// Calls `apply` with the words of each line that has any, and counts the lines in `obj.line`.
/// @param apply  returns kNoError, or why the line cannot be applied, which ends the loop
/// @return kNoError, or the error of `apply` or of reading
template <typename Apply>
Report forEachLine(vek::LineReader &lines, VekinfoObj &obj, Apply apply) {
    Report report = kNoError;
    vek::LineBuffer line; // NOLINT(cppcoreguidelines-pro-type-member-init): next() fills it
    for (std::uint32_t number = 1; !report.isError() && lines.next(line); ++number) {
        obj.line = number;
        const Words words = splitLine(line);
        if (words.count > 0) {
            report = apply(words);
        }
    }
    // A read error must fail: treating the part read so far as the whole file would make the next edit delete the rest.
    return lines.hasFailed() ? kCannotRead : report;
}

/// Parses all lines into `obj`, which counts them.
/// @param element  the entry to search, or null
/// @param found    set to true if a line names `element`; false after an error; otherwise left alone
/// @return kNoError, or why parsing stopped
Report parseLines(const Keywords &keywords, vek::LineReader &lines, const char *element, VekinfoObj &obj,
                  bool &found);

/// Parses a whole text into a new object.
/// @param path  the path of the object, or null
/// @return kNoError, or why parsing stopped, kNoMemory among the reasons
Report parseText(const Keywords &keywords, const char *path, std::string_view text, OwnedInfoObj &obj);

/// @return the keyword whose line in `text` the parser would reject; null if it accepts all lines
const Keyword *findRejected(const Keywords &keywords, std::string_view text);

} // namespace tov

#endif
