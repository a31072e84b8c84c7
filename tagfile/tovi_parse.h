#ifndef TOVI_PARSE_H
#define TOVI_PARSE_H

/// The parser of tag files. It removes the comment and the surrounding white space of a line and splits the rest into
/// at most three words. The first word is a keyword or the name of an application entry.

#include "common/platform/line_reader.h"
#include "tagfile/keyword.h"
#include "tagfile/tov.h"
#include "tagfile/tovi_object.h"
#include "tagfile/tovi_report.h"

#include <array>

/// The maximum number of words of a line. The third word is the whole rest of the line, which lets the parser detect a
/// line with too many words.
enum { TOVI_LINE_WORDS = 3 };

namespace tov {

/// The words of one line. The pointers point into the buffer of the line.
struct Words {
    int count = 0;
    std::array<char *, TOVI_LINE_WORDS> word = {};

    [[nodiscard]] const char *name() const { return word[0]; }
    /// Returns the second word, the value of an application entry; "" without one. Documented: a third word is ignored.
    [[nodiscard]] const char *entryValue() const { return count > 1 ? word[1] : ""; }
    /// Returns the last word, the value of a keyword; "" if the line has no words.
    [[nodiscard]] const char *value() const {
        return count == 0 ? "" : word[static_cast<std::size_t>(count) - 1];
    }
};

/// Removes the comment and the surrounding white space of the line in `text`, and splits the rest in place.
[[nodiscard]] Words splitLine(vek::LineBuffer &text);

/// Appends an application entry to `obj`. @return false if memory is exhausted; `obj` then has no new entry
[[nodiscard]] bool addApplicationEntry(VekinfoObj &obj, const char *name, const char *value);

/// Applies the words of one line to `obj`: sets the keyword, or adds an application entry.
/// @return kNoError, kNoMemory, or the syntax error of the keyword with `obj.line` as its line number
Report applyWords(const Keywords &keywords, const Words &words, VekinfoObj &obj);

/// Calls `apply` with the words of each line that has words. `obj.line` is the number of the current line, and at the
/// end the number of lines read.
/// @param apply  returns kNoError to continue; any other report ends the loop
/// @return kNoError, the report that `apply` returned, or kCannotRead after a read error
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

/// Parses all lines into `obj`, up to the first error. Sets `obj.line` to the number of lines read.
/// @param element  the entry to search, or null
/// @param found    set to true if the first word of a line is `element`; set to false after an error; otherwise
///                 unchanged
/// @return kNoError, or the error that ended parsing
Report parseLines(const Keywords &keywords, vek::LineReader &lines, const char *element, VekinfoObj &obj,
                  bool &found);

/// Parses the text of a whole tag file into a new object.
/// @param path  stored as the path of the object; may be null
/// @param obj   receives the object; null, or incomplete after an error
/// @return kNoError, or the error that ended parsing, which can be kNoMemory
Report parseText(const Keywords &keywords, const char *path, std::string_view text, OwnedInfoObj &obj);

/// @return the keyword whose line in `text` the parser would reject; null if it accepts all lines
const Keyword *findRejected(const Keywords &keywords, std::string_view text);

} // namespace tov

#endif
