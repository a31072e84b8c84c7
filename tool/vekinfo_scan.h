#ifndef VEKINFO_SCAN_H
#define VEKINFO_SCAN_H

#include "common/platform/walk_guard.h"
#include "tool/read_ahead.h"

namespace vekinfo {

/// Implements tovScanSubdirsForVekinfo() for `dir`.
/// @param isTop      true to accept a tag file in `dir` itself
/// @param limit      limits how many symbolic links are followed; a link counts each time that it is followed
/// @param readAhead  reads the directories. Successive scans may use the same object, so that its worker threads are
///                   started only once
void scanSubdirs(const char *dir, bool isTop, const vek::LinkLimit &limit, ReadAhead &readAhead);

} // namespace vekinfo

#endif
