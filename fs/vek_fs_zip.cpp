#include "fs/vek_fs.h"

int vekZipOpenZip(const char * /*path*/, vekZip ** /*zip*/) {
    return VEK_FS_NOT_SUPPORTED;
}

int vekZipCloseZip(vekZip * /*zip*/) {
    return VEK_FS_NOT_SUPPORTED;
}

int vekZipCreateSpec(vekZip * /*zip*/, const char * /*path*/, vekFSSpec ** /*spec*/) {
    return VEK_FS_NOT_SUPPORTED;
}

int vekZip_zip(void) {
    return VEK_FS_NOT_SUPPORTED;
}

int vekZip_unzip(void) {
    return VEK_FS_NOT_SUPPORTED;
}
