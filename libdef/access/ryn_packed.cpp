// Implements packed libraries, whose directory tree is stored in one archive file: opens the archive, and creates
// specifiers (vekFSSpec) for the objects in it. The path of an object in the archive is DIRECTORY/CELL/VIEW/FILE, where
// DIRECTORY is the last component of the library directory.

#include "libdef/access/ryni_packed.h"

#include "common/base/owned.h"
#include "libdef/registry/ryni_error.h"
#include "libdef/registry/ryni_settings.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace {

/// Marks `library` as not packed: sets the path of its archive file and the pointer to its open archive to null. Does
/// not close the archive.
void forgetArchive(rynLibrary &library) {
    std::free(library.packedFile);
    library.packedFile = nullptr;
    library.packedArchive = nullptr;
}

} // namespace

bool ryn::isPacked(const rynRegistry &registry, const rynLibrary &library) {
    return (registry.flags & RYN_FLAG_PACKED_LIBRARIES) != 0 && library.packedFile != nullptr;
}

int ryn::makePathInArchive(const rynLibrary &library, const ObjectNames &names, vek::PathText &path,
                           std::size_t *needed) {
    const std::size_t nameOffset = std::string_view(library.fullPath).rfind('/') + 1; // npos + 1 is 0
    const std::string_view top(library.fullPath + nameOffset);
    path.clear();
    path.appendCut(top);
    std::size_t size = top.size() + 1;
    for (const char *name : {names.cell, names.view, names.file}) {
        if (isGiven(name)) {
            path.appendCut("/");
            path.appendCut(name);
            size += 1 + std::string_view(name).size();
        }
    }
    if (needed != nullptr) {
        *needed = size;
    }
    if (size > VEK_PATH_SIZE) {
        path.clear();
        return RYN_BUFFER_TOO_SMALL;
    }
    return RYN_OK;
}

vekZip *ryn::openArchive(rynLibrary &library) {
    if (library.packedArchive == nullptr &&
        vekZipOpenZip(library.packedFile, &library.packedArchive) != VEK_FS_OK) {
        forgetArchive(library);
    }
    return library.packedArchive;
}

int ryn::makeSpecInArchive(const rynLibrary &library, const ObjectNames &names, vek::OwnedSpec &spec) {
    vek::PathText path;
    const int status = makePathInArchive(library, names, path);
    if (status != RYN_OK) {
        return status;
    }
    vekFSSpec *made = nullptr;
    if (vekZipCreateSpec(library.packedArchive, path.c_str(), &made) != VEK_FS_OK) {
        return RYN_MEMORY_ERROR;
    }
    spec.reset(made);
    return RYN_OK;
}

int ryn::findSpecInArchive(const rynRegistry *registry, const rynLibrary &library, const ObjectNames &names,
                           vek::OwnedSpec &spec) {
    const int status = makeSpecInArchive(library, names, spec);
    if (status != RYN_OK || ryniCheckPathNoneExistWarnFlag(registry) == 0) {
        return status;
    }
    vekFSStat record = {};
    const int error = vekFS_stat(spec.get(), &record);
    if (error == VEK_FS_OK) {
        return RYN_OK;
    }
    spec.reset();
    if (names.hasLevelAbove()) {
        vek::OwnedSpec above;
        const int aboveStatus = findSpecInArchive(registry, library, names.levelAbove(), above);
        if (aboveStatus != RYN_OK) {
            return aboveStatus;
        }
    }
    return names.codeOf(error);
}

int ryniZipExists(rynHandle handle, const char *library) {
    rynRegistry *registry = ryn::registryOf(handle);
    if (registry == nullptr || library == nullptr) {
        return 0;
    }
    const rynLibrary *record = ryni_get_libp(registry, library);
    return record != nullptr && record->packedFile != nullptr ? 1 : 0;
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
    const vek::OwnedText renamed = vek::joinText(record->packedFile, "%");
    if (!renamed || std::rename(record->packedFile, renamed.get()) != 0) {
        return RYN_SYSTEM_ERROR;
    }
    if (record->packedArchive != nullptr) {
        vekZipCloseZip(record->packedArchive);
    }
    forgetArchive(*record);
    return RYN_OK;
}
