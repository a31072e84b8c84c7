#ifndef RYNI_ACCESS_H
#define RYNI_ACCESS_H

/// Tests whether a library or design object can be read, written or replaced. The test for writing creates missing cell
/// and view directories.

#include "common/text/fixed_text.h"
#include "libdef/paths/ryni_object_names.h"
#include "libdef/ryn.h"

VEK_BEGIN_DECLS

/// Creates a directory like ryn::makeDirectory(), but receives the level as a number.
///
/// @param level  0 library, 1 cell, 2 view. Documented: for any other level, the result is RYN_OK even if write access
///               to the directory is denied
int ryniMkdir(const rynRegistry *registry, const char *path, int level);

/// Forms and tests the path of a design object like ryn::accessPath(), with C arguments.
///
/// @param resultPath        receives the path in VEK_PATH_SIZE bytes; unchanged after a failure; may be null
/// @param accessKind        0 read, 1 write, 6 replace, the values of ryn::AccessKind; for any other number, reports
///                          and returns RYN_INTERNAL_ERROR
int ryni_access_path(const rynRegistry *registry, char *resultPath, int accessKind,
                     const char *libraryDirectory, const char *cell, const char *view, const char *file);

VEK_END_DECLS

namespace ryn {

/// The kind of access that is tested.
enum class AccessKind {
    Read = 0,
    Write = 1,  ///< the object can be written; creates missing cell and view directories
    Replace = 6 ///< the object exists, and the directory that contains it can be written
};

/// What a directory is: that of a library, cell or view.
enum class DirectoryLevel { Library = 0, Cell = 1, View = 2 };

/// Creates a directory if it does not exist, and tests whether it can be written. If the registry has a umask
/// (RYN_FLAG_UMASK_SET), sets the permissions of the directory by that, also if the directory existed.
/// @return RYN_OK; RYN_PERMISSION_DENIED_LIBRARY, ..._CELL or ..._VIEW for the level, if write access is denied;
///         otherwise RYN_SYSTEM_ERROR
int makeDirectory(const rynRegistry *registry, const char *path, DirectoryLevel level);

/// Forms the path of a design object and tests whether the access is possible.
///
/// @param libraryDirectory  if null, reports and returns RYN_INTERNAL_ERROR
/// @param path              receives the path, also if the test fails
/// @return RYN_OK; the error of makeObjectPath(); or the error of the outermost level (library, cell, view, file) for
///         which the test fails
int accessPath(const rynRegistry *registry, AccessKind kind, const char *libraryDirectory,
               const ObjectNames &names, vek::PathText &path);

} // namespace ryn

#endif
