#ifndef RYNI_SPEC_H
#define RYNI_SPEC_H

/// Creates file-system specifiers (vekFSSpec) for design objects.

#include "fs/owned_spec.h"
#include "libdef/paths/ryni_object_names.h"
#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// Creates a specifier like rynGetSpec(), but always in the library's own directory or archive, and without testing
/// whether the object exists.
/// @param handle  if null, the result is RYN_INVALID_PARAMETER
int ryni_mkspec(rynHandle handle, const char *library, const char *cell, const char *view, const char *file,
                vekFSSpec *parent, vekFSSpec **spec);

VEK_END_DECLS

namespace ryn {

/// How a specifier opens files that are not in an archive: with system calls, or as stdio streams.
enum class SpecKind { Native, Stdio };

/// Creates a specifier for an object of `library`, in the library's own directory or archive. Does not test whether the
/// object exists. The specifier is a native or archive specifier, not a "rynFS" specifier, which would forward to it.
/// @return RYN_OK or an error code
int makeSpec(const rynRegistry *registry, rynLibrary &library, const ObjectNames &names,
             vek::OwnedSpec &spec);

/// Finds an object of `library` like rynGetSpec() and creates a specifier for it: a native, stdio or archive specifier,
/// not a "rynFS" specifier.
/// @param mode  a RYN_PATH_... value
/// @return RYN_OK or an error code
int findSpec(const rynRegistry *registry, rynLibrary &library, unsigned mode, const ObjectNames &names,
             SpecKind kind, vek::OwnedSpec &spec);

} // namespace ryn

#endif
