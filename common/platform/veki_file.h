#ifndef VEKI_FILE_H
#define VEKI_FILE_H

/// The shared stat buffer: one process-wide stat record. vekFileExists() and vekFileIsLink() write it;
/// vekGetFileSizeInStatbuf() and vekGetTimestampInStatbuf() read it.

#include "common/base/vek_api.h"

#include <sys/stat.h>

VEK_BEGIN_DECLS

/// The stat record of the last file for which stat() in vekFileExists(), or lstat() in vekFileIsLink(), succeeded.
extern struct stat vekStatBuf;

VEK_END_DECLS

#endif
