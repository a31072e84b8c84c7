#ifndef VEKINFO_SCAN_H
#define VEKINFO_SCAN_H

#include "common/platform/walk_guard.h"
#include "tool/read_ahead.h"

namespace vekinfo {

/// tovScanSubdirsForVekinfo() with a given limit of ways through links. `readAhead` may be used for one scan after the
/// other, so that its workers are started once.
void scanSubdirs(const char *dir, bool isTop, const vek::LinkLimit &limit, ReadAhead &readAhead);

} // namespace vekinfo

#endif
