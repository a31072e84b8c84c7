#ifndef COMMON_OPEN_TEXT_H
#define COMMON_OPEN_TEXT_H

#include "common/owned.h"

namespace vek {

/// Opens a text file that somebody else may have put there. Only a regular file has content: a directory, pipe
/// or device reads as an empty file, so that no file can make its reader wait, or read without end.
///
/// @return the stream, or null with `errno` set when the file cannot be opened
[[nodiscard]] OwnedStream openForReading(const char *path);

} // namespace vek

#endif
