#ifndef RYNI_LIBRARY_PATH_H
#define RYNI_LIBRARY_PATH_H

/// Generates and tests the paths of library directories. Such a directory must exist and pass an access test.

#include "common/text/fixed_text.h"
#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// Tests whether `path` is a directory, and tests the access to it with ryni_access_path().
/// @param mode  the access kind: 0 read, 1 write, 6 replace
/// @return RYN_OK, RYN_INVALID_PATH if it is not a directory, or the error of ryni_access_path()
int ryniIsGoodLibPath(rynRegistry *registry, const char *path, int mode);

/// Generates and tests the paths of a library directory like ryn::makeLibraryPath(), and stores the results in C
/// buffers of VEK_PATH_SIZE bytes.
///
/// @param fullOut   receives the full path if it could be generated, otherwise unchanged; may be null
/// @param nslOut    receives the nsl path if it could be generated, otherwise unchanged; may be null
/// @param errorOut  receives the text to report after a failure; may be null
int ryniMkGoodLibPath(rynRegistry *registry, const char *text, const char *baseDirectory, char *fullOut,
                      char *nslOut, char *errorOut);

VEK_END_DECLS

namespace ryn {

/// Generates the full path and the nsl path of a directory, and tests whether the directory exists and can be read.
///
/// @param text           the path as given; must not point into `full`, `nsl` or `error`
/// @param baseDirectory  the directory that relative paths start from
/// @param full           receives the full path, also if a later step fails
/// @param nsl            receives the nsl path, also if the test fails
/// @param error          receives the text to report after a failure
/// @return RYN_OK, or the error of generateFullPath(), generateNslPath() or ryniIsGoodLibPath()
int makeLibraryPath(rynRegistry *registry, const char *text, const char *baseDirectory, vek::PathText &full,
                    vek::PathText &nsl, vek::PathText &error);

} // namespace ryn

#endif
