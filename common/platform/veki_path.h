#ifndef VEKI_PATH_H
#define VEKI_PATH_H

/// Internal functions that clean paths, test files, and allocate memory with a message on failure.

#include "common/base/vek_api.h"

#include <string_view>

VEK_BEGIN_DECLS

/// Cleans the absolute path `path` in place, from left to right: "//" and "/./" become "/", and each ".." is removed
/// together with the component before it. A ".." that has no component before it is removed alone. A final "/." or
/// "/.." is kept.
void vekiCleanupRootedPath(char *path);

/// Calls malloc(). If it fails, prints "ERROR! Failed to allocate N bytes of space" on standard error; N is `size`.
/// @return the memory, which the caller frees; null if memory is exhausted
void *vekiMalloc(size_t size);

/// Copies `text` into a new string. If memory is exhausted, prints a message like vekiMalloc().
/// @return the copy, which the caller frees; null if `text` is null or memory is exhausted
char *vekiCopyString(const char *text);

/// Tests whether `path` is an executable file. Follows symbolic links.
/// @return 1 if it is a regular file with the execute bit of the owner (S_IXUSR), otherwise 0
int vekiFileExistsExecutable(const char *path);

/// @return 1 if `path` exists, that is, if stat() succeeds; otherwise 0
int vekiPathExists(const char *path);

VEK_END_DECLS

namespace vek {

/// Copies `text` and a final NUL into a new string. If memory is exhausted, prints a message like vekiMalloc().
/// @return the copy, which the caller frees; null if memory is exhausted
[[nodiscard]] char *copyOrReport(std::string_view text);

} // namespace vek

#endif
