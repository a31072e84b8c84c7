#ifndef TOVI_PARSE_H
#define TOVI_PARSE_H

/// Parser of tag files, which works line by line. For each line, it removes the comment and the white space around the
/// rest, and splits the rest into at most three words. The first word is a keyword or the name of an application entry.

#include "common/platform/line_reader.h"
#include "tagfile/keyword.h"
#include "tagfile/tov.h"
#include "tagfile/tovi_object.h"
#include "tagfile/tovi_report.h"

#include <array>

/// The maximum number of words into which a line is split. A valid keyword line has one or two words. The third word
/// contains the whole rest of the line, so that the parser can detect a line with too many words.
enum { TOVI_LINE_WORDS = 3 };

namespace tov {

/// The words of one line of a tag file. They are pointers into the line buffer, so they are valid only as long as this
/// buffer exists and is not changed.
struct Words {
    int count = 0;
    std::array<char *, TOVI_LINE_WORDS> word = {};

    [[nodiscard]] const char *name() const { return word[0]; }
    /// Returns the value if the line is an application entry: the second word, or "" if there is none. Documented: a
    /// third word is ignored.
    [[nodiscard]] const char *entryValue() const { return count > 1 ? word[1] : ""; }
    /// Returns the value in a line that consists of a keyword and its value: the last word. Returns "" if the line has
    /// no words.
    [[nodiscard]] const char *value() const {
        return count == 0 ? "" : word[static_cast<std::size_t>(count) - 1];
    }
};

/// Splits the line in `text` into words, without its comment and the white space around it. Changes `text`: each word
/// ends with a NUL byte that replaces white space.
[[nodiscard]] Words splitLine(vek::LineBuffer &text);

/// Appends an application entry to `obj`. @return false if memory is exhausted; `obj` is then unchanged
[[nodiscard]] bool addApplicationEntry(VekinfoObj &obj, const char *name, const char *value);

/// Adds one line of a tag file to the settings in `obj`. If the first word is a keyword, sets this keyword; otherwise
/// appends an application entry.
/// @return kNoError, kNoMemory, or the syntax error of the keyword with `obj.line` as its line number
Report applyWords(const Keywords &keywords, const Words &words, VekinfoObj &obj);

/// Splits all lines into words and calls `apply` for each line that has words. During a call, `obj.line` is the number
/// of the current line, counted from 1. After the loop, it is the number of lines read.
/// @param apply  called with the words of a line. Returns kNoError to continue; any other report ends the loop
/// @return kNoError, the report with which `apply` ended the loop, or kCannotRead after a read error
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

/// Parses all lines and adds their settings to `obj`, up to the first error. Sets `obj.line` to the number of lines
/// read.
/// @param element  the name of an entry to search for, or null
ParseResult parseLines(const Keywords &keywords, vek::LineReader &lines, const char *element,
                       VekinfoObj &obj);

/// Parses `text`, the whole content of a tag file, into a new object.
/// @param path  the path that the new object contains; may be null
/// @param obj   receives the object. After an error, it is null or contains the settings of the lines before the error
/// @return kNoError, or the error that ended parsing, which can be kNoMemory
Report parseText(const Keywords &keywords, const char *path, std::string_view text, OwnedInfoObj &obj);

/// Searches `text` for the first line that the parser would reject with a syntax error.
/// @return the keyword of this line; null if the parser would accept all lines
const Keyword *findRejected(const Keywords &keywords, std::string_view text);

} // namespace tov

#endif
