#ifndef RYNI_TMP_H
#define RYNI_TMP_H

/// Implicit temporary directories and the global temporary root.

#include "common/text/fixed_text.h"
#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// Sets the implicit temporary paths of `library`, if the registry has an implicit temporary directory.
///
/// @param fullRoot, nslRoot  the full and the nsl path of that directory; null: both are generated
/// @param errorOut           null, or VEK_PATH_SIZE bytes that receive the text to report after a failure
int ryniUpdateImplicit(rynRegistry *registry, rynLibrary *library, const char *fullRoot, const char *nslRoot,
                       char *errorOut);

/// Removes the implicit temporary directory.
void sUnsetImplicitTmp(rynRegistry *registry);

/// Applies the newest global temporary root, if there is one, to every library without a temporary directory of its
/// own. The directory of each library is created, also if that was done before.
///
/// @param directory  directory of a relative root
/// @return RYN_OK, or the result of the warning handler
int sAddGlobalTmppath(rynRegistry *registry, const char *directory);

VEK_END_DECLS

namespace ryn {

/// What one creation of a registry has done with its global temporary root. The root is applied at the end of each file;
/// with this object, only libraries that are new or changed since the last time cost time.
struct RootProgress {
    vek::PathText full; ///< the newest root
    vek::PathText nsl;
    uint32_t number = 0;       ///< of the newest root; 0 before the first
    bool wasCompleted = false; ///< whether the newest root was ever applied to all libraries
    uint64_t appliedRank = 0;  ///< it was applied to the libraries up to this rank
    uint64_t tmpChanges = 0;   ///< rynRegistry::tmpChanges at that time
};

/// sAddGlobalTmppath() for the end of a file.
///
/// @param progress  null, or the progress of a creation: a library is then passed over if this creation has created its
///                  directory under the same root. A directory that was removed meanwhile is not created again
int applyGlobalRoot(rynRegistry &registry, const char *directory, RootProgress *progress);

/// Stores the location of the last statement that sets the global temporary root. Diagnostics of the root, in any
/// registry of the process, are reported there. @param file  is copied
void setGlobalTmpLocation(const char *file, int line);

} // namespace ryn

#endif
