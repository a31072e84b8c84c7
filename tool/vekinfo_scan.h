#ifndef VEKINFO_SCAN_H
#define VEKINFO_SCAN_H

#include "common/platform/walk_guard.h"

/// tovScanSubdirsForVekinfo() with another limit of ways through links.
void vekinfoScanSubdirs(const char *dir, bool isTop, const vek::LinkLimit &limit);

#endif
