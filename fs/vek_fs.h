#ifndef VEK_FS_H
#define VEK_FS_H

/// One interface for files and directories in different kinds of storage.
///
/// A specifier (`vekFSSpec`) is a path with an optional implementation table (`vekFSIODef`). The table contains
/// one function pointer for each operation. Without a table the specifier is native, and an operation is a
/// system call. With a table, an operation calls the function in the table. If the pointer is null, the
/// operation is not supported.
///
/// An open file, an open directory, a directory entry and a stat record contain a pointer to their specifier.
/// Therefore free the specifier only after the file or directory is closed and the fields of the stat record
/// are read.
///
/// Every function returns a status: 0, an `errno` value, or a negative VEK_FS_ code. If an argument is null,
/// the status is EINVAL, unless the parameter is marked "may be null"; null arguments are checked first. If
/// memory is exhausted, the status is ENOMEM. If a system call fails, the status is its `errno`. Nothing is
/// printed, and there is no process-wide state.

#include "common/base/vek_api.h"

#include <dirent.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/types.h>

VEK_BEGIN_DECLS

/// Status codes that are not `errno` values.
enum {
    VEK_FS_OK = 0,
    VEK_FS_BAD_STATUS = -1,       ///< a stream could not be read
    VEK_FS_BUFFER_TOO_SMALL = -2, ///< the text and its NUL do not fit into the buffer
    VEK_FS_NOT_SUPPORTED = -4     ///< the implementation does not have this operation
};

typedef struct vekFSIODef vekFSIODef;

/// A specifier: a path, and the implementation table for files and directories at this path. The caller frees
/// the specifier with vekFSFreeSpec().
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

/// Copy of a directory entry that readdir() has returned: the record length (`d_reclen`) and the name, but not
/// the type.
typedef struct vekFSEntryBuffer {
    uint16_t recordLength;
    char name[VEK_PATH_SIZE];
} vekFSEntryBuffer;

/// The directory entry that vekFS_readdir() has read last. An open directory has one such object, which every
/// vekFS_readdir() overwrites.
typedef struct vekFSDirent {
    vekFSEntryBuffer *buffer;
    vekFSSpec *spec;
    /// Type of the entry, a DT_ value of <dirent.h>. DT_UNKNOWN (0) means that the file system does not report
    /// types: then call vekFS_stat(). DT_LNK means that the entry is a symbolic link; the type of its target is
    /// not stored.
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

/// A stat record: the `struct stat` of a file, stored by vekFS_stat() or vekFS_lstat(). The caller allocates
/// the record.
typedef struct vekFSStat {
    vekFSSpec *spec;
    struct stat status;
} vekFSStat;

/// An implementation table: the name of an implementation and one function pointer for each operation. A null
/// pointer means that the operation is not supported. The vekFS function of an operation checks its arguments
/// for null and passes them to the function pointer of the same name.
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

/// Creates a native specifier for `path`. The path is copied. A file with this path need not exist.
///
/// @param spec  receives the specifier, which the caller frees with vekFSFreeSpec(); null after a failure
/// @return 0, EINVAL or ENOMEM
VEK_API int vekFSCreatePathSpec(const char *path, vekFSSpec **spec);

/// Creates a specifier for `path` and stores it in `*spec`, like vekFSCreatePathSpec(). Files that are opened
/// with this specifier are buffered streams, which support vekFS_fgets(), vekFS_getc() and vekFS_ungetc().
VEK_API int vekFSStdioCreatePathSpec(const char *path, vekFSSpec **spec);

/// Frees the specifier `spec` and the memory that it owns, such as its path.
VEK_API int vekFSFreeSpec(vekFSSpec *spec);

/// Copies the text of the specifier `spec` to `buffer`. The text is the path, unless the implementation returns
/// another text.
///
/// @param buffer  receives the text; unchanged if it does not fit
/// @param size    size of `buffer` in bytes, including the NUL
/// @param needed  receives the number of bytes that the text needs, even if it does not fit; may be null
/// @return 0, EINVAL, VEK_FS_BUFFER_TOO_SMALL or VEK_FS_NOT_SUPPORTED
VEK_API int vekFSGetSpecString(const vekFSSpec *spec, char *buffer, size_t size, size_t *needed);

/// Stores the name of the implementation of the specifier `spec` in `*name`.
///
/// @param name  receives a constant string; null for a native specifier
VEK_API int vekFSGetSpecIOImpName(const vekFSSpec *spec, const char **name);

/// Copies the text of the status `code` to `buffer`: "OK", the text of strerror() for an `errno` value, or the
/// text of a VEK_FS_ code. The text of any other negative value is "Unknown error".
///
/// @param buffer  receives the text; may be null, to get the size only
/// @param size    size of `buffer` in bytes, including the NUL
/// @param needed  receives the number of bytes that the text needs; may be null
/// @return 0; VEK_FS_BUFFER_TOO_SMALL if nothing was copied
VEK_API int vekFS_strerror(int code, char *buffer, size_t size, size_t *needed);

// ---- files

/// Opens the file at the path of the specifier `spec`.
///
/// Native specifiers: `flags` are the flags of open(). A new file has mode 0666, reduced by the umask.
///
/// Stream specifiers: O_RDONLY opens for reading. O_RDWR or O_WRONLY together with O_APPEND opens for
/// appending; together with O_TRUNC, the content of the file is removed. In both cases, a missing file is
/// created. O_RDWR or O_WRONLY without these two flags opens an existing file for reading and writing, and its
/// content is kept. O_CREAT has no effect.
///
/// @param spec  must not be freed before the file is closed
/// @param file  receives the file, which vekFS_close() closes; null after a failure
VEK_API int vekFS_open(vekFSSpec *spec, int flags, vekFSFile **file);

/// Opens the file `path` with `flags` and stores it in `*file`, like vekFS_open() with a new native specifier.
/// When the file is closed, vekFS_close() also frees this specifier.
VEK_API int vekFS_openFile(const char *path, int flags, vekFSFile **file);

/// Opens the file `path` with `flags` and stores it in `*file`, like vekFS_open() with a new stream specifier.
/// When the file is closed, vekFS_close() also frees this specifier.
VEK_API int vekFSStdio_openFile(const char *path, int flags, vekFSFile **file);

/// Reads one character of the stream file `file`. A native file does not support this operation.
///
/// @param character  receives the character as an unsigned char, or EOF
/// @return 0, also at the end of the file; VEK_FS_BAD_STATUS after a read error
VEK_API int vekFS_getc(vekFSFile *file, int *character);

/// Pushes `character` back into the stream file `file`, so that the next read returns it. A native file does
/// not support this operation.
///
/// @param result  receives `character`, or EOF if it could not be pushed back
/// @return 0 in both cases
VEK_API int vekFS_ungetc(int character, vekFSFile *file, int *result);

/// Reads one line of the stream file `file`, including its newline, but at most `size` - 1 characters. A native
/// file does not support this operation.
///
/// @param buffer  receives the line and a NUL
/// @param line    receives `buffer`, or null at the end of the file
/// @return 0, also at the end of the file; VEK_FS_BAD_STATUS after a read error
VEK_API int vekFS_fgets(char *buffer, size_t size, vekFSFile *file, char **line);

/// Reads up to `length` bytes of `file` into `buffer`.
///
/// @param count  receives the number of bytes read, 0 at the end of the file. After a failure, it receives -1
///               for a native file and 0 for a stream file
VEK_API int vekFS_read(vekFSFile *file, void *buffer, size_t length, ssize_t *count);

/// Writes up to `length` bytes of `buffer` to `file`. A stream file can keep the bytes in memory until it is
/// flushed. Therefore an error such as a full disk can first be returned by vekFS_fsync() or vekFS_close().
///
/// @param count  receives the number of bytes accepted. After a failure, it receives -1 for a native file and 0
///               for a stream file
VEK_API int vekFS_write(vekFSFile *file, const void *buffer, size_t length, ssize_t *count);

/// Sets the read and write position of `file`. The new position is `offset` bytes after the position that
/// `whence` selects; `offset` can be negative.
///
/// @param whence    SEEK_SET (start of the file), SEEK_CUR (current position) or SEEK_END (end of the file)
/// @param position  receives the new position in bytes from the start
VEK_API int vekFS_seek(vekFSFile *file, int64_t offset, int whence, int64_t *position);

/// Stores the read and write position of `file` in `*position`.
///
/// @param position  receives the position in bytes from the start
VEK_API int vekFS_tell(vekFSFile *file, int64_t *position);

/// Sets the read and write position of `file` to the start.
/// @return 0, even if `file` has no position, such as a pipe
VEK_API int vekFS_rewind(vekFSFile *file);

/// Flushes `file`. For a native file, calls fsync(), which writes the data to the disk. For a stream file,
/// calls fflush(), which does not synchronize the disk.
VEK_API int vekFS_fsync(vekFSFile *file);

/// Closes and frees `file`. Also frees its specifier if vekFS_openFile() or vekFSStdio_openFile() created the
/// specifier.
///
/// @return 0; or the `errno` of a failed close. After a failure nothing is freed: call vekFS_close() once more
///         to free `file`, and do nothing else with it
VEK_API int vekFS_close(vekFSFile *file);

// ---- stat records

/// Stores the stat record of the file at the path of the specifier `spec` in `record`. Follows symbolic links.
///
/// @param record  allocated by the caller; valid after success only
VEK_API int vekFS_stat(vekFSSpec *spec, vekFSStat *record);

/// Stores the stat record of the path of the specifier `spec` in `record`, like vekFS_stat(). If the path is a
/// symbolic link, the record describes the link itself, not its target.
VEK_API int vekFS_lstat(vekFSSpec *spec, vekFSStat *record);

// The next functions each read one field of a stat record that vekFS_stat() or vekFS_lstat() has filled.

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

/// Opens the directory at the path of the specifier `spec`.
///
/// @param spec       must not be freed before the directory is closed
/// @param directory  receives the directory, which vekFS_closedir() closes; null after a failure
VEK_API int vekFS_opendir(vekFSSpec *spec, vekFSDir **directory);

/// Reads the next entry of `directory`. The entries include "." and "..".
///
/// @param entry  receives a pointer to the entry, which belongs to `directory` and is overwritten by the next
///               call; null at the end of the directory and after a failure
/// @return 0, also at the end of the directory
VEK_API int vekFS_readdir(vekFSDir *directory, vekFSDirent **entry);

/// Sets `directory` back to its first entry, which the next vekFS_readdir() returns.
VEK_API int vekFS_rewinddir(vekFSDir *directory);

/// Closes and frees `directory` and its entry. The specifier is not freed.
///
/// @return 0; or the `errno` of a failed close. After a failure nothing is freed: call vekFS_closedir() once
///         more to free `directory`, and do nothing else with it
VEK_API int vekFS_closedir(vekFSDir *directory);

/// Copies the name of the directory entry `entry` to `buffer`.
///
/// @param buffer  receives the name; unchanged if it does not fit
/// @param size    size of `buffer` in bytes, including the NUL
/// @param needed  receives the number of bytes that the name needs, even if it does not fit
/// @return 0, EINVAL, VEK_FS_BUFFER_TOO_SMALL or VEK_FS_NOT_SUPPORTED
VEK_API int vekFS_getDirentName(const vekFSDirent *entry, char *buffer, size_t size, size_t *needed);

// The native directory operations. An implementation whose directories are native can store these functions in
// its implementation table. They do not use the implementation table of the specifier.

/// Opens the native directory at the path of `spec` and stores it in `*directory`; otherwise like
/// vekFS_opendir().
VEK_API int vekFSiOpendir(vekFSSpec *spec, vekFSDir **directory);

/// Reads the next entry of the native `directory` and stores it in `*entry`; otherwise like vekFS_readdir().
VEK_API int vekFSiReaddir(vekFSDir *directory, vekFSDirent **entry);

/// Sets the native `directory` back to its first entry.
VEK_API int vekFSiRewinddir(vekFSDir *directory);

/// Closes the native `directory`; otherwise like vekFS_closedir().
VEK_API int vekFSiClosedir(vekFSDir *directory);

/// Copies the name of the native directory entry `entry` to `buffer`, which has `size` bytes, and stores the
/// number of bytes that the name needs in `*needed`; otherwise like vekFS_getDirentName().
VEK_API int vekFSiGetDirentName(const vekFSDirent *entry, char *buffer, size_t size, size_t *needed);

// ---- archives

/// An open archive.
typedef struct vekZip vekZip;

// Archives are not supported. Each of the next functions does nothing and returns VEK_FS_NOT_SUPPORTED.

/// Reserved for opening the archive `path` and storing it in `*zip`. Returns VEK_FS_NOT_SUPPORTED.
VEK_API int vekZipOpenZip(const char *path, vekZip **zip);

/// Reserved for closing the archive `zip`. Returns VEK_FS_NOT_SUPPORTED.
VEK_API int vekZipCloseZip(vekZip *zip);

/// Reserved for creating a specifier for `path` in the archive `zip` and storing it in `*spec`. Returns
/// VEK_FS_NOT_SUPPORTED.
VEK_API int vekZipCreateSpec(vekZip *zip, const char *path, vekFSSpec **spec);

/// Reserved for packing a directory into an archive. Returns VEK_FS_NOT_SUPPORTED.
VEK_API int vekZip_zip(void);

/// Reserved for unpacking an archive. Returns VEK_FS_NOT_SUPPORTED.
VEK_API int vekZip_unzip(void);

VEK_END_DECLS

#endif
