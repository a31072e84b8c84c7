#ifndef RYNI_GET_PATH_H
#define RYNI_GET_PATH_H

#include "common/text/fixed_text.h"
#include "libdef/paths/ryni_object_names.h"
#include "libdef/registry/ryni_registry.h"

namespace ryn {

/// Finds the path of a design object like rynGetPath(), for the record of a library instead of its name.
///
/// @param mode  a RYN_PATH_... value
/// @param path  receives the path; empty after a failure
/// @return as for rynGetPath()
int findPath(const rynRegistry *registry, const rynLibrary &library, unsigned mode, const ObjectNames &names,
             vek::PathText &path);

} // namespace ryn

#endif
