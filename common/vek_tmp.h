#ifndef VEK_TMP_H
#define VEK_TMP_H

/// Temporary files and directories: unique names from a template, the exclusive creation of a file under such
/// a name, and the directory to put it in.
///
/// A template is a path of any length that ends in a run of "X". Each of these is replaced by a digit or an
/// ASCII letter, chosen by the time and the process; while the name is taken, the next one in order is tried,
/// to the last. Failures are reported through the result and `errno` alone; only a clock that cannot be read
/// is also told on standard error.

#include "common/vek_api.h"

VEK_BEGIN_DECLS

/// Creates a file with mode 0600 under a new name, and opens it to be read and written.
///
/// @param nameTemplate  the template; receives the name in place. Its directory must exist
/// @return the descriptor, which the caller closes; -1 with `errno` set: EINVAL for null or an empty
///         template, EEXIST when every name is taken
VEK_API int vek_mkstemp(char *nameTemplate);

/// Makes a name that does not exist. Nothing is created, so it may be taken before it is used: prefer
/// vek_mkstemp().
///
/// @param nameTemplate  the template; receives the name in place. Without an "X" at its end it is tested as
///                      it is
/// @return `nameTemplate`, or null with `errno` set as by vek_mkstemp()
VEK_API char *vek_mktemp(char *nameTemplate);

/// Makes a path in `dir`, or else in "/tmp", that does not exist, as vek_mktemp() does. The environment is
/// not asked.
///
/// @param dir     need not exist; null for "/tmp". Empty counts as the root directory
/// @param prefix  what the name begins with; null for "tmp.". A path of over 4095 characters is cut there,
///                and one without its run of "X" is tested as it is
/// @return a heap string of 4096 bytes that the caller frees, or null with `errno` set
VEK_API char *vek_tempnam(const char *dir, const char *prefix);

/// vek_tempnam() of `dir` and `prefix` into the caller's memory.
///
/// @param out  receives the path, in VEK_PATH_SIZE bytes; null for a heap string that the caller frees
/// @return the path, or null with `errno` set and `out` as it was
VEK_API char *vekMkUniqueFilePath(const char *dir, const char *prefix, char *out);

/// Finds the directory for temporary files: the first of `$VEK_TMP_DIR`, `$TMPDIR`, `$TEMPDIR` and "/tmp"
/// that vekFileWritable() calls writable. A value of over 4095 characters is none.
///
/// @param buf  receives the path, in VEK_PATH_SIZE bytes; null for a heap string of that size, which the
///             caller frees
/// @return the path; null, with `buf` as it was, when none is writable or memory is exhausted
VEK_API char *vekGetTmpDir(char *buf);

VEK_END_DECLS

#endif
