// The scan for redundant tag files: a depth-first walk that processes the entries of each directory in directory
// order. The directories from the start of the scan to the current one are kept in an explicit stack on the heap. Each
// directory is read completely and closed before a subdirectory is entered. So neither the thread's stack nor the
// limit on open files limits the depth.
//
// In large trees, worker threads read directories ahead (read_ahead.h). All decisions about links, cycles and reports
// are made here, in the order of the walk.

#include "tool/vekinfo_scan.h"

#include "common/base/owned.h"
#include "common/base/print.h"
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

/// Has room for the path of every entry of an opened directory: open() accepts paths of at most 4095 characters, and
/// an entry name has at most NAME_MAX bytes.
using EntryPath = vek::FixedText<VEK_PATH_SIZE + 1 + NAME_MAX + 1>;

void reportNoMemory(const char *directory) {
    tovPrintError(TOV_MEMORY_ERROR, "while looking for vekinfo.tag files", directory, 0);
}

void reportCycle(const char *directory) {
    tovPrintError(TOV_INVALID_PATH, "there seems to be a linkloop", directory, 0);
}

/// The kind of an entry according to its DT_... type. Unknown: stat() must determine the kind.
enum class Kind { File, Directory, Unknown };

Kind kindOf(unsigned char type, bool isTagFileName) {
    switch (type) {
    case DT_DIR:
        // An entry with the name of a tag file is Unknown even if it is a directory, so that stat() decides: without
        // search permission for the parent directory, stat() fails, and the entry must be reported as a tag file.
        return isTagFileName ? Kind::Unknown : Kind::Directory;
    case DT_LNK:
    case DT_UNKNOWN:
        return Kind::Unknown;
    default:
        return Kind::File;
    }
}

/// Tests whether one directory is an ancestor of another, by following "..". Caches the parent of each directory.
class Ancestors {
  public:
    /// @param path  a path of the directory `start`
    /// @return true if `directory` is an ancestor of `start`; false also if the parent of an ancestor cannot be
    ///         determined
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
    /// The maximum number of steps in contain(): the number of "/.." that fit into a path. Without this limit the loop
    /// would not end if the cached parents formed a cycle because a directory was moved during the scan.
    static constexpr std::size_t kMostSteps = vek::PathText::kCapacity / 3;
    /// The maximum number of cached parents, for which the cache needs some megabytes of memory.
    static constexpr std::size_t kMostCached = 100'000;

    /// @param path   a path of `directory` or of a directory below it
    /// @param steps  the number of "/.." after `path` that lead to `directory`
    /// @return the parent of `directory`; nullopt if stat() fails or the path with "/.." is too long
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
            static_cast<void>(parents_.store(directory, *parent)); // on ENOMEM the parent is not cached
        }
        return parent;
    }

    vek::IdentityMap<DirectoryIdentity> parents_;
};

/// How the scan has reached a directory.
enum class Entered {
    Top,   ///< as the start of a scan with `isTop`: a tag file in it is not redundant
    Plain, ///< as an entry of its parent directory, or as the start of a scan without `isTop`
    Link   ///< as the target of a symbolic link
};

/// An element of the stack: the current directory, or one that the scan has entered on the way to it.
struct Level {
    Entered entered;
    vekinfo::Directory *directory; ///< returned by ReadAhead::enter()
    /// Index in the stack of the last directory, up to this one, that was entered through a symbolic link; 0, the start
    /// of the scan, if there is none. The path of this directory begins with the path of the directory at that index.
    std::size_t segment;
    std::optional<DirectoryIdentity> identity; ///< nullopt until it is needed, or if stat() fails
    std::size_t next = 0;                      ///< position of the entry to process next
    Links links = Links::Unread; ///< whether links of this directory were counted before, see WalkGuard
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

    /// Reads the directory `path` and pushes it onto the stack. Skips a directory that cannot be opened.
    /// @param identity  the identity of a link target; nullopt for other directories, or if stat() failed
    /// @param step      the entry that leads to the directory; this function sets `parent`, `isBelowLink` and
    ///                  `identifies`
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

    /// Pushes `level` onto the stack.
    /// @return false if the directory cannot be opened, closes a cycle, or memory is exhausted; the last two have been
    ///         reported
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
            vek::print(stdout, "There is a redundant vekinfo.tag file in the subdir: \n\t%s\n", directory());
        }
    }

    /// Enters the directory `path`, or follows `path` if it is a symbolic link to a directory.
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
        // Documented: a link whose target is a textual prefix of the current path counts as a cycle. In "/proj/lib", a
        // link to "/proj/li" is therefore reported as a cycle, too.
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

    // ---- cycles, and the limit on followed links

    /// Counts one link of the current directory that is about to be followed.
    /// @return false if the limit is reached or memory is exhausted, which has been reported: the link is not followed
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
        if (!guard_.countFollowedLink(level.links)) {
            isLimitReached_ = true;
            tovPrintError(TOV_INVALID_PATH, "too many ways through symbolic links, the rest are not followed",
                          directory(), 0);
            return false;
        }
        return true;
    }

    /// Adds to `guard_` the identities of all levels that it does not contain yet. This is called only when a link is
    /// about to be followed, so that a scan without links needs no stat() for the identities.
    /// @return false if memory is exhausted
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

    /// @param identity  the identity of a link target
    /// @return true if following the link would form a cycle. This is so if the target is one of the directories that
    ///         the scan is in, or an ancestor of the directory that the scan entered last through a link. If it entered
    ///         none through a link, an ancestor of the directory in which the scan started
    bool isCycle(const DirectoryIdentity &identity) {
        if (guard_.levelOf(identity)) {
            return true;
        }
        const Level &start = levels_[levels_.top().segment];
        return start.identity && ancestors_.contain(identity, *start.identity, start.directory->path());
    }

    /// Detects a cycle that begins with a link to an ancestor of a directory in the stack: below the target of the
    /// link, the scan enters that directory again, as an entry of its parent.
    /// @param segment  the index in the stack of the last link target
    /// @return true if `identity`, the directory to enter, is in the stack before `segment`. The levels from `segment`
    ///         on are not compared: a directory that is among them twice is a bind mount, which cannot form an endless
    ///         path
    [[nodiscard]] bool isAboveSegment(const DirectoryIdentity &identity, std::size_t segment) const {
        const std::optional<std::size_t> level = guard_.levelOf(identity);
        return level && *level < segment;
    }

    vekinfo::ReadAhead &readAhead_;
    vek::GrowingArray<Level> levels_;
    std::size_t identified_ = 0; ///< the number of levels, from the start of the scan, that `guard_` contains
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
