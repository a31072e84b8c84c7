#ifndef VEKINFO_APPEND_H
#define VEKINFO_APPEND_H

#include "tagfile/tag_append.h"

/// Appends, to the tag file `tagPath` of the library directory `dir`, what marks it as a library: VEKLIBRARY, the
/// DM type "none" if its `dm.tag` says so, and the namespace that suits its file system. A file that does not exist is
/// created; an existing one keeps its content. Nothing is appended to a file that has a VEKLIBRARY entry by now.
tov::AppendResult vekinfoAppendLibraryEntries(const char *dir, const char *tagPath);

#endif
