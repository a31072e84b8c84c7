#ifndef TOVI_READ_H
#define TOVI_READ_H

/// Reading one tag file.

#include "tagfile/keyword.h"
#include "tagfile/tov.h"
#include "tagfile/tovi_report.h"

namespace tov {

/// Reads the tag file `path` into `obj`, in which nothing is set. A file that may be changing is read under a shared lock
/// (tov_read.cpp).
Report readTagFile(const Keywords &keywords, const char *path, const char *element, VekinfoObj &obj,
                   bool &found);

} // namespace tov

#endif
