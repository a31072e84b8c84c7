#ifndef COMMON_MODE_BITS_H
#define COMMON_MODE_BITS_H

#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace vek {

/// The effective user ID and group ID of a process: the IDs for which the kernel checks file permissions.
struct EffectiveIds {
    uid_t user;
    gid_t group;

    static EffectiveIds ofProcess() { return {geteuid(), getegid()}; }
};

/// Tests whether the mode bits of a file prove that the process may access the file. Used to save a call of access().
///
/// @param record  the stat record of the file
/// @param mode    R_OK, W_OK or X_OK; for any other value the result is false
/// @param ids     the effective user and group ID of the process
/// @return true if the mode bits grant the access; false if the caller must call access() to find out
[[nodiscard]] constexpr bool modeBitsGrant(const struct stat &record, int mode, const EffectiveIds &ids) {
    if (mode != R_OK && mode != W_OK && mode != X_OK) {
        return false;
    }
    // R_OK, W_OK and X_OK have the same values as the permission bits for others (S_IROTH, S_IWOTH, S_IXOTH). In
    // `st_mode`, the bits for the group are 3 bits higher, and the bits for the owner 6 bits higher.
    static_assert(R_OK == S_IROTH && W_OK == S_IWOTH && X_OK == S_IXOTH);
    const auto others = static_cast<mode_t>(mode);
    const mode_t group = others << 3U;
    const mode_t owner = others << 6U;
    // Documented: if the process has neither the user ID nor the group ID of the file, the result is true only if
    // owner, group and others all have the permission. The bit for others alone is not sufficient: if the process is a
    // member of the file's group through a supplementary group, the kernel tests the group bit instead.
    mode_t needed = others | group | owner;
    if (record.st_uid == ids.user) {
        needed = owner;
    } else if (record.st_gid == ids.group) {
        needed = group;
    }
    return (record.st_mode & needed) == needed;
}

} // namespace vek

#endif
