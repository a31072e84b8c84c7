#ifndef PUXI_MATCH_H
#define PUXI_MATCH_H

/// Searches along a given list. They do not use the default list.

#include "search/pux.h"

#include <cstddef>
#include <string_view>

VEK_BEGIN_DECLS

/// Composes the path "directory/group/name" of a file that a search tests. The first "/" is omitted if `directory` is
/// a root directory; `group` and the second "/" are omitted if `group` is ".".
///
/// @param out      receives the path; empty if it does not fit
/// @param outSize  size of `out` in bytes, including the NUL
/// @return PUX_OK; PUX_BUFFER_TOO_SMALL; or PUX_INVALID_PARAMETER for a null argument or an `outSize` of 0
int pux_concat_path(const char *directory, const char *group, const char *name, char *out, size_t outSize);

VEK_END_DECLS

namespace pux {

/// The entry of a search list for which the library directories of a search are searched.
inline constexpr std::string_view kLibraryEntry = "@LIBRARY";

/// The search groups: subdirectories that a search tests in each directory, in this order.
struct Groups {
    bool isDirectoryFirst;    ///< whether the directory itself comes before the groups
    const char *const *names; ///< null-terminated
};

/// The search groups of a caller that gives none: ".tolvane", "." and "veksetup".
extern const Groups kDefaultGroups;

/// The parameters of a search.
struct Search {
    const char *name; ///< the file name to find
    Groups groups;
    char **libraryDirectories; ///< searched for kLibraryEntry; null for none
    char *out;                 ///< receives the path of the match
    std::size_t outSize;       ///< size of `out` in bytes, including the NUL
};

/// Searches the directory `entry` in all search groups. For kLibraryEntry, searches each library directory in the
/// group ".tolvane".
/// @return PUX_OK, PUX_PERMISSION_DENIED or PUX_BUFFER_TOO_SMALL for a match; PUX_FILE_NOT_FOUND without one
[[nodiscard]] int searchEntry(const Search &search, const char *entry);

/// Searches the entries of `list` for the first match. @return as searchEntry()
[[nodiscard]] int searchList(const Search &search, char **list);

} // namespace pux

#endif
