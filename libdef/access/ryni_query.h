#ifndef RYNI_QUERY_H
#define RYNI_QUERY_H

#include "libdef/paths/ryni_object_names.h"
#include "libdef/registry/ryni_registry.h"

namespace ryn {

/// Tests whether a library, cell, view or file exists and can be accessed, like rynQuery(), but receives the library
/// itself instead of its name.
///
/// @param flags  RYN_QUERY_... values, combined by OR
/// @param names  the names of the cell, view and file; none for the library itself
/// @return the result of rynQuery()
int queryObject(rynRegistry *registry, rynLibrary &library, unsigned flags, const ObjectNames &names);

} // namespace ryn

#endif
