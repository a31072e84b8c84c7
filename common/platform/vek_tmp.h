#ifndef VEK_TMP_H
#define VEK_TMP_H

/// Temporary files: unique names from a template, exclusive creation, and a directory for temporary files.
///
/// A template is a path that ends with one or more "X". Each of these "X" is replaced by a digit or an ASCII
/// letter, chosen pseudo-randomly from the time and the process ID. If the name exists, the names after it, in
/// a fixed order, are tried until one does not exist. A failure sets `errno` and prints nothing, except that a
/// failure of gettimeofday() is also printed on standard error.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Creates a file with a new name and mode 0600, and opens it for reading and writing. The file is created with
/// O_EXCL, so an existing file is never opened. Programs that the process executes inherit the descriptor.
///
/// @param nameTemplate  the template, in an existing directory; receives the name in place
/// @return the descriptor, which the caller closes; -1 after a failure, with `errno` EINVAL for a null or empty
///         template, EEXIST if all names that were tried exist
VEK_API int vek_mkstemp(char *nameTemplate);

/// Makes a name that does not exist, but creates no file. Another process can create a file with this name
/// before the caller does: use vek_mkstemp() instead.
///
/// @param nameTemplate  the template; receives the name in place. If it does not end with "X", only this name
///                      itself is tested
/// @return `nameTemplate`; null after a failure, with `errno` as for vek_mkstemp()
VEK_API char *vek_mktemp(char *nameTemplate);

/// Makes the path of a file that does not exist, but does not create the file. Another process can create it
/// before the caller does: use vek_mkstemp() instead. The path is in `dir`, or in "/tmp" if none can be made in
/// `dir`. The environment variables that vekGetTmpDir() reads are not used.
///
/// @param dir     the directory, which need not exist; null for "/tmp". Documented: empty means the root
///                directory
/// @param prefix  the beginning of the file name; null for "tmp.". Six "X" are appended to it. The resulting
///                template is cut after 4095 characters, and if it then does not end with "X", only this name
///                itself is tested
/// @return a new string of 4096 bytes, which the caller frees; null after a failure, with `errno` set
VEK_API char *vek_tempnam(const char *dir, const char *prefix);

/// Makes the path of a file that does not exist, from `dir` and `prefix`, like vek_tempnam().
///
/// @param out  receives the path; must have VEK_PATH_SIZE bytes. Null for a new string, which the caller frees
/// @return the path; null after a failure, with `errno` set and `out` unchanged
VEK_API char *vekMkUniqueFilePath(const char *dir, const char *prefix, char *out);

/// Finds a directory for temporary files: the first of `$VEK_TMP_DIR`, `$TMPDIR`, `$TEMPDIR` and "/tmp" in
/// which files can be created (vekFileWritable() returns 1). A value of more than 4095 characters is skipped.
///
/// @param buf  receives the path; must have VEK_PATH_SIZE bytes. Null for a new string of that size, which the
///             caller frees
/// @return the path; null, with `buf` unchanged, if no directory is writable or memory is exhausted
VEK_API char *vekGetTmpDir(char *buf);

VEK_END_DECLS

#endif
