#ifndef PUXI_ACCESS_H
#define PUXI_ACCESS_H

/// The access tests of this layer.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// What pux_quick_access() tests.
enum { PUXI_EXISTS = 0, PUXI_EXECUTABLE = 1, PUXI_WRITABLE = 2, PUXI_READABLE = 4 };

/// Tests one access, without access() if the mode bits grant it to the effective ids. puxInitialize() records these
/// ids; otherwise the first call does.
///
/// @param mode  PUXI_EXISTS or one of the three accesses
/// @return 0 if it is granted, otherwise -1 with `errno` set by stat() or access()
int pux_quick_access(const char *path, int mode);

VEK_END_DECLS

namespace pux {

/// Records the effective ids of the process for later tests.
void recordEffectiveIds();

/// Tests one access to `path`, first by its mode bits.
/// @param mode  PUXI_EXISTS or one of the three accesses
/// @return 0 if it is granted, otherwise the errno value of stat() or access()
[[nodiscard]] int testAccess(const char *path, int mode);

} // namespace pux

#endif
