// Implements rynGetPath(): finds the path of a library, cell, view or file.
// A table describes each mode: which directories it tries, which access it tests, and which failures end the search.
// The order of the directories is: implicit temporary directory, explicit temporary directory, library's own directory.
// The result is the first path that passes the access test.

#include "libdef/access/ryni_get_path.h"

#include "libdef/access/ryni_access.h"
#include "libdef/registry/ryni_error.h"
#include "libdef/registry/ryni_settings.h"

#include <array>

namespace {

using ryn::AccessKind;
using ryn::ObjectNames;

/// What rynGetPath() does if its search in the explicit temporary directory of a library fails. Continues: it searches
/// the next directory. Ends: it returns the error. EndsUnlessMissing: it searches the next directory if the cell, view
/// or file does not exist; otherwise it returns the error.
enum class ExplicitFailure { Continues, EndsUnlessMissing, Ends };

/// The properties of one mode of rynGetPath(): which directories of a library it tries, and which access it tests.
struct PathMode {
    AccessKind kind;
    bool usesTemporary;    ///< tries the implicit, then the explicit temporary directory
    bool usesLibrary;      ///< tries the library's own directory last
    bool firstOnly;        ///< tries only the first of these directories that the library has
    bool allowedForPacked; ///< can be used for packed libraries
    ExplicitFailure explicitFailure;
};

constexpr PathMode kRead = {.kind = AccessKind::Read,
                            .usesTemporary = true,
                            .usesLibrary = true,
                            .firstOnly = false,
                            .allowedForPacked = false,
                            .explicitFailure = ExplicitFailure::EndsUnlessMissing};
constexpr PathMode kWrite = {.kind = AccessKind::Write,
                             .usesTemporary = true,
                             .usesLibrary = true,
                             .firstOnly = true,
                             .allowedForPacked = false,
                             .explicitFailure = ExplicitFailure::Ends};
constexpr PathMode kReplace = {.kind = AccessKind::Replace,
                               .usesTemporary = true,
                               .usesLibrary = true,
                               .firstOnly = false,
                               .allowedForPacked = false,
                               .explicitFailure = ExplicitFailure::Ends};

/// Returns a copy of `mode` that tries only the temporary directories of a library. Such a mode is also allowed for
/// packed libraries, because only the library's own directory is packed into an archive.
constexpr PathMode inTemporary(PathMode mode) {
    mode.usesLibrary = false;
    mode.allowedForPacked = true;
    return mode;
}

/// Returns a copy of `mode` that tries only the library's own directory, not its temporary directories.
constexpr PathMode inLibrary(PathMode mode) {
    mode.usesTemporary = false;
    return mode;
}

constexpr PathMode withExplicitFailure(PathMode mode, ExplicitFailure explicitFailure) {
    mode.explicitFailure = explicitFailure;
    return mode;
}

/// The properties of each mode of rynGetPath(), indexed by the RYN_PATH_... value of the mode.
constexpr std::array<PathMode, RYN_PATH_REPLACE_LIBRARY + 1> kModes = {
    /* RYN_PATH_READ */ kRead,
    /* RYN_PATH_WRITE */ kWrite,
    /* RYN_PATH_READ_TMP */ inTemporary(kRead),
    /* RYN_PATH_WRITE_TMP */ inTemporary(kWrite),
    /* RYN_PATH_READ_LIBRARY */ inLibrary(kRead),
    /* RYN_PATH_WRITE_LIBRARY */ inLibrary(kWrite),
    /* RYN_PATH_REPLACE */ withExplicitFailure(kReplace, ExplicitFailure::Continues),
    /* RYN_PATH_REPLACE_EXPLICIT */ kReplace,
    /* RYN_PATH_REPLACE_TMP */ inTemporary(kReplace),
    /* RYN_PATH_REPLACE_LIBRARY */ inLibrary(kReplace),
};

bool isMissing(int status) {
    return status == RYN_NO_SUCH_CELL || status == RYN_NO_SUCH_VIEW || status == RYN_NO_SUCH_FILE;
}

bool endsSearch(ExplicitFailure explicitFailure, int status) {
    return explicitFailure == ExplicitFailure::Ends ||
           (explicitFailure == ExplicitFailure::EndsUnlessMissing && !isMissing(status));
}

int search(const rynRegistry &registry, const rynLibrary &library, const PathMode &mode,
           const ObjectNames &names, vek::PathText &path) {
    int status = RYN_NO_SUCH_DIRECTORY; // the result if there is no directory to try
    const auto tryDirectory = [&](const char *directory) {
        status = ryn::accessPath(&registry, mode.kind, directory, names, path);
        return status == RYN_OK;
    };
    if (mode.usesTemporary && registry.implicitTmpFlags != 0 && library.implicitTmp != nullptr) {
        const bool implicitOnly = (registry.implicitTmpFlags & RYN_IMPLICIT_ONLY) != 0;
        if (tryDirectory(library.implicitTmp) || mode.firstOnly || implicitOnly) {
            return status;
        }
    }
    if (mode.usesTemporary && library.explicitTmp != nullptr) {
        if (tryDirectory(library.explicitTmp) || mode.firstOnly || endsSearch(mode.explicitFailure, status)) {
            return status;
        }
    }
    if (mode.usesLibrary) {
        tryDirectory(library.fullPath);
    }
    return status;
}

} // namespace

int ryn::findPath(const rynRegistry *registry, const rynLibrary &library, unsigned mode,
                  const ObjectNames &names, vek::PathText &path) {
    path.clear();
    const bool isKnown = mode < kModes.size();
    if (library.packedFile != nullptr && (!isKnown || !kModes[mode].allowedForPacked)) {
        return RYN_NOT_FOR_PACKED;
    }
    if (!isKnown) {
        return ryni_do_fatal(registry, RYN_INVALID_PARAMETER, "rynGetPath() - 2");
    }
    const int status = search(*registry, library, kModes[mode], names, path);
    if (status != RYN_OK) {
        path.clear();
    }
    return status;
}

int rynGetPath(rynHandle handle, unsigned mode, const char *library, const char *cell, const char *view,
               const char *file, char *path, size_t size) {
    rynRegistry *registry = ryn::registryOf(handle);
    if (registry == nullptr || library == nullptr || path == nullptr) {
        return ryni_do_fatal(registry, RYN_INVALID_PARAMETER, "rynGetPath()");
    }
    const rynLibrary *record = ryni_get_libp(registry, library);
    if (record == nullptr) {
        return RYN_LIBRARY_NOT_DEFINED;
    }
    vek::PathText found;
    const int status =
        ryn::findPath(registry, *record, mode, {.cell = cell, .view = view, .file = file}, found);
    if (status != RYN_OK) {
        return status;
    }
    return vek::copyToBuffer(found.view(), path, size) ? RYN_OK : RYN_BUFFER_TOO_SMALL;
}
