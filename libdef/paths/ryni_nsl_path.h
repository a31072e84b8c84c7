#ifndef RYNI_NSL_PATH_H
#define RYNI_NSL_PATH_H

/// Nsl paths ("no symbolic links"): full paths in which every symbolic link is resolved.

#include "common/text/fixed_text.h"
#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// ryn::generateNslPath() with C buffers of VEK_PATH_SIZE bytes.
///
/// @param nslOut          written if the result is RYN_OK; may be null
/// @param errorOut        written after a failure; may be null
/// @param checkExistence  0: the path-existence setting is ignored
int ryni_generate_nsl_path_ex(const char *path, char *nslOut, char *errorOut, rynRegistry *registry,
                              int checkExistence);

/// ryni_generate_nsl_path_ex() with `checkExistence` 1.
int ryni_generate_nsl_path(const char *path, char *nslOut, char *errorOut, rynRegistry *registry);

VEK_END_DECLS

namespace ryn {

/// Whether the path-existence setting applies.
enum class Existence { Checked, NotChecked };

/// Resolves every symbolic link in `path`, and cleans it.
///
/// @param path      must not lie in `nsl` or `error`
/// @param nsl       receives the nsl path; empty after a failure
/// @param error     receives the text to report after a failure
/// @param registry  may be null: no link is then cached, and the process-wide path-existence setting applies
/// @return RYN_OK, RYN_INTERNAL_ERROR, RYN_SYSTEM_ERROR, RYN_PERMISSION_DENIED or RYN_INVALID_PATH
int generateNslPath(const char *path, vek::PathText &nsl, vek::PathText &error, rynRegistry *registry,
                    Existence existence = Existence::Checked);

} // namespace ryn

#endif
