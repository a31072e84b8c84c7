#ifndef COMMON_MODE_BITS_H
#define COMMON_MODE_BITS_H

#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace vek {

/// The user and group that the kernel checks permissions for.
struct EffectiveIds {
    uid_t user;
    gid_t group;

    static EffectiveIds ofProcess() { return {geteuid(), getegid()}; }
};

/// Tests whether the mode bits of a file alone prove that an access is granted, so that access() need not be called.
///
/// @param mode  R_OK, W_OK or X_OK; any other mode is not proved
/// @return false if access() must decide
[[nodiscard]] constexpr bool modeBitsGrant(const struct stat &record, int mode, const EffectiveIds &ids) {
    if (mode != R_OK && mode != W_OK && mode != X_OK) {
        return false;
    }
    // R_OK, W_OK and X_OK have the values of the bits of others.
    static_assert(R_OK == S_IROTH && W_OK == S_IWOTH && X_OK == S_IXOTH);
    const auto others = static_cast<mode_t>(mode);
    const mode_t group = others << 3U;
    const mode_t owner = others << 6U;
    // Documented: a process that is neither the owner nor in the group needs all three bits. It may be in the group
    // through a supplementary group, which the record does not show, and the group bit may then deny the access.
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
