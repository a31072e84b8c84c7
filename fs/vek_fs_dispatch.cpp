#include "fs/veki_fs.h"

// The public vekFS functions: dispatch by implementation table. Each function checks its arguments for null and calls
// a function pointer in the implementation table of the specifier. A specifier without a table uses the table kNative.

#include <cerrno>
#include <cstddef>
#include <type_traits>

// These field offsets in bytes must not change, because programs with their own implementation tables are compiled
// with them.
static_assert(offsetof(vekFSSpec, path) == 0);
static_assert(offsetof(vekFSSpec, implementation) == 8);
static_assert(offsetof(vekFSSpec, autoFree) == 16);
static_assert(offsetof(vekFSFile, spec) == 8);
static_assert(offsetof(vekFSDir, spec) == 8);
static_assert(offsetof(vekFSDirent, spec) == 8);
static_assert(offsetof(vekFSStat, spec) == 0);
static_assert(offsetof(vekFSIODef, getDirentName) == 25 * sizeof(void *));

namespace {

template <typename Argument>
bool isNull(Argument argument) {
    if constexpr (std::is_pointer_v<Argument>) {
        return argument == nullptr;
    } else {
        return false;
    }
}

const vekFSSpec *specOf(const vekFSSpec *spec) {
    return spec;
}

/// @return the specifier of `object`, which is an open file or directory, a directory entry or a stat record; null if
///         `object` is null, or if it is a stat record whose bytes are all 0 because no function has filled it
template <typename Object>
const vekFSSpec *specOf(const Object *object) {
    return object != nullptr ? object->spec : nullptr;
}

template <typename Slot, typename... Arguments>
int callSlot(const vekFSSpec *spec, Slot vekFSIODef::*slot, Arguments... arguments) {
    const vekFSIODef &table = spec->implementation != nullptr ? *spec->implementation : vekfs::kNative;
    return table.*slot != nullptr ? (table.*slot)(arguments...) : VEK_FS_NOT_SUPPORTED;
}

/// Calls one function of an implementation table with `arguments`. `slot` selects the function pointer in the table.
/// The table is that of the specifier specOf(object).
/// @return the result of the call; EINVAL if `object` or a pointer in `arguments` is null; VEK_FS_NOT_SUPPORTED if the
///         function pointer is null
template <typename Object, typename Slot, typename... Arguments>
int dispatch(const Object *object, Slot vekFSIODef::*slot, Arguments... arguments) {
    const vekFSSpec *const spec = specOf(object);
    if (spec == nullptr || (isNull(arguments) || ...)) {
        return EINVAL;
    }
    return callSlot(spec, slot, arguments...);
}

/// Calls the function pointer `slot` like dispatch(), for an operation that stores a new object in `*result`. Sets
/// `*result` to null before the call, so that it is null after a failure.
template <typename Object, typename Slot, typename Result, typename... Arguments>
int dispatchFor(Result **result, const Object *object, Slot vekFSIODef::*slot, Arguments... arguments) {
    if (result != nullptr) {
        *result = nullptr;
    }
    return dispatch(object, slot, arguments..., result);
}

} // namespace

int vekFSFreeSpec(vekFSSpec *spec) {
    return dispatch(spec, &vekFSIODef::freeSpec, spec);
}

int vekFSGetSpecString(const vekFSSpec *spec, char *buffer, size_t size, size_t *needed) {
    if (spec == nullptr || buffer == nullptr) {
        return EINVAL;
    }
    return callSlot(spec, &vekFSIODef::getSpecString, spec, buffer, size, needed);
}

int vekFSGetSpecIOImpName(const vekFSSpec *spec, const char **name) {
    if (spec == nullptr || name == nullptr) {
        return EINVAL;
    }
    *name = spec->implementation != nullptr ? spec->implementation->name : nullptr;
    return VEK_FS_OK;
}

int vekFS_open(vekFSSpec *spec, int flags, vekFSFile **file) {
    return dispatchFor(file, spec, &vekFSIODef::open, spec, flags);
}

int vekFS_getc(vekFSFile *file, int *character) {
    return dispatch(file, &vekFSIODef::getc, file, character);
}

int vekFS_ungetc(int character, vekFSFile *file, int *result) {
    return dispatch(file, &vekFSIODef::ungetc, character, file, result);
}

int vekFS_fgets(char *buffer, size_t size, vekFSFile *file, char **line) {
    return dispatch(file, &vekFSIODef::fgets, buffer, size, file, line);
}

int vekFS_read(vekFSFile *file, void *buffer, size_t length, ssize_t *count) {
    return dispatch(file, &vekFSIODef::read, file, buffer, length, count);
}

int vekFS_write(vekFSFile *file, const void *buffer, size_t length, ssize_t *count) {
    return dispatch(file, &vekFSIODef::write, file, buffer, length, count);
}

int vekFS_seek(vekFSFile *file, int64_t offset, int whence, int64_t *position) {
    return dispatch(file, &vekFSIODef::seek, file, offset, whence, position);
}

int vekFS_tell(vekFSFile *file, int64_t *position) {
    return dispatch(file, &vekFSIODef::tell, file, position);
}

int vekFS_rewind(vekFSFile *file) {
    return dispatch(file, &vekFSIODef::rewind, file);
}

int vekFS_fsync(vekFSFile *file) {
    return dispatch(file, &vekFSIODef::fsync, file);
}

int vekFS_close(vekFSFile *file) {
    return dispatch(file, &vekFSIODef::close, file);
}

int vekFS_stat(vekFSSpec *spec, vekFSStat *record) {
    return dispatch(spec, &vekFSIODef::stat, spec, record);
}

int vekFS_lstat(vekFSSpec *spec, vekFSStat *record) {
    return dispatch(spec, &vekFSIODef::lstat, spec, record);
}

int vekFS_getFileMode(const vekFSStat *record, mode_t *mode) {
    return dispatch(record, &vekFSIODef::getFileMode, record, mode);
}

int vekFS_getFileGID(const vekFSStat *record, gid_t *gid) {
    return dispatch(record, &vekFSIODef::getFileGID, record, gid);
}

int vekFS_getFileUID(const vekFSStat *record, uid_t *uid) {
    return dispatch(record, &vekFSIODef::getFileUID, record, uid);
}

int vekFS_getFileSize(const vekFSStat *record, int64_t *size) {
    return dispatch(record, &vekFSIODef::getFileSize, record, size);
}

int vekFS_getFileModTime(const vekFSStat *record, int64_t *seconds) {
    return dispatch(record, &vekFSIODef::getFileModTime, record, seconds);
}

int vekFS_opendir(vekFSSpec *spec, vekFSDir **directory) {
    return dispatchFor(directory, spec, &vekFSIODef::opendir, spec);
}

int vekFS_readdir(vekFSDir *directory, vekFSDirent **entry) {
    return dispatchFor(entry, directory, &vekFSIODef::readdir, directory);
}

int vekFS_rewinddir(vekFSDir *directory) {
    return dispatch(directory, &vekFSIODef::rewinddir, directory);
}

int vekFS_closedir(vekFSDir *directory) {
    return dispatch(directory, &vekFSIODef::closedir, directory);
}

int vekFS_getDirentName(const vekFSDirent *entry, char *buffer, size_t size, size_t *needed) {
    return dispatch(entry, &vekFSIODef::getDirentName, entry, buffer, size, needed);
}
