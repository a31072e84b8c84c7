#include "libdef/registry/ryni_link_cache.h"

#include "common/base/owned.h"
#include "common/platform/system_path.h"
#include "common/text/fixed_text.h"
#include "libdef/registry/ryni_indexes.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

// Caches the results of readlink() by path. Each result is in the bucket of its path (rynRegistry::links) and in a
// hash table, which lookups use. Results are kept until the registry is freed, so later changes of links on disk are
// not seen.

namespace {

/// The result of one readlink().
struct LinkResult {
    std::string_view target; ///< empty after a failure
    int32_t length;          ///< -1 after a failure
    int32_t error;           ///< an errno value, or 0
};

/// Stores the result of readlink() for `path`, which must not be in the cache. If memory is exhausted, nothing is
/// stored.
/// @param hash  the hash of `path` in the link index
void store(rynRegistry &registry, const char *path, uint32_t hash, const LinkResult &result) {
    vek::OwnedText pathCopy = vek::copyText(path);
    vek::OwnedText targetCopy = result.length < 0 ? nullptr : vek::copyText(result.target);
    auto *const link = static_cast<rynLink *>(std::malloc(sizeof(rynLink)));
    if (!pathCopy || (result.length >= 0 && !targetCopy) || link == nullptr) {
        std::free(link);
        return;
    }
    rynLink *&head = registry.links[ryn::bucketOf(path, false)];
    *link = {head, pathCopy.release(), targetCopy.release(), result.length, result.error, nullptr, hash};
    head = link;
    static_cast<void>(registry.indexes->links.insert(*link)); // cannot fail: the table has buckets
}

/// Stores the target and a NUL in the `size` bytes at `targetOut`, truncated if it does not fit. Sets errno to the
/// error of `result`.
/// @return the length of the whole target; -1 after a failure
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
    const ryn::LinkKey key = {path, ryn::indexHash(path)};
    if (registry != nullptr) {
        if (const rynLink *const known = registry->indexes->links.find(key)) {
            return returnResult({known->target == nullptr ? "" : known->target, known->length, known->error},
                                targetOut, size);
        }
    }
    vek::PathText target;
    const int error = vek::readLink(path, target);
    const LinkResult result = {target.view(), error != 0 ? -1 : static_cast<int32_t>(target.size()), error};
    if (registry != nullptr) {
        store(*registry, path, key.hash, result);
    }
    return returnResult(result, targetOut, size);
}
