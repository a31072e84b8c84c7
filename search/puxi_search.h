#ifndef PUXI_SEARCH_H
#define PUXI_SEARCH_H

/// The documented internal functions of the search list and of the searches.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// What pux_quick_access() tests.
enum { PUXI_EXISTS = 0, PUXI_EXECUTABLE = 1, PUXI_WRITABLE = 2, PUXI_READABLE = 4 };

/// Tests one access, without access() if the mode bits grant it to the effective ids. puxInitialize() records these
/// ids; otherwise the first call does.
///
/// @param mode  PUXI_EXISTS or one of the three accesses
/// @return 0 if it is granted, otherwise -1 with `errno` set by stat() or access()
int pux_quick_access(const char *path, int mode);

/// Joins the candidate of a search: `directory`, "/" unless it is a root, `group` and "/" unless it is ".",
/// `name`.
///
/// @param out      receives the candidate; empty if it does not fit
/// @param outSize  its size in bytes, including the NUL
/// @return 0, or PUX_BUFFER_TOO_SMALL
int pux_concat_path(const char *directory, const char *group, const char *name, char *out, size_t outSize);

/// Reads the search list of the `setup.loc` file `path`.
///
/// @param list  receives a new list, empty if no line names a usable directory; null after a failure
/// @return PUX_OK, PUX_FILE_NOT_FOUND if the file cannot be opened, or PUX_MEMORY_ERROR
int pux_parse_setup_loc(const char *path, char ***list);

VEK_END_DECLS

#endif
