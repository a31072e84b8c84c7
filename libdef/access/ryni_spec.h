#ifndef RYNI_SPEC_H
#define RYNI_SPEC_H

/// Specifiers of design objects, and packed libraries.

#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// rynGetSpec() without a query: the path is built from the library's own directory, or lies in its archive.
int ryni_mkspec(rynHandle handle, const char *library, const char *cell, const char *view, const char *file,
                vekFSSpec *parent, vekFSSpec **spec);

/// @return 1 when the library is known and has an archive, else 0
int ryniZipExists(rynHandle handle, const char *library);

/// Forms the path of a design object inside its library's archive.
///
/// @param buffer  receives it; the empty string when it does not fit
/// @param size    bytes of `buffer`, the NUL included
/// @param needed  null, or receives the bytes that the path needs
/// @return RYN_OK, RYN_BUFFER_TOO_SMALL, RYN_INVALID_PARAMETER or RYN_LIBRARY_NOT_DEFINED
int ryniPathInArchive(rynHandle handle, const char *library, const char *cell, const char *view,
                      const char *file, char *buffer, size_t size, size_t *needed);

VEK_END_DECLS

#endif
