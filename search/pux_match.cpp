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

/// Tests the path "directory/group/name". If it is a match, stores the path in `search.out`.
/// @return PUX_FILE_NOT_FOUND if the path is no match; otherwise the code that searchEntry() returns for the match
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
    // file and not a directory. Documented: a path of more than 1023 characters is an error even if the buffer is
    // larger.
    if (candidate.size() >= VEK_SEARCH_PATH_SIZE ||
        !vek::copyToBuffer(candidate.view(), search.out, search.outSize)) {
        return PUX_BUFFER_TOO_SMALL;
    }
    return error == 0 ? PUX_OK : PUX_PERMISSION_DENIED;
}

} // namespace

const Groups kDefaultGroups = {.isDirectoryFirst = false, .names = kDefaultGroupNames.data()};

int searchEntry(const Search &search, const char *entry) {
    int code = PUX_FILE_NOT_FOUND;
    if (entry == kLibraryEntry) {
        char **directory = search.libraryDirectories;
        for (; code == PUX_FILE_NOT_FOUND && directory != nullptr && *directory != nullptr; ++directory) {
            code = searchGroup(search, *directory, kLibraryGroup);
        }
        return code;
    }
    if (search.groups.isDirectoryFirst) {
        code = searchGroup(search, entry, kSameDirectory);
    }
    const char *const *group = search.groups.names;
    for (; code == PUX_FILE_NOT_FOUND && *group != nullptr; ++group) {
        code = searchGroup(search, entry, *group);
    }
    return code;
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
