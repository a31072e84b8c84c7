#ifndef RYNI_PARSE_H
#define RYNI_PARSE_H

/// Reads library definition files and executes their statements.

#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// Reads the file `path` and all files that it includes, and executes their statements in `registry`.
///
/// @param path       a full path
/// @param recordOut  null, or receives the registry's record of the file `path`; unchanged if the file cannot be opened
/// @return the status of the file, as described at rynInitEx()
int ryni_parse_veklib_file(const char *path, rynRegistry *registry, rynIncludedFile **recordOut);

/// Executes one line of a library definition file. If the line is an INCLUDE, also reads the included file.
///
/// @param directory    the base directory of relative paths in the line
/// @param file         the record of the file that contains the line
/// @param lineNumber   the number of the line in that file
/// @param applyTmpNow  1 to create the temporary directories of all libraries at once if the line sets the global
///                     temporary root (ASSIGN AllLibs TmpRootDir); 0 to create them at the end of the file
/// @return the status of the statement or of the included file
int ryni_process_command(rynRegistry *registry, const char *line, const char *directory,
                         rynIncludedFile *file, int lineNumber, int applyTmpNow);

VEK_END_DECLS

namespace ryn {

struct RootProgress;

/// Reads the library definition file `path`, from which a registry is being created, and all files that it includes.
/// @param progress  records the libraries to which the global temporary root was applied. The end of each file then
///                  applies the root only to new and changed libraries
/// @return the status of the file
int readTopFile(rynRegistry &registry, const char *path, RootProgress &progress);

} // namespace ryn

#endif
