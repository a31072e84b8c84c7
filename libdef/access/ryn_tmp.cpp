// Implements the two kinds of temporary directories that are set for all libraries of a registry: the implicit
// temporary directory (rynSetImplicitTmp()) and the global temporary root (ASSIGN AllLibs TmpRootDir). In both, each
// library has the directory ROOT/NAME.
// The global root is applied at the end of each library definition file. RootProgress records which libraries were
// processed before, so that the creation of a registry from many files takes linear time.

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

/// The file and line of the last statement that set the global temporary root, for warnings about the root. Shared by
/// all registries of the process.
static struct {
    char file[VEK_PATH_SIZE];
    int line;
} globalTmpLocation;

namespace {

/// The paths of a root directory, which contains one temporary directory for each library. `full` is the absolute path.
/// `nsl` is the same path with all symbolic links resolved.
struct Root {
    vek::PathText full;
    vek::PathText nsl;
};

/// A path of the form ROOT/NAME. ROOT and NAME have at most 4095 characters each, so the path with "/" and NUL always
/// fits.
using LibraryPath = vek::FixedText<std::size_t{2} * VEK_PATH_SIZE>;

/// Returns the path ROOT/NAME of the temporary directory of a library. Documented: if `root` is "/", the path is
/// "//NAME".
LibraryPath pathUnder(const char *root, const char *name) {
    LibraryPath path;
    for (const char *piece : {root, "/", name}) {
        path.appendCut(piece);
    }
    return path;
}

/// Computes the paths of the root directory `text`, and tests that this directory exists and can be read.
/// @param baseDirectory  the directory that a relative path starts from
/// @param root           receives the paths
/// @param error          after a failure, receives the path that the failure is about
/// @return RYN_OK or an error code
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

/// Sets the implicit temporary directory of the registry to `directory`, and that of each library to DIRECTORY/NAME.
/// Does not create these directories.
/// @param error  after a failure, receives the path that the failure is about
/// @return RYN_OK or an error code
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

/// Finds a library whose new temporary directory ROOT/NAME would be equal to, contain or be inside a directory that any
/// library already uses. Skips libraries whose temporary directory was already set from a root.
/// @return the first such library; null if there is none
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

/// A fast test before findReuse(): returns true if findReuse() would certainly find nothing.
/// Compares the number of directories that are equal to the root, inside it or contain it with the number of temporary
/// directories that were set from the root. If both are equal, no other directory can overlap with ROOT/NAME.
bool excludesReuse(const rynRegistry &registry, const ryn::RootProgress &progress) {
    const bool allUnderRoot = progress.number == 1 || progress.wasCompleted;
    // If a library name contains "/", findReuse() is always necessary: the directory ROOT/A/B of the library "A/B" is
    // inside the directory ROOT/A of the library "A".
    return allUnderRoot && !registry.hasNestedName &&
           registry.indexes->directories.count(progress.nsl.view()) == registry.globalTmpCount;
}

/// Finds the library at which applyRootToAll() must begin. All libraries before it in definition order were processed
/// by an earlier call.
/// @return the library; null if all libraries were processed
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

/// Sets the temporary directory of `library` to ROOT/NAME and creates the directory. Skips the creation if `progress`
/// shows that the directory was created before. The setting is kept even if mkdir() fails.
/// @param full  the absolute path ROOT/NAME
/// @param nsl   the path ROOT/NAME with all symbolic links in ROOT resolved
/// @return RYN_OK or an error code
int applyRoot(rynRegistry &registry, rynLibrary &library, const char *full, const char *nsl,
              const ryn::RootProgress *progress) {
    ryn::setTmpFromGlobal(registry, library, true);
    const int status = ryn::setExplicitTmp(registry, library, full, nsl);
    if (status != RYN_OK || (progress != nullptr && library.rootNumber == progress->number)) {
        return status;
    }
    return ryn::makeDirectory(&registry, full, ryn::DirectoryLevel::Library);
}

/// Sets the temporary directory of each library to ROOT/NAME and creates it. Skips libraries with an explicit temporary
/// directory of their own. Stops at the first failure, even if the warning handler returns RYN_OK.
/// @param progress  records which libraries were processed before, so that they are skipped; null to process all
///                  libraries
/// @return RYN_OK; after a failure, the result of the warning handler
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

/// Stores `root` in `progress` as the newest root. If `root` differs from the root stored before, increments the number
/// of roots and resets the other members.
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
