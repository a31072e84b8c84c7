#ifndef TOVI_WRITE_H
#define TOVI_WRITE_H

/// The tag file's format, as it is written.

#include "tagfile/tov.h"

#include <stdio.h>

VEK_BEGIN_DECLS

/// Writes the template text that opens every written tag file.
void tovWriteDefaultVekinfotag(FILE *file);

/// Replaces the tag file of `dir` by the template and the settings of `obj`.
/// @return 1, or 0 after reporting that it could not be written; the old file is then as it was
int updateInfoFile(const char *dir, const VekinfoObj *obj);

VEK_END_DECLS

#endif
