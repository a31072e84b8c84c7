#ifndef RYNI_PACKED_H
#define RYNI_PACKED_H

/// Packed libraries: libraries whose directory tree is stored in an archive file.

#include "common/text/fixed_text.h"
#include "fs/owned_spec.h"
#include "libdef/paths/ryni_object_names.h"
#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// @param handle  null means the default registry
/// @return 1 if the library is defined and has an archive, otherwise 0
int ryniZipExists(rynHandle handle, const char *library);

VEK_END_DECLS

namespace ryn {

/// @return true if the library is read from its archive: it has one, and the registry has RYN_FLAG_PACKED_LIBRARIES
[[nodiscard]] bool isPacked(const rynRegistry &registry, const rynLibrary &library);

/// Forms the path of a design object inside its library's archive.
///
/// @param path    receives the path; empty if it does not fit
/// @param needed  null, or receives the size of the path in bytes, including the NUL
/// @return RYN_OK or RYN_BUFFER_TOO_SMALL
int makePathInArchive(const rynLibrary &library, const ObjectNames &names, vek::PathText &path,
                      std::size_t *needed = nullptr);

/// Opens the archive if it is not open. A library whose archive cannot be opened is not packed any more.
/// @return the archive, owned by the library; null after a failure
vekZip *openArchive(rynLibrary &library);

/// Makes the specifier of an object in an open archive. @return RYN_OK, RYN_BUFFER_TOO_SMALL or RYN_MEMORY_ERROR
int makeSpecInArchive(const rynLibrary &library, const ObjectNames &names, vek::OwnedSpec &spec);

/// makeSpecInArchive() for an object that must exist if the path-existence setting is on.
/// @return also the code for the object, or the level above it, that does not exist
int findSpecInArchive(const rynRegistry *registry, const rynLibrary &library, const ObjectNames &names,
                      vek::OwnedSpec &spec);

} // namespace ryn

#endif
