// The searches along a search list.

#include "search/pux.h"
#include "search/puxi_list.h"
#include "search/puxi_match.h"
#include "tests/search/search_list.h"
#include "tests/support/capture.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"

#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using Strings = std::vector<std::string>;
using test::CList;

struct Found {
    int code;
    std::string path;

    bool operator==(const Found &) const = default;
};

std::ostream &operator<<(std::ostream &stream, const Found &found) {
    return stream << found.code << " '" << found.path << "'";
}

const Found kNotFound = {PUX_FILE_NOT_FOUND, "untouched"};
const Found kTooSmall = {PUX_BUFFER_TOO_SMALL, "untouched"};

/// Calls `search(buffer, size)` on a heap buffer of exactly that size.
template <typename Call>
Found found(Call search, std::size_t size = VEK_SEARCH_PATH_SIZE) {
    std::vector<char> out(size);
    strncpy(out.data(), "untouched", size - 1);
    const int code = search(out.data(), size);
    return {code, out.data()};
}

Found search(char **list, const char *name, std::size_t size = VEK_SEARCH_PATH_SIZE) {
    return found([&](char *out, std::size_t outSize) { return puxSearch(list, name, out, outSize); }, size);
}

Found searchGroup(char **list, const char *name, const char *group) {
    return found(
        [&](char *out, std::size_t outSize) { return puxSearchGroup(list, name, group, out, outSize); });
}

Found searchDirList(char **list, const char *name, char **groups) {
    return found(
        [&](char *out, std::size_t outSize) { return puxSearchDirList(list, name, groups, out, outSize); });
}

Found searchEx(char **list, const char *name, char **groups, char **libraries) {
    return found([&](char *out, std::size_t outSize) {
        return puxSearchEx(list, name, groups, libraries, out, outSize);
    });
}

Found findWritable(char **list, const char *name, std::size_t size = VEK_SEARCH_PATH_SIZE) {
    return found([&](char *out, std::size_t outSize) { return puxFindWritable(list, name, out, outSize); },
                 size);
}

struct FoundAll {
    int code;
    Strings paths;

    bool operator==(const FoundAll &) const = default;
};

std::ostream &operator<<(std::ostream &stream, const FoundAll &found) {
    stream << found.code;
    for (const std::string &path : found.paths) {
        stream << " '" << path << "'";
    }
    return stream;
}

/// Calls `search(result)`; a failure must leave null.
template <typename Call>
FoundAll foundAll(Call search) {
    char *preset = nullptr;
    char **result = &preset;
    const int code = search(&result);
    if (code != PUX_OK) {
        EXPECT_EQ(result, nullptr);
        return {code, {}};
    }
    EXPECT_NE(result, nullptr);
    FoundAll all = {code, test::strings(result)};
    for (char **path = result; *path != nullptr; ++path) {
        std::free(*path);
    }
    std::free(result);
    return all;
}

FoundAll fullSearch(char **list, const char *name, const char *group = nullptr) {
    return foundAll([&](char ***result) { return puxFullSearch(list, name, group, result); });
}

FoundAll fullSearchDirList(char **list, const char *name, char **groups) {
    return foundAll([&](char ***result) { return puxFullSearchDirList(list, name, groups, result); });
}

class Search : public ::testing::Test {
  protected:
    test::SearchProcess process;
    test::Sandbox &box = process.box;

    ~Search() override { puxReleaseHandle(nullptr); }
};

struct Joined {
    int code;
    std::string path;

    bool operator==(const Joined &) const = default;
};

Joined join(const std::string &directory, const std::string &group, const std::string &name,
            std::size_t size = VEK_SEARCH_PATH_SIZE) {
    std::vector<char> out(size, '#');
    const int code = pux_concat_path(directory.c_str(), group.c_str(), name.c_str(), out.data(), size);
    return {code, out.data()};
}

} // namespace

// Joining a candidate.

TEST(SearchCandidate, HasDirectoryGroupAndName) {
    EXPECT_EQ(join("/d", ".tolvane", "n"), (Joined{0, "/d/.tolvane/n"}));
    EXPECT_EQ(join(".", "g", "a/n"), (Joined{0, "./g/a/n"}));
    EXPECT_EQ(join("/d/", "g", "n"), (Joined{0, "/d//g/n"}));
}

TEST(SearchCandidate, LeavesTheGroupOfTheDirectoryItselfOut) {
    EXPECT_EQ(join("/d", ".", "n"), (Joined{0, "/d/n"}));
    EXPECT_EQ(join("/d", "..", "n"), (Joined{0, "/d/../n"}));
}

TEST(SearchCandidate, HasNoSlashAfterARoot) {
    EXPECT_EQ(join("/", ".", "n"), (Joined{0, "/n"}));
    EXPECT_EQ(join("/", "g", "n"), (Joined{0, "/g/n"}));
    EXPECT_EQ(join("//", ".", "n"), (Joined{0, "//n"}));
    EXPECT_EQ(join("/./", ".", "n"), (Joined{0, "/./n"}));
    EXPECT_EQ(join("/.", ".", "n"), (Joined{0, "/./n"}));
}

TEST(SearchCandidate, IsWholeOrEmpty) {
    const std::string whole = "/d/g/n";
    EXPECT_EQ(join("/d", "g", "n", whole.size() + 1), (Joined{0, whole}));
    for (std::size_t size = 1; size <= whole.size(); ++size) {
        EXPECT_EQ(join("/d", "g", "n", size), (Joined{PUX_BUFFER_TOO_SMALL, ""}));
    }
}

TEST(SearchCandidate, NeedsEveryArgument) {
    std::array<char, 10> out = {};
    EXPECT_EQ(pux_concat_path(nullptr, "g", "n", out.data(), out.size()), PUX_INVALID_PARAMETER);
    EXPECT_EQ(pux_concat_path("d", nullptr, "n", out.data(), out.size()), PUX_INVALID_PARAMETER);
    EXPECT_EQ(pux_concat_path("d", "g", nullptr, out.data(), out.size()), PUX_INVALID_PARAMETER);
    EXPECT_EQ(pux_concat_path("d", "g", "n", nullptr, out.size()), PUX_INVALID_PARAMETER);
    EXPECT_EQ(pux_concat_path("d", "g", "n", out.data(), 0), PUX_INVALID_PARAMETER);
}

// The first match.

TEST_F(Search, TriesTheDefaultGroupsInOrder) {
    CList list({"d"});
    EXPECT_EQ(search(list, "n"), kNotFound);
    box.file("d/veksetup/n", "");
    EXPECT_EQ(search(list, "n"), (Found{PUX_OK, "d/veksetup/n"}));
    box.file("d/n", "");
    EXPECT_EQ(search(list, "n"), (Found{PUX_OK, "d/n"}));
    box.file("d/.tolvane/n", "");
    EXPECT_EQ(search(list, "n"), (Found{PUX_OK, "d/.tolvane/n"}));
}

TEST_F(Search, FollowsTheOrderOfTheList) {
    box.file("b/veksetup/n", "").file("c/.tolvane/n", "").directory("a");
    CList list({"none", "a", "b", "c"});
    EXPECT_EQ(search(list, "n"), (Found{PUX_OK, "b/veksetup/n"}));
}

TEST_F(Search, FindsDirectoriesToo) {
    box.directory("d/n");
    CList list({"d"});
    EXPECT_EQ(search(list, "n"), (Found{PUX_OK, "d/n"}));
}

TEST_F(Search, NameMayBeAPath) {
    box.file("d/a/n", "");
    CList list({"d"});
    EXPECT_EQ(search(list, "a/n"), (Found{PUX_OK, "d/a/n"}));
}

TEST_F(Search, CandidateInARootHasOneSlash) {
    box.file("n", "");
    CList list({"/"});
    EXPECT_EQ(search(list, box.path("n").c_str() + 1), (Found{PUX_OK, box.path("n")}));
}

TEST_F(Search, UnreadableMatchEndsTheSearch) {
    box.file("a/n", "", 0000).file("b/n", "").file("a/veksetup/n", "");
    CList list({"a", "b"});
    test::asUnprivileged([&] {
        EXPECT_EQ(search(list, "n"), (Found{PUX_PERMISSION_DENIED, "a/n"}));
        EXPECT_EQ(search(list, "n", 3), (Found{PUX_BUFFER_TOO_SMALL, "un"}));
    });
}

TEST_F(Search, UnreadableDirectoryEndsTheSearch) {
    box.directory("a", 0000).file("b/n", "");
    CList list({"a", "b"});
    test::asUnprivileged([&] {
        EXPECT_EQ(search(list, "n"), (Found{PUX_PERMISSION_DENIED, "a/.tolvane/n"}));
    });
}

TEST_F(Search, AnyErrorButAMissingFileCountsAsUnreadable) {
    box.file("a/.tolvane", "").file("a/n", "").link("b/n", "n");
    CList file({"a"});
    EXPECT_EQ(search(file, "n"), (Found{PUX_PERMISSION_DENIED, "a/.tolvane/n"}));
    CList loop({"b"});
    EXPECT_EQ(search(loop, "n"), (Found{PUX_PERMISSION_DENIED, "b/n"}));
}

TEST_F(Search, DanglingLinkIsMissing) {
    box.link("a/n", "none").file("b/n", "");
    CList list({"a", "b"});
    EXPECT_EQ(search(list, "n"), (Found{PUX_OK, "b/n"}));
}

TEST_F(Search, ResultMustFitWithItsEnd) {
    box.file("d/n", "");
    CList list({"d"});
    EXPECT_EQ(search(list, "n", 4), (Found{PUX_OK, "d/n"}));
    EXPECT_EQ(search(list, "n", 3), (Found{PUX_BUFFER_TOO_SMALL, "un"}));
    EXPECT_EQ(search(list, "n", 1), (Found{PUX_BUFFER_TOO_SMALL, ""}));
}

TEST_F(Search, MatchOf1024CharactersIsTooLong) {
    for (const std::size_t length : {1023U, 1024U, 1025U, 4000U}) {
        const std::string directory = test::directoryOfLength(box, length - std::strlen("/n"));
        box.file(directory + "/n", "");
        const std::string path = box.path(directory);
        CList list({path});
        EXPECT_EQ(search(list, "n", 5000), length == 1023 ? Found({PUX_OK, path + "/n"}) : kTooSmall)
            << length;
    }
}

TEST_F(Search, MissingCandidateOf1024CharactersDoesNotEndTheSearch) {
    box.file("b/n", "").file("l/.tolvane/n", "");
    for (const std::size_t length : {1012U, 1013U, 1020U, 1021U, 1022U, 1023U, 2000U, 4080U}) {
        const std::string longPath = box.path(test::directoryOfLength(box, length));
        CList list({longPath, "b"});
        EXPECT_EQ(search(list, "n"), (Found{PUX_OK, "b/n"})) << length;
        CList library({"@LIBRARY"});
        CList libraries({longPath, "l"});
        EXPECT_EQ(searchEx(library, "n", nullptr, libraries), (Found{PUX_OK, "l/.tolvane/n"})) << length;
        CList alone({longPath});
        EXPECT_EQ(search(alone, "n"), kNotFound) << length;
    }
}

TEST_F(Search, CandidateOf1024CharactersDoesNotEndTheSearch) {
    // "/veksetup/n" and "/.tolvane/n" make 1024 characters, "/n" does not.
    const std::string directory = test::directoryOfLength(box, 1024 - std::strlen("/.tolvane/n"));
    const std::string path = box.path(directory);
    box.file(directory + "/n", "");
    CList list({path});
    EXPECT_EQ(search(list, "n"), (Found{PUX_OK, path + "/n"}));
}

TEST_F(Search, CandidateOf1024CharactersWithoutReadAccessIsTooLong) {
    const std::string unreadable = test::directoryOfLength(box, 1030);
    const std::string closed = test::directoryOfLength(box, 1040);
    const std::string noDirectory = test::directoryOfLength(box, 1050);
    box.file(unreadable + "/n", "", 0000).directory(closed + "/.tolvane", 0000);
    box.file(noDirectory + "/.tolvane", "").file("b/n", "");
    test::asUnprivileged([&] {
        for (const std::string &directory : {unreadable, closed, noDirectory}) {
            CList list({box.path(directory), "b"});
            EXPECT_EQ(search(list, "n"), kTooSmall) << directory.size();
        }
        puxReleaseHandle(nullptr);
    });
}

TEST_F(Search, PathsThatNoSystemCallTakesAreTooLong) {
    for (const std::size_t length : {4082U, 4083U, 4084U, 4085U, 4086U}) { // with "/.tolvane/n" 4093 to 4097
        const std::string path = box.path(test::directoryOfLength(box, length));
        CList list({path});
        EXPECT_EQ(search(list, "n"), length <= 4084 ? kNotFound : kTooSmall) << length;
    }
    const std::string huge(100000, 'x');
    CList list({"."});
    EXPECT_EQ(search(list, huge.c_str()), kTooSmall);
    CList hugeList({huge});
    EXPECT_EQ(search(hugeList, "n"), kTooSmall);
    EXPECT_EQ(searchGroup(list, "n", huge.c_str()), kTooSmall);
}

TEST_F(Search, EmptyListFindsNothing) {
    CList list({});
    EXPECT_EQ(search(list, "n"), kNotFound);
    EXPECT_EQ(searchGroup(list, "n", "g"), kNotFound);
    EXPECT_EQ(findWritable(list, "n"), kNotFound);
    EXPECT_EQ(fullSearch(list, "n").code, PUX_FILE_NOT_FOUND);
}

TEST_F(Search, PrintsNothing) {
    box.file("a/n", "", 0000);
    CList list({"a"});
    test::Capture capture;
    test::asUnprivileged([&] {
        search(list, "n");
        search(list, "none");
        fullSearch(list, "n");
        findWritable(list, "n");
    });
    EXPECT_EQ(capture.out() + capture.err(), "");
}

// Groups.

TEST_F(Search, DefaultGroupsHaveThreeNames) {
    box.file("d/n", "").file("d/.tolvane/n", "");
    CList list({"d"});
    const Found expected = {PUX_OK, "d/.tolvane/n"};
    EXPECT_EQ(searchGroup(list, "n", nullptr), expected);
    EXPECT_EQ(searchGroup(list, "n", "veksetup"), expected);
    EXPECT_EQ(searchGroup(list, "n", ".tolvane"), expected);
    EXPECT_EQ(searchDirList(list, "n", nullptr), expected);
    EXPECT_EQ(searchEx(list, "n", nullptr, nullptr), expected);
}

TEST_F(Search, NamedGroupComesAfterTheDirectoryItself) {
    box.file("d/.tolvane/n", "").file("d/veksetup/n", "");
    CList list({"d"});
    EXPECT_EQ(searchGroup(list, "n", "cfg"), kNotFound);
    box.file("d/cfg/n", "");
    EXPECT_EQ(searchGroup(list, "n", "cfg"), (Found{PUX_OK, "d/cfg/n"}));
    box.file("d/n", "");
    EXPECT_EQ(searchGroup(list, "n", "cfg"), (Found{PUX_OK, "d/n"}));
}

TEST_F(Search, NamedGroupsComeAfterTheDirectoryItself) {
    box.file("d/.tolvane/n", "").file("d/g2/n", "");
    CList list({"d"});
    CList groups({"g1", "g2"});
    EXPECT_EQ(searchDirList(list, "n", groups), (Found{PUX_OK, "d/g2/n"}));
    box.file("d/g1/n", "");
    EXPECT_EQ(searchDirList(list, "n", groups), (Found{PUX_OK, "d/g1/n"}));
    box.file("d/n", "");
    EXPECT_EQ(searchDirList(list, "n", groups), (Found{PUX_OK, "d/n"}));
}

TEST_F(Search, NoGroupsAtAllLeaveTheDirectoryItself) {
    box.file("d/n", "").file("d/.tolvane/n", "");
    CList list({"d"});
    CList groups({});
    EXPECT_EQ(searchDirList(list, "n", groups), (Found{PUX_OK, "d/n"}));
    EXPECT_EQ(searchEx(list, "n", groups, nullptr), kNotFound);
}

TEST_F(Search, ExTakesTheGroupsAsGiven) {
    box.file("d/n", "").file("d/.tolvane/n", "");
    CList list({"d"});
    CList one({"g1"});
    EXPECT_EQ(searchEx(list, "n", one, nullptr), kNotFound);
    box.file("d/g1/n", "");
    EXPECT_EQ(searchEx(list, "n", one, nullptr), (Found{PUX_OK, "d/g1/n"}));
    CList dot({"g2", ".", "g1"});
    EXPECT_EQ(searchEx(list, "n", dot, nullptr), (Found{PUX_OK, "d/n"}));
}

TEST_F(Search, ThousandsOfGroupsAreTried) {
    Strings names(3000, "none");
    names.emplace_back("last");
    box.file("d/last/n", "");
    CList list({"d"});
    CList groups(names);
    EXPECT_EQ(searchDirList(list, "n", groups), (Found{PUX_OK, "d/last/n"}));
    EXPECT_EQ(fullSearchDirList(list, "n", groups), (FoundAll{PUX_OK, {"d/last/n"}}));
}

// Libraries.

TEST_F(Search, LibraryEntryWithoutLibrariesIsSkipped) {
    box.file("d/n", "").file("@LIBRARY/n", "");
    CList alone({"@LIBRARY"});
    EXPECT_EQ(search(alone, "n"), kNotFound);
    CList list({"@LIBRARY", "d"});
    EXPECT_EQ(search(list, "n"), (Found{PUX_OK, "d/n"}));
}

TEST_F(Search, LibraryEntryIsReplacedByTheLibraries) {
    box.file("l2/.tolvane/n", "").file("d/n", "").directory("l1");
    CList list({"@LIBRARY", "d"});
    CList libraries({"l1", "l2"});
    EXPECT_EQ(searchEx(list, "n", nullptr, libraries), (Found{PUX_OK, "l2/.tolvane/n"}));
    CList later({"d", "@LIBRARY"});
    EXPECT_EQ(searchEx(later, "n", nullptr, libraries), (Found{PUX_OK, "d/n"}));
}

TEST_F(Search, LibrariesAreSearchedInTheFirstGroupOnly) {
    box.file("l/n", "").file("l/veksetup/n", "").file("l/g/n", "");
    CList list({"@LIBRARY"});
    CList libraries({"l"});
    CList groups({"g", "."});
    EXPECT_EQ(searchEx(list, "n", nullptr, libraries), kNotFound);
    EXPECT_EQ(searchEx(list, "n", groups, libraries), kNotFound);
    box.file("l/.tolvane/n", "");
    EXPECT_EQ(searchEx(list, "n", groups, libraries), (Found{PUX_OK, "l/.tolvane/n"}));
}

TEST_F(Search, NoLibrariesAtAllFindNothing) {
    CList list({"@LIBRARY"});
    CList libraries({});
    EXPECT_EQ(searchEx(list, "n", nullptr, libraries), kNotFound);
}

TEST_F(Search, UnreadableMatchInALibraryEndsTheSearch) {
    box.file("l1/.tolvane/n", "", 0000).file("l2/.tolvane/n", "").file("d/n", "");
    CList list({"@LIBRARY", "d"});
    CList libraries({"l1", "l2"});
    test::asUnprivileged([&] {
        EXPECT_EQ(searchEx(list, "n", nullptr, libraries), (Found{PUX_PERMISSION_DENIED, "l1/.tolvane/n"}));
    });
    const std::string huge(1024, 'x');
    CList hugeLibraries({huge});
    EXPECT_EQ(searchEx(list, "n", nullptr, hugeLibraries), kTooSmall);
}

// Arguments and the default list.

TEST_F(Search, NullListIsTheDefaultList) {
    box.file("home/n", "");
    process.environment({{"HOME", box.path("home")}});
    EXPECT_EQ(pux::processSettings().list, nullptr);
    EXPECT_EQ(search(nullptr, "n"), (Found{PUX_OK, box.path("home/n")}));
    EXPECT_NE(pux::processSettings().list, nullptr);
    EXPECT_EQ(searchGroup(nullptr, "n", "g"), (Found{PUX_OK, box.path("home/n")}));
    EXPECT_EQ(findWritable(nullptr, "n"), (Found{PUX_OK, box.path("home/n")}));
    EXPECT_EQ(fullSearch(nullptr, "n"), (FoundAll{PUX_OK, {box.path("home/n")}}));
}

TEST_F(Search, DefaultListIsBuiltForEverySearch) {
    box.file("d/n", "");
    CList list({"d"});
    EXPECT_EQ(search(list, "n"), (Found{PUX_OK, "d/n"}));
    EXPECT_NE(pux::processSettings().list, nullptr);
}

TEST(SearchStart, FailureToBuildTheDefaultListIsTheResult) {
    test::Sandbox box;
    box.file("d/n", "");
    CList list({"d"});
    std::array<char, 10> out = {};
    char **result = nullptr;
    EXPECT_EQ(puxSearch(list, "n", out.data(), out.size()), PUX_NOT_INITIALIZED);
    EXPECT_EQ(puxSearchGroup(nullptr, "n", "g", out.data(), out.size()), PUX_NOT_INITIALIZED);
    EXPECT_EQ(puxSearchDirList(list, "n", nullptr, out.data(), out.size()), PUX_NOT_INITIALIZED);
    EXPECT_EQ(puxSearchEx(list, nullptr, nullptr, nullptr, nullptr, 0), PUX_NOT_INITIALIZED);
    EXPECT_EQ(puxFindWritable(list, "n", out.data(), out.size()), PUX_NOT_INITIALIZED);
    EXPECT_EQ(puxFindWritableEx(list, "n", nullptr, out.data(), out.size()), PUX_NOT_INITIALIZED);
    EXPECT_EQ(fullSearch(list, "n").code, PUX_NOT_INITIALIZED);
    char *preset = nullptr;
    result = &preset;
    EXPECT_EQ(puxFullSearchDirList(list, "n", nullptr, &result), PUX_NOT_INITIALIZED);
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(result, nullptr);
}

TEST_F(Search, NullOrEmptyArgumentsAreInvalid) {
    CList list({"."});
    std::array<char, 10> out = {};
    char **result = nullptr;
    EXPECT_EQ(puxSearch(list, nullptr, out.data(), out.size()), PUX_INVALID_PARAMETER);
    EXPECT_EQ(puxSearch(list, "n", nullptr, out.size()), PUX_INVALID_PARAMETER);
    EXPECT_EQ(puxSearch(list, "n", out.data(), 0), PUX_INVALID_PARAMETER);
    EXPECT_EQ(puxSearchEx(list, nullptr, nullptr, nullptr, out.data(), out.size()), PUX_INVALID_PARAMETER);
    EXPECT_EQ(puxSearchGroup(list, nullptr, "g", out.data(), out.size()), PUX_INVALID_PARAMETER);
    EXPECT_EQ(puxSearchGroup(list, "n", "g", nullptr, out.size()), PUX_INVALID_PARAMETER);
    EXPECT_EQ(puxSearchGroup(list, "n", "g", out.data(), 0), PUX_INVALID_PARAMETER);
    EXPECT_EQ(puxSearchDirList(list, nullptr, nullptr, out.data(), out.size()), PUX_INVALID_PARAMETER);
    EXPECT_EQ(puxFullSearch(list, nullptr, nullptr, &result), PUX_INVALID_PARAMETER);
    EXPECT_EQ(puxFullSearch(list, "n", nullptr, nullptr), PUX_INVALID_PARAMETER);
    EXPECT_EQ(puxFullSearchDirList(list, nullptr, nullptr, &result), PUX_INVALID_PARAMETER);
    EXPECT_EQ(puxFullSearchDirList(list, "n", nullptr, nullptr), PUX_INVALID_PARAMETER);
    EXPECT_EQ(puxFindWritable(list, nullptr, out.data(), out.size()), PUX_INVALID_PARAMETER);
    EXPECT_EQ(puxFindWritable(list, "n", nullptr, out.size()), PUX_INVALID_PARAMETER);
    EXPECT_EQ(puxFindWritableEx(list, nullptr, nullptr, out.data(), out.size()), PUX_INVALID_PARAMETER);
}

// All matches.

TEST_F(Search, FullSearchTakesTheFirstMatchOfEveryDirectory) {
    box.file("a/.tolvane/n", "").file("a/n", "").file("b/veksetup/n", "").directory("c").file("d/n", "");
    CList list({"a", "b", "c", "d", "none", "a"});
    EXPECT_EQ(fullSearch(list, "n"),
              (FoundAll{PUX_OK, {"a/.tolvane/n", "b/veksetup/n", "d/n", "a/.tolvane/n"}}));
}

TEST_F(Search, FullSearchChoosesGroupsAsTheSingleSearches) {
    box.file("a/.tolvane/n", "").file("a/g/n", "").file("b/n", "").file("b/g/n", "");
    CList list({"a", "b"});
    for (const char *group : {"veksetup", ".tolvane"}) {
        EXPECT_EQ(fullSearch(list, "n", group), (FoundAll{PUX_OK, {"a/.tolvane/n", "b/n"}}));
    }
    EXPECT_EQ(fullSearch(list, "n", "g"), (FoundAll{PUX_OK, {"a/g/n", "b/n"}}));
    CList groups({"none", "g"});
    EXPECT_EQ(fullSearchDirList(list, "n", groups), (FoundAll{PUX_OK, {"a/g/n", "b/n"}}));
    EXPECT_EQ(fullSearchDirList(list, "n", nullptr), (FoundAll{PUX_OK, {"a/.tolvane/n", "b/n"}}));
}

TEST_F(Search, FullSearchPassesOverLibraryEntries) {
    box.file("@LIBRARY/.tolvane/n", "").file("d/n", "");
    CList list({"@LIBRARY", "d"});
    EXPECT_EQ(fullSearch(list, "n"), (FoundAll{PUX_OK, {"d/n"}}));
}

TEST_F(Search, FullSearchPassesOverWhatItCannotReadOrHold) {
    box.file("a/n", "", 0000).file("a/veksetup/n", "").file("b/n", "");
    CList list({"a", std::string(2000, 'x'), "b"});
    test::asUnprivileged([&] {
        EXPECT_EQ(fullSearch(list, "n"), (FoundAll{PUX_OK, {"b/n"}}));
        puxReleaseHandle(nullptr);
    });
}

TEST_F(Search, FullSearchWithoutAMatchIsNotFound) {
    box.directory("a");
    CList list({"a", "@LIBRARY"});
    EXPECT_EQ(fullSearch(list, "n"), (FoundAll{PUX_FILE_NOT_FOUND, {}}));
}

TEST_F(Search, FullSearchReturnsThousandsOfMatches) {
    box.file("a/n", "");
    CList list(Strings(3000, "a"));
    EXPECT_EQ(fullSearch(list, "n"), (FoundAll{PUX_OK, Strings(3000, "a/n")}));
}

TEST_F(Search, FullSearchWithoutMemoryGivesNothing) {
    box.file("a/n", "");
    CList list(Strings(5, "a"));
    EXPECT_EQ(fullSearch(list, "n").paths.size(), 5U);
    test::Capture capture;
    int failures = 0;
    for (int nth = 1; nth < 100; ++nth) {
        char **result = nullptr;
        test::faults::failAllocation(nth);
        const int code = puxFullSearch(list, "n", nullptr, &result);
        test::faults::reset();
        if (code == PUX_OK) {
            EXPECT_EQ(test::strings(result), Strings(5, "a/n"));
            puxReleaseHandle(result);
            break;
        }
        ++failures;
        EXPECT_EQ(code, PUX_MEMORY_ERROR);
        EXPECT_EQ(result, nullptr);
    }
    EXPECT_GE(failures, 5);
}

// Writable matches.

TEST_F(Search, FindWritablePassesOverReadOnlyMatches) {
    box.file("a/n", "", 0444).file("b/n", "", 0666).file("c/n", "", 0666);
    CList list({"none", "a", "b", "c"});
    test::asUnprivileged([&] {
        EXPECT_EQ(findWritable(list, "n"), (Found{PUX_OK, "b/n"}));
        puxReleaseHandle(nullptr);
    });
}

TEST_F(Search, FindWritableTestsOnlyTheFirstMatchOfADirectory) {
    box.file("a/.tolvane/n", "", 0444).file("a/n", "", 0666);
    CList list({"a"});
    test::asUnprivileged([&] {
        EXPECT_EQ(findWritable(list, "n"), kNotFound);
        puxReleaseHandle(nullptr);
    });
}

TEST_F(Search, FindWritablePassesOverUnreadableAndTooLongMatches) {
    box.file("a/n", "", 0222).file("b/n", "", 0666);
    CList list({"a", std::string(2000, 'x'), "b"});
    test::asUnprivileged([&] {
        EXPECT_EQ(findWritable(list, "n"), (Found{PUX_OK, "b/n"}));
        puxReleaseHandle(nullptr);
    });
}

TEST_F(Search, FindWritableSearchesTheLibraries) {
    box.file("l1/n", "").file("l2/.tolvane/n", "", 0666);
    CList list({"@LIBRARY"});
    CList libraries({"l1", "l2"});
    EXPECT_EQ(found([&](char *out, std::size_t size) {
                  return puxFindWritableEx(list, "n", libraries, out, size);
              }),
              (Found{PUX_OK, "l2/.tolvane/n"}));
    EXPECT_EQ(findWritable(list, "n"), kNotFound);
}

TEST_F(Search, FindWritableTakesDirectoriesThatCanBeWritten) {
    box.directory("a/n", 0555).directory("b/n", 0777);
    CList list({"a", "b"});
    test::asUnprivileged([&] {
        EXPECT_EQ(findWritable(list, "n"), (Found{PUX_OK, "b/n"}));
        puxReleaseHandle(nullptr);
    });
    EXPECT_EQ(box.list("b/n"), Strings());
}

TEST_F(Search, FindWritableResultMustFitWithItsEnd) {
    box.file("d/n", "", 0666).file("e/n", "", 0666);
    CList list({"d", "e"});
    EXPECT_EQ(findWritable(list, "n", 4), (Found{PUX_OK, "d/n"}));
    EXPECT_EQ(findWritable(list, "n", 3), (Found{PUX_BUFFER_TOO_SMALL, "un"}));
    char out = 'x';
    EXPECT_EQ(puxFindWritable(list, "n", &out, 0), PUX_BUFFER_TOO_SMALL);
    EXPECT_EQ(puxFindWritable(list, "none", &out, 0), PUX_FILE_NOT_FOUND);
    EXPECT_EQ(out, 'x');
}

TEST_F(Search, FindWritableChangesNoFile) {
    box.file("d/n", "content", 0666);
    CList list({"d"});
    EXPECT_EQ(findWritable(list, "n").code, PUX_OK);
    EXPECT_EQ(box.read("d/n"), "content");
}
