#ifndef VEKI_PATH_H
#define VEKI_PATH_H

/// Path helpers, and allocation that reports failures.

#include "common/base/vek_api.h"

#include <string_view>

VEK_BEGIN_DECLS

/// Cleans an absolute path in place, from left to right: replaces "//" and "/./" by "/", and removes each ".." with the
/// component before it. A ".." at the beginning is removed alone. A final "/." or "/.." is kept.
void vekiCleanupRootedPath(char *path);

/// Calls malloc() and prints "ERROR! Failed to allocate ... bytes of space" on standard error if it fails.
/// @return the memory, which the caller frees; null if memory is exhausted
void *vekiMalloc(size_t size);

/// Copies `text` into memory that vekiMalloc() allocates.
/// @return the copy, which the caller frees; null if `text` is null or memory is exhausted
char *vekiCopyString(const char *text);

/// Tests the mode bits of `path`, or of the target if it is a symbolic link.
/// @return 1 if it is a regular file with the owner's execute bit, otherwise 0
int vekiFileExistsExecutable(const char *path);

/// @return 1 if stat() succeeds for `path`, otherwise 0
int vekiPathExists(const char *path);

VEK_END_DECLS

namespace vek {

/// Copies `text` into memory that vekiMalloc() allocates, which prints a message if it fails.
/// @return the copy with a NUL, which the caller frees; null if memory is exhausted
[[nodiscard]] char *copyOrReport(std::string_view text);

} // namespace vek

#endif
