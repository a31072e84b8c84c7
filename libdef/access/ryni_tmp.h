#ifndef RYNI_TMP_H
#define RYNI_TMP_H

/// Temporary directories that are set for all libraries of a registry, with one subdirectory for each library.
/// There are two kinds: the implicit temporary directory, which rynSetImplicitTmp() sets, and the global temporary
/// root, which the statement ASSIGN AllLibs TmpRootDir sets.

#include "common/text/fixed_text.h"
#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// Sets the implicit temporary directory of `library` to DIRECTORY/NAME, where DIRECTORY is the implicit temporary
/// directory of the registry. Does nothing if the registry has none.
///
/// @param fullRoot  the absolute path of DIRECTORY, or null
/// @param nslRoot   the path of DIRECTORY with all symbolic links resolved, or null. If `fullRoot` or `nslRoot` is
///                  null, both are computed
/// @param errorOut  a buffer of VEK_PATH_SIZE bytes; after a failure, receives the path that the failure is about; may
///                  be null
/// @return RYN_OK or an error code, which is not reported
int ryniUpdateImplicit(rynRegistry *registry, rynLibrary *library, const char *fullRoot, const char *nslRoot,
                       char *errorOut);

/// Removes the implicit temporary directory from the registry and from each of its libraries. Deletes nothing on disk.
void sUnsetImplicitTmp(rynRegistry *registry);

/// Sets the temporary directory of each library to ROOT/NAME and creates it, where ROOT is the newest global temporary
/// root. Calls mkdir() even if the directory was created before. Does nothing if there is no root.
/// Skips libraries that have an explicit temporary directory, which the statement ASSIGN library TMP sets.
///
/// @param directory  the directory that a relative root starts from
/// @return RYN_OK; after a failure, the result of the warning handler
int sAddGlobalTmppath(rynRegistry *registry, const char *directory);

VEK_END_DECLS

namespace ryn {

/// Returns whether `library` has a temporary directory of one of the kinds `which`.
/// @param which  RYN_TMP_... values, combined by OR
inline bool hasTmp(const rynLibrary &library, unsigned which) {
    const bool hasExplicit = library.explicitTmp != nullptr;
    const bool isFromGlobal = (library.flags & kTmpFromGlobal) != 0;
    return ((which & RYN_TMP_EXPLICIT) != 0 && hasExplicit && !isFromGlobal) ||
           ((which & RYN_TMP_GLOBAL) != 0 && hasExplicit && isFromGlobal) ||
           ((which & RYN_TMP_IMPLICIT) != 0 && library.implicitTmp != nullptr);
}

/// Records which libraries already have a temporary directory in the global temporary root, while one registry is
/// created.
/// applyGlobalRoot() is called at the end of each library definition file. With this record, it processes only the
/// libraries that are new or changed since the last call, so that the creation of the registry takes linear time.
struct RootProgress {
    vek::PathText full;        ///< full path of the newest root
    vek::PathText nsl;         ///< nsl path of the newest root
    uint32_t number = 0;       ///< number of different roots until now; identifies the newest root
    bool wasCompleted = false; ///< whether the newest root was applied to all libraries at least once
    uint64_t appliedRank = 0;  ///< highest rank of the libraries to which the newest root was applied
    uint64_t tmpChanges = 0;   ///< rynRegistry::tmpChanges when the root was last applied to all libraries
};

/// Creates the temporary directories of libraries in the newest global temporary root, like sAddGlobalTmppath(). It is
/// called at the end of each library definition file.
///
/// @param directory  the directory that a relative root starts from
/// @param progress   if it is null, all libraries are processed. Otherwise a library is skipped if its directory was
///                   already created in the same root. If that directory was deleted in the meantime, it is not created
///                   again
/// @return RYN_OK; after a failure, the result of the warning handler
int applyGlobalRoot(rynRegistry &registry, const char *directory, RootProgress *progress);

/// Stores the file and line of the last statement that set the global temporary root, for warnings about the root. The
/// location is process-wide: a statement of another registry overwrites it.
/// @param file  is copied
void setGlobalTmpLocation(const char *file, int line);

} // namespace ryn

#endif
