#ifndef PUXI_MATCH_H
#define PUXI_MATCH_H

/// Functions that search for a file along a given search list. They do not use the default list of the process.

#include "search/pux.h"

#include <cstddef>
#include <string_view>

VEK_BEGIN_DECLS

/// Composes the path "directory/group/name", which a search tests. If `directory` is a root directory, the first "/"
/// is omitted. If `group` is ".", `group` and the second "/" are omitted.
///
/// @param out      receives the path; empty if it does not fit
/// @param outSize  size of `out` in bytes, including the NUL
/// @return PUX_OK; PUX_BUFFER_TOO_SMALL; or PUX_INVALID_PARAMETER for a null argument or an `outSize` of 0
int pux_concat_path(const char *directory, const char *group, const char *name, char *out, size_t outSize);

VEK_END_DECLS

namespace pux {

/// The entry of a search list that represents the library directories: a search tests the directories in
/// Search::libraryDirectories instead.
inline constexpr std::string_view kLibraryEntry = "@LIBRARY";

/// The search groups: names of subdirectories. In each directory of a search list, a search tests these subdirectories
/// in this order.
struct Groups {
    bool isDirectoryFirst;    ///< whether the directory itself comes before the groups
    const char *const *names; ///< null-terminated
};

/// The search groups that are used if the caller passes none: ".tolvane", "." (the directory itself) and "veksetup".
extern const Groups kDefaultGroups;

/// The parameters of one search for a file, except the search list.
struct Search {
    const char *name; ///< the file name to find
    Groups groups;
    char **libraryDirectories = nullptr; ///< the directories that kLibraryEntry represents; null for none
    char *out;                           ///< receives the path of the match
    std::size_t outSize;                 ///< size of `out` in bytes, including the NUL
};

/// Searches one entry of a search list, which is a directory or "@LIBRARY" (kLibraryEntry). In a directory, all
/// search groups (subdirectories) are searched. For "@LIBRARY", the subdirectory ".tolvane" of each library directory
/// is searched.
/// @return PUX_FILE_NOT_FOUND without a match; PUX_OK for a match; PUX_PERMISSION_DENIED if the match cannot be read;
///         PUX_BUFFER_TOO_SMALL if its path is too long
[[nodiscard]] int searchEntry(const Search &search, const char *entry);

/// Searches the entries of the search list `list` in order, up to the first match.
/// @return PUX_FILE_NOT_FOUND without a match, otherwise the code that searchEntry() returned for the match
[[nodiscard]] int searchList(const Search &search, char **list);

} // namespace pux

#endif
