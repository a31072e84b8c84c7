#ifndef VEKINFO_SCAN_H
#define VEKINFO_SCAN_H

#include "common/platform/walk_guard.h"
#include "tool/read_ahead.h"

namespace vekinfo {

/// Searches `dir` and all directories below it recursively, and reports each tag file that is found as redundant: only
/// the directory of a library should contain one. tovScanSubdirsForVekinfo() calls this function.
/// @param isTop      true if `dir` is the directory of a library: a tag file in `dir` itself is then not reported
/// @param limit      the maximum number of symbolic links to follow; a link counts each time that it is followed
/// @param readAhead  reads the directories with worker threads. The same object may be used for several calls, so that
///                   the threads are started only once
void scanSubdirs(const char *dir, bool isTop, const vek::LinkLimit &limit, ReadAhead &readAhead);

} // namespace vekinfo

#endif
