#ifndef RYNI_LINK_CACHE_H
#define RYNI_LINK_CACHE_H

/// The link cache of a registry: readlink() is called at most once for each path.

#include "libdef/registry/ryni_records.h"

#include <stddef.h>
#include <sys/types.h>

VEK_BEGIN_DECLS

/// Reads the target of the symbolic link `path` from the link cache of `registry`, or with readlink() if it is not
/// cached.
///
/// @param targetOut  receives the target, truncated if it does not fit, and a NUL; the empty string after a failure
/// @param size       size of `targetOut` in bytes; if it is 0, nothing is stored
/// @param registry   null calls readlink() without a cache
/// @return the length of the whole target; -1 after a failure, with errno as readlink() set it: EINVAL if `path` is
///         not a symbolic link
ssize_t sReadlink(const char *path, char *targetOut, size_t size, rynRegistry *registry);

VEK_END_DECLS

#endif
