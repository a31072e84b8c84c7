#ifndef VEK_PATH_H
#define VEK_PATH_H

/// Path functions, a line reader, and the case-sensitivity probe.

#include "common/base/vek_api.h"

#include <stdio.h>

VEK_BEGIN_DECLS

/// Results of vekGetFilesysCaseSensitivity().
enum { VEK_CASE_UNKNOWN = 1, VEK_CASE_SENSITIVE = 2, VEK_CASE_INSENSITIVE = 3 };

/// Replaces the directory separators of `path` by "/", in place. On Linux they already are "/", so nothing
/// changes. `path` may be null.
VEK_API void vekCanonicalizeDirSep(char *path);

/// @return 1 if `path` begins with "/", otherwise 0; 0 for null
VEK_API int vekIsRooted(const char *path);

/// Tests whether `path` is a spelling of the root directory: a "/", followed only by "/", "./" and "../".
/// Documented: "/." and "/.." give 0.
///
/// @return 1 or 0; 0 for null
VEK_API int vekIsRoot(const char *path);

/// @return always 0 on Linux, for any `path`
VEK_API int vekIsUNCRoot(const char *path);

/// Makes `path` absolute. A path that does not begin with "/" gets the working directory and "/" before it.
///
/// @param path  if it is null, the result is null and `out` is not freed
/// @param out   null, or a buffer of VEK_PATH_SIZE bytes ALLOCATED WITH malloc(). If the working directory cannot
///              be read, or the result has more than 4095 characters, this buffer is freed and null is returned
/// @return `out`, or, if `out` is null, a new string that the caller frees; null after a failure
VEK_API char *vekMkRootedPath(const char *path, char *out);

/// Reads one line of `file` like fgets(). A carriage return before the final newline is removed.
///
/// @param buffer  receives the line
/// @param size    size of `buffer` in bytes, including the NUL
/// @return `buffer`; null at the end of the file
VEK_API char *vek_fgets(char *buffer, int size, FILE *file);

/// Removes the carriage return from a final carriage return and newline of `line`, in place. `line` may be null.
VEK_API void vekNtToUnixLine(char *line);

/// Tests whether file names under `path` are case-sensitive. Two small files are created and removed in `path`, or
/// in its nearest parent that is an existing directory. The directory "/" is used only if `path` is "/".
///
/// @return VEK_CASE_SENSITIVE, VEK_CASE_INSENSITIVE, or, after any failure, VEK_CASE_UNKNOWN; nothing is reported
VEK_API int vekGetFilesysCaseSensitivity(const char *path);

VEK_END_DECLS

#endif
