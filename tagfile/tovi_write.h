#ifndef TOVI_WRITE_H
#define TOVI_WRITE_H

/// Composes and writes tag files: a template text of comments, then the keywords in the order of their table, then the
/// application entries.

#include "common/text/composed_text.h"
#include "tagfile/keyword.h"
#include "tagfile/tov.h"
#include "tagfile/tovi_report.h"

#include <cstdio>

extern "C" {

/// Writes the template text that begins every written tag file.
void tovWriteDefaultVekinfotag(FILE *file);

/// Replaces the content of the tag file of `dir` by the template and the settings of `obj`, while it holds the file's
/// lock. A line that the parser would reject is left out, and the syntax error of its keyword is reported.
/// @return 1; or 0 after reporting that the file could not be written; the file is then unchanged
int updateInfoFile(const char *dir, const VekinfoObj *obj);
}

namespace tov {

inline constexpr Report kCannotWrite = {TOV_SYSTEM_ERROR, "opening for write", Naming::Directory};

/// Appends the template and the keywords of `obj` to `text`. Rejected lines and result as for composeSettings().
bool composeKeywords(const Keywords &keywords, const VekinfoObj &obj, vek::ComposedText &text,
                     Reports &reports);

/// Appends the line of one application entry to `text`. A rejected line and the result as for composeSettings().
/// @param lineCount  the line number in the report of a rejected line
bool composeEntry(const Keywords &keywords, const char *name, const char *value, std::uint32_t lineCount,
                  vek::ComposedText &text, Reports &reports);

/// Appends the application entries of `obj` to `text`. Rejected lines and result as for composeSettings().
bool composeEntries(const Keywords &keywords, const VekinfoObj &obj, vek::ComposedText &text,
                    Reports &reports);

/// Appends the template, the keywords and the application entries of `obj` to `text`. A line that the parser would
/// reject is left out, and its syntax error is added to `reports`.
/// @return false if a line was left out
bool composeSettings(const Keywords &keywords, const VekinfoObj &obj, vek::ComposedText &text,
                     Reports &reports);

} // namespace tov

#endif
