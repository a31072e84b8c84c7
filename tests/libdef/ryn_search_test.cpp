// Files looked up through the search list, with the directories of a library in it.

#include "common/platform/vek_init.h"
#include "common/text/vek_strlist.h"
#include "search/pux.h"
#include "tests/libdef/project_support.h"
#include "tests/support/c_list.h"
#include "tests/support/capture.h"
#include "tests/support/faults.h"

#include <cstring>
#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include <unistd.h>
#include <vector>

namespace faults = test::faults;
using test::CList;
using test::ErrorReports;
using test::recorded;

namespace {

using Strings = std::vector<std::string>;

struct Found {
    int code;
    std::string path;

    bool operator==(const Found &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Found &found) {
    return out << found.code << " '" << found.path << "'";
}

struct FoundAll {
    int code;
    Strings paths;

    bool operator==(const FoundAll &) const = default;
};

std::ostream &operator<<(std::ostream &out, const FoundAll &found) {
    out << found.code;
    for (const std::string &path : found.paths) {
        out << " '" << path << "'";
    }
    return out;
}

const Found kNotFound = {RYN_NO_SUCH_FILE, "untouched"};
const FoundAll kNothing = {RYN_NO_SUCH_FILE, {}};
constexpr std::size_t kSize = VEK_PATH_SIZE;

/// A project in an initialized process. Its search list is the library entry and then the directory "d", unless a
/// test calls searchIn().
class SearchProject : public test::Project {
  public:
    explicit SearchProject(std::string_view temporaries = {},
                           test::Existence existence = test::Existence::Checked)
        : Project(temporaries, existence) {
        vekInitNonVEKApp(path("bin/app").c_str());
        box.directory("d");
        searchIn("@LIBRARY\nd\n");
    }

    void searchIn(const std::string &list) { box.file("setup.loc", list); }

    /// Makes a file that is found in each of these directories of the library.
    SearchProject &offer(std::string_view letters, mode_t mode = 0644) {
        put(letters, ".tolvane/n", mode);
        return *this;
    }

    [[nodiscard]] Found search(const char *directory = nullptr, const char *library = "lib",
                               const char *name = "n", std::size_t size = kSize) const {
        return found([&](char *out) { return rynSearch(handle, name, directory, library, out, size); }, size);
    }
    [[nodiscard]] Found searchList(char **directories, const char *library = "lib") const {
        return found([&](char *out) { return rynSearchList(handle, "n", directories, library, out, kSize); });
    }
    [[nodiscard]] Found findWritable(const char *library = "lib", std::size_t size = kSize) const {
        return found([&](char *out) { return rynFindWritable(handle, "n", library, out, size); }, size);
    }
    [[nodiscard]] FoundAll fullSearch(const char *directory = nullptr, const char *library = "lib",
                                      const char *name = "n") const {
        return foundAll(
            [&](char ***paths) { return rynFullSearch(handle, name, directory, library, paths); });
    }
    [[nodiscard]] FoundAll fullSearchList(char **directories, const char *library = "lib") const {
        return foundAll(
            [&](char ***paths) { return rynFullSearchList(handle, "n", directories, library, paths); });
    }

  private:
    /// Calls `search(buffer)` on a heap buffer of exactly `size` bytes.
    template <typename Call>
    [[nodiscard]] Found found(Call search, std::size_t size = kSize) const {
        std::vector<char> out(size);
        strncpy(out.data(), "untouched", size - 1);
        const int code = search(out.data());
        return {code, shortened(out.data())};
    }
    /// Calls `search(paths)`; a failure must leave null.
    template <typename Call>
    [[nodiscard]] FoundAll foundAll(Call search) const {
        char *preset = nullptr;
        char **paths = &preset;
        const int code = search(&paths);
        EXPECT_EQ(code == RYN_OK, paths != nullptr);
        FoundAll all = {code, {}};
        for (const std::string &path : test::strings(paths)) {
            all.paths.push_back(shortened(path));
        }
        vekFreeStrlist(paths);
        return all;
    }
};

/// The paths of the file in these directories of the library, as results show them.
Strings in(const std::string &letters) {
    Strings paths;
    for (const char letter : letters) {
        paths.push_back(std::string(1, letter) + "/.tolvane/n");
    }
    return paths;
}

Found inFirst(const std::string &letters) {
    return {RYN_OK, in(letters).front()};
}

} // namespace

// The directories of a library.

TEST(RynSearch, SearchesTemporaryDirectoriesBeforeTheLibrary) {
    struct Row {
        const char *temporaries;
        std::string searched;
    };
    // Documented: with both kinds the implicit directory replaces the explicit one and is searched twice.
    for (const Row &row :
         {Row{"", "l"}, {"E", "el"}, {"I", "il"}, {"O", "il"}, {"IE", "iil"}, {"OE", "iil"}}) {
        SearchProject project(row.temporaries);
        project.offer("lei");
        EXPECT_EQ(project.search(), inFirst(row.searched)) << row.temporaries;
        EXPECT_EQ(project.fullSearch(), (FoundAll{RYN_OK, in(row.searched)})) << row.temporaries;
        EXPECT_EQ(project.findWritable(), inFirst(row.searched)) << row.temporaries;
    }
}

TEST(RynSearch, ContinuesInTheNextDirectoryOfTheLibrary) {
    for (const char *temporaries : {"", "E", "I", "IE"}) {
        SearchProject project(temporaries);
        EXPECT_EQ(project.search(), kNotFound) << temporaries;
        EXPECT_EQ(project.fullSearch(), kNothing) << temporaries;
        EXPECT_EQ(project.findWritable(), kNotFound) << temporaries;
        project.offer("l");
        EXPECT_EQ(project.search(), inFirst("l")) << temporaries;
        EXPECT_EQ(project.fullSearch(), (FoundAll{RYN_OK, in("l")})) << temporaries;
        EXPECT_EQ(project.findWritable(), inFirst("l")) << temporaries;
    }
}

TEST(RynSearch, SearchesTheExplicitDirectoryIfTheImplicitOneIsMissing) {
    SearchProject project("IE");
    project.offer("le");
    ASSERT_EQ(rmdir("itmp/lib"), 0);
    EXPECT_EQ(project.search(), inFirst("e"));
    EXPECT_EQ(project.fullSearch(), (FoundAll{RYN_OK, in("el")}));
    // rynFindWritable() uses only the first kind of temporary directory that is set.
    EXPECT_EQ(project.findWritable(), inFirst("l"));
}

TEST(RynSearch, SkipsMissingDirectories) {
    SearchProject project("E");
    project.offer("l");
    ASSERT_EQ(rmdir("etmp"), 0);
    EXPECT_EQ(project.fullSearch(), (FoundAll{RYN_OK, in("l")}));
    EXPECT_EQ(project.search(), inFirst("l"));
    // A missing directory has no search of its own, which would continue in "d".
    project.box.file("d/n", "");
    EXPECT_EQ(project.fullSearch(), (FoundAll{RYN_OK, in("l")}));
}

TEST(RynSearch, GlobalTemporaryDirectoryIsAnExplicitOne) {
    test::Definitions definitions;
    definitions.box.directory("lib").directory("t").file("t/lib/.tolvane/n", "").file("lib/.tolvane/n", "");
    ASSERT_EQ(definitions.load("DEFINE lib lib\nASSIGN AllLibs TmpRootDir t\n"), 0);
    vekInitNonVEKApp(definitions.path("bin/app").c_str());
    definitions.box.file("setup.loc", "@LIBRARY\n");
    char **paths = nullptr;
    ASSERT_EQ(rynFullSearch(definitions.handle, "n", nullptr, "lib", &paths), RYN_OK);
    ASSERT_EQ(vekGetStrlistSize(paths), 2);
    EXPECT_EQ(paths[0], definitions.path("t/lib/.tolvane/n"));
    EXPECT_EQ(paths[1], definitions.path("lib/.tolvane/n"));
    vekFreeStrlist(paths);
}

TEST(RynSearch, SearchesOnlyTheFirstDefaultGroupOfALibrary) {
    SearchProject project("E");
    project.put("le", "n");
    project.put("le", "veksetup/n");
    project.put("le", "g/n");
    EXPECT_EQ(project.search(), kNotFound);
    EXPECT_EQ(project.search("g"), kNotFound);
    EXPECT_EQ(project.fullSearch("."), kNothing);
    EXPECT_EQ(project.findWritable(), kNotFound);
}

TEST(RynSearch, SearchesTemporaryDirectoriesOfAPackedLibraryOnly) {
    SearchProject project("E");
    project.offer("le");
    project.pack("lib.zip");
    EXPECT_EQ(project.fullSearch(), (FoundAll{RYN_OK, in("e")}));
    EXPECT_EQ(project.search(), inFirst("e"));
    EXPECT_EQ(project.findWritable(), inFirst("e"));
}

TEST(RynSearch, ImplicitDirectoryOfAPackedLibraryNeedsAnExplicitOne) {
    SearchProject implicit("I");
    implicit.offer("li");
    implicit.pack("lib.zip");
    EXPECT_EQ(implicit.search(), kNotFound);
    EXPECT_EQ(implicit.fullSearch(), kNothing);
    EXPECT_EQ(implicit.findWritable(), kNotFound);
    SearchProject both("IE");
    both.offer("lei");
    both.pack("lib.zip");
    EXPECT_EQ(both.search(), inFirst("i"));
    EXPECT_EQ(both.fullSearch(), (FoundAll{RYN_OK, in("i")}));
    EXPECT_EQ(both.findWritable(), inFirst("i"));
}

// Libraries that add nothing.

TEST(RynSearch, UndefinedLibraryLeavesTheGivenDirectories) {
    SearchProject project("E");
    project.offer("le").box.file("d/n", "").file("d/g/n", "");
    for (const char *library : {"other", "", "LIB", static_cast<const char *>(nullptr)}) {
        CList groups({"g"});
        EXPECT_EQ(project.search(nullptr, library), (Found{RYN_OK, "d/n"}));
        EXPECT_EQ(project.search("g", library), (Found{RYN_OK, "d/g/n"}));
        EXPECT_EQ(project.searchList(groups, library), (Found{RYN_OK, "d/g/n"}));
        EXPECT_EQ(project.findWritable(library), (Found{RYN_OK, "d/n"}));
        // No search is made at all.
        EXPECT_EQ(project.fullSearch(nullptr, library), kNothing);
        EXPECT_EQ(project.fullSearch("g", library), kNothing);
        EXPECT_EQ(project.fullSearchList(groups, library), kNothing);
    }
    EXPECT_EQ(recorded.fatals, ErrorReports{});
}

TEST(RynSearch, MissingLibraryDirectoryAddsNothing) {
    SearchProject project({}, test::Existence::Unchecked);
    project.box.file("d/n", "");
    ASSERT_EQ(rmdir("lib"), 0);
    EXPECT_EQ(project.search(), (Found{RYN_OK, "d/n"}));
    EXPECT_EQ(project.fullSearch(), kNothing);
    EXPECT_EQ(project.findWritable(), (Found{RYN_OK, "d/n"}));
}

TEST(RynSearch, NullHandleIsTheDefaultHandle) {
    SearchProject project("E");
    project.offer("le");
    std::array<char, kSize> path = {};
    char **paths = nullptr;
    EXPECT_EQ(rynSearch(nullptr, "n", nullptr, "lib", path.data(), kSize), RYN_OK);
    EXPECT_EQ(path.data(), project.path("etmp/.tolvane/n"));
    EXPECT_EQ(rynFindWritable(nullptr, "n", "lib", path.data(), kSize), RYN_OK);
    EXPECT_EQ(rynFullSearch(nullptr, "n", nullptr, "lib", &paths), RYN_OK);
    EXPECT_EQ(vekGetStrlistSize(paths), 2);
    vekFreeStrlist(paths);
}

TEST(RynSearch, LibraryWithoutARegistryIsReported) {
    SearchProject project("E");
    project.offer("le").box.file("d/n", "");
    project.release();
    EXPECT_EQ(project.search(nullptr, nullptr), (Found{RYN_OK, "d/n"}));
    EXPECT_EQ(recorded.fatals, ErrorReports{});
    const ErrorReports report = {{RYN_INVALID_PARAMETER, "rynQuery()", "rynQuery()"}};
    EXPECT_EQ(project.search(), (Found{RYN_OK, "d/n"}));
    EXPECT_EQ(recorded.fatals, report);
    recorded.fatals.clear();
    EXPECT_EQ(project.fullSearch(), kNothing);
    EXPECT_EQ(recorded.fatals, report);
    recorded.fatals.clear();
    EXPECT_EQ(project.findWritable(), (Found{RYN_OK, "d/n"}));
    EXPECT_EQ(recorded.fatals, report);
}

// The caller's directories, and the list.

TEST(RynSearch, GivenDirectoriesAreTheGroups) {
    SearchProject project;
    project.box.file("d/n", "").file("d/g/n", "").file("d/h/n", "").directory("d/empty");
    EXPECT_EQ(project.search("g"), (Found{RYN_OK, "d/g/n"}));
    EXPECT_EQ(project.search("."), (Found{RYN_OK, "d/n"}));
    EXPECT_EQ(project.search("none"), kNotFound);
    CList several({"none", "empty", "h", "g"});
    EXPECT_EQ(project.searchList(several), (Found{RYN_OK, "d/h/n"}));
    EXPECT_EQ(project.fullSearchList(several), (FoundAll{RYN_OK, {"d/h/n"}}));
    EXPECT_EQ(project.fullSearch("g"), (FoundAll{RYN_OK, {"d/g/n"}}));
}

TEST(RynSearch, NullDirectoryIsTheDefaultGroups) {
    SearchProject project;
    project.box.file("d/veksetup/n", "");
    EXPECT_EQ(project.search(), (Found{RYN_OK, "d/veksetup/n"}));
    EXPECT_EQ(project.searchList(nullptr), (Found{RYN_OK, "d/veksetup/n"}));
    EXPECT_EQ(project.fullSearch(), (FoundAll{RYN_OK, {"d/veksetup/n"}}));
    EXPECT_EQ(project.fullSearchList(nullptr), (FoundAll{RYN_OK, {"d/veksetup/n"}}));
    project.box.file("d/n", "");
    EXPECT_EQ(project.search(), (Found{RYN_OK, "d/n"}));
    project.box.file("d/.tolvane/n", "");
    EXPECT_EQ(project.search(), (Found{RYN_OK, "d/.tolvane/n"}));
    EXPECT_EQ(project.findWritable(), (Found{RYN_OK, "d/.tolvane/n"}));
}

TEST(RynSearch, EmptyListOfDirectoriesSearchesTheLibraryOnly) {
    SearchProject project;
    project.box.file("d/n", "").file("d/.tolvane/n", "");
    CList none({});
    EXPECT_EQ(project.searchList(none), kNotFound);
    EXPECT_EQ(project.fullSearchList(none), kNothing);
    project.offer("l");
    EXPECT_EQ(project.searchList(none), inFirst("l"));
    EXPECT_EQ(project.fullSearchList(none), (FoundAll{RYN_OK, in("l")}));
}

TEST(RynSearch, SearchesTheLibraryAtItsPositionInTheList) {
    SearchProject project;
    project.offer("l").box.file("d/n", "");
    EXPECT_EQ(project.search(), inFirst("l"));
    project.searchIn("d\n@LIBRARY\n");
    EXPECT_EQ(project.search(), (Found{RYN_OK, "d/n"}));
    EXPECT_EQ(project.findWritable(), (Found{RYN_OK, "d/n"}));
    ASSERT_EQ(unlink("d/n"), 0);
    EXPECT_EQ(project.search(), inFirst("l"));
    EXPECT_EQ(project.findWritable(), inFirst("l"));
    project.searchIn("d\n");
    EXPECT_EQ(project.search(), kNotFound);
    EXPECT_EQ(project.fullSearch(), kNothing);
    EXPECT_EQ(project.findWritable(), kNotFound);
}

// All matches.

TEST(RynFullSearch, MakesOneSearchPerLibraryDirectory) {
    SearchProject project("E");
    project.offer("l").box.file("d/n", "");
    // The search of the explicit directory ends in "d".
    EXPECT_EQ(project.fullSearch(), (FoundAll{RYN_OK, {"d/n", "l/.tolvane/n"}}));
    project.searchIn("d\n@LIBRARY\n");
    EXPECT_EQ(project.fullSearch(), (FoundAll{RYN_OK, {"d/n", "d/n"}}));
    project.searchIn("d\n");
    EXPECT_EQ(project.fullSearch(), (FoundAll{RYN_OK, {"d/n", "d/n"}}));
}

TEST(RynFullSearch, FailedSearchesAddNothing) {
    SearchProject project("E");
    project.put("e", ".tolvane/n", 0000);
    project.offer("l");
    test::Project::asUnprivileged([&project] {
        EXPECT_EQ(project.search(), (Found{RYN_PERMISSION_DENIED_FILE, "e/.tolvane/n"}));
        EXPECT_EQ(project.fullSearch(), (FoundAll{RYN_OK, in("l")}));
    });
}

TEST(RynFullSearch, ListIsNullWithoutAMatch) {
    const SearchProject project("E");
    EXPECT_EQ(project.fullSearch(), kNothing);
    EXPECT_EQ(project.fullSearch(nullptr, "lib", nullptr), kNothing);
    EXPECT_EQ(project.fullSearchList(nullptr), kNothing);
}

TEST(RynFullSearch, NeedsAResultPointer) {
    const SearchProject project;
    CList groups({"g"});
    EXPECT_EQ(rynFullSearch(project.handle, "n", nullptr, "lib", nullptr), RYN_INVALID_PARAMETER);
    EXPECT_EQ(rynFullSearchList(project.handle, "n", groups, "lib", nullptr), RYN_INVALID_PARAMETER);
    EXPECT_EQ(recorded.fatals, ErrorReports{});
}

TEST(RynFullSearch, ReturnsNothingIfMemoryIsExhausted) {
    SearchProject project("E");
    project.offer("le");
    const test::Capture capture;
    const FoundAll whole = {RYN_OK, in("el")};
    EXPECT_EQ(project.fullSearch(), whole);
    faults::reset();
    char **paths = nullptr;
    ASSERT_EQ(rynFullSearch(project.handle, "n", nullptr, "lib", &paths), RYN_OK);
    const int allocations = faults::count("malloc");
    vekFreeStrlist(paths);
    int memoryErrors = 0;
    for (int nth = 1; nth <= allocations; ++nth) {
        faults::failAllocation(nth);
        const FoundAll found = project.fullSearch();
        faults::reset();
        memoryErrors += found.code == RYN_MEMORY_ERROR ? 1 : 0;
        EXPECT_TRUE(found == FoundAll({RYN_MEMORY_ERROR, {}}) || found == FoundAll({RYN_INTERNAL_ERROR, {}}))
            << nth << " of " << allocations << ": " << found;
    }
    EXPECT_GE(memoryErrors, 3); // two paths, and the array
    EXPECT_EQ(project.fullSearch(), whole);
}

// Writable matches.

TEST(RynFindWritable, SkipsFilesThatCannotBeWritten) {
    SearchProject project("E");
    project.offer("le", 0444).box.file("d/n", "", 0666).directory("lib", 0777).directory("etmp", 0777);
    test::Project::asUnprivileged([&project] {
        EXPECT_EQ(project.search(), inFirst("e"));
        EXPECT_EQ(project.findWritable(), (Found{RYN_OK, "d/n"}));
    });
}

TEST(RynFindWritable, SkipsLibraryDirectoriesThatCannotBeWritten) {
    SearchProject project("E");
    project.offer("le", 0666).box.directory("lib", 0777).directory("etmp", 0555);
    test::Project::asUnprivileged([&project] {
        EXPECT_EQ(project.search(), inFirst("e"));
        EXPECT_EQ(project.findWritable(), inFirst("l"));
    });
    project.box.directory("lib", 0555);
    test::Project::asUnprivileged([&project] {
        EXPECT_EQ(project.fullSearch(), (FoundAll{RYN_OK, in("el")}));
        EXPECT_EQ(project.findWritable(), kNotFound);
    });
}

TEST(RynFindWritable, OtherSearchesNeedAWritableImplicitDirectoryToo) {
    SearchProject project("I");
    project.offer("li", 0666).box.directory("itmp/lib", 0555);
    test::Project::asUnprivileged([&project] {
        EXPECT_EQ(project.search(), inFirst("l"));
        EXPECT_EQ(project.fullSearch(), (FoundAll{RYN_OK, in("l")}));
    });
}

// Codes.

TEST(RynSearch, BufferMustHoldThePathAndTheNul) {
    SearchProject project;
    project.offer("l");
    const std::size_t length = project.path("lib/.tolvane/n").size();
    EXPECT_EQ(project.search(nullptr, "lib", "n", length + 1), inFirst("l"));
    EXPECT_EQ(project.search(nullptr, "lib", "n", length), (Found{RYN_BUFFER_TOO_SMALL, "untouched"}));
    EXPECT_EQ(project.search(nullptr, "lib", "n", 1), (Found{RYN_BUFFER_TOO_SMALL, ""}));
    EXPECT_EQ(project.findWritable("lib", length + 1), inFirst("l"));
    EXPECT_EQ(project.findWritable("lib", length), (Found{RYN_BUFFER_TOO_SMALL, "untouched"}));
    char none = '?';
    EXPECT_EQ(rynFindWritable(project.handle, "n", "lib", &none, 0), RYN_BUFFER_TOO_SMALL);
    EXPECT_EQ(rynSearch(project.handle, "n", nullptr, "lib", &none, 0), RYN_INVALID_PARAMETER);
    EXPECT_EQ(none, '?');
}

TEST(RynSearch, NullNameOrBufferIsInvalidAndNotReported) {
    SearchProject project;
    project.offer("l");
    const Found invalid = {RYN_INVALID_PARAMETER, "untouched"};
    EXPECT_EQ(project.search(nullptr, "lib", nullptr), invalid);
    EXPECT_EQ(rynSearch(project.handle, "n", nullptr, "lib", nullptr, kSize), RYN_INVALID_PARAMETER);
    EXPECT_EQ(rynSearchList(project.handle, "n", nullptr, "lib", nullptr, kSize), RYN_INVALID_PARAMETER);
    EXPECT_EQ(rynFindWritable(project.handle, "n", "lib", nullptr, kSize), RYN_INVALID_PARAMETER);
    std::array<char, 10> path = {};
    EXPECT_EQ(rynFindWritable(project.handle, nullptr, "lib", path.data(), path.size()),
              RYN_INVALID_PARAMETER);
    EXPECT_EQ(recorded.fatals, ErrorReports{});
}

TEST(RynSearch, UnreadableMatchIsPermissionDenied) {
    SearchProject project;
    project.offer("l", 0000).box.file("d/n", "");
    test::Project::asUnprivileged([&project] {
        EXPECT_EQ(project.search(), (Found{RYN_PERMISSION_DENIED_FILE, "l/.tolvane/n"}));
        EXPECT_EQ(project.search(nullptr, nullptr), (Found{RYN_OK, "d/n"}));
        EXPECT_EQ(project.fullSearch(), kNothing);
    });
}

TEST(RynSearch, PathLimitIs1023Characters) {
    SearchProject project;
    std::string directory = "lib";
    for (int i = 0; i < 5; ++i) {
        directory += "/" + std::string(200, 'd');
    }
    project.box.directory(directory);
    ASSERT_EQ(project.load("DEFINE lib " + directory + "\n"), 0);
    EXPECT_EQ(project.search(nullptr, "lib", "n"), kNotFound);
    project.box.file(directory + "/.tolvane/n", "");
    EXPECT_EQ(project.search(nullptr, "lib", "n"), (Found{RYN_BUFFER_TOO_SMALL, "untouched"}));
    EXPECT_EQ(project.fullSearch(), kNothing);
    EXPECT_EQ(project.findWritable(), kNotFound);
    EXPECT_EQ(project.search(nullptr, nullptr, std::string(5000, 'n').c_str()),
              (Found{RYN_BUFFER_TOO_SMALL, "untouched"}));
}

TEST(RynSearch, FailureToBuildTheSearchListIsAnInternalError) {
    SearchProject project;
    project.offer("l");
    const test::Capture capture;
    faults::reset();
    EXPECT_EQ(project.search(), inFirst("l"));
    const int allocations = faults::count("malloc");
    for (int nth = 1; nth <= allocations; ++nth) {
        faults::failAllocation(nth);
        EXPECT_EQ(project.search(), (Found{RYN_INTERNAL_ERROR, "untouched"})) << nth;
        faults::failAllocation(nth);
        EXPECT_EQ(project.findWritable(), (Found{RYN_INTERNAL_ERROR, "untouched"})) << nth;
        faults::failAllocation(nth);
        EXPECT_EQ(project.fullSearch(), (FoundAll{RYN_INTERNAL_ERROR, {}})) << nth;
        faults::reset();
    }
    EXPECT_EQ(project.search(), inFirst("l"));
}

TEST(RynSearch, NeedsAnInitializedProcess) {
    test::Project project;
    project.put("l", ".tolvane/n");
    std::array<char, kSize> path = {};
    char *preset = nullptr;
    char **paths = &preset;
    EXPECT_EQ(rynSearch(project.handle, "n", nullptr, "lib", path.data(), kSize), RYN_INTERNAL_ERROR);
    EXPECT_EQ(rynSearchList(project.handle, "n", nullptr, "lib", path.data(), kSize), RYN_INTERNAL_ERROR);
    EXPECT_EQ(rynSearch(project.handle, nullptr, nullptr, "lib", nullptr, 0), RYN_INTERNAL_ERROR);
    EXPECT_EQ(rynFindWritable(project.handle, "n", "lib", path.data(), kSize), RYN_INTERNAL_ERROR);
    EXPECT_EQ(rynFullSearchList(project.handle, "n", nullptr, "lib", &paths), RYN_INTERNAL_ERROR);
    EXPECT_EQ(paths, nullptr);
}

TEST(RynSearch, PrintsNothing) {
    SearchProject project("IE");
    project.offer("l");
    test::Capture capture;
    static_cast<void>(project.search());
    static_cast<void>(project.fullSearch(nullptr, "other"));
    static_cast<void>(project.findWritable());
    EXPECT_EQ(capture.out() + capture.err(), "");
}

// Search lists of the caller and the process.

TEST(RynSearch, RebuildsTheDefaultListOfTheProcess) {
    SearchProject project;
    project.box.file("d/n", "").file("e/n", "");
    std::array<char, kSize> path = {};
    ASSERT_EQ(puxSearch(nullptr, "n", path.data(), kSize), PUX_OK);
    EXPECT_STREQ(path.data(), "d/n");
    project.searchIn("e\n");
    ASSERT_EQ(puxSearch(nullptr, "n", path.data(), kSize), PUX_OK);
    EXPECT_STREQ(path.data(), "d/n");
    EXPECT_EQ(project.search(), (Found{RYN_OK, "e/n"}));
    ASSERT_EQ(puxSearch(nullptr, "n", path.data(), kSize), PUX_OK);
    EXPECT_STREQ(path.data(), "e/n");
    for (const bool full : {true, false}) {
        project.searchIn(full ? "d\n" : "e\n");
        EXPECT_EQ(full ? project.fullSearch().code : project.findWritable().code, RYN_OK);
        ASSERT_EQ(puxSearch(nullptr, "n", path.data(), kSize), PUX_OK);
        EXPECT_STREQ(path.data(), full ? "d/n" : "e/n");
    }
    EXPECT_EQ(puxReleaseHandle(nullptr), PUX_OK);
}

TEST(RynSearch, ReleasesItsSearchList) {
    SearchProject project("E");
    project.offer("le");
    EXPECT_EQ(project.search(), inFirst("e"));
    EXPECT_EQ(puxReleaseHandle(nullptr), PUX_INVALID_PARAMETER);
    EXPECT_EQ(project.fullSearch().code, RYN_OK);
    EXPECT_EQ(puxReleaseHandle(nullptr), PUX_INVALID_PARAMETER);
    EXPECT_EQ(project.findWritable(), inFirst("e"));
    EXPECT_EQ(puxReleaseHandle(nullptr), PUX_INVALID_PARAMETER);
}

TEST(RynSearch, DoesNotChangeTheListOfACaller) {
    SearchProject project;
    project.box.file("d/n", "").file("e/n", "");
    char **list = nullptr;
    ASSERT_EQ(puxInitialize(&list), PUX_OK);
    project.searchIn("e\n");
    EXPECT_EQ(project.search(), (Found{RYN_OK, "e/n"}));
    std::array<char, kSize> path = {};
    ASSERT_EQ(puxSearch(list, "n", path.data(), kSize), PUX_OK);
    EXPECT_STREQ(path.data(), "d/n");
    EXPECT_EQ(puxReleaseHandle(list), PUX_OK);
    EXPECT_EQ(puxReleaseHandle(nullptr), PUX_OK); // the one that the search built
}
