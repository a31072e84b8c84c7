#ifndef RYNI_SPEC_H
#define RYNI_SPEC_H

/// File-system specifiers of design objects.

#include "fs/owned_spec.h"
#include "libdef/paths/ryni_object_names.h"
#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// rynGetSpec() without a search: the path is that of the library's own directory or archive, and is not tested.
/// @param handle  null is RYN_INVALID_PARAMETER
int ryni_mkspec(rynHandle handle, const char *library, const char *cell, const char *view, const char *file,
                vekFSSpec *parent, vekFSSpec **spec);

VEK_END_DECLS

namespace ryn {

/// How a specifier opens files outside archives.
enum class SpecKind { Native, Stdio };

/// ryni_mkspec() of a library that has been looked up already. The specifier is not wrapped: it is the one that a
/// "rynFS" specifier would forward to.
int makeSpec(const rynRegistry *registry, rynLibrary &library, const ObjectNames &names,
             vek::OwnedSpec &spec);

/// rynGetSpec() of a library that has been looked up already, also not wrapped.
/// @param mode  RYN_PATH_...
int findSpec(const rynRegistry *registry, rynLibrary &library, unsigned mode, const ObjectNames &names,
             SpecKind kind, vek::OwnedSpec &spec);

} // namespace ryn

#endif
