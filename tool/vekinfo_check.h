#ifndef VEKINFO_CHECK_H
#define VEKINFO_CHECK_H

/// `-checklibrary` and `-configurelibrary`: every library of the library definition file is looked at.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Runs the action over the first `vek.lib` on the search list. Without one, nothing is printed.
/// @param configure  1 to append what is missing to the libraries' tag files
/// @return always 0
int tovCheckOrConfigLibrary(int configure);

/// Looks at every library that `libFile` defines.
/// @return the result of the last library; 1 after a failed iteration; or a tag-layer code when the file could
///         not be read
int tovVeklibCheck(const char *libFile, int configure);

/// Looks at one library, and for redundant tag files below it.
/// @return TOV_OK; TOV_SYSTEM_ERROR or TOV_ACCESS_ERROR when its tag file could not be written; TOV_MEMORY_ERROR
int tovVerifyVekinfo(const char *libName, const char *dir, int configure);

/// @return 1 when the first word of the file `dm.tag` in `dir` is "none", else 0
int lookForNoneTag(const char *dir);

/// Reports every tag file below `dir`. Links are followed; one that leads back is reported instead, as are those that
/// would make more ways through the tree than can be walked.
/// @param isTop  1 when a tag file in `dir` itself is not redundant
void tovScanSubdirsForVekinfo(const char *dir, int isTop);

/// The handlers of the library definition file's diagnostics; a missing VEKLIBRARY entry is none here.
int testParseWarnHandler(int code, const char *text, const char *file, int line);
int testErrHandler(int code, const char *text, const char *sameText);

VEK_END_DECLS

#endif
