// What may be read, written and replaced in a library, and the directories that are made on the way.

#include "libdef/access/ryni_access.h"

#include "common/text/fixed_text.h"
#include "libdef/paths/ryni_path_text.h"
#include "libdef/registry/ryni_error.h"
#include "libdef/registry/ryni_names.h"
#include "libdef/registry/ryni_registry.h"
#include "libdef/registry/ryni_settings.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <string_view>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

using vek::PathText;

static struct {
    uid_t user;
    gid_t group;
    bool idsRecorded;
    int refusal; ///< why the last quick test failed, 0 when it did not
} accessState;

namespace {

/// The bits of one kind of access in a file's mode.
struct ModeBits {
    int mode; ///< of access()
    mode_t owner;
    mode_t group;
    mode_t everybody; ///< all three
};
constexpr std::array<ModeBits, 3> kModeBits = {{
    {R_OK, S_IRUSR, S_IRGRP, S_IRUSR | S_IRGRP | S_IROTH},
    {W_OK, S_IWUSR, S_IWGRP, S_IWUSR | S_IWGRP | S_IWOTH},
    {X_OK, S_IXUSR, S_IXGRP, S_IXUSR | S_IXGRP | S_IXOTH},
}};

/// The bits that must all be set to grant the access to this process.
mode_t decidingBits(const ModeBits &bits, const struct stat &record) {
    if (record.st_uid == accessState.user) {
        return bits.owner;
    }
    // For others all three bits count, deliberately: a process may belong to further groups, which the record
    // does not tell, and be shut out by the group's bit.
    return record.st_gid == accessState.group ? bits.group : bits.everybody;
}

bool modeBitsGrant(const struct stat &record, int mode) {
    for (const ModeBits &bits : kModeBits) {
        if (bits.mode == mode) {
            const mode_t deciding = decidingBits(bits, record);
            return (record.st_mode & deciding) == deciding;
        }
    }
    return false;
}

/// Keeps why a system call that was just made failed. `errno` stays as it is. @return `result`
int withRefusal(int result) {
    accessState.refusal = result == 0 ? 0 : errno;
    return result;
}

int refuseNullPath() {
    errno = EFAULT;
    return withRefusal(-1);
}

/// stat(), through the cache when it is in use.
int lookAt(const rynRegistry *handle, const char *path, struct stat *record) {
    if (ryniStatCacheInUse() != 0) {
        return sStat(handle, path, record, &accessState.refusal);
    }
    return path == nullptr ? refuseNullPath() : withRefusal(stat(path, record));
}

/// access(), through the cache when it is in use.
int askFor(const rynRegistry *handle, const char *path, int mode) {
    if (ryniStatCacheInUse() != 0) {
        return sAccess(handle, path, mode, &accessState.refusal);
    }
    return path == nullptr ? refuseNullPath() : withRefusal(access(path, mode));
}

/// Tests whether a directory or file may be written to. @return 0, or the reason as an `errno` value
int writeRefusal(const rynRegistry *handle, const char *path) {
    return ryni_quick_access(handle, path, W_OK, nullptr) == 0 ? 0 : ryniAccessError();
}

/// One access to a design object.
struct Request {
    const rynRegistry *handle;
    int kind;
    ryniObjectNames names;
    const char *path; ///< of the object
};

int accessObject(const rynRegistry *handle, char *resultPath, int kind, const ryniObjectNames &names) {
    return ryni_access_path(handle, resultPath, kind, names.library, names.cell, names.view, names.file);
}

/// The same access to the level above the object; nothing is above a library.
int accessLevelAbove(const Request &request) {
    if (!request.names.hasLevelAbove()) {
        return RYN_OK;
    }
    return accessObject(request.handle, nullptr, request.kind, request.names.levelAbove());
}

int read(const Request &request) {
    if (ryniCheckPathNoneExistWarnFlag(request.handle) == 0) {
        return RYN_OK;
    }
    if (ryni_quick_access(request.handle, request.path, R_OK, nullptr) == 0) {
        return RYN_OK;
    }
    const int refusal = ryniAccessError();
    const int above = accessLevelAbove(request);
    return above != RYN_OK ? above : request.names.codeOf(refusal);
}

/// What is to be done about a file that may not be written to, its directory being there.
int makeWayForFile(const Request &request) {
    // It may have been made since, together with its directory.
    sDeleteStatEntry(request.path);
    const int refusal = writeRefusal(request.handle, request.path);
    return refusal == 0 || refusal == ENOENT ? RYN_OK : request.names.codeOf(refusal);
}

int write(const Request &request) {
    const int refusal = writeRefusal(request.handle, request.path);
    if (refusal == 0) {
        return RYN_OK;
    }
    if (!request.names.hasLevelAbove()) {
        return request.names.codeOf(refusal);
    }
    const int above = accessLevelAbove(request);
    if (above != RYN_OK) {
        return above;
    }
    if (isNameGiven(request.names.file)) {
        return makeWayForFile(request);
    }
    const int level = isNameGiven(request.names.view) ? RYNI_LEVEL_VIEW : RYNI_LEVEL_CELL;
    return ryniMkdir(request.handle, request.path, level);
}

/// The code for the directory above an object, which refused to have it replaced.
int codeOfRefusalAbove(const ryniObjectNames &names, int refusal) {
    if (refusal != EACCES) {
        return RYN_SYSTEM_ERROR;
    }
    // The last name that is given decides, also for a file that stands directly in a cell or in the library.
    if (isNameGiven(names.file)) {
        return RYN_PERMISSION_DENIED_VIEW;
    }
    if (isNameGiven(names.view)) {
        return RYN_PERMISSION_DENIED_CELL;
    }
    return isNameGiven(names.cell) ? RYN_PERMISSION_DENIED_LIBRARY : RYN_PERMISSION_DENIED;
}

int replace(const Request &request) {
    struct stat record; // NOLINT(cppcoreguidelines-pro-type-member-init): lstat() fills it
    if (lstat(request.path, &record) != 0) {
        const int error = errno;
        const int above = accessLevelAbove(request);
        if (above != RYN_OK) {
            return above;
        }
        return error == ENOENT ? request.names.notFoundCode() : RYN_SYSTEM_ERROR;
    }
    const std::string_view path(request.path);
    const std::size_t slash = path.rfind('/');
    if (slash == std::string_view::npos) {
        return ryni_do_fatal(request.handle, RYN_INTERNAL_ERROR, "ryni_access_path()");
    }
    PathText directory;
    directory.appendCut(slash == 0 ? "/" : std::string_view(path.data(), slash));
    const int refusal = writeRefusal(request.handle, directory.c_str());
    return refusal == 0 ? RYN_OK : codeOfRefusalAbove(request.names, refusal);
}

struct AccessKind {
    int kind;
    int (*access)(const Request &request);
};
constexpr std::array<AccessKind, 3> kAccessKinds = {
    {{RYNI_ACCESS_READ, read}, {RYNI_ACCESS_WRITE, write}, {RYNI_ACCESS_REPLACE, replace}}};

const AccessKind *findKind(int kind) {
    for (const AccessKind &candidate : kAccessKinds) {
        if (candidate.kind == kind) {
            return &candidate;
        }
    }
    return nullptr;
}

/// What a denied permission is called, by the level of ryniMkdir().
constexpr std::array<int, 3> kDeniedAtLevel = {RYN_PERMISSION_DENIED_LIBRARY, RYN_PERMISSION_DENIED_CELL,
                                               RYN_PERMISSION_DENIED_VIEW};

int codeOfDeniedLevel(int level) {
    const auto index = static_cast<unsigned>(level);
    return index < kDeniedAtLevel.size() ? kDeniedAtLevel[index] : RYN_OK;
}

} // namespace

void ryni_setUidGid(void) {
    accessState.user = geteuid();
    accessState.group = getegid();
    accessState.idsRecorded = true;
}

int ryni_quick_access(const rynRegistry *handle, const char *path, int mode, const struct stat *statRecord) {
    accessState.refusal = 0;
    struct stat record; // NOLINT(cppcoreguidelines-pro-type-member-init): lookAt() fills it
    if (statRecord == nullptr) {
        const int result = lookAt(handle, path, &record);
        if (result != 0) {
            return result;
        }
        statRecord = &record;
    }
    if (mode == F_OK) {
        return 0;
    }
    if (!accessState.idsRecorded) {
        // Ids of 0 would grant a normal user what root's files grant root.
        ryni_setUidGid();
    }
    return modeBitsGrant(*statRecord, mode) ? 0 : askFor(handle, path, mode);
}

int ryniAccessError(void) {
    return accessState.refusal;
}

int ryniMkdir(const rynRegistry *handle, const char *path, int level) {
    if (path == nullptr) {
        return ryni_do_fatal(handle, RYN_INTERNAL_ERROR, "ryniMkdir()");
    }
    // Neither result counts: the directory may be there, and belong to somebody else. What counts is whether it
    // may be written to.
    static_cast<void>(mkdir(path, 0777));
    if (handle != nullptr && (handle->flags & RYN_FLAG_UMASK_SET) != 0) {
        static_cast<void>(chmod(path, static_cast<mode_t>(0777U & ~handle->umask)));
    }
    if (ryniStatCacheInUse() != 0) {
        sDeleteStatEntry(path);
    }
    const int refusal = writeRefusal(handle, path);
    if (refusal == EACCES) {
        return codeOfDeniedLevel(level);
    }
    return refusal == 0 ? RYN_OK : RYN_SYSTEM_ERROR;
}

int ryni_access_path(const rynRegistry *handle, char *resultPath, int accessKind,
                     const char *libraryDirectory, const char *cell, const char *view, const char *file) {
    const AccessKind *const kind = findKind(accessKind);
    if (libraryDirectory == nullptr || kind == nullptr) {
        return ryni_do_fatal(handle, RYN_INTERNAL_ERROR, "ryni_access_path()");
    }
    PathText path;
    int status = ryn::makePath(libraryDirectory, cell, view, file, path);
    if (status != RYN_OK) {
        return status;
    }
    status = kind->access({handle, accessKind, {libraryDirectory, cell, view, file}, path.c_str()});
    if (status == RYN_OK && resultPath != nullptr) {
        static_cast<void>(vek::copyToBuffer(path.view(), resultPath, VEK_PATH_SIZE));
    }
    return status;
}
