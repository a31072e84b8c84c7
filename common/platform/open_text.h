#ifndef COMMON_OPEN_TEXT_H
#define COMMON_OPEN_TEXT_H

#include "common/base/owned.h"

namespace vek {

/// Opens a text file of unknown origin. A directory, pipe or device reads as an empty file: only a regular file can
/// be read without waiting and has an end. The descriptor is not inherited by other programs.
///
/// @return the descriptor; an invalid one with `errno` set if the file cannot be opened
[[nodiscard]] OwnedDescriptor openDescriptorForReading(const char *path);

/// Opens a text file as openDescriptorForReading() does.
/// @return the stream; null with `errno` set if the file cannot be opened
[[nodiscard]] OwnedStream openForReading(const char *path);

} // namespace vek

#endif
