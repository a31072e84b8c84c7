#ifndef RYNI_REGISTRY_H
#define RYNI_REGISTRY_H

/// Registries: their creation, and their lists of libraries and files.

#include "libdef/registry/ryni_records.h"

#include <string_view>

VEK_BEGIN_DECLS

/// @return the library of that name under the lookup case setting, or null
rynLibrary *ryni_get_libp(rynRegistry *registry, const char *name);

/// Appends `library` to the definition order, prepends it to its bucket and counts its directories.
/// @return RYN_OK; RYN_MEMORY_ERROR, and the registry is unchanged
int sInsert_lib(rynRegistry *registry, rynLibrary *library);

/// @return 1 if paths must exist: for `registry`, or by default if it is null; otherwise 0
int ryniCheckPathNoneExistWarnFlag(const rynRegistry *registry);

VEK_END_DECLS

namespace ryn {

/// @return an empty registry; null if memory is exhausted
rynRegistry *newRegistry();

/// Frees a registry and everything it owns. Null is allowed.
void freeRegistry(rynRegistry *registry);

// ---- libraries

/// @return a library record that contains only a copy of its name; null if memory is exhausted
rynLibrary *newLibrary(const char *name);

/// Frees a library record that is in no registry.
void freeLibrary(rynLibrary *library);

/// Replaces the name of `library` by the same name with other upper and lower case letters.
void respell(rynRegistry &registry, rynLibrary &library, std::string_view name);

/// Moves `library` to the end of the definition order. @return false if it is not in that order
bool moveToEnd(rynRegistry &registry, rynLibrary &library);

/// Removes `library` from its bucket, the definition order and the indexes, without freeing it.
/// @return false if it was not in the definition order
bool removeLibrary(rynRegistry &registry, rynLibrary &library);

/// Whether the library has an explicit temporary directory that comes from the global temporary root.
inline bool hasGlobalTmp(const rynLibrary &library) {
    return (library.flags & kTmpFromGlobal) != 0 && library.explicitTmp != nullptr;
}

/// Sets or clears the flag kTmpFromGlobal.
void setTmpFromGlobal(rynRegistry &registry, rynLibrary &library, bool isFromGlobal);

/// Sets the explicit temporary directory, or removes it if both paths are null. Updates the directory index.
/// @return RYN_OK; RYN_MEMORY_ERROR, and the directory is unchanged
int setExplicitTmp(rynRegistry &registry, rynLibrary &library, const char *full, const char *nsl);

/// Sets the location of the definition and appends it to the history.
/// @return RYN_OK; RYN_MEMORY_ERROR, and the history is unchanged
int recordDefinition(rynLibrary &library, rynIncludedFile *file, int line);

// ---- files

/// Appends the record of a file that is read.
///
/// @param context  receives the context of the fatal report if memory is exhausted
/// @return the record, or null
rynIncludedFile *addFile(rynRegistry &registry, const char *path, const char *nslPath, const char *&context);

/// @return the first file that was read under that nsl path, or null
const rynIncludedFile *findFile(rynRegistry &registry, const char *nslPath);

} // namespace ryn

#endif
