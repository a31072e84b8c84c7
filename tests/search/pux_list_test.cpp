// The search list and its handle, and path conversion.

#include "search/pux.h"

#include "common/platform/vek_init.h"
#include "search/puxi_access.h"
#include "search/puxi_list.h"
#include "tests/search/interpolation.h"
#include "tests/search/search_list.h"
#include "tests/support/capture.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"

#include <array>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using Strings = std::vector<std::string>;

class SearchList : public ::testing::Test {
  protected:
    test::SearchProcess process;
    test::Sandbox &box = process.box;

    ~SearchList() override { puxReleaseHandle(nullptr); }

    /// Builds the default list, and gives its entries.
    static Strings build() {
        EXPECT_EQ(puxInitialize(nullptr), PUX_OK);
        return test::strings(pux::processSettings().list);
    }
};

class PathConversion : public SearchList {
  protected:
    std::array<char, VEK_SEARCH_PATH_SIZE> out = {'o', 'l', 'd', '\0'};
};

} // namespace

TEST(SearchErrors, EveryCodeHasItsText) {
    const std::array<const char *, 9> texts = {"No error",
                                               "Internal error",
                                               "Memory error",
                                               "Invalid parameter",
                                               "Buffer too small",
                                               "File not found",
                                               "Permission denied",
                                               "Searchlist initialization failed",
                                               "vekInit() has not been called"};
    for (std::size_t code = 0; code < texts.size(); ++code) {
        EXPECT_STREQ(puxGetErrorMsg(static_cast<int>(code)), texts[code]);
    }
}

TEST(SearchErrors, OtherCodesAreInvalid) {
    for (const int code : {9, -1, 100, INT_MAX, INT_MIN}) {
        EXPECT_STREQ(puxGetErrorMsg(code), "Invalid error number");
    }
}

// The built-in list.

TEST(SearchListStart, NeedsVekInit) {
    test::Sandbox box;
    char *entry = nullptr;
    char **handle = &entry;
    EXPECT_EQ(puxInitialize(&handle), PUX_NOT_INITIALIZED);
    EXPECT_EQ(handle, &entry);
    EXPECT_EQ(puxInitialize(nullptr), PUX_NOT_INITIALIZED);
    EXPECT_EQ(pux::processSettings().list, nullptr);
}

TEST_F(SearchList, HasWorkingDirectoryAndHomeByDefault) {
    box.directory("home");
    process.environment({{"HOME", box.path("home")}});
    EXPECT_EQ(build(), (Strings{".", box.path("home")}));
}

TEST_F(SearchList, HasTheSiteThatIsSetAndExists) {
    box.directory("home").directory("site");
    process.environment({{"HOME", box.path("home")}, {"VEK_SITE", box.path("site")}});
    EXPECT_EQ(build(), (Strings{".", box.path("home"), box.path("site")}));
    process.environment({{"HOME", box.path("home")}, {"VEK_SITE", box.path("none")}});
    EXPECT_EQ(build(), (Strings{".", box.path("home")}));
}

TEST(SearchListStart, HasEveryBuiltInDirectoryInOrder) {
    test::Sandbox box;
    for (const char *name : {"work", "search", "home", "project", "site", "inst/share/local"}) {
        box.directory(name);
    }
    test::makeInstallation(box, "inst");
    const test::Environment variables = {{"PATH", ""},
                                         {"VEK_WORKAREA", box.path("work")},
                                         {"VEK_SEARCHDIR", box.path("search")},
                                         {"HOME", box.path("home")},
                                         {"VEK_PROJECT", box.path("project")}};
    test::setEnvironment(variables);
    vekInitNonVEKApp(box.path("inst/tools/bin/app").c_str());
    box.file("inst/tools/bin/app", "", 0755);
    const Strings begin = {".", box.path("work"), box.path("search"), box.path("home"), box.path("project")};
    // without VEK_SITE the site of the installation is used
    Strings expected = begin;
    expected.insert(expected.end(), {box.path("inst/share/local"), box.path("inst") + "/share"});
    EXPECT_EQ(puxInitialize(nullptr), PUX_OK);
    EXPECT_EQ(test::strings(pux::processSettings().list), expected);
    // given a site
    test::Environment withSite = variables;
    withSite.emplace_back("VEK_SITE", box.path("site"));
    test::setEnvironment(withSite);
    expected = begin;
    expected.insert(expected.end(), {box.path("site"), box.path("inst") + "/share"});
    EXPECT_EQ(puxInitialize(nullptr), PUX_OK);
    EXPECT_EQ(test::strings(pux::processSettings().list), expected);
    EXPECT_EQ(puxReleaseHandle(nullptr), PUX_OK);
}

TEST_F(SearchList, UnusableDirectoriesAreDroppedSilently) {
    box.directory("closed", 0000);
    box.directory("work");
    process.environment({{"HOME", box.path("closed")},
                         {"VEK_WORKAREA", box.path("work")},
                         {"VEK_SEARCHDIR", std::string(1500, 'x')},
                         {"VEK_PROJECT", std::string(102400, 'x')}});
    test::Capture capture;
    test::asUnprivileged([&] {
        EXPECT_EQ(build(), (Strings{".", box.path("work")}));
        puxReleaseHandle(nullptr);
    });
    EXPECT_EQ(capture.out() + capture.err(), "");
}

TEST_F(SearchList, ReadableFileCountsAsADirectory) {
    box.file("file", "");
    process.environment({{"HOME", box.path("file")}});
    EXPECT_EQ(build(), (Strings{".", box.path("file")}));
}

TEST_F(SearchList, NoUsableDirectoryIsAnError) {
    box.directory("closed");
    ASSERT_EQ(chdir("closed"), 0);
    box.directory("closed", 0000);
    test::asUnprivileged([&] {
        char **handle = nullptr;
        EXPECT_EQ(puxInitialize(&handle), PUX_INITIALIZATION_FAILED);
        EXPECT_EQ(handle, nullptr);
        EXPECT_EQ(pux::processSettings().list, nullptr);
    });
}

TEST_F(SearchList, ArchitectureEntersTheEnvironmentOnce) {
    process.environment({{"VEK_ARCH", "other"}});
    build();
    EXPECT_STREQ(getenv("VEK_ARCH"), "lnx86");
    unsetenv("VEK_ARCH");
    build();
    EXPECT_EQ(getenv("VEK_ARCH"), nullptr);
}

TEST_F(SearchList, ArchitectureCanBeUsedInSetupLoc) {
    box.directory("lnx86").file("setup.loc", "$VEK_ARCH\n");
    EXPECT_EQ(build(), (Strings{"lnx86"}));
}

TEST_F(SearchList, EffectiveIdsAreRecordedAnew) {
    box.file("f", "", 0400);
    const bool becomesForeign = geteuid() == 0;
    const test::Outcome outcome = test::inChild([&] {
        pux::recordEffectiveIds();
        test::becomeUnprivileged();
        EXPECT_EQ(pux_quick_access("f", PUXI_READABLE), 0);
        build();
        EXPECT_EQ(pux_quick_access("f", PUXI_READABLE), becomesForeign ? -1 : 0);
        puxReleaseHandle(nullptr);
        return 0;
    });
    EXPECT_EQ(outcome.status, 0);
}

// The list of a setup.loc.

TEST_F(SearchList, IsTheOneOfTheFirstSetupLoc) {
    box.directory("home").directory("a").directory("b").directory("c").directory("d");
    process.environment({{"HOME", box.path("home")}});
    box.file("home/.tolvane/setup.loc", "d\n");
    EXPECT_EQ(build(), (Strings{"d"}));
    box.file("veksetup/setup.loc", "c\n");
    EXPECT_EQ(build(), (Strings{"c"}));
    box.file("setup.loc", "b\n");
    EXPECT_EQ(build(), (Strings{"b"}));
    box.file(".tolvane/setup.loc", "a\n@LIBRARY\n");
    EXPECT_EQ(build(), (Strings{"a", "@LIBRARY"}));
}

TEST_F(SearchList, OfASetupLocNeedNotHoldADefaultDirectory) {
    test::makeInstallation(box, "inst");
    box.directory("inst/x").directory("home").file("home/setup.loc", "~/sub\n");
    box.directory("home/sub");
    process.environment({{"HOME", box.path("home")}});
    EXPECT_EQ(build(), (Strings{box.path("home/sub")}));
}

TEST_F(SearchList, SetupLocWithCommentsOnlyLeavesTheDefault) {
    box.directory("home").file("setup.loc", "# a\n; b\n-- c\n\n");
    process.environment({{"HOME", box.path("home")}});
    EXPECT_EQ(build(), (Strings{".", box.path("home")}));
}

TEST_F(SearchList, UnreadableSetupLocLeavesTheDefault) {
    box.directory("a").directory("home").file("setup.loc", "a\n", 0000).file("home/setup.loc", "a\n");
    process.environment({{"HOME", box.path("home")}});
    test::asUnprivileged([&] {
        EXPECT_EQ(build(), (Strings{".", box.path("home")}));
        puxReleaseHandle(nullptr);
    });
}

TEST_F(SearchList, SetupLocThatIsNoRegularFileLeavesTheDefault) {
    box.directory("setup.loc");
    EXPECT_EQ(build(), (Strings{"."}));
    rmdir("setup.loc");
    box.fifo("setup.loc");
    EXPECT_EQ(build(), (Strings{"."}));
    unlink("setup.loc");
    box.link("setup.loc", "/dev/zero");
    EXPECT_EQ(build(), (Strings{"."}));
    box.link("setup.loc", "setup.loc");
    EXPECT_EQ(build(), (Strings{"."}));
}

TEST_F(SearchList, SetupLocThatCannotBeOpenedIsAnError) {
    box.file("setup.loc", ".\n");
    const Strings before = build();
    char **const list = pux::processSettings().list;
    for (const char *call : {"open", "fopen"}) {
        test::faults::fail(call, 1, EMFILE);
    }
    char **handle = nullptr;
    const int code = puxInitialize(&handle);
    test::faults::reset();
    EXPECT_EQ(code, PUX_FILE_NOT_FOUND);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(pux::processSettings().list, list);
    EXPECT_EQ(test::strings(list), before);
}

TEST_F(SearchList, LongDirectoryWithoutSetupLocIsListed) {
    for (const std::size_t length : {1000U, 1012U, 1013U, 1014U, 1023U}) {
        const std::string directory = box.path(test::directoryOfLength(box, length));
        process.environment({{"HOME", directory}});
        EXPECT_EQ(build(), (Strings{".", directory})) << length;
    }
}

TEST_F(SearchList, SetupLocAfterALongDirectoryIsFound) {
    box.file("project/setup.loc", "/\n");
    process.environment(
        {{"HOME", box.path(test::directoryOfLength(box, 1023))}, {"VEK_PROJECT", box.path("project")}});
    EXPECT_EQ(build(), (Strings{"/"}));
}

TEST_F(SearchList, SetupLocWhosePathHas1024CharactersIsAnError) {
    const std::string directory = test::directoryOfLength(box, 1024 - std::strlen("/setup.loc"));
    box.file(directory + "/setup.loc", "/\n");
    process.environment({{"HOME", box.path(directory)}});
    EXPECT_EQ(puxInitialize(nullptr), PUX_BUFFER_TOO_SMALL);
    EXPECT_EQ(pux::processSettings().list, nullptr);
}

// The start directory.

TEST_F(SearchList, StartDirectoryReplacesTheDot) {
    puxSetCwdToSearchList("/w");
    EXPECT_EQ(build(), (Strings{"/w"}));
    box.directory("a").file("setup.loc", ".\na\n./\n.\n");
    EXPECT_EQ(build(), (Strings{"/w", "a", "./", "/w"}));
}

TEST_F(SearchList, StartDirectoryAppliesToListsBuiltLater) {
    const Strings before = build();
    puxSetCwdToSearchList("/w");
    EXPECT_EQ(test::strings(pux::processSettings().list), before);
    puxSetCwdToSearchList("/v");
    EXPECT_EQ(build(), (Strings{"/v"}));
}

TEST_F(SearchList, StartDirectoryIsACopy) {
    std::string directory = "/w";
    puxSetCwdToSearchList(directory.c_str());
    directory[1] = 'x';
    EXPECT_EQ(build(), (Strings{"/w"}));
}

TEST_F(SearchList, NoStartDirectoryLeavesTheSavedOne) {
    puxSetCwdToSearchList(nullptr);
    puxSetCwdToSearchList("");
    EXPECT_EQ(build(), (Strings{"."}));
    puxSetCwdToSearchList("/w");
    puxSetCwdToSearchList(nullptr);
    puxSetCwdToSearchList("");
    EXPECT_EQ(build(), (Strings{"/w"}));
}

TEST_F(SearchList, StartDirectoryIsKeptWhenMemoryIsExhausted) {
    puxSetCwdToSearchList("/w");
    test::faults::failAllocation(1);
    puxSetCwdToSearchList("/v");
    test::faults::reset();
    EXPECT_EQ(build(), (Strings{"/w"}));
}

// Handles.

TEST_F(SearchList, BuiltForAHandleIsTheDefaultToo) {
    char **handle = nullptr;
    EXPECT_EQ(puxInitialize(&handle), PUX_OK);
    EXPECT_NE(handle, nullptr);
    EXPECT_EQ(handle, pux::processSettings().list);
    char **other = nullptr;
    EXPECT_EQ(puxInitialize(&other), PUX_OK);
    EXPECT_NE(other, handle);
    EXPECT_EQ(other, pux::processSettings().list);
    EXPECT_EQ(test::strings(handle), (Strings{"."}));
    EXPECT_EQ(puxReleaseHandle(handle), PUX_OK);
    EXPECT_EQ(other, pux::processSettings().list);
}

TEST_F(SearchList, ReleasingTheDefaultListEmptiesTheDefaultHandle) {
    char **handle = nullptr;
    EXPECT_EQ(puxInitialize(&handle), PUX_OK);
    EXPECT_EQ(puxReleaseHandle(handle), PUX_OK);
    EXPECT_EQ(pux::processSettings().list, nullptr);
    EXPECT_EQ(puxReleaseHandle(nullptr), PUX_INVALID_PARAMETER);
}

TEST_F(SearchList, ReleasingNothingFreesTheDefaultList) {
    build();
    EXPECT_EQ(puxReleaseHandle(nullptr), PUX_OK);
    EXPECT_EQ(pux::processSettings().list, nullptr);
    EXPECT_EQ(puxReleaseHandle(nullptr), PUX_INVALID_PARAMETER);
}

TEST_F(SearchList, IsBuiltAgainAfterItsRelease) {
    box.file("wanted", "");
    build();
    EXPECT_EQ(puxReleaseHandle(nullptr), PUX_OK);
    std::array<char, 100> out = {};
    EXPECT_EQ(puxSearch(nullptr, "wanted", out.data(), out.size()), PUX_OK);
    EXPECT_STREQ(out.data(), "./wanted");
    EXPECT_NE(pux::processSettings().list, nullptr);
}

TEST_F(SearchList, BuildingAgainForNobodyFreesTheOldOne) {
    // A leak of it shows under the address sanitizer.
    build();
    build();
    char **handle = nullptr;
    EXPECT_EQ(puxInitialize(&handle), PUX_OK);
    build();
    EXPECT_EQ(test::strings(handle), (Strings{"."}));
    EXPECT_EQ(puxReleaseHandle(handle), PUX_OK);
}

TEST_F(SearchList, FailureLeavesTheDefaultHandle) {
    const Strings before = build();
    char **const list = pux::processSettings().list;
    const std::string directory = test::directoryOfLength(box, 1020);
    box.file(directory + "/setup.loc", "/\n");
    process.environment({{"HOME", box.path(directory)}});
    EXPECT_EQ(puxInitialize(nullptr), PUX_BUFFER_TOO_SMALL);
    EXPECT_EQ(pux::processSettings().list, list);
    char *entry = nullptr;
    char **handle = &entry;
    EXPECT_EQ(puxInitialize(&handle), PUX_BUFFER_TOO_SMALL);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(pux::processSettings().list, list);
    EXPECT_EQ(test::strings(list), before);
}

// Insertion.

TEST_F(SearchList, InsertionPutsACopyInFront) {
    char **handle = nullptr;
    EXPECT_EQ(puxInitialize(&handle), PUX_OK);
    const char *const first = handle[0];
    std::string directory = "/d";
    EXPECT_EQ(puxInsertToSearchList(&handle, directory.c_str()), PUX_OK);
    directory[1] = 'x';
    EXPECT_EQ(test::strings(handle), (Strings{"/d", "."}));
    EXPECT_EQ(handle[1], first);
    EXPECT_EQ(pux::processSettings().list, handle);
    EXPECT_EQ(puxInsertToSearchList(&handle, ""), PUX_OK);
    EXPECT_EQ(test::strings(handle), (Strings{"", "/d", "."}));
}

TEST_F(SearchList, InsertionIntoAnotherListMakesItTheDefault) {
    build();
    char **handle = nullptr;
    EXPECT_EQ(puxInsertToSearchList(&handle, "/d"), PUX_OK);
    EXPECT_EQ(test::strings(handle), (Strings{"/d"}));
    EXPECT_EQ(pux::processSettings().list, handle);
    char **other = nullptr;
    EXPECT_EQ(puxInitialize(&other), PUX_OK);
    EXPECT_EQ(puxInsertToSearchList(&handle, "/e"), PUX_OK);
    EXPECT_EQ(test::strings(handle), (Strings{"/e", "/d"}));
    EXPECT_EQ(pux::processSettings().list, handle);
    EXPECT_EQ(test::strings(other), (Strings{"."}));
    EXPECT_EQ(puxReleaseHandle(other), PUX_OK);
}

TEST_F(SearchList, InsertionWithoutAHandleChangesTheDefaultList) {
    EXPECT_EQ(puxInsertToSearchList(nullptr, "/d"), PUX_OK);
    EXPECT_EQ(test::strings(pux::processSettings().list), (Strings{"/d"}));
    EXPECT_EQ(puxInsertToSearchList(nullptr, "/e"), PUX_OK);
    EXPECT_EQ(test::strings(pux::processSettings().list), (Strings{"/e", "/d"}));
}

TEST_F(SearchList, InsertionOfNothingLeavesTheList) {
    build();
    char **const list = pux::processSettings().list;
    EXPECT_EQ(puxInsertToSearchList(nullptr, nullptr), PUX_OK);
    EXPECT_EQ(pux::processSettings().list, list);
    EXPECT_EQ(test::strings(list), (Strings{"."}));
}

TEST_F(SearchList, InsertionWithoutMemoryLeavesTheList) {
    build();
    char **const list = pux::processSettings().list;
    for (const int nth : {1, 2}) {
        test::faults::failAllocation(nth);
        const int code = puxInsertToSearchList(nullptr, "/d");
        test::faults::reset();
        EXPECT_EQ(code, PUX_MEMORY_ERROR);
        EXPECT_EQ(pux::processSettings().list, list);
        EXPECT_EQ(test::strings(list), (Strings{"."}));
    }
}

TEST_F(SearchList, InsertionsGrowWithoutALimit) {
    for (int i = 0; i < 2000; ++i) {
        ASSERT_EQ(puxInsertToSearchList(nullptr, "/d"), PUX_OK);
    }
    EXPECT_EQ(test::strings(pux::processSettings().list), Strings(2000, "/d"));
}

// Memory.

TEST_F(SearchList, ExhaustedMemoryNeverGivesAPartialList) {
    box.directory("home").directory("a").file("home/setup.loc", ".\na\n.\n");
    process.environment({{"HOME", box.path("home")}});
    puxSetCwdToSearchList("/w");
    const Strings expected = {"/w", "a", "/w"};
    EXPECT_EQ(build(), expected);
    char **const list = pux::processSettings().list;
    test::Capture capture;
    int failures = 0;
    for (int nth = 1; nth < 100; ++nth) {
        char **handle = nullptr;
        test::faults::failAllocation(nth);
        const int code = puxInitialize(&handle);
        test::faults::reset();
        if (code == PUX_OK) {
            EXPECT_EQ(test::strings(handle), expected) << nth;
            break;
        }
        ++failures;
        EXPECT_EQ(code, PUX_MEMORY_ERROR) << nth;
        EXPECT_EQ(handle, nullptr);
        EXPECT_EQ(pux::processSettings().list, list);
    }
    EXPECT_GE(failures, 6);
}

// Path conversion.

TEST_F(PathConversion, InterpolatesAPathThatIsReadable) {
    box.file("dir/f", "");
    process.environment({{"D", "dir"}});
    EXPECT_EQ(puxConvertPath("$D/f", out.data()), PUX_OK);
    EXPECT_STREQ(out.data(), "dir/f");
    EXPECT_EQ(puxConvertPath("dir", out.data()), PUX_OK);
    EXPECT_STREQ(out.data(), "dir");
}

TEST_F(PathConversion, PlainPathCostsOneStatCallAndNoList) {
    box.directory("dir");
    test::faults::reset();
    EXPECT_EQ(puxConvertPath("dir", out.data()), PUX_OK);
    EXPECT_EQ(test::faults::count("stat"), 1);
    EXPECT_EQ(test::faults::count("malloc"), 0);
    EXPECT_EQ(test::faults::count("open"), 0);
    EXPECT_EQ(test::faults::count("access"), 0);
    EXPECT_EQ(pux::processSettings().list, nullptr);
}

TEST(PathConversionStart, NeedsNoVekInit) {
    test::Sandbox box;
    test::setEnvironment({});
    test::Capture capture;
    std::array<char, VEK_SEARCH_PATH_SIZE> out = {};
    EXPECT_EQ(puxConvertPath(".", out.data()), PUX_OK);
    EXPECT_STREQ(out.data(), ".");
    EXPECT_EQ(capture.err(), "");
}

TEST_F(PathConversion, MissingPathIsAnInternalErrorAndEmpty) {
    EXPECT_EQ(puxConvertPath("none", out.data()), PUX_INTERNAL_ERROR);
    EXPECT_STREQ(out.data(), "");
}

TEST_F(PathConversion, EmptyPathIsAnInternalError) {
    EXPECT_EQ(puxConvertPath("", out.data()), PUX_INTERNAL_ERROR);
    EXPECT_STREQ(out.data(), "");
}

TEST_F(PathConversion, UnreadablePathIsAnInternalErrorAndEmpty) {
    box.file("f", "", 0000);
    test::asUnprivileged([&] {
        EXPECT_EQ(puxConvertPath("f", out.data()), PUX_INTERNAL_ERROR);
        EXPECT_STREQ(out.data(), "");
    });
}

TEST_F(PathConversion, FailedInterpolationIsNotFoundAndEmpty) {
    EXPECT_EQ(puxConvertPath("$NONE/x", out.data()), PUX_FILE_NOT_FOUND);
    EXPECT_STREQ(out.data(), "");
    EXPECT_EQ(puxConvertPathEx("$NONE/x", out.data(), "file"), PUX_FILE_NOT_FOUND);
    EXPECT_STREQ(out.data(), "");
}

TEST_F(PathConversion, NotThereNeedsNoFile) {
    process.environment({{"D", "dir"}});
    EXPECT_EQ(puxConvertPathNotThere("$D/none", out.data()), PUX_OK);
    EXPECT_STREQ(out.data(), "dir/none");
    EXPECT_EQ(puxConvertPathNotThereEx("$D/none", out.data(), "file"), PUX_OK);
    EXPECT_STREQ(out.data(), "dir/none");
    EXPECT_EQ(puxConvertPathNotThere("", out.data()), PUX_OK);
    EXPECT_STREQ(out.data(), "");
}

TEST_F(PathConversion, NotThereLeavesWhatInterpolationLeft) {
    EXPECT_EQ(puxConvertPathNotThere("a/$NONE", out.data()), PUX_FILE_NOT_FOUND);
    EXPECT_STREQ(out.data(), "a/$NONE");
    EXPECT_EQ(puxConvertPathNotThere(std::string(1024, 'x').c_str(), out.data()), PUX_FILE_NOT_FOUND);
    EXPECT_EQ(out.data(), std::string(1023, 'x'));
}

TEST_F(PathConversion, IsNotRecursive) {
    process.environment({{"A", "$B"}, {"B", "b"}});
    EXPECT_EQ(puxConvertPathNotThere("$A", out.data()), PUX_OK);
    EXPECT_STREQ(out.data(), "$B");
}

TEST_F(PathConversion, FileNameGivesItsInstallation) {
    test::makeInstallation(box, "inst");
    const std::string file = box.path("inst/share/f");
    EXPECT_EQ(puxConvertPathEx("$(compute:THIS_FILE_INST_ROOT)/tools", out.data(), file.c_str()), PUX_OK);
    EXPECT_EQ(out.data(), box.path("inst/tools"));
    EXPECT_EQ(puxConvertPathNotThereEx("$(compute:THIS_FILE_INST_ROOT)/x", out.data(), file.c_str()), PUX_OK);
    EXPECT_EQ(out.data(), box.path("inst/x"));
    EXPECT_EQ(puxConvertPath("$(compute:THIS_FILE_INST_ROOT)/tools", out.data()), PUX_FILE_NOT_FOUND);
    EXPECT_EQ(puxConvertPathNotThere("$(compute:THIS_FILE_INST_ROOT)/x", out.data()), PUX_FILE_NOT_FOUND);
}

TEST_F(PathConversion, ResultHasAtMost1023Characters) {
    for (const std::size_t length : {1022U, 1023U}) {
        const std::string path = box.path(test::directoryOfLength(box, length));
        EXPECT_EQ(puxConvertPath(path.c_str(), out.data()), PUX_OK);
        EXPECT_EQ(out.data(), path);
    }
    for (const std::size_t length : {1024U, 1025U}) {
        const std::string path = box.path(test::directoryOfLength(box, length));
        EXPECT_EQ(puxConvertPath(path.c_str(), out.data()), PUX_FILE_NOT_FOUND);
        EXPECT_STREQ(out.data(), "");
    }
}

TEST_F(PathConversion, WorksInPlace) {
    box.directory("a longer name");
    process.environment({{"D", "a longer name"}});
    out = {'$', 'D', '/', '\0'};
    EXPECT_EQ(puxConvertPath(out.data(), out.data()), PUX_OK);
    EXPECT_STREQ(out.data(), "a longer name/");
}

TEST_F(PathConversion, NullArgumentIsNotFound) {
    EXPECT_EQ(puxConvertPath(nullptr, out.data()), PUX_FILE_NOT_FOUND);
    EXPECT_STREQ(out.data(), "");
    EXPECT_EQ(puxConvertPath("a", nullptr), PUX_FILE_NOT_FOUND);
    EXPECT_EQ(puxConvertPathNotThere(nullptr, out.data()), PUX_FILE_NOT_FOUND);
    EXPECT_EQ(puxConvertPathNotThere("a", nullptr), PUX_FILE_NOT_FOUND);
}

// pux_mkstring.

TEST(SearchString, IsACopy) {
    const char *const text = "text";
    char *const copy = pux_mkstring(text);
    EXPECT_STREQ(copy, text);
    EXPECT_NE(copy, text);
    std::free(copy);
}

TEST(SearchString, OfNothingOrWithoutMemoryIsNull) {
    EXPECT_EQ(pux_mkstring(nullptr), nullptr);
    test::faults::failAllocation(1);
    char *const copy = pux_mkstring("text");
    test::faults::reset();
    EXPECT_EQ(copy, nullptr);
}
