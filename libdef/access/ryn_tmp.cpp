#include "libdef/access/ryni_tmp.h"

#include "common/text/fixed_text.h"
#include "libdef/access/ryni_access.h"
#include "libdef/access/ryni_library_path.h"
#include "libdef/paths/ryni_library_reuse.h"
#include "libdef/paths/ryni_path_buffer.h"
#include "libdef/registry/ryni_error.h"
#include "libdef/registry/ryni_indexes.h"
#include "libdef/registry/ryni_owned_text.h"
#include "libdef/registry/ryni_settings.h"

#include <cstdlib>

/// The location that setGlobalTmpLocation() stored last; process-wide.
static struct {
    char file[VEK_PATH_SIZE];
    int line;
} globalTmpLocation;

namespace {

/// The paths of a root: a directory that contains one subdirectory for each library.
struct Root {
    vek::PathText full;
    vek::PathText nsl;
};

/// A path ROOT/NAME. The root and the name of the library have at most 4095 characters each, so the path always fits.
using LibraryPath = vek::FixedText<std::size_t{2} * VEK_PATH_SIZE>;

/// Returns the directory of the library `name` under `root`. Documented: it is "//NAME" for the root "/".
LibraryPath pathUnder(const char *root, const char *name) {
    LibraryPath path;
    for (const char *piece : {root, "/", name}) {
        path.appendCut(piece);
    }
    return path;
}

/// Generates the paths of a root from its text, and tests that the directory exists and can be read.
/// @param error  receives the text to report after a failure
int makeRoot(rynRegistry *registry, const char *text, const char *baseDirectory, Root &root,
             vek::PathText &error) {
    return ryn::makeLibraryPath(registry, text, baseDirectory, root.full, root.nsl, error);
}

// ---- implicit temporary directories

int setPath(char **field, const char *root, const char *name, vek::PathText &error) {
    const LibraryPath path = pathUnder(root, name);
    const int status = ryniStrcpy(field, path.c_str());
    if (status != RYN_OK) {
        error.clear();
        error.appendCut(path.view());
    }
    return status;
}

int setImplicitPaths(rynLibrary &library, const char *fullRoot, const char *nslRoot, vek::PathText &error) {
    const int status = setPath(&library.implicitTmp, fullRoot, library.name, error);
    return status != RYN_OK ? status : setPath(&library.implicitTmpNsl, nslRoot, library.name, error);
}

/// Sets the implicit temporary directory of the registry to `directory` and that of each library to DIRECTORY/NAME.
/// @param error  receives the text to report after a failure
int applyImplicit(rynRegistry *registry, const char *directory, vek::PathText &error) {
    Root root;
    int status = makeRoot(registry, directory, registry->currentDirectory, root, error);
    if (status != RYN_OK) {
        return status;
    }
    status = ryniStrcpy(&registry->implicitTmpDirectory, directory);
    if (status != RYN_OK) {
        error.clear();
        error.appendCut(directory);
        return status;
    }
    for (rynLibrary *library = registry->libraries.head; library != nullptr; library = library->nextInOrder) {
        status = setImplicitPaths(*library, root.full.c_str(), root.nsl.c_str(), error);
        if (status != RYN_OK) {
            return status;
        }
    }
    return RYN_OK;
}

// ---- the global temporary root

int warn(const rynRegistry &registry, int code, const char *object) {
    return registry.warningHandler(code, object, globalTmpLocation.file, globalTmpLocation.line);
}

bool isFromGlobalRoot(const rynLibrary &library) {
    return (library.flags & ryn::kTmpFromGlobal) != 0;
}

/// Searches for a conflict: a library to which no global root was applied, and whose directory under `root` is already
/// used as a directory of a library. @return the first such library; null if there is none
const rynLibrary *findReuse(rynRegistry *registry, const Root &root) {
    for (const rynLibrary *library = registry->libraries.head; library != nullptr;
         library = library->nextInOrder) {
        if (isFromGlobalRoot(*library)) {
            continue;
        }
        const LibraryPath directory = pathUnder(root.nsl.c_str(), library->name);
        if (ryniLibPathReused(registry, directory.c_str(), nullptr, 0) != 0) {
            return library;
        }
    }
    return nullptr;
}

/// Returns true if findReuse() can find nothing, without testing each library. The registry's index counts the
/// directories equal to, above and below the root. If they are as many as the libraries to which the root was applied,
/// no other directory is there. False does not mean that there is a conflict.
bool excludesReuse(const rynRegistry &registry, const ryn::RootProgress &progress) {
    const bool allUnderRoot = progress.number == 1 || progress.wasCompleted;
    // A library name that contains "/" can give a directory inside the directory of another library.
    return allUnderRoot && !registry.hasNestedName &&
           registry.indexes->directories.count(progress.nsl.view()) == registry.globalTmpCount;
}

/// @return the first library to which the root may have to be applied; null if there is none. All libraries before it
///         in definition order have their directories
rynLibrary *firstToApply(const rynRegistry &registry, const ryn::RootProgress &progress) {
    if (progress.tmpChanges != registry.tmpChanges) {
        return registry.libraries.head;
    }
    rynLibrary *first = nullptr;
    for (rynLibrary *library = registry.libraries.tail;
         library != nullptr && library->rank > progress.appliedRank; library = library->previousInOrder) {
        first = library;
    }
    return first;
}

/// Sets the library's temporary directory and creates it. Does not create it if `progress` shows that this was done
/// before. The setting is kept even if mkdir() fails.
/// @param full, nsl  the full path and the nsl path ROOT/NAME
int applyRoot(rynRegistry &registry, rynLibrary &library, const char *full, const char *nsl,
              const ryn::RootProgress *progress) {
    ryn::setTmpFromGlobal(registry, library, true);
    const int status = ryn::setExplicitTmp(registry, library, full, nsl);
    if (status != RYN_OK || (progress != nullptr && library.rootNumber == progress->number)) {
        return status;
    }
    return ryn::makeDirectory(&registry, full, ryn::DirectoryLevel::Library);
}

/// Applies the root to each library that has no explicit temporary directory of its own. Stops at the first failure,
/// even if the warning handler returns RYN_OK. @return RYN_OK, or the result of the warning handler
int applyRootToAll(rynRegistry &registry, const Root &root, ryn::RootProgress *progress) {
    rynLibrary *library = progress == nullptr ? registry.libraries.head : firstToApply(registry, *progress);
    for (; library != nullptr; library = library->nextInOrder) {
        const bool hasOwn = library->explicitTmp != nullptr && !isFromGlobalRoot(*library);
        const bool isApplied =
            progress != nullptr && library->rootNumber == progress->number && ryn::hasGlobalTmp(*library);
        if (hasOwn || isApplied) {
            continue;
        }
        const LibraryPath full = pathUnder(root.full.c_str(), library->name);
        const LibraryPath nsl = pathUnder(root.nsl.c_str(), library->name);
        const int status = applyRoot(registry, *library, full.c_str(), nsl.c_str(), progress);
        if (status != RYN_OK) {
            if (progress != nullptr) {
                progress->appliedRank = library->rank - 1; // the next call begins with this library
            }
            return warn(registry, status, full.c_str());
        }
        library->rootNumber = progress == nullptr ? 0 : progress->number;
    }
    if (progress == nullptr) {
        ++registry.tmpChanges;
    } else {
        progress->wasCompleted = true;
        progress->appliedRank = registry.insertions; // not less than the rank of any library
        progress->tmpChanges = registry.tmpChanges;
    }
    return RYN_OK;
}

/// Stores `root` in `progress`. If it differs from the root stored there, resets the rest of the progress.
void setRoot(ryn::RootProgress &progress, const Root &root) {
    if (progress.number != 0 && progress.full.view() == root.full.view() &&
        progress.nsl.view() == root.nsl.view()) {
        return;
    }
    progress = {.full = root.full,
                .nsl = root.nsl,
                .number = progress.number + 1,
                .wasCompleted = false,
                .appliedRank = 0,
                .tmpChanges = 0};
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
    Root root;
    vek::PathText error;
    int status = RYN_OK;
    if (fullRoot == nullptr || nslRoot == nullptr) {
        status = makeRoot(registry, registry->implicitTmpDirectory, registry->currentDirectory, root, error);
        fullRoot = root.full.c_str();
        nslRoot = root.nsl.c_str();
    }
    if (status == RYN_OK) {
        status = setImplicitPaths(*library, fullRoot, nslRoot, error);
    }
    if (status != RYN_OK) {
        ryn::storeCut(error.view(), errorOut);
    }
    return status;
}

void ryn::setGlobalTmpLocation(const char *file, int line) {
    storeCut(file, globalTmpLocation.file);
    globalTmpLocation.line = line;
}

int ryn::applyGlobalRoot(rynRegistry &registry, const char *directory, RootProgress *progress) {
    if (registry.globalExplicitTmp == nullptr) {
        return RYN_OK;
    }
    Root root;
    vek::PathText error;
    const int status = makeRoot(&registry, registry.globalExplicitTmp->value, directory, root, error);
    if (status != RYN_OK) {
        return warn(registry, status, error.c_str());
    }
    if (progress != nullptr) {
        setRoot(*progress, root);
    }
    if (progress == nullptr || !excludesReuse(registry, *progress)) {
        if (const rynLibrary *const reused = findReuse(&registry, root)) {
            return warn(registry, RYN_DIRECTORY_REUSED, reused->explicitTmpNsl);
        }
    }
    return applyRootToAll(registry, root, progress);
}

int sAddGlobalTmppath(rynRegistry *registry, const char *directory) {
    return ryn::applyGlobalRoot(*registry, directory, nullptr);
}
