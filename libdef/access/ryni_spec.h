#ifndef RYNI_SPEC_H
#define RYNI_SPEC_H

/// Creates specifiers for libraries, cells, views and files. A specifier (vekFSSpec) is a path with the functions that
/// access it.

#include "fs/owned_spec.h"
#include "libdef/paths/ryni_object_names.h"
#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// Creates a specifier like rynGetSpec(), but uses only the library's own directory or archive, not its temporary
/// directories. Does not test whether the object exists.
/// @param handle  the registry; if it is null, the result is RYN_INVALID_PARAMETER
int ryni_mkspec(rynHandle handle, const char *library, const char *cell, const char *view, const char *file,
                vekFSSpec *parent, vekFSSpec **spec);

VEK_END_DECLS

namespace ryn {

/// How a specifier opens files of the file system: Native with open(), Stdio as buffered stdio streams.
enum class SpecKind { Native, Stdio };

/// Creates a specifier for a cell, view or file in the library's own directory or archive. Does not test whether the
/// object exists.
/// The specifier accesses the file system or archive directly. It is the inner specifier of the "rynFS" specifier that
/// rynGetSpec() returns.
/// @param spec  receives the specifier
/// @return RYN_OK or an error code
int makeSpec(const rynRegistry *registry, rynLibrary &library, const ObjectNames &names,
             vek::OwnedSpec &spec);

/// Finds a cell, view or file of `library` like rynGetSpec(), and creates a specifier for it. The specifier accesses
/// the file system or archive directly. It is the inner specifier of the "rynFS" specifier that rynGetSpec() returns.
/// @param mode  a RYN_PATH_... value, which selects the directories to search and the access to test
/// @param spec  receives the specifier
/// @return RYN_OK or an error code
int findSpec(const rynRegistry *registry, rynLibrary &library, unsigned mode, const ObjectNames &names,
             SpecKind kind, vek::OwnedSpec &spec);

} // namespace ryn

#endif
