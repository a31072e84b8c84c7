#ifndef RYNI_PACKED_H
#define RYNI_PACKED_H

/// Packed libraries: libraries whose directory tree is stored in an archive file.

#include "common/text/fixed_text.h"
#include "fs/owned_spec.h"
#include "libdef/paths/ryni_object_names.h"
#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// Tests whether a library has an archive.
/// @param handle   the registry; null for the default registry
/// @param library  the name of the library
/// @return 1 if the library is defined and has an archive, otherwise 0
int ryniZipExists(rynHandle handle, const char *library);

VEK_END_DECLS

namespace ryn {

/// @return true if `library` has an archive and the registry's flag RYN_FLAG_PACKED_LIBRARIES is set: specifiers of its
///         objects then refer to the archive
[[nodiscard]] bool isPacked(const rynRegistry &registry, const rynLibrary &library);

/// Forms the path of a design object inside the archive of its library. It begins with the last component of the
/// library directory, followed by the names.
///
/// @param path    receives the path; empty if it does not fit
/// @param needed  receives the size of the path in bytes, including the NUL; may be null
/// @return RYN_OK or RYN_BUFFER_TOO_SMALL
int makePathInArchive(const rynLibrary &library, const ObjectNames &names, vek::PathText &path,
                      std::size_t *needed = nullptr);

/// Opens the archive of `library` if it is not open. If that fails, removes the archive from the record of the library,
/// which is then not packed any more.
/// @return the archive, owned by the library; null after a failure
vekZip *openArchive(rynLibrary &library);

/// Creates a specifier for an object in the archive of `library`, which must be open.
/// @return RYN_OK, RYN_BUFFER_TOO_SMALL or RYN_MEMORY_ERROR
int makeSpecInArchive(const rynLibrary &library, const ObjectNames &names, vek::OwnedSpec &spec);

/// Creates a specifier like makeSpecInArchive(). If the path-existence setting is on, tests that the object exists.
/// @return a result of makeSpecInArchive(), or the error of the outermost level (library, cell, view, file) that does
///         not exist or cannot be examined
int findSpecInArchive(const rynRegistry *registry, const rynLibrary &library, const ObjectNames &names,
                      vek::OwnedSpec &spec);

} // namespace ryn

#endif
