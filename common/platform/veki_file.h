#ifndef VEKI_FILE_H
#define VEKI_FILE_H

/// The stat buffer that the file tests share.

#include "common/base/vek_api.h"

#include <sys/stat.h>

VEK_BEGIN_DECLS

/// Filled by vekFileExists() and vekFileIsLink() alone; a call of theirs that fails leaves it as it is.
extern struct stat vekStatBuf;

VEK_END_DECLS

#endif
