#include "libdef/language/ryni_statement.h"

#include "common/base/owned.h"
#include "common/platform/vek_path.h"
#include "common/text/fixed_text.h"
#include "libdef/paths/ryni_full_path.h"
#include "libdef/paths/ryni_nsl_path.h"
#include "libdef/paths/ryni_quick_access.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace {

bool wasRead(const rynRegistry &registry, const char *nslPath) {
    const rynIncludedFile *file = registry.files.head;
    while (file != nullptr && std::strcmp(file->nslPath, nslPath) != 0) {
        file = file->next;
    }
    return file != nullptr;
}

int diagnoseUnreadable(const ryniCommand &command, bool soft, const char *path, int error) {
    switch (error) {
    case ENOENT:
        return soft ? RYN_OK : command.diagnose(RYN_NO_SUCH_FILE, path);
    case EACCES:
        return command.diagnose(RYN_PERMISSION_DENIED_FILE, path);
    default:
        return command.diagnose(RYN_SYSTEM_ERROR, path);
    }
}

/// Finds the file to read, which the reader then does: its statements take effect at this point.
int include(const ryniCommand &command, bool soft) {
    vek::PathText path;
    vek::PathText nsl;
    vek::PathText error;
    vekCanonicalizeDirSep(command.argument(0));
    int code = ryn::generateFullPath(command.argument(0), command.directory, path, error, command.registry);
    if (code != RYN_OK) {
        return soft && code == RYN_INVALID_PATH ? RYN_OK : command.diagnose(code, error.c_str());
    }
    if (const int failure = ryn::testAccess(command.registry, path.c_str(), R_OK); failure != 0) {
        return diagnoseUnreadable(command, soft, path.c_str(), failure);
    }
    code = ryn::generateNslPath(path.c_str(), nsl, error, command.registry);
    if (code != RYN_OK) {
        return command.diagnose(code, error.c_str());
    }
    if (wasRead(*command.registry, nsl.c_str())) {
        return command.diagnose(RYN_FILE_INCLUDED_TWICE, nsl.c_str());
    }
    command.toRead = vek::copyText(path.c_str());
    return command.toRead ? RYN_OK : command.diagnose(RYN_MEMORY_ERROR, path.c_str());
}

} // namespace

int ryniInclude(const ryniCommand &command) {
    return include(command, false);
}

int ryniSoftInclude(const ryniCommand &command) {
    return include(command, true);
}
