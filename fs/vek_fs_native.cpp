#include "common/base/owned.h"
#include "fs/veki_fs.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// What open() takes off by the umask when it creates a file.
constexpr mode_t kCreationMode = 0666;

/// Of a handle whose file is closed already.
constexpr int kNoDescriptor = -1;

/// The status of a system call that returned `result`.
template <typename Result>
int statusOf(Result result) {
    return result == -1 ? errno : VEK_FS_OK;
}

int nativeOpen(vekFSSpec *spec, int flags, vekFSFile **file) {
    // The handle comes first: when memory is exhausted, no file has been created or cut.
    vek::Owned<vekFSFile> handle(static_cast<vekFSFile *>(std::malloc(sizeof(vekFSFile))));
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
    // Deliberately without a look at the result: a pipe, too, is rewound with success.
    static_cast<void>(::lseek(file->descriptor, 0, SEEK_SET));
    return VEK_FS_OK;
}

int nativeFsync(vekFSFile *file) {
    return statusOf(::fsync(file->descriptor));
}

int nativeClose(vekFSFile *file) {
    if (file->descriptor != kNoDescriptor) {
        const int status = statusOf(::close(file->descriptor));
        // The system has given the number away even when closing failed.
        file->descriptor = kNoDescriptor;
        if (status != VEK_FS_OK) {
            return status;
        }
    }
    return vekFSiFreeFile(file);
}

} // namespace

int vekFSiStat(vekFSSpec *spec, vekFSStat *record) {
    if (::stat(spec->path, &record->status) != 0) {
        return errno;
    }
    record->spec = spec;
    return VEK_FS_OK;
}

int vekFSiLstat(vekFSSpec *spec, vekFSStat *record) {
    if (::lstat(spec->path, &record->status) != 0) {
        return errno;
    }
    record->spec = spec;
    return VEK_FS_OK;
}

int vekFSiGetFileMode(const vekFSStat *record, mode_t *mode) {
    *mode = record->status.st_mode;
    return VEK_FS_OK;
}

int vekFSiGetFileGID(const vekFSStat *record, gid_t *gid) {
    *gid = record->status.st_gid;
    return VEK_FS_OK;
}

int vekFSiGetFileUID(const vekFSStat *record, uid_t *uid) {
    *uid = record->status.st_uid;
    return VEK_FS_OK;
}

int vekFSiGetFileSize(const vekFSStat *record, int64_t *size) {
    *size = record->status.st_size;
    return VEK_FS_OK;
}

int vekFSiGetFileModTime(const vekFSStat *record, int64_t *seconds) {
    *seconds = record->status.st_mtime;
    return VEK_FS_OK;
}

extern constexpr vekFSIODef vekFSiNative = {
    .name = nullptr,
    .freeSpec = vekFSiFreePathSpec,
    .getSpecString = vekFSiGetPathString,
    .open = nativeOpen,
    // Characters and lines need a buffer, which native files do not have.
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
    .stat = vekFSiStat,
    .lstat = vekFSiLstat,
    .getFileMode = vekFSiGetFileMode,
    .getFileGID = vekFSiGetFileGID,
    .getFileUID = vekFSiGetFileUID,
    .getFileSize = vekFSiGetFileSize,
    .getFileModTime = vekFSiGetFileModTime,
    .opendir = vekFSiOpendir,
    .readdir = vekFSiReaddir,
    .rewinddir = vekFSiRewinddir,
    .closedir = vekFSiClosedir,
    .getDirentName = vekFSiGetDirentName,
};

int vekFS_openFile(const char *path, int flags, vekFSFile **file) {
    return vekFSiOpenFile(path, nullptr, flags, file);
}
