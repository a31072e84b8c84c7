#include "libdef/ryni_iterate.h"

#include "common/ascii.h"
#include "common/entry_list.h"
#include "common/fixed_text.h"
#include "common/owned.h"
#include "fs/owned_spec.h"
#include "libdef/ryni_error.h"
#include "libdef/ryni_index_hash.h"
#include "libdef/ryni_spec.h"

#include <bit>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <sys/stat.h>
#include <utility>

namespace {

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

/// Calls `visit(type, name)` for each entry in order, until it answers something else than RYN_OK.
template <typename Visit>
int forEach(const vek::EntryList &entries, Visit visit) {
    for (std::size_t at = 0; !entries.isEnd(at);) {
        const vek::EntryList::Entry entry = entries.at(at);
        at = entry.next;
        const int status = visit(entry.type, entry.name);
        if (status != RYN_OK) {
            return status;
        }
    }
    return RYN_OK;
}

/// Calls `visit(type, name)` for each entry of a directory that is read through the file-system layer, "." and ".."
/// excepted, until it answers something else than RYN_OK. An entry whose name cannot be fetched into `nameSize`
/// bytes is handed on with a null name. Kept out of its callers, whose frames pile up while a tree is walked.
template <typename Visit>
[[gnu::noinline]] int visitSpec(vekFSSpec *spec, std::size_t nameSize, Visit visit) {
    vekFSDir *opened = nullptr;
    const int error = vekFS_opendir(spec, &opened);
    if (error != VEK_FS_OK) {
        return codeOfFailedOpen(error);
    }
    const OwnedFsDirectory directory(opened);
    vek::PathText name;
    for (;;) {
        vekFSDirent *entry = nullptr;
        if (vekFS_readdir(directory.get(), &entry) != VEK_FS_OK || entry == nullptr) {
            return RYN_OK;
        }
        std::size_t needed = 0;
        const bool fetched = vekFS_getDirentName(entry, name.data(), nameSize, &needed) == VEK_FS_OK;
        if (fetched && vek::isDotOrDotDot(name.c_str())) {
            continue;
        }
        const int status = visit(entry->type, fetched ? name.c_str() : nullptr);
        if (status != RYN_OK) {
            return status;
        }
    }
}

/// The same for a plain directory.
template <typename Visit>
int visitPlain(const char *path, Visit visit) {
    const vek::OwnedDirectory directory(opendir(path));
    if (!directory) {
        return codeOfFailedOpen(errno);
    }
    while (const dirent *entry = readdir(directory.get())) {
        if (vek::isDotOrDotDot(entry->d_name)) {
            continue;
        }
        const int status = visit(entry->d_type, entry->d_name);
        if (status != RYN_OK) {
            return status;
        }
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
        return visitPlain(path, [this](unsigned char /*type*/, const char *name) {
            return list_.held(name) ? static_cast<int>(RYN_OK) : add(name);
        });
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

/// The path of an entry, relative to where the walk began, for the time that it is looked at.
class RelativePath {
  public:
    /// @return false when the path has more than 4095 characters; leave() must follow all the same
    bool enter(const char *name, std::size_t &before) {
        before = text_.size();
        return text_.appendAll(before == 0 ? "" : "/", name);
    }
    void leave(std::size_t before) { text_.truncate(before); }

    [[nodiscard]] const char *c_str() const { return text_.c_str(); }
    [[nodiscard]] std::string_view view() const { return text_.view(); }
    [[nodiscard]] bool empty() const { return text_.empty(); }

  private:
    vek::PathText text_;
};

bool isTypeOfNoDirectory(unsigned char type) {
    return type != DT_DIR && type != DT_LNK && type != DT_UNKNOWN;
}

/// Ends walks that no one would see the end of: two links back to where they are make more paths than can be
/// visited. What ends by itself passes: any number of directories behind a few links, and a loop or two, of which
/// the system's own limit of links in one path makes an end.
class LinkGuard {
  public:
    /// Enters a directory; leave() must follow. @return false when the walk is to end
    bool enter(bool throughLink) {
        links_ += throughLink ? 1 : 0;
        return links_ <= kFewLinks || ++farDirectories_ <= kMostFarDirectories;
    }
    void leave(bool throughLink) { links_ -= throughLink ? 1 : 0; }

  private:
    static constexpr int kFewLinks = 8;
    static constexpr int kMostFarDirectories = 2000;

    int links_ = 0; ///< that lead to the present directory
    int farDirectories_ = 0;
};

class DeepLibraryBuild {
  public:
    DeepLibraryBuild(rynRegistry *registry, vekFSSpec *top, NameList &list)
        : registry_(registry), top_(top), list_(list) {}

    int run() { return addDirectory(top_); }

  private:
    int addDirectory(vekFSSpec *spec) {
        vek::EntryList entries;
        const std::size_t nameSize = path_.empty() ? kNameSize : VEK_PATH_SIZE;
        const int status = visitSpec(spec, nameSize, [&entries](unsigned char type, const char *name) {
            const bool kept = name == nullptr || entries.add(type, name);
            return kept ? static_cast<int>(RYN_OK) : static_cast<int>(RYN_MEMORY_ERROR);
        });
        return status != RYN_OK ? status : forEach(entries, [this](unsigned char type, const char *name) {
            std::size_t before = 0;
            const bool fits = path_.enter(name, before);
            const int added = fits ? addEntry(type) : static_cast<int>(RYN_OK);
            path_.leave(before);
            return added;
        });
    }

    /// An entry that no specifier can be made for is passed over, unless memory is exhausted.
    int addEntry(unsigned char type) {
        vekFSSpec *made = nullptr;
        const int status = ryni_mkspec(registry_, nullptr, nullptr, nullptr, path_.c_str(), top_, &made);
        if (status != RYN_OK) {
            return status == RYN_MEMORY_ERROR ? status : static_cast<int>(RYN_OK);
        }
        const vek::OwnedSpec spec(made);
        // Something that is no directory is none whether or not it can be examined.
        if (isTypeOfNoDirectory(type) || rynIsSpecDir(spec.get()) == 0) {
            return list_.push(path_.view()) ? RYN_OK : RYN_MEMORY_ERROR;
        }
        const bool throughLink = type == DT_LNK || (type == DT_UNKNOWN && isLink(spec.get()));
        const int added = links_.enter(throughLink) ? addDirectory(spec.get()) : RYN_SYSTEM_ERROR;
        links_.leave(throughLink);
        return added;
    }

    static bool isLink(vekFSSpec *spec) {
        vekFSStat record = {};
        mode_t mode = 0;
        return vekFS_lstat(spec, &record) == VEK_FS_OK && vekFS_getFileMode(&record, &mode) == VEK_FS_OK &&
               S_ISLNK(mode);
    }

    rynRegistry *registry_;
    vekFSSpec *top_;
    NameList &list_;
    RelativePath path_;
    LinkGuard links_;
};

class DeepTemporaryBuild {
  public:
    DeepTemporaryBuild(const char *top, NameList &list) : top_(top), list_(list) {}

    int run() {
        if (!list_.index()) {
            return RYN_MEMORY_ERROR;
        }
        return addDirectory(top_);
    }

  private:
    int addDirectory(const char *directory) {
        vek::EntryList entries;
        const int status = visitPlain(directory, [&entries](unsigned char type, const char *name) {
            return entries.add(type, name) ? static_cast<int>(RYN_OK) : static_cast<int>(RYN_MEMORY_ERROR);
        });
        return status != RYN_OK ? status : forEach(entries, [this](unsigned char type, const char *name) {
            std::size_t before = 0;
            const int added = path_.enter(name, before) ? addEntry(type) : static_cast<int>(RYN_SYSTEM_ERROR);
            path_.leave(before);
            return added;
        });
    }

    /// What cannot be examined is taken for a directory, which then cannot be opened and ends the build: callers
    /// rely on not getting half a list.
    int addEntry(unsigned char type) {
        const vek::OwnedText path = vek::joinText(top_, "/", path_.view());
        if (!path) {
            return RYN_MEMORY_ERROR;
        }
        struct stat record = {};
        const bool isDirectory = type == DT_DIR || stat(path.get(), &record) != 0 || S_ISDIR(record.st_mode);
        if (!isDirectory) {
            return list_.held(path_.c_str()) || list_.push(path_.view()) ? RYN_OK : RYN_MEMORY_ERROR;
        }
        const bool throughLink = type == DT_LNK || (type == DT_UNKNOWN && isLink(path.get()));
        const int status = links_.enter(throughLink) ? addDirectory(path.get()) : RYN_SYSTEM_ERROR;
        links_.leave(throughLink);
        return status;
    }

    static bool isLink(const char *path) {
        struct stat record = {};
        return lstat(path, &record) == 0 && S_ISLNK(record.st_mode);
    }

    const char *top_;
    NameList &list_;
    RelativePath path_;
    LinkGuard links_;
};

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

int gatherDeep(rynRegistry *registry, const ryniSources &sources, NameList &list) {
    return addSources(
        sources, [&](vekFSSpec *spec) { return DeepLibraryBuild(registry, spec, list).run(); },
        [&](const char *directory) { return DeepTemporaryBuild(directory, list).run(); });
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

int ryniGatherNames(rynRegistry *registry, int type, const ryniSources *sources, rynElement **list) {
    NameList names;
    const bool deep = type == RYNI_CONTEXT_ALL_VIEW_FILES;
    const int status = deep ? gatherDeep(registry, *sources, names) : gatherShallow(type, *sources, names);
    *list = status == RYN_OK ? names.release() : nullptr;
    if (status == RYN_MEMORY_ERROR) {
        return ryni_do_fatal(registry, status, deep ? "sBuildIterListDeep()" : "sBuildIterList()");
    }
    return status;
}

void ryniFreeElements(rynElement *list) {
    while (list != nullptr) {
        rynElement *next = list->next;
        std::free(list);
        list = next;
    }
}
