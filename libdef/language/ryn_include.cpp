#include "libdef/language/ryni_statement.h"

#include "common/base/owned.h"
#include "common/platform/vek_path.h"
#include "common/text/fixed_text.h"
#include "libdef/paths/ryni_full_path.h"
#include "libdef/paths/ryni_nsl_path.h"
#include "libdef/paths/ryni_quick_access.h"

#include <cerrno>
#include <unistd.h>

// Implements the statements INCLUDE and SOFTINCLUDE of library definition files (vek.lib). The statements do not read
// the included file: they check that it is readable and that it was not read before, and store its path in
// Command::toRead. Their caller (ryn_parse.cpp) then reads that file before the next line of the including file.

namespace ryn {
namespace {

/// Calls the warning handler, because the file `path` cannot be read. If a SOFTINCLUDE names a file that does not exist
/// (ENOENT), returns RYN_OK instead.
/// @param error  the errno value of the failed access test
/// @return the status of the statement
int diagnoseUnreadable(const Command &command, bool isSoft, const char *path, int error) {
    switch (error) {
    case ENOENT:
        return isSoft ? RYN_OK : command.diagnose(RYN_NO_SUCH_FILE, path);
    case EACCES:
        return command.diagnose(RYN_PERMISSION_DENIED_FILE, path);
    default:
        return command.diagnose(RYN_SYSTEM_ERROR, path);
    }
}

int include(const Command &command, bool isSoft) {
    vek::PathText path;
    vek::PathText nsl;
    vek::PathText error;
    vekCanonicalizeDirSep(command.argument(0));
    int status = generateFullPath(command.argument(0), command.directory, path, error, command.registry);
    if (status != RYN_OK) {
        return isSoft && status == RYN_INVALID_PATH ? RYN_OK : command.diagnose(status, error.c_str());
    }
    if (const int failure = testAccess(command.registry, path.c_str(), R_OK); failure != 0) {
        return diagnoseUnreadable(command, isSoft, path.c_str(), failure);
    }
    status = generateNslPath(path.c_str(), nsl, error, command.registry);
    if (status != RYN_OK) {
        return command.diagnose(status, error.c_str());
    }
    if (findFile(*command.registry, nsl.c_str()) != nullptr) {
        return command.diagnose(RYN_FILE_INCLUDED_TWICE, nsl.c_str());
    }
    command.toRead = vek::copyText(path.c_str());
    return command.toRead ? RYN_OK : command.diagnose(RYN_MEMORY_ERROR, path.c_str());
}

} // namespace

int executeInclude(const Command &command) {
    return include(command, false);
}

int executeSoftInclude(const Command &command) {
    return include(command, true);
}

} // namespace ryn
