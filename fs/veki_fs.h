#ifndef VEKI_FS_H
#define VEKI_FS_H

/// The native implementation as a table, and the functions that it shares with the stream implementation. Unless stated
/// otherwise, no argument may be null: the generic functions check them.

#include "fs/vek_fs.h"

namespace vekfs {

/// The table of specifiers without an implementation. Specifiers never point to it.
extern const vekFSIODef kNative;

/// Creates a specifier for a copy of `path` like vekFSCreatePathSpec(), with the given table. Both pointers may be null.
int createPathSpec(const char *path, const vekFSIODef *implementation, vekFSSpec **spec);

/// Opens a file like vekFS_openFile(), with a new specifier of the given table. `path` and `file` may be null.
int openFile(const char *path, const vekFSIODef *implementation, int flags, vekFSFile **file);

/// Frees the handle of a closed file, and its specifier if openFile() created it.
/// @return the status of freeing the specifier, otherwise 0
int freeFile(vekFSFile *file);

/// Copies `text` and its NUL.
///
/// @param buffer  may be null
/// @param needed  receives the number of bytes of the text and its NUL; may be null
/// @return 0, or VEK_FS_BUFFER_TOO_SMALL if nothing was copied
int copyText(const char *text, char *buffer, size_t size, size_t *needed);

// Slots that both implementations share.
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
