#ifndef VEK_FILE_H
#define VEK_FILE_H

/// File tests and directory creation. If a path is null or empty, every function returns 0. vekFileExists() and
/// vekFileIsLink() store the stat record in one process-wide buffer, the shared stat buffer.
/// vekGetFileSizeInStatbuf() and vekGetTimestampInStatbuf() read it.

#include "common/base/vek_api.h"

#include <stdint.h>

VEK_BEGIN_DECLS

/// Calls stat() for `path` and stores the record in the shared stat buffer. Follows symbolic links.
/// @return 1 if stat() succeeds, otherwise 0
VEK_API int vekFileExists(const char *path);

/// @return the size of the file `path` in bytes; 0 if it does not exist
VEK_API int64_t vekGetFileSize(const char *path);

/// @return 1 if `path` is a directory or a symbolic link to one, otherwise 0
VEK_API int vekFileIsDirectory(const char *path);

/// Calls lstat() for `path` and stores the record in the shared stat buffer.
/// @return 1 if `path` is a symbolic link, otherwise 0
VEK_API int vekFileIsLink(const char *path);

/// @return the size in bytes from the shared stat buffer: of the file given to the last vekFileExists() or
///         vekFileIsLink()
VEK_API int64_t vekGetFileSizeInStatbuf(void);

/// @return the modification time in seconds from the shared stat buffer: of the file given to the last
///         vekFileExists() or vekFileIsLink()
VEK_API int64_t vekGetTimestampInStatbuf(void);

/// Reads the target of the symbolic link `path`.
///
/// @param buf  receives the target and a NUL; must have 4097 bytes
/// @return 1; 0 if readlink() fails or `buf` is null
VEK_API int vekReadSymLink(const char *path, char *buf);

/// Creates the directory `path` and every missing directory above it. mkdir() is called with all permission bits
/// and the sticky bit set, reduced by the umask. The umask does not remove the sticky bit: in a directory made
/// here that other users may write, they can remove only their own files.
///
/// If mkdir() fails, this is reported through vekReportError(), and the directories made so far remain.
///
/// @return 1 if `path` is a directory afterwards, otherwise 0
VEK_API int vekBuildDirPath(const char *path);

/// Tests whether the file or directory `path` can be written. A file is opened for writing and closed. In a
/// directory, the file `vekFileWritableTest` is created and removed. A file or symbolic link of this name that
/// was there before is removed, too.
///
/// @return 1 if it can be written; 0 if not, or if `path` does not exist
VEK_API int vekFileWritable(const char *path);

VEK_END_DECLS

#endif
