#ifndef PUXI_ACCESS_H
#define PUXI_ACCESS_H

/// The access tests of this layer.

#include "common/platform/mode_bits.h"

namespace pux {

/// Records the effective ids of the process for later tests.
void recordEffectiveIds();

/// Tests one access to `path`, first by its mode bits.
/// @param mode  PUXI_EXISTS or one of the three accesses
/// @return 0 if it is granted, otherwise the errno value of stat() or access()
[[nodiscard]] int testAccess(const char *path, int mode);

} // namespace pux

#endif
