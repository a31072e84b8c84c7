#include "libdef/registry/ryni_link_cache.h"

#include "common/base/owned.h"
#include "common/platform/system_path.h"
#include "common/text/fixed_text.h"
#include "libdef/registry/ryni_index_hash.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace {

/// What a link read came to, as it is remembered.
struct Outcome {
    std::string_view target; ///< empty when the read failed
    int32_t length;
    int32_t error;
};

/// @param target  room for the target
Outcome ask(const char *path, vek::PathText &target) {
    const int error = vek::readLink(path, target);
    return {target.view(), error != 0 ? -1 : static_cast<int32_t>(target.size()), error};
}

/// Keeps the outcome of a path that is not in the cache yet. Without memory it is forgotten, and the system
/// asked again.
void remember(rynRegistry &registry, const char *path, uint32_t hash, const Outcome &outcome) {
    vek::OwnedText pathCopy = vek::copyText(path);
    vek::OwnedText targetCopy = outcome.length < 0 ? nullptr : vek::copyText(outcome.target);
    auto *link = static_cast<rynLink *>(std::malloc(sizeof(rynLink)));
    if (!pathCopy || (outcome.length >= 0 && !targetCopy) || link == nullptr) {
        std::free(link);
        return;
    }
    rynLink *&head = registry.links[ryniNameBucket(path, 0)];
    *link = {head, pathCopy.release(), targetCopy.release(), outcome.length, outcome.error, nullptr, hash};
    head = link;
    static_cast<void>(registry.linkIndex.insert(*link)); // cannot fail: the index was allocated
}

/// Hands an outcome out, the target cut to the caller's buffer.
ssize_t deliver(const Outcome &outcome, char *targetOut, std::size_t size) {
    if (size != 0) {
        const std::size_t fitting = outcome.target.size() < size ? outcome.target.size() : size - 1;
        std::memcpy(targetOut, outcome.target.data(), fitting);
        targetOut[fitting] = '\0';
    }
    errno = outcome.error;
    return outcome.length;
}

} // namespace

namespace ryn {

void freeLinkCache(rynRegistry &registry) {
    registry.linkIndex.clear([](rynLink &link) {
        std::free(link.path);
        std::free(link.target);
        std::free(&link);
    });
}

} // namespace ryn

ssize_t sReadlink(const char *path, char *targetOut, size_t size, rynRegistry *registry) {
    const uint32_t hash = ryniIndexHash(path, 0);
    const rynLink *known = registry == nullptr ? nullptr : registry->linkIndex.find(ryn::PathKey{path, hash});
    if (known != nullptr) {
        return deliver({known->target == nullptr ? "" : known->target, known->length, known->error},
                       targetOut, size);
    }
    vek::PathText target;
    const Outcome outcome = ask(path, target);
    if (registry != nullptr) {
        remember(*registry, path, hash, outcome);
    }
    return deliver(outcome, targetOut, size);
}
