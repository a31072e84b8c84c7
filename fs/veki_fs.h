#ifndef VEKI_FS_H
#define VEKI_FS_H

/// Internal interface of this folder: the implementation table of native specifiers, and functions that native and
/// stream specifiers share. The public functions check their arguments for null and then call these functions.
/// Therefore no argument may be null here unless the comment of the function says so.

#include "fs/vek_fs.h"

namespace vekfs {

/// The implementation table of a specifier whose `implementation` is null. The dispatch functions select this table;
/// no specifier contains a pointer to it.
extern const vekFSIODef kNative;

/// Creates a specifier for `path` with the implementation table `implementation`, like vekFSCreatePathSpec().
/// @param path            may be null; the result is then EINVAL
/// @param implementation  null for a native specifier
/// @param spec            receives the specifier; may be null, the result is then EINVAL
int createPathSpec(const char *path, const vekFSIODef *implementation, vekFSSpec **spec);

/// Opens the file `path` with `flags` like vekFS_openFile(), with a new specifier whose implementation table is
/// `implementation`.
/// @param path  may be null; the result is then EINVAL
/// @param file  receives the file; may be null, the result is then EINVAL
int openFile(const char *path, const vekFSIODef *implementation, int flags, vekFSFile **file);

/// Frees the object `file`, whose descriptor or stream is already closed. Also frees its specifier if openFile()
/// created it.
/// @return the status of vekFSFreeSpec() if that was called, otherwise 0
int freeFile(vekFSFile *file);

/// Copies `text` and its NUL into `buffer`, which has `size` bytes.
///
/// @param buffer  may be null; nothing is then copied
/// @param needed  receives the number of bytes of the text and its NUL; may be null
/// @return 0; VEK_FS_BUFFER_TOO_SMALL if the text does not fit or `buffer` is null
int copyText(const char *text, char *buffer, size_t size, size_t *needed);

// Functions in both implementation tables: that of native specifiers (kNative) and that of stream specifiers.
int freePathSpec(vekFSSpec *spec);
int getPathString(const vekFSSpec *spec, char *buffer, size_t size, size_t *needed);
int getStatus(vekFSSpec *spec, vekFSStat *record);
int getLinkStatus(vekFSSpec *spec, vekFSStat *record);
int getFileMode(const vekFSStat *record, mode_t *mode);
int getFileGID(const vekFSStat *record, gid_t *gid);
int getFileUID(const vekFSStat *record, uid_t *uid);
int getFileSize(const vekFSStat *record, int64_t *size);
int getFileModTime(const vekFSStat *record, int64_t *seconds);

} // namespace vekfs

#endif
