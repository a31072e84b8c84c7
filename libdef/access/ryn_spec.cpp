#include "libdef/access/ryni_spec.h"

#include "common/base/owned.h"
#include "common/text/fixed_text.h"
#include "fs/owned_spec.h"
#include "libdef/paths/ryni_path_text.h"
#include "libdef/registry/ryni_error.h"
#include "libdef/registry/ryni_names.h"
#include "libdef/registry/ryni_settings.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <sys/stat.h>

namespace {

/// What a "rynFS" specifier holds in place of a path.
struct Extension {
    rynRegistry *handle;
    vekFSSpec *inner;
    char *library;
    char *cell;
    char *view;
    char *file;
};

Extension *extensionOf(const vekFSSpec *spec) {
    return reinterpret_cast<Extension *>(spec->path);
}

vekFSSpec *innerOf(const vekFSSpec *spec) {
    return extensionOf(spec)->inner;
}

// ---- the implementation table

void freeExtension(Extension *extension) {
    for (char *name : {extension->library, extension->cell, extension->view, extension->file}) {
        std::free(name);
    }
    std::free(extension);
}

int freeSpec(vekFSSpec *spec) {
    const int status = vekFSFreeSpec(innerOf(spec));
    freeExtension(extensionOf(spec));
    std::free(spec);
    return status;
}

int getSpecString(const vekFSSpec *spec, char *buffer, size_t size, size_t *needed) {
    return vekFSGetSpecString(innerOf(spec), buffer, size, needed);
}

int openInner(vekFSSpec *spec, int flags, vekFSFile **file) {
    return vekFS_open(innerOf(spec), flags, file);
}

int statInner(vekFSSpec *spec, vekFSStat *record) {
    return vekFS_stat(innerOf(spec), record);
}

int lstatInner(vekFSSpec *spec, vekFSStat *record) {
    return vekFS_lstat(innerOf(spec), record);
}

int opendirInner(vekFSSpec *spec, vekFSDir **directory) {
    return vekFS_opendir(innerOf(spec), directory);
}

/// Files, directories and stat records carry the inner specifier, so that nothing else is asked of this one.
constexpr vekFSIODef makeTable() {
    vekFSIODef table = {};
    table.name = "rynFS";
    table.freeSpec = freeSpec;
    table.getSpecString = getSpecString;
    table.open = openInner;
    table.stat = statInner;
    table.lstat = lstatInner;
    table.opendir = opendirInner;
    return table;
}

constexpr vekFSIODef kTable = makeTable();

// ---- making one

bool copyName(const char *name, char *&copy) {
    copy = name == nullptr ? nullptr : vek::copyText(name).release();
    return copy != nullptr || name == nullptr;
}

/// Makes a "rynFS" specifier around an inner one, which it then owns.
int wrap(rynRegistry *registry, const ryniObjectNames &names, vek::OwnedSpec inner, vekFSSpec **spec) {
    auto *extension = static_cast<Extension *>(std::calloc(1, sizeof(Extension)));
    auto *wrapper = static_cast<vekFSSpec *>(std::calloc(1, sizeof(vekFSSpec)));
    const bool made = extension != nullptr && wrapper != nullptr &&
                      copyName(names.library, extension->library) && copyName(names.cell, extension->cell) &&
                      copyName(names.view, extension->view) && copyName(names.file, extension->file);
    if (!made) {
        if (extension != nullptr) {
            freeExtension(extension);
        }
        std::free(wrapper);
        return RYN_MEMORY_ERROR;
    }
    extension->handle = registry;
    extension->inner = inner.release();
    wrapper->path = reinterpret_cast<char *>(extension);
    wrapper->implementation = &kTable;
    *spec = wrapper;
    return RYN_OK;
}

int makePlain(const char *path, bool stdio, vek::OwnedSpec &inner) {
    vekFSSpec *made = nullptr;
    const int status = stdio ? vekFSStdioCreatePathSpec(path, &made) : vekFSCreatePathSpec(path, &made);
    inner.reset(made);
    return status == VEK_FS_OK ? RYN_OK : RYN_MEMORY_ERROR;
}

/// What the given names and a parent come to.
enum class Combined { Names, ParentItself, Invalid };

/// @param names  the given names; completed from the parent
Combined combine(const vekFSSpec *parent, ryniObjectNames &names) {
    if (parent == nullptr) {
        return Combined::Names;
    }
    if (parent->implementation != &kTable) {
        return Combined::Invalid;
    }
    const Extension &from = *extensionOf(parent);
    const bool nothingGiven =
        names.file == nullptr && names.view == nullptr && names.cell == nullptr && names.library == nullptr;
    if (nothingGiven) {
        return Combined::ParentItself;
    }
    if (from.library == nullptr) {
        return Combined::Invalid;
    }
    if (names.file != nullptr) {
        names = {from.library, from.cell, from.view, names.file};
    } else if (names.view != nullptr) {
        names = {from.library, from.cell, names.view, nullptr};
    } else {
        names = {from.library, names.cell, nullptr, nullptr};
    }
    return Combined::Names;
}

// ---- packed libraries

/// The library's record when it is to be read from its archive, else null.
rynLibrary *findPacked(rynRegistry *registry, const char *library) {
    if ((registry->flags & RYN_FLAG_PACKED_LIBRARIES) == 0) {
        return nullptr;
    }
    rynLibrary *record = ryni_get_libp(registry, library);
    return record != nullptr && record->packedFile != nullptr ? record : nullptr;
}

/// An archive that cannot be opened makes its library one that is not packed, from then on.
vekZip *openArchive(rynLibrary *library) {
    if (library->packedArchive == nullptr &&
        vekZipOpenZip(library->packedFile, &library->packedArchive) != VEK_FS_OK) {
        std::free(library->packedFile);
        library->packedFile = nullptr;
        library->packedArchive = nullptr;
    }
    return library->packedArchive;
}

int makePathInArchive(rynRegistry *registry, const ryniObjectNames &names, vek::PathText &path) {
    return path.fill([&](char *buffer, std::size_t size) {
        return ryniPathInArchive(registry, names.library, names.cell, names.view, names.file, buffer, size,
                                 nullptr);
    });
}

int makeInArchive(rynRegistry *registry, vekZip *archive, const ryniObjectNames &names,
                  vek::OwnedSpec &inner) {
    vek::PathText path;
    const int status = makePathInArchive(registry, names, path);
    if (status != RYN_OK) {
        return status;
    }
    vekFSSpec *made = nullptr;
    if (vekZipCreateSpec(archive, path.c_str(), &made) != VEK_FS_OK) {
        return RYN_MEMORY_ERROR;
    }
    inner.reset(made);
    return RYN_OK;
}

/// makeInArchive() that also, while paths must exist, looks for the object there.
int findInArchive(rynRegistry *registry, vekZip *archive, const ryniObjectNames &names,
                  vek::OwnedSpec &inner) {
    const int status = makeInArchive(registry, archive, names, inner);
    if (status != RYN_OK || ryniCheckPathNoneExistWarnFlag(registry) == 0) {
        return status;
    }
    vekFSStat record = {};
    const int error = vekFS_stat(inner.get(), &record);
    if (error == VEK_FS_OK) {
        return RYN_OK;
    }
    inner.reset();
    if (names.hasLevelAbove()) {
        vek::OwnedSpec above;
        const int aboveStatus = findInArchive(registry, archive, names.levelAbove(), above);
        if (aboveStatus != RYN_OK) {
            return aboveStatus;
        }
    }
    return names.codeOf(error);
}

/// Text that is joined in a caller's buffer. What no longer fits is counted, and leaves the buffer empty.
class JoinedText {
  public:
    JoinedText(char *buffer, std::size_t size) : buffer_(buffer), size_(size) {}

    void append(std::string_view piece) {
        if (fits() && !vek::copyToBuffer(piece, buffer_ + length_, size_ - length_) && size_ > 0) {
            *buffer_ = '\0';
        }
        length_ += piece.size();
    }

    /// The bytes that all of it needs, the NUL included.
    [[nodiscard]] std::size_t needed() const { return length_ + 1; }
    [[nodiscard]] bool fits() const { return needed() <= size_; }

  private:
    char *buffer_;
    std::size_t size_;
    std::size_t length_ = 0;
};

// ---- finding what a specifier wraps

int getPath(rynRegistry *registry, unsigned mode, const ryniObjectNames &names, vek::PathText &path) {
    return path.fill([&](char *buffer, std::size_t size) {
        return rynGetPath(registry, mode, names.library, names.cell, names.view, names.file, buffer, size);
    });
}

int findInner(rynRegistry *registry, unsigned mode, const ryniObjectNames &names, bool stdio,
              vek::OwnedSpec &inner) {
    vek::PathText path;
    const bool mayBePacked = mode == RYN_PATH_READ || mode == RYN_PATH_READ_LIBRARY;
    rynLibrary *packed = mayBePacked ? findPacked(registry, names.library) : nullptr;
    if (packed != nullptr) {
        if (mode == RYN_PATH_READ && getPath(registry, RYN_PATH_READ_TMP, names, path) == RYN_OK) {
            return makePlain(path.c_str(), stdio, inner);
        }
        vekZip *archive = openArchive(packed);
        return archive == nullptr ? RYN_SYSTEM_ERROR : findInArchive(registry, archive, names, inner);
    }
    const int status = getPath(registry, mode, names, path);
    return status == RYN_OK ? makePlain(path.c_str(), stdio, inner) : status;
}

int makeInner(rynRegistry *registry, const ryniObjectNames &names, vek::OwnedSpec &inner) {
    if (rynLibrary *packed = findPacked(registry, names.library)) {
        vek::PathText path;
        const int status = makePathInArchive(registry, names, path);
        if (status != RYN_OK) {
            return status;
        }
        vekZip *archive = openArchive(packed);
        return archive == nullptr ? RYN_SYSTEM_ERROR : makeInArchive(registry, archive, names, inner);
    }
    const rynLibrary *record = ryni_get_libp(registry, names.library);
    if (record == nullptr) {
        return RYN_LIBRARY_NOT_DEFINED;
    }
    vek::PathText path;
    const int status = ryn::makePath(record->fullPath, names.cell, names.view, names.file, path);
    return status == RYN_OK ? makePlain(path.c_str(), false, inner) : status;
}

/// The steps that the two makers of specifiers share. @param find finds the inner specifier
template <typename Find>
int makeSpec(rynHandle handle, ryniObjectNames names, vekFSSpec *parent, vekFSSpec **spec, Find find) {
    if (spec == nullptr) {
        return RYN_INVALID_PARAMETER;
    }
    *spec = nullptr;
    if (handle == nullptr || (names.library == nullptr && parent == nullptr)) {
        return RYN_INVALID_PARAMETER;
    }
    switch (combine(parent, names)) {
    case Combined::Invalid:
        return RYN_INVALID_PARAMETER;
    case Combined::ParentItself:
        *spec = parent;
        return RYN_OK;
    case Combined::Names:
        break;
    }
    vek::OwnedSpec inner;
    const int status = find(names, inner);
    return status == RYN_OK ? wrap(handle, names, std::move(inner), spec) : status;
}

} // namespace

int ryniObjectNames::codeOf(int error) const {
    switch (error) {
    case ENOENT:
        return notFoundCode();
    case EACCES:
        return deniedCode();
    default:
        return RYN_SYSTEM_ERROR;
    }
}

int rynGetSpec(rynHandle handle, unsigned mode, const char *library, const char *cell, const char *view,
               const char *file, vekFSSpec *parent, unsigned flags, vekFSSpec **spec) {
    const bool stdio = (flags & RYN_SPEC_STDIO) != 0;
    return makeSpec(handle, {library, cell, view, file}, parent, spec,
                    [=](const ryniObjectNames &names, vek::OwnedSpec &inner) {
                        return findInner(handle, mode, names, stdio, inner);
                    });
}

int ryni_mkspec(rynHandle handle, const char *library, const char *cell, const char *view, const char *file,
                vekFSSpec *parent, vekFSSpec **spec) {
    return makeSpec(
        handle, {library, cell, view, file}, parent, spec,
        [=](const ryniObjectNames &names, vek::OwnedSpec &inner) { return makeInner(handle, names, inner); });
}

int rynIsSpecDir(vekFSSpec *spec) {
    vekFSStat record = {};
    mode_t mode = 0;
    const bool known =
        vekFS_stat(spec, &record) == VEK_FS_OK && vekFS_getFileMode(&record, &mode) == VEK_FS_OK;
    return known && S_ISDIR(mode) ? 1 : 0;
}

int ryniZipExists(rynHandle handle, const char *library) {
    rynRegistry *registry = ryn::registryOf(handle);
    if (registry == nullptr || library == nullptr) {
        return 0;
    }
    const rynLibrary *record = ryni_get_libp(registry, library);
    return record != nullptr && record->packedFile != nullptr ? 1 : 0;
}

int ryniPathInArchive(rynHandle handle, const char *library, const char *cell, const char *view,
                      const char *file, char *buffer, size_t size, size_t *needed) {
    if (handle == nullptr || library == nullptr || buffer == nullptr) {
        return RYN_INVALID_PARAMETER;
    }
    const rynLibrary *record = ryni_get_libp(handle, library);
    if (record == nullptr) {
        return RYN_LIBRARY_NOT_DEFINED;
    }
    const char *slash = std::strrchr(record->fullPath, '/');
    JoinedText path(buffer, size);
    path.append(slash == nullptr ? record->fullPath : slash + 1);
    for (const char *name : {cell, view, file}) {
        if (isNameGiven(name)) {
            path.append("/");
            path.append(name);
        }
    }
    if (needed != nullptr) {
        *needed = path.needed();
    }
    return path.fits() ? RYN_OK : RYN_BUFFER_TOO_SMALL;
}

int rynInvalidatePackedLib(rynHandle handle, const char *library) {
    rynRegistry *registry = ryn::registryOf(handle);
    if (registry == nullptr || library == nullptr) {
        return ryni_do_fatal(registry, RYN_INVALID_PARAMETER, "rynInvalidatePackedLib()");
    }
    rynLibrary *record = ryni_get_libp(registry, library);
    if (record == nullptr || record->packedFile == nullptr) {
        return RYN_LIBRARY_NOT_DEFINED;
    }
    const vek::OwnedText aside = vek::joinText(record->packedFile, "%");
    if (!aside || std::rename(record->packedFile, aside.get()) != 0) {
        return RYN_SYSTEM_ERROR;
    }
    if (record->packedArchive != nullptr) {
        vekZipCloseZip(record->packedArchive);
        record->packedArchive = nullptr;
    }
    std::free(record->packedFile);
    record->packedFile = nullptr;
    return RYN_OK;
}
