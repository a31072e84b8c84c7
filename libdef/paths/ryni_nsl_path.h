#ifndef RYNI_NSL_PATH_H
#define RYNI_NSL_PATH_H

/// Generates nsl paths ("no symbolic links"): full paths in which every symbolic link is resolved.

#include "common/text/fixed_text.h"
#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// Generates the nsl path of `path` like ryn::generateNslPath(), and stores the results in C buffers of VEK_PATH_SIZE
/// bytes.
///
/// @param nslOut          receives the nsl path if the result is RYN_OK; may be null
/// @param errorOut        receives the text to report after a failure; may be null
/// @param checkExistence  0 to ignore the path-existence setting: `path` need not exist
int ryni_generate_nsl_path_ex(const char *path, char *nslOut, char *errorOut, rynRegistry *registry,
                              int checkExistence);

/// Calls ryni_generate_nsl_path_ex() with `checkExistence` 1: if the path-existence setting is on, `path` must exist.
int ryni_generate_nsl_path(const char *path, char *nslOut, char *errorOut, rynRegistry *registry);

VEK_END_DECLS

namespace ryn {

/// Whether generateNslPath() applies the path-existence setting, which requires that the path exists and can be read.
enum class Existence { Checked, NotChecked };

/// Resolves every symbolic link in `path`, and removes repeated "/", "." and "..".
///
/// @param path      a full path; must not point into `nsl` or `error`
/// @param nsl       receives the nsl path; empty after a failure
/// @param error     receives the text to report after a failure
/// @param registry  its cache of symbolic links and its path-existence setting are used; null: links are not cached,
///                  and the process-wide path-existence setting applies
/// @return RYN_OK, RYN_INTERNAL_ERROR, RYN_SYSTEM_ERROR, RYN_PERMISSION_DENIED or RYN_INVALID_PATH
int generateNslPath(const char *path, vek::PathText &nsl, vek::PathText &error, rynRegistry *registry,
                    Existence existence = Existence::Checked);

} // namespace ryn

#endif
