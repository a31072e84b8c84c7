#ifndef RYNI_QUICK_ACCESS_H
#define RYNI_QUICK_ACCESS_H

/// The access test of this layer: mode bits first, access() only if they do not prove the access.

#include "libdef/ryn.h"

#include <sys/stat.h>

VEK_BEGIN_DECLS

/// Stores the effective user and group of the process, which the test compares with the owner of a file.
void ryni_setUidGid(void);

/// ryn::testAccess() with the documented result.
///
/// @return 0, or -1 with errno as the system call set it. A cached failure does not set errno. RYN_INTERNAL_ERROR or
///         RYN_MEMORY_ERROR, reported, if the stat cache could not be used
int ryni_quick_access(const rynRegistry *registry, const char *path, int mode, const struct stat *statRecord);

VEK_END_DECLS

namespace ryn {

/// Tests an access to `path`, following symbolic links, through the stat cache while it is on.
///
/// @param registry  receives reports; may be null
/// @param path      null gives EFAULT
/// @param mode      a mode of access()
/// @param record    the stat record of `path`; null calls stat()
/// @return 0 or an errno value, also of a cached failure
[[nodiscard]] int testAccess(const rynRegistry *registry, const char *path, int mode,
                             const struct stat *record = nullptr);

} // namespace ryn

#endif
