#ifndef VEKINFO_CHECK_H
#define VEKINFO_CHECK_H

/// The actions `-checklibrary` and `-configurelibrary` of `vekinfo`: check the tag files of all libraries that a
/// library definition file (`vek.lib`) defines, and append missing entries to them.

#include "common/base/vek_api.h"
#include "tool/worker_pool.h"

VEK_BEGIN_DECLS

/// Checks or configures all libraries that the first `vek.lib` along the search list defines. If there is no such file,
/// prints nothing.
/// @param configure  1 to append missing entries to the tag files of the libraries; 0 to only check the tag files
/// @return always 0
int tovCheckOrConfigLibrary(int configure);

/// Checks or configures every library that the library definition file `libFile` defines.
/// @param configure  1 to append missing entries to the tag files of the libraries; 0 to only check the tag files
/// @return the result of tovVerifyVekinfo() for the last library; 1 if the list of libraries or the path of one library
///         cannot be obtained; or a TOV_... code if `libFile` cannot be read
int tovVeklibCheck(const char *libFile, int configure);

/// Checks or configures the library `libName` in the directory `dir`. Also reports redundant tag files, that is, tag
/// files in directories below `dir`.
/// @param configure  1 to append missing entries to the tag file of the library; 0 to only check the tag file
/// @return TOV_OK; TOV_SYSTEM_ERROR or TOV_ACCESS_ERROR if the tag file of the library could not be written;
///         TOV_SYNTAX_ERROR if it contains an error; or TOV_MEMORY_ERROR
int tovVerifyVekinfo(const char *libName, const char *dir, int configure);

/// Returns 1 if the first word in the first line of the file `dm.tag` in the directory `dir` is "none", otherwise 0.
int lookForNoneTag(const char *dir);

/// Searches `dir` and all directories below it recursively, and reports each tag file as redundant. Follows symbolic
/// links to directories. A link that leads back to an ancestor directory (a cycle) is reported and not followed.
/// vek::LinkLimit limits the total number of followed links: when the limit is reached, this is reported once, and no
/// more links are followed.
/// @param isTop  1 to accept a tag file in `dir` itself, because `dir` is the directory of a library; otherwise 0
void tovScanSubdirsForVekinfo(const char *dir, int isTop);

/// Warning handler for rynInit(): prints a problem in a library definition file on standard error. Prints nothing if
/// the code is RYN_NO_VEKLIBRARY_ENTRY (the directory of a library has no VEKLIBRARY entry).
/// @return 0, so that rynInit() continues
int testParseWarnHandler(int code, const char *text, const char *file, int line);
/// Error handler for rynInit(): prints an error on standard error. Prints nothing if the code is
/// RYN_NO_VEKLIBRARY_ENTRY.
/// @return always 0
int testErrHandler(int code, const char *text, const char *sameText);

VEK_END_DECLS

namespace vekinfo {

/// Implements tovVeklibCheck().
/// @param settings  the settings of the worker threads that read ahead
int checkLibraries(const char *libFile, int configure, const WorkerSettings &settings);

} // namespace vekinfo

#endif
