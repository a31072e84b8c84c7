#ifndef RYNI_ACCESS_H
#define RYNI_ACCESS_H

/// Access checks of libraries and design objects, and the directories that a write creates.

#include "common/text/fixed_text.h"
#include "libdef/paths/ryni_object_names.h"
#include "libdef/ryn.h"

VEK_BEGIN_DECLS

/// ryn::makeDirectory() with a number for the level.
///
/// @param level  0 library, 1 cell, 2 view. Documented: for any other level a denied permission gives RYN_OK
int ryniMkdir(const rynRegistry *registry, const char *path, int level);

/// ryn::accessPath() with C arguments.
///
/// @param resultPath        null, or VEK_PATH_SIZE bytes; unchanged after a failure
/// @param accessKind        0 read, 1 write, 6 replace; any other one is RYN_INTERNAL_ERROR, reported
int ryni_access_path(const rynRegistry *registry, char *resultPath, int accessKind,
                     const char *libraryDirectory, const char *cell, const char *view, const char *file);

VEK_END_DECLS

namespace ryn {

/// What an access check is for.
enum class AccessKind {
    Read = 0,
    Write = 1,  ///< creates missing cell and view directories
    Replace = 6 ///< the object exists and can be replaced by another one
};

/// What a directory holds.
enum class DirectoryLevel { Library = 0, Cell = 1, View = 2 };

/// Creates a directory if it does not exist, sets the registry's permissions, if it has any, and tests write access.
/// @return RYN_OK, RYN_PERMISSION_DENIED_LIBRARY, ..._CELL or ..._VIEW by the level, or RYN_SYSTEM_ERROR
int makeDirectory(const rynRegistry *registry, const char *path, DirectoryLevel level);

/// Forms the path of a design object and checks whether the access is possible.
///
/// @param libraryDirectory  null is RYN_INTERNAL_ERROR, reported
/// @param path              receives the path, also after a failed check
/// @return RYN_OK, a code of makeObjectPath(), or the code for the object, or the level above it, that failed
int accessPath(const rynRegistry *registry, AccessKind kind, const char *libraryDirectory,
               const ObjectNames &names, vek::PathText &path);

} // namespace ryn

#endif
