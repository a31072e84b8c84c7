// Searches one entry of a search list, which is a directory or "@LIBRARY", for one file name: forms the path from the
// directory, the search group (a subdirectory) and the name, and tests whether the file is accessible.

#include "search/puxi_match.h"

#include "common/platform/vek_path.h"
#include "common/text/fixed_text.h"
#include "search/puxi_access.h"

#include <array>
#include <cerrno>

namespace pux {

namespace {

constexpr const char *kLibraryGroup = ".tolvane";
constexpr const char *kSameDirectory = ".";

constexpr std::array<const char *, 4> kDefaultGroupNames = {kLibraryGroup, kSameDirectory, "veksetup",
                                                            nullptr};

/// Copies `path`, the path of a match, to `search.out`. Documented: a path of more than 1023 characters is an error
/// even if the buffer is larger.
/// @return `code` if the path was copied, otherwise PUX_BUFFER_TOO_SMALL
int copyMatch(const Search &search, std::string_view path, int code) {
    const bool fits =
        path.size() < VEK_SEARCH_PATH_SIZE && vek::copyToBuffer(path, search.out, search.outSize);
    return fits ? code : PUX_BUFFER_TOO_SMALL;
}

int searchGroup(const Search &search, const char *directory, const char *group) {
    vek::PathText candidate;
    const int joined = candidate.fill([&](char *out, std::size_t size) {
        return pux_concat_path(directory, group, search.name, out, size);
    });
    if (joined != PUX_OK) {
        // The path is too long. This is an error and not PUX_FILE_NOT_FOUND: stat() would fail with ENAMETOOLONG, and
        // only ENOENT means that there is no match.
        return joined;
    }
    const int error = testAccess(candidate.c_str(), PUXI_READABLE);
    if (error == ENOENT) {
        return PUX_FILE_NOT_FOUND;
    }
    // After any error other than ENOENT, the path is a match that cannot be read. Example: ENOTDIR if `group` is a
    // file and not a directory.
    return copyMatch(search, candidate.view(), error == 0 ? PUX_OK : PUX_PERMISSION_DENIED);
}

/// Searches the subdirectories `groups` of `directory` for the first match. `groups` is a null-terminated array.
/// @return PUX_FILE_NOT_FOUND without a match, otherwise the code for the match, such as PUX_OK
int searchGroups(const Search &search, const char *directory, const char *const *groups) {
    for (; *groups != nullptr; ++groups) {
        const int code = searchGroup(search, directory, *groups);
        if (code != PUX_FILE_NOT_FOUND) {
            return code;
        }
    }
    return PUX_FILE_NOT_FOUND;
}

int searchDirectory(const Search &search, const char *directory) {
    const int code =
        search.groups.isDirectoryFirst ? searchGroup(search, directory, kSameDirectory) : PUX_FILE_NOT_FOUND;
    return code == PUX_FILE_NOT_FOUND ? searchGroups(search, directory, search.groups.names) : code;
}

int searchLibraries(const Search &search) {
    for (char **directory = search.libraryDirectories; directory != nullptr && *directory != nullptr;
         ++directory) {
        const int code = searchGroup(search, *directory, kLibraryGroup);
        if (code != PUX_FILE_NOT_FOUND) {
            return code;
        }
    }
    return PUX_FILE_NOT_FOUND;
}

} // namespace

const Groups kDefaultGroups = {false, kDefaultGroupNames.data()};

int searchEntry(const Search &search, const char *entry) {
    return entry == kLibraryEntry ? searchLibraries(search) : searchDirectory(search, entry);
}

int searchList(const Search &search, char **list) {
    for (; *list != nullptr; ++list) {
        const int code = searchEntry(search, *list);
        if (code != PUX_FILE_NOT_FOUND) {
            return code;
        }
    }
    return PUX_FILE_NOT_FOUND;
}

} // namespace pux

int pux_concat_path(const char *directory, const char *group, const char *name, char *out, size_t outSize) {
    if (directory == nullptr || group == nullptr || name == nullptr || out == nullptr || outSize == 0) {
        return PUX_INVALID_PARAMETER;
    }
    const std::string_view groupName = group;
    const bool isSameDirectory = groupName == pux::kSameDirectory;
    const std::array<std::string_view, 5> pieces = {directory, vekIsRoot(directory) != 0 ? "" : "/",
                                                    isSameDirectory ? "" : groupName,
                                                    isSameDirectory ? "" : "/", name};
    size_t length = 0;
    for (const std::string_view piece : pieces) {
        if (!vek::copyToBuffer(piece, out + length, outSize - length)) {
            *out = '\0';
            return PUX_BUFFER_TOO_SMALL;
        }
        length += piece.size();
    }
    return PUX_OK;
}
