#ifndef VEKINFO_CHECK_H
#define VEKINFO_CHECK_H

/// `-checklibrary` and `-configurelibrary`: check or configure every library of a library definition file.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Runs the action over the first `vek.lib` on the search list. Without one, nothing is printed.
/// @param configure  1 to append what is missing to the libraries' tag files
/// @return always 0
int tovCheckOrConfigLibrary(int configure);

/// Checks or configures every library that `libFile` defines.
/// @return the result of the last library; 1 after a failed iteration; or a TOV_... code if the file could
///         not be read
int tovVeklibCheck(const char *libFile, int configure);

/// Checks or configures one library, and reports redundant tag files below it.
/// @return TOV_OK; TOV_SYSTEM_ERROR or TOV_ACCESS_ERROR if its tag file could not be written; TOV_MEMORY_ERROR
int tovVerifyVekinfo(const char *libName, const char *dir, int configure);

/// @return 1 if the first word of the file `dm.tag` in `dir` is "none", otherwise 0
int lookForNoneTag(const char *dir);

/// Reports every tag file below `dir`. Follows symbolic links. A link that forms a cycle is reported and not followed.
/// Links beyond the limit of vek::LinkLimit are not followed, and the first one of them is reported.
/// @param isTop  1 if a tag file in `dir` itself is not redundant
void tovScanSubdirsForVekinfo(const char *dir, int isTop);

/// Print the diagnostics of the library definition file. They ignore RYN_NO_VEKLIBRARY_ENTRY.
int testParseWarnHandler(int code, const char *text, const char *file, int line);
int testErrHandler(int code, const char *text, const char *sameText);

VEK_END_DECLS

#endif
