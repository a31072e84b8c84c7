#ifndef PUXI_SEARCH_H
#define PUXI_SEARCH_H

/// What the search list and the searches along it share inside this layer.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// What a permission test asks for.
enum { PUXI_EXISTS = 0, PUXI_EXECUTABLE = 1, PUXI_WRITABLE = 2, PUXI_READABLE = 4 };

/// Tests one access without the access() call where the mode bits already grant it, for the effective ids that
/// puxInitialize() recorded (or that are recorded here, on first use).
///
/// @param mode  PUXI_EXISTS or one of the three accesses
/// @return 0 when it is granted, else -1 with `errno` set by stat() or access()
int pux_quick_access(const char *path, int mode);

/// Joins the candidate of a search: `directory`, "/" unless it is a root, `group` and "/" unless it is ".",
/// `name`.
///
/// @param out      receives the candidate; empty when it does not fit
/// @param outSize  its size in bytes, the NUL included
/// @return 0, or PUX_BUFFER_TOO_SMALL
int pux_concat_path(const char *directory, const char *group, const char *name, char *out, size_t outSize);

/// Reads the search list that the `setup.loc` file `path` gives.
///
/// @param list  receives a new list, empty when no line names a usable directory; null after a failure
/// @return PUX_OK, PUX_FILE_NOT_FOUND when the file cannot be opened, or PUX_MEMORY_ERROR
int pux_parse_setup_loc(const char *path, char ***list);

/// Records the effective user and group ids that pux_quick_access() works with.
void puxiRecordEffectiveIds(void);

/// @return the default list, null while there is none
char **puxiDefaultList(void);

VEK_END_DECLS

#ifdef __cplusplus

#include <string_view>

namespace vek {

/// The entry of a search list that stands for the library directories.
inline constexpr std::string_view kLibraryEntry = "@LIBRARY";

} // namespace vek

#endif

#endif
