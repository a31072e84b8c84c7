#ifndef RYNI_TMP_H
#define RYNI_TMP_H

/// Implicit temporary directories and the global temporary root.

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
/// own.
///
/// @param directory  directory of a relative root
/// @return RYN_OK, or the result of the warning handler
int sAddGlobalTmppath(rynRegistry *registry, const char *directory);

VEK_END_DECLS

namespace ryn {

/// Stores the location of the last statement that sets the global temporary root. Diagnostics of the root, in any
/// registry of the process, are reported there. @param file  is copied
void setGlobalTmpLocation(const char *file, int line);

} // namespace ryn

#endif
