#include "fs/veki_fs.h"

// The implementation table "vekFSStdio" of stream specifiers: files are buffered streams (FILE) of the C library,
// which fopen() opens.

#include "common/base/owned.h"

#include <array>
#include <cerrno>
#include <climits>
#include <fcntl.h>

namespace {

struct StreamMode {
    int access;
    int flag; ///< a flag that must be set in addition to the access mode; 0 for none
    const char *mode;
};

// Maps the flags of vekFS_open() to a mode for fopen(). The first row that matches the flags is used: the access
// mode of the row must be that of the flags, and the second flag of the row, if it is not 0, must be set. Documented:
// O_CREAT has no effect, because only the mode for fopen() determines whether a missing file is created.
constexpr std::array<StreamMode, 7> kStreamModes = {{
    {O_RDWR, O_APPEND, "a+"},
    {O_RDWR, O_TRUNC, "w+"},
    {O_RDWR, 0, "r+"},
    {O_WRONLY, O_APPEND, "a"},
    {O_WRONLY, O_TRUNC, "w"},
    // Documented: O_WRONLY without O_APPEND and O_TRUNC uses the mode "r+". The file must exist, keeps its content,
    // and can also be read.
    {O_WRONLY, 0, "r+"},
    {O_RDONLY, 0, "r"},
}};

/// @return the mode for fopen() that corresponds to the open() flags `flags`; null if the access mode in `flags` is
///         not O_RDONLY, O_WRONLY or O_RDWR
const char *streamMode(int flags) {
    for (const StreamMode &entry : kStreamModes) {
        if ((flags & O_ACCMODE) == entry.access && (flags & entry.flag) == entry.flag) {
            return entry.mode;
        }
    }
    return nullptr;
}

int stdioOpen(vekFSSpec *spec, int flags, vekFSFile **file) {
    const char *const mode = streamMode(flags);
    if (mode == nullptr) {
        return EINVAL;
    }
    // Allocate memory before fopen(): if memory is exhausted, no file has been created or truncated.
    vek::Owned<vekFSFile> handle = vek::make<vekFSFile>();
    if (!handle) {
        return ENOMEM;
    }
    vek::OwnedStream stream(std::fopen(spec->path, mode));
    if (!stream) {
        return errno;
    }
    handle->stream = stream.release();
    handle->spec = spec;
    *file = handle.release();
    return VEK_FS_OK;
}

/// Calls the function `Operation` with the stream of `file` and with `arguments`. Instances of this template are the
/// functions of the implementation table kStdio.
/// @return the result of the call; EBADF if `file` has no stream, because a failed fclose() has already freed it
template <auto Operation, typename... Arguments>
int onStream(vekFSFile *file, Arguments... arguments) {
    return file->stream != nullptr ? Operation(file->stream, arguments...) : EBADF;
}

int streamGetc(FILE *stream, int *character) {
    *character = std::fgetc(stream);
    return *character == EOF && std::ferror(stream) != 0 ? VEK_FS_BAD_STATUS : VEK_FS_OK;
}

/// Stores `count`, the number of bytes that fread() or fwrite() has returned, in `*result`.
/// @return errno if `count` is 0 and the error indicator of `stream` is set, otherwise 0. Documented: the result is 0
///         if an error occurred after some bytes were read or written
int transferred(FILE *stream, size_t count, ssize_t *result) {
    *result = static_cast<ssize_t>(count);
    return count == 0 && std::ferror(stream) != 0 ? errno : VEK_FS_OK;
}

int streamRead(FILE *stream, void *buffer, size_t length, ssize_t *count) {
    // transferred() returns errno if no byte is read and the error indicator of the stream is set. If an earlier call
    // has set the indicator, errno must be 0 here, and not the value of an old error.
    errno = 0;
    return transferred(stream, std::fread(buffer, 1, length, stream), count);
}

int streamWrite(FILE *stream, const void *buffer, size_t length, ssize_t *count) {
    errno = 0;
    return transferred(stream, std::fwrite(buffer, 1, length, stream), count);
}

int streamTell(FILE *stream, int64_t *position) {
    *position = ::ftello(stream);
    return *position == -1 ? errno : VEK_FS_OK;
}

int streamSeek(FILE *stream, int64_t offset, int whence, int64_t *position) {
    return ::fseeko(stream, offset, whence) != 0 ? errno : streamTell(stream, position);
}

int streamRewind(FILE *stream) {
    std::rewind(stream);
    return VEK_FS_OK;
}

int streamFlush(FILE *stream) {
    return std::fflush(stream) != 0 ? errno : VEK_FS_OK;
}

// In the next two functions, `file` is not the first argument, so they cannot be instances of onStream().

int stdioUngetc(int character, vekFSFile *file, int *result) {
    if (file->stream == nullptr) {
        return EBADF;
    }
    *result = std::ungetc(character, file->stream);
    return VEK_FS_OK;
}

int stdioFgets(char *buffer, size_t size, vekFSFile *file, char **line) {
    if (file->stream == nullptr) {
        return EBADF;
    }
    *line = std::fgets(buffer, size < INT_MAX ? static_cast<int>(size) : INT_MAX, file->stream);
    return *line == nullptr && std::ferror(file->stream) != 0 ? VEK_FS_BAD_STATUS : VEK_FS_OK;
}

int stdioClose(vekFSFile *file) {
    if (file->stream != nullptr) {
        const int status = std::fclose(file->stream) != 0 ? errno : VEK_FS_OK;
        // fclose() frees the stream even if it fails, so fclose() must not be called again.
        file->stream = nullptr;
        if (status != VEK_FS_OK) {
            return status;
        }
    }
    return vekfs::freeFile(file);
}

constexpr vekFSIODef kStdio = {
    .name = "vekFSStdio",
    .freeSpec = vekfs::freePathSpec,
    .getSpecString = vekfs::getPathString,
    .open = stdioOpen,
    .getc = onStream<streamGetc>,
    .ungetc = stdioUngetc,
    .fgets = stdioFgets,
    .read = onStream<streamRead>,
    .write = onStream<streamWrite>,
    .seek = onStream<streamSeek>,
    .tell = onStream<streamTell>,
    .rewind = onStream<streamRewind>,
    .fsync = onStream<streamFlush>,
    .close = stdioClose,
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

} // namespace

int vekFSStdioCreatePathSpec(const char *path, vekFSSpec **spec) {
    return vekfs::createPathSpec(path, &kStdio, spec);
}

int vekFSStdio_openFile(const char *path, int flags, vekFSFile **file) {
    return vekfs::openFile(path, &kStdio, flags, file);
}
