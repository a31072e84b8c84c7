#include "libdef/ryni_iterate.h"

#include "common/ascii.h"
#include "common/entry_list.h"
#include "common/fixed_text.h"
#include "common/owned.h"
#include "libdef/ryni_error.h"
#include "libdef/ryni_index_hash.h"
#include "libdef/ryni_spec.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <sys/stat.h>

namespace {

constexpr std::size_t kNameSize = 256;

int codeOfFailedOpen(int error) {
    return error == EACCES ? RYN_PERMISSION_DENIED : RYN_SYSTEM_ERROR;
}

// ---- the list being built

int isSameName(const void *entry, const void *key) {
    return std::strcmp(static_cast<const rynElement *>(entry)->name,
                       static_cast<const rynElement *>(key)->name) == 0
               ? 1
               : 0;
}

uint32_t hashName(const void *key, const vekHashTable * /*table*/) {
    return ryniIndexHash(static_cast<const rynElement *>(key)->name, 0);
}

/// A list of names that grows at its head, with an index of them once it is asked what it holds.
class NameList {
  public:
    NameList() = default;
    NameList(const NameList &) = delete;
    NameList &operator=(const NameList &) = delete;
    ~NameList() {
        vekHashFreeTable(&index_);
        ryniFreeElements(head_);
    }

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
        if (isIndexed()) {
            vekHashCreate(&index_, element);
        }
        return true;
    }

    /// Makes holds() work. @return false when memory is exhausted
    bool beginIndex() {
        if (isIndexed()) {
            return true;
        }
        vekHashAllocTable(&index_, 0, 0, offsetof(rynElement, nextInIndex), isSameName, hashName);
        for (rynElement *element = head_; isIndexed() && element != nullptr; element = element->next) {
            vekHashCreate(&index_, element);
        }
        return isIndexed();
    }

    [[nodiscard]] bool holds(const char *name) {
        rynElement wanted = {};
        wanted.name = const_cast<char *>(name); // only read, as a key
        return vekHashProbe(&index_, &wanted) != nullptr;
    }

    rynElement *release() { return std::exchange(head_, nullptr); }

  private:
    [[nodiscard]] bool isIndexed() const { return index_.buckets != nullptr; }

    rynElement *head_ = nullptr;
    vekHashTable index_ = {};
};

// ---- directories

struct CloseFsDirectory {
    void operator()(vekFSDir *directory) const { static_cast<void>(vekFS_closedir(directory)); }
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
        if (!list_.beginIndex()) {
            return RYN_MEMORY_ERROR;
        }
        return visitPlain(path, [this](unsigned char /*type*/, const char *name) {
            return list_.holds(name) ? static_cast<int>(RYN_OK) : add(name);
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

    /// An entry that no specifier can be made for is passed over.
    int addEntry(unsigned char type) {
        vekFSSpec *made = nullptr;
        if (ryni_mkspec(registry_, nullptr, nullptr, nullptr, path_.c_str(), top_, &made) != RYN_OK) {
            return RYN_OK;
        }
        const ryniOwnedSpec spec(made);
        // Something that is no directory is none whether or not it can be examined.
        if (isTypeOfNoDirectory(type) || rynIsSpecDir(spec.get()) == 0) {
            return list_.push(path_.view()) ? RYN_OK : RYN_MEMORY_ERROR;
        }
        return addDirectory(spec.get());
    }

    rynRegistry *registry_;
    vekFSSpec *top_;
    NameList &list_;
    RelativePath path_;
};

class DeepTemporaryBuild {
  public:
    DeepTemporaryBuild(const char *top, NameList &list) : top_(top), list_(list) {}

    int run() {
        if (!list_.beginIndex()) {
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
        const vek::OwnedText path(joined());
        if (!path) {
            return RYN_MEMORY_ERROR;
        }
        struct stat status = {};
        const bool isDirectory = type == DT_DIR || stat(path.get(), &status) != 0 || S_ISDIR(status.st_mode);
        if (isDirectory) {
            return addDirectory(path.get());
        }
        return list_.holds(path_.c_str()) || list_.push(path_.view()) ? RYN_OK : RYN_MEMORY_ERROR;
    }

    [[nodiscard]] char *joined() const {
        const std::string_view top(top_);
        auto *path = static_cast<char *>(std::malloc(top.size() + 1 + path_.view().size() + 1));
        if (path != nullptr) {
            std::memcpy(path, top.data(), top.size());
            path[top.size()] = '/';
            std::memcpy(path + top.size() + 1, path_.c_str(), path_.view().size() + 1);
        }
        return path;
    }

    const char *top_;
    NameList &list_;
    RelativePath path_;
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
