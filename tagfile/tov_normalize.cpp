#include "tagfile/tov.h"

#include "common/fixed_text.h"
#include "common/vek_path.h"
#include "search/pux.h"

#include <cstring>
#include <unistd.h>

namespace {

bool readWorkingDirectory(vek::PathText &directory) {
    if (getcwd(directory.data(), VEK_PATH_SIZE) == nullptr) {
        directory.clear();
        return false;
    }
    directory.measure();
    return true;
}

/// Puts `directory` and "/" in front of a path that is not rooted, and hands it to the caller.
/// @return false when it has more than 4095 characters
bool deliverRooted(const char *path, const vek::PathText &directory, char *out) {
    vek::PathText rooted;
    const bool fits =
        vekIsRooted(path) != 0 ? rooted.assign(path) : rooted.assign(directory.view(), "/", path);
    return fits && vek::copyToBuffer(rooted.view(), out, VEK_PATH_SIZE);
}

bool isWorkingDirectory(const char *path) {
    return std::strcmp(path, ".") == 0;
}

} // namespace

int tovNormalizePath(const char *path, char *out) {
    // An empty result cannot come out of the conversion: what it accepts exists.
    char converted[VEK_SEARCH_PATH_SIZE]; // NOLINT(cppcoreguidelines-pro-type-member-init)
    if (puxConvertPath(path, converted) != PUX_OK) {
        return tovPrintError(TOV_PATH_PROCESSING, "tovNormalizePath", path, 0);
    }
    vek::PathText directory;
    if (!readWorkingDirectory(directory)) {
        return tovPrintError(TOV_PATH_PROCESSING, "error in cwd", nullptr, 0);
    }
    const char *result = isWorkingDirectory(converted) ? directory.c_str() : converted;
    if (!deliverRooted(result, directory, out)) {
        return tovPrintError(TOV_PATH_PROCESSING, "tovNormalizePath", path, 0);
    }
    return TOV_OK;
}

int tovNormalizePathSorta(const char *path, char *out) {
    if (path == nullptr || *path == '\0') {
        return tovPrintError(TOV_PATH_PROCESSING, "empty argument", nullptr, 0);
    }
    vek::PathText directory;
    const bool hasDirectory = readWorkingDirectory(directory);

    vek::PathText rest;
    bool usable = rest.assign(isWorkingDirectory(path) ? directory.view() : std::string_view(path));
    while (usable && !rest.empty()) {
        char converted[VEK_SEARCH_PATH_SIZE]; // NOLINT(cppcoreguidelines-pro-type-member-init)
        if (puxConvertPath(rest.c_str(), converted) == PUX_OK) {
            usable =
                (hasDirectory || vekIsRooted(converted) != 0) && deliverRooted(converted, directory, out);
            if (usable) {
                return TOV_OK;
            }
            break;
        }
        const std::size_t slash = rest.view().rfind('/');
        usable = slash != std::string_view::npos;
        rest.truncate(usable ? slash : 0);
    }
    return tovPrintError(TOV_PATH_PROCESSING, "tovNormalizePathSorta", path, 0);
}
