#ifndef RYNI_QUICK_ACCESS_H
#define RYNI_QUICK_ACCESS_H

/// Tests whether the process may access a file. Compares the mode bits in the stat record of the file with the
/// effective user and group ID. Calls access() only if the mode bits do not prove the access, which saves system calls.

#include "libdef/ryn.h"

#include <sys/stat.h>

VEK_BEGIN_DECLS

/// Stores the effective user and group ID of the process. testAccess() and ryni_quick_access() compare the stored IDs
/// with the owner and group of a file.
void ryni_setUidGid(void);

/// Tests an access like ryn::testAccess(), but does not return an errno value.
///
/// @return 0 if the access is permitted; -1 if it is not; RYN_INTERNAL_ERROR or RYN_MEMORY_ERROR if the stat cache
///         cannot be used, which is reported to the fatal handler. If the result is -1, a failed system call has set
///         errno, but a failure that is read from the stat cache does not set it
int ryni_quick_access(const rynRegistry *registry, const char *path, int mode, const struct stat *statRecord);

VEK_END_DECLS

namespace ryn {

/// Tests whether the process has the access `mode` to `path`. Follows symbolic links. Uses the stat cache if it is on.
///
/// @param registry  failures of the stat cache are reported to its fatal handler; may be null
/// @param path      if it is null, the result is EFAULT
/// @param mode      F_OK, R_OK, W_OK or X_OK, as for access()
/// @param record    the stat record of `path`; if it is null, stat() is called
/// @return 0, or the errno value of the failure, which may come from the stat cache
[[nodiscard]] int testAccess(const rynRegistry *registry, const char *path, int mode,
                             const struct stat *record = nullptr);

} // namespace ryn

#endif
