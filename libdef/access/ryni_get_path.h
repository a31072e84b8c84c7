#ifndef RYNI_GET_PATH_H
#define RYNI_GET_PATH_H

#include "common/text/fixed_text.h"
#include "libdef/paths/ryni_object_names.h"
#include "libdef/registry/ryni_registry.h"

namespace ryn {

/// Finds the path of a library, cell, view or file like rynGetPath(), but receives the library itself instead of its
/// name.
///
/// @param mode   a RYN_PATH_... value, which selects the directories to search and the access to test
/// @param names  the names of the cell, view and file; none for the library itself
/// @param path   receives the path; empty after a failure
/// @return the result of rynGetPath()
int findPath(const rynRegistry *registry, const rynLibrary &library, unsigned mode, const ObjectNames &names,
             vek::PathText &path);

} // namespace ryn

#endif
