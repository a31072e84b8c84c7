// ASSIGN and UNASSIGN.

#include "libdef/language/ryni_parse.h"

#include "tests/libdef/libdef_support.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

using test::Capture;
using test::Definitions;
using test::Diagnostics;
using test::Environment;
using test::printed;
using test::recorded;
namespace faults = test::faults;

namespace {

using Names = std::vector<std::string>;

constexpr unsigned kPathsMustExist = RYN_FLAG_OWN_EXISTENCE_CHECK;

/// An attribute of a library as "NAME=value@line", newest first.
Names attributesOf(const rynLibrary *library) {
    Names attributes;
    for (const rynAttribute *at = library->attributes; at != nullptr; at = at->next) {
        attributes.push_back(std::string(at->name) + "=" + test::textOf(at->value) + "@" +
                             std::to_string(at->line));
    }
    return attributes;
}

int execute(Definitions &definitions, const std::string &line, int number = 1) {
    recorded.diagnostics.clear();
    return ryni_process_command(definitions.handle, line.c_str(), definitions.path().c_str(),
                                definitions.handle->files.head, number, 0);
}

struct HookCall {
    std::string attribute;
    std::string value;
    std::string file;
    int line;

    bool operator==(const HookCall &) const = default;
};
std::vector<HookCall> hookCalls;
int hookResult = 0;

int recordAssign(const char *attribute, const char *value, const char *file, int line) {
    hookCalls.push_back({attribute, value, file, line});
    return hookResult;
}

// ---- ordinary attributes

TEST(RynAssign, StoresTheNameInUpperCaseAndTheValueUnchanged) {
    Definitions definitions;
    EXPECT_EQ(definitions.load("DEFINE lib a\nASSIGN lib Color_1x \"Dark  red\"\n"), 0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    EXPECT_EQ(attributesOf(definitions.library("lib")), Names{"COLOR_1X=Dark  red@2"});
    EXPECT_EQ(definitions.library("lib")->attributes->file, definitions.handle->files.head);
}

TEST(RynAssign, ListsTheNewestAttributeFirst) {
    Definitions definitions;
    EXPECT_EQ(definitions.load("DEFINE lib a\nASSIGN lib A 1\nASSIGN lib B 2\nASSIGN lib C 3\n"), 0);
    EXPECT_EQ(attributesOf(definitions.library("lib")), (Names{"C=3@4", "B=2@3", "A=1@2"}));
}

TEST(RynAssign, SecondAssignmentReplacesValueFileAndLine) {
    Definitions definitions;
    definitions.box.file("more.lib", "\n\n\n\nASSIGN lib b a-longer-value\n");
    EXPECT_EQ(definitions.load("DEFINE lib a\nASSIGN lib B 2\nASSIGN lib C 3\nINCLUDE more.lib\n"), 0);
    EXPECT_EQ(attributesOf(definitions.library("lib")), (Names{"C=3@3", "B=a-longer-value@5"}));
    EXPECT_EQ(definitions.library("lib")->attributes->next->file, definitions.handle->files.tail);
    EXPECT_EQ(execute(definitions, "ASSIGN lib B x", 9), 0);
    EXPECT_EQ(attributesOf(definitions.library("lib")), (Names{"C=3@3", "B=x@9"}));
}

TEST(RynAssign, AcceptsEmptyNamesAndValues) {
    Definitions definitions;
    EXPECT_EQ(definitions.load("DEFINE lib a\nASSIGN lib \"\" \"\"\n"), 0);
    EXPECT_EQ(attributesOf(definitions.library("lib")), Names{"=@2"});
}

TEST(RynAssign, ConvertsOnlyAsciiLettersToUpperCase) {
    Definitions definitions;
    EXPECT_EQ(definitions.load("DEFINE lib a\nASSIGN lib a\xe4{z 1\n"), 0);
    EXPECT_EQ(attributesOf(definitions.library("lib")), Names{"A\xe4{Z=1@2"});
}

TEST(RynAssign, UnknownLibraryIsReported) {
    Definitions definitions;
    expectDiagnostic(definitions, "DEFINE lib a\nASSIGN LIB X 1\n",
                     {RYN_LIBRARY_NOT_DEFINED, "LIB", definitions.path("vek.lib"), 2}, "Library not defined");
    expectDiagnostic(definitions, "ASSIGN lib TMP /\n",
                     {RYN_LIBRARY_NOT_DEFINED, "lib", definitions.path("vek.lib"), 1}, "Library not defined");
}

TEST(RynAssign, DifferenceByCaseIsReportedAndTheStatementExecuted) {
    Definitions definitions(Environment{{"VEK_ALT_NMP", "match"}});
    const std::string file = definitions.path("vek.lib");
    EXPECT_EQ(definitions.load("DEFINE Lib a\nASSIGN LIB X 1\nASSIGN Lib Y 2\nUNASSIGN lib y\n"), 0);
    const auto text = [&](const std::string &name, int line) {
        return "library " + name + " from " + file + " line " + std::to_string(line) +
               ", differs only by case from\n    library Lib from " + file + " line 1 defined earlier.";
    };
    EXPECT_EQ(recorded.diagnostics, (Diagnostics{{RYN_DIFFERS_ONLY_BY_CASE, text("LIB", 2), file, 2},
                                                 {RYN_DIFFERS_ONLY_BY_CASE, text("lib", 4), file, 4}}));
    EXPECT_EQ(attributesOf(definitions.library("lib")), Names{"X=1@2"});
    EXPECT_STREQ(definitions.library("lib")->name, "Lib");
}

// ---- the hook

TEST(RynAssign, HookIsCalledForEveryAttributeExceptTmp) {
    Definitions definitions;
    definitions.box.directory("t");
    rynSetUnknownASSIGNfunc(recordAssign);
    EXPECT_EQ(definitions.load("DEFINE lib a\nASSIGN lib color Red\nASSIGN lib tmp t\n"
                               "ASSIGN AllLibs TmpRootDir t\nASSIGN none x y\n"),
              0);
    EXPECT_EQ(hookCalls, (std::vector<HookCall>{{"COLOR", "Red", definitions.path("vek.lib"), 2}}));
}

TEST(RynAssign, AttributeRejectedByTheHookIsReportedAndNotAssigned) {
    Definitions definitions;
    rynSetUnknownASSIGNfunc(recordAssign);
    hookResult = -1;
    expectDiagnostic(definitions, "DEFINE lib a\nASSIGN lib color red\n",
                     {RYN_INVALID_ATTRIBUTE, "COLOR", definitions.path("vek.lib"), 2}, "Invalid attribute");
    EXPECT_EQ(definitions.load("DEFINE lib a\nASSIGN lib color red\n"), 0);
    EXPECT_EQ(attributesOf(definitions.library("lib")), Names{});
}

TEST(RynAssign, AcceptsEveryAttributeWithoutAHook) {
    Definitions definitions;
    rynSetUnknownASSIGNfunc(nullptr);
    EXPECT_EQ(definitions.load("DEFINE lib a\nASSIGN lib color red\n"), 0);
    EXPECT_EQ(attributesOf(definitions.library("lib")), Names{"COLOR=red@2"});
}

rynHandle hookHandle = nullptr;

int undefineFirst(const char *attribute, const char *value, const char *file, int line) {
    rynAddCommand(hookHandle, "UNDEFINE lib");
    return recordAssign(attribute, value, file, line);
}

TEST(RynAssign, LibraryUndefinedByTheHookIsReportedAsNotDefined) {
    Definitions definitions;
    rynSetUnknownASSIGNfunc(undefineFirst);
    ASSERT_EQ(definitions.load("DEFINE lib a\nDEFINE other b\n"), 0);
    hookHandle = definitions.handle;
    EXPECT_EQ(execute(definitions, "ASSIGN lib color red", 3), 0);
    ASSERT_EQ(recorded.diagnostics.size(), 1U);
    EXPECT_EQ(recorded.diagnostics[0].code, RYN_LIBRARY_NOT_DEFINED);
    EXPECT_EQ(recorded.diagnostics[0].object, "lib");
    EXPECT_EQ(definitions.library("lib"), nullptr);
    EXPECT_EQ(execute(definitions, "ASSIGN other color red"), 0);
    EXPECT_EQ(attributesOf(definitions.library("other")), Names{"COLOR=red@1"});
}

// ---- TMP

TEST(RynAssign, TmpSetsTheExplicitDirectory) {
    Definitions definitions;
    definitions.box.directory("real").link("link", "real");
    EXPECT_EQ(definitions.load("DEFINE lib a\nASSIGN lib tmp ./link/\n"), 0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    const rynLibrary *library = definitions.library("lib");
    EXPECT_EQ(attributesOf(library), Names{"TMP=" + definitions.path("link") + "@2"});
    EXPECT_EQ(library->explicitTmp, definitions.path("link"));
    EXPECT_EQ(library->explicitTmpNsl, definitions.path("real"));
    EXPECT_EQ(library->flags, 0U);
}

TEST(RynAssign, RelativeTmpCountsFromTheDirectoryOfTheFile) {
    Definitions definitions;
    definitions.box.directory("sub/t").file("sub/more.lib", "ASSIGN lib TMP t\n");
    EXPECT_EQ(definitions.load("DEFINE lib a\nINCLUDE sub/more.lib\n"), 0);
    EXPECT_EQ(definitions.library("lib")->explicitTmp, definitions.path("sub/t"));
}

TEST(RynAssign, TmpThatIsNotADirectoryIsInvalidPath) {
    Definitions definitions;
    definitions.box.file("file", "").link("link", "file").link("dangling", "nowhere");
    const std::string file = definitions.path("vek.lib");
    const auto text = [](const char *value) {
        return std::string("DEFINE lib a\nASSIGN lib TMP ") + value + "\n";
    };
    expectDiagnostic(definitions, text("none"), {RYN_INVALID_PATH, definitions.path("none"), file, 2},
                     "Invalid path");
    // The last check reports the nsl path, the earlier ones the path that they tested.
    expectDiagnostic(definitions, text("link"), {RYN_INVALID_PATH, definitions.path("file"), file, 2},
                     "Invalid path");
    expectDiagnostic(definitions, text("dangling"), {RYN_INVALID_PATH, definitions.path("nowhere"), file, 2},
                     "Invalid path");
    expectDiagnostic(definitions, "SOFTDEFINE lib /\nASSIGN lib TMP dangling\n",
                     {RYN_INVALID_PATH, definitions.path("dangling"), file, 2}, "Invalid path",
                     kPathsMustExist);
    expectDiagnostic(definitions, text("~nosuchuser"), {RYN_INVALID_PATH, "~nosuchuser", file, 2},
                     "Invalid path");
    expectDiagnostic(definitions, text("$UNSET"), {RYN_INTERNAL_ERROR, "$UNSET", file, 2}, "Internal error");
}

TEST(RynAssign, FailedTmpChangesNothing) {
    Definitions definitions;
    definitions.box.directory("t");
    EXPECT_EQ(definitions.load("DEFINE lib a\nASSIGN lib TMP t\nASSIGN lib TMP none\n"), 0);
    EXPECT_EQ(attributesOf(definitions.library("lib")), Names{"TMP=" + definitions.path("t") + "@2"});
    EXPECT_EQ(definitions.library("lib")->explicitTmp, definitions.path("t"));
}

TEST(RynAssign, UnreadableTmpIsDeniedOnlyIfPathsMustExist) {
    Definitions definitions;
    definitions.box.directory("closed", 0000).file("vek.lib", "SOFTDEFINE lib /\nASSIGN lib TMP closed\n");
    test::asUnprivileged([&] {
        const std::string file = definitions.path("vek.lib");
        EXPECT_EQ(definitions.read(test::recordWarning), 0);
        EXPECT_EQ(recorded.diagnostics, Diagnostics{});
        EXPECT_EQ(definitions.library("lib")->explicitTmp, definitions.path("closed"));
        EXPECT_EQ(definitions.read(test::recordWarning, kPathsMustExist), 0);
        EXPECT_EQ(recorded.diagnostics,
                  (Diagnostics{{RYN_PERMISSION_DENIED, definitions.path("closed"), file, 2}}));
        Capture capture;
        EXPECT_EQ(definitions.read(nullptr, kPathsMustExist), RYN_PERMISSION_DENIED);
        EXPECT_EQ(capture.err(),
                  printed({RYN_PERMISSION_DENIED, definitions.path("closed"), file, 2}, "Permission denied"));
    });
}

TEST(RynAssign, TmpInUseIsReportedAndAssigned) {
    Definitions definitions;
    definitions.box.directory("t/sub").link("link", "t");
    const std::string file = definitions.path("vek.lib");
    expectDiagnostic(definitions, "DEFINE a a\nDEFINE b b\nASSIGN a TMP t\nASSIGN b TMP link\n",
                     {RYN_DIRECTORY_REUSED, definitions.path("t"), file, 4}, "Directory used multiple times");
    expectDiagnostic(definitions, "DEFINE a a\nDEFINE b t\nASSIGN a TMP t/sub\n",
                     {RYN_DIRECTORY_REUSED, definitions.path("t/sub"), file, 3},
                     "Directory used multiple times");
    expectDiagnostic(definitions, "DEFINE a t\nASSIGN a TMP t\n",
                     {RYN_DIRECTORY_REUSED, definitions.path("t"), file, 2}, "Directory used multiple times");
    EXPECT_EQ(definitions.load("DEFINE a t\nASSIGN a TMP t\n"), 0);
    EXPECT_EQ(definitions.library("a")->explicitTmp, definitions.path("t"));
}

TEST(RynAssign, NewTmpReleasesTheOldDirectory) {
    Definitions definitions;
    definitions.box.directory("t").directory("u");
    EXPECT_EQ(definitions.load("DEFINE a a\nASSIGN a TMP t\nASSIGN a TMP u\nASSIGN a TMP u\nDEFINE b t\n"),
              0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    EXPECT_EQ(attributesOf(definitions.library("a")), Names{"TMP=" + definitions.path("u") + "@4"});
    EXPECT_EQ(definitions.library("a")->explicitTmpNsl, definitions.path("u"));
}

TEST(RynAssign, TmpReplacesTheDirectoryUnderTheGlobalRoot) {
    Definitions definitions;
    definitions.box.directory("t").directory("root").file("more.lib", "ASSIGN AllLibs TmpRootDir root\n");
    EXPECT_EQ(definitions.load("DEFINE a a\nDEFINE b b\nINCLUDE more.lib\nASSIGN a TMP t\n"), 0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    EXPECT_EQ(definitions.library("a")->flags, 0U);
    EXPECT_EQ(definitions.library("a")->explicitTmp, definitions.path("t"));
    EXPECT_EQ(definitions.library("b")->flags, static_cast<unsigned>(ryn::kTmpFromGlobal));
    EXPECT_EQ(definitions.library("b")->explicitTmp, definitions.path("root/b"));
}

// ---- AllLibs

TEST(RynAssign, GlobalRootsAreStoredNewestFirst) {
    Definitions definitions;
    definitions.box.directory("t").directory("u");
    EXPECT_EQ(definitions.load("ASSIGN AllLibs TmpRootDir t\n\nASSIGN AllLibs tmprootDIR u\nDEFINE a a\n"),
              0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    const rynAttribute *newest = definitions.handle->globalExplicitTmp;
    ASSERT_NE(newest, nullptr);
    EXPECT_STREQ(newest->name, "TMPROOTDIR");
    EXPECT_STREQ(newest->value, "u");
    EXPECT_EQ(newest->line, 3);
    EXPECT_EQ(newest->file, definitions.handle->files.head);
    ASSERT_NE(newest->next, nullptr);
    EXPECT_STREQ(newest->next->value, "t");
    EXPECT_EQ(newest->next->line, 1);
    EXPECT_EQ(newest->next->next, nullptr);
    EXPECT_EQ(definitions.library("a")->explicitTmp, definitions.path("u/a"));
}

TEST(RynAssign, GlobalRootIsAppliedAtTheEndOfTheFile) {
    Definitions definitions;
    definitions.box.directory("t");
    ASSERT_EQ(definitions.load("DEFINE a a\n"), 0);
    EXPECT_EQ(execute(definitions, "ASSIGN AllLibs TmpRootDir t"), 0);
    EXPECT_EQ(definitions.library("a")->explicitTmp, nullptr);
    EXPECT_FALSE(definitions.box.exists("t/a"));
    // The last argument 1: apply the root at once.
    EXPECT_EQ(ryni_process_command(definitions.handle, "ASSIGN AllLibs TmpRootDir t",
                                   definitions.path().c_str(), definitions.handle->files.head, 1, 1),
              0);
    EXPECT_EQ(definitions.library("a")->explicitTmp, definitions.path("t/a"));
    EXPECT_TRUE(definitions.box.exists("t/a"));
}

TEST(RynAssign, GlobalRootAppliedAtOnceReturnsTheHandlersResult) {
    Definitions definitions;
    ASSERT_EQ(definitions.load(""), 0);
    recorded.warningResult = test::kHandlerResult;
    EXPECT_EQ(ryni_process_command(definitions.handle, "ASSIGN AllLibs TmpRootDir none",
                                   definitions.path().c_str(), definitions.handle->files.head, 6, 1),
              test::kHandlerResult);
    EXPECT_EQ(recorded.diagnostics,
              (Diagnostics{{RYN_INVALID_PATH, definitions.path("none"), definitions.path("vek.lib"), 6}}));
}

TEST(RynAssign, AllLibsIsCaseSensitiveAndSetsTheRootOnly) {
    Definitions definitions;
    const std::string file = definitions.path("vek.lib");
    expectDiagnostic(definitions, "ASSIGN alllibs TmpRootDir /t\n",
                     {RYN_LIBRARY_NOT_DEFINED, "alllibs", file, 1}, "Library not defined");
    expectDiagnostic(definitions, "ASSIGN AllLibs TmpRootDirs /t\n",
                     {RYN_LIBRARY_NOT_DEFINED, "AllLibs", file, 1}, "Library not defined");
    EXPECT_EQ(definitions.load("DEFINE AllLibs a\nASSIGN AllLibs Color x\nASSIGN AllLibs TMP /\n"), 0);
    EXPECT_EQ(attributesOf(definitions.library("AllLibs")), (Names{"TMP=/@3", "COLOR=x@2"}));
    EXPECT_EQ(definitions.handle->globalExplicitTmp, nullptr);
}

TEST(RynAssign, AllLibsIsCaseSensitiveEvenIfNamesAreNot) {
    Definitions definitions(Environment{{"VEK_ALT_NMP", "match"}});
    EXPECT_EQ(definitions.load("DEFINE alllibs a\nASSIGN alllibs TmpRootDir x\n"), 0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    EXPECT_EQ(attributesOf(definitions.library("alllibs")), Names{"TMPROOTDIR=x@2"});
    EXPECT_EQ(definitions.handle->globalExplicitTmp, nullptr);
}

// ---- UNASSIGN

TEST(RynAssign, UnassignRemovesFirstMiddleAndLastAttribute) {
    for (const char *name : {"a", "B", "c"}) {
        Definitions definitions;
        EXPECT_EQ(
            definitions.load(std::string("DEFINE lib a\nASSIGN lib A 1\nASSIGN lib B 2\nASSIGN lib C 3\n"
                                         "UNASSIGN lib ") +
                             name + "\n"),
            0);
        EXPECT_EQ(recorded.diagnostics, Diagnostics{});
        Names expected = {"C=3@4", "B=2@3", "A=1@2"};
        std::erase_if(expected, [name](const std::string &attribute) {
            return (attribute[0] | 0x20) == (name[0] | 0x20);
        });
        EXPECT_EQ(attributesOf(definitions.library("lib")), expected);
    }
}

TEST(RynAssign, UnassignOfAMissingAttributeOrLibraryReportsNothing) {
    Definitions definitions;
    definitions.box.directory("t");
    EXPECT_EQ(definitions.load("DEFINE lib a\nASSIGN lib TMP t\nUNASSIGN lib none\nUNASSIGN nolib TMP\n"
                               "UNASSIGN LIB TMP\nUNASSIGN AllLibs TmpRootDir\n"),
              0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    EXPECT_EQ(definitions.library("lib")->explicitTmp, definitions.path("t"));
    EXPECT_EQ(definitions.library("lib")->explicitTmpNsl, definitions.path("t"));
}

TEST(RynAssign, EveryUnassignRemovesTheExplicitDirectory) {
    Definitions definitions;
    definitions.box.directory("t");
    EXPECT_EQ(definitions.load(
                  "DEFINE lib a\nASSIGN lib tmp t\nASSIGN lib OTHER x\nUNASSIGN lib OTHER\nDEFINE b t\n"),
              0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    EXPECT_EQ(attributesOf(definitions.library("lib")), Names{"TMP=" + definitions.path("t") + "@2"});
    EXPECT_EQ(definitions.library("lib")->explicitTmp, nullptr);
    EXPECT_EQ(definitions.library("lib")->explicitTmpNsl, nullptr);
}

TEST(RynAssign, UnassignOfTmpRemovesAttributeAndDirectory) {
    Definitions definitions;
    definitions.box.directory("t");
    EXPECT_EQ(definitions.load("DEFINE lib a\nASSIGN lib TMP t\nUNASSIGN lib tmp\n"), 0);
    EXPECT_EQ(definitions.library("lib")->attributes, nullptr);
    EXPECT_EQ(definitions.library("lib")->explicitTmp, nullptr);
}

TEST(RynAssign, GlobalDirectoryIsSetAgainAfterUnassignOfTmp) {
    Definitions definitions;
    definitions.box.directory("t").directory("root");
    EXPECT_EQ(definitions.load(
                  "DEFINE lib a\nASSIGN AllLibs TmpRootDir root\nASSIGN lib TMP t\nUNASSIGN lib TMP\n"),
              0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    EXPECT_EQ(definitions.library("lib")->explicitTmp, definitions.path("root/lib"));
    EXPECT_EQ(definitions.library("lib")->flags, static_cast<unsigned>(ryn::kTmpFromGlobal));
}

// ---- memory

TEST(RynAssign, ExhaustedMemoryIsReportedWithTheAttributeName) {
    Definitions definitions;
    definitions.box.directory("t").directory("u");
    const std::string file = definitions.path("vek.lib");
    for (const char *line : {"ASSIGN lib color red", "ASSIGN lib tmp t", "ASSIGN AllLibs TmpRootDir t",
                             "ASSIGN lib old a-longer-value", "ASSIGN tmplib tmp u"}) {
        int failures = 0;
        for (int nth = 1;; ++nth) {
            // Caches the links of all paths, so that `line` allocates nothing for them.
            ASSERT_EQ(definitions.load(
                          "DEFINE lib a\nASSIGN lib old x\nDEFINE x t\nUNDEFINE x\nDEFINE y u\nUNDEFINE y\n"
                          "DEFINE tmplib z\nASSIGN tmplib TMP t\n"),
                      0);
            execute(definitions, "UNASSIGN tmplib TMP");
            faults::reset();
            faults::failAllocation(nth);
            EXPECT_EQ(execute(definitions, line, 7), 0);
            const bool reached = faults::count("malloc") >= nth;
            faults::reset();
            if (!reached) {
                EXPECT_EQ(recorded.diagnostics, Diagnostics{});
                break;
            }
            ++failures;
            std::string name = std::string(line).substr(std::string(line).find(' ', 7) + 1);
            name = name.substr(0, name.find(' '));
            for (char &c : name) {
                c = static_cast<char>(toupper(c));
            }
            // A global root allocates more after its attribute: those failures have other diagnostics.
            if (std::string(line).find("AllLibs") == std::string::npos || nth <= 3) {
                EXPECT_EQ(recorded.diagnostics, (Diagnostics{{RYN_MEMORY_ERROR, name, file, 7}}))
                    << line << nth;
            }
        }
        EXPECT_GE(failures, 1) << line;
    }
}

TEST(RynAssign, ExhaustedMemoryForANewValueKeepsTheOldOne) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE lib a\nASSIGN lib old x\n"), 0);
    faults::failAllocation(1);
    EXPECT_EQ(execute(definitions, "ASSIGN lib old a-longer-value", 7), 0);
    EXPECT_EQ(recorded.diagnostics, (Diagnostics{{RYN_MEMORY_ERROR, "OLD", definitions.path("vek.lib"), 7}}));
    EXPECT_EQ(attributesOf(definitions.library("lib")), Names{"OLD=x@2"});
}

// ---- many attributes

TEST(RynAssign, ManyAttributesAreListedNewestFirst) {
    constexpr int kCount = 1000;
    Definitions definitions;
    std::string text = "DEFINE lib a\n";
    for (int i = 0; i < kCount; ++i) {
        text += "ASSIGN lib A" + std::to_string(i) + " old\n";
    }
    for (int i = 0; i < kCount; i += 2) {
        text += "ASSIGN lib a" + std::to_string(i) + " new\n"; // keeps its position in the list
    }
    for (int i = 0; i < kCount; i += 5) {
        text += "UNASSIGN lib A" + std::to_string(i) + "\n";
    }
    ASSERT_EQ(definitions.load(text), RYN_OK);
    const rynAttribute *attribute = definitions.library("lib")->attributes;
    for (int i = kCount - 1; i >= 0; --i) {
        const char *file = nullptr;
        int line = 0;
        const std::string name = "A" + std::to_string(i);
        const int status = rynWhereAssigned(definitions.handle, "lib", name.c_str(), &file, &line);
        if (i % 5 == 0) {
            ASSERT_EQ(status, RYN_ATTRIBUTE_NOT_ASSIGNED) << name;
            continue;
        }
        ASSERT_EQ(status, RYN_OK) << name;
        ASSERT_EQ(line, i % 2 == 0 ? kCount + 2 + i / 2 : 2 + i) << name;
        ASSERT_NE(attribute, nullptr);
        ASSERT_EQ(attribute->name, name);
        ASSERT_STREQ(attribute->value, i % 2 == 0 ? "new" : "old");
        attribute = attribute->next;
    }
    EXPECT_EQ(attribute, nullptr);
}

} // namespace
