#include "tagfile/normalize.h"

#include "common/platform/system_path.h"
#include "common/platform/vek_path.h"
#include "search/pux.h"
#include "tagfile/tov.h"

#include <string_view>

namespace tov {

namespace {

using SearchText = vek::FixedText<VEK_SEARCH_PATH_SIZE>;

constexpr std::string_view kWorkingDirectory = ".";

int convertPath(const char *path, SearchText &converted) {
    return converted.fill([path](char *out, std::size_t) { return puxConvertPath(path, out); });
}

/// Sets `absolute` to `path` if `path` begins with "/", otherwise to `directory` + "/" + `path`.
/// @return false if the text does not fit into `absolute`
bool makeAbsolute(const vek::PathText &directory, std::string_view path, vek::PathText &absolute) {
    const bool isRooted = !path.empty() && path.front() == '/';
    return isRooted ? absolute.assign(path) : absolute.assign(directory.view(), "/", path);
}

int reportPath(const char *function, const char *path) {
    return tovPrintError(TOV_PATH_PROCESSING, function, path, 0);
}

} // namespace

int normalizePath(const char *path, vek::PathText &normalized) {
    SearchText converted; // not empty after PUX_OK, which requires that the path exists
    if (convertPath(path, converted) != PUX_OK) {
        return reportPath("tovNormalizePath", path);
    }
    vek::PathText directory;
    if (!vek::readWorkingDirectory(directory)) {
        return reportPath("error in cwd", nullptr);
    }
    const bool fits = converted.view() == kWorkingDirectory
                          ? normalized.assign(directory.view())
                          : makeAbsolute(directory, converted.view(), normalized);
    return fits ? TOV_OK : reportPath("tovNormalizePath", path);
}

int normalizeExistingPart(const char *path, vek::PathText &normalized) {
    if (path == nullptr || *path == '\0') {
        return reportPath("empty argument", nullptr);
    }
    vek::PathText directory;
    const bool hasDirectory = vek::readWorkingDirectory(directory);

    vek::PathText rest;
    bool isUsable = rest.assign(path == kWorkingDirectory ? directory.view() : std::string_view(path));
    while (isUsable && !rest.empty()) {
        SearchText converted;
        if (convertPath(rest.c_str(), converted) == PUX_OK) {
            const bool canBeAbsolute = hasDirectory || vekIsRooted(converted.c_str()) != 0;
            if (canBeAbsolute && makeAbsolute(directory, converted.view(), normalized)) {
                return TOV_OK;
            }
            break;
        }
        const std::size_t slash = rest.view().rfind('/');
        isUsable = slash != std::string_view::npos;
        rest.truncate(isUsable ? slash : 0);
    }
    return reportPath("tovNormalizePathSorta", path);
}

} // namespace tov

static int deliver(int status, const vek::PathText &normalized, char *out) {
    if (status == TOV_OK) {
        static_cast<void>(
            vek::copyToBuffer(normalized.view(), out, VEK_PATH_SIZE)); // both have the same size
    }
    return status;
}

int tovNormalizePath(const char *path, char *out) {
    vek::PathText normalized;
    return deliver(tov::normalizePath(path, normalized), normalized, out);
}

int tovNormalizePathSorta(const char *path, char *out) {
    vek::PathText normalized;
    return deliver(tov::normalizeExistingPart(path, normalized), normalized, out);
}
