#ifndef TOVI_READ_H
#define TOVI_READ_H

/// Reads and parses one tag file that other processes may be editing.

#include "tagfile/keyword.h"
#include "tagfile/tov.h"
#include "tagfile/tovi_report.h"

namespace tov {

/// Parses the tag file `path` into `obj`, which must be empty. If an edit may be in progress, waits for a shared lock
/// first; tov_read.cpp describes the test. A file that is not a regular file is read as an empty file.
/// @param element, found  as in parseLines()
/// @return kNoError, or the error that ended reading
Report readTagFile(const Keywords &keywords, const char *path, const char *element, VekinfoObj &obj,
                   bool &found);

} // namespace tov

#endif
