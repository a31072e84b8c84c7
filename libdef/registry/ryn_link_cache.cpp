#include "libdef/registry/ryni_link_cache.h"

#include "common/base/owned.h"
#include "common/platform/system_path.h"
#include "common/text/fixed_text.h"
#include "libdef/registry/ryni_indexes.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

// Implements a cache of readlink() results, one for each registry. The cache also stores failures.
// Each result is in two structures: a hash table, which lookups use, and one of the 256 linked lists in
// rynRegistry::links, through which freeRegistry() frees the results. Results are kept until then. Therefore later
// changes of symbolic links on disk have no effect.

namespace {

/// The result of readlink() for one path, from the system call or from the cache.
struct LinkResult {
    std::string_view target; ///< empty after a failure
    int32_t length;          ///< -1 after a failure
    int32_t error;           ///< an errno value, or 0
};

/// Adds the result of readlink() for `path` to the link cache of `registry`. The cache must not contain `path` yet. If
/// memory is exhausted, adds nothing; the next lookup of `path` then calls readlink() again.
/// @param hash  the value of ryn::indexHash() for `path`
void store(rynRegistry &registry, std::string_view path, uint32_t hash, const LinkResult &result) {
    // Allocate one block for the record, followed by the path and the target.
    const bool hasTarget = result.length >= 0;
    const std::size_t pathSize = path.size() + 1;
    const std::size_t targetSize = hasTarget ? result.target.size() + 1 : 0;
    vek::Owned<rynLink> link(static_cast<rynLink *>(std::malloc(sizeof(rynLink) + pathSize + targetSize)));
    if (!link || !registry.indexes->links.insert(hash, *link)) {
        return;
    }
    char *const pathCopy = reinterpret_cast<char *>(link.get() + 1);
    char *const targetCopy = hasTarget ? pathCopy + pathSize : nullptr;
    static_cast<void>(vek::copyToBuffer(path, pathCopy, pathSize));
    static_cast<void>(vek::copyToBuffer(result.target, targetCopy, targetSize));
    rynLink *&head = registry.links[ryn::bucketOf(path, false)];
    *link = {head, pathCopy, targetCopy, result.length, result.error};
    head = link.release();
}

/// Copies the target of the symbolic link, and a NUL, to `targetOut`. Truncates the target if `size` bytes are too few.
/// Sets errno to `result.error`, which is 0 after a success.
/// @return the length of the target in bytes before truncation; -1 if readlink() failed
ssize_t returnResult(const LinkResult &result, char *targetOut, std::size_t size) {
    if (size != 0) {
        const std::size_t fitting = result.target.size() < size ? result.target.size() : size - 1;
        std::memcpy(targetOut, result.target.data(), fitting);
        targetOut[fitting] = '\0';
    }
    errno = result.error;
    return result.length;
}

} // namespace

ssize_t sReadlink(const char *path, char *targetOut, size_t size, rynRegistry *registry) {
    const std::string_view key(path);
    const uint32_t hash = ryn::indexHash(key);
    if (registry != nullptr) {
        if (const rynLink *const known = registry->indexes->links.find(
                hash, [key](const rynLink &link) { return link.path == key; })) {
            return returnResult({known->target == nullptr ? "" : known->target, known->length, known->error},
                                targetOut, size);
        }
    }
    vek::PathText target;
    const int error = vek::readLink(path, target);
    const LinkResult result = {target.view(), error != 0 ? -1 : static_cast<int32_t>(target.size()), error};
    if (registry != nullptr) {
        store(*registry, key, hash, result);
    }
    return returnResult(result, targetOut, size);
}
