#ifndef RYNI_LINK_CACHE_H
#define RYNI_LINK_CACHE_H

/// A cache of readlink() results by path. Each registry has its own cache, which is kept until the registry is freed.

#include "common/text/fixed_text.h"
#include "libdef/registry/ryni_records.h"

#include <stddef.h>
#include <string_view>
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

namespace ryn {

/// The result of readlink() for one path, from the system call or from the link cache.
struct LinkResult {
    std::string_view target; ///< empty after a failure
    int32_t error; ///< the errno value of readlink(): EINVAL if the path is not a symbolic link; 0 if it is
};

/// Reads the target of the symbolic link `path`, like sReadlink(), but does not copy it and does not set errno.
/// @param registry  if it is null, no cache is used
/// @param buffer    may receive the target; the result can point into it
LinkResult readCachedLink(rynRegistry *registry, const vek::PathText &path, vek::PathText &buffer);

} // namespace ryn

#endif
