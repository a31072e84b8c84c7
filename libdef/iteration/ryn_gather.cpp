// Gathers the names in the directories of a library, cell or view.
//
// A list grows at its head, so the order of iteration is the reverse of the order of discovery. A name in a temporary
// directory that an earlier directory has is found in a hash index with chaining and left out. Deep lists are
// depth-first walks with an explicit stack: each directory is read whole before another is opened, so that one
// descriptor is enough for any depth.

#include "libdef/iteration/ryni_gather.h"

#include "common/base/owned.h"
#include "common/containers/growing_array.h"
#include "common/containers/intrusive_hash.h"
#include "common/platform/entry_list.h"
#include "common/text/ascii.h"
#include "common/text/fixed_text.h"
#include "fs/owned_spec.h"
#include "libdef/access/ryni_packed.h"
#include "libdef/access/ryni_spec.h"
#include "libdef/paths/ryni_object_path.h"
#include "libdef/registry/ryni_error.h"
#include "libdef/registry/ryni_index_hash.h"

#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>
#include <sys/stat.h>
#include <utility>

namespace {

using ryn::ObjectNames;
using ryn::Sources;
using vek::DirectoryIdentity;

/// The documented size of the name buffer for the top directory of the library side.
constexpr std::size_t kTopNameSize = 256;

int codeOfFailedOpen(int error) {
    return error == EACCES ? RYN_PERMISSION_DENIED : RYN_SYSTEM_ERROR;
}

// ---- the list being built

/// The names of a list as entries of a hash table.
struct NameTraits {
    static rynElement *&link(rynElement &element) { return element.nextInIndex; }
    static std::uint32_t hash(const rynElement &element) { return hash(std::string_view(element.name)); }
    static std::uint32_t hash(std::string_view name) { return ryn::indexHash(name); }
    static bool matches(const rynElement &element, std::string_view name) { return element.name == name; }
};

/// A list of names that grows at its head.
class NameList {
  public:
    NameList() = default;
    NameList(const NameList &) = delete;
    NameList &operator=(const NameList &) = delete;
    ~NameList() { ryn::freeElements(head_); }

    [[nodiscard]] bool push(std::string_view name) {
        auto *element = static_cast<rynElement *>(std::malloc(sizeof(rynElement) + name.size() + 1));
        if (element == nullptr) {
            return false;
        }
        element->next = head_;
        element->name = reinterpret_cast<char *>(element + 1);
        std::memcpy(element->name, name.data(), name.size());
        element->name[name.size()] = '\0';
        head_ = element;
        ++count_;
        return true;
    }

    /// Indexes the names that are in the list now, for held(). @return false if memory is exhausted
    [[nodiscard]] bool index() {
        index_ = {};
        bool isComplete = index_.reserve(count_);
        for (rynElement *at = head_; isComplete && at != nullptr; at = at->next) {
            isComplete = index_.insert(*at);
        }
        return isComplete;
    }

    /// @return true if the name was in the list at the last call of index()
    [[nodiscard]] bool held(std::string_view name) const { return index_.find(name) != nullptr; }

    rynElement *release() { return std::exchange(head_, nullptr); }

  private:
    rynElement *head_ = nullptr;
    std::size_t count_ = 0;
    vek::IntrusiveHash<rynElement, NameTraits> index_;
};

// ---- directories

struct CloseFsDirectory {
    void operator()(vekFSDir *directory) const {
        // vekFS_closedir() frees nothing if it fails; a second call does.
        if (vekFS_closedir(directory) != VEK_FS_OK) {
            static_cast<void>(vekFS_closedir(directory));
        }
    }
};
using OwnedFsDirectory = std::unique_ptr<vekFSDir, CloseFsDirectory>;

/// @return true if vekFS_readdir() of `directory` stores a type: the entry record of another implementation may end
///         before that field
bool hasEntryTypes(const vekFSDir &directory) {
    const vekFSIODef *implementation = directory.spec->implementation;
    return implementation == nullptr || implementation->readdir == vekFSiReaddir;
}

/// Calls `visit(type, name)` for each entry of a directory except "." and "..", until it returns another status than
/// RYN_OK. The name is null if it cannot be fetched into `nameSize` bytes.
template <typename Visit>
int visitSpec(vekFSSpec *spec, std::size_t nameSize, Visit visit) {
    vekFSDir *opened = nullptr;
    const int error = vekFS_opendir(spec, &opened);
    if (error != VEK_FS_OK) {
        return codeOfFailedOpen(error);
    }
    const OwnedFsDirectory directory(opened);
    const bool hasTypes = hasEntryTypes(*directory);
    vek::PathText name;
    for (;;) {
        vekFSDirent *entry = nullptr;
        if (vekFS_readdir(directory.get(), &entry) != VEK_FS_OK || entry == nullptr) {
            return RYN_OK;
        }
        std::size_t needed = 0;
        const bool isFetched = name.fill([=, &needed](char *buffer, std::size_t) {
            return vekFS_getDirentName(entry, buffer, nameSize, &needed) == VEK_FS_OK;
        });
        if (isFetched && vek::isDotOrDotDot(name.view())) {
            continue;
        }
        const unsigned char type = hasTypes ? entry->type : static_cast<unsigned char>(DT_UNKNOWN);
        const int status = visit(type, isFetched ? name.c_str() : nullptr);
        if (status != RYN_OK) {
            return status;
        }
    }
}

/// Reads a plain directory. @return RYN_OK or the code of the failure
int readPlain(const char *path, vek::EntryList &entries) {
    const vek::DirectoryReading reading = vek::readDirectory(path, entries);
    switch (reading.outcome) {
    case vek::DirectoryReading::Outcome::NotOpened:
        return codeOfFailedOpen(reading.error);
    case vek::DirectoryReading::Outcome::NoMemory:
        return RYN_MEMORY_ERROR;
    case vek::DirectoryReading::Outcome::Read:
        break;
    }
    return RYN_OK;
}

// ---- shallow lists

/// The names that a shallow list takes.
enum class Wanted { LegalNames, OtherNames };

int addIfWanted(NameList &list, Wanted wanted, const char *name) {
    const bool isWanted = (sNmpIsLegalLibrary(name) != 0) == (wanted == Wanted::LegalNames);
    return !isWanted || list.push(name) ? RYN_OK : RYN_MEMORY_ERROR;
}

int addLibraryNames(vekFSSpec *directory, Wanted wanted, NameList &list) {
    return visitSpec(directory, kTopNameSize, [&](unsigned char /*type*/, const char *name) {
        return name == nullptr ? static_cast<int>(RYN_INTERNAL_ERROR) : addIfWanted(list, wanted, name);
    });
}

int addTemporaryNames(const char *directory, Wanted wanted, NameList &list) {
    if (!list.index()) {
        return RYN_MEMORY_ERROR;
    }
    vek::EntryList entries;
    int status = readPlain(directory, entries);
    for (std::size_t at = 0; status == RYN_OK && !entries.isEnd(at);) {
        const vek::EntryList::Entry entry = entries.at(at);
        at = entry.next;
        if (!list.held(entry.name)) {
            status = addIfWanted(list, wanted, entry.name.data());
        }
    }
    return status;
}

// ---- deep lists

/// What a deep list does with an entry of a directory.
enum class EntryKind {
    File,      ///< adds it
    Directory, ///< enters it
    Skipped,
    NoMemory
};

/// @return true if the entry is neither a directory nor a link to one
bool isKnownFile(unsigned char type) {
    return type != DT_DIR && type != DT_LNK && type != DT_UNKNOWN;
}

/// The library side of a deep list, read through the file-system layer.
class LibraryTree {
  public:
    /// Documented: an entry whose path is too long is skipped.
    static constexpr int kPathTooLong = RYN_OK;

    LibraryTree(const rynRegistry &registry, const Sources &sources)
        : registry_(registry), library_(*sources.library), names_(sources.names), top_(sources.spec),
          isPacked_(ryn::isPacked(registry, library_)) {}

    /// Finds out what the entry at `path` is, and selects it if it may be a directory.
    /// @param path  relative to the top directory
    EntryKind examine(const vek::PathText &path, unsigned char type, bool & /*isSearchable*/) {
        names_.file = path.c_str();
        if (isKnownFile(type) && !isPacked_) {
            // The specifier is not needed. Documented: an entry without a specifier is skipped.
            return ryn::objectPathFits(library_.fullPath, names_) ? EntryKind::File : EntryKind::Skipped;
        }
        switch (ryn::makeSpec(&registry_, library_, names_, spec_)) {
        case RYN_OK:
            break;
        case RYN_MEMORY_ERROR:
            return EntryKind::NoMemory;
        default:
            return EntryKind::Skipped;
        }
        return !isKnownFile(type) && rynIsSpecDir(selected()) != 0 ? EntryKind::Directory : EntryKind::File;
    }

    // The selected directory; the top directory before the first call of examine().

    [[nodiscard]] bool isLink() const {
        vekFSStat record = {};
        mode_t mode = 0;
        return vekFS_lstat(selected(), &record) == VEK_FS_OK &&
               vekFS_getFileMode(&record, &mode) == VEK_FS_OK && S_ISLNK(mode);
    }

    [[nodiscard]] std::optional<DirectoryIdentity> identity() const {
        vekFSStat record = {};
        if (vekFS_stat(selected(), &record) != VEK_FS_OK || record.spec->implementation != nullptr) {
            return std::nullopt; // only native records hold a device and an inode
        }
        return DirectoryIdentity::of(record.status);
    }

    int read(vek::EntryList &entries) const {
        const std::size_t nameSize = spec_ ? VEK_PATH_SIZE : kTopNameSize;
        return visitSpec(selected(), nameSize, [&entries](unsigned char type, const char *name) {
            const bool isKept = name == nullptr || entries.add(type, name);
            return isKept ? static_cast<int>(RYN_OK) : static_cast<int>(RYN_MEMORY_ERROR);
        });
    }

    static bool isListed(const NameList & /*list*/, const vek::PathText & /*path*/) { return false; }

  private:
    [[nodiscard]] vekFSSpec *selected() const { return spec_ ? spec_.get() : top_; }

    const rynRegistry &registry_;
    rynLibrary &library_;
    ObjectNames names_; ///< with the path of the selected entry as the file
    vekFSSpec *top_;
    vek::OwnedSpec spec_;
    bool isPacked_;
};

/// A temporary directory of a deep list, which is a plain directory.
class TemporaryTree {
  public:
    static constexpr int kPathTooLong = RYN_SYSTEM_ERROR;

    explicit TemporaryTree(const char *top) : top_(top), path_(vek::copyText(top)) {}

    [[nodiscard]] bool hasMemory() const { return path_ != nullptr; }

    /// Like LibraryTree::examine().
    /// Documented: an entry that stat() fails for is a directory. It cannot be opened, which ends the build: callers
    /// rely on a complete list.
    ///
    /// @param isSearchable  whether stat() has succeeded in this directory. It then succeeds for its other files, too,
    ///                      unless the path is too long: one call is enough for each directory
    EntryKind examine(const vek::PathText &path, unsigned char type, bool &isSearchable) {
        const bool fits = top_.size() + 1 + path.size() < PATH_MAX;
        if (isKnownFile(type) && isSearchable && fits) {
            return EntryKind::File;
        }
        path_ = vek::joinText(top_, "/", path.view());
        if (!path_) {
            return EntryKind::NoMemory;
        }
        if (type == DT_DIR) {
            return EntryKind::Directory;
        }
        struct stat record; // NOLINT(cppcoreguidelines-pro-type-member-init): stat() fills it
        if (stat(path_.get(), &record) != 0) {
            return EntryKind::Directory;
        }
        isSearchable = true;
        return S_ISDIR(record.st_mode) ? EntryKind::Directory : EntryKind::File;
    }

    [[nodiscard]] bool isLink() const {
        struct stat record = {};
        return lstat(path_.get(), &record) == 0 && S_ISLNK(record.st_mode);
    }

    [[nodiscard]] std::optional<DirectoryIdentity> identity() const {
        return DirectoryIdentity::of(path_.get());
    }

    int read(vek::EntryList &entries) const { return readPlain(path_.get(), entries); }

    static bool isListed(const NameList &list, const vek::PathText &path) { return list.held(path.view()); }

  private:
    std::string_view top_;
    vek::OwnedText path_; ///< of the selected entry
};

/// The walk of a deep list. A cycle is not detected: it ends where the system resolves no more links in a path (ELOOP).
/// The ways through links, also those of a cycle, are limited.
template <typename Tree>
class DeepWalk {
  public:
    DeepWalk(Tree &tree, NameList &list, const vek::LinkLimit &limit)
        : tree_(tree), list_(list), guard_(limit) {}

    int run() {
        int status = enter();
        while (status == RYN_OK && !levels_.empty()) {
            if (levels_.top().entries.isEnd(levels_.top().next)) {
                levels_.pop();
            } else {
                status = addNextEntry();
            }
        }
        return status;
    }

  private:
    using Links = vek::WalkGuard::Links;

    struct Level {
        vek::EntryList entries;
        std::size_t next = 0;                      ///< position of the next entry
        std::size_t pathSize = 0;                  ///< of the directory's path
        std::optional<DirectoryIdentity> identity; ///< known if the directory may hold links
        Links links = Links::Unread;
        bool isSearchable = false;
    };

    /// Reads the selected directory, whose path is path_.
    int enter() {
        Level level;
        const int status = tree_.read(level.entries);
        if (status != RYN_OK) {
            return status;
        }
        level.pathSize = path_.size();
        if (level.entries.mayHoldLinks()) {
            level.identity = tree_.identity();
        }
        return levels_.push(std::move(level)) ? RYN_OK : RYN_MEMORY_ERROR;
    }

    int addNextEntry() {
        Level &level = levels_.top();
        const vek::EntryList::Entry entry = level.entries.at(level.next);
        level.next = entry.next;
        path_.truncate(level.pathSize);
        if (!path_.appendAll(path_.empty() ? "" : "/", entry.name)) {
            return Tree::kPathTooLong;
        }
        switch (tree_.examine(path_, entry.type, level.isSearchable)) {
        case EntryKind::NoMemory:
            return RYN_MEMORY_ERROR;
        case EntryKind::Skipped:
            return RYN_OK;
        case EntryKind::File:
            return Tree::isListed(list_, path_) || list_.push(path_.view()) ? RYN_OK : RYN_MEMORY_ERROR;
        case EntryKind::Directory:
            break;
        }
        const bool isLink = entry.type == DT_LNK || (entry.type == DT_UNKNOWN && tree_.isLink());
        const int counted = isLink ? countWay(level) : static_cast<int>(RYN_OK);
        return counted == RYN_OK ? enter() : counted;
    }

    int countWay(Level &holder) {
        if (holder.links == Links::Unread && holder.identity) {
            holder.links = guard_.meetLinksOf(*holder.identity);
        }
        if (holder.links == Links::NoMemory) {
            return RYN_MEMORY_ERROR;
        }
        return guard_.countWay(holder.links) ? RYN_OK : RYN_SYSTEM_ERROR;
    }

    Tree &tree_;
    NameList &list_;
    vek::WalkGuard guard_;
    vek::GrowingArray<Level> levels_;
    vek::PathText path_; ///< relative to the top directory
};

int addLibraryTree(const rynRegistry &registry, const Sources &sources, NameList &list,
                   const vek::LinkLimit &limit) {
    LibraryTree tree(registry, sources);
    return DeepWalk(tree, list, limit).run();
}

int addTemporaryTree(const char *top, NameList &list, const vek::LinkLimit &limit) {
    TemporaryTree tree(top);
    return tree.hasMemory() && list.index() ? DeepWalk(tree, list, limit).run() : RYN_MEMORY_ERROR;
}

/// Adds the names of each source, in the documented order: the library's own directory first.
template <typename AddLibrary, typename AddTemporary>
int addSources(const Sources &sources, AddLibrary addLibrary, AddTemporary addTemporary) {
    int status = sources.spec == nullptr ? static_cast<int>(RYN_OK) : addLibrary();
    for (const char *directory : {sources.implicitTmp, sources.explicitTmp}) {
        if (status == RYN_OK && directory != nullptr) {
            status = addTemporary(directory);
        }
    }
    return status;
}

} // namespace

int sNmpIsLegalLibrary(const char *name) {
    if (name == nullptr) {
        return 0;
    }
    for (const char *at = name; *at != '\0'; ++at) {
        if (!vek::isAlnum(*at) && *at != '_' && *at != '@' && *at != '#') {
            return 0;
        }
    }
    return 1;
}

int ryn::gatherNames(rynRegistry *registry, int type, const Sources &sources, rynElement **list,
                     const vek::LinkLimit &limit) {
    NameList names;
    int status = RYN_OK;
    const bool isDeep = type == RYNI_CONTEXT_ALL_VIEW_FILES;
    if (isDeep) {
        status = addSources(
            sources, [&] { return addLibraryTree(*registry, sources, names, limit); },
            [&](const char *directory) { return addTemporaryTree(directory, names, limit); });
    } else {
        const Wanted wanted = type == RYNI_CONTEXT_CELLS || type == RYNI_CONTEXT_VIEWS ? Wanted::LegalNames
                                                                                       : Wanted::OtherNames;
        status = addSources(
            sources, [&] { return addLibraryNames(sources.spec, wanted, names); },
            [&](const char *directory) { return addTemporaryNames(directory, wanted, names); });
    }
    *list = status == RYN_OK ? names.release() : nullptr;
    if (status == RYN_MEMORY_ERROR) {
        return ryni_do_fatal(registry, status, isDeep ? "sBuildIterListDeep()" : "sBuildIterList()");
    }
    return status;
}

void ryn::freeElements(rynElement *list) {
    while (list != nullptr) {
        rynElement *next = list->next;
        std::free(list);
        list = next;
    }
}
