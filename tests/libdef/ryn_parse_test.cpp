// Reading library definition files: keywords, argument counts, line numbers, results of the handler, unusual files,
// and statements that a program adds.

#include "libdef/language/ryni_parse.h"

#include "libdef/registry/ryni_error.h"
#include "tests/libdef/libdef_support.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <random>
#include <set>
#include <string>
#include <vector>

using test::Capture;
using test::Definitions;
using test::Diagnostic;
using test::Diagnostics;
using test::ErrorReports;
using test::recorded;
namespace faults = test::faults;
using namespace std::string_view_literals;

namespace {

using Names = std::vector<std::string>;

constexpr unsigned kPathsMustExist = RYN_FLAG_OWN_EXISTENCE_CHECK;

/// A handler that ends the reading.
int stopReading(int code, const char *object, const char *file, int line) {
    test::recordWarning(code, object, file, line);
    return test::kHandlerResult;
}

// ---- keywords and the number of arguments

TEST(RynParse, KeywordsAreCaseInsensitive) {
    Definitions definitions;
    definitions.box.file("more.lib", "dEFINE c c\n");
    EXPECT_EQ(definitions.load("define a a\nSoftDefine b b\ninCLUDE more.lib\nsoftinclude none.lib\n"
                               "assign a X 1\nAssign b X 2\nunASSIGN b x\nunDefine c\n"),
              0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    EXPECT_EQ(definitions.names(), (Names{"a", "b"}));
    EXPECT_STREQ(definitions.library("a")->attributes->value, "1");
    EXPECT_EQ(definitions.library("b")->attributes, nullptr);
}

TEST(RynParse, TooFewArgumentsReportTheWholeLine) {
    Definitions definitions;
    for (const char *line : {"DEFINE", "DEFINE a", "SOFTDEFINE", "SOFTDEFINE a", "UNDEFINE", "INCLUDE",
                             "SOFTINCLUDE", "ASSIGN", "ASSIGN a", "ASSIGN a X", "UNASSIGN", "UNASSIGN a"}) {
        expectDiagnostic(definitions, std::string(" ") + line + "  # why\n",
                         {RYN_SYNTAX_ERROR, std::string(" ") + line, definitions.path("vek.lib"), 1},
                         "Syntax error");
    }
}

TEST(RynParse, TooManyArgumentsReportTheWholeLine) {
    Definitions definitions;
    for (const char *line : {"DEFINE lib ./dir extra", "SOFTDEFINE a b c", "UNDEFINE a b",
                             "INCLUDE more.lib b", "SOFTINCLUDE none.lib b", "ASSIGN a X 1 y",
                             "UNASSIGN a X y", "DEFINE a b \"\"", "DEFINE a b c d e f g", "DEFINE a b c #"}) {
        const std::string copy = line == std::string("DEFINE a b c #") ? "DEFINE a b c" : line;
        expectDiagnostic(definitions, std::string(line) + "\n",
                         {RYN_SYNTAX_ERROR, copy, definitions.path("vek.lib"), 1}, "Syntax error");
    }
}

TEST(RynParse, ExtraArgumentWithANumberSignBeginsAComment) {
    Definitions definitions;
    definitions.box.file("more.lib", "");
    EXPECT_EQ(definitions.load("DEFINE a ./dir #note\nSOFTDEFINE b b #x y z\nINCLUDE more.lib #x\n"
                               "SOFTINCLUDE none #x\nASSIGN a X 1 #x\nASSIGN a Y 1 #x y\nUNASSIGN a X #x\n"
                               "DEFINE c c \"# quoted\"\nUNDEFINE c #x y\nDEFINE d d #x \"closed\"\n"),
              0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    EXPECT_EQ(definitions.names(), (Names{"a", "b", "d"}));
    EXPECT_EQ(definitions.library("a")->fullPath, definitions.path("dir"));
}

TEST(RynParse, RequiredArgumentMayBeginWithANumberSign) {
    Definitions definitions;
    EXPECT_EQ(definitions.load("DEFINE #a #b #c\n"), 0);
    EXPECT_EQ(definitions.names(), Names{"#a"});
    EXPECT_EQ(definitions.library("#a")->fullPath, definitions.path("#b"));
}

TEST(RynParse, UnknownKeywordIsReportedWithoutItsArguments) {
    Definitions definitions;
    const std::string file = definitions.path("vek.lib");
    for (const char *keyword : {"FOO", "DEFIN", "DEFINED", "\"DEFINE\"", "x", "\xff", "%s%n"}) {
        expectDiagnostic(definitions, std::string("\n\n  ") + keyword + " x y z\n",
                         {RYN_SYNTAX_ERROR, keyword, file, 3}, "Syntax error");
    }
}

TEST(RynParse, UnclosedQuoteReportsTheLineWhateverItsKeyword) {
    Definitions definitions;
    const std::string file = definitions.path("vek.lib");
    for (const char *line : {R"(DEFINE a "b c)", R"(FOO ")", R"(UNDEFINE a b c d "e)",
                             R"(DEFINE a b #x "open)", R"(DEFINE "a" ")"}) {
        expectDiagnostic(definitions, std::string(line) + "\n", {RYN_SYNTAX_ERROR, line, file, 1},
                         "Syntax error");
    }
}

TEST(RynParse, DefaultHandlerPrintsASyntaxError) {
    Definitions definitions;
    Capture capture;
    EXPECT_EQ(definitions.loadWithDefaultHandler("-- 1\n\nFOO x\nDEFINE a b c\n"), RYN_SYNTAX_ERROR);
    const std::string file = definitions.path("vek.lib");
    EXPECT_EQ(capture.err(), "Error at line 3 of " + file + " for FOO:\n\tSyntax error\nError at line 4 of " +
                                 file + " for DEFINE a b c:\n\tSyntax error\n");
}

// ---- lines

TEST(RynParse, CountsEveryLineFromOne) {
    Definitions definitions;
    definitions.load("a\n\n# c\n-- c\nb\r\n\r\nc");
    const std::string file = definitions.path("vek.lib");
    EXPECT_EQ(recorded.diagnostics, (Diagnostics{{RYN_SYNTAX_ERROR, "a", file, 1},
                                                 {RYN_SYNTAX_ERROR, "b", file, 5},
                                                 {RYN_SYNTAX_ERROR, "c", file, 7}}));
}

TEST(RynParse, AcceptsCarriageReturnBeforeALineFeed) {
    Definitions definitions;
    EXPECT_EQ(definitions.load("DEFINE a \"x\"\r\nDEFINE b b\r\n"), 0);
    EXPECT_EQ(definitions.library("a")->fullPath, definitions.path("x"));
    EXPECT_EQ(definitions.library("b")->fullPath, definitions.path("b"));
}

TEST(RynParse, NeedsNoFinalLineFeed) {
    Definitions definitions;
    EXPECT_EQ(definitions.load("DEFINE a b"), 0);
    EXPECT_EQ(definitions.names(), Names{"a"});
}

TEST(RynParse, LongLineCountsAsSeveralLinesOf4095Characters) {
    const auto linesOf = [](std::size_t length, const char *end) {
        Definitions definitions;
        definitions.load(std::string(length, 'x') + end);
        std::vector<std::pair<std::size_t, int>> lines;
        for (const Diagnostic &diagnostic : recorded.diagnostics) {
            lines.emplace_back(diagnostic.object.size(), diagnostic.line);
        }
        return lines;
    };
    using Lines = std::vector<std::pair<std::size_t, int>>;
    EXPECT_EQ(linesOf(4094, "\nz\n"), (Lines{{4094, 1}, {1, 2}}));
    // The line feed after 4095 characters is a line of its own, which is blank.
    EXPECT_EQ(linesOf(4095, "\nz\n"), (Lines{{4095, 1}, {1, 3}}));
    EXPECT_EQ(linesOf(4096, "\nz\n"), (Lines{{4095, 1}, {1, 2}, {1, 3}}));
    EXPECT_EQ(linesOf(4097, "\nz\n"), (Lines{{4095, 1}, {2, 2}, {1, 3}}));
    EXPECT_EQ(linesOf(4095, ""), (Lines{{4095, 1}}));
    EXPECT_EQ(linesOf(8191, ""), (Lines{{4095, 1}, {4095, 2}, {1, 3}}));
}

TEST(RynParse, SecondPieceOfALongLineIsItsOwnStatement) {
    Definitions definitions;
    EXPECT_EQ(definitions.load("#" + std::string(4094, 'x') + "DEFINE a a\nDEFINE b b\n"), 0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    EXPECT_EQ(definitions.library("a")->definedAtLine, 2);
    EXPECT_EQ(definitions.library("b")->definedAtLine, 3);
}

TEST(RynParse, NulByteEndsTheLine) {
    Definitions definitions;
    EXPECT_EQ(definitions.load("DEFINE a a\0garbage \"\nDEFINE b b\n"sv), 0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    EXPECT_EQ(definitions.names(), (Names{"a", "b"}));
}

// ---- the effect of a diagnostic

TEST(RynParse, ReadingContinuesIfTheHandlerReturnsZero) {
    Definitions definitions;
    EXPECT_EQ(definitions.load("FOO\nDEFINE a a\nBAR\nDEFINE b b\n"), 0);
    EXPECT_EQ(recorded.diagnostics.size(), 2U);
    EXPECT_EQ(definitions.names(), (Names{"a", "b"}));
}

TEST(RynParse, ReadingStopsIfTheHandlerReturnsNonzero) {
    Definitions definitions;
    definitions.box.file("vek.lib", "DEFINE a a\nFOO\nBAR\n");
    EXPECT_EQ(definitions.read(stopReading), test::kHandlerResult);
    EXPECT_EQ(recorded.diagnostics, (Diagnostics{{RYN_SYNTAX_ERROR, "FOO", definitions.path("vek.lib"), 2}}));
    EXPECT_EQ(definitions.handle, nullptr);
}

TEST(RynParse, LineReturnsTheResultOfTheHandler) {
    Definitions definitions;
    ASSERT_EQ(definitions.load(""), 0);
    recorded.warningResult = -5;
    EXPECT_EQ(ryni_process_command(definitions.handle, "FOO", "/", definitions.handle->files.head, 9, 0), -5);
    EXPECT_EQ(recorded.diagnostics, (Diagnostics{{RYN_SYNTAX_ERROR, "FOO", definitions.path("vek.lib"), 9}}));
    EXPECT_EQ(ryni_process_command(definitions.handle, "", "/", definitions.handle->files.head, 9, 0), 0);
    EXPECT_EQ(
        ryni_process_command(definitions.handle, "DEFINE a b", "/dir", definitions.handle->files.head, 9, 0),
        0);
    EXPECT_STREQ(definitions.library("a")->fullPath, "/dir/b");
    EXPECT_EQ(definitions.library("a")->definedAtLine, 9);
}

TEST(RynParse, DefaultHandlerReadsEverythingAndFailsAfterAnyDiagnostic) {
    Definitions definitions;
    Capture capture;
    EXPECT_EQ(
        definitions.loadWithDefaultHandler("FOO\nDEFINE a a\nDEFINE a a\nASSIGN none X 1\nDEFINE b b\n"),
        RYN_LIBRARY_NOT_DEFINED);
    EXPECT_EQ(definitions.handle, nullptr);
    const std::string file = definitions.path("vek.lib");
    EXPECT_EQ(
        capture.err(),
        "Error at line 1 of " + file + " for FOO:\n\tSyntax error\nError at line 3 of " + file +
            " for library a from " + file + " line 3, redefines\n    library a from same file line 2 " +
            "defined earlier.:\n\tSame file has different definitions for library\nError at line 4 of " +
            file + " for none:\n\tLibrary not defined\n");
}

TEST(RynParse, FileWithoutDiagnosticsClearsTheLastError) {
    Definitions definitions;
    ryni_setLastErr(RYN_REDEFINED);
    EXPECT_EQ(definitions.loadWithDefaultHandler("DEFINE a a\n"), 0);
    EXPECT_EQ(ryni_getLastErr(), RYN_OK);
    EXPECT_NE(definitions.handle, nullptr);
}

TEST(RynParse, IncludedFileClearsTheLastErrorOfItsIncluder) {
    Definitions definitions;
    Capture capture;
    definitions.box.file("clean.lib", "DEFINE b b\n");
    EXPECT_EQ(definitions.loadWithDefaultHandler("FOO\nINCLUDE clean.lib\nDEFINE c c\n"), 0);
    EXPECT_EQ(definitions.names(), (Names{"b", "c"}));
    EXPECT_EQ(capture.err(),
              "Error at line 1 of " + definitions.path("vek.lib") + " for FOO:\n\tSyntax error\n");
}

TEST(RynParse, DefaultHandlerEndsTheIncluderAfterADiagnostic) {
    Definitions definitions;
    Capture capture;
    definitions.box.file("bad.lib", "FOO\nDEFINE b b\nBAR\n");
    EXPECT_EQ(definitions.loadWithDefaultHandler("INCLUDE bad.lib\nBAZ\n"), RYN_SYNTAX_ERROR);
    const std::string bad = definitions.path("bad.lib");
    EXPECT_EQ(capture.err(), "Error at line 1 of " + bad + " for FOO:\n\tSyntax error\nError at line 3 of " +
                                 bad + " for BAR:\n\tSyntax error\n");
}

TEST(RynParse, LastErrorReplacesHandlerResultsAfterDefaultHandlerUse) {
    Definitions definitions;
    ASSERT_EQ(definitions.loadWithDefaultHandler(""), 0);
    definitions.release();
    definitions.box.file("vek.lib", "DEFINE a a\nFOO\nDEFINE b b\n");
    EXPECT_EQ(definitions.read(stopReading), 0);
    EXPECT_EQ(recorded.diagnostics.size(), 1U);
    EXPECT_EQ(definitions.names(), Names{"a"});
}

TEST(RynParse, GlobalRootIsAppliedEvenIfReadingStops) {
    Definitions definitions;
    definitions.box.directory("t");
    definitions.box.file("vek.lib", "DEFINE a a\nASSIGN AllLibs TmpRootDir t\nFOO\n");
    EXPECT_EQ(definitions.read(stopReading), test::kHandlerResult);
    EXPECT_EQ(definitions.box.list("t"), Names{"a"});
}

TEST(RynParse, FailedGlobalRootIsTheResultOfACorrectFile) {
    Definitions definitions;
    definitions.box.file("vek.lib", "DEFINE a a\nASSIGN AllLibs TmpRootDir none\n");
    EXPECT_EQ(definitions.read(stopReading), test::kHandlerResult);
    EXPECT_EQ(recorded.diagnostics,
              (Diagnostics{{RYN_INVALID_PATH, definitions.path("none"), definitions.path("vek.lib"), 2}}));
}

TEST(RynParse, FailedLineIsReturnedBeforeAFailedGlobalRoot) {
    Definitions definitions;
    definitions.box.file("vek.lib", "ASSIGN AllLibs TmpRootDir none\nFOO\n");
    EXPECT_EQ(definitions.read(test::recordAndStop), RYN_SYNTAX_ERROR);
    EXPECT_EQ(recorded.diagnostics,
              (Diagnostics{{RYN_SYNTAX_ERROR, "FOO", definitions.path("vek.lib"), 2},
                           {RYN_INVALID_PATH, definitions.path("none"), definitions.path("vek.lib"), 1}}));
}

// ---- the file itself

TEST(RynParse, RecordHasFullAndNslPath) {
    Definitions definitions;
    definitions.box.file("real/vek.lib", "");
    definitions.box.link("link", "real");
    ASSERT_EQ(rynInit("link/./vek.lib", 0, test::recordWarning, nullptr, &definitions.handle), 0);
    const rynIncludedFile *file = definitions.handle->files.head;
    EXPECT_EQ(file->path, definitions.path("link/vek.lib"));
    EXPECT_EQ(file->nslPath, definitions.path("real/vek.lib"));
    EXPECT_EQ(file->includedFrom, nullptr);
    EXPECT_EQ(file->line, 0);
    EXPECT_EQ(file->next, nullptr);
}

TEST(RynParse, RelativePathsCountFromTheUnresolvedDirectory) {
    Definitions definitions;
    definitions.box.file("real/vek.lib", "DEFINE a a\n").link("link", "real");
    ASSERT_EQ(rynInit("link/vek.lib", 0, test::recordWarning, nullptr, &definitions.handle), 0);
    EXPECT_EQ(definitions.library("a")->fullPath, definitions.path("link/a"));
    EXPECT_EQ(definitions.library("a")->nslPath, definitions.path("real/a"));
}

TEST(RynParse, AcceptsAFileInTheRootDirectory) {
    Definitions definitions;
    ASSERT_EQ(definitions.load(""), 0);
    rynIncludedFile *record = nullptr;
    // The root itself, which reads as an empty file: not every system has a file directly in the root.
    EXPECT_EQ(ryni_parse_veklib_file("/", definitions.handle, &record), 0);
    ASSERT_NE(record, nullptr);
    EXPECT_STREQ(record->path, "/");
    EXPECT_STREQ(record->nslPath, "/");
}

TEST(RynParse, ReturnsTheRecordUnlessThePointerIsNull) {
    Definitions definitions;
    ASSERT_EQ(definitions.load(""), 0);
    definitions.box.file("one", "").file("two", "FOO\n");
    rynIncludedFile *record = nullptr;
    EXPECT_EQ(ryni_parse_veklib_file(definitions.path("one").c_str(), definitions.handle, &record), 0);
    EXPECT_EQ(record, definitions.handle->files.tail);
    EXPECT_EQ(record->path, definitions.path("one"));
    recorded.warningResult = test::kHandlerResult;
    EXPECT_EQ(ryni_parse_veklib_file(definitions.path("two").c_str(), definitions.handle, nullptr),
              test::kHandlerResult);
    EXPECT_EQ(definitions.handle->files.tail->path, definitions.path("two"));
}

TEST(RynParse, ReturnsTheRecordEvenIfReadingStops) {
    Definitions definitions;
    ASSERT_EQ(definitions.load(""), 0);
    definitions.box.file("bad", "FOO\n");
    recorded.warningResult = test::kHandlerResult;
    rynIncludedFile *record = nullptr;
    EXPECT_EQ(ryni_parse_veklib_file(definitions.path("bad").c_str(), definitions.handle, &record),
              test::kHandlerResult);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record, definitions.handle->files.tail);
    EXPECT_EQ(record->path, definitions.path("bad"));
}

TEST(RynParse, ReturnsTheRecordOfTheOuterFile) {
    Definitions definitions;
    ASSERT_EQ(definitions.load(""), 0);
    definitions.box.file("outer", "INCLUDE inner\n").file("inner", "");
    rynIncludedFile *record = nullptr;
    EXPECT_EQ(ryni_parse_veklib_file(definitions.path("outer").c_str(), definitions.handle, &record), 0);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->path, definitions.path("outer"));
    EXPECT_EQ(record->includedFrom, nullptr);
    ASSERT_NE(record->next, nullptr);
    EXPECT_EQ(record->next->includedFrom, record);
}

TEST(RynParse, MissingTopFileIsFatal) {
    Definitions definitions;
    Capture capture;
    EXPECT_EQ(definitions.read(test::recordWarning), RYN_SYSTEM_ERROR);
    const std::string file = definitions.path("vek.lib");
    EXPECT_EQ(recorded.fatals, (ErrorReports{{RYN_SYSTEM_ERROR, file, file}}));
    EXPECT_EQ(rynInit("vek.lib", 0, test::recordWarning, nullptr, nullptr), RYN_SYSTEM_ERROR);
    EXPECT_EQ(recorded.fatals.size(), 2U);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    EXPECT_EQ(definitions.handle, nullptr);
    EXPECT_EQ(capture.err(), "");
}

TEST(RynParse, MissingTopFileIsPrintedWithoutAHandler) {
    Definitions definitions;
    Capture capture;
    EXPECT_EQ(rynInitialize("vek.lib", test::recordWarning, &definitions.handle), RYN_SYSTEM_ERROR);
    EXPECT_EQ(capture.err(),
              "*ERROR* - RYN internal error - System error - " + definitions.path("vek.lib") + "\n");
}

TEST(RynParse, MissingTopFileIsInvalidPathIfPathsMustExist) {
    Definitions definitions;
    EXPECT_EQ(definitions.read(test::recordWarning, kPathsMustExist), RYN_INVALID_PATH);
    const std::string file = definitions.path("vek.lib");
    EXPECT_EQ(recorded.fatals, (ErrorReports{{RYN_INVALID_PATH, file, file}}));
}

TEST(RynParse, RelativePathIsAFatalInternalError) {
    Definitions definitions;
    ASSERT_EQ(definitions.load(""), 0);
    rynIncludedFile *record = nullptr;
    for (const std::string &path :
         {std::string("$UNSET/name"), std::string("sub/name"), std::string("./x")}) {
        recorded.fatals.clear();
        EXPECT_EQ(ryni_parse_veklib_file(path.c_str(), definitions.handle, &record), RYN_INTERNAL_ERROR);
        EXPECT_EQ(recorded.fatals, (ErrorReports{{RYN_INTERNAL_ERROR, path, path}}));
    }
    EXPECT_EQ(record, nullptr);
    EXPECT_EQ(definitions.handle->files.head, definitions.handle->files.tail);
}

TEST(RynParse, PathWithoutASlashIsAFatalInternalError) {
    Definitions definitions;
    definitions.box.file("name", "DEFINE a a\n");
    ASSERT_EQ(definitions.load(""), 0);
    const std::string context = "ryni_parse_veklib_file() - 1";
    rynIncludedFile *record = nullptr;
    for (const char *path : {"name", "none", "", "."}) {
        recorded.fatals.clear();
        EXPECT_EQ(ryni_parse_veklib_file(path, definitions.handle, &record), RYN_INTERNAL_ERROR) << path;
        EXPECT_EQ(recorded.fatals, (ErrorReports{{RYN_INTERNAL_ERROR, context, context}})) << path;
    }
    EXPECT_EQ(record, nullptr);
    EXPECT_EQ(definitions.handle->files.head, definitions.handle->files.tail);
    EXPECT_EQ(definitions.names(), Names{});
}

TEST(RynParse, MissingPathWithoutSlashIsInvalidIfPathsMustExist) {
    Definitions definitions;
    definitions.box.file("name", "DEFINE a a\n");
    ASSERT_EQ(definitions.load("", kPathsMustExist), 0);
    const std::string context = "ryni_parse_veklib_file() - 1";
    EXPECT_EQ(ryni_parse_veklib_file("none", definitions.handle, nullptr), RYN_INVALID_PATH);
    EXPECT_EQ(ryni_parse_veklib_file("name", definitions.handle, nullptr), RYN_INTERNAL_ERROR);
    EXPECT_EQ(recorded.fatals,
              (ErrorReports{{RYN_INVALID_PATH, "none", "none"}, {RYN_INTERNAL_ERROR, context, context}}));
}

TEST(RynParse, PathWithoutASlashIsPrintedWithoutAHandler) {
    Definitions definitions;
    Capture capture;
    EXPECT_EQ(rynInitialize("$UNSET", test::recordWarning, &definitions.handle), RYN_INTERNAL_ERROR);
    EXPECT_EQ(capture.err(),
              "*ERROR* - RYN internal error - Internal error - ryni_parse_veklib_file() - 1\n");
    EXPECT_EQ(definitions.handle, nullptr);
}

TEST(RynParse, RecordIsKeptIfOpenFails) {
    Definitions definitions;
    ASSERT_EQ(definitions.load(""), 0);
    rynIncludedFile *record = nullptr;
    EXPECT_EQ(ryni_parse_veklib_file("/no/such", definitions.handle, &record), RYN_SYSTEM_ERROR);
    EXPECT_EQ(record, nullptr);
    EXPECT_STREQ(definitions.handle->files.tail->path, "/no/such");
}

TEST(RynParse, DirectoryPipeOrDeviceIsAnEmptyFile) {
    Definitions definitions;
    definitions.box.directory("vek.lib");
    EXPECT_EQ(definitions.read(test::recordWarning), 0);
    EXPECT_EQ(definitions.names(), Names{});
    definitions.box.fifo("fifo");
    EXPECT_EQ(ryni_parse_veklib_file(definitions.path("fifo").c_str(), definitions.handle, nullptr), 0);
    EXPECT_EQ(ryni_parse_veklib_file("/dev/zero", definitions.handle, nullptr), 0);
    EXPECT_EQ(recorded.fatals, ErrorReports{});
}

TEST(RynParse, UnreadableFileIsFatal) {
    Definitions definitions;
    definitions.box.file("vek.lib", "DEFINE a a\n", 0000);
    test::asUnprivileged([&] {
        const std::string file = definitions.path("vek.lib");
        EXPECT_EQ(definitions.read(test::recordWarning), RYN_SYSTEM_ERROR);
        EXPECT_EQ(recorded.fatals, (ErrorReports{{RYN_SYSTEM_ERROR, file, file}}));
        recorded.fatals.clear();
        EXPECT_EQ(definitions.read(test::recordWarning, kPathsMustExist), RYN_PERMISSION_DENIED);
        EXPECT_EQ(recorded.fatals, (ErrorReports{{RYN_PERMISSION_DENIED, file, file}}));
    });
}

TEST(RynParse, FailedReadIsFatal) {
    Definitions definitions;
    ASSERT_EQ(definitions.load(""), 0);
    // A regular file whose first page cannot be read.
    EXPECT_EQ(ryni_parse_veklib_file("/proc/self/mem", definitions.handle, nullptr), RYN_SYSTEM_ERROR);
    ASSERT_EQ(recorded.fatals.size(), 1U);
    EXPECT_EQ(recorded.fatals[0].code, RYN_SYSTEM_ERROR);
}

TEST(RynParse, ExhaustedMemoryForARecordIsFatalWithItsContext) {
    const char *const contexts[] = {"ryni_parse_veklib_file()", "ryni_parse_veklib_file() - 2",
                                    "ryni_parse_veklib_file() - 3"};
    int nth = 0;
    for (const char *context : contexts) {
        ++nth;
        Definitions definitions;
        definitions.box.file("x", "");
        ASSERT_EQ(rynInit(nullptr, 0, test::recordWarning, test::recordFatal, &definitions.handle), 0);
        // Caches the links of the path, so that the second call allocates nothing for them.
        ASSERT_EQ(ryni_parse_veklib_file(definitions.path("x").c_str(), definitions.handle, nullptr), 0);
        const rynIncludedFile *last = definitions.handle->files.tail;
        faults::failAllocation(nth);
        EXPECT_EQ(ryni_parse_veklib_file(definitions.path("x").c_str(), definitions.handle, nullptr),
                  RYN_MEMORY_ERROR);
        EXPECT_EQ(recorded.fatals, (ErrorReports{{RYN_MEMORY_ERROR, context, context}}));
        EXPECT_EQ(definitions.handle->files.tail, last);
        faults::reset();
    }
}

TEST(RynParse, ExhaustedMemoryForReadingIsFatal) {
    for (const int nth : {4, 5, 6}) { // allocations 1 to 3 make the record of the file
        Definitions definitions;
        definitions.box.file("x", "");
        ASSERT_EQ(rynInit(nullptr, 0, test::recordWarning, test::recordFatal, &definitions.handle), 0);
        ASSERT_EQ(ryni_parse_veklib_file(definitions.path("x").c_str(), definitions.handle, nullptr), 0);
        faults::failAllocation(nth);
        EXPECT_EQ(ryni_parse_veklib_file(definitions.path("x").c_str(), definitions.handle, nullptr),
                  RYN_MEMORY_ERROR);
        EXPECT_EQ(recorded.fatals,
                  (ErrorReports{{RYN_MEMORY_ERROR, "ryni_parse_veklib_file()", "ryni_parse_veklib_file()"}}));
        faults::reset();
    }
}

// ---- unusual content

TEST(RynParse, RandomBytesAreSyntaxErrorsOnly) {
    Definitions definitions;
    std::mt19937 random(20240229); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same bytes every time
    for (int round = 0; round < 20; ++round) {
        std::string bytes(20000, '\0');
        for (char &byte : bytes) {
            byte = static_cast<char>(random());
        }
        EXPECT_EQ(definitions.load(bytes), 0);
        EXPECT_FALSE(recorded.diagnostics.empty());
        for (const Diagnostic &diagnostic : recorded.diagnostics) {
            ASSERT_EQ(diagnostic.code, RYN_SYNTAX_ERROR);
        }
        EXPECT_EQ(definitions.names(), Names{});
    }
}

TEST(RynParse, RandomStatementsLeaveAConsistentRegistry) {
    const char *const words[] = {"DEFINE",   "SOFTDEFINE", "UNDEFINE",   "INCLUDE",  "SOFTINCLUDE", "ASSIGN",
                                 "UNASSIGN", "AllLibs",    "TmpRootDir", "TMP",      "a",           "b",
                                 "a/b",      "..",         "/",          "more.lib", "vek.lib",     "$HOME",
                                 "${x",      "~",          "\"\"",       "\"a b\"",  "#",           "--",
                                 "t",        "\n",         "\n",         "\n",       "\n"};
    Definitions definitions(test::Environment{{"HOME", "$HOME/x"}});
    definitions.box.directory("a").directory("t").file("more.lib", "DEFINE a a\nASSIGN a TMP t\n");
    std::mt19937 random(4711); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same words every time
    for (int round = 0; round < 60; ++round) {
        std::string text;
        for (int i = 0; i < 300; ++i) {
            text += words[random() % std::size(words)];
            text += ' ';
        }
        EXPECT_EQ(definitions.load(text), 0);
        EXPECT_EQ(definitions.dump().find("ERROR"), std::string::npos);
    }
}

TEST(RynParse, LineOf10MegabytesIsReadInPieces) {
    Definitions definitions;
    const std::size_t size = std::size_t{10} << 20U;
    EXPECT_EQ(definitions.load(std::string(size, 'x')), 0);
    const int pieces = static_cast<int>((size + 4094) / 4095);
    ASSERT_EQ(recorded.diagnostics.size(), static_cast<std::size_t>(pieces));
    EXPECT_EQ(recorded.diagnostics.back().line, pieces);
}

TEST(RynParse, StatementsCutAtEveryByteAreReadOrReported) {
    Definitions definitions;
    definitions.box.directory("t").file("more.lib", "DEFINE m m\n");
    const std::string text = "DEFINE a \"my dir\" # c\nSOFTDEFINE b ./b -- c\nASSIGN a TMP t\n"
                             "ASSIGN b COLOR \"dark red\"\nINCLUDE more.lib\nSOFTINCLUDE none.lib\n"
                             "UNASSIGN b COLOR #c\nUNDEFINE m\nASSIGN AllLibs TmpRootDir t\n";
    const std::set<int> possible = {RYN_SYNTAX_ERROR, RYN_NO_SUCH_FILE, RYN_LIBRARY_NOT_DEFINED,
                                    RYN_DIRECTORY_REUSED, RYN_INVALID_PATH};
    for (std::size_t size = 0; size <= text.size(); ++size) {
        EXPECT_EQ(definitions.load(text.substr(0, size)), 0) << size;
        for (const Diagnostic &diagnostic : recorded.diagnostics) {
            EXPECT_TRUE(possible.contains(diagnostic.code)) << diagnostic.code << " at " << size;
        }
        EXPECT_LE(recorded.diagnostics.size(), 2U) << size;
        EXPECT_EQ(definitions.dump().find("ERROR"), std::string::npos);
    }
}

// ---- statements that a program adds

TEST(RynParse, AddedStatementCountsFromTheCurrentDirectoryOfTheRegistry) {
    Definitions definitions;
    definitions.box.file("sub/vek.lib", "");
    ASSERT_EQ(rynInit("sub/vek.lib", 0, test::recordWarning, nullptr, &definitions.handle), 0);
    rynAddCommand(definitions.handle, "DEFINE a dir # comment\nDEFINE b b");
    EXPECT_EQ(definitions.names(), Names{"a"});
    const rynLibrary *library = definitions.library("a");
    EXPECT_EQ(library->fullPath, definitions.path("dir"));
    EXPECT_STREQ(library->definedIn->path, "");
    EXPECT_STREQ(library->definedIn->nslPath, "");
    EXPECT_EQ(library->definedIn->includedFrom, nullptr);
    EXPECT_EQ(library->definedIn->line, 0);
    EXPECT_EQ(library->definedAtLine, 0);
}

TEST(RynParse, AddedStatementsShareOneRecordOutsideAllRegistries) {
    Definitions definitions;
    ASSERT_EQ(definitions.load(""), 0);
    rynAddCommand(nullptr, "DEFINE a a");
    rynHandle other = nullptr;
    ASSERT_EQ(rynInit(nullptr, 0, test::recordWarning, nullptr, &other), 0);
    rynAddCommand(nullptr, "DEFINE b b");
    EXPECT_EQ(definitions.library("a")->definedIn, ryni_get_libp(other, "b")->definedIn);
    EXPECT_EQ(other->files.head, nullptr);
    EXPECT_EQ(definitions.handle->files.head, definitions.handle->files.tail);
    EXPECT_EQ(definitions.library("b"), nullptr);
    rynReleaseHandle(other);
}

TEST(RynParse, InvalidAddedStatementReportsAndChangesNothing) {
    Definitions definitions;
    Capture capture;
    ASSERT_EQ(definitions.loadWithDefaultHandler("DEFINE a a\n"), 0);
    const std::string before = definitions.dump();
    for (const char *text : {"FOO", "DEFINE x", "DEFINE x \"", "ASSIGN none X 1", "DEFINE x ~nosuchuser/x",
                             "INCLUDE none.lib", "ASSIGN a TMP none", "", "# x"}) {
        rynAddCommand(definitions.handle, text);
        EXPECT_EQ(definitions.dump(), before) << text;
    }
    EXPECT_EQ(capture.err(), "");
    EXPECT_EQ(ryni_getLastErr(), RYN_OK);
}

TEST(RynParse, AddedStatementEndsAtItsFirstDiagnostic) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE a a\n"), 0);
    rynAddCommand(definitions.handle, "DEFINE a b");
    EXPECT_EQ(definitions.library("a")->fullPath, definitions.path("a"));
}

TEST(RynParse, AddedStatementRestoresTheHandler) {
    Definitions definitions;
    ASSERT_EQ(definitions.load(""), 0);
    rynAddCommand(definitions.handle, "FOO");
    EXPECT_EQ(definitions.handle->warningHandler, test::recordWarning);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
}

TEST(RynParse, AddedIncludeReportsNothing) {
    Definitions definitions;
    definitions.box.file("more.lib", "DEFINE b b\nFOO\nDEFINE c c\n").file("good.lib", "DEFINE d d\n");
    ASSERT_EQ(definitions.load(""), 0);
    rynAddCommand(definitions.handle, "INCLUDE more.lib");
    rynAddCommand(definitions.handle, "INCLUDE good.lib");
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    EXPECT_EQ(definitions.names(), (Names{"b", "d"}));
    const std::string dump = definitions.dump();
    EXPECT_EQ(dump.substr(0, dump.find("\nLibraries:")),
              "\nVEK.LIB files:\n" + definitions.path("vek.lib") + "\n  (" + definitions.path("vek.lib") +
                  ")\n" + definitions.path("more.lib") + "\n  (" + definitions.path("more.lib") + ")\n" +
                  definitions.path("good.lib") + "\n  (" + definitions.path("good.lib") +
                  ")\n  included from  line 0\n");
}

TEST(RynParse, AddedGlobalRootIsAppliedAtOnce) {
    Definitions definitions;
    definitions.box.directory("t");
    ASSERT_EQ(definitions.load("DEFINE a a\n"), 0);
    rynAddCommand(definitions.handle, "ASSIGN AllLibs TmpRootDir t");
    EXPECT_EQ(definitions.library("a")->explicitTmp, definitions.path("t/a"));
    EXPECT_TRUE(definitions.box.exists("t/a"));
}

TEST(RynParse, AddingWithoutARegistryIsFatal) {
    Definitions definitions;
    Capture capture;
    rynAddCommand(nullptr, "DEFINE a a");
    EXPECT_EQ(capture.err(), "*ERROR* - RYN internal error - Invalid Parameter - rynAddCommand()\n");
}

TEST(RynParse, AddingANullStatementIsFatal) {
    Definitions definitions;
    ASSERT_EQ(definitions.load(""), 0);
    rynAddCommand(definitions.handle, nullptr);
    rynAddCommand(nullptr, nullptr);
    EXPECT_EQ(recorded.fatals, (ErrorReports{{RYN_INVALID_PARAMETER, "rynAddCommand()", "rynAddCommand()"},
                                             {RYN_INVALID_PARAMETER, "rynAddCommand()", "rynAddCommand()"}}));
}

TEST(RynParse, AddedStatementIsCutAfter4095Characters) {
    Definitions definitions;
    ASSERT_EQ(definitions.load(""), 0);
    const std::string head = "DEFINE a b ";
    rynAddCommand(definitions.handle, (head + std::string(4095 - head.size(), ' ') + "extra").c_str());
    EXPECT_EQ(definitions.names(), Names{"a"});
}

} // namespace
