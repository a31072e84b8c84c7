#ifndef COMMON_WALK_GUARD_H
#define COMMON_WALK_GUARD_H

/// A guard for a depth-first walk that follows symbolic links to directories. It detects cycles of links, and it
/// limits how many links are followed, because a few links can give exponentially many paths.

#include "common/containers/directory_identity.h"
#include "common/containers/identity_map.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace vek {

/// Limit on how many times one walk follows symbolic links to directories. The limit is `followed`, plus
/// `followedPerLink` for each different link in the tree.
struct LinkLimit {
    std::uint64_t followed = 1'000'000;
    /// Must be more than 41, so that a tree with only one cycle never reaches the limit. Linux resolves at most 40
    /// links in one path. A walk through the cycle therefore visits each directory, and follows each link in it, at
    /// most 41 times.
    std::uint64_t followedPerLink = 64;
};

/// Detects cycles in one depth-first walk, and limits how many symbolic links to directories the walk follows.
///
/// - Cycles: the guard stores the ancestors, the directories that the walk has entered and not left yet. If the walk
///   reaches an ancestor again, there is a cycle. A walk that never enters an ancestor again cannot be deeper than
///   the number of directories.
/// - Exponential walks: n directories, each with two links to the next one, give 2^n paths without any cycle.
///   Therefore countFollowedLink() compares the number of followed links with a limit. Each different link increases the
///   limit, so that a large tree in which each link is followed a few times is walked completely.
///
/// Each operation takes O(1) time. Memory grows with the number of ancestors and of different directories with links.
class WalkGuard {
  public:
    explicit WalkGuard(const LinkLimit &limit = {}) : limit_(limit) {}

    // ---- cycles

    /// Adds `directory` to the ancestors of the walk. `level` is its depth. If `directory` is an ancestor already, its
    /// stored depth, which is lower, is kept. When the walk leaves the directory, it must call leave() with the same
    /// arguments.
    /// @return true; false if memory is exhausted, and leave() must then not be called
    [[nodiscard]] bool enter(const DirectoryIdentity &directory, std::size_t level) {
        return ancestors_.find(directory) != nullptr || ancestors_.store(directory, level);
    }

    void leave(const DirectoryIdentity &directory, std::size_t level) {
        const std::size_t *entered = ancestors_.find(directory);
        if (entered != nullptr && *entered == level) {
            ancestors_.erase(directory);
        }
    }

    /// @return the depth of the ancestor `directory`, the lowest one if the walk has entered it several times; nullopt
    ///         if `directory` is not an ancestor
    [[nodiscard]] std::optional<std::size_t> levelOf(const DirectoryIdentity &directory) const {
        const std::size_t *level = ancestors_.find(directory);
        return level == nullptr ? std::nullopt : std::optional(*level);
    }

    // ---- limit on followed links

    /// The state of the links of a directory during one visit. Unread: meetLinksOf() was not called in this visit.
    /// The other values are results of meetLinksOf().
    enum class Links : unsigned char { Unread, New, ReadBefore, NoMemory };

    /// Records that the walk follows symbolic links in `directory`. If a directory contains links to directories, the
    /// walk calls this function once in each visit. Several paths can lead to a directory, which is then visited
    /// several times.
    /// @return New for the first visit of `directory`; ReadBefore for later visits; NoMemory if memory is exhausted
    [[nodiscard]] Links meetLinksOf(const DirectoryIdentity &directory) {
        if (linksRead_.find(directory) != nullptr) {
            return Links::ReadBefore;
        }
        return linksRead_.store(directory, {}) ? Links::New : Links::NoMemory;
    }

    /// Adds 1 to the number of links that the walk has followed.
    /// @param links  the result of meetLinksOf() for the directory that contains the link. For New, the link also
    ///               increases the number of different links, and with it the limit
    /// @return true; false if the number of followed links is now larger than the limit
    [[nodiscard]] bool countFollowedLink(Links links) {
        differentLinks_ += links == Links::New ? 1 : 0;
        ++followed_;
        return followed_ <= limit_.followed + limit_.followedPerLink * differentLinks_;
    }

  private:
    struct Nothing {};

    LinkLimit limit_;
    IdentityMap<std::size_t>
        ancestors_;                  ///< the depth-first search path, each directory with its lowest level
    IdentityMap<Nothing> linksRead_; ///< the directories that meetLinksOf() was called for
    std::uint64_t followed_ = 0;
    std::uint64_t differentLinks_ = 0;
};

} // namespace vek

#endif
