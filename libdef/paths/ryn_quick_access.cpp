#include "libdef/paths/ryni_quick_access.h"

#include "common/platform/mode_bits.h"
#include "libdef/paths/ryni_stat_cache.h"

#include <cerrno>
#include <optional>
#include <unistd.h>

/// The effective user and group ID that ryni_setUidGid() stored; no value until then. It is not initialized to 0,
/// because 0 is the ID of root: files of root would be treated as files of the current user.
static std::optional<vek::EffectiveIds> recordedIds;

namespace {

using ryn::CallResult;

CallResult resultOf(int returned) {
    return {.error = returned == 0 ? 0 : errno};
}

CallResult failOnNullPath() {
    errno = EFAULT;
    return {.error = EFAULT};
}

CallResult callStat(const rynRegistry *registry, const char *path, struct stat *record) {
    if (ryn::statCache.isOn()) {
        return ryn::statCache.stat(registry, path, record);
    }
    return path == nullptr ? failOnNullPath() : resultOf(stat(path, record));
}

CallResult callAccess(const rynRegistry *registry, const char *path, int mode) {
    if (ryn::statCache.isOn()) {
        return ryn::statCache.access(registry, path, mode);
    }
    return path == nullptr ? failOnNullPath() : resultOf(access(path, mode));
}

CallResult test(const rynRegistry *registry, const char *path, int mode, const struct stat *record) {
    struct stat ownRecord; // NOLINT(cppcoreguidelines-pro-type-member-init): callStat() fills it
    if (record == nullptr) {
        const CallResult result = callStat(registry, path, &ownRecord);
        if (result.error != 0) {
            return result;
        }
        record = &ownRecord;
    }
    if (mode == F_OK) {
        return {};
    }
    if (!recordedIds) {
        ryni_setUidGid();
    }
    return vek::modeBitsGrant(*record, mode, *recordedIds) ? CallResult{} : callAccess(registry, path, mode);
}

} // namespace

void ryni_setUidGid(void) {
    recordedIds = vek::EffectiveIds::ofProcess();
}

int ryni_quick_access(const rynRegistry *registry, const char *path, int mode,
                      const struct stat *statRecord) {
    return test(registry, path, mode, statRecord).status();
}

int ryn::testAccess(const rynRegistry *registry, const char *path, int mode, const struct stat *record) {
    return test(registry, path, mode, record).error;
}
