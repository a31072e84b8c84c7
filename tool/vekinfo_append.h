#ifndef VEKINFO_APPEND_H
#define VEKINFO_APPEND_H

#include "tagfile/tag_append.h"

namespace vekinfo {

/// Appends VEKLIBRARY to the tag file `tagPath` of the library directory `dir`, DMTYPE none if its `dm.tag` says so, and
/// the NAMESPACE of its file system. Creates the file if it does not exist; keeps the content of an existing one. Appends
/// nothing if the file has a VEKLIBRARY entry, which another process may have appended.
tov::AppendResult appendLibraryEntries(const char *dir, const char *tagPath);

} // namespace vekinfo

#endif
