#ifndef PUXI_ACCESS_H
#define PUXI_ACCESS_H

/// Access tests for files, by the mode bits and access().

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Kinds of access; the values are those of F_OK, X_OK, W_OK and R_OK.
enum { PUXI_EXISTS = 0, PUXI_EXECUTABLE = 1, PUXI_WRITABLE = 2, PUXI_READABLE = 4 };

/// Tests one kind of access to `path`. Calls access() only if the mode bits do not grant the access to the effective
/// user and group ids. puxInitialize() records these ids; without it, the first test records them.
///
/// @param mode  PUXI_EXISTS or one of the three accesses
/// @return 0 if it is granted, otherwise -1 with `errno` set by stat() or access()
int pux_quick_access(const char *path, int mode);

VEK_END_DECLS

namespace pux {

/// Records the effective user and group ids of the process for later tests.
void recordEffectiveIds();

/// Tests one kind of access to `path` like pux_quick_access(), but returns the error and does not set `errno`.
/// @param mode  PUXI_EXISTS or one of the three accesses
/// @return 0 if it is granted, otherwise the errno value of stat() or access(); EFAULT if `path` is null
[[nodiscard]] int testAccess(const char *path, int mode);

} // namespace pux

#endif
