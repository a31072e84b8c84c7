#ifndef VEKI_FILE_H
#define VEKI_FILE_H

/// The shared stat buffer.

#include "common/base/vek_api.h"

#include <sys/stat.h>

VEK_BEGIN_DECLS

/// Filled by vekFileExists() and vekFileIsLink(). A failed call leaves it unchanged.
extern struct stat vekStatBuf;

VEK_END_DECLS

#endif
