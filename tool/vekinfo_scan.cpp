// The scan for redundant tag files: a depth-first walk in directory order, with an explicit stack of levels on the heap,
// so that neither the stack nor the number of open files limits the depth. Each directory is read whole before anything
// in it is entered. Reading (vek::readDirectory) is separate from the decisions about links, cycles and reports, which
// follow one another in the order of the walk.

#include "tool/vekinfo_scan.h"

#include "common/base/owned.h"
#include "common/containers/growing_array.h"
#include "common/containers/identity_map.h"
#include "common/platform/entry_list.h"
#include "common/platform/system_path.h"
#include "common/platform/vek_file.h"
#include "common/platform/vek_path.h"
#include "common/text/ascii.h"
#include "common/text/fixed_text.h"
#include "tagfile/normalize.h"
#include "tagfile/tov.h"
#include "tool/vekinfo_check.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <optional>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

using vek::DirectoryIdentity;
using vek::DirectoryReading;
using Links = vek::WalkGuard::Links;

constexpr std::string_view kTagFileName = "vekinfo.tag";

/// An entry of a directory that could be opened, whose path has at most 4095 characters.
using EntryPath = vek::FixedText<VEK_PATH_SIZE + 1 + NAME_MAX + 1>;

void reportNoMemory(const char *directory) {
    tovPrintError(TOV_MEMORY_ERROR, "while looking for vekinfo.tag files", directory, 0);
}

void reportCycle(const char *directory) {
    tovPrintError(TOV_INVALID_PATH, "there seems to be a linkloop", directory, 0);
}

/// What the type that was read with an entry says about it.
enum class Kind { File, Directory, Unknown };

Kind kindOf(unsigned char type, bool isTagFileName) {
    switch (type) {
    case DT_DIR:
        // In a directory without search permission even a directory of that name counts as a file.
        return isTagFileName ? Kind::Unknown : Kind::Directory;
    case DT_LNK:
    case DT_UNKNOWN:
        return Kind::Unknown;
    default:
        return Kind::File;
    }
}

/// Finds out whether one directory lies above another by following "..". The parents that are found are cached.
class Ancestors {
  public:
    /// @param path  a path of `start`
    /// @return true if `directory` is above `start`; false also if that cannot be found out
    bool contain(const DirectoryIdentity &directory, const DirectoryIdentity &start, const char *path) {
        DirectoryIdentity current = start;
        std::size_t steps = 0;
        for (; steps < kMostSteps; ++steps) {
            const std::optional<DirectoryIdentity> parent = parentOf(current, path, steps);
            if (!parent || *parent == current) { // ".." of the root directory is the root directory
                return false;
            }
            if (*parent == directory) {
                return true;
            }
            current = *parent;
        }
        return false;
    }

  private:
    /// As many "/.." as fit into a path. Cached parents of a tree that changes may form a cycle.
    static constexpr std::size_t kMostSteps = vek::PathText::kCapacity / 3;
    /// Limits the memory to some megabytes.
    static constexpr std::size_t kMostCached = 100'000;

    /// @param path, steps  as many steps up from `path` lead to the directory
    std::optional<DirectoryIdentity> parentOf(const DirectoryIdentity &directory, const char *path,
                                              std::size_t steps) {
        if (const DirectoryIdentity *parent = parents_.find(directory)) {
            return *parent;
        }
        vek::PathText above;
        bool fits = above.assign(path);
        for (std::size_t i = 0; fits && i <= steps; ++i) {
            fits = above.append("/..");
        }
        const std::optional<DirectoryIdentity> parent =
            fits ? DirectoryIdentity::of(above.c_str()) : std::nullopt;
        if (parents_.size() >= kMostCached) {
            parents_.clear();
        }
        if (parent) {
            static_cast<void>(parents_.store(directory, *parent)); // without memory it is not cached
        }
        return parent;
    }

    vek::IdentityMap<DirectoryIdentity> parents_;
};

/// How a directory is entered.
enum class Entered {
    Top,   ///< the scan begins there; a tag file in it is not redundant
    Plain, ///< as an entry of the directory above it, or as the beginning of a scan that is not at the top
    Link
};

/// One directory on the present descent.
struct Level {
    Entered entered;
    std::size_t path;    ///< offset of its path in the scan's paths
    std::size_t segment; ///< the level where its path begins: that of the last link, or 0
    vek::EntryList entries;
    std::size_t next = 0; ///< position of the entry that is looked at next
    std::optional<DirectoryIdentity> identity;
    Links links = Links::Unread;
};

/// One scan of everything below a directory.
class Scan {
  public:
    explicit Scan(const vek::LinkLimit &limit) : guard_(limit) {}

    void run(const char *directory, Entered entered) {
        enter(directory, entered, std::nullopt);
        while (!levels_.empty()) {
            if (levels_.top().entries.isEnd(levels_.top().next)) {
                leave();
            } else {
                lookAtNextEntry();
            }
        }
    }

  private:
    [[nodiscard]] const char *pathOf(const Level &level) const { return &paths_[level.path]; }
    [[nodiscard]] const char *directory() const { return pathOf(levels_.top()); }

    /// Reads a directory and adds it to the descent. A directory that cannot be opened is passed over.
    /// @param path      not in the scan's paths
    /// @param identity  known for the target of a link
    void enter(const char *path, Entered entered, std::optional<DirectoryIdentity> identity) {
        const bool beginsPath = entered == Entered::Link || levels_.empty();
        const std::size_t segment = beginsPath ? levels_.size() : levels_.top().segment;
        const bool isBelowLink = segment > 0;
        Level level = {entered, paths_.size(), segment, std::move(spare_), 0, identity, Links::Unread};
        level.entries.clear();
        const DirectoryReading reading =
            vek::readDirectory(path, level.entries, isBelowLink && !identity ? &level.identity : nullptr);
        if (reading.outcome == DirectoryReading::Outcome::NotOpened) {
            return;
        }
        if (entered == Entered::Plain && level.identity && isAboveSegment(*level.identity, segment)) {
            reportCycle(directory());
            return;
        }
        if (reading.outcome == DirectoryReading::Outcome::NoMemory || !push(path, std::move(level))) {
            reportNoMemory(path);
        }
    }

    /// @return false if memory is exhausted
    bool push(const char *path, Level &&level) {
        const std::size_t size = std::strlen(path) + 1;
        char *copy = paths_.extend(size);
        if (copy == nullptr) {
            return false;
        }
        std::memcpy(copy, path, size);
        if (!levels_.push(std::move(level))) {
            paths_.shrink(paths_.size() - size);
            return false;
        }
        return true;
    }

    void leave() {
        Level &level = levels_.top();
        const std::size_t number = levels_.size() - 1;
        if (number < identified_) {
            identified_ = number;
            if (level.identity) {
                guard_.leave(*level.identity, number);
            }
        }
        paths_.shrink(level.path);
        if (level.entries.capacity() <= kMostSpare) {
            spare_ = std::move(level.entries);
        }
        levels_.pop();
    }

    void lookAtNextEntry() {
        Level &level = levels_.top();
        const vek::EntryList::Entry entry = level.entries.at(level.next);
        level.next = entry.next;

        const bool isTagFileName = entry.name == kTagFileName;
        const Kind kind = kindOf(entry.type, isTagFileName);
        if (isLimitReached_ && entry.type == DT_LNK && !isTagFileName) {
            return;
        }
        EntryPath path;
        if (kind == Kind::File || !path.assign(directory(), "/", entry.name) ||
            (kind == Kind::Unknown && vekFileIsDirectory(path.c_str()) == 0)) {
            reportIf(isTagFileName && level.entered != Entered::Top);
        } else if (kind == Kind::Directory) {
            enter(path.c_str(), Entered::Plain, std::nullopt);
        } else {
            enterOrFollow(path.c_str());
        }
    }

    void reportIf(bool isRedundant) const {
        if (isRedundant) {
            std::printf("There is a redundant vekinfo.tag file in the subdir: \n\t%s\n", directory());
        }
    }

    /// Enters a directory whose last path component may be a symbolic link.
    void enterOrFollow(const char *path) {
        vek::PathText target;
        const int error = vek::readLink(path, target);
        if (error == 0) {
            follow(path, target.view());
        } else if (error == EINVAL) {
            enter(path, Entered::Plain, std::nullopt);
        } else {
            tovPrintError(TOV_INVALID_PATH, directory(), nullptr, 0);
        }
    }

    void follow(const char *link, std::string_view target) {
        if (isLimitReached_ || !countLink()) {
            return;
        }
        const vek::OwnedText absolute =
            vek::startsWith(target, "/") ? vek::copyText(target) : vek::joinText(directory(), "/", target);
        if (!absolute) {
            reportNoMemory(directory());
            return;
        }
        vek::PathText normalized;
        if (tov::normalizePath(absolute.get(), normalized) != TOV_OK) {
            tovPrintError(TOV_INVALID_PATH, absolute.get(), link, 0);
            return;
        }
        // Documented: the texts are compared. In "/proj/lib" a link to "/proj/li" counts as a cycle, too.
        if (vek::startsWith(directory(), normalized.view())) {
            reportCycle(directory());
            return;
        }
        const std::optional<DirectoryIdentity> identity = DirectoryIdentity::of(normalized.c_str());
        if (identity && isCycle(*identity)) {
            reportCycle(directory());
            return;
        }
        enter(normalized.c_str(), Entered::Link, identity);
    }

    // ---- cycles, and the limit of ways through links

    /// @return false if the link is not to be followed, for a reason that has been reported
    bool countLink() {
        Level &level = levels_.top();
        if (!identifyLevels()) {
            reportNoMemory(directory());
            return false;
        }
        if (level.links == Links::Unread && level.identity) {
            level.links = guard_.meetLinksOf(*level.identity);
        }
        if (level.links == Links::NoMemory) {
            level.links = Links::Unread;
            reportNoMemory(directory());
            return false;
        }
        if (!guard_.countWay(level.links)) {
            isLimitReached_ = true;
            tovPrintError(TOV_INVALID_PATH, "too many ways through symbolic links, the rest are not followed",
                          directory(), 0);
            return false;
        }
        return true;
    }

    /// Adds the levels to the guard's descent that it does not have yet. As long as no link is met nothing is added, and
    /// no directory is asked for its identity. @return false if memory is exhausted
    bool identifyLevels() {
        for (; identified_ < levels_.size(); ++identified_) {
            Level &level = levels_[identified_];
            if (!level.identity) {
                level.identity = DirectoryIdentity::of(pathOf(level));
            }
            if (level.identity && !guard_.enter(*level.identity, identified_)) {
                return false;
            }
        }
        return true;
    }

    /// @return true if the target of a link is on the present descent, or above the directory in which the path of the
    ///         present directory begins
    bool isCycle(const DirectoryIdentity &identity) {
        if (guard_.levelOf(identity)) {
            return true;
        }
        const Level &start = levels_[levels_.top().segment];
        return start.identity && ancestors_.contain(identity, *start.identity, pathOf(start));
    }

    /// A directory that is no link can be on the descent if a link leads to a directory above one of the descent. Only
    /// the levels above the last link count: what repeats after it is a bind mount, which is finite.
    [[nodiscard]] bool isAboveSegment(const DirectoryIdentity &identity, std::size_t segment) const {
        const std::optional<std::size_t> level = guard_.levelOf(identity);
        return level && *level < segment;
    }

    /// Larger memory is not kept for a small directory.
    static constexpr std::size_t kMostSpare = 4096;

    vek::EntryList spare_;          ///< memory for the next directory that is read
    vek::GrowingArray<char> paths_; ///< the paths of all levels, each with a NUL
    vek::GrowingArray<Level> levels_;
    std::size_t identified_ = 0; ///< the number of levels, from the top on, that the guard's descent has
    Ancestors ancestors_;
    vek::WalkGuard guard_;
    bool isLimitReached_ = false;
};

} // namespace

void vekinfoScanSubdirs(const char *dir, bool isTop, const vek::LinkLimit &limit) {
    Scan(limit).run(dir, isTop ? Entered::Top : Entered::Plain);
}

void tovScanSubdirsForVekinfo(const char *dir, int isTop) {
    vekinfoScanSubdirs(dir, isTop != 0, {});
}
