// Implements gatherNames(): builds the list of names for an iteration over cells, views or files. The names are read
// from up to three directories: the library's own directory and its two temporary directories. A name that an earlier
// directory has is not added again; a hash table finds such names in O(1) time.
//
// Most iterations return the names in these directories only, without their subdirectories. rynIterateAllViewFiles()
// returns the relative paths of all files below a view, recursively: a depth-first walk with an explicit stack. The
// walk reads each directory completely and closes it before it opens the next one. It therefore needs only one file
// descriptor at any depth.
//
// Names are added at the head of the list. An iteration therefore returns them in reverse: the name read last is first.

#include "libdef/iteration/ryni_gather.h"

#include "common/base/owned.h"
#include "common/containers/growing_array.h"
#include "common/containers/hash_index.h"
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

/// Size in bytes, including the NUL, of the buffer for one name that is read from the library's own directory, or from
/// a cell or view in it. Documented: if a name is longer than 255 bytes, rynIterateAllViewFiles() omits the name, and
/// all other iterations fail with RYN_INTERNAL_ERROR.
constexpr std::size_t kTopNameSize = 256;

int codeOfFailedOpen(int error) {
    return error == EACCES ? RYN_PERMISSION_DENIED : RYN_SYSTEM_ERROR;
}

// ---- the list being built

/// Singly linked list of names. push() adds a name at the head. held() searches the hash table that index() has built.
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

    /// Builds a hash table of the names that are in the list now. Names that are added later are not in the table.
    /// @return false if memory is exhausted
    [[nodiscard]] bool index() {
        index_ = {};
        bool isComplete = index_.reserve(count_);
        for (rynElement *at = head_; isComplete && at != nullptr; at = at->next) {
            isComplete = index_.insert(ryn::indexHash(at->name), *at);
        }
        return isComplete;
    }

    /// @return true if `name` was in the list at the last call of index()
    [[nodiscard]] bool held(std::string_view name) const {
        return index_.find(ryn::indexHash(name),
                           [name](const rynElement &element) { return element.name == name; }) != nullptr;
    }

    rynElement *release() { return std::exchange(head_, nullptr); }

  private:
    rynElement *head_ = nullptr;
    std::size_t count_ = 0;
    vek::HashIndex<rynElement> index_; ///< by indexHash() of the name
};

// ---- directories

struct CloseFsDirectory {
    void operator()(vekFSDir *directory) const {
        // If vekFS_closedir() fails, it frees nothing. A second call is then necessary to free `directory`.
        if (vekFS_closedir(directory) != VEK_FS_OK) {
            static_cast<void>(vekFS_closedir(directory));
        }
    }
};
using OwnedFsDirectory = std::unique_ptr<vekFSDir, CloseFsDirectory>;

/// @return true if vekFS_readdir() sets the field vekFSDirent::type of the entries of `directory`; only the native
///         function vekFSiReaddir() is known to do this
bool hasEntryTypes(const vekFSDir &directory) {
    const vekFSIODef *implementation = directory.spec->implementation;
    return implementation == nullptr || implementation->readdir == vekFSiReaddir;
}

/// Calls `visit(type, name)` for each entry of the directory `spec` except "." and "..".
/// @param nameSize  size in bytes of the buffer for a name
/// @param visit     receives the type of the entry (a DT_... value) and its name; the name is null if it does not fit
///                  into the buffer or cannot be read. If `visit` does not return RYN_OK, the remaining entries are
///                  not read
/// @return the last result of `visit`; RYN_OK if there is no entry; or the code of the failure to open the directory
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

/// Reads all entries of the directory `path` with POSIX calls instead of the vekFS_...() functions, because a temporary
/// directory is never in an archive.
/// @return RYN_OK; RYN_MEMORY_ERROR; or the code of the failure to open the directory
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

// ---- names in one directory

/// Which names of a directory are added to the list. LegalNames: names of ASCII letters, digits, "_", "@" and "#",
/// which are names of cells or views. OtherNames: all other names, which are names of files.
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

// ---- paths of all files below a directory

/// Result of examine() for one directory entry: how the walk treats the entry.
enum class EntryKind {
    File,      ///< the entry is added to the list
    Directory, ///< the walk enters the entry
    Skipped,
    NoMemory
};

/// Returns true if the entry type `type` (a DT_... value) shows that the entry is neither a directory nor a symbolic
/// link, so that stat() is not needed.
bool isKnownFile(unsigned char type) {
    return type != DT_DIR && type != DT_LNK && type != DT_UNKNOWN;
}

/// The directory tree of a view in the library's own directory, which DeepWalk walks. The tree is read with the
/// vekFS_...() functions, because a library can be in an archive.
class LibraryTree {
  public:
    /// Status of the walk for an entry whose path is too long. Documented: RYN_OK, so the entry is omitted and the walk
    /// continues.
    static constexpr int kPathTooLong = RYN_OK;

    LibraryTree(const rynRegistry &registry, const Sources &sources)
        : registry_(registry), library_(*sources.library), names_(sources.names), top_(sources.spec),
          isPacked_(ryn::isPacked(registry, library_)) {}

    /// Classifies the entry at `path` as a file or a directory. An entry that can be a directory becomes the selected
    /// entry, which isLink(), identity() and read() use.
    /// @param path  path relative to the top directory of the tree
    /// @param type  type of the entry, a DT_... value
    EntryKind examine(const vek::PathText &path, unsigned char type, bool & /*isSearchable*/) {
        names_.file = path.c_str();
        if (isKnownFile(type) && !isPacked_) {
            // Test only the length of the path instead of calling makeSpec(), which is slower. Documented: if the path
            // is too long, so that makeSpec() would fail, the entry is skipped.
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

    // The next functions use the selected entry: the top directory before the first call of examine(), then the last
    // entry that examine() selected.

    [[nodiscard]] bool isLink() const {
        vekFSStat record = {};
        mode_t mode = 0;
        return vekFS_lstat(selected(), &record) == VEK_FS_OK &&
               vekFS_getFileMode(&record, &mode) == VEK_FS_OK && S_ISLNK(mode);
    }

    [[nodiscard]] std::optional<DirectoryIdentity> identity() const {
        vekFSStat record = {};
        if (vekFS_stat(selected(), &record) != VEK_FS_OK || record.spec->implementation != nullptr) {
            return std::nullopt; // only native records have a device and an inode number
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
    ObjectNames names_; ///< the names of the examined entry: cell, view, and its path as the file
    vekFSSpec *top_;
    vek::OwnedSpec spec_;
    bool isPacked_;
};

/// The directory tree of a view in one temporary directory, which DeepWalk walks. The tree is read with POSIX calls,
/// because a temporary directory is never in an archive.
class TemporaryTree {
  public:
    static constexpr int kPathTooLong = RYN_SYSTEM_ERROR;

    explicit TemporaryTree(const char *top) : top_(top), path_(vek::copyText(top)) {}

    [[nodiscard]] bool hasMemory() const { return path_ != nullptr; }

    /// Classifies the entry at `path` as a file or a directory, like LibraryTree::examine(). Documented: an entry for
    /// which stat() fails is classified as a directory. Opening it then fails, so that the walk ends with an error
    /// instead of an incomplete list.
    ///
    /// @param isSearchable  true if stat() has succeeded for another entry of the same directory, which proves that the
    ///                      process may search the directory. stat() is then not called for an entry that is known from
    ///                      `type` to be a file. Set to true when stat() succeeds
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
    vek::OwnedText path_; ///< path of the selected entry
};

/// Depth-first walk through a directory tree, which adds the relative path of each file to a list. Symbolic links to
/// directories are followed, and cycles are not detected: in a cycle, the path gets longer until system calls for it
/// fail with ELOOP. vek::WalkGuard limits the number of followed links, because several cycles give exponentially many
/// paths.
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

    /// One directory on the stack of the walk: its entries, and which of them is the next one.
    struct Level {
        vek::EntryList entries;
        std::size_t next = 0;                      ///< position of the next entry in `entries`
        std::size_t pathSize = 0;                  ///< length of the path of the directory
        std::optional<DirectoryIdentity> identity; ///< only set if the directory may contain links
        Links links = Links::Unread;
        bool isSearchable = false;
    };

    /// Reads the directory that `tree_` has selected, and pushes its entries on the stack. `path_` is the relative path
    /// of that directory.
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
        const int counted = isLink ? countFollowedLink(level) : static_cast<int>(RYN_OK);
        return counted == RYN_OK ? enter() : counted;
    }

    int countFollowedLink(Level &holder) {
        if (holder.links == Links::Unread && holder.identity) {
            holder.links = guard_.meetLinksOf(*holder.identity);
        }
        if (holder.links == Links::NoMemory) {
            return RYN_MEMORY_ERROR;
        }
        return guard_.countFollowedLink(holder.links) ? RYN_OK : RYN_SYSTEM_ERROR;
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

/// Calls `addLibrary` for the library's own directory and `addTemporary` for each temporary directory. Documented
/// order: library, implicit temporary directory, explicit temporary directory. Stops at the first failure.
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
