#ifndef RYNI_PARSE_H
#define RYNI_PARSE_H

/// Reads library definition files and executes their statements.

#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// Reads the file `path` and the files that it includes, and executes their statements in `registry`.
///
/// @param path       a full path
/// @param recordOut  null, or receives the record of the file; unchanged if the file cannot be opened
/// @return the status of the file, as documented at rynInitEx()
int ryni_parse_veklib_file(const char *path, rynRegistry *registry, rynIncludedFile **recordOut);

/// Executes one line of a library definition file. If the line includes a file, reads that file, too.
///
/// @param directory    the base directory of relative paths in the line
/// @param file         the record of the file that contains the line
/// @param applyTmpNow  if the line sets the global temporary root: 1 to apply it to all libraries at once, otherwise
///                     0
/// @return the status of the statement or of the included file
int ryni_process_command(rynRegistry *registry, const char *line, const char *directory,
                         rynIncludedFile *file, int lineNumber, int applyTmpNow);

VEK_END_DECLS

namespace ryn {

struct RootProgress;

/// Reads the library definition file `path` with which a registry is being created, and the files that it includes.
/// @param progress  records to which libraries this creation has applied the global temporary root
/// @return the status of the file
int readTopFile(rynRegistry &registry, const char *path, RootProgress &progress);

} // namespace ryn

#endif
