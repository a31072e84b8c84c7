#ifndef RYNI_ACCESS_H
#define RYNI_ACCESS_H

/// Tests whether a library, cell, view or file can be read, written or replaced. A cell is a directory in a library,
/// and a view is a directory in a cell. The test for writing also creates missing cell and view directories.

#include "common/text/fixed_text.h"
#include "libdef/paths/ryni_object_names.h"
#include "libdef/ryn.h"

VEK_BEGIN_DECLS

/// Creates a directory like ryn::makeDirectory(), but receives the level as a number.
///
/// @param level  0 library, 1 cell, 2 view; selects the error code. Documented: for any other number, the result is
///               RYN_OK even if the permission to write to the directory is denied
int ryniMkdir(const rynRegistry *registry, const char *path, int level);

/// Calls ryn::accessPath() to form the path LIBRARY/CELL/VIEW/FILE and to test the access to it.
///
/// @param resultPath        a buffer of VEK_PATH_SIZE bytes; receives the path; unchanged after a failure; may be null
/// @param accessKind        a value of ryn::AccessKind: 0 read, 1 write, 6 replace. For any other number,
///                          RYN_INTERNAL_ERROR is reported to the fatal handler and returned
/// @param cell, view, file  names in the library; null or empty if they are not given
/// @return the result of ryn::accessPath()
int ryni_access_path(const rynRegistry *registry, char *resultPath, int accessKind,
                     const char *libraryDirectory, const char *cell, const char *view, const char *file);

VEK_END_DECLS

namespace ryn {

/// The kind of access to a library, cell, view or file that is tested.
enum class AccessKind {
    Read = 0,
    Write = 1,  ///< the object can be written; creates missing cell and view directories
    Replace = 6 ///< the object exists, and the directory that contains it can be written
};

/// The level of a directory: the directory of a library, of a cell or of a view.
enum class DirectoryLevel { Library = 0, Cell = 1, View = 2 };

/// Creates the directory `path` if it does not exist, and tests whether it can be written. If the registry has a umask
/// (RYN_FLAG_UMASK_SET), sets the permissions to 0777 without the bits of the umask, even if the directory already
/// existed.
/// @return RYN_OK; if write access is denied, RYN_PERMISSION_DENIED_LIBRARY, ..._CELL or ..._VIEW, depending on
///         `level`; otherwise RYN_SYSTEM_ERROR
int makeDirectory(const rynRegistry *registry, const char *path, DirectoryLevel level);

/// Forms the path of a library, cell, view or file and tests the access to it.
///
/// @param kind              the kind of access: read, write or replace
/// @param libraryDirectory  if it is null, RYN_INTERNAL_ERROR is reported to the fatal handler and returned
/// @param names             the names of the cell, view and file; none for the library itself
/// @param path              receives the path, even if the test fails
/// @return RYN_OK; the error of makeObjectPath(); or the error of the outermost level (library, cell, view, file) that
///         fails the test
int accessPath(const rynRegistry *registry, AccessKind kind, const char *libraryDirectory,
               const ObjectNames &names, vek::PathText &path);

} // namespace ryn

#endif
