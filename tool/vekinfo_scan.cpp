#include "tool/vekinfo_check.h"

#include "common/ascii.h"
#include "common/fixed_text.h"
#include "common/owned.h"
#include "common/vek_file.h"
#include "common/vek_path.h"
#include "tagfile/tov.h"
#include "tool/vekinfo_stack.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::string_view kTagFileName = "vekinfo.tag";

/// How often links may lead into a directory that lies on a circle of links; after that they are reported at once.
/// Without a limit, a dozen directories that all link to each other would be walked in every order there is.
constexpr int kMaxRounds = 100;

/// Ends walks that no one would see the end of: through forty directories beside each other, each with links to those
/// that follow it, there are a million million ways. Links behind two others are counted, and taken for loops when
/// they are too many for the number of directories that are reached otherwise.
class LinkBudget {
  public:
    void enter(bool throughLink) {
        links_ += throughLink ? 1 : 0;
        if (links_ <= kNearLinks) {
            ++nearDirectories_;
        } else if (throughLink) {
            ++farLinks_;
        }
    }
    void leave(bool throughLink) { links_ -= throughLink ? 1 : 0; }

    [[nodiscard]] bool isSpent() const {
        return links_ >= kNearLinks && farLinks_ >= kFewFarLinks + kFarLinksPerDirectory * nearDirectories_;
    }

  private:
    static constexpr int kNearLinks = 2;
    static constexpr long kFewFarLinks = 20'000;
    static constexpr long kFarLinksPerDirectory = 16;

    int links_ = 0; ///< that lead to the present directory
    long nearDirectories_ = 0;
    long farLinks_ = 0;
};

/// An entry of a directory that could be opened, whose path has at most 4095 characters.
using EntryPath = vek::FixedText<VEK_PATH_SIZE + 1 + NAME_MAX + 1>;

int reportNoMemory(const char *directory) {
    return tovPrintError(TOV_MEMORY_ERROR, "while looking for vekinfo.tag files", directory, 0);
}

/// What the type that came with an entry tells about it.
enum class Kind { File, Directory, Unknown };

Kind kindOf(unsigned char type, bool isTagFileName) {
    switch (type) {
    case DT_DIR:
        // In a directory that cannot be searched even a directory of that name counts as a file.
        return isTagFileName ? Kind::Unknown : Kind::Directory;
    case DT_LNK:
    case DT_UNKNOWN:
        return Kind::Unknown;
    default:
        return Kind::File;
    }
}

/// What a directory is, whatever path leads to it.
struct Identity {
    dev_t device = 0;
    ino_t inode = 0;
    bool known = false;

    bool operator==(const Identity &) const = default;

    static Identity of(const char *path) {
        struct stat status = {};
        const bool known = stat(path, &status) == 0;
        return {status.st_dev, status.st_ino, known};
    }
};

/// Counts how often links have led into directories that lie on a circle of links.
class Rounds {
  public:
    [[nodiscard]] int of(const Identity &directory) const {
        const std::size_t place = find(directory);
        return place < counts_.size() ? counts_[place].rounds : 0;
    }

    /// @return false when memory is exhausted
    [[nodiscard]] bool count(const Identity &directory) {
        const std::size_t place = find(directory);
        if (place == counts_.size()) {
            return counts_.push({directory, 1});
        }
        ++counts_[place].rounds;
        return true;
    }

  private:
    struct Count {
        Identity directory;
        int rounds;
    };

    [[nodiscard]] std::size_t find(const Identity &directory) const {
        std::size_t i = 0;
        while (i < counts_.size() && counts_[i].directory != directory) {
            ++i;
        }
        return i;
    }

    VekinfoStack<Count> counts_;
};

/// How a directory is entered.
enum class Way {
    FromTop,   ///< a tag file in it is not redundant
    FromAbove, ///< its path goes on from that of the level above
    ThroughLink
};

/// A directory on the way down. Its path and its entries, each a type and a name, stand in the scan's texts.
struct Level {
    Way way;
    std::size_t path; ///< where its path begins
    std::size_t next; ///< where the entry begins that is looked at next
    bool isOnCircle;  ///< a link below led back to it, or to a directory above it

    // What is asked for when it is needed first.
    Identity identity;
    bool knowsAncestors;
    std::size_t ancestors; ///< where they begin in the scan's list, when the path begins anew with this level
};

/// A walk over everything below one directory. A directory is read whole before anything in it is entered, and all
/// levels stand on the heap: no tree is too deep for the stack or the number of open files.
class Scan {
  public:
    void run(const char *directory, Way way) {
        enter(directory, way);
        while (!levels_.empty()) {
            if (levels_.top().next == texts_.size()) {
                leave();
            } else {
                lookAtNextEntry();
            }
        }
    }

  private:
    [[nodiscard]] const char *pathOf(const Level &level) const { return &texts_[level.path]; }
    [[nodiscard]] const char *directory() const { return pathOf(levels_.top()); }

    /// Goes down into a directory; one that cannot be opened is passed over.
    /// @param path  not in the texts
    void enter(const char *path, Way way) {
        const vek::OwnedDirectory stream(opendir(path));
        if (!stream) {
            return;
        }
        const std::size_t begin = texts_.size();
        const std::size_t size = std::strlen(path) + 1;
        if (!texts_.push(path, size) || !pushEntries(stream.get()) ||
            !levels_.push({way, begin, begin + size, false, {}, false, 0})) {
            texts_.shrink(begin);
            reportNoMemory(path);
            return;
        }
        budget_.enter(way == Way::ThroughLink);
    }

    bool pushEntries(DIR *stream) {
        while (const dirent *entry = readdir(stream)) {
            const std::string_view name(entry->d_name);
            const bool isSkipped = name == "." || name == "..";
            if (!isSkipped && (!texts_.push(static_cast<char>(entry->d_type)) ||
                               !texts_.push(name.data(), name.size() + 1))) {
                return false;
            }
        }
        return true;
    }

    void leave() {
        Level &level = levels_.top();
        if (level.isOnCircle && level.way == Way::ThroughLink && !rounds_.count(identityOf(level))) {
            reportNoMemory(pathOf(level));
        }
        if (level.knowsAncestors) {
            ancestors_.shrink(level.ancestors);
        }
        budget_.leave(level.way == Way::ThroughLink);
        texts_.shrink(level.path);
        levels_.pop();
    }

    void lookAtNextEntry() {
        Level &level = levels_.top();
        const auto type = static_cast<unsigned char>(texts_[level.next]);
        const std::string_view name(&texts_[level.next + 1]);
        level.next += 1 + name.size() + 1;

        const bool isTagFileName = name == kTagFileName;
        const Kind kind = kindOf(type, isTagFileName);
        EntryPath path;
        if (kind == Kind::File || !path.assign(directory(), "/", name) ||
            (kind == Kind::Unknown && vekFileIsDirectory(path.c_str()) == 0)) {
            reportIf(isTagFileName && level.way != Way::FromTop);
        } else if (kind == Kind::Directory) {
            enter(path.c_str(), Way::FromAbove);
        } else {
            enterOrFollow(path.c_str());
        }
    }

    void reportIf(bool isRedundant) const {
        if (isRedundant) {
            std::printf("There is a redundant vekinfo.tag file in the subdir: \n\t%s\n", directory());
        }
    }

    /// Enters a directory that may be reached through a link.
    void enterOrFollow(const char *path) {
        vek::PathText target;
        const ssize_t length = readlink(path, target.data(), vek::PathText::kCapacity);
        if (length >= 0) {
            target.setSize(static_cast<std::size_t>(length));
            follow(path, target.view());
        } else if (errno == EINVAL) {
            enter(path, Way::FromAbove);
        } else {
            tovPrintError(TOV_INVALID_PATH, directory(), nullptr, 0);
        }
    }

    void follow(const char *link, std::string_view target) {
        const vek::OwnedText absolute =
            vek::startsWith(target, "/") ? vek::copyText(target) : vek::joinText(directory(), "/", target);
        if (!absolute) {
            reportNoMemory(directory());
            return;
        }
        vek::PathText normalized;
        if (tovNormalizePath(absolute.get(), normalized.data()) != TOV_OK) {
            tovPrintError(TOV_INVALID_PATH, absolute.get(), link, 0);
            return;
        }
        normalized.measure();
        if (leadsBack(normalized)) {
            tovPrintError(TOV_INVALID_PATH, "there seems to be a linkloop", directory(), 0);
            return;
        }
        enter(normalized.c_str(), Way::ThroughLink);
    }

    // ---- links that lead back

    bool leadsBack(const vek::PathText &target) {
        // The texts are compared as they stand, on purpose: in "/proj/lib" a link to "/proj/li" leads back, too.
        if (vek::startsWith(directory(), target.view())) {
            return true;
        }
        const Identity identity = Identity::of(target.c_str());
        const std::size_t place = identity.known ? placeOf(identity) : levels_.size();
        for (std::size_t i = place; i < levels_.size(); ++i) {
            levels_[i].isOnCircle = true;
        }
        return place < levels_.size() || rounds_.of(identity) >= kMaxRounds || budget_.isSpent();
    }

    /// @return the level that is the directory; the one where the lowest level's path begins when the directory lies
    ///         above that path; or the number of levels when it is none of these
    std::size_t placeOf(const Identity &identity) {
        std::size_t begin = 0;
        for (std::size_t i = 0; i < levels_.size(); ++i) {
            if (identityOf(levels_[i]) == identity) {
                return i;
            }
            begin = levels_[i].way == Way::FromAbove ? begin : i;
        }
        learnAncestors(levels_[begin]);
        for (std::size_t i = levels_[begin].ancestors; i < ancestors_.size(); ++i) {
            if (ancestors_[i] == identity) {
                return begin;
            }
        }
        return levels_.size();
    }

    const Identity &identityOf(Level &level) {
        if (!level.identity.known) {
            level.identity = Identity::of(pathOf(level));
        }
        return level.identity;
    }

    /// Lists the directories above the level where the lowest level's path begins, as far as their paths and the
    /// memory reach.
    void learnAncestors(Level &level) {
        if (level.knowsAncestors) {
            return;
        }
        level.knowsAncestors = true;
        level.ancestors = ancestors_.size();
        vek::PathText path;
        Identity last = level.identity;
        bool goesOn = path.assign(pathOf(level));
        while (goesOn && path.append("/..")) {
            const Identity above = Identity::of(path.c_str());
            goesOn = above.known && above != last;
            if (goesOn && !ancestors_.push(above)) {
                reportNoMemory(pathOf(level));
                return;
            }
            last = above;
        }
    }

    VekinfoStack<char> texts_;
    VekinfoStack<Level> levels_;
    VekinfoStack<Identity> ancestors_; ///< of the levels that know them, in the order of the levels
    Rounds rounds_;
    LinkBudget budget_;
};

} // namespace

void tovScanSubdirsForVekinfo(const char *dir, int isTop) {
    Scan().run(dir, isTop != 0 ? Way::FromTop : Way::FromAbove);
}
