#ifndef TOVI_WRITE_H
#define TOVI_WRITE_H

/// Composing and writing of tag files. A written tag file begins with the template, a fixed text of comment lines. Then
/// it has one line for each keyword that is set, and one line for each application entry.

#include "common/text/composed_text.h"
#include "tagfile/keyword.h"
#include "tagfile/tov.h"
#include "tagfile/tovi_report.h"

#include <cstdio>

extern "C" {

/// Writes to `file` the template, a fixed text of comment lines at the beginning of every written tag file.
void tovWriteDefaultVekinfotag(FILE *file);

/// Replaces the content of the tag file of the directory `dir`. The new content is the template (a fixed text of
/// comment lines) and one line for each setting of `obj`. Holds the lock on the file while writing. A line that the
/// parser would reject is left out, and the syntax error of its keyword is reported.
/// @return 1 for success; 0 after a failure, which has been reported
int updateInfoFile(const char *dir, const VekinfoObj *obj);
}

namespace tov {

inline constexpr Report kCannotWrite = {TOV_SYSTEM_ERROR, "opening for write", Naming::Directory};

/// Appends the template (a fixed text of comment lines) to `text`, then a line for each keyword of `obj`. A line
/// that the parser would reject is left out, and its syntax error is added to `reports`.
/// @return false if a line was left out
bool composeKeywords(const Keywords &keywords, const VekinfoObj &obj, vek::ComposedText &text,
                     Reports &reports);

/// Appends the line of one application entry to `text`. If the parser would reject this line, appends nothing and adds
/// the syntax error to `reports`.
/// @param lineCount  the line number for the report of a syntax error
/// @return false if the line was left out
bool composeEntry(const Keywords &keywords, const char *name, const char *value, std::uint32_t lineCount,
                  vek::ComposedText &text, Reports &reports);

/// Appends a line for each application entry of `obj` to `text`. A line that the parser would reject is left out, and
/// its syntax error is added to `reports`.
/// @return false if a line was left out
bool composeEntries(const Keywords &keywords, const VekinfoObj &obj, vek::ComposedText &text,
                    Reports &reports);

/// Appends the whole text of a tag file to `text`: the template (a fixed text of comment lines), and a line for each
/// keyword and each application entry of `obj`. A line that the parser would reject is left out, and its syntax error
/// is added to `reports`.
/// @return false if a line was left out
bool composeSettings(const Keywords &keywords, const VekinfoObj &obj, vek::ComposedText &text,
                     Reports &reports);

} // namespace tov

#endif
