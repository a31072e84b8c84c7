#ifndef RYNI_PACKED_H
#define RYNI_PACKED_H

/// Packed libraries: libraries whose directory tree is stored in one archive file. These functions open archives and
/// create specifiers (vekFSSpec) for objects in them.

#include "common/text/fixed_text.h"
#include "fs/owned_spec.h"
#include "libdef/paths/ryni_object_names.h"
#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// Tests whether a library is packed, that is, stored in an archive file.
/// @param handle   the registry; null for the default registry
/// @param library  the name of the library
/// @return 1 if the library is defined and has an archive, otherwise 0
int ryniZipExists(rynHandle handle, const char *library);

VEK_END_DECLS

namespace ryn {

/// Tests whether specifiers for objects of `library` refer to its archive.
/// @return true if `library` has an archive and the flag RYN_FLAG_PACKED_LIBRARIES of the registry is set
[[nodiscard]] bool isPacked(const rynRegistry &registry, const rynLibrary &library);

/// Forms the path of a library, cell, view or file inside the archive of its library: DIRECTORY/CELL/VIEW/FILE, where
/// DIRECTORY is the last component of the library directory.
///
/// @param path    receives the path; empty if the path is too long
/// @param needed  receives the size of the path in bytes, including the NUL; may be null
/// @return RYN_OK; RYN_BUFFER_TOO_SMALL if the path is too long
int makePathInArchive(const rynLibrary &library, const ObjectNames &names, vek::PathText &path,
                      std::size_t *needed = nullptr);

/// Opens the archive of `library`, unless the archive is already open. If that fails, removes the archive from
/// `library`, which is then no longer packed.
/// @return the archive, which `library` owns; null after a failure
vekZip *openArchive(rynLibrary &library);

/// Creates a specifier (vekFSSpec) for a cell, view or file in the archive of `library`. The archive must be open.
/// @param spec  receives the specifier
/// @return RYN_OK, RYN_BUFFER_TOO_SMALL or RYN_MEMORY_ERROR
int makeSpecInArchive(const rynLibrary &library, const ObjectNames &names, vek::OwnedSpec &spec);

/// Creates a specifier like makeSpecInArchive(). If the path-existence setting (rynSetPathNoneExistWarnFlag()) is on,
/// also tests that the object exists in the archive.
/// @return a result of makeSpecInArchive(), or the error of the outermost level (library, cell, view, file) that does
///         not exist or whose stat record cannot be read
int findSpecInArchive(const rynRegistry *registry, const rynLibrary &library, const ObjectNames &names,
                      vek::OwnedSpec &spec);

} // namespace ryn

#endif
