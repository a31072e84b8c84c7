#ifndef VEK_PATH_H
#define VEK_PATH_H

/// Path helpers, the line reader, and the case-sensitivity probe.

#include "common/vek_api.h"

#include <stdio.h>

VEK_BEGIN_DECLS

/// What vekGetFilesysCaseSensitivity() found out.
enum { VEK_CASE_UNKNOWN = 1, VEK_CASE_SENSITIVE = 2, VEK_CASE_INSENSITIVE = 3 };

/// Turns the directory separators of `path` into "/", in place. On this platform they are that already and
/// nothing changes; every path from outside passes through here all the same. Null is allowed.
VEK_API void vekCanonicalizeDirSep(char *path);

/// @return 1 when `path` begins with "/", else 0 (also for null)
VEK_API int vekIsRooted(const char *path);

/// Tells whether `path` names the file-system root: a "/" and behind it nothing but "/" characters and "./"
/// or "../" steps. "/." and "/.." do not count.
///
/// @return 1 or 0 (also for null)
VEK_API int vekIsRoot(const char *path);

/// @return always 0, whatever `path` is: this platform has no such roots
VEK_API int vekIsUNCRoot(const char *path);

/// Makes `path` absolute by putting the working directory and "/" in front of it, unless it is rooted.
///
/// @param path  the path; null gives null
/// @param out   null, or a buffer of VEK_PATH_SIZE bytes FROM MALLOC: when the working directory cannot be
///              read, or the result has more than 4095 characters, the buffer is freed and null returned
/// @return `out`, or a new heap string that the caller frees, or null
VEK_API char *vekMkRootedPath(const char *path, char *out);

/// Reads a line of `file` as fgets() does and turns a final carriage return and newline into a newline.
///
/// @param buffer  receives the line
/// @param size    its size in bytes, the NUL included
/// @return `buffer`, or null at end of file
VEK_API char *vek_fgets(char *buffer, int size, FILE *file);

/// Turns the pair carriage return and newline at the very end of `line` into a newline, in place.
VEK_API void vekNtToUnixLine(char *line);

/// Finds out whether the file system under `path` distinguishes letter case, by creating and removing two
/// small files in the nearest existing directory at or above `path` (never "/", unless `path` names it).
///
/// @return VEK_CASE_SENSITIVE, VEK_CASE_INSENSITIVE, or VEK_CASE_UNKNOWN on every failure; nothing is
///         reported
VEK_API int vekGetFilesysCaseSensitivity(const char *path);

VEK_END_DECLS

#endif
