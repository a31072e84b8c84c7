#ifndef VEKINFO_CHECK_H
#define VEKINFO_CHECK_H

/// `-checklibrary` and `-configurelibrary`: check or configure every library of a library definition file.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Checks or configures the libraries that the first `vek.lib` on the search list defines. Prints nothing if there is
/// no such file.
/// @param configure  1 to append missing entries to the tag files of the libraries; 0 to check only
/// @return always 0
int tovCheckOrConfigLibrary(int configure);

/// Checks or configures every library that the library definition file `libFile` defines.
/// @param configure  as for tovCheckOrConfigLibrary()
/// @return the result for the last library; 1 if the libraries or the path of one cannot be obtained; or a TOV_...
///         code if `libFile` cannot be read
int tovVeklibCheck(const char *libFile, int configure);

/// Checks or configures the library `libName` in the directory `dir`, and reports redundant tag files below it.
/// @param configure  as for tovCheckOrConfigLibrary()
/// @return TOV_OK; TOV_SYSTEM_ERROR or TOV_ACCESS_ERROR if the tag file of the library could not be written;
///         TOV_SYNTAX_ERROR if it contains an error; or TOV_MEMORY_ERROR
int tovVerifyVekinfo(const char *libName, const char *dir, int configure);

/// @return 1 if the first word in the first line of the file `dm.tag` in `dir` is "none", otherwise 0
int lookForNoneTag(const char *dir);

/// Reports every tag file in and below `dir` as redundant. Follows symbolic links. A link that forms a cycle is
/// reported and not followed. After as many links as vek::LinkLimit allows, no more are followed, and this is reported
/// once.
/// @param isTop  1 to accept a tag file in `dir` itself, as in the directory of a library
void tovScanSubdirsForVekinfo(const char *dir, int isTop);

/// A rynWarningHandler: prints a diagnostic of a library definition file, except RYN_NO_VEKLIBRARY_ENTRY. @return 0
int testParseWarnHandler(int code, const char *text, const char *file, int line);
/// A rynErrorHandler: prints an error or misuse, except RYN_NO_VEKLIBRARY_ENTRY. @return 0
int testErrHandler(int code, const char *text, const char *sameText);

VEK_END_DECLS

#endif
