#ifndef RYNI_QUICK_ACCESS_H
#define RYNI_QUICK_ACCESS_H

/// The access test of this layer. It compares the mode bits in the stat record with the effective user and group, and
/// calls access() only if the mode bits do not prove the access.

#include "libdef/ryn.h"

#include <sys/stat.h>

VEK_BEGIN_DECLS

/// Stores the effective user and group of the process. The access test compares them with the owner of a file.
void ryni_setUidGid(void);

/// Tests an access like ryn::testAccess(), with another result.
///
/// @return 0 if the access is possible, otherwise -1. A system call sets errno; a failure that comes from the stat
///         cache does not set it. If the stat cache cannot be used, RYN_INTERNAL_ERROR or RYN_MEMORY_ERROR after
///         reporting it
int ryni_quick_access(const rynRegistry *registry, const char *path, int mode, const struct stat *statRecord);

VEK_END_DECLS

namespace ryn {

/// Tests whether the process may access `path`. Follows symbolic links. Uses the stat cache if it is on.
///
/// @param registry  its handlers receive reports; may be null
/// @param path      if null, the result is EFAULT
/// @param mode      F_OK, R_OK, W_OK or X_OK, as for access()
/// @param record    the stat record of `path` if the caller has it; if null, stat() is called
/// @return 0, or the errno value of the failure, which may come from the stat cache
[[nodiscard]] int testAccess(const rynRegistry *registry, const char *path, int mode,
                             const struct stat *record = nullptr);

} // namespace ryn

#endif
