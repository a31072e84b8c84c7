// Conversion of paths: replaces references such as `$NAME` and `~` with vekInterpolate(), and tests whether the
// resulting path can be read.

#include "common/platform/vek_path.h"
#include "search/pux.h"
#include "search/puxi_access.h"
#include "search/vek_interp.h"

int puxConvertPathNotThereEx(const char *in, char *out, const char *fileName) {
    vekInterpArgs args = {};
    args.fileName = fileName;
    if (vekInterpolate(in, out, VEK_SEARCH_PATH_SIZE, &args, sizeof args) == 0) {
        return PUX_FILE_NOT_FOUND;
    }
    vekCanonicalizeDirSep(out);
    return PUX_OK;
}

int puxConvertPathNotThere(const char *in, char *out) {
    return puxConvertPathNotThereEx(in, out, nullptr);
}

int puxConvertPathEx(const char *in, char *out, const char *fileName) {
    int code = puxConvertPathNotThereEx(in, out, fileName);
    if (code == PUX_OK && pux::testAccess(out, PUXI_READABLE) != 0) {
        code = PUX_INTERNAL_ERROR;
    }
    if (code != PUX_OK && out != nullptr) {
        *out = '\0';
    }
    return code;
}

int puxConvertPath(const char *in, char *out) {
    return puxConvertPathEx(in, out, nullptr);
}
