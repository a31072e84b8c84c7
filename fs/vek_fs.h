#ifndef VEK_FS_H
#define VEK_FS_H

/// Files and directories behind one interface, wherever they lie.
///
/// A path becomes a specifier, and every operation is asked of a specifier, or of a file, directory, entry or
/// stat record that was obtained through one. A specifier without an implementation table is native: system
/// calls do the work. With a table, the operation's slot does it, and an empty slot means that the operation
/// is not supported.
///
/// Every function returns a status: 0, an `errno` value, or a negative VEK_FS_ code. A required pointer that is
/// null gives EINVAL, before anything else is looked at; all pointers are required but those marked "may be
/// null". Exhausted memory gives ENOMEM, a system call that fails gives its `errno`. Nothing is ever printed,
/// and no process-wide state is kept.
///
/// A handle or stat record borrows its specifier: the specifier must stay until the handle is closed, and
/// until a stat record has been read.

#include "common/vek_api.h"

#include <dirent.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/types.h>

VEK_BEGIN_DECLS

/// The statuses that are not `errno` values.
enum {
    VEK_FS_OK = 0,
    VEK_FS_BAD_STATUS = -1,       ///< the operation returned bad status
    VEK_FS_BUFFER_TOO_SMALL = -2, ///< the buffer has no room for the text and its NUL
    VEK_FS_NOT_SUPPORTED = -4     ///< the implementation has no such operation
};

typedef struct vekFSIODef vekFSIODef;

/// A path bound to an implementation.
typedef struct vekFSSpec {
    char *path;                       ///< owned; an implementation may keep a record of its own here
    const vekFSIODef *implementation; ///< null for native
    int32_t autoFree;                 ///< 1 when closing the file that was opened with it frees it, too
} vekFSSpec;

/// An open file.
typedef struct vekFSFile {
    union {
        int32_t descriptor; ///< of a native file
        FILE *stream;       ///< of a file opened through streams
        void *data;         ///< whatever another implementation keeps
    };
    vekFSSpec *spec;
} vekFSFile;

/// The copy of a directory entry: all of it but the type.
typedef struct vekFSEntryBuffer {
    uint16_t recordLength;
    char name[VEK_PATH_SIZE];
} vekFSEntryBuffer;

/// The current entry of an open directory.
typedef struct vekFSDirent {
    vekFSEntryBuffer *buffer;
    vekFSSpec *spec;
    /// The type that came with the entry, one of the DT_ values of <dirent.h>: spares callers a stat() where the
    /// file system gives it, and is DT_UNKNOWN (0) where it does not. DT_LNK says nothing about the target.
    unsigned char type;
} vekFSDirent;

/// An open directory.
typedef struct vekFSDir {
    DIR *stream;
    vekFSSpec *spec;
    vekFSDirent *entry; ///< overwritten by each read
} vekFSDir;

/// What vekFS_stat() and vekFS_lstat() found out; the record itself is the caller's.
typedef struct vekFSStat {
    vekFSSpec *spec;
    struct stat status;
} vekFSStat;

/// An implementation: its name, and a slot for each operation, null where it is not supported. A slot is called
/// with the arguments of the generic operation of the same name, which has checked them.
struct vekFSIODef {
    const char *name;
    int (*freeSpec)(vekFSSpec *spec);
    int (*getSpecString)(const vekFSSpec *spec, char *buffer, size_t size, size_t *needed);
    int (*open)(vekFSSpec *spec, int flags, vekFSFile **file);
    int (*getc)(vekFSFile *file, int *character);
    int (*ungetc)(int character, vekFSFile *file, int *result);
    int (*fgets)(char *buffer, size_t size, vekFSFile *file, char **line);
    int (*read)(vekFSFile *file, void *buffer, size_t length, ssize_t *count);
    int (*write)(vekFSFile *file, const void *buffer, size_t length, ssize_t *count);
    int (*seek)(vekFSFile *file, int64_t offset, int whence, int64_t *position);
    int (*tell)(vekFSFile *file, int64_t *position);
    int (*rewind)(vekFSFile *file);
    int (*fsync)(vekFSFile *file);
    int (*close)(vekFSFile *file);
    int (*stat)(vekFSSpec *spec, vekFSStat *record);
    int (*lstat)(vekFSSpec *spec, vekFSStat *record);
    int (*getFileMode)(const vekFSStat *record, mode_t *mode);
    int (*getFileGID)(const vekFSStat *record, gid_t *gid);
    int (*getFileUID)(const vekFSStat *record, uid_t *uid);
    int (*getFileSize)(const vekFSStat *record, int64_t *size);
    int (*getFileModTime)(const vekFSStat *record, int64_t *seconds);
    int (*opendir)(vekFSSpec *spec, vekFSDir **directory);
    int (*readdir)(vekFSDir *directory, vekFSDirent **entry);
    int (*rewinddir)(vekFSDir *directory);
    int (*closedir)(vekFSDir *directory);
    int (*getDirentName)(const vekFSDirent *entry, char *buffer, size_t size, size_t *needed);
};

// ---- specifiers

/// Makes a native specifier for `path`, which is copied; whether it exists is not looked at.
///
/// @param spec  receives the specifier, which the caller frees with vekFSFreeSpec(); null on every failure
/// @return 0, EINVAL, ENOMEM
VEK_API int vekFSCreatePathSpec(const char *path, vekFSSpec **spec);

/// Makes a specifier for `path` whose files are read and written through buffered streams, so that
/// vekFS_fgets(), vekFS_getc() and vekFS_ungetc() work, and stores it in `*spec`; everything else as
/// vekFSCreatePathSpec().
VEK_API int vekFSStdioCreatePathSpec(const char *path, vekFSSpec **spec);

/// Frees `spec` and what it owns.
VEK_API int vekFSFreeSpec(vekFSSpec *spec);

/// Copies the text of `spec`: its path, or what its implementation shows in its place.
///
/// @param buffer  receives the text; untouched when it does not fit
/// @param size    its size in bytes, the NUL included
/// @param needed  receives the bytes that the text needs, also when it does not fit; may be null
/// @return 0, EINVAL, VEK_FS_BUFFER_TOO_SMALL, VEK_FS_NOT_SUPPORTED
VEK_API int vekFSGetSpecString(const vekFSSpec *spec, char *buffer, size_t size, size_t *needed);

/// Tells which implementation serves `spec`.
///
/// @param name  receives the implementation's constant name, or null for a native specifier
VEK_API int vekFSGetSpecIOImpName(const vekFSSpec *spec, const char **name);

/// Copies the text of the status `code`: "OK", the system's text of an `errno` value, or the text of a
/// VEK_FS_ code; "Unknown error" for a negative status that does not exist.
///
/// @param buffer  receives the text; may be null, to ask for the size
/// @param size    its size in bytes, the NUL included
/// @param needed  receives the bytes that the text needs; may be null
/// @return 0, or VEK_FS_BUFFER_TOO_SMALL when nothing was copied
VEK_API int vekFS_strerror(int code, char *buffer, size_t size, size_t *needed);

// ---- files

/// Opens the file that a specifier names.
///
/// Natively the `flags` are those of open(); a file that it creates has mode 0666 less the umask. Through
/// streams, O_RDWR and O_WRONLY open for appending with O_APPEND, else as a new, empty file with O_TRUNC, and
/// create the file in both cases; with neither they open an existing file for reading and writing. O_CREAT
/// does not count, and O_RDONLY only reads.
///
/// @param spec  borrowed until the file is closed
/// @param file  receives the file, closed with vekFS_close(); null on every failure
VEK_API int vekFS_open(vekFSSpec *spec, int flags, vekFSFile **file);

/// Opens `path` with `flags` through a native specifier of its own, which vekFS_close() frees, and stores the
/// file in `*file`; else as vekFS_open().
VEK_API int vekFS_openFile(const char *path, int flags, vekFSFile **file);

/// Opens `path` with `flags` for buffered reading and writing through a specifier of its own, which
/// vekFS_close() frees, and stores the file in `*file`; else as vekFS_open().
VEK_API int vekFSStdio_openFile(const char *path, int flags, vekFSFile **file);

/// Reads one character of `file`. Not supported natively.
///
/// @param character  receives it as an unsigned char, or EOF
/// @return 0, also at the end of the file; VEK_FS_BAD_STATUS when it is a read error that gave EOF
VEK_API int vekFS_getc(vekFSFile *file, int *character);

/// Puts `character` back into `file`, to be read next. Not supported natively.
///
/// @param result  receives the character, or EOF when it could not be put back; the status is 0 in both cases
VEK_API int vekFS_ungetc(int character, vekFSFile *file, int *result);

/// Reads a line of `file` into `buffer`, at most `size` - 1 characters, its newline included. Not supported
/// natively.
///
/// @param line  receives `buffer`, or null when nothing was left to read
/// @return 0, also at the end of the file; VEK_FS_BAD_STATUS when it is a read error that gave null
VEK_API int vekFS_fgets(char *buffer, size_t size, vekFSFile *file, char **line);

/// Reads up to `length` bytes of `file` into `buffer`.
///
/// @param count  receives how many came, 0 at the end of the file; on a failure -1 natively, 0 through streams
VEK_API int vekFS_read(vekFSFile *file, void *buffer, size_t length, ssize_t *count);

/// Writes up to `length` bytes of `buffer` to `file`.
///
/// @param count  receives how many were taken; on a failure -1 natively, 0 through streams. Streams write
///               later: only vekFS_fsync() and vekFS_close() tell whether all of it went well
VEK_API int vekFS_write(vekFSFile *file, const void *buffer, size_t length, ssize_t *count);

/// Moves the position of `file` by `offset` from where `whence` says (SEEK_SET, SEEK_CUR, SEEK_END).
///
/// @param position  receives the new position in bytes from the start
VEK_API int vekFS_seek(vekFSFile *file, int64_t offset, int whence, int64_t *position);

/// Asks for the position of `file`.
///
/// @param position  receives the position in bytes from the start
VEK_API int vekFS_tell(vekFSFile *file, int64_t *position);

/// Moves the position of `file` to the start.
/// @return 0, also for a file that has no position
VEK_API int vekFS_rewind(vekFSFile *file);

/// Natively makes what was written to `file` last on its device; through streams hands it to the system.
VEK_API int vekFS_fsync(vekFSFile *file);

/// Closes `file` and frees its handle, and its specifier when that was made for this file alone.
///
/// @return 0; or the `errno` of a close that failed, and then neither handle nor specifier is freed: the only
///         use that is left of the handle is another vekFS_close(), which frees them
VEK_API int vekFS_close(vekFSFile *file);

// ---- stat records

/// Asks for the status of the file that `spec` names; of a symbolic link's target.
///
/// @param record  the caller's; filled on success only
VEK_API int vekFS_stat(vekFSSpec *spec, vekFSStat *record);

/// vekFS_stat() of `spec` into `record`, of a symbolic link itself.
VEK_API int vekFS_lstat(vekFSSpec *spec, vekFSStat *record);

// The fields of a record that vekFS_stat() or vekFS_lstat() filled.

/// Stores the type and the permission bits of the file that `record` describes in `*mode`.
VEK_API int vekFS_getFileMode(const vekFSStat *record, mode_t *mode);

/// Stores the group of the file that `record` describes in `*gid`.
VEK_API int vekFS_getFileGID(const vekFSStat *record, gid_t *gid);

/// Stores the owner of the file that `record` describes in `*uid`.
VEK_API int vekFS_getFileUID(const vekFSStat *record, uid_t *uid);

/// Stores the size of the file that `record` describes, in bytes, in `*size`.
VEK_API int vekFS_getFileSize(const vekFSStat *record, int64_t *size);

/// Stores the time of the last modification of the file that `record` describes in `*seconds`, in seconds.
VEK_API int vekFS_getFileModTime(const vekFSStat *record, int64_t *seconds);

// ---- directories

/// Opens the directory that a specifier names.
///
/// @param spec       borrowed until the directory is closed
/// @param directory  receives the directory, closed with vekFS_closedir(); null on every failure
VEK_API int vekFS_opendir(vekFSSpec *spec, vekFSDir **directory);

/// Reads the next entry of `directory`, "." and ".." included.
///
/// @param entry  receives the directory's one entry holder, which the next read overwrites; null at the end of
///               the directory and on every failure
/// @return 0, also at the end of the directory
VEK_API int vekFS_readdir(vekFSDir *directory, vekFSDirent **entry);

/// Begins again with the first entry of `directory`.
VEK_API int vekFS_rewinddir(vekFSDir *directory);

/// Closes `directory` and frees its handle and entry holder; the specifier stays.
///
/// @return 0; or the `errno` of a close that failed, and then nothing is freed: the only use that is left of
///         the handle is another vekFS_closedir(), which frees it
VEK_API int vekFS_closedir(vekFSDir *directory);

/// Copies the name of `entry`.
///
/// @param buffer  receives the name; untouched when it does not fit
/// @param size    its size in bytes, the NUL included
/// @param needed  receives the bytes that the name needs, also when it does not fit
/// @return 0, EINVAL, VEK_FS_BUFFER_TOO_SMALL, VEK_FS_NOT_SUPPORTED
VEK_API int vekFS_getDirentName(const vekFSDirent *entry, char *buffer, size_t size, size_t *needed);

// The native directory operations, for implementations whose directories are the system's: as the operations
// above, without a look at the specifier's implementation.

/// vekFS_opendir() of the native path of `spec`; `directory` receives the directory.
VEK_API int vekFSiOpendir(vekFSSpec *spec, vekFSDir **directory);

/// vekFS_readdir() of `directory`; `entry` receives the entry holder.
VEK_API int vekFSiReaddir(vekFSDir *directory, vekFSDirent **entry);

/// vekFS_rewinddir() of `directory`.
VEK_API int vekFSiRewinddir(vekFSDir *directory);

/// vekFS_closedir() of `directory`.
VEK_API int vekFSiClosedir(vekFSDir *directory);

/// vekFS_getDirentName() of `entry`, into the `size` bytes at `buffer`; `needed` receives what the name needs.
VEK_API int vekFSiGetDirentName(const vekFSDirent *entry, char *buffer, size_t size, size_t *needed);

// ---- archives

/// An open archive.
typedef struct vekZip vekZip;

// Archives are not supported: each of these returns VEK_FS_NOT_SUPPORTED, whatever it is given, and does
// nothing else.

/// Would open the archive `path` and store it in `*zip`.
VEK_API int vekZipOpenZip(const char *path, vekZip **zip);

/// Would close the archive `zip`.
VEK_API int vekZipCloseZip(vekZip *zip);

/// Would make a specifier for `path` inside the archive `zip` and store it in `*spec`.
VEK_API int vekZipCreateSpec(vekZip *zip, const char *path, vekFSSpec **spec);

/// Would pack a directory.
VEK_API int vekZip_zip(void);

/// Would unpack an archive.
VEK_API int vekZip_unzip(void);

VEK_END_DECLS

#endif
