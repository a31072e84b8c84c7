#ifndef VEKINFO_APPEND_H
#define VEKINFO_APPEND_H

#include "tagfile/tag_append.h"
#include "tool/read_ahead.h"

namespace vekinfo {

/// Appends the entries that configure the library directory `dir` to its tag file `tagPath`:
/// - VEKLIBRARY
/// - "DMTYPE none", if lookForNoneTag() finds "none" in the file `dm.tag` in `dir`
/// - "NAMESPACE LibraryUnix" if the file system of `dir` is case-sensitive, "NAMESPACE LibraryNT" if it is not. If
///   ReadAhead::probe() cannot determine this, an error is printed and the entry is left out
///
/// Creates the file if it is missing. If the file already defines VEKLIBRARY, appends nothing: another process may have
/// appended the entries since the caller tested the file.
/// @return the result of tov::appendUnlessDefined()
tov::AppendResult appendLibraryEntries(const char *dir, const char *tagPath, ReadAhead &readAhead);

} // namespace vekinfo

#endif
