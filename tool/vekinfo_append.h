#ifndef VEKINFO_APPEND_H
#define VEKINFO_APPEND_H

#include "tagfile/tag_append.h"

namespace vekinfo {

/// Appends these entries to the tag file `tagPath` of the library directory `dir`:
/// - VEKLIBRARY
/// - "DMTYPE none", if lookForNoneTag() returns 1 for `dir`
/// - the NAMESPACE for the case sensitivity of the file system of `dir`. If it cannot be determined, this is reported
///
/// A missing file is created. Nothing is appended if the file defines VEKLIBRARY: another process may have appended it
/// after the caller's check.
/// @return the result of tov::appendUnlessDefined()
tov::AppendResult appendLibraryEntries(const char *dir, const char *tagPath);

} // namespace vekinfo

#endif
