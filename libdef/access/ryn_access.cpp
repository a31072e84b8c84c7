// Implements access tests of design objects. A design object is a library (a directory), a cell (a directory in a
// library), a view (a directory in a cell), or a file in one of these directories.
// If the test of an object fails, the directory that contains the object is tested in the same way, recursively. The
// result is the error of the outermost object that fails.
// The test for writing also creates missing cell and view directories, the outermost first.

#include "libdef/access/ryni_access.h"

#include "libdef/paths/ryni_object_path.h"
#include "libdef/paths/ryni_path_buffer.h"
#include "libdef/paths/ryni_quick_access.h"
#include "libdef/paths/ryni_stat_cache.h"
#include "libdef/registry/ryni_error.h"
#include "libdef/registry/ryni_registry.h"
#include "libdef/registry/ryni_settings.h"

#include <array>
#include <cerrno>
#include <string_view>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace {

using ryn::AccessKind;
using ryn::DirectoryLevel;
using ryn::isGiven;
using ryn::ObjectNames;

constexpr const char *kContext = "ryni_access_path()"; ///< function name in reports of internal errors

/// The arguments of one access test of a library, cell, view or file.
struct Request {
    const rynRegistry *registry;
    AccessKind kind;
    const char *libraryDirectory;
    ObjectNames names;
    const char *path; ///< the path of the object
};

/// Tests the access to the object that contains the requested one, for example to the view that contains a file.
/// @return the result of that test; RYN_OK if the requested object is a library, which no object contains
int accessLevelAbove(const Request &request) {
    if (!request.names.hasLevelAbove()) {
        return RYN_OK;
    }
    vek::PathText path;
    return ryn::accessPath(request.registry, request.kind, request.libraryDirectory,
                           request.names.levelAbove(), path);
}

int checkRead(const Request &request) {
    if (ryniCheckPathNoneExistWarnFlag(request.registry) == 0) {
        return RYN_OK;
    }
    const int error = ryn::testAccess(request.registry, request.path, R_OK);
    if (error == 0) {
        return RYN_OK;
    }
    const int above = accessLevelAbove(request);
    return above != RYN_OK ? above : request.names.codeOf(error);
}

int checkWrite(const Request &request) {
    int error = ryn::testAccess(request.registry, request.path, W_OK);
    if (error == 0) {
        return RYN_OK;
    }
    if (!request.names.hasLevelAbove()) {
        return request.names.codeOf(error);
    }
    const int above = accessLevelAbove(request);
    if (above != RYN_OK) {
        return above;
    }
    if (!isGiven(request.names.file)) {
        const DirectoryLevel level =
            isGiven(request.names.view) ? DirectoryLevel::View : DirectoryLevel::Cell;
        return ryn::makeDirectory(request.registry, request.path, level);
    }
    // Remove the cached result and test again, because accessLevelAbove() may have just created the directory of the
    // file. Accept ENOENT, because a missing file can be created in that directory.
    ryn::statCache.remove(request.path);
    error = ryn::testAccess(request.registry, request.path, W_OK);
    return error == 0 || error == ENOENT ? RYN_OK : request.names.codeOf(error);
}

/// Converts an errno value to a RYN_ code, after a write test of the directory that contains the object.
/// Documented: for EACCES, the code depends only on the last name given. For a file, it is RYN_PERMISSION_DENIED_VIEW,
/// even if the directory that contains the file is a cell or a library.
/// @param error  the errno value of the failed test
int codeOfDirectoryAbove(const ObjectNames &names, int error) {
    if (error != EACCES) {
        return RYN_SYSTEM_ERROR;
    }
    if (isGiven(names.file)) {
        return RYN_PERMISSION_DENIED_VIEW;
    }
    if (isGiven(names.view)) {
        return RYN_PERMISSION_DENIED_CELL;
    }
    return isGiven(names.cell) ? RYN_PERMISSION_DENIED_LIBRARY : RYN_PERMISSION_DENIED;
}

int checkReplace(const Request &request) {
    struct stat record; // NOLINT(cppcoreguidelines-pro-type-member-init): lstat() fills it
    if (lstat(request.path, &record) != 0) {
        const int error = errno;
        const int above = accessLevelAbove(request);
        if (above != RYN_OK) {
            return above;
        }
        return error == ENOENT ? request.names.notFoundCode() : RYN_SYSTEM_ERROR;
    }
    const std::string_view path(request.path);
    const std::size_t slash = path.rfind('/');
    if (slash == std::string_view::npos) {
        return ryni_do_fatal(request.registry, RYN_INTERNAL_ERROR, kContext);
    }
    vek::PathText directory;
    directory.appendCut(slash == 0 ? "/" : std::string_view(path.data(), slash));
    const int error = ryn::testAccess(request.registry, directory.c_str(), W_OK);
    return error == 0 ? RYN_OK : codeOfDirectoryAbove(request.names, error);
}

int check(const Request &request) {
    switch (request.kind) {
    case AccessKind::Read:
        return checkRead(request);
    case AccessKind::Write:
        return checkWrite(request);
    case AccessKind::Replace:
        break;
    }
    return checkReplace(request);
}

bool isAccessKind(int number) {
    switch (static_cast<AccessKind>(number)) {
    case AccessKind::Read:
    case AccessKind::Write:
    case AccessKind::Replace:
        return true;
    }
    return false;
}

/// Creates the directory `path`, sets its permissions, and tests whether it can be written. Ignores failures of mkdir()
/// and chmod(), because the directory may already exist and another user may own it.
/// @return 0 if the directory can be written, otherwise an errno value
int createDirectory(const rynRegistry *registry, const char *path) {
    static_cast<void>(mkdir(path, 0777));
    if (registry != nullptr && (registry->flags & RYN_FLAG_UMASK_SET) != 0) {
        static_cast<void>(chmod(path, static_cast<mode_t>(0777U & ~registry->umask)));
    }
    if (ryn::statCache.isOn()) {
        ryn::statCache.remove(path);
    }
    return ryn::testAccess(registry, path, W_OK);
}

/// The error codes for a directory that cannot be written, indexed by DirectoryLevel.
constexpr std::array<int, 3> kDeniedAtLevel = {RYN_PERMISSION_DENIED_LIBRARY, RYN_PERMISSION_DENIED_CELL,
                                               RYN_PERMISSION_DENIED_VIEW};

} // namespace

int ryn::makeDirectory(const rynRegistry *registry, const char *path, DirectoryLevel level) {
    return ryniMkdir(registry, path, static_cast<int>(level));
}

int ryniMkdir(const rynRegistry *registry, const char *path, int level) {
    if (path == nullptr) {
        return ryni_do_fatal(registry, RYN_INTERNAL_ERROR, "ryniMkdir()");
    }
    switch (createDirectory(registry, path)) {
    case 0:
        return RYN_OK;
    case EACCES:
        break;
    default:
        return RYN_SYSTEM_ERROR;
    }
    const auto index = static_cast<unsigned>(level);
    return index < kDeniedAtLevel.size() ? kDeniedAtLevel[index] : RYN_OK;
}

int ryn::accessPath(const rynRegistry *registry, AccessKind kind, const char *libraryDirectory,
                    const ObjectNames &names, vek::PathText &path) {
    if (libraryDirectory == nullptr) {
        return ryni_do_fatal(registry, RYN_INTERNAL_ERROR, kContext);
    }
    const int status = makeObjectPath(libraryDirectory, names, path);
    return status != RYN_OK ? status : check({registry, kind, libraryDirectory, names, path.c_str()});
}

int ryni_access_path(const rynRegistry *registry, char *resultPath, int accessKind,
                     const char *libraryDirectory, const char *cell, const char *view, const char *file) {
    if (!isAccessKind(accessKind)) {
        return ryni_do_fatal(registry, RYN_INTERNAL_ERROR, kContext);
    }
    vek::PathText path;
    const int status = ryn::accessPath(registry, static_cast<AccessKind>(accessKind), libraryDirectory,
                                       {.cell = cell, .view = view, .file = file}, path);
    if (status == RYN_OK) {
        ryn::storeCut(path.view(), resultPath);
    }
    return status;
}
