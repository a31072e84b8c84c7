#ifndef VEKI_PATH_H
#define VEKI_PATH_H

/// Path helpers and checked allocation for the inside of this layer.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Cleans a rooted path in place: collapses "//", drops "/./", and resolves "/../" by dropping the component
/// before it, always at the leftmost place. A final "/." or "/.." stays.
void vekiCleanupRootedPath(char *path);

/// malloc() that writes "ERROR! Failed to allocate ... bytes of space" to standard error when it fails.
/// @return the memory, which the caller frees, or null
void *vekiMalloc(size_t size);

/// @return a heap copy of `text` that the caller frees; null for null, or when vekiMalloc() failed
char *vekiCopyString(const char *text);

/// @return 1 when `path` is a regular file (links followed) whose owner may execute it, else 0
int vekiFileExistsExecutable(const char *path);

/// @return 1 when stat() succeeds on `path`, else 0
int vekiPathExists(const char *path);

VEK_END_DECLS

#endif
