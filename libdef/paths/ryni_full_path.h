#ifndef RYNI_FULL_PATH_H
#define RYNI_FULL_PATH_H

/// Full paths: the absolute form of a path in a library definition file. Variables and "~" are replaced by their
/// values, and "." and ".." are resolved.

#include "common/text/fixed_text.h"
#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// Calls ryn::generateFullPath() and stores the results in C buffers of VEK_PATH_SIZE bytes.
///
/// @param fullOut   receives the full path if the result is RYN_OK, otherwise it is unchanged; may be null
/// @param errorOut  after a failure, receives the path that the failure is about; may be null
/// @return the result of ryn::generateFullPath()
int ryni_generate_full_path(const char *text, const char *baseDirectory, char *fullOut, char *errorOut,
                            rynRegistry *registry);

VEK_END_DECLS

namespace ryn {

/// Replaces variables and "~" in the path `text`, makes the path absolute, and removes redundant "/", "." and "..".
///
/// @param text           the path; must not point into `full` or `error`
/// @param baseDirectory  the directory that relative paths start from
/// @param full           receives the full path. Documented: if a variable or HOME is not set, or a "}" or ")" is
///                       missing, `full` is equal to `text` and the result is RYN_OK
/// @param error          after a failure, receives the path that the failure is about
/// @param registry       its cache of symbolic links is used. The value of $(compute:THIS_FILE_INST_ROOT) is the
///                       installation root of the last file in its list of files. May be null
/// @return RYN_OK, RYN_INTERNAL_ERROR, RYN_MEMORY_ERROR or RYN_INVALID_PATH
int generateFullPath(const char *text, const char *baseDirectory, vek::PathText &full, vek::PathText &error,
                     rynRegistry *registry);

} // namespace ryn

#endif
