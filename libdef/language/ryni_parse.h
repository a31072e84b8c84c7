#ifndef RYNI_PARSE_H
#define RYNI_PARSE_H

/// The reader of library definition files.

#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// Reads the file `path` and the files that it includes into `registry`.
///
/// @param path       a full path
/// @param recordOut  null, or receives the record of the file once it is open
/// @return the status of the file
int ryni_parse_veklib_file(const char *path, rynRegistry *registry, rynIncludedFile **recordOut);

/// Executes one line.
///
/// @param directory    directory of relative paths
/// @param file         the record of the file that contains the line
/// @param applyTmpNow  1 applies a new global temporary root at once
/// @return the status of the statement
int ryni_process_command(rynRegistry *registry, const char *line, const char *directory,
                         rynIncludedFile *file, int lineNumber, int applyTmpNow);

VEK_END_DECLS

namespace ryn {

struct RootProgress;

/// Reads the top file of a registry that is being created.
/// @param progress  of the global temporary root
/// @return the status of the file
int readTopFile(rynRegistry &registry, const char *path, RootProgress &progress);

} // namespace ryn

#endif
