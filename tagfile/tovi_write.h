#ifndef TOVI_WRITE_H
#define TOVI_WRITE_H

/// Writing tag files: a template text, then the settings in a fixed order.

#include "common/text/composed_text.h"
#include "tagfile/keyword.h"
#include "tagfile/tov.h"
#include "tagfile/tovi_report.h"

#include <cstdio>

extern "C" {

/// Writes the template text that begins every written tag file.
void tovWriteDefaultVekinfotag(FILE *file);

/// Replaces the tag file of `dir` by the template and the settings of `obj`, under the file's lock. A line that the
/// parser would reject is reported as that keyword's syntax error and left out.
/// @return 1, or 0 after reporting that the file could not be written; it is then unchanged
int updateInfoFile(const char *dir, const VekinfoObj *obj);
}

namespace tov {

inline constexpr Report kCannotWrite = {TOV_SYSTEM_ERROR, "opening for write", Naming::Directory};

/// Composes the template and the keywords of `obj`. @return as composeSettings()
bool composeKeywords(const Keywords &keywords, const VekinfoObj &obj, vek::ComposedText &text,
                     Reports &reports);

/// Composes one application entry. @return as composeSettings()
bool composeEntry(const Keywords &keywords, const char *name, const char *value, std::uint32_t lineCount,
                  vek::ComposedText &text, Reports &reports);

/// Composes the application entries of `obj`. @return as composeSettings()
bool composeEntries(const Keywords &keywords, const VekinfoObj &obj, vek::ComposedText &text,
                    Reports &reports);

/// Composes the template, the keywords and the application entries of `obj`. A line that the parser would reject is left out and added to
/// `reports`.
/// @return false if a line was left out
bool composeSettings(const Keywords &keywords, const VekinfoObj &obj, vek::ComposedText &text,
                     Reports &reports);

} // namespace tov

#endif
