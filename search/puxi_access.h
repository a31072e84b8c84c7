#ifndef PUXI_ACCESS_H
#define PUXI_ACCESS_H

/// Tests whether the process may access a file. The permission bits from stat() are tested first; if they do not grant
/// the access, access() is called.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Kinds of access to a file. The values are those of F_OK, X_OK, W_OK and R_OK.
enum { PUXI_EXISTS = 0, PUXI_EXECUTABLE = 1, PUXI_WRITABLE = 2, PUXI_READABLE = 4 };

/// Tests one kind of access to `path`. Calls access() only if the permission bits do not grant the access to the
/// effective user and group ids. puxInitialize() records these ids; if it was not called, the first test records them.
///
/// @param mode  PUXI_EXISTS, PUXI_EXECUTABLE, PUXI_WRITABLE or PUXI_READABLE
/// @return 0 if the access is granted, otherwise -1 with `errno` set by stat() or access()
int pux_quick_access(const char *path, int mode);

VEK_END_DECLS

namespace pux {

/// Records the effective user and group ids of the process, which later calls of testAccess() use.
void recordEffectiveIds();

/// Tests one kind of access to `path` like pux_quick_access(), but returns the error and does not set `errno`.
/// @param mode  PUXI_EXISTS, PUXI_EXECUTABLE, PUXI_WRITABLE or PUXI_READABLE
/// @return 0 if the access is granted, otherwise the errno value of stat() or access(); EFAULT if `path` is null
[[nodiscard]] int testAccess(const char *path, int mode);

} // namespace pux

#endif
