#ifndef RYNI_LINK_CACHE_H
#define RYNI_LINK_CACHE_H

/// The link cache of a registry: readlink() is called once for each path.

#include "libdef/registry/ryni_records.h"

#include <stddef.h>
#include <sys/types.h>

VEK_BEGIN_DECLS

/// readlink() through the link cache of `registry`.
///
/// @param targetOut  receives the target, cut to fit, and a NUL; the empty string if `path` is not a link
/// @param size       size of `targetOut` in bytes; if 0, nothing is stored
/// @param registry   may be null: the result is then not cached
/// @return the length of the whole target, or -1 with errno as readlink() set it
ssize_t sReadlink(const char *path, char *targetOut, size_t size, rynRegistry *registry);

VEK_END_DECLS

#endif
