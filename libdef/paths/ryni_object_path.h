#ifndef RYNI_OBJECT_PATH_H
#define RYNI_OBJECT_PATH_H

/// Paths of design objects: LIBRARY/CELL/VIEW/FILE, where LIBRARY is the path of the library directory. Names that an
/// object does not have are omitted.

#include "common/text/fixed_text.h"
#include "libdef/paths/ryni_object_names.h"
#include "libdef/ryn.h"

VEK_BEGIN_DECLS

/// Calls ryn::makeObjectPath() to form the path LIBRARY/CELL/VIEW/FILE, and stores the path in a C buffer.
///
/// @param libraryPath       the path of the library directory
/// @param cell, view, file  names in the library; null or empty if they are not given
/// @param out               a buffer of VEK_PATH_SIZE bytes; receives the path; unchanged after a failure
/// @return RYN_OK or RYN_INVALID_PATH
int ryni_mkpath(const char *libraryPath, const char *cell, const char *view, const char *file, char *out);

VEK_END_DECLS

namespace ryn {

/// Tests whether the path LIBRARY/CELL/VIEW/FILE fits into VEK_PATH_SIZE (4096) bytes. Documented: three "/" and the
/// NUL are always counted, even if a name is not given. Therefore the library directory and the names may have at most
/// 4092 characters together.
[[nodiscard]] bool objectPathFits(const char *libraryDirectory, const ObjectNames &names);

/// Forms the path LIBRARY/CELL/VIEW/FILE from the library directory and the names that are given.
///
/// @param libraryDirectory  if it is null, the result is RYN_INVALID_PATH
/// @param path              receives the path; empty after a failure
/// @return RYN_OK; RYN_INVALID_PATH if a view is given without a cell, or if objectPathFits() returns false
int makeObjectPath(const char *libraryDirectory, const ObjectNames &names, vek::PathText &path);

} // namespace ryn

#endif
