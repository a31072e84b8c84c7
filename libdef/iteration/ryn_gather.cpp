#include "libdef/iteration/ryni_gather.h"

#include "common/base/owned.h"
#include "common/containers/growing_array.h"
#include "common/platform/entry_list.h"
#include "common/platform/walk_guard.h"
#include "common/text/ascii.h"
#include "common/text/fixed_text.h"
#include "fs/owned_spec.h"
#include "libdef/access/ryni_spec.h"
#include "libdef/registry/ryni_error.h"
#include "libdef/registry/ryni_index_hash.h"

#include <bit>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>
#include <sys/stat.h>
#include <utility>

namespace {

using vek::DirectoryIdentity;

constexpr std::size_t kNameSize = 256;

int codeOfFailedOpen(int error) {
    return error == EACCES ? RYN_PERMISSION_DENIED : RYN_SYSTEM_ERROR;
}

// ---- the list being built

/// The names of a list, for asking whether one is among them. It is filled with names that are known to differ, and
/// so looks at none of those that are in it when it takes another: at a million names each look would be a miss of
/// the processor's caches.
class NameIndex {
  public:
    /// Makes it empty, with room for `names` of them. @return false when memory is exhausted
    bool allocate(std::size_t names) {
        bucketCount_ = std::bit_ceil(names);
        buckets_.reset(static_cast<rynElement **>(std::calloc(bucketCount_, sizeof(rynElement *))));
        return buckets_ != nullptr;
    }

    void add(rynElement *element) {
        rynElement *&first = bucketOf(element->name);
        element->nextInIndex = first;
        first = element;
    }

    [[nodiscard]] bool holds(const char *name) const {
        const rynElement *element = bucketOf(name);
        while (element != nullptr && std::strcmp(element->name, name) != 0) {
            element = element->nextInIndex;
        }
        return element != nullptr;
    }

  private:
    [[nodiscard]] rynElement *&bucketOf(const char *name) const {
        return buckets_.get()[ryniIndexHash(name, 0) & (bucketCount_ - 1)];
    }

    vek::Owned<rynElement *> buckets_;
    std::size_t bucketCount_ = 0;
};

/// A list of names that grows at its head, and can be asked what it held at some time.
class NameList {
  public:
    NameList() = default;
    NameList(const NameList &) = delete;
    NameList &operator=(const NameList &) = delete;
    ~NameList() { ryniFreeElements(head_); }

    bool push(std::string_view name) {
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

    /// From now on held() answers for the list as it stands. @return false when memory is exhausted
    bool index() {
        if (!index_.allocate(count_)) {
            return false;
        }
        for (rynElement *element = head_; element != nullptr; element = element->next) {
            index_.add(element);
        }
        return true;
    }

    [[nodiscard]] bool held(const char *name) const { return index_.holds(name); }

    rynElement *release() { return std::exchange(head_, nullptr); }

  private:
    rynElement *head_ = nullptr;
    std::size_t count_ = 0;
    NameIndex index_;
};

// ---- directories

struct CloseFsDirectory {
    void operator()(vekFSDir *directory) const {
        // A close that fails frees nothing; the second one does.
        if (vekFS_closedir(directory) != VEK_FS_OK) {
            static_cast<void>(vekFS_closedir(directory));
        }
    }
};
using OwnedFsDirectory = std::unique_ptr<vekFSDir, CloseFsDirectory>;

/// @return whether vekFS_readdir() of `directory` stores a type: the entry holder of another implementation may end
///         before that field
bool hasEntryTypes(const vekFSDir &directory) {
    const vekFSIODef *implementation = directory.spec->implementation;
    return implementation == nullptr || implementation->readdir == vekFSiReaddir;
}

/// Calls `visit(type, name)` for each entry of a directory that is read through the file-system layer, except "." and
/// "..", until it returns another status than RYN_OK. An entry whose name cannot be fetched into `nameSize` bytes is
/// visited with a null name.
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
        const bool fetched = name.fill([=, &needed](char *buffer, std::size_t) {
            return vekFS_getDirentName(entry, buffer, nameSize, &needed) == VEK_FS_OK;
        });
        if (fetched && vek::isDotOrDotDot(name.c_str())) {
            continue;
        }
        const unsigned char type = hasTypes ? entry->type : static_cast<unsigned char>(DT_UNKNOWN);
        const int status = visit(type, fetched ? name.c_str() : nullptr);
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

class ShallowBuild {
  public:
    ShallowBuild(int type, NameList &list)
        : list_(list), wantsLegal_(type == RYNI_CONTEXT_CELLS || type == RYNI_CONTEXT_VIEWS) {}

    int addLibrary(vekFSSpec *spec) {
        return visitSpec(spec, kNameSize, [this](unsigned char /*type*/, const char *name) {
            if (name == nullptr) {
                return static_cast<int>(RYN_INTERNAL_ERROR);
            }
            return add(name);
        });
    }

    int addTemporary(const char *path) {
        if (!list_.index()) {
            return RYN_MEMORY_ERROR;
        }
        vek::EntryList entries;
        int status = readPlain(path, entries);
        for (std::size_t at = 0; status == RYN_OK && !entries.isEnd(at);) {
            const vek::EntryList::Entry entry = entries.at(at);
            at = entry.next;
            status = list_.held(entry.name.data()) ? static_cast<int>(RYN_OK) : add(entry.name.data());
        }
        return status;
    }

  private:
    int add(const char *name) {
        const bool wanted = (sNmpIsLegalLibrary(name) != 0) == wantsLegal_;
        return !wanted || list_.push(name) ? RYN_OK : RYN_MEMORY_ERROR;
    }

    NameList &list_;
    bool wantsLegal_;
};

// ---- deep lists

bool isTypeOfNoDirectory(unsigned char type) {
    return type != DT_DIR && type != DT_LNK && type != DT_UNKNOWN;
}

/// The library's side of a deep list, read through the file-system layer.
class LibraryTree {
  public:
    /// An entry whose path is too long is passed over.
    static constexpr int kPathTooLong = RYN_OK;

    LibraryTree(rynRegistry *registry, vekFSSpec *top) : registry_(registry), top_(top) {}

    /// Makes the entry at `path` the selected one. @return RYN_OK, or why it is not listed
    int select(const vek::PathText &path) {
        vekFSSpec *made = nullptr;
        const int status = ryni_mkspec(registry_, nullptr, nullptr, nullptr, path.c_str(), top_, &made);
        spec_.reset(made);
        return status;
    }

    // The selected entry; before the first call of select(), the top directory.

    [[nodiscard]] bool isDirectory(unsigned char type) const {
        return !isTypeOfNoDirectory(type) && rynIsSpecDir(selected()) != 0;
    }

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
        const std::size_t nameSize = spec_ ? VEK_PATH_SIZE : kNameSize;
        return visitSpec(selected(), nameSize, [&entries](unsigned char type, const char *name) {
            const bool kept = name == nullptr || entries.add(type, name);
            return kept ? static_cast<int>(RYN_OK) : static_cast<int>(RYN_MEMORY_ERROR);
        });
    }

    static bool isListed(const NameList & /*list*/, const vek::PathText & /*path*/) { return false; }

  private:
    [[nodiscard]] vekFSSpec *selected() const { return spec_ ? spec_.get() : top_; }

    rynRegistry *registry_;
    vekFSSpec *top_;
    vek::OwnedSpec spec_;
};

/// The side of a temporary directory, which is a plain one, of a deep list.
class TemporaryTree {
  public:
    static constexpr int kPathTooLong = RYN_SYSTEM_ERROR;

    explicit TemporaryTree(const char *top) : top_(top), path_(vek::copyText(top)) {}

    [[nodiscard]] bool hasMemory() const { return path_ != nullptr; }

    int select(const vek::PathText &path) {
        path_ = vek::joinText(top_, "/", path.view());
        return path_ ? RYN_OK : RYN_MEMORY_ERROR;
    }

    /// Documented: an entry that stat() fails for is a directory. It cannot be opened, which ends the build: callers
    /// rely on a list that is complete.
    [[nodiscard]] bool isDirectory(unsigned char type) const {
        struct stat record = {};
        return type == DT_DIR || stat(path_.get(), &record) != 0 || S_ISDIR(record.st_mode);
    }

    [[nodiscard]] bool isLink() const {
        struct stat record = {};
        return lstat(path_.get(), &record) == 0 && S_ISLNK(record.st_mode);
    }

    [[nodiscard]] std::optional<DirectoryIdentity> identity() const {
        return DirectoryIdentity::of(path_.get());
    }

    int read(vek::EntryList &entries) const { return readPlain(path_.get(), entries); }

    static bool isListed(const NameList &list, const vek::PathText &path) { return list.held(path.c_str()); }

  private:
    const char *top_;
    vek::OwnedText path_;
};

/// The walk of a deep list: depth first in directory order, with an explicit stack of levels on the heap. Each
/// directory is read whole before anything in it is entered. A cycle is not detected: it ends where the system resolves
/// no more links in a path (ELOOP). All ways through links, also those round a cycle, are limited.
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
        std::size_t next = 0;                      ///< position of the entry that is looked at next
        std::size_t pathSize = 0;                  ///< of the directory's path
        std::optional<DirectoryIdentity> identity; ///< known if the directory may hold links
        Links links = Links::Unread;
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
        const int status = tree_.select(path_);
        if (status != RYN_OK) {
            // Documented: an entry without a specifier is passed over.
            return status == RYN_MEMORY_ERROR ? status : static_cast<int>(RYN_OK);
        }
        if (!tree_.isDirectory(entry.type)) {
            return Tree::isListed(list_, path_) || list_.push(path_.view()) ? RYN_OK : RYN_MEMORY_ERROR;
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

int addLibraryTree(rynRegistry *registry, vekFSSpec *top, NameList &list, const vek::LinkLimit &limit) {
    LibraryTree tree(registry, top);
    return DeepWalk(tree, list, limit).run();
}

int addTemporaryTree(const char *top, NameList &list, const vek::LinkLimit &limit) {
    TemporaryTree tree(top);
    return tree.hasMemory() && list.index() ? DeepWalk(tree, list, limit).run() : RYN_MEMORY_ERROR;
}

/// Takes the sources in order: the library's own, the implicit temporary one, the explicit temporary one.
template <typename AddLibrary, typename AddTemporary>
int addSources(const ryniSources &sources, AddLibrary addLibrary, AddTemporary addTemporary) {
    int status = sources.library == nullptr ? RYN_OK : addLibrary(sources.library);
    for (const char *directory : {sources.implicitTmp, sources.explicitTmp}) {
        if (status == RYN_OK && directory != nullptr) {
            status = addTemporary(directory);
        }
    }
    return status;
}

int gatherShallow(int type, const ryniSources &sources, NameList &list) {
    ShallowBuild build(type, list);
    return addSources(
        sources, [&](vekFSSpec *spec) { return build.addLibrary(spec); },
        [&](const char *directory) { return build.addTemporary(directory); });
}

int gatherDeep(rynRegistry *registry, const ryniSources &sources, const vek::LinkLimit &limit,
               NameList &list) {
    return addSources(
        sources, [&](vekFSSpec *top) { return addLibraryTree(registry, top, list, limit); },
        [&](const char *top) { return addTemporaryTree(top, list, limit); });
}

/// Hands over the names of a build that ended with `status`.
int finish(rynRegistry *registry, int status, const char *context, NameList &names, rynElement **list) {
    *list = status == RYN_OK ? names.release() : nullptr;
    return status == RYN_MEMORY_ERROR ? ryni_do_fatal(registry, status, context) : status;
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

int ryniGatherDeepNames(rynRegistry *registry, const ryniSources &sources, const vek::LinkLimit &limit,
                        rynElement **list) {
    NameList names;
    const int status = gatherDeep(registry, sources, limit, names);
    return finish(registry, status, "sBuildIterListDeep()", names, list);
}

int ryniGatherNames(rynRegistry *registry, int type, const ryniSources *sources, rynElement **list) {
    if (type == RYNI_CONTEXT_ALL_VIEW_FILES) {
        return ryniGatherDeepNames(registry, *sources, {}, list);
    }
    NameList names;
    const int status = gatherShallow(type, *sources, names);
    return finish(registry, status, "sBuildIterList()", names, list);
}

void ryniFreeElements(rynElement *list) {
    while (list != nullptr) {
        rynElement *next = list->next;
        std::free(list);
        list = next;
    }
}
