// The scan for redundant tag files: a depth-first walk in directory order, with an explicit stack of levels on the heap,
// so that neither the stack nor the number of open files limits the depth. Each directory is read whole before anything
// in it is entered. Large trees are read ahead by worker threads (read_ahead.h); the decisions about links, cycles and
// reports are made here, in the order of the walk.

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
            parents_.clear(); // Not reached: a test would need more directories than the cache holds
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
    vekinfo::Directory *directory; ///< of the scan's ReadAhead
    std::size_t segment;           ///< the level where its path begins: that of the last link, or 0
    std::optional<DirectoryIdentity> identity;
    std::size_t next = 0; ///< position of the entry that is looked at next
    Links links = Links::Unread;
};

/// One scan of everything below a directory.
class Scan {
  public:
    Scan(const vek::LinkLimit &limit, vekinfo::ReadAhead &readAhead) : readAhead_(readAhead), guard_(limit) {}

    void run(const char *directory, Entered entered) {
        enter(directory, entered, std::nullopt, {});
        while (!levels_.empty()) {
            if (entries().isEnd(levels_.top().next)) {
                leave();
            } else {
                lookAtNextEntry();
            }
        }
    }

  private:
    using Step = vekinfo::ReadAhead::Step;
    using Outcome = vekinfo::DirectoryReading::Outcome;

    [[nodiscard]] const char *directory() const { return levels_.top().directory->path(); }
    [[nodiscard]] const vek::EntryList &entries() const { return levels_.top().directory->entries(); }

    /// Takes a directory that has been read and adds it to the descent. A directory that cannot be opened is passed
    /// over.
    /// @param identity  known for the target of a link
    /// @param step      the entry that leads to the directory; the rest is filled in here
    void enter(const char *path, Entered entered, const std::optional<DirectoryIdentity> &identity,
               Step step) {
        const bool beginsPath = entered == Entered::Link || levels_.empty();
        const std::size_t segment = beginsPath ? levels_.size() : levels_.top().segment;
        step.parent = levels_.empty() ? nullptr : levels_.top().directory;
        step.isBelowLink = segment > 0;
        step.identifies = step.isBelowLink && !identity;
        vekinfo::Directory *read = readAhead_.enter(path, step);
        if (read == nullptr) {
            reportNoMemory(path);
            return;
        }
        if (!push({entered, read, segment, identity ? identity : read->identity()}, path)) {
            readAhead_.leave(read);
        }
    }

    /// @return false if the directory is not to be scanned, for a reason that has been reported
    bool push(const Level &level, const char *path) {
        const Outcome outcome = level.directory->reading().outcome;
        if (outcome == Outcome::NotOpened) {
            return false;
        }
        if (level.entered == Entered::Plain && level.identity &&
            isAboveSegment(*level.identity, level.segment)) {
            reportCycle(directory());
            return false;
        }
        if (outcome == Outcome::NoMemory || !levels_.push(Level(level))) {
            reportNoMemory(path);
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
        readAhead_.leave(level.directory);
        levels_.pop();
    }

    void lookAtNextEntry() {
        Level &level = levels_.top();
        const vek::EntryList::Entry entry = entries().at(level.next);
        Step step = {.parent = level.directory, .position = level.next, .next = entry.next};
        level.next = entry.next;

        const bool isTagFileName = entry.name == kTagFileName;
        const Kind kind = kindOf(entry.type, isTagFileName);
        if (isLimitReached_ && entry.type == DT_LNK && !isTagFileName) {
            return;
        }
        EntryPath path;
        const bool fits = kind == Kind::File || path.assign(directory(), "/", entry.name);
        if (kind == Kind::Directory && fits) {
            step.isListed = true;
            enter(path.c_str(), Entered::Plain, std::nullopt, step);
            return;
        }
        if (entry.type == DT_DIR) {
            readAhead_.pass(step);
        }
        if (kind == Kind::File || !fits || vekFileIsDirectory(path.c_str()) == 0) {
            reportIf(isTagFileName && level.entered != Entered::Top);
        } else {
            enterOrFollow(path.c_str(), step);
        }
    }

    void reportIf(bool isRedundant) const {
        if (isRedundant) {
            std::printf("There is a redundant vekinfo.tag file in the subdir: \n\t%s\n", directory());
        }
    }

    /// Enters a directory whose last path component may be a symbolic link.
    void enterOrFollow(const char *path, const Step &step) {
        vek::PathText target;
        const int error = vek::readLink(path, target);
        if (error == 0) {
            follow(path, target.view(), step);
        } else if (error == EINVAL) {
            enter(path, Entered::Plain, std::nullopt, step);
        } else {
            tovPrintError(TOV_INVALID_PATH, directory(), nullptr, 0);
        }
    }

    void follow(const char *link, std::string_view target, const Step &step) {
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
        enter(normalized.c_str(), Entered::Link, identity, step);
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
                level.identity = DirectoryIdentity::of(level.directory->path());
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
        return start.identity && ancestors_.contain(identity, *start.identity, start.directory->path());
    }

    /// A directory that is no link can be on the descent if a link leads to a directory above one of the descent. Only
    /// the levels above the last link count: what repeats after it is a bind mount, which is finite.
    [[nodiscard]] bool isAboveSegment(const DirectoryIdentity &identity, std::size_t segment) const {
        const std::optional<std::size_t> level = guard_.levelOf(identity);
        return level && *level < segment;
    }

    vekinfo::ReadAhead &readAhead_;
    vek::GrowingArray<Level> levels_;
    std::size_t identified_ = 0; ///< the number of levels, from the top on, that the guard's descent has
    Ancestors ancestors_;
    vek::WalkGuard guard_;
    bool isLimitReached_ = false;
};

} // namespace

void vekinfo::scanSubdirs(const char *dir, bool isTop, const vek::LinkLimit &limit, ReadAhead &readAhead) {
    Scan(limit, readAhead).run(dir, isTop ? Entered::Top : Entered::Plain);
}

void tovScanSubdirsForVekinfo(const char *dir, int isTop) {
    vekinfo::ReadAhead readAhead;
    vekinfo::scanSubdirs(dir, isTop != 0, {}, readAhead);
}
