#include "common/base/owned.h"
#include "fs/owned_spec.h"
#include "fs/veki_fs.h"

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

constexpr const char *kUnknownStatus = "Unknown error";

const char *textOf(int status) {
    for (const StatusText &entry : kStatusTexts) {
        if (entry.status == status) {
            return entry.text;
        }
    }
    const char *const system = status > 0 ? std::strerror(status) : nullptr;
    return system != nullptr ? system : kUnknownStatus;
}

} // namespace

int vekFSiCreatePathSpec(const char *path, const vekFSIODef *implementation, vekFSSpec **spec) {
    if (spec == nullptr) {
        return EINVAL;
    }
    *spec = nullptr;
    if (path == nullptr) {
        return EINVAL;
    }
    vek::Owned<vekFSSpec> created(static_cast<vekFSSpec *>(std::malloc(sizeof(vekFSSpec))));
    vek::OwnedText copy = vek::copyText(path);
    if (!created || !copy) {
        return ENOMEM;
    }
    *created = {.path = copy.release(), .implementation = implementation, .autoFree = 0};
    *spec = created.release();
    return VEK_FS_OK;
}

int vekFSCreatePathSpec(const char *path, vekFSSpec **spec) {
    return vekFSiCreatePathSpec(path, nullptr, spec);
}

int vekFSiFreePathSpec(vekFSSpec *spec) {
    std::free(spec->path);
    std::free(spec);
    return VEK_FS_OK;
}

int vekFSiGetPathString(const vekFSSpec *spec, char *buffer, size_t size, size_t *needed) {
    return vekFSiCopyText(spec->path, buffer, size, needed);
}

int vekFSiCopyText(const char *text, char *buffer, size_t size, size_t *needed) {
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
    return vekFSiCopyText(textOf(code), buffer, size, needed);
}

int vekFSiOpenFile(const char *path, const vekFSIODef *implementation, int flags, vekFSFile **file) {
    if (file == nullptr) {
        return EINVAL;
    }
    *file = nullptr;
    vekFSSpec *created = nullptr;
    int status = vekFSiCreatePathSpec(path, implementation, &created);
    if (status != VEK_FS_OK) {
        return status;
    }
    created->autoFree = 1;
    vek::OwnedSpec spec(created);
    status = vekFS_open(spec.get(), flags, file);
    if (status == VEK_FS_OK) {
        static_cast<void>(spec.release()); // closing the file frees it
    }
    return status;
}

int vekFSiFreeFile(vekFSFile *file) {
    const int status = file->spec->autoFree != 0 ? vekFSFreeSpec(file->spec) : VEK_FS_OK;
    std::free(file);
    return status;
}
