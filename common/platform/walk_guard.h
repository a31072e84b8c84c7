#ifndef COMMON_WALK_GUARD_H
#define COMMON_WALK_GUARD_H

/// WalkGuard ends walks through directory trees whose symbolic links form cycles or give exponentially many paths.

#include "common/containers/directory_identity.h"
#include "common/containers/identity_map.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace vek {

/// The limit on how many times one walk follows a symbolic link to a directory. It is `ways`, plus `waysPerLink` for
/// each different link.
struct LinkLimit {
    std::uint64_t ways = 1'000'000;
    /// Must be more than 41: Linux resolves at most 40 links in one path, so a walk visits a directory that is part of
    /// one cycle at most 41 times. A tree with one cycle then stays below the limit, however many links it has.
    std::uint64_t waysPerLink = 64;
};

/// Detects cycles in one depth-first walk, and limits how many times the walk follows symbolic links.
///
/// - The ancestors of the walk are the directories that it has entered and not left yet. An ancestor that is reached
///   again is a cycle. A walk that does not enter it again has only different ancestors, so its depth is finite.
/// - Without a cycle, links can still give exponentially many paths: n directories, each with two links to the next
///   one, give 2^n paths. Therefore every link that is followed is counted, and the count is limited. The limit grows
///   with the number of different links, so that a large tree in which each link is followed a few times stays below
///   it.
///
/// Each operation takes O(1) time. Memory grows with the number of ancestors and with the number of different
/// directories that contain links.
class WalkGuard {
  public:
    explicit WalkGuard(const LinkLimit &limit = {}) : limit_(limit) {}

    // ---- cycles

    /// Adds `directory` to the ancestors, with its depth `level`. A directory that is an ancestor already keeps its
    /// lower level. The walk calls leave() with the same arguments when it leaves the directory.
    /// @return false if memory is exhausted; leave() must then not be called
    [[nodiscard]] bool enter(const DirectoryIdentity &directory, std::size_t level) {
        return descent_.find(directory) != nullptr || descent_.store(directory, level);
    }

    void leave(const DirectoryIdentity &directory, std::size_t level) {
        const std::size_t *entered = descent_.find(directory);
        if (entered != nullptr && *entered == level) {
            descent_.erase(directory);
        }
    }

    /// @return the lowest level at which `directory` was entered; nullopt if it is not an ancestor
    [[nodiscard]] std::optional<std::size_t> levelOf(const DirectoryIdentity &directory) const {
        const std::size_t *level = descent_.find(directory);
        return level == nullptr ? std::nullopt : std::optional(*level);
    }

    // ---- limit on followed links

    /// The result of meetLinksOf() in one visit of a directory; Unread if it has not been called in this visit.
    enum class Links : unsigned char { Unread, New, ReadBefore, NoMemory };

    /// Records that the walk follows the links of `directory`. A walk calls it once in each visit of a directory that
    /// contains links to directories.
    /// @return New at the first call for `directory`, ReadBefore at later calls, NoMemory if memory is exhausted
    [[nodiscard]] Links meetLinksOf(const DirectoryIdentity &directory) {
        if (linksRead_.find(directory) != nullptr) {
            return Links::ReadBefore;
        }
        return linksRead_.store(directory, {}) ? Links::New : Links::NoMemory;
    }

    /// Counts that the walk follows one link to a directory.
    /// @param links  the result of meetLinksOf() for the directory that contains the link; New adds one to the number
    ///               of different links
    /// @return false if the count is now larger than the limit
    [[nodiscard]] bool countWay(Links links) {
        differentLinks_ += links == Links::New ? 1 : 0;
        ++ways_;
        return ways_ <= limit_.ways + limit_.waysPerLink * differentLinks_;
    }

  private:
    struct Nothing {};

    LinkLimit limit_;
    IdentityMap<std::size_t> descent_; ///< the ancestors of the walk, each with its lowest level
    IdentityMap<Nothing> linksRead_;   ///< the directories that meetLinksOf() was called for
    std::uint64_t ways_ = 0;
    std::uint64_t differentLinks_ = 0;
};

} // namespace vek

#endif
