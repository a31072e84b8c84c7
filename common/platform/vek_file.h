#ifndef VEK_FILE_H
#define VEK_FILE_H

/// File tests (existence, type, size, write permission), reading of symbolic links, and directory creation.
/// Every function with a path argument returns 0 if the path is null or empty.
///
/// The shared stat buffer is one process-wide stat record. vekFileExists() and vekFileIsLink() write it;
/// vekGetFileSizeInStatbuf() and vekGetTimestampInStatbuf() read it.

#include "common/base/vek_api.h"

#include <stdint.h>

VEK_BEGIN_DECLS

/// Tests whether `path` exists. Calls stat(), which follows symbolic links, and stores the record in the shared
/// stat buffer, a process-wide variable.
/// @return 1 if stat() succeeds, otherwise 0
VEK_API int vekFileExists(const char *path);

/// @return the size of the file `path` in bytes; 0 if stat() fails, for instance because the file does not
///         exist
VEK_API int64_t vekGetFileSize(const char *path);

/// @return 1 if `path` is a directory or a symbolic link to one, otherwise 0
VEK_API int vekFileIsDirectory(const char *path);

/// Tests whether `path` is a symbolic link. Calls lstat() and stores the record in the shared stat buffer, a
/// process-wide variable.
/// @return 1 if `path` is a symbolic link, otherwise 0
VEK_API int vekFileIsLink(const char *path);

/// @return the size in bytes of the file whose stat record vekFileExists() or vekFileIsLink() stored last in
///         the shared stat buffer
VEK_API int64_t vekGetFileSizeInStatbuf(void);

/// @return the modification time, in seconds since 1970, of the file whose stat record vekFileExists() or
///         vekFileIsLink() stored last in the shared stat buffer
VEK_API int64_t vekGetTimestampInStatbuf(void);

/// Reads the target of the symbolic link `path`.
///
/// @param buf  receives at most 4096 bytes of the target, and a NUL; must have 4097 bytes
/// @return 1; 0 if `buf` is null or readlink() fails, for instance because `path` is not a symbolic link
VEK_API int vekReadSymLink(const char *path, char *buf);

/// Creates the directory `path` and every missing directory above it. Each new directory gets all permission
/// bits and the sticky bit, except the permissions that the umask removes. The umask does not remove the sticky
/// bit: in a new directory that other users may write, they can remove only their own files.
///
/// If mkdir() fails, the error is reported through vekReportError(). The directories that were created before
/// the failure are not removed.
///
/// @return 1 if `path` is a directory afterwards, otherwise 0
VEK_API int vekBuildDirPath(const char *path);

/// Tests whether the file or directory `path` can be written. If `path` is a directory, the file
/// `vekFileWritableTest` is created in it and removed; an existing file or symbolic link of this name is
/// removed, too. If `path` is a file, it is opened for writing and closed.
///
/// @return 1 if `path` can be written; 0 if not, or if it does not exist
VEK_API int vekFileWritable(const char *path);

VEK_END_DECLS

#endif
