#include "common/base/owned.h"
#include "common/platform/vek_file.h"
#include "common/platform/vek_path.h"
#include "common/text/fixed_text.h"
#include "common/text/owned_strlist.h"
#include "search/pux.h"
#include "search/puxi_search.h"

#include <array>
#include <cerrno>
#include <string_view>

namespace {

constexpr const char *kLibraryGroup = ".tolvane";
constexpr const char *kSameDirectory = ".";

/// Search groups: a null-terminated array, after the directory itself where that is asked for.
struct Groups {
    bool directoryFirst;
    const char *const *names;
};

constexpr std::array<const char *, 4> kDefaultGroupNames = {".tolvane", ".", "veksetup", nullptr};
constexpr Groups kDefaultGroups = {false, kDefaultGroupNames.data()};

/// What is looked for, and where the path of what is found goes.
struct Search {
    const char *name;
    Groups groups;
    char **libraryDirectories; ///< null for none
    char *out;
    size_t outSize;
};

/// Copies a path to the caller's buffer, which may be larger than a search result.
/// @return `code`, or PUX_BUFFER_TOO_SMALL
int deliver(const Search &search, std::string_view path, int code) {
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
        return joined; // stat() of a path that long always fails with ENAMETOOLONG, not with ENOENT
    }
    if (pux_quick_access(candidate.c_str(), PUXI_READABLE) == 0) {
        return deliver(search, candidate.view(), PUX_OK);
    }
    // Every other error counts as a file that cannot be read, also a group that is no directory.
    return errno == ENOENT ? PUX_FILE_NOT_FOUND : deliver(search, candidate.view(), PUX_PERMISSION_DENIED);
}

int searchDirectory(const Search &search, const char *directory) {
    if (search.groups.directoryFirst) {
        const int code = searchGroup(search, directory, kSameDirectory);
        if (code != PUX_FILE_NOT_FOUND) {
            return code;
        }
    }
    for (const char *const *group = search.groups.names; *group != nullptr; ++group) {
        const int code = searchGroup(search, directory, *group);
        if (code != PUX_FILE_NOT_FOUND) {
            return code;
        }
    }
    return PUX_FILE_NOT_FOUND;
}

int searchLibraries(const Search &search) {
    if (search.libraryDirectories == nullptr) {
        return PUX_FILE_NOT_FOUND;
    }
    for (char **directory = search.libraryDirectories; *directory != nullptr; ++directory) {
        const int code = searchGroup(search, *directory, kLibraryGroup);
        if (code != PUX_FILE_NOT_FOUND) {
            return code;
        }
    }
    return PUX_FILE_NOT_FOUND;
}

int searchEntry(const Search &search, const char *entry) {
    return entry == vek::kLibraryEntry ? searchLibraries(search) : searchDirectory(search, entry);
}

/// Makes `list` the list to search. The default list is built when there is none, also for a caller that
/// brings a list of its own: its failure is the result of every search.
int chooseList(char **&list) {
    if (puxiDefaultList() == nullptr) {
        const int code = puxInitialize(nullptr);
        if (code != PUX_OK) {
            return code;
        }
    }
    if (list == nullptr) {
        list = puxiDefaultList();
    }
    return list == nullptr ? PUX_INVALID_PARAMETER : PUX_OK;
}

/// Finds the first match.
int findFirst(char **list, const Search &search) {
    if (const int code = chooseList(list); code != PUX_OK) {
        return code;
    }
    if (search.name == nullptr || search.out == nullptr || search.outSize == 0) {
        return PUX_INVALID_PARAMETER;
    }
    for (; *list != nullptr; ++list) {
        const int code = searchEntry(search, *list);
        if (code != PUX_FILE_NOT_FOUND) {
            return code;
        }
    }
    return PUX_FILE_NOT_FOUND;
}

/// Finds all matches, at most one from each entry; an entry whose search fails otherwise gives none.
int findAll(char **list, const char *name, const Groups &groups, char ***result) {
    if (result != nullptr) {
        *result = nullptr;
    }
    if (const int code = chooseList(list); code != PUX_OK) {
        return code;
    }
    if (name == nullptr || result == nullptr) {
        return PUX_INVALID_PARAMETER;
    }
    std::array<char, VEK_SEARCH_PATH_SIZE> path; // NOLINT(cppcoreguidelines-pro-type-member-init)
    const Search search = {name, groups, nullptr, path.data(), path.size()};
    vek::StrlistBuilder matches;
    for (; *list != nullptr; ++list) {
        if (searchEntry(search, *list) == PUX_OK && !matches.add(path.data())) {
            return PUX_MEMORY_ERROR;
        }
    }
    *result = matches.take().release();
    return *result == nullptr ? PUX_FILE_NOT_FOUND : PUX_OK;
}

/// The groups that one group name asks for. `names` is the memory that they lie in.
Groups groupsFor(const char *group, std::array<const char *, 2> &names) {
    if (group == nullptr || std::string_view(group) == "veksetup" || std::string_view(group) == ".tolvane") {
        return kDefaultGroups;
    }
    names = {group, nullptr};
    return {true, names.data()};
}

Groups groupsFor(char **groups) {
    return groups == nullptr ? kDefaultGroups : Groups{true, groups};
}

} // namespace

int pux_concat_path(const char *directory, const char *group, const char *name, char *out, size_t outSize) {
    if (directory == nullptr || group == nullptr || name == nullptr || out == nullptr || outSize == 0) {
        return PUX_INVALID_PARAMETER;
    }
    const std::string_view groupName = group;
    const bool sameDirectory = groupName == kSameDirectory;
    const std::array<std::string_view, 5> pieces = {directory, vekIsRoot(directory) != 0 ? "" : "/",
                                                    sameDirectory ? "" : groupName, sameDirectory ? "" : "/",
                                                    name};
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

int puxSearchEx(char **list, const char *name, char **groups, char **libDirs, char *out, size_t outSize) {
    const Groups given = groups == nullptr ? kDefaultGroups : Groups{false, groups};
    return findFirst(list, {name, given, libDirs, out, outSize});
}

int puxSearch(char **list, const char *name, char *out, size_t outSize) {
    return findFirst(list, {name, kDefaultGroups, nullptr, out, outSize});
}

int puxSearchGroup(char **list, const char *name, const char *group, char *out, size_t outSize) {
    std::array<const char *, 2> names = {};
    return findFirst(list, {name, groupsFor(group, names), nullptr, out, outSize});
}

int puxSearchDirList(char **list, const char *name, char **groups, char *out, size_t outSize) {
    return findFirst(list, {name, groupsFor(groups), nullptr, out, outSize});
}

int puxFullSearch(char **list, const char *name, const char *group, char ***result) {
    std::array<const char *, 2> names = {};
    return findAll(list, name, groupsFor(group, names), result);
}

int puxFullSearchDirList(char **list, const char *name, char **groups, char ***result) {
    return findAll(list, name, groupsFor(groups), result);
}

int puxFindWritableEx(char **list, const char *name, char **libDirs, char *out, size_t outSize) {
    if (const int code = chooseList(list); code != PUX_OK) {
        return code;
    }
    if (name == nullptr || out == nullptr) {
        return PUX_INVALID_PARAMETER;
    }
    std::array<char, VEK_SEARCH_PATH_SIZE> path; // NOLINT(cppcoreguidelines-pro-type-member-init)
    const Search search = {name, kDefaultGroups, libDirs, path.data(), path.size()};
    for (; *list != nullptr; ++list) {
        if (searchEntry(search, *list) == PUX_OK && vekFileWritable(path.data()) != 0) {
            return vek::copyToBuffer(path.data(), out, outSize) ? PUX_OK : PUX_BUFFER_TOO_SMALL;
        }
    }
    return PUX_FILE_NOT_FOUND;
}

int puxFindWritable(char **list, const char *name, char *out, size_t outSize) {
    return puxFindWritableEx(list, name, nullptr, out, outSize);
}
