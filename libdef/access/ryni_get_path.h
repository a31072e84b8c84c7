#ifndef RYNI_GET_PATH_H
#define RYNI_GET_PATH_H

#include "common/text/fixed_text.h"
#include "libdef/paths/ryni_object_names.h"
#include "libdef/registry/ryni_registry.h"

namespace ryn {

/// rynGetPath() of a library that has been looked up already.
///
/// @param mode  RYN_PATH_...
/// @param path  receives the path; empty after a failure
int findPath(const rynRegistry *registry, const rynLibrary &library, unsigned mode, const ObjectNames &names,
             vek::PathText &path);

} // namespace ryn

#endif
