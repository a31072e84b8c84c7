#include "libdef/registry/ryni_link_cache.h"

#include "common/platform/system_path.h"
#include "common/text/fixed_text.h"
#include "libdef/registry/ryni_indexes.h"

#include <cerrno>
#include <cstring>
#include <string_view>

// Implements a cache of readlink() results, one for each registry. The cache also stores failures.
// Each result is in two structures: a hash table, which lookups use, and one of the 256 linked lists in
// rynRegistry::links. The results are in the registry's memory pool and are kept until the registry is freed. Therefore
// later changes of symbolic links on disk have no effect.

namespace {

/// Returns the result of readlink() as sReadlink() returns it and the cache stores it: the length of the target, or -1
/// after a failure.
int32_t lengthOf(const ryn::LinkResult &result) {
    return result.error != 0 ? -1 : static_cast<int32_t>(result.target.size());
}

/// Adds the result of readlink() for `path` to the link cache of `registry`. The cache must not contain `path` yet. If
/// memory is exhausted, adds nothing; the next lookup of `path` then calls readlink() again.
/// @param hash  the value of ryn::indexHash() for `path`
void store(rynRegistry &registry, std::string_view path, uint32_t hash, const ryn::LinkResult &result) {
    // Allocate one piece for the record, followed by the path and the target.
    const bool hasTarget = result.error == 0;
    const std::size_t pathSize = path.size() + 1;
    const std::size_t targetSize = hasTarget ? result.target.size() + 1 : 0;
    const std::size_t size = sizeof(rynLink) + pathSize + targetSize;
    auto *const link = static_cast<rynLink *>(registry.indexes->pool.allocate(size));
    if (link == nullptr) {
        return;
    }
    if (!registry.indexes->links.insert(hash, *link)) {
        registry.indexes->pool.release(link, size);
        return;
    }
    char *const pathCopy = reinterpret_cast<char *>(link + 1);
    char *const targetCopy = hasTarget ? pathCopy + pathSize : nullptr;
    static_cast<void>(vek::copyToBuffer(path, pathCopy, pathSize));
    static_cast<void>(vek::copyToBuffer(result.target, targetCopy, targetSize));
    rynLink *&head = registry.links[ryn::bucketOf(path, false)];
    *link = {head, pathCopy, targetCopy, lengthOf(result), result.error};
    head = link;
}

/// Implements ryn::readCachedLink() for a path of any length.
/// @param path  must end with a NUL, which the view does not contain
ryn::LinkResult readCached(rynRegistry *registry, std::string_view path, vek::PathText &buffer) {
    const uint32_t hash = ryn::indexHash(path);
    if (registry != nullptr) {
        if (const rynLink *const known = registry->indexes->links.find(
                hash, [path](const rynLink &link) { return link.path == path; })) {
            return {known->target == nullptr ? "" : known->target, known->error};
        }
    }
    const int error = vek::readLink(path.data(), buffer);
    const ryn::LinkResult result = {buffer.view(), error};
    if (registry != nullptr) {
        store(*registry, path, hash, result);
    }
    return result;
}

} // namespace

ryn::LinkResult ryn::readCachedLink(rynRegistry *registry, const vek::PathText &path, vek::PathText &buffer) {
    return readCached(registry, path.view(), buffer);
}

ssize_t sReadlink(const char *path, char *targetOut, size_t size, rynRegistry *registry) {
    vek::PathText buffer;
    const ryn::LinkResult result = readCached(registry, path, buffer);
    if (size != 0) {
        const std::size_t fitting = result.target.size() < size ? result.target.size() : size - 1;
        std::memcpy(targetOut, result.target.data(), fitting);
        targetOut[fitting] = '\0';
    }
    errno = result.error;
    return lengthOf(result);
}
