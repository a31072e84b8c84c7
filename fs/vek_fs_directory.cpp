#include "fs/veki_fs.h"

// Directory operations of native specifiers, implemented with opendir(), readdir(), rewinddir() and closedir(). The
// functions are public, so that other implementations can store them in their implementation tables.

#include "common/base/owned.h"
#include "common/text/fixed_text.h"

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
    vek::Owned<vekFSEntryBuffer> buffer(
        static_cast<vekFSEntryBuffer *>(std::malloc(sizeof(vekFSEntryBuffer))));
    vek::Owned<vekFSDirent> entry =
        vek::make<vekFSDirent>({.buffer = buffer.get(), .spec = spec, .type = DT_UNKNOWN});
    vek::Owned<vekFSDir> handle =
        vek::make<vekFSDir>({.stream = stream.get(), .spec = spec, .entry = entry.get()});
    if (!handle || !entry || !buffer) {
        return ENOMEM;
    }
    buffer->recordLength = 0;
    buffer->name[0] = '\0';
    static_cast<void>(buffer.release());
    static_cast<void>(entry.release());
    static_cast<void>(stream.release());
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
    // Set errno to 0 first. readdir() returns null both after an error and at the end of the directory, and changes
    // errno only after an error.
    errno = 0;
    const dirent *const found = ::readdir(directory->stream);
    if (found == nullptr) {
        return errno;
    }
    vekFSDirent &holder = *directory->entry;
    // Check the length of the name. Some file systems limit the number of characters instead of bytes. A name can then
    // have more than 255 bytes and be too long for the buffer.
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
        // closedir() frees the stream even if it fails, so closedir() must not be called again.
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
    return vekfs::copyText(&entry->buffer->name[0], buffer, size, needed);
}
