#include "fs/veki_fs.h"

// The implementation table of native specifiers: a path or file descriptor is passed to one system call per operation.

#include "common/base/owned.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// The permission bits of a file that open() creates. The umask of the process can remove bits.
constexpr mode_t kCreationMode = 0666;

/// Stored in vekFSFile::descriptor after close() has failed, so that a second nativeClose() does not close the
/// descriptor again.
constexpr int kNoDescriptor = -1;

/// @return the status of a system call that returned `result`: errno if `result` is -1, otherwise 0
template <typename Result>
int statusOf(Result result) {
    return result == -1 ? errno : VEK_FS_OK;
}

int nativeOpen(vekFSSpec *spec, int flags, vekFSFile **file) {
    // Allocate memory before open(): if memory is exhausted, no file has been created or truncated.
    vek::Owned<vekFSFile> handle = vek::make<vekFSFile>();
    if (!handle) {
        return ENOMEM;
    }
    const int descriptor = ::open(spec->path, flags, kCreationMode);
    if (descriptor == -1) {
        return errno;
    }
    handle->descriptor = descriptor;
    handle->spec = spec;
    *file = handle.release();
    return VEK_FS_OK;
}

int nativeRead(vekFSFile *file, void *buffer, size_t length, ssize_t *count) {
    *count = ::read(file->descriptor, buffer, length);
    return statusOf(*count);
}

int nativeWrite(vekFSFile *file, const void *buffer, size_t length, ssize_t *count) {
    *count = ::write(file->descriptor, buffer, length);
    return statusOf(*count);
}

int nativeSeek(vekFSFile *file, int64_t offset, int whence, int64_t *position) {
    *position = ::lseek(file->descriptor, offset, whence);
    return statusOf(*position);
}

int nativeTell(vekFSFile *file, int64_t *position) {
    return nativeSeek(file, 0, SEEK_CUR, position);
}

int nativeRewind(vekFSFile *file) {
    // Documented: an error of lseek() is ignored. The result is therefore 0 even for a pipe, which has no position.
    static_cast<void>(::lseek(file->descriptor, 0, SEEK_SET));
    return VEK_FS_OK;
}

int nativeFsync(vekFSFile *file) {
    return statusOf(::fsync(file->descriptor));
}

int nativeClose(vekFSFile *file) {
    if (file->descriptor != kNoDescriptor) {
        const int status = statusOf(::close(file->descriptor));
        // Linux frees the descriptor even if close() fails, so close() must not be called again.
        file->descriptor = kNoDescriptor;
        if (status != VEK_FS_OK) {
            return status;
        }
    }
    return vekfs::freeFile(file);
}

} // namespace

int vekfs::getStatus(vekFSSpec *spec, vekFSStat *record) {
    if (::stat(spec->path, &record->status) != 0) {
        return errno;
    }
    record->spec = spec;
    return VEK_FS_OK;
}

int vekfs::getLinkStatus(vekFSSpec *spec, vekFSStat *record) {
    if (::lstat(spec->path, &record->status) != 0) {
        return errno;
    }
    record->spec = spec;
    return VEK_FS_OK;
}

int vekfs::getFileMode(const vekFSStat *record, mode_t *mode) {
    *mode = record->status.st_mode;
    return VEK_FS_OK;
}

int vekfs::getFileGID(const vekFSStat *record, gid_t *gid) {
    *gid = record->status.st_gid;
    return VEK_FS_OK;
}

int vekfs::getFileUID(const vekFSStat *record, uid_t *uid) {
    *uid = record->status.st_uid;
    return VEK_FS_OK;
}

int vekfs::getFileSize(const vekFSStat *record, int64_t *size) {
    *size = record->status.st_size;
    return VEK_FS_OK;
}

int vekfs::getFileModTime(const vekFSStat *record, int64_t *seconds) {
    *seconds = record->status.st_mtime;
    return VEK_FS_OK;
}

constexpr vekFSIODef vekfs::kNative = {
    .name = nullptr,
    .freeSpec = vekfs::freePathSpec,
    .getSpecString = vekfs::getPathString,
    .open = nativeOpen,
    // Not supported: reading single characters or lines needs a buffer in memory, which native files do not have.
    .getc = nullptr,
    .ungetc = nullptr,
    .fgets = nullptr,
    .read = nativeRead,
    .write = nativeWrite,
    .seek = nativeSeek,
    .tell = nativeTell,
    .rewind = nativeRewind,
    .fsync = nativeFsync,
    .close = nativeClose,
    .stat = vekfs::getStatus,
    .lstat = vekfs::getLinkStatus,
    .getFileMode = vekfs::getFileMode,
    .getFileGID = vekfs::getFileGID,
    .getFileUID = vekfs::getFileUID,
    .getFileSize = vekfs::getFileSize,
    .getFileModTime = vekfs::getFileModTime,
    .opendir = vekFSiOpendir,
    .readdir = vekFSiReaddir,
    .rewinddir = vekFSiRewinddir,
    .closedir = vekFSiClosedir,
    .getDirentName = vekFSiGetDirentName,
};

int vekFS_openFile(const char *path, int flags, vekFSFile **file) {
    return vekfs::openFile(path, nullptr, flags, file);
}
