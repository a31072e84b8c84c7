#ifndef VEK_FS_H
#define VEK_FS_H

/// One interface for files and directories in different kinds of storage.
///
/// A specifier is a path with an optional implementation table. Every operation takes a specifier, or a file,
/// directory, entry or stat record that was obtained from one. Without a table the specifier is native, and the
/// operation is a system call. With a table, each operation has a slot, a function pointer in the table, and calls
/// this function. If the slot is null, the operation is not supported.
///
/// Every function returns a status: 0, an `errno` value, or a negative VEK_FS_ code. A null pointer gives EINVAL
/// before anything else is checked, unless the parameter is marked "may be null". Exhausted memory gives ENOMEM.
/// A system call that fails gives its `errno`. Nothing is printed, and there is no process-wide state.
///
/// A file, a directory and a stat record keep a pointer to their specifier. Free the specifier only after the
/// file or directory is closed and the fields of the stat record are read.

#include "common/base/vek_api.h"

#include <dirent.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/types.h>

VEK_BEGIN_DECLS

/// Statuses that are not `errno` values.
enum {
    VEK_FS_OK = 0,
    VEK_FS_BAD_STATUS = -1,       ///< a stream could not be read
    VEK_FS_BUFFER_TOO_SMALL = -2, ///< the text and its NUL do not fit into the buffer
    VEK_FS_NOT_SUPPORTED = -4     ///< the implementation does not have this operation
};

typedef struct vekFSIODef vekFSIODef;

/// A specifier: a path and its implementation.
typedef struct vekFSSpec {
    char *path;                       ///< owned; an implementation may store a record of its own here
    const vekFSIODef *implementation; ///< null for a native specifier
    int32_t autoFree;                 ///< 1 if vekFS_close() of the file also frees this specifier
} vekFSSpec;

/// An open file.
typedef struct vekFSFile {
    VEK_EXTENSION union {
        int32_t descriptor; ///< of a native file
        FILE *stream;       ///< of a file of the stream implementation
        void *data;         ///< of a file of another implementation
    };
    vekFSSpec *spec;
} vekFSFile;

/// A copy of a directory entry as readdir() returns it, without the type.
typedef struct vekFSEntryBuffer {
    uint16_t recordLength;
    char name[VEK_PATH_SIZE];
} vekFSEntryBuffer;

/// The entry holder of an open directory: the entry that vekFS_readdir() has read last.
typedef struct vekFSDirent {
    vekFSEntryBuffer *buffer;
    vekFSSpec *spec;
    /// Type of the entry, a DT_ value of <dirent.h>. DT_UNKNOWN (0) if the file system does not give it; call
    /// vekFS_stat() then. DT_LNK means that the entry is a symbolic link; the type of its target is not given.
    unsigned char type;
} vekFSDirent;

/// An open directory.
typedef struct vekFSDir {
    VEK_EXTENSION union {
        DIR *stream; ///< of a directory that vekFSiOpendir() has opened
        void *data;  ///< of a directory of another implementation
    };
    vekFSSpec *spec;
    vekFSDirent *entry; ///< overwritten by each vekFS_readdir()
} vekFSDir;

/// A stat record, filled by vekFS_stat() and vekFS_lstat(). The caller allocates it.
typedef struct vekFSStat {
    vekFSSpec *spec;
    struct stat status;
} vekFSStat;

/// An implementation table: a name, and one slot for each operation. A null slot means "not supported". The
/// vekFS function of each operation checks its arguments for null and passes them to the slot of the same name.
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

/// Creates a native specifier for `path`. The path is copied and need not exist.
///
/// @param spec  receives the specifier, which the caller frees with vekFSFreeSpec(); null after a failure
/// @return 0, EINVAL or ENOMEM
VEK_API int vekFSCreatePathSpec(const char *path, vekFSSpec **spec);

/// Creates a specifier for `path` that uses buffered streams, so that vekFS_fgets(), vekFS_getc() and
/// vekFS_ungetc() work, and stores it in `*spec`. Otherwise like vekFSCreatePathSpec().
VEK_API int vekFSStdioCreatePathSpec(const char *path, vekFSSpec **spec);

/// Frees `spec` and the memory that it owns, such as its path.
VEK_API int vekFSFreeSpec(vekFSSpec *spec);

/// Copies the text of `spec`. This is its path, unless the implementation returns another text.
///
/// @param buffer  receives the text; unchanged if it does not fit
/// @param size    size of `buffer` in bytes, including the NUL
/// @param needed  receives the number of bytes that the text needs, even if it does not fit; may be null
/// @return 0, EINVAL, VEK_FS_BUFFER_TOO_SMALL or VEK_FS_NOT_SUPPORTED
VEK_API int vekFSGetSpecString(const vekFSSpec *spec, char *buffer, size_t size, size_t *needed);

/// Gets the name of the implementation of `spec`.
///
/// @param name  receives a constant string; null for a native specifier
VEK_API int vekFSGetSpecIOImpName(const vekFSSpec *spec, const char **name);

/// Copies the text of the status `code`: "OK", the text of strerror() for an `errno` value, or the text of a
/// VEK_FS_ code. Other negative values give "Unknown error".
///
/// @param buffer  receives the text; may be null, to get the size only
/// @param size    size of `buffer` in bytes, including the NUL
/// @param needed  receives the number of bytes that the text needs; may be null
/// @return 0; VEK_FS_BUFFER_TOO_SMALL if nothing was copied
VEK_API int vekFS_strerror(int code, char *buffer, size_t size, size_t *needed);

// ---- files

/// Opens the file of a specifier.
///
/// Native specifiers: `flags` are those of open(). A new file has mode 0666, reduced by the umask. Stream
/// specifiers: with O_RDWR or O_WRONLY, O_APPEND opens for appending, and O_TRUNC empties the file; both create a
/// missing file. Without O_APPEND and O_TRUNC, the file must exist. It is then opened for reading and writing, and
/// its content is kept. O_RDONLY opens for reading. O_CREAT has no effect.
///
/// @param spec  must remain until the file is closed
/// @param file  receives the file, which vekFS_close() closes; null after a failure
VEK_API int vekFS_open(vekFSSpec *spec, int flags, vekFSFile **file);

/// Opens the file `path` with `flags` and stores it in `*file`, like vekFS_open() with a new native specifier.
/// vekFS_close() frees the specifier.
VEK_API int vekFS_openFile(const char *path, int flags, vekFSFile **file);

/// Opens the file `path` with `flags` and stores it in `*file`, like vekFS_open() with a new stream specifier.
/// vekFS_close() frees the specifier.
VEK_API int vekFSStdio_openFile(const char *path, int flags, vekFSFile **file);

/// Reads one character of `file`. Native files do not support it.
///
/// @param character  receives the character as an unsigned char, or EOF
/// @return 0, also at the end of the file; VEK_FS_BAD_STATUS after a read error
VEK_API int vekFS_getc(vekFSFile *file, int *character);

/// Pushes `character` back into `file`; the next read returns it. Native files do not support it.
///
/// @param result  receives `character`, or EOF if it could not be pushed back
/// @return 0 in both cases
VEK_API int vekFS_ungetc(int character, vekFSFile *file, int *result);

/// Reads one line of `file`, including its newline, at most `size` - 1 characters. Native files do not support
/// it.
///
/// @param buffer  receives the line and a NUL
/// @param line    receives `buffer`, or null at the end of the file
/// @return 0, also at the end of the file; VEK_FS_BAD_STATUS after a read error
VEK_API int vekFS_fgets(char *buffer, size_t size, vekFSFile *file, char **line);

/// Reads up to `length` bytes of `file` into `buffer`.
///
/// @param count  receives the number of bytes read, 0 at the end of the file; after a failure -1 for native files
///               and 0 for streams
VEK_API int vekFS_read(vekFSFile *file, void *buffer, size_t length, ssize_t *count);

/// Writes up to `length` bytes of `buffer` to `file`. A stream writes them later: if the disk is full, only
/// vekFS_fsync() or vekFS_close() returns the error.
///
/// @param count  receives the number of bytes accepted; after a failure -1 for native files and 0 for streams
VEK_API int vekFS_write(vekFSFile *file, const void *buffer, size_t length, ssize_t *count);

/// Sets the position of `file` to `offset` bytes from the start, the current position or the end of the file.
///
/// @param whence    SEEK_SET, SEEK_CUR or SEEK_END
/// @param position  receives the new position in bytes from the start
VEK_API int vekFS_seek(vekFSFile *file, int64_t offset, int whence, int64_t *position);

/// Gets the position of `file`.
///
/// @param position  receives the position in bytes from the start
VEK_API int vekFS_tell(vekFSFile *file, int64_t *position);

/// Sets the position of `file` to the start.
/// @return 0, also if the file has no position, such as a pipe
VEK_API int vekFS_rewind(vekFSFile *file);

/// Native files: fsync() of `file`. Stream files: fflush(), which does not synchronize the disk.
VEK_API int vekFS_fsync(vekFSFile *file);

/// Closes `file` and frees its handle, and its specifier if vekFS_openFile() or vekFSStdio_openFile() created it.
///
/// @return 0; or the `errno` of a failed close. After a failure nothing is freed: call vekFS_close() once more,
///         which frees the handle, and do nothing else with it
VEK_API int vekFS_close(vekFSFile *file);

// ---- stat records

/// Gets the stat record of the file of `spec`. Follows symbolic links.
///
/// @param record  the caller's record; valid after success only
VEK_API int vekFS_stat(vekFSSpec *spec, vekFSStat *record);

/// Stores a stat record in `record` like vekFS_stat(). If the path of `spec` is a symbolic link, this is the record
/// of the link itself, not of its target.
VEK_API int vekFS_lstat(vekFSSpec *spec, vekFSStat *record);

// The next functions read the fields of a record that vekFS_stat() or vekFS_lstat() filled.

/// Stores the file type and the permission bits of `record` in `*mode`.
VEK_API int vekFS_getFileMode(const vekFSStat *record, mode_t *mode);

/// Stores the group ID of `record` in `*gid`.
VEK_API int vekFS_getFileGID(const vekFSStat *record, gid_t *gid);

/// Stores the owner's user ID of `record` in `*uid`.
VEK_API int vekFS_getFileUID(const vekFSStat *record, uid_t *uid);

/// Stores the file size of `record`, in bytes, in `*size`.
VEK_API int vekFS_getFileSize(const vekFSStat *record, int64_t *size);

/// Stores the modification time of `record`, in seconds, in `*seconds`.
VEK_API int vekFS_getFileModTime(const vekFSStat *record, int64_t *seconds);

// ---- directories

/// Opens the directory of a specifier.
///
/// @param spec       must remain until the directory is closed
/// @param directory  receives the directory, which vekFS_closedir() closes; null after a failure
VEK_API int vekFS_opendir(vekFSSpec *spec, vekFSDir **directory);

/// Reads the next entry of `directory`. The entries include "." and "..".
///
/// @param entry  receives the directory's entry holder, which the next call overwrites; null at the end of the
///               directory and after a failure
/// @return 0, also at the end of the directory
VEK_API int vekFS_readdir(vekFSDir *directory, vekFSDirent **entry);

/// Sets `directory` back to its first entry.
VEK_API int vekFS_rewinddir(vekFSDir *directory);

/// Closes `directory` and frees its handle and entry holder. The specifier is not freed.
///
/// @return 0; or the `errno` of a failed close. After a failure nothing is freed: call vekFS_closedir() once
///         more, which frees the handle, and do nothing else with it
VEK_API int vekFS_closedir(vekFSDir *directory);

/// Copies the name of `entry`.
///
/// @param buffer  receives the name; unchanged if it does not fit
/// @param size    size of `buffer` in bytes, including the NUL
/// @param needed  receives the number of bytes that the name needs, even if it does not fit
/// @return 0, EINVAL, VEK_FS_BUFFER_TOO_SMALL or VEK_FS_NOT_SUPPORTED
VEK_API int vekFS_getDirentName(const vekFSDirent *entry, char *buffer, size_t size, size_t *needed);

// The native directory operations, for the slots of implementations whose directories are native. They do not
// look at the specifier's implementation.

/// Opens the native directory of `spec` and stores it in `*directory`; otherwise like vekFS_opendir().
VEK_API int vekFSiOpendir(vekFSSpec *spec, vekFSDir **directory);

/// Reads the next entry of the native `directory` and stores it in `*entry`; otherwise like vekFS_readdir().
VEK_API int vekFSiReaddir(vekFSDir *directory, vekFSDirent **entry);

/// Sets the native `directory` back to its first entry.
VEK_API int vekFSiRewinddir(vekFSDir *directory);

/// Closes the native `directory`; otherwise like vekFS_closedir().
VEK_API int vekFSiClosedir(vekFSDir *directory);

/// Copies the name of the native `entry` into the `size` bytes at `buffer` and stores the number of bytes that it
/// needs in `*needed`; otherwise like vekFS_getDirentName().
VEK_API int vekFSiGetDirentName(const vekFSDirent *entry, char *buffer, size_t size, size_t *needed);

// ---- archives

/// An open archive.
typedef struct vekZip vekZip;

// Archives are not supported. Each of these functions does nothing and returns VEK_FS_NOT_SUPPORTED.

/// Reserved for opening the archive `path` and storing it in `*zip`.
VEK_API int vekZipOpenZip(const char *path, vekZip **zip);

/// Reserved for closing the archive `zip`.
VEK_API int vekZipCloseZip(vekZip *zip);

/// Reserved for creating a specifier for `path` in the archive `zip` and storing it in `*spec`.
VEK_API int vekZipCreateSpec(vekZip *zip, const char *path, vekFSSpec **spec);

/// Reserved for packing a directory.
VEK_API int vekZip_zip(void);

/// Reserved for unpacking an archive.
VEK_API int vekZip_unzip(void);

VEK_END_DECLS

#endif
