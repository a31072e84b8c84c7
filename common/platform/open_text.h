#ifndef COMMON_OPEN_TEXT_H
#define COMMON_OPEN_TEXT_H

#include "common/base/owned.h"

namespace vek {

/// Opens a text file of unknown origin for reading, with O_CLOEXEC. If `path` is not a regular file, /dev/null is
/// opened instead, which is empty: reading a pipe or device could block or never end.
///
/// @return the descriptor; an invalid one with `errno` set if the file cannot be opened
[[nodiscard]] OwnedDescriptor openDescriptorForReading(const char *path);

/// Opens a text file like openDescriptorForReading(), as a stream.
/// @return the stream; null with `errno` set if the file cannot be opened
[[nodiscard]] OwnedStream openForReading(const char *path);

} // namespace vek

#endif
