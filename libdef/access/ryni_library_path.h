#ifndef RYNI_LIBRARY_PATH_H
#define RYNI_LIBRARY_PATH_H

/// Paths of library directories, which must exist and be accessible.

#include "common/text/fixed_text.h"
#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// Tests whether `path` is a directory that passes ryni_access_path() with the access kind `mode`.
/// @return RYN_OK, RYN_INVALID_PATH if it is not a directory, or a code of ryni_access_path()
int ryniIsGoodLibPath(rynRegistry *registry, const char *path, int mode);

/// ryn::makeLibraryPath() with C buffers of VEK_PATH_SIZE bytes. Each is written only if its path could be formed.
///
/// @param errorOut  written after a failure; may be null
int ryniMkGoodLibPath(rynRegistry *registry, const char *text, const char *baseDirectory, char *fullOut,
                      char *nslOut, char *errorOut);

VEK_END_DECLS

namespace ryn {

/// Generates the full and the nsl path of a directory, and tests it for reading.
///
/// @param text  must not lie in `full`, `nsl` or `error`
/// @param full  receives the full path, also if a later step fails
/// @param nsl   receives the nsl path, also if the test fails
/// @param error receives the text to report after a failure
/// @return RYN_OK or the code of the step that failed
int makeLibraryPath(rynRegistry *registry, const char *text, const char *baseDirectory, vek::PathText &full,
                    vek::PathText &nsl, vek::PathText &error);

} // namespace ryn

#endif
