#include "libdef/ryni_statement.h"

#include "common/fixed_text.h"
#include "common/owned.h"
#include "common/vek_path.h"
#include "libdef/ryni_access.h"
#include "libdef/ryni_parse.h"
#include "libdef/ryni_path.h"

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

/// Finds the file to read. Kept out of its caller, whose frame stays on the stack while includes nest.
///
/// @param status  receives the status of the statement when there is none
/// @return its full path, or null
[[gnu::noinline]] vek::OwnedText findFile(const ryniCommand &command, bool soft, int &status) {
    vek::PathText path;
    vek::PathText nsl;
    vek::PathText error;
    vekCanonicalizeDirSep(command.argument(0));
    int code = ryni_generate_full_path(command.argument(0), command.directory, path.data(), error.data(),
                                       command.registry);
    if (code != RYN_OK) {
        status = soft && code == RYN_INVALID_PATH ? RYN_OK : command.diagnose(code, error.c_str());
        return nullptr;
    }
    if (ryni_quick_access(command.registry, path.c_str(), R_OK, nullptr) != 0) {
        status = diagnoseUnreadable(command, soft, path.c_str(), ryniAccessError());
        return nullptr;
    }
    code = ryni_generate_nsl_path(path.c_str(), nsl.data(), error.data(), command.registry);
    if (code != RYN_OK) {
        status = command.diagnose(code, error.c_str());
        return nullptr;
    }
    if (wasRead(*command.registry, nsl.c_str())) {
        status = command.diagnose(RYN_FILE_INCLUDED_TWICE, nsl.c_str());
        return nullptr;
    }
    vek::OwnedText file = vek::copyText(path.c_str());
    if (!file) {
        status = command.diagnose(RYN_MEMORY_ERROR, path.c_str());
    }
    return file;
}

int include(const ryniCommand &command, bool soft) {
    int status = RYN_OK;
    const vek::OwnedText path = findFile(command, soft, status);
    if (!path) {
        return status;
    }
    rynIncludedFile *file = nullptr;
    status = ryni_parse_veklib_file(path.get(), command.registry, &file);
    if (status == RYN_OK) {
        file->includedFrom = command.file;
        file->line = command.line;
    }
    return status;
}

} // namespace

int ryniInclude(const ryniCommand &command) {
    return include(command, false);
}

int ryniSoftInclude(const ryniCommand &command) {
    return include(command, true);
}
