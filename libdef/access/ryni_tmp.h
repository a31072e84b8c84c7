#ifndef RYNI_TMP_H
#define RYNI_TMP_H

/// Temporary directories that apply to all libraries: the implicit temporary directory (rynSetImplicitTmp()) and the
/// global temporary root (ASSIGN AllLibs TmpRootDir). Each has one subdirectory for each library.

#include "common/text/fixed_text.h"
#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// Sets the implicit temporary paths of `library` to DIRECTORY/NAME. Does nothing if the registry has no implicit
/// temporary directory.
///
/// @param fullRoot, nslRoot  the full path and the nsl path of the implicit temporary directory; if one of them is
///                  null, both are generated
/// @param errorOut           receives the text to report after a failure in VEK_PATH_SIZE bytes; may be null
/// @return RYN_OK or an error code, not reported
int ryniUpdateImplicit(rynRegistry *registry, rynLibrary *library, const char *fullRoot, const char *nslRoot,
                       char *errorOut);

/// Removes the implicit temporary directory from the registry and from each library.
void sUnsetImplicitTmp(rynRegistry *registry);

/// Applies the newest global temporary root, if there is one: sets the temporary directory of each library to ROOT/NAME
/// and creates it, even if it was created before. Libraries with an explicit temporary directory (ASSIGN library TMP)
/// are not changed.
///
/// @param directory  the directory that a relative root starts from
/// @return RYN_OK, or after a failure the result of the warning handler
int sAddGlobalTmppath(rynRegistry *registry, const char *directory);

VEK_END_DECLS

namespace ryn {

/// Progress of applying the global temporary root while one registry is created. The root is applied at the end of each
/// file. With this record, applyGlobalRoot() processes only libraries that are new or changed since the last file, so
/// that the creation takes linear time.
struct RootProgress {
    vek::PathText full;        ///< full path of the newest root
    vek::PathText nsl;         ///< nsl path of the newest root
    uint32_t number = 0;       ///< number of different roots until now; identifies the newest root
    bool wasCompleted = false; ///< whether the newest root was applied to all libraries at least once
    uint64_t appliedRank = 0;  ///< highest rank of the libraries to which the newest root was applied
    uint64_t tmpChanges = 0;   ///< rynRegistry::tmpChanges when the root was last applied to all libraries
};

/// Applies the newest global temporary root like sAddGlobalTmppath(), for the end of a file.
///
/// @param directory  the directory that a relative root starts from
/// @param progress   the progress of the creation of the registry. Libraries whose directory this creation has already
///                   created under the same root are skipped, so a directory that was removed since then is not created
///                   again. If null, all libraries are processed
/// @return RYN_OK, or after a failure the result of the warning handler
int applyGlobalRoot(rynRegistry &registry, const char *directory, RootProgress *progress);

/// Stores the location of the last statement that sets the global temporary root. Warnings about the root name this
/// location. It is process-wide: it can be a statement of another registry.
/// @param file  is copied
void setGlobalTmpLocation(const char *file, int line);

} // namespace ryn

#endif
