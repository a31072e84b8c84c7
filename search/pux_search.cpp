// The public search functions. Each goes through a search list from front to back, and returns the first path that is
// found, or all paths.

#include "common/platform/vek_file.h"
#include "common/text/fixed_text.h"
#include "common/text/owned_strlist.h"
#include "search/pux.h"
#include "search/puxi_list.h"
#include "search/puxi_match.h"

#include <array>
#include <string_view>

namespace pux {

namespace {

/// Sets `list` to the default list if `list` is null. Documented: a missing default list is built even if the caller
/// passed a list. If building fails, every search returns the error.
int chooseList(char **&list) {
    Settings &settings = processSettings();
    const int code = settings.list == nullptr ? initialize(settings, nullptr) : PUX_OK;
    if (list == nullptr) {
        list = settings.list;
    }
    return code;
}

/// Searches `list` for the first match and stores its path in `search.out`. If `list` is null, searches the default
/// list.
/// @return the PUX_ code of the search
int findFirst(char **list, const Search &search) {
    if (const int code = chooseList(list); code != PUX_OK) {
        return code;
    }
    if (search.name == nullptr || search.out == nullptr || search.outSize == 0) {
        return PUX_INVALID_PARAMETER;
    }
    return searchList(search, list);
}

/// Finds all readable matches of `name` along `list`, at most one for each entry of the list, and stores their paths
/// in `*result`.
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
    const Search search = {.name = name, .groups = groups, .out = path.data(), .outSize = path.size()};
    vek::StrlistBuilder matches;
    for (; *list != nullptr; ++list) {
        if (searchEntry(search, *list) == PUX_OK && !matches.add(path.data())) {
            return PUX_MEMORY_ERROR;
        }
    }
    *result = matches.take().release();
    return *result == nullptr ? PUX_FILE_NOT_FOUND : PUX_OK;
}

/// @return the search groups (subdirectories to search) for the parameter `group` of puxSearchGroup(): the default
///         groups, or "." and then `group`
/// @param names  receives `group`; the result can point to this array
Groups groupsFor(const char *group, std::array<const char *, 2> &names) {
    if (group == nullptr || std::string_view(group) == "veksetup" || std::string_view(group) == ".tolvane") {
        return kDefaultGroups;
    }
    names = {group, nullptr};
    return {.isDirectoryFirst = true, .names = names.data()};
}

Groups groupsFor(char **groups) {
    return groups == nullptr ? kDefaultGroups : Groups{.isDirectoryFirst = true, .names = groups};
}

} // namespace

} // namespace pux

int puxSearchEx(char **list, const char *name, char **groups, char **libDirs, char *out, size_t outSize) {
    const pux::Groups given =
        groups == nullptr ? pux::kDefaultGroups : pux::Groups{.isDirectoryFirst = false, .names = groups};
    return pux::findFirst(list, {name, given, libDirs, out, outSize});
}

int puxSearch(char **list, const char *name, char *out, size_t outSize) {
    return pux::findFirst(list,
                          {.name = name, .groups = pux::kDefaultGroups, .out = out, .outSize = outSize});
}

int puxSearchGroup(char **list, const char *name, const char *group, char *out, size_t outSize) {
    std::array<const char *, 2> names = {};
    return pux::findFirst(
        list, {.name = name, .groups = pux::groupsFor(group, names), .out = out, .outSize = outSize});
}

int puxSearchDirList(char **list, const char *name, char **groups, char *out, size_t outSize) {
    return pux::findFirst(list,
                          {.name = name, .groups = pux::groupsFor(groups), .out = out, .outSize = outSize});
}

int puxFullSearch(char **list, const char *name, const char *group, char ***result) {
    std::array<const char *, 2> names = {};
    return pux::findAll(list, name, pux::groupsFor(group, names), result);
}

int puxFullSearchDirList(char **list, const char *name, char **groups, char ***result) {
    return pux::findAll(list, name, pux::groupsFor(groups), result);
}

int puxFindWritableEx(char **list, const char *name, char **libDirs, char *out, size_t outSize) {
    if (const int code = pux::chooseList(list); code != PUX_OK) {
        return code;
    }
    if (name == nullptr || out == nullptr) {
        return PUX_INVALID_PARAMETER;
    }
    std::array<char, VEK_SEARCH_PATH_SIZE> path; // NOLINT(cppcoreguidelines-pro-type-member-init)
    const pux::Search search = {name, pux::kDefaultGroups, libDirs, path.data(), path.size()};
    for (; *list != nullptr; ++list) {
        if (pux::searchEntry(search, *list) == PUX_OK && vekFileWritable(path.data()) != 0) {
            return vek::copyToBuffer(path.data(), out, outSize) ? PUX_OK : PUX_BUFFER_TOO_SMALL;
        }
    }
    return PUX_FILE_NOT_FOUND;
}

int puxFindWritable(char **list, const char *name, char *out, size_t outSize) {
    return puxFindWritableEx(list, name, nullptr, out, outSize);
}
