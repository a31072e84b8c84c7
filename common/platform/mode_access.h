#ifndef COMMON_MODE_ACCESS_H
#define COMMON_MODE_ACCESS_H

/// The access test by mode bits, without a system call.

#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace vek {

/// The effective user and group of a process.
struct EffectiveIds {
    uid_t user = 0;
    gid_t group = 0;

    static EffectiveIds ofProcess() { return {geteuid(), getegid()}; }
};

/// Tests whether the mode bits alone grant an access to a process.
///
/// Documented: the owner needs the owner's bit and a member of the file's group the group's bit. Any other process
/// needs all three bits: it may be in the file's group through a supplementary group, for which the group's bit
/// decides, and only access() knows these groups.
///
/// @param access  R_OK, W_OK or X_OK, not a combination
/// @return true if the access is granted; false if access() must decide
constexpr bool modeGrants(const struct stat &status, int access, const EffectiveIds &ids) {
    const auto bit = static_cast<mode_t>(access); // R_OK, W_OK and X_OK are the values of the bits for others
    const mode_t owner = bit << 6U;
    const mode_t group = bit << 3U;
    mode_t needed = owner | group | bit;
    if (status.st_uid == ids.user) {
        needed = owner;
    } else if (status.st_gid == ids.group) {
        needed = group;
    }
    return (status.st_mode & needed) == needed;
}
static_assert(R_OK == S_IROTH && W_OK == S_IWOTH && X_OK == S_IXOTH && R_OK << 6 == S_IRUSR &&
              R_OK << 3 == S_IRGRP);

} // namespace vek

#endif
