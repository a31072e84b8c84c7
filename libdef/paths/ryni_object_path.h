#ifndef RYNI_OBJECT_PATH_H
#define RYNI_OBJECT_PATH_H

/// Paths of design objects: library directory, cell, view and file.

#include "common/text/fixed_text.h"
#include "libdef/paths/ryni_object_names.h"
#include "libdef/ryn.h"

VEK_BEGIN_DECLS

/// ryn::makeObjectPath() with a C buffer.
///
/// @param cell, view, file  null or empty if not given
/// @param out               VEK_PATH_SIZE bytes; unchanged after a failure
int ryni_mkpath(const char *libraryPath, const char *cell, const char *view, const char *file, char *out);

VEK_END_DECLS

namespace ryn {

/// @return true if the path of the object has its documented maximum length or less: 4092 characters without separators
[[nodiscard]] bool objectPathFits(const char *libraryDirectory, const ObjectNames &names);

/// Joins a library directory and the names that are given with "/".
///
/// @param libraryDirectory  null is an invalid path
/// @param path              receives the path; empty after a failure
/// @return RYN_OK, or RYN_INVALID_PATH for a view without a cell or a path that is too long
int makeObjectPath(const char *libraryDirectory, const ObjectNames &names, vek::PathText &path);

} // namespace ryn

#endif
