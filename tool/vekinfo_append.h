#ifndef VEKINFO_APPEND_H
#define VEKINFO_APPEND_H

/// Appends, to the tag file `tagPath` of the library directory `dir`, what marks it as a library: VEKLIBRARY, the
/// DM type "none" when its `dm.tag` says so, and the namespace that suits its file system. The file is created
/// when it does not exist; what it holds stays. All is written with one call.
///
/// @return false when the file could not be opened or written; it is then as it was
bool vekinfoAppendLibraryEntries(const char *dir, const char *tagPath);

#endif
