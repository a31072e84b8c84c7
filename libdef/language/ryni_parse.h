#ifndef RYNI_PARSE_H
#define RYNI_PARSE_H

/// The reader of library definition files.

#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// Reads the file `path`, a full path, into `registry`.
/// @param recordOut  null, or receives the file's record once it is open
int ryni_parse_veklib_file(const char *path, rynRegistry *registry, rynIncludedFile **recordOut);

/// Executes one line.
///
/// @param directory    what relative paths count from
/// @param file         the record of the file that the line comes from
/// @param applyTmpNow  1 to apply a global temporary root at once
int ryni_process_command(rynRegistry *registry, const char *line, const char *directory,
                         rynIncludedFile *file, int lineNumber, int applyTmpNow);

VEK_END_DECLS

#endif
