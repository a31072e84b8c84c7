#include "tagfile/tovi_query.h"

#include "common/base/vek_error.h"
#include "search/pux.h"
#include "tagfile/tov.h"
#include "tests/support/capture.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"
#include "tests/tagfile/tag_support.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cerrno>
#include <string>

namespace {

using test::textOf;

/// Queries from the sandbox, where every test begins with an empty search list but for ".".
class Query : public test::TagTest {
  protected:
    void TearDown() override {
        puxReleaseHandle(nullptr);
        test::TagTest::TearDown();
    }

    /// "value @ file", or "(null) @ " with what `where` holds.
    template <typename Function, typename... Arguments>
    std::string ask(Function function, Arguments... arguments) {
        test::WhereBuffer where;
        const std::string value = textOf(function(arguments..., where.get()));
        return value + " @ " + where.text();
    }
    std::string lookup(const std::string &path, const char *name) {
        return ask(tovLookupEntry, path.c_str(), name);
    }
    std::string lookupX(const std::string &path, const char *name) {
        return ask(tovLookupEntryX, path.c_str(), name);
    }
    /// The same in a process that has read nothing yet.
    std::string lookupFresh(const std::string &path, const char *name) {
        tovResetCache();
        return lookup(path, name);
    }
    std::string at(const std::string &relative) { return box.path(relative); }

    static constexpr const char *kNothing = "(null) @ ";
};

// ---- tovLookupEntry

TEST_F(Query, LookupStopsAtTheFirstFileThatDefinesTheEntry) {
    box.file("a/vekinfo.tag", "FOO far\n").file("a/b/vekinfo.tag", "FOO near\n").directory("a/b/c");
    EXPECT_EQ("near @ " + at("a/b/vekinfo.tag"), lookup(at("a/b/c"), "FOO"));
}

TEST_F(Query, LookupAcceptsFilesRelativeAndMissingPaths) {
    box.file("a/vekinfo.tag", "FOO 1\n").file("a/b/data", "");
    for (const std::string &path : {at("a/b/data"), std::string("a/b"), std::string("a/b/none/x")}) {
        EXPECT_EQ("1 @ " + at("a/vekinfo.tag"), lookupFresh(path, "FOO")) << path;
    }
}

TEST_F(Query, LookupComparesNamesWithoutCase) {
    box.file("vekinfo.tag", "Foo 1\n");
    EXPECT_EQ("1 @ " + at("vekinfo.tag"), lookup(".", "fOO"));
}

TEST_F(Query, LookupGivesEveryKindOfEntry) {
    box.file("vekinfo.tag", "VEKLIBRARY\nVEKLIBCHECK ON\nDMTYPE Mrev\nNAMESPACE librarynt\nFOO bar\nEMPTY\n");
    const std::string from = " @ " + at("vekinfo.tag");
    EXPECT_EQ("" + from, lookupFresh(".", "VEKLIBRARY"));
    EXPECT_EQ("ON" + from, lookupFresh(".", "VEKLIBCHECK"));
    EXPECT_EQ("Mrev" + from, lookupFresh(".", "DMTYPE"));
    EXPECT_EQ("LibraryNT" + from, lookupFresh(".", "NAMESPACE"));
    EXPECT_EQ("bar" + from, lookupFresh(".", "FOO"));
    EXPECT_EQ("" + from, lookupFresh(".", "EMPTY"));
}

TEST_F(Query, EntryWrittenTwiceHasItsFirstValue) {
    box.file("vekinfo.tag", "FOO 1\nfoo 2\n");
    EXPECT_EQ("1 @ " + at("vekinfo.tag"), lookup(".", "foo"));
}

TEST_F(Query, NotFoundIsNullWithoutAReport) {
    box.file("vekinfo.tag", "FOO 1\n");
    EXPECT_EQ(kNothing, lookup(".", "BAR"));
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(Query, ErrorIsReportedAndReturnsNull) {
    box.file("vekinfo.tag", "FOO 1\n").file("a/vekinfo.tag", "DMTYPE\n");
    EXPECT_EQ(kNothing, lookup("a", "FOO"));
    EXPECT_EQ(
        (test::TagReports{{TOV_SYNTAX_ERROR, "DMTYPE line in vekinfo.tag file", at("a/vekinfo.tag"), 1}}),
        reports.take());
    EXPECT_EQ(kNothing, lookup("/nonexistent-name/x", "FOO"));
    EXPECT_EQ((test::TagReports{{TOV_PATH_PROCESSING, "tovNormalizePathSorta", "/nonexistent-name/x", 0}}),
              reports.take());
}

TEST_F(Query, WhereMayBeNull) {
    box.file("vekinfo.tag", "DMTYPE x\n");
    EXPECT_STREQ("x", tovLookupEntry(".", "DMTYPE", nullptr));
    EXPECT_STREQ("x", tovLookupEntryX(".", "DMTYPE", nullptr));
    EXPECT_STREQ("x", tovGetDmTypeX(".", nullptr));
    EXPECT_STREQ("LibraryUnix", tovGetNameSpaceX(".", nullptr));
    EXPECT_EQ(0, tovIsLibraryX(".", nullptr));
    EXPECT_EQ(0, tovIsInLibraryX(".", nullptr));
    EXPECT_EQ(0, tovCheckLibraryX(nullptr));
    EXPECT_EQ(nullptr, tovLookupEntry(".", "NONE", nullptr));
}

TEST_F(Query, NullPathsAndNamesFindNothing) {
    box.file("vekinfo.tag", "FOO 1\n");
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(kNothing, ask(tovLookupEntry, nullptr, "FOO"));
        EXPECT_EQ(kNothing, ask(tovLookupEntry, ".", nullptr));
        EXPECT_EQ(kNothing, ask(tovLookupEntryX, ".", nullptr));
    }
    EXPECT_EQ(nullptr, tovGetDmType(nullptr));
    EXPECT_STREQ("LibraryUnix", tovGetNameSpace(nullptr));
    EXPECT_EQ(0, tovIsLibrary(nullptr));
    EXPECT_EQ(0, tovIsInLibrary(nullptr));
}

// Documented: the second search of a cached file tests for a name other than the element.
TEST_F(Query, SecondLookupStopsAtFileWithOtherEntries) {
    box.file("a/vekinfo.tag", "B far\n").file("a/b/vekinfo.tag", "A near\n");
    EXPECT_EQ("near @ " + at("a/b/vekinfo.tag"), lookup("a/b", "A"));
    EXPECT_EQ(kNothing, lookup("a/b", "B"));
    EXPECT_EQ("far @ " + at("a/vekinfo.tag"), lookupFresh("a/b", "B"));
}

TEST_F(Query, SecondLookupOfTheOnlyEntryContinuesUpward) {
    box.file("a/vekinfo.tag", "A far\nZ 1\n").file("a/b/vekinfo.tag", "A near\n");
    EXPECT_EQ("near @ " + at("a/b/vekinfo.tag"), lookup("a/b", "A"));
    EXPECT_EQ("far @ " + at("a/vekinfo.tag"), lookup("a/b", "A"));
}

TEST_F(Query, WhereReceivesTheLongestPath) {
    box.file("vekinfo.tag", "FOO 1\n");
    // A converted path has at most 1023 characters, so no longer path can be found.
    const std::string path = test::spelledWith(box.path(), 1022);
    EXPECT_EQ("1 @ " + path + (path.back() == '/' ? "" : "/") + "vekinfo.tag", lookup(path, "FOO"));
}

// ---- tovLookupEntryX: the search list

TEST_F(Query, LookupXSearchesTheTreeFirst) {
    box.file("a/vekinfo.tag", "FOO tree\n").file("list/vekinfo.tag", "FOO list\n");
    test::setEnvironment({{"VEK_WORKAREA", at("list")}});
    EXPECT_EQ("tree @ " + at("a/vekinfo.tag"), lookupX("a", "FOO"));
}

TEST_F(Query, LookupXContinuesAlongTheSearchListInOrder) {
    box.directory("a").file("w/vekinfo.tag", "BAR 1\n").file("s/vekinfo.tag", "FOO s\n");
    box.file("h/vekinfo.tag", "FOO h\n").file("p/vekinfo.tag", "FOO p\nONLY p\n");
    test::setEnvironment(
        {{"VEK_WORKAREA", at("w")}, {"VEK_SEARCHDIR", at("s")}, {"HOME", at("h")}, {"VEK_PROJECT", at("p")}});
    EXPECT_EQ("s @ " + at("s/vekinfo.tag"), lookupX("a", "FOO"));
    tovResetCache();
    EXPECT_EQ("p @ " + at("p/vekinfo.tag"), lookupX("a", "ONLY"));
    tovResetCache();
    EXPECT_EQ(kNothing, lookupX("a", "NONE"));
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(Query, LookupXFindsFilesInTheDefaultGroups) {
    box.directory("a").file("w/.tolvane/vekinfo.tag", "FOO hidden\n").file("w/vekinfo.tag", "FOO plain\n");
    box.file("s/veksetup/vekinfo.tag", "BAR setup\n");
    test::setEnvironment({{"VEK_WORKAREA", at("w")}, {"VEK_SEARCHDIR", at("s")}});
    EXPECT_EQ("hidden @ " + at("w/.tolvane/vekinfo.tag"), lookupX("a", "FOO"));
    tovResetCache();
    EXPECT_EQ("setup @ " + at("s/veksetup/vekinfo.tag"), lookupX("a", "BAR"));
}

TEST_F(Query, LookupXUsesTheListOfASetupLoc) {
    box.directory("a").file("w/vekinfo.tag", "FOO w\n").file("other/vekinfo.tag", "FOO other\n");
    box.file("setup.loc", at("other") + "\n");
    test::setEnvironment({{"VEK_WORKAREA", at("w")}});
    EXPECT_EQ("other @ " + at("other/vekinfo.tag"), lookupX("a", "FOO"));
}

TEST_F(Query, LookupXFindsTheWorkingDirectorysOwnFile) {
    box.directory("a").file("work/vekinfo.tag", "FOO here\n");
    ASSERT_EQ(0, chdir("work"));
    EXPECT_EQ("here @ ./vekinfo.tag", lookupX(at("a"), "FOO"));
    ASSERT_EQ(0, chdir(box.path().c_str()));
}

TEST_F(Query, LookupXContinuesAfterAnEmptyValue) {
    box.file("a/vekinfo.tag", "EMPTY\nVEKLIBRARY\n").file("w/vekinfo.tag", "EMPTY full\n");
    test::setEnvironment({{"VEK_WORKAREA", at("w")}});
    EXPECT_EQ("full @ " + at("w/vekinfo.tag"), lookupX("a", "EMPTY"));
    EXPECT_EQ(kNothing, lookupX("a", "VEKLIBRARY")) << "nothing on the search list defines it";
}

TEST_F(Query, LookupXReturnsAnEmptyValueOfTheSearchList) {
    box.directory("a").file("w/vekinfo.tag", "VEKLIBRARY\nEMPTY\n");
    test::setEnvironment({{"VEK_WORKAREA", at("w")}});
    EXPECT_EQ(" @ " + at("w/vekinfo.tag"), lookupX("a", "EMPTY"));
    EXPECT_EQ(" @ " + at("w/vekinfo.tag"), lookupX("a", "VEKLIBRARY"));
}

TEST_F(Query, LookupXStopsAtUnreadableFileOfTheSearchList) {
    box.directory("a").file("w/vekinfo.tag", "NAMESPACE Unix\n").file("s/vekinfo.tag", "FOO s\n");
    test::setEnvironment({{"VEK_WORKAREA", at("w")}, {"VEK_SEARCHDIR", at("s")}});
    EXPECT_EQ(kNothing, lookupX("a", "FOO"));
    EXPECT_EQ(
        (test::TagReports{{TOV_SYNTAX_ERROR, "NAMESPACE line in vekinfo.tag file", at("w/vekinfo.tag"), 1}}),
        reports.take());
}

TEST_F(Query, LookupXUsesTheSearchListAfterAFailedWalk) {
    box.file("a/vekinfo.tag", "DMTYPE\n").file("w/vekinfo.tag", "FOO w\n");
    test::setEnvironment({{"VEK_WORKAREA", at("w")}});
    EXPECT_EQ("w @ " + at("w/vekinfo.tag"), lookupX("a", "FOO"));
    EXPECT_EQ(1U, reports.take().size());
}

TEST_F(Query, LookupXFindsNothingWithoutASearchList) {
    box.directory("a").directory("locked");
    ASSERT_EQ(0, chdir("locked"));
    box.directory("locked", 0000);
    test::asUnprivileged([this] { EXPECT_EQ(kNothing, lookupX(at("a"), "FOO")); });
    box.directory("locked", 0755);
    ASSERT_EQ(0, chdir(box.path().c_str()));
}

// The files of the search list are cached, too, with the same effect on a second lookup.
TEST_F(Query, SecondLookupXStopsAtListedFileWithOtherEntries) {
    box.directory("a").file("w/vekinfo.tag", "A 1\n").file("s/vekinfo.tag", "B 2\n");
    test::setEnvironment({{"VEK_WORKAREA", at("w")}, {"VEK_SEARCHDIR", at("s")}});
    EXPECT_EQ("1 @ " + at("w/vekinfo.tag"), lookupX("a", "A"));
    EXPECT_EQ(kNothing, lookupX("a", "B"));
    tovResetCache();
    EXPECT_EQ("2 @ " + at("s/vekinfo.tag"), lookupX("a", "B"));
}

// ---- toviStringizeEntry

TEST_F(Query, StringizeGivesEachKeywordItsText) {
    const test::TagObject obj = test::emptyTagObject();
    EXPECT_STREQ("", toviStringizeEntry("VEKLIBRARY", obj.get()));
    EXPECT_STREQ("", toviStringizeEntry("veklibrary", obj.get()));
    EXPECT_STREQ("ON", toviStringizeEntry("VEKLIBCHECK", obj.get())) << "anything but 0";
    EXPECT_EQ(nullptr, toviStringizeEntry("DMTYPE", obj.get()));
    EXPECT_EQ(nullptr, toviStringizeEntry("NAMESPACE", obj.get()));
    obj->libcheck = 0;
    EXPECT_STREQ("OFF", toviStringizeEntry("VekLibCheck", obj.get()));
    obj->libcheck = 1;
    EXPECT_STREQ("ON", toviStringizeEntry("VEKLIBCHECK", obj.get()));
    obj->dmtype = strdup("Mrev");
    EXPECT_STREQ("Mrev", toviStringizeEntry("dmtype", obj.get()));
    obj->nameSpace = 1;
    EXPECT_STREQ("LibraryNT", toviStringizeEntry("NameSpace", obj.get()));
    obj->nameSpace = 2;
    EXPECT_STREQ("LibraryUnix", toviStringizeEntry("NAMESPACE", obj.get()));
    obj->nameSpace = 3;
    EXPECT_EQ(nullptr, toviStringizeEntry("NAMESPACE", obj.get()));
}

TEST_F(Query, StringizeGivesTheFirstEntryOfTheName) {
    const test::TagObject obj = test::emptyTagObject();
    EXPECT_EQ(nullptr, toviStringizeEntry("FOO", obj.get()));
    test::addEntry(*obj, "BAR", "0");
    test::addEntry(*obj, "foo", "1");
    test::addEntry(*obj, "FOO", "2");
    EXPECT_STREQ("1", toviStringizeEntry("FOO", obj.get()));
    EXPECT_EQ(nullptr, toviStringizeEntry("FO", obj.get()));
}

// ---- DM type and namespace

TEST_F(Query, DmTypeComesFromTreeOrSearchList) {
    box.file("a/vekinfo.tag", "DMTYPE Mrev\n").directory("b").file("w/vekinfo.tag", "DMTYPE pkm\n");
    test::setEnvironment({{"VEK_WORKAREA", at("w")}});
    EXPECT_STREQ("Mrev", tovGetDmType("a"));
    EXPECT_EQ("Mrev @ " + at("a/vekinfo.tag"), ask(tovGetDmTypeX, "a"));
    EXPECT_STREQ("pkm", tovGetDmType("b"));
    EXPECT_EQ("pkm @ " + at("w/vekinfo.tag"), ask(tovGetDmTypeX, "b"));
}

TEST_F(Query, WithoutTagFilesNamespaceIsThatOfTheMachine) {
    EXPECT_EQ(nullptr, tovGetDmType("."));
    EXPECT_EQ(kNothing, ask(tovGetDmTypeX, "."));
    EXPECT_STREQ("LibraryUnix", tovGetNameSpace("."));
    EXPECT_EQ("LibraryUnix @ ", ask(tovGetNameSpaceX, "."));
    EXPECT_STREQ("LibraryUnix", tovsExeMachineNameSpace());
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(Query, NamespaceComesFromTreeOrSearchList) {
    box.file("a/vekinfo.tag", "NAMESPACE libraryunix\n").directory("b");
    box.file("w/vekinfo.tag", "NAMESPACE LIBRARYNT\n");
    test::setEnvironment({{"VEK_WORKAREA", at("w")}});
    EXPECT_EQ("LibraryUnix @ " + at("a/vekinfo.tag"), ask(tovGetNameSpaceX, "a"));
    EXPECT_EQ("LibraryNT @ " + at("w/vekinfo.tag"), ask(tovGetNameSpaceX, "b"));
    EXPECT_STREQ("LibraryNT", tovGetNameSpace("b"));
}

// ---- libraries

class Libraries : public Query {
  protected:
    template <typename Function>
    std::string resultOf(Function function, const std::string &path) {
        test::WhereBuffer where;
        const int result = function(path.c_str(), where.get());
        return std::to_string(result) + " @ " + where.text();
    }
};

TEST_F(Libraries, IsLibraryLooksAtTheDirectorysOwnFileOnly) {
    box.file("lib/vekinfo.tag", "VEKLIBRARY\n").directory("lib/cell").file("a/vekinfo.tag", "DMTYPE x\n");
    EXPECT_EQ("1 @ " + at("lib/vekinfo.tag"), resultOf(tovIsLibraryX, "lib"));
    EXPECT_EQ("0 @ ", resultOf(tovIsLibraryX, "lib/cell"));
    EXPECT_EQ("0 @ ", resultOf(tovIsLibraryX, "a"));
    EXPECT_EQ(1, tovIsLibrary(at("lib").c_str()));
    EXPECT_EQ(0, tovIsLibrary("lib/cell"));
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(Libraries, IsLibraryOfMissingPathUsesItsNearestParent) {
    box.file("lib/vekinfo.tag", "VEKLIBRARY\n").directory("lib/cell");
    EXPECT_EQ("1 @ " + at("lib/vekinfo.tag"), resultOf(tovIsLibraryX, "lib/none/deeper"));
    EXPECT_EQ("0 @ ", resultOf(tovIsLibraryX, "lib/cell/none"));
}

TEST_F(Libraries, IsLibraryOfAFileIsNo) {
    box.file("lib/vekinfo.tag", "VEKLIBRARY\n").file("lib/data", "");
    EXPECT_EQ("0 @ ", resultOf(tovIsLibraryX, "lib/data"));
    EXPECT_EQ(0, tovIsLibrary("lib/data"));
}

TEST_F(Libraries, IsLibraryOfAnUnreadableTagFileIsNo) {
    box.file("bad/vekinfo.tag", "VEKLIBRARY\nVEKLIBRARY yes\n");
    EXPECT_EQ("0 @ ", resultOf(tovIsLibraryX, "bad"));
    EXPECT_EQ(1U, reports.take().size());
    EXPECT_EQ("0 @ ", resultOf(tovIsLibraryX, "/nonexistent-name"));
    EXPECT_EQ(1U, reports.take().size());
}

TEST_F(Libraries, IsInLibraryLooksUpward) {
    box.file("lib/vekinfo.tag", "VEKLIBRARY\n").directory("lib/cell/view").directory("other");
    for (const char *path : {"lib", "lib/cell/view", "lib/cell/none"}) {
        EXPECT_EQ("1 @ " + at("lib/vekinfo.tag"), resultOf(tovIsInLibraryX, path)) << path;
        EXPECT_EQ(1, tovIsInLibrary(path)) << path;
        EXPECT_STREQ("", tovLookupEntry(path, "VEKLIBRARY", nullptr)) << path;
    }
    EXPECT_EQ("0 @ ", resultOf(tovIsInLibraryX, "other"));
    EXPECT_EQ(0, tovIsInLibrary("other"));
}

TEST_F(Libraries, IsInLibraryDoesNotUseTheSearchList) {
    box.directory("a").file("w/vekinfo.tag", "VEKLIBRARY\n");
    test::setEnvironment({{"VEK_WORKAREA", at("w")}});
    EXPECT_EQ("0 @ ", resultOf(tovIsInLibraryX, "a"));
}

// Deliberate: a flag that an edit has cleared still counts as present in the cache.
TEST_F(Libraries, ClearedLibraryIsStillALibraryInThisProcess) {
    box.file("lib/vekinfo.tag", "VEKLIBRARY\n");
    EXPECT_EQ(1, tovIsLibrary(at("lib").c_str()));
    EXPECT_EQ(1, tovRemoveEntry(at("lib").c_str(), "VEKLIBRARY"));
    EXPECT_EQ(1, tovIsLibrary(at("lib").c_str()));
    tovResetCache();
    EXPECT_EQ(0, tovIsLibrary(at("lib").c_str()));
}

// ---- the library check

class LibraryCheck : public Query {
  protected:
    static std::string check() {
        test::WhereBuffer where;
        const int result = tovCheckLibraryX(where.get());
        return std::to_string(result) + " @ " + where.text();
    }
};

TEST_F(LibraryCheck, IsOffByDefault) {
    EXPECT_EQ("0 @ ", check());
    EXPECT_EQ(0, tovCheckLibrary());
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(LibraryCheck, IsSearchedUpwardFromTheWorkingDirectory) {
    box.file("a/vekinfo.tag", "VEKLIBCHECK ON\n").file("a/b/vekinfo.tag", "DMTYPE x\n").directory("a/b/c");
    ASSERT_EQ(0, chdir("a/b/c"));
    EXPECT_EQ("1 @ " + at("a/vekinfo.tag"), check());
    EXPECT_EQ(1, tovCheckLibrary());
    ASSERT_EQ(0, chdir(box.path().c_str()));
    EXPECT_EQ("0 @ ", check());
}

TEST_F(LibraryCheck, OffNamesItsFileToo) {
    box.file("a/vekinfo.tag", "VEKLIBCHECK ON\n").file("a/b/vekinfo.tag", "VEKLIBCHECK OFF\n");
    ASSERT_EQ(0, chdir("a/b"));
    EXPECT_EQ("0 @ " + at("a/b/vekinfo.tag"), check());
    EXPECT_EQ(0, tovCheckLibrary());
    ASSERT_EQ(0, chdir(box.path().c_str()));
}

TEST_F(LibraryCheck, IgnoresThePathsOfOtherQueries) {
    box.file("a/vekinfo.tag", "VEKLIBCHECK ON\nDMTYPE x\n");
    EXPECT_STREQ("x", tovGetDmType("a"));
    EXPECT_EQ("0 @ ", check());
}

TEST_F(LibraryCheck, FallsBackToTheSearchList) {
    box.file("w/vekinfo.tag", "DMTYPE x\n").file("s/vekinfo.tag", "VEKLIBCHECK ON\n");
    test::setEnvironment({{"VEK_WORKAREA", at("w")}, {"VEK_SEARCHDIR", at("s")}});
    EXPECT_EQ("1 @ " + at("s/vekinfo.tag"), check());
}

TEST_F(LibraryCheck, FirstListedFileThatDefinesItDecides) {
    box.file("w/vekinfo.tag", "VEKLIBCHECK OFF\n").file("s/vekinfo.tag", "VEKLIBCHECK ON\n");
    test::setEnvironment({{"VEK_WORKAREA", at("w")}, {"VEK_SEARCHDIR", at("s")}});
    EXPECT_EQ("0 @ " + at("w/vekinfo.tag"), check());
}

TEST_F(LibraryCheck, FailedSearchIsOff) {
    box.file("vekinfo.tag", "NAMESPACE Unix\n").directory("a").file("w/vekinfo.tag", "VEKLIBCHECK ON\n");
    test::setEnvironment({{"VEK_WORKAREA", at("w")}});
    ASSERT_EQ(0, chdir("a"));
    EXPECT_EQ("0 @ ", check());
    EXPECT_EQ(1U, reports.take().size());
    ASSERT_EQ(0, chdir(box.path().c_str()));
}

TEST_F(LibraryCheck, UnreadableListedFileIsOff) {
    box.directory("a").file("w/vekinfo.tag", "NAMESPACE Unix\n").file("s/vekinfo.tag", "VEKLIBCHECK ON\n");
    test::setEnvironment({{"VEK_WORKAREA", at("w")}, {"VEK_SEARCHDIR", at("s")}});
    EXPECT_EQ("0 @ ", check());
    EXPECT_EQ(1U, reports.take().size());
}

TEST_F(LibraryCheck, WithoutAWorkingDirectoryItIsOff) {
    box.file("vekinfo.tag", "VEKLIBCHECK ON\n");
    test::faults::failFrom("getcwd", 1, ENOENT);
    EXPECT_EQ("0 @ ", check());
    test::faults::reset();
}

// ---- reports of queries

TEST_F(Query, WithAHandlerNoTextReachesTheErrorHook) {
    static int messages;
    messages = 0;
    vekRegErrorFunc([](const char *) { ++messages; });
    box.file("vekinfo.tag", "DMTYPE\n");
    EXPECT_EQ(nullptr, tovLookupEntry(".", "FOO", nullptr));
    EXPECT_EQ(1U, reports.take().size());
    EXPECT_EQ(0, messages);
    tovRegisterErrorHandler(nullptr);
    EXPECT_EQ(nullptr, tovLookupEntry(".", "FOO", nullptr));
    EXPECT_EQ(1, messages);
    vekRegErrorFunc(nullptr);
}

TEST_F(Query, HugeEnvironmentIsAccepted) {
    box.directory("a");
    const std::string huge(100U * 1024U, 'h');
    test::setEnvironment(
        {{"VEK_WORKAREA", "/" + huge}, {"HOME", huge}, {"VEK_SEARCHDIR", "$VEK_PROJECT"}, {"VEK_SITE", ""}});
    EXPECT_EQ(kNothing, lookupX("a", "FOO"));
    EXPECT_EQ(kNothing, lookupX("$HOME", "FOO"));
}

TEST_F(Query, ExhaustedMemoryNeverGivesAWrongResult) {
    box.file("a/vekinfo.tag", "BAR 1\nFOO 2\n").directory("a/b").file("w/vekinfo.tag", "LIST 3\n");
    test::setEnvironment({{"VEK_WORKAREA", at("w")}});
    for (int nth = 1; nth <= 80; ++nth) {
        for (const char *name : {"FOO", "LIST"}) {
            tovResetCache();
            puxReleaseHandle(nullptr);
            test::faults::failAllocation(nth);
            const std::string value = lookupX("a/b", name);
            test::faults::reset();
            if (value != kNothing) {
                EXPECT_EQ(name == std::string("FOO") ? "2 @ " + at("a/vekinfo.tag")
                                                     : "3 @ " + at("w/vekinfo.tag"),
                          value)
                    << nth;
            }
        }
    }
}

} // namespace
