#ifndef COMMON_MODE_BITS_H
#define COMMON_MODE_BITS_H

#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace vek {

/// The effective user and group ID of a process, for which the kernel checks permissions.
struct EffectiveIds {
    uid_t user;
    gid_t group;

    static EffectiveIds ofProcess() { return {geteuid(), getegid()}; }
};

/// Tests whether the mode bits of a file alone prove that an access is granted, so that access() need not be called.
///
/// @param record  the stat record of the file
/// @param mode    R_OK, W_OK or X_OK; for any other value the result is false
/// @return true if the access is granted; false if only access() can find out
[[nodiscard]] constexpr bool modeBitsGrant(const struct stat &record, int mode, const EffectiveIds &ids) {
    if (mode != R_OK && mode != W_OK && mode != X_OK) {
        return false;
    }
    // R_OK, W_OK and X_OK have the values of the permission bits for others, so shifting gives those of group and
    // owner.
    static_assert(R_OK == S_IROTH && W_OK == S_IWOTH && X_OK == S_IXOTH);
    const auto others = static_cast<mode_t>(mode);
    const mode_t group = others << 3U;
    const mode_t owner = others << 6U;
    // Documented: if neither the effective user owns the file nor the effective group is its group, all three bits must
    // be set. The process may be a member through a supplementary group, which is not tested here; the kernel then
    // tests the group bit.
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
