#ifndef RYNI_LINK_CACHE_H
#define RYNI_LINK_CACHE_H

/// A cache of readlink() results by path. Each registry has its own cache, which is kept until the registry is freed.

#include "libdef/registry/ryni_records.h"

#include <stddef.h>
#include <sys/types.h>

VEK_BEGIN_DECLS

/// Reads the target of the symbolic link `path`, like readlink(). If the link cache of `registry` contains a result for
/// `path`, returns that result. Otherwise calls readlink() and stores the result, also a failure, in the cache.
///
/// @param targetOut  receives the target, truncated if `size` is too small, and a NUL; the empty string after a failure
/// @param size       the size of `targetOut` in bytes; if it is 0, nothing is stored
/// @param registry   if it is null, no cache is used
/// @return the length of the target in bytes before truncation; -1 after a failure, with the errno value of readlink():
///         EINVAL if `path` is not a symbolic link
ssize_t sReadlink(const char *path, char *targetOut, size_t size, rynRegistry *registry);

VEK_END_DECLS

#endif
