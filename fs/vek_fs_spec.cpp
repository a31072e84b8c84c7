#include "fs/veki_fs.h"

// Functions that native and stream specifiers share: they create and free specifiers, and open a file by its path with
// a new specifier. Also implements vekFS_strerror().

#include "common/base/owned.h"
#include "fs/owned_spec.h"

#include <array>
#include <cerrno>
#include <cstring>

namespace {

struct StatusText {
    int status;
    const char *text;
};

constexpr std::array<StatusText, 4> kStatusTexts = {{
    {VEK_FS_OK, "OK"},
    {VEK_FS_BAD_STATUS, "Operation returned bad status"},
    {VEK_FS_BUFFER_TOO_SMALL, "Buffer too small"},
    {VEK_FS_NOT_SUPPORTED, "Operation not supported"},
}};

} // namespace

int vekfs::createPathSpec(const char *path, const vekFSIODef *implementation, vekFSSpec **spec) {
    if (spec == nullptr) {
        return EINVAL;
    }
    *spec = nullptr;
    if (path == nullptr) {
        return EINVAL;
    }
    vek::OwnedText copy = vek::copyText(path);
    vek::Owned<vekFSSpec> created =
        vek::make<vekFSSpec>({.path = copy.get(), .implementation = implementation, .autoFree = 0});
    if (!created || !copy) {
        return ENOMEM;
    }
    static_cast<void>(copy.release());
    *spec = created.release();
    return VEK_FS_OK;
}

int vekFSCreatePathSpec(const char *path, vekFSSpec **spec) {
    return vekfs::createPathSpec(path, nullptr, spec);
}

int vekfs::freePathSpec(vekFSSpec *spec) {
    std::free(spec->path);
    std::free(spec);
    return VEK_FS_OK;
}

int vekfs::getPathString(const vekFSSpec *spec, char *buffer, size_t size, size_t *needed) {
    return vekfs::copyText(spec->path, buffer, size, needed);
}

int vekfs::copyText(const char *text, char *buffer, size_t size, size_t *needed) {
    const size_t bytes = std::strlen(text) + 1;
    if (needed != nullptr) {
        *needed = bytes;
    }
    if (buffer == nullptr || bytes > size) {
        return VEK_FS_BUFFER_TOO_SMALL;
    }
    std::memmove(buffer, text, bytes);
    return VEK_FS_OK;
}

int vekFS_strerror(int code, char *buffer, size_t size, size_t *needed) {
    for (const StatusText &entry : kStatusTexts) {
        if (entry.status == code) {
            return vekfs::copyText(entry.text, buffer, size, needed);
        }
    }
    const char *const text = code > 0 ? std::strerror(code) : nullptr;
    return vekfs::copyText(text != nullptr ? text : "Unknown error", buffer, size, needed);
}

int vekfs::openFile(const char *path, const vekFSIODef *implementation, int flags, vekFSFile **file) {
    if (file == nullptr) {
        return EINVAL;
    }
    *file = nullptr;
    vekFSSpec *created = nullptr;
    int status = vekfs::createPathSpec(path, implementation, &created);
    if (status != VEK_FS_OK) {
        return status;
    }
    created->autoFree = 1;
    vek::OwnedSpec spec(created);
    status = vekFS_open(spec.get(), flags, file);
    if (status == VEK_FS_OK) {
        static_cast<void>(spec.release()); // vekFS_close() frees the specifier, because autoFree is 1
    }
    return status;
}

int vekfs::freeFile(vekFSFile *file) {
    const int status = file->spec->autoFree != 0 ? vekFSFreeSpec(file->spec) : VEK_FS_OK;
    std::free(file);
    return status;
}
