#include "common/base/owned.h"
#include "common/text/fixed_text.h"
#include "fs/veki_fs.h"

#include <cerrno>
#include <cstring>

int vekFSiOpendir(vekFSSpec *spec, vekFSDir **directory) {
    if (directory == nullptr) {
        return EINVAL;
    }
    *directory = nullptr;
    if (spec == nullptr) {
        return EINVAL;
    }
    vek::OwnedDirectory stream(::opendir(spec->path));
    if (!stream) {
        return errno;
    }
    vek::Owned<vekFSDir> handle(static_cast<vekFSDir *>(std::malloc(sizeof(vekFSDir))));
    vek::Owned<vekFSDirent> entry(static_cast<vekFSDirent *>(std::malloc(sizeof(vekFSDirent))));
    vek::Owned<vekFSEntryBuffer> buffer(
        static_cast<vekFSEntryBuffer *>(std::malloc(sizeof(vekFSEntryBuffer))));
    if (!handle || !entry || !buffer) {
        return ENOMEM;
    }
    buffer->recordLength = 0;
    buffer->name[0] = '\0';
    *entry = {.buffer = buffer.release(), .spec = spec, .type = DT_UNKNOWN};
    *handle = {.stream = stream.release(), .spec = spec, .entry = entry.release()};
    *directory = handle.release();
    return VEK_FS_OK;
}

int vekFSiReaddir(vekFSDir *directory, vekFSDirent **entry) {
    if (entry == nullptr) {
        return EINVAL;
    }
    *entry = nullptr;
    if (directory == nullptr) {
        return EINVAL;
    }
    if (directory->stream == nullptr) {
        return EBADF;
    }
    // The end of the directory and an error look alike but for errno.
    errno = 0;
    const dirent *const found = ::readdir(directory->stream);
    if (found == nullptr) {
        return errno;
    }
    vekFSDirent &holder = *directory->entry;
    // Longer than the 255 bytes that most systems allow: some file systems count other units than bytes.
    const std::string_view name = &found->d_name[0];
    if (!vek::copyToBuffer(name, &holder.buffer->name[0], sizeof holder.buffer->name)) {
        return ENAMETOOLONG;
    }
    holder.buffer->recordLength = found->d_reclen;
    holder.type = found->d_type;
    *entry = &holder;
    return VEK_FS_OK;
}

int vekFSiRewinddir(vekFSDir *directory) {
    if (directory == nullptr) {
        return EINVAL;
    }
    if (directory->stream == nullptr) {
        return EBADF;
    }
    ::rewinddir(directory->stream);
    return VEK_FS_OK;
}

int vekFSiClosedir(vekFSDir *directory) {
    if (directory == nullptr) {
        return EINVAL;
    }
    if (directory->stream != nullptr) {
        const int status = ::closedir(directory->stream) != 0 ? errno : VEK_FS_OK;
        // The stream is gone even when closing it failed.
        directory->stream = nullptr;
        if (status != VEK_FS_OK) {
            return status;
        }
    }
    std::free(directory->entry->buffer);
    std::free(directory->entry);
    std::free(directory);
    return VEK_FS_OK;
}

int vekFSiGetDirentName(const vekFSDirent *entry, char *buffer, size_t size, size_t *needed) {
    if (entry == nullptr || buffer == nullptr || needed == nullptr) {
        return EINVAL;
    }
    return vekFSiCopyText(&entry->buffer->name[0], buffer, size, needed);
}
