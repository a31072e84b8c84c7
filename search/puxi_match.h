#ifndef PUXI_MATCH_H
#define PUXI_MATCH_H

/// Searches of a given list. They do not read or build the default list.

#include "search/pux.h"

#include <cstddef>
#include <string_view>

VEK_BEGIN_DECLS

/// Joins the candidate of a search: `directory`, "/" unless it is a root, `group` and "/" unless it is ".",
/// `name`.
///
/// @param out      receives the candidate; empty if it does not fit
/// @param outSize  its size in bytes, including the NUL
/// @return 0, or PUX_BUFFER_TOO_SMALL
int pux_concat_path(const char *directory, const char *group, const char *name, char *out, size_t outSize);

VEK_END_DECLS

namespace pux {

/// The entry of a search list that is replaced by the library directories.
inline constexpr std::string_view kLibraryEntry = "@LIBRARY";

/// Search groups, in the order in which each directory is searched.
struct Groups {
    bool isDirectoryFirst;    ///< whether the directory itself comes before the groups
    const char *const *names; ///< null-terminated
};

/// ".tolvane", "." and "veksetup".
extern const Groups kDefaultGroups;

/// What is searched, and the buffer for the path of the match.
struct Search {
    const char *name;
    Groups groups;
    char **libraryDirectories; ///< replace kLibraryEntry; null for none
    char *out;
    std::size_t outSize;
};

/// Searches one entry of a list.
/// @return PUX_OK, PUX_PERMISSION_DENIED or PUX_BUFFER_TOO_SMALL for a match; PUX_FILE_NOT_FOUND without one
[[nodiscard]] int searchEntry(const Search &search, const char *entry);

/// Searches the entries of `list` for the first match. @return as searchEntry()
[[nodiscard]] int searchList(const Search &search, char **list);

} // namespace pux

#endif
