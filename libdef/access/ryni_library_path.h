#ifndef RYNI_LIBRARY_PATH_H
#define RYNI_LIBRARY_PATH_H

/// Paths of library directories: computes the absolute path, resolves symbolic links, and tests that the directory
/// exists and can be accessed.

#include "common/text/fixed_text.h"
#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// Tests whether `path` is a directory and permits the access `mode`.
/// @param mode  a value of ryn::AccessKind: 0 read, 1 write, 6 replace
/// @return RYN_OK; RYN_INVALID_PATH if `path` is not a directory; or the error of ryni_access_path()
int ryniIsGoodLibPath(rynRegistry *registry, const char *path, int mode);

/// Calls ryn::makeLibraryPath() to compute and test the path of a library directory. Stores the results in C buffers of
/// VEK_PATH_SIZE bytes.
///
/// @param fullOut   receives the absolute path; unchanged if computing this path fails; may be null
/// @param nslOut    receives the path with all symbolic links resolved; unchanged if resolving them fails; may be null
/// @param errorOut  after a failure, receives the path that the failure is about; may be null
/// @return the result of ryn::makeLibraryPath()
int ryniMkGoodLibPath(rynRegistry *registry, const char *text, const char *baseDirectory, char *fullOut,
                      char *nslOut, char *errorOut);

VEK_END_DECLS

namespace ryn {

/// Computes the absolute path of a directory, resolves its symbolic links, and tests whether the directory exists and
/// can be read.
///
/// @param text           the path of the directory; must not point into `full`, `nsl` or `error`
/// @param baseDirectory  the directory that relative paths start from
/// @param full           receives the absolute path, even if a later step fails
/// @param nsl            receives the path with all symbolic links resolved, even if the test fails
/// @param error          after a failure, receives the path that the failure is about
/// @return RYN_OK, or the error of generateFullPath(), generateNslPath() or ryniIsGoodLibPath()
int makeLibraryPath(rynRegistry *registry, const char *text, const char *baseDirectory, vek::PathText &full,
                    vek::PathText &nsl, vek::PathText &error);

} // namespace ryn

#endif
