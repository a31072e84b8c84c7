#include "tool/vekinfo_check.h"

#include "common/ascii.h"
#include "common/entry_list.h"
#include "common/fixed_text.h"
#include "common/vek_file.h"
#include "common/vek_path.h"
#include "tagfile/tov.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr std::string_view kTagFileName = "vekinfo.tag";

vek::OwnedText join(std::string_view directory, std::string_view name) {
    vek::OwnedText path(static_cast<char *>(std::malloc(directory.size() + 1 + name.size() + 1)));
    if (path) {
        std::memcpy(path.get(), directory.data(), directory.size());
        path.get()[directory.size()] = '/';
        std::memcpy(path.get() + directory.size() + 1, name.data(), name.size());
        path.get()[directory.size() + 1 + name.size()] = '\0';
    }
    return path;
}

/// What a directory is, whatever path leads to it.
struct Identity {
    dev_t device = 0;
    ino_t inode = 0;

    bool operator==(const Identity &other) const { return device == other.device && inode == other.inode; }

    bool find(const char *path) {
        struct stat status = {};
        if (stat(path, &status) != 0) {
            return false;
        }
        device = status.st_dev;
        inode = status.st_ino;
        return true;
    }
};

/// @return whether `target` is one of the directories that the text of `path` leads through, `path` included
bool liesOnPath(const Identity &target, std::string_view path) {
    vek::PathText prefix;
    if (!prefix.assign(path)) {
        return false;
    }
    for (;;) {
        Identity directory;
        if (directory.find(prefix.empty() ? "/" : prefix.c_str()) && directory == target) {
            return true;
        }
        const std::size_t slash = prefix.view().rfind('/');
        if (slash == std::string_view::npos) {
            return false;
        }
        prefix.truncate(slash);
    }
}

/// A directory on the way down, with its entries and the place in them.
struct Level {
    Level *above = nullptr;
    vek::OwnedText path;
    bool isTop = false;
    bool isLinkTarget = false; ///< entered through a link: its path does not go on from the level above
    vek::EntryList entries;
    std::size_t position = 0;
};

/// Reads the entries of `directory`, as far as it can be read.
vek::EntryList readEntries(const char *directory) {
    vek::EntryList entries;
    const vek::OwnedDirectory stream(opendir(directory));
    while (const dirent *entry = stream ? readdir(stream.get()) : nullptr) {
        if (!vek::isDotOrDotDot(entry->d_name) && !entries.add(entry->d_type, entry->d_name)) {
            break;
        }
    }
    return entries;
}

/// A walk over everything below one directory. It keeps its levels on the heap, so that no tree is too deep for
/// it.
class Scan {
  public:
    Scan() = default;
    Scan(const Scan &) = delete;
    Scan &operator=(const Scan &) = delete;
    ~Scan() {
        while (level_ != nullptr) {
            leave();
        }
    }

    void run(const char *directory, bool isTop) {
        enter(vek::copyText(directory), isTop, true);
        while (level_ != nullptr) {
            if (level_->entries.isEnd(level_->position)) {
                leave();
                continue;
            }
            const vek::EntryList::Entry entry = level_->entries.at(level_->position);
            level_->position = entry.next;
            look(entry);
        }
    }

  private:
    void enter(vek::OwnedText path, bool isTop, bool isLinkTarget) {
        void *memory = std::malloc(sizeof(Level));
        if (!path || memory == nullptr) {
            std::free(memory);
            return;
        }
        vek::EntryList entries = readEntries(path.get());
        level_ = new (memory) Level{level_, std::move(path), isTop, isLinkTarget, std::move(entries), 0};
    }

    void leave() {
        Level *left = level_;
        level_ = left->above;
        left->~Level();
        std::free(left);
    }

    void look(const vek::EntryList::Entry &entry) {
        const bool isTagFileName = kTagFileName == entry.name;
        // The type that came with the entry spares most questions. A directory of that very name is asked for all
        // the same: in a directory that cannot be searched it counts as a file.
        const bool isSurelyFile = entry.type != DT_DIR && entry.type != DT_LNK && entry.type != DT_UNKNOWN;
        if (isSurelyFile) {
            reportIfTagFile(isTagFileName);
            return;
        }
        vek::OwnedText path = join(level_->path.get(), entry.name);
        if (!path) {
            return;
        }
        const bool isSurelyDirectory = entry.type == DT_DIR && !isTagFileName;
        if (!isSurelyDirectory && vekFileIsDirectory(path.get()) == 0) {
            reportIfTagFile(isTagFileName);
            return;
        }
        if (isSurelyDirectory) {
            enter(std::move(path), false, false);
        } else {
            followOrEnter(std::move(path));
        }
    }

    void reportIfTagFile(bool isTagFileName) const {
        if (isTagFileName && !level_->isTop) {
            std::printf("There is a redundant vekinfo.tag file in the subdir: \n\t%s\n", level_->path.get());
        }
    }

    /// Enters a directory that may be reached through a link.
    void followOrEnter(vek::OwnedText path) {
        vek::PathText target;
        const ssize_t length = readlink(path.get(), target.data(), vek::PathText::kCapacity);
        if (length < 0 && errno == EINVAL) {
            enter(std::move(path), false, false);
        } else if (length < 0) {
            tovPrintError(TOV_INVALID_PATH, level_->path.get(), nullptr, 0);
        } else {
            target.setSize(static_cast<std::size_t>(length));
            follow(path.get(), target);
        }
    }

    void follow(const char *link, const vek::PathText &target) {
        const vek::OwnedText absolute = vekIsRooted(target.c_str()) != 0
                                            ? vek::copyText(target.view())
                                            : join(level_->path.get(), target.view());
        vek::PathText normalized;
        if (!absolute) {
            return;
        }
        if (tovNormalizePath(absolute.get(), normalized.data()) != TOV_OK) {
            tovPrintError(TOV_INVALID_PATH, absolute.get(), link, 0);
            return;
        }
        normalized.measure();
        if (leadsBack(normalized)) {
            tovPrintError(TOV_INVALID_PATH, "there seems to be a linkloop", level_->path.get(), 0);
            return;
        }
        enter(vek::copyText(normalized.view()), false, true);
    }

    /// Whether a link's target is an ancestor by its text, or a directory that this walk is in already: each
    /// level's path, and where a path begins anew, all that lead to it.
    [[nodiscard]] bool leadsBack(const vek::PathText &target) const {
        const std::string_view directory(level_->path.get());
        if (vek::startsWith(directory, target.view())) {
            return true;
        }
        Identity identity;
        if (!identity.find(target.c_str())) {
            return false;
        }
        if (liesOnPath(identity, directory)) {
            return true;
        }
        for (const Level *level = level_; level->above != nullptr; level = level->above) {
            // The text of a directory that was entered as such goes on from the one above, seen with it.
            if (level->isLinkTarget && liesOnPath(identity, level->above->path.get())) {
                return true;
            }
        }
        return false;
    }

    Level *level_ = nullptr;
};

} // namespace

void tovScanSubdirsForVekinfo(const char *dir, int isTop) {
    Scan().run(dir, isTop != 0);
}
