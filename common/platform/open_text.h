#ifndef COMMON_OPEN_TEXT_H
#define COMMON_OPEN_TEXT_H

#include "common/base/owned.h"

namespace vek {

/// Opens the file `path` for reading, with O_CLOEXEC. If `path` is not a regular file, opens /dev/null instead, so
/// that the caller reads an empty file: reading a pipe or a device could block, or never reach an end.
///
/// @return the descriptor; if the file cannot be opened, an invalid one, with `errno` set
[[nodiscard]] OwnedDescriptor openForReading(const char *path);

} // namespace vek

#endif
