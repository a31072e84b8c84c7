#include "libdef/access/ryni_library_path.h"

#include "common/platform/vek_path.h"
#include "libdef/access/ryni_access.h"
#include "libdef/paths/ryni_full_path.h"
#include "libdef/paths/ryni_nsl_path.h"
#include "libdef/paths/ryni_path_buffer.h"

#include <sys/stat.h>

int ryniIsGoodLibPath(rynRegistry *registry, const char *path, int mode) {
    struct stat record = {};
    if (stat(path, &record) != 0 || !S_ISDIR(record.st_mode)) {
        return RYN_INVALID_PATH;
    }
    return ryni_access_path(registry, nullptr, mode, path, nullptr, nullptr, nullptr);
}

int ryn::makeLibraryPath(rynRegistry *registry, const char *text, const char *baseDirectory,
                         vek::PathText &full, vek::PathText &nsl, vek::PathText &error) {
    full.clear();
    nsl.clear();
    error.clear();
    vek::PathText canonical;
    if (!canonical.assign(text)) {
        error.appendCut(text);
        return RYN_INVALID_PATH;
    }
    canonical.edit(vekCanonicalizeDirSep);
    int status = generateFullPath(canonical.c_str(), baseDirectory, full, error, registry);
    if (status == RYN_OK) {
        status = generateNslPath(full.c_str(), nsl, error, registry);
    }
    if (status != RYN_OK) {
        return status;
    }
    status = ryniIsGoodLibPath(registry, nsl.c_str(), static_cast<int>(AccessKind::Read));
    if (status != RYN_OK) {
        error.appendCut(nsl.view());
    }
    return status;
}

int ryniMkGoodLibPath(rynRegistry *registry, const char *text, const char *baseDirectory, char *fullOut,
                      char *nslOut, char *errorOut) {
    vek::PathText full;
    vek::PathText nsl;
    vek::PathText error;
    const int status = ryn::makeLibraryPath(registry, text, baseDirectory, full, nsl, error);
    if (!full.empty()) {
        ryn::storeCut(full.view(), fullOut);
    }
    if (!nsl.empty()) {
        ryn::storeCut(nsl.view(), nslOut);
    }
    if (status != RYN_OK) {
        ryn::storeCut(error.view(), errorOut);
    }
    return status;
}
