#ifndef VEK_TMP_H
#define VEK_TMP_H

/// Temporary files: unique names from a template, exclusive creation, and a directory for them.
///
/// A template is a path that ends with a run of "X". Each "X" is replaced by a digit or an ASCII letter, chosen
/// pseudo-randomly from the time and the process ID. While the name exists, the next name in order is tried,
/// until all are tried. A failure sets `errno` and prints nothing, except that a failure of gettimeofday() is
/// also printed on standard error.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Creates a file with a new name and mode 0600, and opens it for reading and writing. The file is created with
/// O_EXCL, so no other process can have created it. The descriptor is inherited by programs that the process
/// executes.
///
/// @param nameTemplate  the template, in an existing directory; receives the name in place
/// @return the descriptor, which the caller closes; -1 after a failure, with `errno` EINVAL for a null or empty
///         template, EEXIST if all names exist
VEK_API int vek_mkstemp(char *nameTemplate);

/// Makes a name that does not exist. Another process can create this file before the caller does: use
/// vek_mkstemp() instead.
///
/// @param nameTemplate  the template; receives the name in place. If it does not end with "X", it is tested
///                      unchanged
/// @return `nameTemplate`; null after a failure, with `errno` as for vek_mkstemp()
VEK_API char *vek_mktemp(char *nameTemplate);

/// Makes a path that does not exist, in `dir`, or in "/tmp" if none can be made in `dir`. Another process can
/// create this file before the caller does. The environment variables of vekGetTmpDir() are not used.
///
/// @param dir     need not exist; null for "/tmp". Documented: empty means the root directory
/// @param prefix  the beginning of the name; null for "tmp.". Six "X" are appended to it. The template is cut
///                after 4095 characters, and one without a final "X" is tested unchanged
/// @return a new string of 4096 bytes, which the caller frees; null after a failure, with `errno` set
VEK_API char *vek_tempnam(const char *dir, const char *prefix);

/// Makes a path from `dir` and `prefix` like vek_tempnam().
///
/// @param out  receives the path; must have VEK_PATH_SIZE bytes. Null for a new string, which the caller frees
/// @return the path; null after a failure, with `errno` set and `out` unchanged
VEK_API char *vekMkUniqueFilePath(const char *dir, const char *prefix, char *out);

/// Finds a directory for temporary files: the first of `$VEK_TMP_DIR`, `$TMPDIR`, `$TEMPDIR` and "/tmp" for which
/// vekFileWritable() returns 1. A value of more than 4095 characters is skipped.
///
/// @param buf  receives the path; must have VEK_PATH_SIZE bytes. Null for a new string of that size, which the
///             caller frees
/// @return the path; null, with `buf` unchanged, if no directory is writable or memory is exhausted
VEK_API char *vekGetTmpDir(char *buf);

VEK_END_DECLS

#endif
