#ifndef RYNI_NSL_PATH_H
#define RYNI_NSL_PATH_H

/// Nsl paths ("no symbolic links"): absolute paths in which every symbolic link is replaced by its target.

#include "common/text/fixed_text.h"
#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// Calls ryn::generateNslPath(), which resolves symbolic links, and stores the results in C buffers of VEK_PATH_SIZE
/// bytes.
///
/// @param nslOut          receives the new path if the result is RYN_OK, otherwise it is unchanged; may be null
/// @param errorOut        after a failure, receives the path that the failure is about; may be null
/// @param checkExistence  if it is 0, `path` need not exist; otherwise `path` must exist if the path-existence setting
///                        (rynSetPathNoneExistWarnFlag()) is on
/// @return the result of ryn::generateNslPath()
int ryni_generate_nsl_path_ex(const char *path, char *nslOut, char *errorOut, rynRegistry *registry,
                              int checkExistence);

/// Calls ryni_generate_nsl_path_ex() with `checkExistence` 1: `path` must exist if the path-existence setting is on.
int ryni_generate_nsl_path(const char *path, char *nslOut, char *errorOut, rynRegistry *registry);

VEK_END_DECLS

namespace ryn {

/// Selects whether generateNslPath() fails if a path does not exist or cannot be read. Checked: it fails if the
/// path-existence setting (rynSetPathNoneExistWarnFlag()) is on. NotChecked: it does not fail.
enum class Existence { Checked, NotChecked };

/// Replaces every symbolic link in `path` by its target, and removes redundant "/", "." and "..".
///
/// @param path       an absolute path; must not point into `nsl` or `error`
/// @param nsl        receives the new path; empty after a failure
/// @param error      after a failure, receives the path that the failure is about
/// @param registry   its cache of symbolic links and its path-existence setting are used. If it is null, links are not
///                   cached, and the path-existence setting of the process is used
/// @param existence  Checked: `path` must exist if the path-existence setting is on
/// @return RYN_OK, RYN_INTERNAL_ERROR, RYN_SYSTEM_ERROR, RYN_PERMISSION_DENIED or RYN_INVALID_PATH
int generateNslPath(const char *path, vek::PathText &nsl, vek::PathText &error, rynRegistry *registry,
                    Existence existence = Existence::Checked);

} // namespace ryn

#endif
