#ifndef RYNI_TMP_H
#define RYNI_TMP_H

/// Implicit temporary directories and the global temporary root.

#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// Gives `library` its paths under the implicit temporary directory, if there is one.
///
/// @param fullRoot, nslRoot  the two forms of that directory; null makes them anew
/// @param errorOut           receives the text to report after a failure, in VEK_PATH_SIZE bytes; may be null
int ryniUpdateImplicit(rynRegistry *registry, rynLibrary *library, const char *fullRoot, const char *nslRoot,
                       char *errorOut);

/// Removes the implicit temporary directory.
void sUnsetImplicitTmp(rynRegistry *registry);

/// Applies the newest global temporary root, if there is one, to every library without a temporary directory of
/// its own.
///
/// @param directory  what a relative root counts from
/// @return RYN_OK, or what the warning handler made of the diagnostic
int sAddGlobalTmppath(rynRegistry *registry, const char *directory);

/// Remembers the place of the last global temporary statement. @param file copied
void ryniSetGlobalTmpPlace(const char *file, int line);

VEK_END_DECLS

#endif
