#ifndef VEKI_FILE_H
#define VEKI_FILE_H

/// The shared stat buffer, which vekGetFileSizeInStatbuf() and vekGetTimestampInStatbuf() read.

#include "common/base/vek_api.h"

#include <sys/stat.h>

VEK_BEGIN_DECLS

/// The record of the last successful stat() or lstat() in vekFileExists() or vekFileIsLink().
extern struct stat vekStatBuf;

VEK_END_DECLS

#endif
