#ifndef VEKI_FS_H
#define VEKI_FS_H

/// The inside of the file-system layer: the native implementation as a table like any other, and what the
/// stream implementation shares with it. All of these take arguments that have been checked.

#include "fs/vek_fs.h"

VEK_BEGIN_DECLS

/// What serves a specifier without an implementation. It has no name, and specifiers never point to it.
extern const vekFSIODef vekFSiNative;

/// As vekFSCreatePathSpec(), for any implementation that keeps the path as it is; checks its arguments.
int vekFSiCreatePathSpec(const char *path, const vekFSIODef *implementation, vekFSSpec **spec);

/// As vekFS_openFile(), through any such implementation; checks its arguments.
int vekFSiOpenFile(const char *path, const vekFSIODef *implementation, int flags, vekFSFile **file);

/// Frees a handle whose file is closed, and its specifier when that was made for this file alone.
/// @return what freeing the specifier returned, else 0
int vekFSiFreeFile(vekFSFile *file);

/// Copies `text` and its NUL to `buffer`. @param needed may be null
int vekFSiCopyText(const char *text, char *buffer, size_t size, size_t *needed);

int vekFSiFreePathSpec(vekFSSpec *spec);
int vekFSiGetPathString(const vekFSSpec *spec, char *buffer, size_t size, size_t *needed);
int vekFSiStat(vekFSSpec *spec, vekFSStat *record);
int vekFSiLstat(vekFSSpec *spec, vekFSStat *record);
int vekFSiGetFileMode(const vekFSStat *record, mode_t *mode);
int vekFSiGetFileGID(const vekFSStat *record, gid_t *gid);
int vekFSiGetFileUID(const vekFSStat *record, uid_t *uid);
int vekFSiGetFileSize(const vekFSStat *record, int64_t *size);
int vekFSiGetFileModTime(const vekFSStat *record, int64_t *seconds);

VEK_END_DECLS

#endif
