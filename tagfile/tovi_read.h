#ifndef TOVI_READ_H
#define TOVI_READ_H

/// Reading and parsing of one tag file that other processes may be editing at the same time.

#include "tagfile/keyword.h"
#include "tagfile/tov.h"
#include "tagfile/tovi_report.h"

namespace tov {

/// Parses the tag file `path` into `obj`, which must not contain entries. If the file has been modified within the last
/// 60 s, or changes while it is read, another process may be editing it; the file is then read under a shared lock. A
/// file that is not a regular file is treated as an empty file.
/// @param element  the name of an entry to search for, or null
ParseResult readTagFile(const Keywords &keywords, const char *path, const char *element, VekinfoObj &obj);

} // namespace tov

#endif
