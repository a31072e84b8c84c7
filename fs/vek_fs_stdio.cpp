#include "common/base/owned.h"
#include "fs/veki_fs.h"

#include <array>
#include <cerrno>
#include <climits>
#include <fcntl.h>

namespace {

struct StreamMode {
    int access;
    int flag; ///< asked for beside the access, or 0
    const char *mode;
};

// In order of precedence. O_CREAT is deliberately not looked at: the mode alone decides whether the file is
// created.
constexpr std::array<StreamMode, 7> kStreamModes = {{
    {O_RDWR, O_APPEND, "a+"},
    {O_RDWR, O_TRUNC, "w+"},
    {O_RDWR, 0, "r+"},
    {O_WRONLY, O_APPEND, "a"},
    {O_WRONLY, O_TRUNC, "w"},
    // Opened for reading, too, so that the file is neither created nor cut.
    {O_WRONLY, 0, "r+"},
    {O_RDONLY, 0, "r"},
}};

/// @return null for flags without a valid access mode
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
    // Before the file, which opening may create or cut.
    vek::Owned<vekFSFile> handle(static_cast<vekFSFile *>(std::malloc(sizeof(vekFSFile))));
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

/// An operation on an open stream as a slot. A stream that is gone after a failed close gives EBADF.
template <auto Operation, typename... Arguments>
int onStream(vekFSFile *file, Arguments... arguments) {
    return file->stream != nullptr ? Operation(file->stream, arguments...) : EBADF;
}

int streamGetc(FILE *stream, int *character) {
    *character = std::fgetc(stream);
    return *character == EOF && std::ferror(stream) != 0 ? VEK_FS_BAD_STATUS : VEK_FS_OK;
}

int streamUngetc(FILE *stream, int character, int *result) {
    *result = std::ungetc(character, stream);
    return VEK_FS_OK;
}

int streamFgets(FILE *stream, char *buffer, size_t size, char **line) {
    *line = std::fgets(buffer, size < INT_MAX ? static_cast<int>(size) : INT_MAX, stream);
    return *line == nullptr && std::ferror(stream) != 0 ? VEK_FS_BAD_STATUS : VEK_FS_OK;
}

/// The status of a transfer of `count` bytes. An error counts only when nothing was transferred.
int transferred(FILE *stream, size_t count, ssize_t *result) {
    *result = static_cast<ssize_t>(count);
    return count == 0 && std::ferror(stream) != 0 ? errno : VEK_FS_OK;
}

int streamRead(FILE *stream, void *buffer, size_t length, ssize_t *count) {
    // Cleared, because the error indicator stays set from one call to the next and errno means nothing then.
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

int stdioUngetc(int character, vekFSFile *file, int *result) {
    return onStream<streamUngetc>(file, character, result);
}

int stdioFgets(char *buffer, size_t size, vekFSFile *file, char **line) {
    return onStream<streamFgets>(file, buffer, size, line);
}

int stdioClose(vekFSFile *file) {
    if (file->stream != nullptr) {
        const int status = std::fclose(file->stream) != 0 ? errno : VEK_FS_OK;
        // The stream is gone even when closing it failed.
        file->stream = nullptr;
        if (status != VEK_FS_OK) {
            return status;
        }
    }
    return vekFSiFreeFile(file);
}

constexpr vekFSIODef kStdio = {
    .name = "vekFSStdio",
    .freeSpec = vekFSiFreePathSpec,
    .getSpecString = vekFSiGetPathString,
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

} // namespace

int vekFSStdioCreatePathSpec(const char *path, vekFSSpec **spec) {
    return vekFSiCreatePathSpec(path, &kStdio, spec);
}

int vekFSStdio_openFile(const char *path, int flags, vekFSFile **file) {
    return vekFSiOpenFile(path, &kStdio, flags, file);
}
