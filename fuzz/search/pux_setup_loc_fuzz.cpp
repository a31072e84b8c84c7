// Search lists: a byte of options, a section with names to look for, and the rest the file `setup.loc`, from which
// the search list is built, searched and released.

#include "common/platform/vek_init.h"
#include "common/text/vek_strlist.h"
#include "fuzz/support/target.h"
#include "search/pux.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

enum Option : unsigned { kInTolvane = 1, kInsert = 2, kGroups = 4, kSmallBuffer = 8 };

using Strings = std::vector<std::string>;

std::string upToNul(std::string_view text) {
    return std::string(text.substr(0, text.find('\0')));
}

bool isSpace(char c) {
    return c != '\0' && std::strchr(" \t\n\v\f\r", c) != nullptr;
}

/// The first token of a line; false when its quote is not closed.
bool tokenOf(const std::string &line, std::string &token) {
    std::size_t at = 0;
    while (at < line.size() && isSpace(line[at])) {
        ++at;
    }
    const bool quoted = at < line.size() && line[at] == '"';
    std::size_t end = quoted ? line.find('"', at + 1) : at;
    if (end == std::string::npos) {
        return false;
    }
    while (!quoted && end < line.size() && !isSpace(line[end])) {
        ++end;
    }
    at += quoted ? 1 : 0;
    token = line.substr(at, end - at);
    return true;
}

/// The list that a file without references gives. False when it has one.
bool modelOf(std::string_view file, Strings &list) {
    constexpr std::size_t kLongest = 1023;
    while (!file.empty()) {
        const std::size_t newline = file.substr(0, kLongest).find('\n');
        const std::string line =
            upToNul(file.substr(0, newline == std::string_view::npos ? kLongest : newline + 1));
        file.remove_prefix(newline == std::string_view::npos ? std::min(kLongest, file.size()) : newline + 1);
        std::string token;
        if (!tokenOf(line, token) || token.empty() || token[0] == ';' || token[0] == '#' ||
            token.starts_with("--")) {
            continue;
        }
        if (token.find_first_of("$~") != std::string::npos) {
            return false;
        }
        if (token == "@LIBRARY" || access(token.c_str(), R_OK) == 0) {
            list.push_back(token);
        }
    }
    return true;
}

Strings stringsOf(char **list) {
    Strings strings;
    for (; list != nullptr && *list != nullptr; ++list) {
        strings.emplace_back(*list);
    }
    return strings;
}

std::string shown(const Strings &list) {
    std::string text;
    for (const std::string &entry : list) {
        text += entry + "\n";
    }
    return text;
}

void checkList(const Strings &entries, std::string_view file) {
    for (const std::string &entry : entries) {
        fuzz::require(entry == "@LIBRARY" || access(entry.c_str(), R_OK) == 0,
                      "an entry of a search list can be read", entry, file);
    }
    Strings expected;
    if (modelOf(file, expected) && !expected.empty() && entries != expected) {
        fuzz::fail("the list is the one that the file gives", shown(entries), shown(expected));
    }
}

void search(char **list, const std::string &name, unsigned options) {
    std::string library = "lib";
    std::string group = "grp";
    std::array<char *, 2> libraries = {library.data(), nullptr};
    std::array<char *, 2> groups = {group.data(), nullptr};
    std::array<char, VEK_SEARCH_PATH_SIZE> path = {};
    const std::size_t size = (options & kSmallBuffer) != 0 ? 7 : path.size();
    const bool hasGroups = (options & kGroups) != 0;
    const int found = puxSearchEx(list, name.c_str(), hasGroups ? groups.data() : nullptr, libraries.data(),
                                  path.data(), size);
    fuzz::require(found != PUX_OK || access(path.data(), R_OK) == 0, "what was found can be read",
                  path.data());
    puxSearchGroup(list, name.c_str(), name.c_str(), path.data(), size);
    puxSearchDirList(list, name.c_str(), hasGroups ? groups.data() : nullptr, path.data(), size);
    puxFindWritableEx(list, name.c_str(), libraries.data(), path.data(), size);
    char **all = nullptr;
    const int code = puxFullSearch(list, name.c_str(), hasGroups ? name.c_str() : nullptr, &all);
    fuzz::require((code == PUX_OK) == (all != nullptr), "all matches are a list, or none");
    vekFreeStrlist(all);
}

} // namespace

namespace fuzz {

void prepare(Box &box) {
    for (const char *directory : {"a", "a/.tolvane", "a/grp", "with blank", "with blank/veksetup", "deep",
                                  "deep/er", "lib", "lib/.tolvane", ".tolvane"}) {
        box.directory(directory);
    }
    for (const char *file : {"a/x", "a/grp/x", "a/.tolvane/y", "with blank/veksetup/x", "deep/er/y",
                             "lib/.tolvane/z", "notes"}) {
        box.file(file, "text\n");
    }
    box.link("link", "deep/er");
    box.link("loop", "loop");
    setenv("A", "a", 1);
    setenv("EMPTY", "", 1);
    setenv("VEK_WORKAREA", "deep", 1);
    setenv("VEK_SITE", "lib", 1);
    vekInitNonVEKApp("tool");
    cmnSetInstallRootRequired(0);
}

void run(Box &box, Input input) {
    const unsigned options = input.byte();
    Input names(input.section());
    const std::string_view file = input.rest();
    const bool inTolvane = (options & kInTolvane) != 0;
    box.file(inTolvane ? ".tolvane/setup.loc" : "setup.loc", file);
    box.remove(inTolvane ? "setup.loc" : ".tolvane/setup.loc");
    char **list = nullptr;
    const int code = puxInitialize(&list);
    require((code == PUX_OK) == (list != nullptr), "a list, or a code", file);
    if (list == nullptr) {
        return;
    }
    checkList(stringsOf(list), file);
    for (int i = 0; i < 3; ++i) {
        const std::string name = upToNul(names.line());
        if ((options & kInsert) != 0) {
            puxInsertToSearchList(&list, name.c_str());
        }
        search(list, name, options);
    }
    require(puxReleaseHandle(list) == PUX_OK, "a list can be released");
    static_cast<void>(puxReleaseHandle(nullptr));
}

} // namespace fuzz
