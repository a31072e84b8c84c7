#ifndef RYNI_OBJECT_PATH_H
#define RYNI_OBJECT_PATH_H

/// Paths of design objects: the library directory and the names of the cell, view and file, joined with "/".

#include "common/text/fixed_text.h"
#include "libdef/paths/ryni_object_names.h"
#include "libdef/ryn.h"

VEK_BEGIN_DECLS

/// Forms the path of a design object like ryn::makeObjectPath(), and stores it in a C buffer.
///
/// @param libraryPath       the library directory
///
/// @param cell, view, file  null or empty if not given
/// @param out               VEK_PATH_SIZE bytes; unchanged after a failure
int ryni_mkpath(const char *libraryPath, const char *cell, const char *view, const char *file, char *out);

VEK_END_DECLS

namespace ryn {

/// @return true if the path is not too long. Documented: library directory and names may have 4092 characters together,
///         because three separators and the NUL are always counted
[[nodiscard]] bool objectPathFits(const char *libraryDirectory, const ObjectNames &names);

/// Joins a library directory and the names that are given with "/".
///
/// @param libraryDirectory  if null, the result is RYN_INVALID_PATH
/// @param path              receives the path; empty after a failure
/// @return RYN_OK, or RYN_INVALID_PATH for a view without a cell or a path that is too long
int makeObjectPath(const char *libraryDirectory, const ObjectNames &names, vek::PathText &path);

} // namespace ryn

#endif
