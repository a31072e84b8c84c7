#ifndef RYNI_REGISTRY_H
#define RYNI_REGISTRY_H

/// A registry stores the libraries that library definition files define, and a record of each file. These functions
/// create and free registries; insert, find, move and remove libraries; and append and find file records.

#include "libdef/registry/ryni_records.h"

#include <string_view>

VEK_BEGIN_DECLS

/// Finds the library `name`. Case is ignored if ryn::ignoresCase() returns true.
/// @return the library; the one that was inserted last if several match; null if there is none
rynLibrary *ryni_get_libp(rynRegistry *registry, const char *name);

/// Inserts `library` into `registry`: at the end of the list in definition order, at the front of its hash bucket, and
/// into the indexes of names and directories.
/// @return RYN_OK, or RYN_MEMORY_ERROR if memory is exhausted; the registry is unchanged then
int sInsert_lib(rynRegistry *registry, rynLibrary *library);

/// Returns the path-existence setting: 1 if library directories must exist, otherwise 0. A registry with the flag
/// RYN_FLAG_OWN_EXISTENCE_CHECK has its own setting. If `registry` is null or does not have this flag, returns the
/// setting of the process, which rynSetPathNoneExistWarnFlag() sets.
int ryniCheckPathNoneExistWarnFlag(const rynRegistry *registry);

VEK_END_DECLS

namespace ryn {

/// @return a new registry without libraries and files; null if memory is exhausted
rynRegistry *newRegistry();

/// Frees `registry`, its libraries and all its other records. Does nothing if `registry` is null.
void freeRegistry(rynRegistry *registry);

// ---- libraries

/// Allocates a library from the memory pool of `registry`, with copies of `name` and `nslPath`. All other fields are 0
/// or null. The library is not inserted into the registry.
/// @return the library; null if memory is exhausted
rynLibrary *newLibrary(rynRegistry &registry, std::string_view name, std::string_view nslPath);

/// Frees `library`, its strings, its attributes and its definition history. The library must not be in the lists and
/// hash tables of `registry`, because they would still point to it.
/// @param library  from newLibrary(), or a record of a caller of sInsert_lib(): it and its strings were allocated with
///                 malloc(), and its internal fields are 0
void freeLibrary(rynRegistry &registry, rynLibrary &library);

/// Calls vek::HashIndex::prefetch() for the indexes that a definition of the library `name` in `directory` will search.
/// To be called before the system calls of the definition, so that the slots are loaded in the meantime.
void prefetchDefinition(const rynRegistry &registry, std::string_view name, std::string_view directory);

/// Sets the name of `library` to `name`, which must equal the old name except for the case of letters.
void respell(rynRegistry &registry, rynLibrary &library, std::string_view name);

/// Moves `library` to the end of the list of libraries in definition order.
/// @return false if `library` is not in that list; nothing is changed then
bool moveToEnd(rynRegistry &registry, rynLibrary &library);

/// Removes `library` from its hash bucket, from the list in definition order, and from the indexes. Does not free it.
/// @return false if `library` was not in the list in definition order; the other steps are still done
bool removeLibrary(rynRegistry &registry, rynLibrary &library);

/// Returns true if `library` has an explicit temporary directory that was set for all libraries, by the statement
/// ASSIGN AllLibs TmpRootDir. Returns false if the directory was set for this library only, or if there is none.
inline bool hasGlobalTmp(const rynLibrary &library) {
    return (library.flags & kTmpFromGlobal) != 0 && library.explicitTmp != nullptr;
}

/// Sets or clears the flag kTmpFromGlobal of `library`: its temporary directory was set for all libraries, by the
/// statement ASSIGN AllLibs TmpRootDir. Updates rynRegistry::globalTmpCount, the number of such libraries.
void setTmpFromGlobal(rynRegistry &registry, rynLibrary &library, bool isFromGlobal);

/// Sets the explicit temporary directory of `library`, or removes it if `full` and `nsl` are null. Updates the
/// directory index of `registry`.
/// @param full  the absolute path of the directory
/// @param nsl   the same path with all symbolic links resolved
/// @return RYN_OK, or RYN_MEMORY_ERROR if memory is exhausted; the directory is unchanged then
int setExplicitTmp(rynRegistry &registry, rynLibrary &library, const char *full, const char *nsl);

/// Stores `file` and `line` as the location of the newest definition of `library`. Appends the location to the list of
/// all definitions of the library.
/// @return RYN_OK, or RYN_MEMORY_ERROR if memory is exhausted; the location is then stored, but not appended
int recordDefinition(rynRegistry &registry, rynLibrary &library, rynIncludedFile *file, int line);

// ---- files

/// Appends a record of the library definition file `path` to the list of files that `registry` has read.
///
/// @param nslPath  the path with all symbolic links resolved; findFile() compares this path
/// @param context  receives the text to pass to ryni_do_fatal() if memory is exhausted
/// @return the record; null if memory is exhausted
rynIncludedFile *addFile(rynRegistry &registry, const char *path, const char *nslPath, const char *&context);

/// Finds the record of a library definition file that `registry` has read.
/// @param nslPath  the path of the file with all symbolic links resolved
/// @return the record; the first one if the file was read several times; null if there is none
const rynIncludedFile *findFile(rynRegistry &registry, const char *nslPath);

} // namespace ryn

#endif
