#include "libdef/access/ryni_tmp.h"

#include "common/text/fixed_text.h"
#include "libdef/access/ryni_access.h"
#include "libdef/paths/ryni_path_clean.h"
#include "libdef/paths/ryni_path_text.h"
#include "libdef/registry/ryni_error.h"
#include "libdef/registry/ryni_settings.h"

#include <cstdlib>

/// Where the last global temporary statement stands.
static struct {
    char file[VEK_PATH_SIZE];
    int line;
} globalTmpPlace;

namespace {

/// A root directory, in both forms.
struct Root {
    vek::PathText full;
    vek::PathText nsl;

    /// @param error  receives the text to report after a failure
    int find(rynRegistry *registry, const char *text, const char *baseDirectory, vek::PathText &error) {
        return ryn::makeGoodLibraryPath(registry, text, baseDirectory, full, nsl, error);
    }
};

/// The directory of one library under a root. Both parts have at most 4095 characters, so that it always fits.
using LibraryPath = vek::FixedText<std::size_t{2} * VEK_PATH_SIZE>;

/// "/" under "/" gives "//", as written.
LibraryPath pathUnder(const char *root, const char *name) {
    LibraryPath path;
    for (const char *piece : {root, "/", name}) {
        path.appendCut(piece);
    }
    return path;
}

// ---- implicit temporary directories

int setImplicitPath(char **field, const char *root, const char *name, char *errorOut) {
    const LibraryPath path = pathUnder(root, name);
    const int status = ryniStrcpy(field, path.c_str());
    if (status != RYN_OK) {
        ryniStoreCut(errorOut, path.view());
    }
    return status;
}

int applyImplicit(rynRegistry *registry, const char *directory, vek::PathText &error) {
    Root root;
    int status = root.find(registry, directory, registry->currentDirectory, error);
    if (status == RYN_OK) {
        status = ryniStrcpy(&registry->implicitTmpDirectory, directory);
        error.clear();
        error.appendCut(directory);
    }
    for (rynLibrary *library = registry->libraries.head; status == RYN_OK && library != nullptr;
         library = library->nextInOrder) {
        status = error.fill([&](char *errorOut, std::size_t) {
            return ryniUpdateImplicit(registry, library, root.full.c_str(), root.nsl.c_str(), errorOut);
        });
    }
    return status;
}

// ---- the global temporary root

int warn(const rynRegistry &registry, int code, const char *object) {
    return registry.warningHandler(code, object, globalTmpPlace.file, globalTmpPlace.line);
}

bool comesFromGlobal(const rynLibrary &library) {
    return (library.flags & RYNI_LIB_TMP_FROM_GLOBAL) != 0;
}

/// @return the first library with a place of its own whose directory under the root would be used twice, or null
const rynLibrary *findReuse(rynRegistry *registry, const Root &root) {
    for (const rynLibrary *library = registry->libraries.head; library != nullptr;
         library = library->nextInOrder) {
        if (comesFromGlobal(*library)) {
            continue;
        }
        const LibraryPath directory = pathUnder(root.nsl.c_str(), library->name);
        if (ryniLibPathReused(registry, directory.c_str(), nullptr, 0) != 0) {
            return library;
        }
    }
    return nullptr;
}

bool hasOwnDirectory(const rynLibrary &library) {
    return !comesFromGlobal(library) && library.explicitTmp != nullptr;
}

/// Gives one library its directory under the root, on disk too. A directory that cannot be made is its all the
/// same.
int applyRoot(rynRegistry *registry, rynLibrary *library, const char *full, const Root &root) {
    const LibraryPath nsl = pathUnder(root.nsl.c_str(), library->name);
    library->flags |= RYNI_LIB_TMP_FROM_GLOBAL;
    const int status = ryniSetExplicitTmp(registry, library, full, nsl.c_str());
    return status == RYN_OK ? ryniMkdir(registry, full, RYNI_LEVEL_LIBRARY) : status;
}

/// The first failure ends it, whatever the handler makes of that.
int applyToAll(rynRegistry *registry, const Root &root) {
    for (rynLibrary *library = registry->libraries.head; library != nullptr; library = library->nextInOrder) {
        if (hasOwnDirectory(*library)) {
            continue;
        }
        const LibraryPath full = pathUnder(root.full.c_str(), library->name);
        const int status = applyRoot(registry, library, full.c_str(), root);
        if (status != RYN_OK) {
            return warn(*registry, status, full.c_str());
        }
    }
    return RYN_OK;
}

} // namespace

int rynSetImplicitTmp(rynHandle handle, const char *directory, unsigned flags, rynErrorHandler errorHandler) {
    if (handle == nullptr) {
        return RYN_INVALID_PARAMETER;
    }
    const bool hasDirectory = directory != nullptr && *directory != '\0';
    if (!hasDirectory && flags != 0) {
        return RYN_INVALID_PARAMETER;
    }
    if (flags == 0) {
        sUnsetImplicitTmp(handle);
        return RYN_OK;
    }
    if (errorHandler != nullptr) {
        handle->errorHandler = errorHandler;
    }
    handle->implicitTmpFlags = flags;
    vek::PathText error;
    const int status = applyImplicit(handle, directory, error);
    if (status != RYN_OK) {
        sUnsetImplicitTmp(handle);
        return ryni_do_error(handle, status, error.c_str());
    }
    return RYN_OK;
}

int rynGetImplicitTmpFlags(rynHandle handle, unsigned *flagsOut) {
    const rynRegistry *registry = ryn::registryOf(handle);
    if (registry == nullptr || flagsOut == nullptr) {
        return ryni_do_fatal(registry, RYN_INVALID_PARAMETER, "rynGetImplicitTmpFlags()");
    }
    *flagsOut = registry->implicitTmpFlags;
    return RYN_OK;
}

void sUnsetImplicitTmp(rynRegistry *registry) {
    for (rynLibrary *library = registry->libraries.head; library != nullptr; library = library->nextInOrder) {
        std::free(library->implicitTmp);
        std::free(library->implicitTmpNsl);
        library->implicitTmp = nullptr;
        library->implicitTmpNsl = nullptr;
    }
    std::free(registry->implicitTmpDirectory);
    registry->implicitTmpDirectory = nullptr;
    registry->implicitTmpFlags = 0;
}

int ryniUpdateImplicit(rynRegistry *registry, rynLibrary *library, const char *fullRoot, const char *nslRoot,
                       char *errorOut) {
    if (registry->implicitTmpDirectory == nullptr) {
        return RYN_OK;
    }
    Root made;
    if (fullRoot == nullptr || nslRoot == nullptr) {
        vek::PathText error;
        const int status =
            made.find(registry, registry->implicitTmpDirectory, registry->currentDirectory, error);
        if (status != RYN_OK) {
            ryniStoreCut(errorOut, error.c_str());
            return status;
        }
        fullRoot = made.full.c_str();
        nslRoot = made.nsl.c_str();
    }
    const int status = setImplicitPath(&library->implicitTmp, fullRoot, library->name, errorOut);
    return status != RYN_OK ? status
                            : setImplicitPath(&library->implicitTmpNsl, nslRoot, library->name, errorOut);
}

void ryniSetGlobalTmpPlace(const char *file, int line) {
    ryniStoreCut(globalTmpPlace.file, file);
    globalTmpPlace.line = line;
}

int sAddGlobalTmppath(rynRegistry *registry, const char *directory) {
    if (registry->globalExplicitTmp == nullptr) {
        return RYN_OK;
    }
    Root root;
    vek::PathText error;
    const int status = root.find(registry, registry->globalExplicitTmp->value, directory, error);
    if (status != RYN_OK) {
        return warn(*registry, status, error.c_str());
    }
    const rynLibrary *reused = findReuse(registry, root);
    if (reused != nullptr) {
        return warn(*registry, RYN_DIRECTORY_REUSED, reused->explicitTmpNsl);
    }
    return applyToAll(registry, root);
}
