#ifndef VEK_FILE_H
#define VEK_FILE_H

/// File tests and directory creation. Every path may be null or empty, which gives the "false" answer.

#include "common/vek_api.h"

#include <stdint.h>

VEK_BEGIN_DECLS

/// Fills the shared stat buffer from what `path` leads to.
/// @return 1 when stat() succeeds, else 0
VEK_API int vekFileExists(const char *path);

/// @return the size of `path` in bytes, 0 when it does not exist
VEK_API int64_t vekGetFileSize(const char *path);

/// @return 1 when `path` leads to a directory, else 0
VEK_API int vekFileIsDirectory(const char *path);

/// Fills the shared stat buffer from `path` itself.
/// @return 1 when it is a symbolic link, else 0
VEK_API int vekFileIsLink(const char *path);

/// @return the size found by the last vekFileExists() or vekFileIsLink(), in bytes
VEK_API int64_t vekGetFileSizeInStatbuf(void);

/// @return the modification time found by the last vekFileExists() or vekFileIsLink(), in seconds
VEK_API int64_t vekGetTimestampInStatbuf(void);

/// Reads the target of the symbolic link `path`.
///
/// @param buf  receives up to 4096 characters and a NUL, so it holds at least 4097 bytes
/// @return 1, or 0 when readlink() fails
VEK_API int vekReadSymLink(const char *path, char *buf);

/// Makes the directory `path` and every missing one above it, with all permission bits that the umask leaves.
/// A failed mkdir() is reported through vekReportError().
///
/// @return 1 when `path` is a directory afterwards, else 0
VEK_API int vekBuildDirPath(const char *path);

/// Tells whether `path` can be written: a file by opening it, a directory by creating and deleting the file
/// `vekFileWritableTest` in it.
///
/// @return 1 or 0 (also when `path` does not exist)
VEK_API int vekFileWritable(const char *path);

VEK_END_DECLS

#endif
