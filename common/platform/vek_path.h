#ifndef VEK_PATH_H
#define VEK_PATH_H

/// Path functions, the line function vek_fgets(), and a test for case-sensitive file names.

#include "common/base/vek_api.h"

#include <stdio.h>

VEK_BEGIN_DECLS

/// Results of vekGetFilesysCaseSensitivity().
enum { VEK_CASE_UNKNOWN = 1, VEK_CASE_SENSITIVE = 2, VEK_CASE_INSENSITIVE = 3 };

/// Replaces the directory separators of the platform by "/", in place. On Linux the separator is "/", so `path`
/// does not change. `path` may be null.
VEK_API void vekCanonicalizeDirSep(char *path);

/// @return 1 if `path` is absolute, that is, begins with "/"; otherwise, or if `path` is null, 0
VEK_API int vekIsRooted(const char *path);

/// Tests whether the text of `path` is a spelling of the root directory: a "/", followed by any number of "/",
/// "./" and "../". The file system is not read. Documented: the result for "/." and "/.." is 0.
///
/// @return 1 if it is; otherwise, or if `path` is null, 0
VEK_API int vekIsRoot(const char *path);

/// Tests whether `path` is the root of a network share in UNC notation.
/// @return always 0, because there are no such paths on Linux
VEK_API int vekIsUNCRoot(const char *path);

/// Makes `path` absolute. If `path` does not begin with "/", the working directory and "/" are put before it.
///
/// @param path  if it is null, the result is null and `out` is not freed
/// @param out   null, or a buffer of VEK_PATH_SIZE bytes ALLOCATED WITH malloc(). If getcwd() fails, or if the
///              result has more than 4095 characters, the function frees this buffer and returns null
/// @return `out`, or, if `out` is null, a new string that the caller frees; null after a failure
VEK_API char *vekMkRootedPath(const char *path, char *out);

/// Reads one line of `file` like fgets(). A carriage return directly before the final newline is removed.
///
/// @param buffer  receives the line
/// @param size    size of `buffer` in bytes, including the NUL
/// @return `buffer`; null at the end of the file, or if reading fails before the first character
VEK_API char *vek_fgets(char *buffer, int size, FILE *file);

/// Removes the carriage return before the final newline of `line`, in place. If there is none, or if `line` is
/// null, nothing changes.
VEK_API void vekNtToUnixLine(char *line);

/// Tests whether file names under `path` are case-sensitive. Creates two small files in the directory `path`
/// and removes them. While `path` is not an existing directory, its last "/" and the text after it are left out.
/// Documented: the test fails if there is no "/" in the text, or if nothing remains of it. If "a" does not exist,
/// the working directory is therefore not used, and if "/a" does not exist, the directory "/" is not used. It is
/// used if "//a" does not exist, of which "/" remains.
///
/// @return VEK_CASE_SENSITIVE, VEK_CASE_INSENSITIVE, or, after any failure, VEK_CASE_UNKNOWN; prints no message
VEK_API int vekGetFilesysCaseSensitivity(const char *path);

VEK_END_DECLS

#endif
