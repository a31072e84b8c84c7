// DEFINE, SOFTDEFINE and UNDEFINE.

#include "libdef/language/ryni_parse.h"
#include "libdef/registry/ryni_error.h"
#include "libdef/registry/ryni_index_hash.h"
#include "libdef/registry/ryni_indexes.h"
#include "tagfile/tov.h"
#include "tests/libdef/libdef_support.h"
#include "tests/libdef/pool_support.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

using test::Capture;
using test::Definitions;
using test::Diagnostic;
using test::Diagnostics;
using test::Environment;
using test::recorded;
namespace faults = test::faults;

namespace {

using Names = std::vector<std::string>;

constexpr unsigned kPathsMustExist = RYN_FLAG_OWN_EXISTENCE_CHECK;

std::vector<int> historyOf(const rynLibrary *library) {
    std::vector<int> lines;
    for (const rynDefinition *at = library->history.head; at != nullptr; at = at->next) {
        lines.push_back(at->line);
    }
    return lines;
}

int execute(Definitions &definitions, const std::string &line, int number = 1) {
    recorded.diagnostics.clear();
    return ryni_process_command(definitions.handle, line.c_str(), definitions.path().c_str(),
                                definitions.handle->files.head, number, 0);
}

std::string sameFileText(const std::string &name, const std::string &file, int line,
                         const std::string &stored, int earlier) {
    return "library " + name + " from " + file + " line " + std::to_string(line) +
           ", redefines\n    library " + stored + " from same file line " + std::to_string(earlier) +
           " defined earlier.";
}

std::string caseText(const std::string &name, const std::string &file, int line, const std::string &stored,
                     const std::string &earlierFile, int earlier) {
    return "library " + name + " from " + file + " line " + std::to_string(line) +
           ", differs only by case from\n    library " + stored + " from " + earlierFile + " line " +
           std::to_string(earlier) + " defined earlier.";
}

// ---- a new library

TEST(RynDefine, NewLibraryHasPathsFileLineAndHistory) {
    Definitions definitions;
    definitions.box.directory("real").link("link", "real");
    ASSERT_EQ(definitions.load("\nDEFINE lib ./link/\n"), 0);
    const rynLibrary *library = definitions.library("lib");
    ASSERT_NE(library, nullptr);
    EXPECT_STREQ(library->name, "lib");
    EXPECT_EQ(library->fullPath, definitions.path("link"));
    EXPECT_EQ(library->nslPath, definitions.path("real"));
    EXPECT_EQ(library->definedIn, definitions.handle->files.head);
    EXPECT_EQ(library->definedAtLine, 2);
    EXPECT_EQ(library->flags, 0U);
    EXPECT_EQ(historyOf(library), std::vector<int>{2});
    EXPECT_EQ(library->history.head->file, definitions.handle->files.head);
    EXPECT_EQ(library->attributes, nullptr);
    EXPECT_EQ(library->explicitTmp, nullptr);
    EXPECT_EQ(library->explicitTmpNsl, nullptr);
    EXPECT_EQ(library->implicitTmp, nullptr);
    EXPECT_EQ(library->implicitTmpNsl, nullptr);
    EXPECT_EQ(library->packedFile, nullptr);
    EXPECT_EQ(library->packedArchive, nullptr);
}

TEST(RynDefine, LibrariesAreInDefinitionOrder) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE c c\nSOFTDEFINE a a\nDEFINE b b\n"), 0);
    EXPECT_EQ(definitions.names(), (Names{"c", "a", "b"}));
    EXPECT_EQ(definitions.library("b"), definitions.handle->libraries.tail);
}

TEST(RynDefine, QuotedNamesAndPathsMayContainBlanks) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE lib \"my dir\"\nDEFINE \"my lib\" x\n"), 0);
    EXPECT_EQ(definitions.library("lib")->fullPath, definitions.path("my dir"));
    EXPECT_NE(definitions.library("my lib"), nullptr);
}

TEST(RynDefine, ExpandsVariablesAndHomeDirectories) {
    Definitions definitions(Environment{{"HOME", "/home/u"}, {"D", "/d"}});
    ASSERT_EQ(definitions.load("DEFINE a ~/lib\nDEFINE b ${D}x/y\n"), 0);
    EXPECT_STREQ(definitions.library("a")->fullPath, "/home/u/lib");
    EXPECT_STREQ(definitions.library("b")->fullPath, "/dx/y");
}

TEST(RynDefine, EmptyPathIsTheDirectoryOfTheFile) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE a \"\"\n"), 0);
    EXPECT_EQ(definitions.library("a")->fullPath, definitions.path());
}

TEST(RynDefine, AcceptsAnEmptyName) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE \"\" a\n"), 0);
    EXPECT_EQ(definitions.library("")->fullPath, definitions.path("a"));
}

TEST(RynDefine, NamesAreCaseSensitive) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE Lib a\nDEFINE lib b\n"), 0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    EXPECT_EQ(definitions.names(), (Names{"Lib", "lib"}));
}

// ---- paths that cannot be generated

TEST(RynDefine, InvalidPathIsReportedAsWritten) {
    Definitions definitions;
    const std::string file = definitions.path("vek.lib");
    for (const char *keyword : {"DEFINE", "SOFTDEFINE"}) {
        const std::string head = std::string(keyword) + " lib ";
        expectDiagnostic(definitions, head + "~nosuchuser/x", {RYN_INVALID_PATH, "~nosuchuser/x", file, 1},
                         "Invalid path");
        expectDiagnostic(definitions, head + "$UNSET/x", {RYN_INTERNAL_ERROR, "$UNSET/x", file, 1},
                         "Internal error");
        expectDiagnostic(definitions, head + "/../x", {RYN_INTERNAL_ERROR, "/../x", file, 1},
                         "Internal error");
    }
    EXPECT_EQ(definitions.load("DEFINE lib ~nosuchuser/x\n"), 0);
    EXPECT_EQ(definitions.names(), Names{});
}

TEST(RynDefine, InvalidPathReturnsTheResultOfTheHandler) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE a a\n"), 0);
    recorded.warningResult = test::kHandlerResult;
    for (const char *keyword : {"DEFINE", "SOFTDEFINE"}) {
        EXPECT_EQ(execute(definitions, std::string(keyword) + " lib ~nosuchuser/x", 2), test::kHandlerResult);
    }
}

TEST(RynDefine, CycleOfVariablesIsInvalidPath) {
    Definitions definitions(Environment{{"A", "$B/x"}, {"B", "$A"}});
    expectDiagnostic(definitions, "DEFINE lib $A/lib\n",
                     {RYN_INVALID_PATH, "$A/lib", definitions.path("vek.lib"), 1}, "Invalid path");
}

TEST(RynDefine, CycleOfLinksIsReportedWithItsPath) {
    Definitions definitions;
    definitions.box.link("one", "two").link("two", "one");
    const std::string file = definitions.path("vek.lib");
    for (const char *keyword : {"DEFINE", "SOFTDEFINE"}) {
        EXPECT_EQ(definitions.load(std::string(keyword) + " lib one/lib\n"), 0);
        ASSERT_EQ(recorded.diagnostics.size(), 1U);
        EXPECT_EQ(recorded.diagnostics[0].code, RYN_INTERNAL_ERROR);
        EXPECT_TRUE(recorded.diagnostics[0].object == definitions.path("one") ||
                    recorded.diagnostics[0].object == definitions.path("two"));
    }
    // If paths must exist, stat() fails before the links are read; SOFTDEFINE does not test the path first.
    expectDiagnostic(definitions, "DEFINE lib one\n", {RYN_SYSTEM_ERROR, definitions.path("one"), file, 1},
                     "System error", kPathsMustExist);
    EXPECT_EQ(definitions.load("SOFTDEFINE lib one\n", kPathsMustExist), 0);
    ASSERT_EQ(recorded.diagnostics.size(), 1U);
    EXPECT_EQ(recorded.diagnostics[0].code, RYN_INTERNAL_ERROR);
}

TEST(RynDefine, PathLimitIs4095Characters) {
    const std::string start(3990, 'p');
    Definitions definitions(Environment{{"LONG", "/" + start}});
    const std::size_t longest = 4095 - (1 + start.size() + 1);
    const auto lineFor = [&](std::size_t size) { return "DEFINE a $LONG/" + std::string(size, 'x') + "\n"; };
    ASSERT_EQ(definitions.load(lineFor(longest)), 0);
    ASSERT_NE(definitions.library("a"), nullptr);
    EXPECT_EQ(std::string(definitions.library("a")->fullPath), "/" + start + "/" + std::string(longest, 'x'));
    for (const std::size_t size : {longest + 1, longest + 2}) {
        EXPECT_EQ(definitions.load(lineFor(size)), 0);
        EXPECT_EQ(recorded.diagnostics, (Diagnostics{{RYN_INVALID_PATH, "$LONG/" + std::string(size, 'x'),
                                                      definitions.path("vek.lib"), 1}}));
    }
}

// ---- paths that must exist

TEST(RynDefine, MissingDirectoryIsAnErrorOnlyIfPathsMustExist) {
    Definitions definitions;
    EXPECT_EQ(definitions.load("DEFINE a none\nSOFTDEFINE b none2\n"), 0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    EXPECT_EQ(definitions.names(), (Names{"a", "b"}));
    expectDiagnostic(definitions, "DEFINE a none\nSOFTDEFINE b none2\n",
                     {RYN_INVALID_PATH, definitions.path("none"), definitions.path("vek.lib"), 1},
                     "Invalid path", kPathsMustExist);
}

TEST(RynDefine, LibraryWithAFailedPathCheckIsNotDefined) {
    Definitions definitions;
    definitions.box.directory("good");
    EXPECT_EQ(
        definitions.load("DEFINE a none\nSOFTDEFINE b none\nDEFINE c good\nSOFTDEFINE d good/../good2\n",
                         kPathsMustExist),
        0);
    EXPECT_EQ(definitions.names(), Names{"c"});
}

TEST(RynDefine, FileIsNotALibraryDirectory) {
    Definitions definitions;
    definitions.box.file("file", "").link("link", "file");
    expectDiagnostic(definitions, "DEFINE a link\nSOFTDEFINE b link\n",
                     {RYN_INVALID_PATH, definitions.path("file"), definitions.path("vek.lib"), 1},
                     "Invalid path", kPathsMustExist);
    expectDiagnostic(definitions, "DEFINE a file/x\nSOFTDEFINE b file/x\n",
                     {RYN_SYSTEM_ERROR, definitions.path("file/x"), definitions.path("vek.lib"), 1},
                     "System error", kPathsMustExist);
}

TEST(RynDefine, UnreadableDirectoryIsPermissionDenied) {
    Definitions definitions;
    definitions.box.directory("closed/in").directory("closed", 0000).file("vek.lib", "", 0666);
    test::asUnprivileged([&] {
        const std::string file = definitions.path("vek.lib");
        const auto reads = [&](const std::string &text, const Diagnostics &expected) {
            rynHandle handle = nullptr;
            ASSERT_EQ(rynInit(nullptr, kPathsMustExist, test::recordWarning, nullptr, &handle), 0);
            rynIncludedFile record = {};
            std::string path = file;
            record.path = path.data();
            recorded.diagnostics.clear();
            EXPECT_EQ(ryni_process_command(handle, text.c_str(), definitions.path().c_str(), &record, 1, 0),
                      0);
            EXPECT_EQ(recorded.diagnostics, expected) << text;
            EXPECT_EQ(handle->libraries.head, nullptr);
            rynReleaseHandle(handle);
        };
        reads("DEFINE a closed", {{RYN_PERMISSION_DENIED, definitions.path("closed"), file, 1}});
        reads("DEFINE a closed/in", {{RYN_PERMISSION_DENIED, definitions.path("closed/in"), file, 1}});
        reads("SOFTDEFINE a closed", {});
        reads("SOFTDEFINE a closed/in", {});
    });
}

TEST(RynDefine, DefaultHandlerPrintsAnUnreadableDirectory) {
    Definitions definitions;
    definitions.box.directory("closed", 0000).file("vek.lib", "DEFINE a closed\n");
    test::asUnprivileged([&] {
        Capture capture;
        EXPECT_EQ(definitions.read(nullptr, kPathsMustExist), RYN_PERMISSION_DENIED);
        EXPECT_EQ(capture.err(), "Error at line 1 of " + definitions.path("vek.lib") + " for " +
                                     definitions.path("closed") + ":\n\tPermission denied\n");
    });
}

// ---- the library check

TEST(RynDefine, LibraryCheckRequiresAVeklibraryEntry) {
    Definitions definitions;
    definitions.box.file("vekinfo.tag", "VEKLIBCHECK ON\n").directory("plain").link("link", "plain");
    definitions.box.file("lib/vekinfo.tag", "VEKLIBRARY\n");
    const std::string file = definitions.path("vek.lib");
    for (const char *keyword : {"DEFINE", "SOFTDEFINE"}) {
        expectDiagnostic(definitions, std::string("DEFINE good lib\n") + keyword + " bad link\n",
                         {RYN_NO_VEKLIBRARY_ENTRY,
                          file + " line 2:\n    directory " + definitions.path("plain") +
                              " of LIB bad\n    does not have a VEKLIBRARY entry in its vekinfo.tag file.",
                          file, 2},
                         "Library doesn't have a VEKLIBRARY entry in its vekinfo.tag file", kPathsMustExist);
        definitions.load(std::string("DEFINE good lib\n") + keyword + " bad link\n", kPathsMustExist);
        EXPECT_EQ(definitions.names(), Names{"good"});
    }
}

TEST(RynDefine, LibraryCheckNeedsPathsThatMustExist) {
    Definitions definitions;
    definitions.box.file("vekinfo.tag", "VEKLIBCHECK ON\n").directory("plain");
    EXPECT_EQ(definitions.load("DEFINE a plain\n"), 0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    EXPECT_EQ(definitions.names(), Names{"a"});
}

TEST(RynDefine, AnyDirectoryIsALibraryWithoutLibraryCheck) {
    Definitions definitions;
    definitions.box.file("vekinfo.tag", "VEKLIBCHECK OFF\n").directory("plain");
    EXPECT_EQ(definitions.load("DEFINE a plain\n", kPathsMustExist), 0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    EXPECT_EQ(definitions.names(), Names{"a"});
}

// ---- redefinition

TEST(RynDefine, RedefinitionInTheSameFileIsReported) {
    Definitions definitions;
    const std::string file = definitions.path("vek.lib");
    for (const char *keyword : {"DEFINE", "SOFTDEFINE"}) {
        expectDiagnostic(definitions, std::string("DEFINE a a\n\n") + keyword + " a b\n",
                         {RYN_REDEFINED_IN_SAME_FILE, sameFileText("a", file, 3, "a", 1), file, 3},
                         "Same file has different definitions for library");
    }
}

TEST(RynDefine, RedefinitionInAnotherFileIsReportedWithAHint) {
    Definitions definitions;
    const std::string file = definitions.path("vek.lib");
    const std::string more = definitions.path("more.lib");
    definitions.box.file("more.lib", "\nDEFINE a a\n");
    expectDiagnostic(definitions, "INCLUDE more.lib\n\nDEFINE a b\n",
                     {RYN_REDEFINED,
                      "library a defined in " + file + " at line 3, redefines\n    library a defined in " +
                          more + " at line 2.\nInsert UNDEFINE a\nbefore DEFINE a on line 3\n    of " + file +
                          "\nOr remove or comment out DEFINE a on line 2\n    of " + more +
                          "\nto suppress this warning message.",
                      file, 3},
                     "Library redefined");
}

TEST(RynDefine, RedefinitionInAnIncludedFileNamesThatFileFirst) {
    Definitions definitions;
    const std::string file = definitions.path("vek.lib");
    const std::string more = definitions.path("more.lib");
    definitions.box.file("more.lib", "DEFINE a b\n");
    EXPECT_EQ(definitions.load("DEFINE a a\nINCLUDE more.lib\n"), 0);
    EXPECT_EQ(
        recorded.diagnostics,
        (Diagnostics{{RYN_REDEFINED,
                      "library a defined in " + more + " at line 1, redefines\n    library a defined in " +
                          file + " at line 1.\nInsert UNDEFINE a\nbefore DEFINE a on line 1\n    of " + more +
                          "\nOr remove or comment out DEFINE a on line 1\n    of " + file +
                          "\nto suppress this warning message.",
                      more, 1}}));
    EXPECT_EQ(definitions.library("a")->definedIn, definitions.handle->files.tail);
}

TEST(RynDefine, RedefinitionIsReportedAgainstTheLatestDefinition) {
    Definitions definitions;
    const std::string file = definitions.path("vek.lib");
    EXPECT_EQ(definitions.load("DEFINE a a\nDEFINE a a\nDEFINE a a\n"), 0);
    EXPECT_EQ(recorded.diagnostics,
              (Diagnostics{{RYN_REDEFINED_IN_SAME_FILE, sameFileText("a", file, 2, "a", 1), file, 2},
                           {RYN_REDEFINED_IN_SAME_FILE, sameFileText("a", file, 3, "a", 2), file, 3}}));
    EXPECT_EQ(historyOf(definitions.library("a")), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(definitions.library("a")->definedAtLine, 3);
}

TEST(RynDefine, RedefinitionStoresItsNslPathAsFullPathOnly) {
    Definitions definitions;
    definitions.box.directory("one").directory("two").link("first", "one").link("second", "two");
    EXPECT_EQ(definitions.load("DEFINE a first\nDEFINE a second\n"), 0);
    const rynLibrary *library = definitions.library("a");
    EXPECT_EQ(library->fullPath, definitions.path("two"));
    EXPECT_EQ(library->nslPath, definitions.path("one"));
    EXPECT_EQ(library->flags, static_cast<unsigned>(ryn::kPathChanged));
}

TEST(RynDefine, RedefinitionWithTheSameFullPathChangesNoPath) {
    Definitions definitions;
    definitions.box.directory("one").link("first", "one");
    EXPECT_EQ(definitions.load("DEFINE a first\nDEFINE a ./first\n"), 0);
    EXPECT_EQ(definitions.library("a")->fullPath, definitions.path("one"));
    EXPECT_EQ(definitions.library("a")->flags, 0U);

    // The comparison uses the stored full path, which is the nsl path after the first redefinition.
    EXPECT_EQ(definitions.load("DEFINE a first\nDEFINE a first\nDEFINE a first\n"), 0);
    EXPECT_EQ(definitions.library("a")->flags, static_cast<unsigned>(ryn::kPathChanged));
}

TEST(RynDefine, FlagOfAChangedPathIsNeverCleared) {
    Definitions definitions;
    EXPECT_EQ(definitions.load("DEFINE a a\nDEFINE a b\nDEFINE a b\n"), 0);
    EXPECT_EQ(definitions.library("a")->flags, static_cast<unsigned>(ryn::kPathChanged));
}

TEST(RynDefine, RedefinitionMovesTheLibraryToTheEnd) {
    Definitions definitions;
    EXPECT_EQ(definitions.load("DEFINE a a\nDEFINE b b\nDEFINE c c\nDEFINE a a2\n"), 0);
    EXPECT_EQ(definitions.names(), (Names{"b", "c", "a"}));
    EXPECT_EQ(definitions.load("DEFINE a a\nDEFINE b b\nDEFINE c c\nDEFINE b b2\nDEFINE b b3\n"), 0);
    EXPECT_EQ(definitions.names(), (Names{"a", "c", "b"}));
    EXPECT_EQ(execute(definitions, "DEFINE d d"), 0);
    EXPECT_EQ(definitions.names(), (Names{"a", "c", "b", "d"}));
}

TEST(RynDefine, RedefinitionStoppedByTheHandlerChangesNothing) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE a a\nDEFINE b b\n"), 0);
    const std::string before = definitions.dump();
    recorded.warningResult = test::kHandlerResult;
    EXPECT_EQ(execute(definitions, "DEFINE a c", 3), test::kHandlerResult);
    EXPECT_EQ(definitions.dump(), before);
    EXPECT_EQ(historyOf(definitions.library("a")), std::vector<int>{1});
}

TEST(RynDefine, ReuseIsTestedWithTheFirstNslPath) {
    Definitions definitions;
    EXPECT_EQ(definitions.load("DEFINE a one\nDEFINE a two\nDEFINE b two\nDEFINE c one\n"), 0);
    ASSERT_EQ(recorded.diagnostics.size(), 2U);
    EXPECT_EQ(recorded.diagnostics[0].code, RYN_REDEFINED_IN_SAME_FILE);
    EXPECT_EQ(recorded.diagnostics[1],
              (Diagnostic{RYN_DIRECTORY_REUSED, definitions.path("one"), definitions.path("vek.lib"), 4}));
}

TEST(RynDefine, RedefinitionTextsHaveAnyLength) {
    Definitions definitions;
    const std::string name(4000, '%');
    const std::string file = definitions.path("vek.lib");
    EXPECT_EQ(definitions.load("DEFINE " + name + " a\nDEFINE " + name + " b\n"), 0);
    EXPECT_EQ(recorded.diagnostics,
              (Diagnostics{{RYN_REDEFINED_IN_SAME_FILE, sameFileText(name, file, 2, name, 1), file, 2}}));
}

TEST(RynDefine, UndefineAvoidsTheRedefinitionReport) {
    Definitions definitions;
    EXPECT_EQ(definitions.load("DEFINE a a\nDEFINE b b\nUNDEFINE a\nDEFINE a c\n"), 0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    EXPECT_EQ(definitions.names(), (Names{"b", "a"}));
    EXPECT_EQ(historyOf(definitions.library("a")), std::vector<int>{4});
    EXPECT_EQ(definitions.library("a")->nslPath, definitions.path("c"));
}

// ---- names that differ only by case

TEST(RynDefine, SpellingsAreOneLibraryIfCaseIsIgnored) {
    Definitions definitions(Environment{{"VEK_ALT_NMP", "MATCH"}});
    const std::string file = definitions.path("vek.lib");
    EXPECT_EQ(definitions.load("DEFINE Lib a\nDEFINE lib b\n"), 0);
    EXPECT_EQ(recorded.diagnostics,
              (Diagnostics{{RYN_DIFFERS_ONLY_BY_CASE, caseText("lib", file, 2, "Lib", file, 1), file, 2},
                           {RYN_REDEFINED_IN_SAME_FILE, sameFileText("lib", file, 2, "Lib", 1), file, 2}}));
    EXPECT_EQ(definitions.names(), Names{"lib"});
    EXPECT_STREQ(definitions.library("LIB")->name, "lib");
}

TEST(RynDefine, DefaultHandlerPrintsADifferenceByCase) {
    Definitions definitions(Environment{{"VEK_ALT_NMP", "match"}});
    const std::string file = definitions.path("vek.lib");
    Capture capture;
    EXPECT_EQ(definitions.loadWithDefaultHandler("DEFINE Lib a\nDEFINE lib b\n"), RYN_REDEFINED_IN_SAME_FILE);
    EXPECT_EQ(capture.err(), "Error at line 2 of " + file + " for " +
                                 caseText("lib", file, 2, "Lib", file, 1) +
                                 ":\n\tLibraries differ only by case\nError at line 2 of " + file + " for " +
                                 sameFileText("lib", file, 2, "Lib", 1) +
                                 ":\n\tSame file has different definitions for library\n");
}

TEST(RynDefine, HandlerResultOfADifferenceByCaseEndsTheStatement) {
    Definitions definitions(Environment{{"VEK_ALT_NMP", "Match"}});
    ASSERT_EQ(definitions.load("DEFINE Lib a\n"), 0);
    recorded.warningResult = test::kHandlerResult;
    for (const char *line : {"DEFINE lib b", "UNDEFINE LIB", "ASSIGN lIB X 1", "UNASSIGN lib X"}) {
        const std::string before = definitions.dump();
        EXPECT_EQ(execute(definitions, line, 2), test::kHandlerResult) << line;
        ASSERT_EQ(recorded.diagnostics.size(), 1U) << line;
        EXPECT_EQ(recorded.diagnostics[0].code, RYN_DIFFERS_ONLY_BY_CASE) << line;
        EXPECT_EQ(definitions.dump(), before) << line;
    }
}

TEST(RynDefine, DifferenceByCaseNamesTheFileOfTheEarlierDefinition) {
    Definitions definitions(Environment{{"VEK_ALT_NMP", "match"}});
    definitions.box.file("more.lib", "\n\nDEFINE LIB a\n");
    const std::string file = definitions.path("vek.lib");
    EXPECT_EQ(definitions.load("INCLUDE more.lib\nUNDEFINE Lib\n"), 0);
    EXPECT_EQ(recorded.diagnostics,
              (Diagnostics{{RYN_DIFFERS_ONLY_BY_CASE,
                            caseText("Lib", file, 2, "LIB", definitions.path("more.lib"), 3), file, 2}}));
    EXPECT_EQ(definitions.names(), Names{});
}

// ---- directories that are used twice

TEST(RynDefine, LibrariesInEqualOrNestedDirectoriesAreReported) {
    Definitions definitions;
    definitions.box.directory("d").link("l", "d");
    const std::string file = definitions.path("vek.lib");
    expectDiagnostic(definitions, "DEFINE a d\nDEFINE b l\n",
                     {RYN_DIRECTORY_REUSED, definitions.path("d"), file, 2}, "Directory used multiple times");
    expectDiagnostic(definitions, "DEFINE a d\nSOFTDEFINE b d/sub\n",
                     {RYN_DIRECTORY_REUSED, definitions.path("d/sub"), file, 2},
                     "Directory used multiple times");
    expectDiagnostic(definitions, "DEFINE a d/sub\nDEFINE b d\n",
                     {RYN_DIRECTORY_REUSED, definitions.path("d"), file, 2}, "Directory used multiple times");
    EXPECT_EQ(definitions.load("DEFINE a d\nDEFINE b l\nDEFINE c dx\nDEFINE e d.\n"), 0);
    EXPECT_EQ(definitions.names(), (Names{"a", "b", "c", "e"}));
    EXPECT_EQ(recorded.diagnostics.size(), 1U);
}

TEST(RynDefine, LibraryInATemporaryDirectoryOfAnotherIsReported) {
    Definitions definitions;
    definitions.box.directory("t/sub");
    expectDiagnostic(definitions, "DEFINE a a\nASSIGN a TMP t\nDEFINE b t/sub\n",
                     {RYN_DIRECTORY_REUSED, definitions.path("t/sub"), definitions.path("vek.lib"), 3},
                     "Directory used multiple times");
}

TEST(RynDefine, UndefineReleasesTheDirectories) {
    Definitions definitions;
    definitions.box.directory("t");
    EXPECT_EQ(definitions.load("DEFINE a a\nASSIGN a TMP t\nUNDEFINE a\nDEFINE b a\nDEFINE c t\n"), 0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
}

TEST(RynDefine, ReusedDirectoryReturnsTheResultOfTheHandler) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE a a\n"), 0);
    recorded.warningResult = test::kHandlerResult;
    EXPECT_EQ(execute(definitions, "DEFINE b a"), test::kHandlerResult);
    EXPECT_EQ(definitions.names(), (Names{"a", "b"}));
}

// ---- UNDEFINE

TEST(RynDefine, UndefineRemovesFirstMiddleAndLastLibrary) {
    for (const char *name : {"a", "b", "c"}) {
        Definitions definitions;
        ASSERT_EQ(
            definitions.load(std::string("DEFINE a a\nDEFINE b b\nASSIGN b X 1\nDEFINE c c\nUNDEFINE ") +
                             name + "\nDEFINE d d\n"),
            0);
        Names expected = {"a", "b", "c", "d"};
        std::erase(expected, name);
        EXPECT_EQ(definitions.names(), expected);
        EXPECT_EQ(definitions.library(name), nullptr);
        EXPECT_EQ(definitions.handle->libraries.tail, definitions.library("d"));
        EXPECT_EQ(definitions.dump().find("ERROR"), std::string::npos);
    }
}

TEST(RynDefine, UndefineOfTheOnlyLibraryEmptiesTheList) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE a a\nUNDEFINE a\n"), 0);
    EXPECT_EQ(definitions.handle->libraries.head, nullptr);
    EXPECT_EQ(definitions.handle->libraries.tail, nullptr);
}

TEST(RynDefine, UndefineOfAnUnknownLibraryReportsNothing) {
    Definitions definitions;
    EXPECT_EQ(definitions.load("UNDEFINE a\nDEFINE a a\nUNDEFINE A\n"), 0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    EXPECT_EQ(definitions.names(), Names{"a"});
}

TEST(RynDefine, UndefineRemovesTheNamedLibraryOfABucket) {
    Definitions definitions;
    // All three belong to bucket 1.
    for (const char *name : {"lib", "0a", "\x01"}) {
        ASSERT_EQ(ryn::bucketOf(name, false), 1U);
        ASSERT_EQ(definitions.load("DEFINE lib a\nDEFINE 0a b\nDEFINE \x01 c\n"), 0);
        EXPECT_EQ(execute(definitions, std::string("UNDEFINE ") + name), 0);
        for (const char *other : {"lib", "0a", "\x01"}) {
            EXPECT_EQ(definitions.library(other) == nullptr, other == std::string(name));
        }
        EXPECT_EQ(definitions.names().size(), 2U);
        EXPECT_EQ(definitions.dump().find("ERROR"), std::string::npos);
    }
}

// ---- a library that is missing in the definition order

/// Libraries a, b, c, of which b is not in the order.
struct LibraryOutsideOrder : Definitions {
    LibraryOutsideOrder() {
        EXPECT_EQ(load("DEFINE a a\nDEFINE b b\nDEFINE c c\n"), 0);
        outside = library("b");
        library("a")->nextInOrder = outside->nextInOrder;
    }
    rynLibrary *outside;
};

TEST(RynDefine, RedefinitionOfALibraryOutsideTheOrderIsInternalError) {
    LibraryOutsideOrder definitions;
    EXPECT_EQ(execute(definitions, "DEFINE b b2", 7), 0);
    ASSERT_EQ(recorded.diagnostics.size(), 2U);
    EXPECT_EQ(recorded.diagnostics[1],
              (Diagnostic{RYN_INTERNAL_ERROR, "lost library on list", definitions.path("vek.lib"), 7}));
    // The statement ends there: file and line are those of the earlier definition.
    EXPECT_EQ(definitions.outside->definedAtLine, 2);
    EXPECT_EQ(historyOf(definitions.outside), std::vector<int>{2});
    EXPECT_EQ(definitions.names(), (Names{"a", "c"}));
}

TEST(RynDefine, RedefinitionOfTheLastLibraryMovesNothing) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE a a\nDEFINE b b\n"), 0);
    rynLibrary *last = definitions.library("b");
    definitions.library("a")->nextInOrder = nullptr;
    EXPECT_EQ(execute(definitions, "DEFINE b b2"), 0);
    EXPECT_EQ(recorded.diagnostics.size(), 1U);
    definitions.library("a")->nextInOrder = last;
}

TEST(RynDefine, LibrariesOutsideTheOrderAreReportedAtEitherEnd) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE a a\nDEFINE b b\nDEFINE c c\n"), 0);
    rynLibraryList &order = definitions.handle->libraries;
    const rynLibraryList whole = order;
    rynLibrary *middle = definitions.library("b");
    const auto isReported = [&](const char *name) {
        execute(definitions, std::string("DEFINE ") + name + " x");
        return recorded.diagnostics.size() == 2U && recorded.diagnostics[1].object == "lost library on list";
    };

    order = {nullptr, nullptr};
    for (const char *name : {"a", "b", "c"}) {
        EXPECT_TRUE(isReported(name)) << name;
    }
    order = {whole.tail, whole.tail};
    EXPECT_TRUE(isReported("a"));
    EXPECT_TRUE(isReported("b"));
    order = {whole.head, whole.head};
    whole.head->nextInOrder = nullptr;
    EXPECT_TRUE(isReported("b"));
    EXPECT_TRUE(isReported("c"));
    whole.head->nextInOrder = middle;
    order = whole;
    EXPECT_EQ(definitions.names(), (Names{"a", "b", "c"}));
}

TEST(RynDefine, UndefineOfALibraryOutsideTheOrderFreesIt) {
    LibraryOutsideOrder definitions;
    recorded.warningResult = test::kHandlerResult;
    EXPECT_EQ(execute(definitions, "UNDEFINE b", 7), test::kHandlerResult);
    EXPECT_EQ(recorded.diagnostics, (Diagnostics{{RYN_INTERNAL_ERROR, "lost library on list in undefine",
                                                  definitions.path("vek.lib"), 7}}));
    EXPECT_EQ(definitions.library("b"), nullptr);
    EXPECT_EQ(definitions.names(), (Names{"a", "c"}));
    recorded.warningResult = 0;
    // The library after it can still be moved and removed.
    EXPECT_EQ(execute(definitions, "DEFINE d d"), 0);
    EXPECT_EQ(execute(definitions, "DEFINE c c2"), 0);
    EXPECT_EQ(definitions.names(), (Names{"a", "d", "c"}));
    EXPECT_EQ(execute(definitions, "UNDEFINE c"), 0);
    EXPECT_EQ(execute(definitions, "UNDEFINE a"), 0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    EXPECT_EQ(definitions.dump().find("ERROR"), std::string::npos);
}

TEST(RynDefine, LibrariesCanBeAddedAfterUndefiningAMissingLastOne) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE a a\nDEFINE b b\n"), 0);
    definitions.library("a")->nextInOrder = nullptr;
    EXPECT_EQ(execute(definitions, "UNDEFINE b"), 0);
    EXPECT_EQ(recorded.diagnostics.size(), 1U);
    EXPECT_EQ(execute(definitions, "DEFINE c c"), 0);
    EXPECT_EQ(definitions.names(), (Names{"a", "c"}));
}

TEST(RynDefine, DefaultHandlerPrintsALibraryOutsideTheOrder) {
    Definitions definitions;
    ASSERT_EQ(definitions.loadWithDefaultHandler("DEFINE a a\nDEFINE b b\nDEFINE c c\n"), 0);
    definitions.library("a")->nextInOrder = definitions.library("c");
    Capture capture;
    EXPECT_EQ(execute(definitions, "UNDEFINE b", 4), 0);
    EXPECT_EQ(ryni_getLastErr(), RYN_INTERNAL_ERROR);
    EXPECT_EQ(capture.err(), "Error at line 4 of " + definitions.path("vek.lib") +
                                 " for lost library on list in undefine:\n\tInternal error\n");
}

// ---- memory

/// Fails each allocation of a statement in turn. @return the objects of the memory errors, without repetitions
Names objectsWithoutMemory(Definitions &definitions, const std::string &line,
                           const std::function<void()> &prepare) {
    Names objects;
    for (int nth = 1;; ++nth) {
        prepare();
        faults::reset();
        faults::failAllocation(nth);
        EXPECT_EQ(execute(definitions, line, 5), 0);
        const bool reached = faults::count("malloc") >= nth;
        faults::reset();
        EXPECT_EQ(definitions.dump().find("ERROR"), std::string::npos);
        if (!reached) {
            return objects;
        }
        for (const Diagnostic &diagnostic : recorded.diagnostics) {
            if (diagnostic.code == RYN_MEMORY_ERROR &&
                (objects.empty() || objects.back() != diagnostic.object)) {
                objects.push_back(diagnostic.object);
            }
        }
    }
}

TEST(RynDefine, ExhaustedMemoryIsReportedWithTheTextToCopy) {
    Definitions definitions;
    definitions.box.directory("real").link("link", "real");
    ASSERT_EQ(definitions.load("DEFINE a link\nDEFINE b b\n"),
              0); // "b" keeps the nodes of the directories above
    const std::string link = definitions.path("link");
    const std::string real = definitions.path("real");
    // The pieces of the registry's memory pool for the definition: the library with its name and nsl path, the node of its
    // directory, and the element of its history.
    constexpr std::size_t kNode = 24 + sizeof "real" - 1;
    const std::vector<std::size_t> pieces = {sizeof(rynLibrary) + sizeof "a" + real.size() + 1, kNode};
    const auto objectsWithPieces = [&](std::size_t count) {
        return objectsWithoutMemory(definitions, "DEFINE a link", [&] {
            execute(definitions, "UNDEFINE a");
            test::leavePieces(definitions.handle->indexes->pool, {pieces.data(), pieces.data() + count});
        });
    };
    EXPECT_EQ(objectsWithPieces(0), (Names{"a", link}));
    EXPECT_EQ(objectsWithPieces(1), (Names{link, real}));
    EXPECT_EQ(objectsWithPieces(2), (Names{link, "a"}));
}

TEST(RynDefine, LibraryIsNotDefinedIfACopyFails) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE b b\nUNDEFINE b\n"), 0);
    for (int nth = 1; nth <= 2; ++nth) { // the block with the library, the full path
        test::leavePieces(definitions.handle->indexes->pool, {});
        faults::failAllocation(nth);
        EXPECT_EQ(execute(definitions, "DEFINE b b"), 0);
        EXPECT_EQ(recorded.diagnostics.size(), 1U);
        EXPECT_EQ(definitions.names(), Names{});
        EXPECT_EQ(definitions.library("b"), nullptr);
        faults::reset();
    }
    EXPECT_EQ(execute(definitions, "DEFINE b b"), 0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
}

TEST(RynDefine, ExhaustedMemoryDuringARedefinitionIsReported) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE b a/much/longer/path\nUNDEFINE b\nDEFINE a a\n"), 0);
    const std::string path = definitions.path("a/much/longer/path");
    test::leavePieces(definitions.handle->indexes->pool, {});
    // Allocation 1 is the text of the warning, 2 the path.
    faults::failAllocation(2);
    EXPECT_EQ(execute(definitions, "DEFINE a a/much/longer/path", 3), 0);
    ASSERT_EQ(recorded.diagnostics.size(), 2U);
    EXPECT_EQ(recorded.diagnostics[1], (Diagnostic{RYN_MEMORY_ERROR, path, definitions.path("vek.lib"), 3}));
    EXPECT_EQ(definitions.library("a")->fullPath, definitions.path("a"));
    // Allocation 3 is the history.
    faults::failAllocation(3);
    EXPECT_EQ(execute(definitions, "DEFINE a a/much/longer/path", 4), 0);
    ASSERT_EQ(recorded.diagnostics.size(), 2U);
    EXPECT_EQ(recorded.diagnostics[1], (Diagnostic{RYN_MEMORY_ERROR, "a", definitions.path("vek.lib"), 4}));
    EXPECT_EQ(definitions.library("a")->fullPath, path);
    EXPECT_EQ(definitions.library("a")->definedAtLine, 4);
}

TEST(RynDefine, DiagnosticHasItsCodesTextIfMemoryIsExhausted) {
    Definitions definitions;
    definitions.box.file("vekinfo.tag", "VEKLIBCHECK ON\n").directory("plain");
    const Diagnostics expected = {
        {RYN_NO_VEKLIBRARY_ENTRY, rynGetErrorMsg(RYN_NO_VEKLIBRARY_ENTRY), definitions.path("vek.lib"), 1}};
    bool isReported = false;
    for (int nth = 1; !isReported && nth < 200; ++nth) {
        definitions.box.file("vek.lib", "DEFINE bad plain\n");
        tovResetCache();
        faults::reset();
        faults::failAllocation(nth);
        definitions.read(test::recordWarning, kPathsMustExist);
        faults::reset();
        isReported = recorded.diagnostics == expected;
        recorded = {};
    }
    EXPECT_TRUE(isReported);
}

TEST(RynDefine, DefaultHandlerPrintsExhaustedMemory) {
    Definitions definitions;
    ASSERT_EQ(definitions.loadWithDefaultHandler("DEFINE b b\nUNDEFINE b\n"), 0);
    test::leavePieces(definitions.handle->indexes->pool, {});
    Capture capture;
    faults::failAllocation(1);
    EXPECT_EQ(execute(definitions, "DEFINE b b", 5), 0);
    EXPECT_EQ(capture.err(),
              "Error at line 5 of " + definitions.path("vek.lib") + " for b:\n\tMemory error\n");
}

// ---- the implicit temporary directory

TEST(RynDefine, NewLibraryGetsItsImplicitDirectory) {
    Definitions definitions;
    definitions.box.directory("real").link("link", "real");
    ASSERT_EQ(definitions.load(""), 0);
    ASSERT_EQ(rynSetImplicitTmp(definitions.handle, "link", RYN_IMPLICIT_FIRST, nullptr), 0);
    EXPECT_EQ(execute(definitions, "DEFINE a a"), 0);
    EXPECT_EQ(definitions.library("a")->implicitTmp, definitions.path("link/a"));
    EXPECT_EQ(definitions.library("a")->implicitTmpNsl, definitions.path("real/a"));
}

TEST(RynDefine, LibraryIsDiscardedIfItsImplicitDirectoryFails) {
    Definitions definitions;
    definitions.box.directory("real");
    ASSERT_EQ(definitions.load(""), 0);
    ASSERT_EQ(rynSetImplicitTmp(definitions.handle, "real", RYN_IMPLICIT_FIRST, nullptr), 0);
    ASSERT_EQ(rmdir(definitions.path("real").c_str()), 0);
    EXPECT_EQ(execute(definitions, "DEFINE a a", 3), 0);
    EXPECT_EQ(recorded.diagnostics,
              (Diagnostics{{RYN_INVALID_PATH, definitions.path("real"), definitions.path("vek.lib"), 3}}));
    EXPECT_EQ(definitions.names(), Names{});
}

TEST(RynDefine, ExhaustedMemoryForAnImplicitDirectoryIsReported) {
    Definitions definitions;
    definitions.box.directory("real").link("link", "real");
    ASSERT_EQ(definitions.load("DEFINE a a\n"), 0);
    ASSERT_EQ(rynSetImplicitTmp(definitions.handle, "link", RYN_IMPLICIT_FIRST, nullptr), 0);
    const Names objects =
        objectsWithoutMemory(definitions, "DEFINE a a", [&] { execute(definitions, "UNDEFINE a"); });
    EXPECT_NE(std::find(objects.begin(), objects.end(), definitions.path("link/a")), objects.end());
    EXPECT_NE(std::find(objects.begin(), objects.end(), definitions.path("real/a")), objects.end());
}

// ---- scaling

TEST(RynDefine, CallsReadlinkOncePerPathPrefix) {
    Definitions definitions;
    ASSERT_EQ(definitions.load(""), 0);
    faults::reset();
    ASSERT_EQ(definitions.read(test::recordWarning), 0);
    const int withoutLibraries = faults::count("readlink");
    std::string text;
    for (int i = 0; i < 500; ++i) {
        text += "DEFINE lib" + std::to_string(i) + " dir/sub/lib" + std::to_string(i) + "\n";
    }
    definitions.box.file("vek.lib", text);
    faults::reset();
    ASSERT_EQ(definitions.read(test::recordWarning), 0);
    // "dir", "dir/sub" and the libraries themselves.
    EXPECT_EQ(faults::count("readlink") - withoutLibraries, 502);
}

} // namespace
