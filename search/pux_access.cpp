#include "search/puxi_access.h"

#include "common/platform/mode_bits.h"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

static_assert(PUXI_EXISTS == F_OK && PUXI_READABLE == R_OK && PUXI_WRITABLE == W_OK &&
              PUXI_EXECUTABLE == X_OK);

// The effective user and group ids that access tests use. `isRecorded` is false until the ids are recorded: ids of 0
// would make files of root look like files of this user.
static struct {
    bool isRecorded;
    vek::EffectiveIds ids;
} effective;

void pux::recordEffectiveIds() {
    effective = {true, vek::EffectiveIds::ofProcess()};
}

int pux::testAccess(const char *path, int mode) {
    if (path == nullptr) {
        return EFAULT;
    }
    struct stat status; // NOLINT(cppcoreguidelines-pro-type-member-init): stat() fills it
    if (stat(path, &status) != 0) {
        return errno;
    }
    if (mode == PUXI_EXISTS) {
        return 0;
    }
    if (!effective.isRecorded) {
        recordEffectiveIds();
    }
    return vek::modeBitsGrant(status, mode, effective.ids) || access(path, mode) == 0 ? 0 : errno;
}

int pux_quick_access(const char *path, int mode) {
    const int error = pux::testAccess(path, mode);
    if (error != 0) {
        errno = error;
    }
    return error == 0 ? 0 : -1;
}
