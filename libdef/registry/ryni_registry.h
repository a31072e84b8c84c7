#ifndef RYNI_REGISTRY_H
#define RYNI_REGISTRY_H

/// Creates and frees registries. Inserts, finds, moves and removes their libraries. Appends and finds their file
/// records.

#include "libdef/registry/ryni_records.h"

#include <string_view>

VEK_BEGIN_DECLS

/// @return the library `name`; if several match, the one inserted last; null if there is none. The lookup case
///         setting (ryn::ignoresCase()) determines whether case is ignored
rynLibrary *ryni_get_libp(rynRegistry *registry, const char *name);

/// Inserts `library`: at the end of the definition order, at the start of its bucket, and into the indexes of names
/// and directories.
/// @return RYN_OK; RYN_MEMORY_ERROR if memory is exhausted; the registry is unchanged then
int sInsert_lib(rynRegistry *registry, rynLibrary *library);

/// @return 1 if paths must exist, otherwise 0. This is the own path-existence setting of `registry`; if `registry` is
///         null or has none, it is the setting of the process
int ryniCheckPathNoneExistWarnFlag(const rynRegistry *registry);

VEK_END_DECLS

namespace ryn {

/// @return an empty registry; null if memory is exhausted
rynRegistry *newRegistry();

/// Frees `registry` and everything it owns. Does nothing if it is null.
void freeRegistry(rynRegistry *registry);

// ---- libraries

/// Allocates a library record with a copy of `name`; all other fields are zero.
/// @return null if memory is exhausted
rynLibrary *newLibrary(const char *name);

/// Frees a library record and its attributes. It must not be in a registry.
void freeLibrary(rynLibrary *library);

/// Replaces the name of `library` by `name`, which differs only in the case of letters.
void respell(rynRegistry &registry, rynLibrary &library, std::string_view name);

/// Moves `library` to the end of the definition order.
/// @return false if it was not in that order; nothing is changed then
bool moveToEnd(rynRegistry &registry, rynLibrary &library);

/// Removes `library` from its bucket, the definition order and the indexes, but does not free it.
/// @return false if it was not in the definition order
bool removeLibrary(rynRegistry &registry, rynLibrary &library);

/// Returns whether `library` has an explicit temporary directory and it comes from the global temporary root.
inline bool hasGlobalTmp(const rynLibrary &library) {
    return (library.flags & kTmpFromGlobal) != 0 && library.explicitTmp != nullptr;
}

/// Sets or clears the flag kTmpFromGlobal of `library` and updates rynRegistry::globalTmpCount.
void setTmpFromGlobal(rynRegistry &registry, rynLibrary &library, bool isFromGlobal);

/// Sets the explicit temporary directory of `library` to the full path `full` and the nsl path `nsl`, or removes it
/// if both are null. Updates the directory index.
/// @return RYN_OK; RYN_MEMORY_ERROR if memory is exhausted; the directory is unchanged then
int setExplicitTmp(rynRegistry &registry, rynLibrary &library, const char *full, const char *nsl);

/// Sets the location of the newest definition of `library` to `file` and `line`, and appends it to the history.
/// @return RYN_OK; RYN_MEMORY_ERROR if memory is exhausted; the history is unchanged then, but the location is set
int recordDefinition(rynLibrary &library, rynIncludedFile *file, int line);

// ---- files

/// Appends a record of the library definition file `path` to the list of files.
///
/// @param nslPath  the nsl path of the file, by which findFile() finds it
/// @param context  receives the context for ryni_do_fatal() if memory is exhausted
/// @return the record; null if memory is exhausted
rynIncludedFile *addFile(rynRegistry &registry, const char *path, const char *nslPath, const char *&context);

/// @return the record of the file with the nsl path `nslPath`, the first one if the file was read several times; null
///         if there is none
const rynIncludedFile *findFile(rynRegistry &registry, const char *nslPath);

} // namespace ryn

#endif
