#ifndef COMMON_WALK_GUARD_H
#define COMMON_WALK_GUARD_H

/// Makes walks through directory trees with symbolic links end.

#include "common/containers/directory_identity.h"
#include "common/containers/identity_map.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace vek {

/// How many ways through links one walk may take.
struct LinkLimit {
    std::uint64_t ways = 1'000'000;
    /// More than the 40 links that Linux resolves in one path: a directory that a cycle leads back to is visited at
    /// most 41 times, so a tree with one cycle stays within the limit, however many links it has.
    std::uint64_t waysPerLink = 64;
};

/// Detects cycles and limits the number of ways through links in one walk.
///
/// - A directory on the present descent that is reached again is a cycle. A walk that does not enter it visits each
///   directory at most once on a descent, so the descent is finite.
/// - Links without a cycle can still give exponentially many ways: n directories, each with two links to the next one,
///   give 2^n. So the ways are limited. The limit grows with the number of different links, so that a tree that is
///   only large stays below it.
///
/// Each operation takes O(1) time. Memory grows with the depth of the descent and with the number of different
/// directories whose links were read.
class WalkGuard {
  public:
    explicit WalkGuard(const LinkLimit &limit = {}) : limit_(limit) {}

    // ---- cycles

    /// Adds a directory to the present descent, at `level` of it; leave() must follow. A directory that is on it
    /// already keeps the lower level.
    /// @return false if memory is exhausted; leave() must not follow then
    [[nodiscard]] bool enter(const DirectoryIdentity &directory, std::size_t level) {
        return descent_.find(directory) != nullptr || descent_.store(directory, level);
    }

    void leave(const DirectoryIdentity &directory, std::size_t level) {
        const std::size_t *entered = descent_.find(directory);
        if (entered != nullptr && *entered == level) {
            descent_.erase(directory);
        }
    }

    /// @return the lowest level at which the directory is on the present descent; nothing if it is not on it
    [[nodiscard]] std::optional<std::size_t> levelOf(const DirectoryIdentity &directory) const {
        const std::size_t *level = descent_.find(directory);
        return level == nullptr ? std::nullopt : std::optional(*level);
    }

    // ---- ways through links

    /// The links of a directory, at one visit of it.
    enum class Links : unsigned char { Unread, New, ReadBefore, NoMemory };

    /// To be called once in a visit of a directory that has links to directories.
    /// @return New at the first visit, ReadBefore at later ones, NoMemory if it cannot be remembered
    [[nodiscard]] Links meetLinksOf(const DirectoryIdentity &directory) {
        if (linksRead_.find(directory) != nullptr) {
            return Links::ReadBefore;
        }
        return linksRead_.store(directory, {}) ? Links::New : Links::NoMemory;
    }

    /// Counts one way through a link to a directory.
    /// @param links  what meetLinksOf() returned for the directory that holds the link
    /// @return false if that is one more than the limit
    [[nodiscard]] bool countWay(Links links) {
        differentLinks_ += links == Links::New ? 1 : 0;
        ++ways_;
        return ways_ <= limit_.ways + limit_.waysPerLink * differentLinks_;
    }

  private:
    struct Nothing {};

    LinkLimit limit_;
    IdentityMap<std::size_t> descent_; ///< the level of each directory on the present descent
    IdentityMap<Nothing> linksRead_;   ///< the directories whose links were read
    std::uint64_t ways_ = 0;
    std::uint64_t differentLinks_ = 0;
};

} // namespace vek

#endif
