#include "tool/vekinfo_check.h"

#include "libdef/ryn.h"
#include "search/pux.h"
#include "tests/support/capture.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"
#include "tests/tagfile/tag_support.h"
#include "tests/tool/check_support.h"
#include "tool/vekinfo_args.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

namespace {

using test::kNoReports;
using test::TagReports;

/// A result, and the text that was printed.
struct Result {
    int result;
    std::string out;
    std::string err;

    bool operator==(const Result &) const = default;
};
std::ostream &operator<<(std::ostream &out, const Result &outcome) {
    return out << outcome.result << "\nout: " << outcome.out << "\nerr: " << outcome.err;
}

/// The last argument of tovVerifyVekinfo() and tovVeklibCheck().
enum { kReport = 0, kConfigure = 1 };

class Check : public test::TagTest {
  protected:
    void SetUp() override {
        test::TagTest::SetUp();
        verboseFlag = 0;
        rynSetPathNoneExistWarnFlag(0);
        box.directory("lib");
    }
    void TearDown() override {
        test::releaseRegistry();
        puxReleaseHandle(nullptr);
        test::TagTest::TearDown();
    }
    template <typename Call>
    static Result resultOf(Call call) {
        test::Capture capture;
        const int result = call();
        std::fflush(stdout);
        return {result, capture.out(), capture.err()};
    }
    Result verify(int configure, const std::string &directory = "lib") const {
        return resultOf([&] { return tovVerifyVekinfo("name", box.path(directory).c_str(), configure); });
    }
    Result check(int configure, const std::string &file = "vek.lib") const {
        test::releaseRegistry();
        return resultOf([&] { return tovVeklibCheck(box.path(file).c_str(), configure); });
    }
    std::string at(const std::string &relative) const { return box.path(relative); }

    std::string block(const std::string &directory) const {
        return "# The next line was written by the\n"
               "# vekinfo -configurelibrary command.\n"
               "VEKLIBRARY\n"
               "#\n# Directory " +
               at(directory) +
               " is \n"
               "# determined to be case sensitive, therefore\n"
               "# NAMESPACE is set to LibraryUnix\n"
               "NAMESPACE LibraryUnix\n";
    }
    std::string redundant(const std::string &directory) const {
        return "There is a redundant vekinfo.tag file in the subdir: \n\t" + at(directory) + "\n";
    }
    std::string wrongNameSpace() const {
        return "Warning: Library name at " + at("lib") + " has incorrect namespace in vekinfo.tag file\n";
    }
};

// ---- dm.tag

TEST_F(Check, FindsNoneAsTheFirstWordOfDmTag) {
    for (const char *text :
         {"none", "none\n", "none of it\n", " \t\v\f none\n", "none\r\n", "none\tx\nother\n"}) {
        box.file("lib/dm.tag", text);
        EXPECT_EQ(1, lookForNoneTag(at("lib").c_str())) << text;
    }
}

TEST_F(Check, OtherDmTagFilesAreNotNone) {
    for (const char *text : {"", "\n", "None\n", "NONE\n", "nonesuch\n", "non\n", "\nnone\n", " \nnone\n",
                             "# none\n", "mrev none\n", "'none'\n"}) {
        box.file("lib/dm.tag", text);
        EXPECT_EQ(0, lookForNoneTag(at("lib").c_str())) << text;
    }
}

TEST_F(Check, ReadsAtMost4095CharactersOfDmTag) {
    box.file("lib/dm.tag", std::string(4091, ' ') + "none and more\n");
    EXPECT_EQ(1, lookForNoneTag(at("lib").c_str()));
    box.file("lib/dm.tag", std::string(4092, ' ') + "none\n");
    EXPECT_EQ(0, lookForNoneTag(at("lib").c_str()));
    box.file("lib/dm.tag", std::string(4095, ' ') + "none\n");
    EXPECT_EQ(0, lookForNoneTag(at("lib").c_str())) << "the next line";
    box.file("lib/dm.tag", std::string(100000, 'n'));
    EXPECT_EQ(0, lookForNoneTag(at("lib").c_str()));
}

TEST_F(Check, UnreadableDmTagFileIsNotNone) {
    EXPECT_EQ(0, lookForNoneTag(at("lib").c_str()));
    EXPECT_EQ(0, lookForNoneTag(at("none").c_str()));
    box.directory("directory/dm.tag");
    EXPECT_EQ(0, lookForNoneTag(at("directory").c_str()));
    box.directory("pipe").fifo("pipe/dm.tag");
    EXPECT_EQ(0, lookForNoneTag(at("pipe").c_str()));
    box.file("closed/dm.tag", "none\n", 0);
    test::asUnprivileged([this] { EXPECT_EQ(0, lookForNoneTag(at("closed").c_str())); });
    EXPECT_EQ(0, lookForNoneTag(std::string(100000, 'x').c_str()));
}

// ---- the handlers

TEST_F(Check, DiagnosticsAreShownWithTheirLocation) {
    EXPECT_EQ((Result{0, "", "Error at line 7 of /p/vek.lib \nmsg: \"FOO x\"\n\terrstr:\"Syntax error\"\n"}),
              resultOf([] { return testParseWarnHandler(RYN_SYNTAX_ERROR, "FOO x", "/p/vek.lib", 7); }));
    EXPECT_EQ(
        (Result{0, "", "Error at line 1 of (null) \nmsg: \"(null)\"\n\terrstr:\"Invalid error number\"\n"}),
        resultOf([] { return testParseWarnHandler(99, nullptr, nullptr, 1); }));
}

TEST_F(Check, FatalErrorsAreShown) {
    EXPECT_EQ((Result{0, "", "Error code 3 found for /p/vek.lib:\n\tSystem error\n"}),
              resultOf([] { return testErrHandler(RYN_SYSTEM_ERROR, "/p/vek.lib", "/p/vek.lib"); }));
    EXPECT_EQ((Result{0, "", "Error code 2 found for (null):\n\tMemory error\n"}),
              resultOf([] { return testErrHandler(RYN_MEMORY_ERROR, nullptr, nullptr); }));
}

TEST_F(Check, AMissingLibraryEntryIsNoDiagnostic) {
    EXPECT_EQ((Result{0, "", ""}),
              resultOf([] { return testParseWarnHandler(RYN_NO_VEKLIBRARY_ENTRY, "x", "f", 1); }));
    EXPECT_EQ((Result{0, "", ""}),
              resultOf([] { return testErrHandler(RYN_NO_VEKLIBRARY_ENTRY, "x", "x"); }));
}

// ---- one library that is defined

TEST_F(Check, DefinedLibraryPrintsNothing) {
    box.file("lib/vekinfo.tag", "VEKLIBRARY\nNAMESPACE LibraryUnix\n");
    EXPECT_EQ((Result{0, "", ""}), verify(kReport));
    EXPECT_EQ((Result{0, "", ""}), verify(kConfigure));
    EXPECT_EQ(std::vector<std::string>{"vekinfo.tag"}, box.list("lib")) << "the probe removes its files";
}

TEST_F(Check, VerbosePrintsADefinedLibrary) {
    verboseFlag = 1;
    box.file("lib/vekinfo.tag", "VEKLIBRARY\n");
    const Result expected = {0, "The library name at " + at("lib") + " has a vekinfo.tag definition.\n", ""};
    EXPECT_EQ(expected, verify(kReport));
    EXPECT_EQ(expected, verify(kConfigure));
    EXPECT_EQ("VEKLIBRARY\n", box.read("lib/vekinfo.tag"));
}

TEST_F(Check, WrongNameSpaceIsAWarning) {
    box.file("lib/vekinfo.tag", "VEKLIBRARY\nNAMESPACE LibraryNT\n");
    EXPECT_EQ((Result{0, wrongNameSpace(), ""}), verify(kReport));
    EXPECT_EQ((Result{0, wrongNameSpace(), ""}), verify(kConfigure));
    EXPECT_EQ("VEKLIBRARY\nNAMESPACE LibraryNT\n", box.read("lib/vekinfo.tag"));
}

TEST_F(Check, CaselessFileSystemNeedsLibraryNT) {
    test::faults::makeCaseless(box.path("lib"));
    box.file("lib/vekinfo.tag", "VEKLIBRARY\nNAMESPACE LibraryUnix\n");
    EXPECT_EQ((Result{0, wrongNameSpace(), ""}), verify(kReport));
    tovResetCache();
    box.file("lib/vekinfo.tag", "VEKLIBRARY\nNAMESPACE LibraryNT\n");
    EXPECT_EQ((Result{0, "", ""}), verify(kReport));
}

TEST_F(Check, UnsetNameSpaceGivesNoWarning) {
    box.file("lib/vekinfo.tag", "VEKLIBRARY\n");
    EXPECT_EQ((Result{0, "", ""}), verify(kReport));
    test::faults::makeCaseless(box.path("lib"));
    EXPECT_EQ((Result{0, "", ""}), verify(kReport));
}

TEST_F(Check, OnlyALibraryWithANamespaceIsProbed) {
    for (const auto &[text, files] :
         {std::pair("VEKLIBRARY\n", 0), std::pair("VEKLIBRARY\nNAMESPACE LibraryUnix\n", 2),
          std::pair("VEKLIBRARY\nNAMESPACE LibraryNT\n", 2), std::pair("OWNER me\n", 0)}) {
        box.file("lib/vekinfo.tag", text);
        tovResetCache();
        test::faults::reset();
        verify(kReport);
        EXPECT_EQ(files, test::faults::count("unlink")) << text;
    }
}

TEST_F(Check, UnknownCaseSensitivityGivesNoWarning) {
    box.file("lib/vekinfo.tag", "VEKLIBRARY\nNAMESPACE LibraryNT\n");
    box.directory("lib", 0555);
    test::asUnprivileged([this] { EXPECT_EQ((Result{0, "", ""}), verify(kReport)); });
}

TEST_F(Check, TheVerboseLineComesBeforeTheWarningAndTheScan) {
    verboseFlag = 1;
    box.file("lib/vekinfo.tag", "VEKLIBRARY\nNAMESPACE LibraryNT\n").file("lib/a/vekinfo.tag", "");
    EXPECT_EQ((Result{0,
                      "The library name at " + at("lib") + " has a vekinfo.tag definition.\n" +
                          wrongNameSpace() + redundant("lib/a"),
                      ""}),
              verify(kReport));
}

// ---- one library that is not defined

TEST_F(Check, LibraryWithoutTagFileIsScannedSilently) {
    verboseFlag = 1;
    box.file("lib/a/vekinfo.tag", "");
    EXPECT_EQ((Result{0, redundant("lib/a"), ""}), verify(kReport));
    EXPECT_EQ(std::vector<std::string>{"a"}, box.list("lib"));
    EXPECT_EQ(kNoReports, reports.take());
}

TEST_F(Check, TagFileWithoutTheEntryCountsAsMissing) {
    verboseFlag = 1;
    box.file("lib/vekinfo.tag", "DMTYPE none\nNAMESPACE LibraryNT\n");
    EXPECT_EQ((Result{0, "", ""}), verify(kReport));
    EXPECT_EQ("DMTYPE none\nNAMESPACE LibraryNT\n", box.read("lib/vekinfo.tag"));
}

TEST_F(Check, MissingDirectoryIsSkippedSilently) {
    EXPECT_EQ((Result{0, "", ""}), verify(kReport, "none"));
    EXPECT_EQ(kNoReports, reports.take());
}

TEST_F(Check, ConfiguringWritesTheEntriesAndScans) {
    box.file("lib/a/vekinfo.tag", "");
    EXPECT_EQ((Result{0, redundant("lib/a"), ""}), verify(kConfigure));
    EXPECT_EQ(block("lib"), box.read("lib/vekinfo.tag"));
    EXPECT_EQ((std::vector<std::string>{"a", "vekinfo.tag"}), box.list("lib"));
}

TEST_F(Check, VerbosePrintsTheConfiguration) {
    verboseFlag = 1;
    EXPECT_EQ((Result{0, "Library:name at:" + at("lib") + " had no VEKLIBRARY vekinfo.tag entry.\n", ""}),
              verify(kConfigure));
}

TEST_F(Check, ConfiguringAgainChangesNothing) {
    box.file("lib/vekinfo.tag", "OWNER me\n").file("lib/dm.tag", "none\n");
    EXPECT_EQ((Result{0, "", ""}), verify(kConfigure));
    const std::string text = box.read("lib/vekinfo.tag");
    EXPECT_NE("OWNER me\n", text);
    EXPECT_EQ((Result{0, "", ""}), verify(kConfigure)) << "in the same process";
    EXPECT_EQ(text, box.read("lib/vekinfo.tag"));
    tovResetCache();
    EXPECT_EQ((Result{0, "", ""}), verify(kConfigure)) << "in another one";
    EXPECT_EQ(text, box.read("lib/vekinfo.tag"));
}

TEST_F(Check, TagFileWithSyntaxErrorIsReportedAndExtended) {
    box.file("lib/vekinfo.tag", "VEKLIBRARY yes\n");
    const test::TagReport error = {TOV_SYNTAX_ERROR, "VEKLIBRARY line in vekinfo.tag file",
                                   at("lib/vekinfo.tag"), 1};
    EXPECT_EQ((Result{0, "", ""}), verify(kReport));
    EXPECT_EQ(TagReports{error}, reports.take());
    EXPECT_EQ("VEKLIBRARY yes\n", box.read("lib/vekinfo.tag"));
    EXPECT_EQ((Result{0, "", ""}), verify(kConfigure));
    EXPECT_EQ(TagReports{error}, reports.take());
    EXPECT_EQ("VEKLIBRARY yes\n" + block("lib"), box.read("lib/vekinfo.tag"));
}

TEST_F(Check, ReadOnlyDirectoryIsReportedAndNotScanned) {
    verboseFlag = 1;
    box.file("lib/a/vekinfo.tag", "").directory("lib", 0555);
    test::asUnprivileged([this] {
        EXPECT_EQ((Result{TOV_ACCESS_ERROR, "", ""}), verify(kConfigure));
        EXPECT_EQ((TagReports{{TOV_ACCESS_ERROR, "path not writable", at("lib"), 0}}), reports.take());
    });
    EXPECT_EQ((Result{TOV_ACCESS_ERROR, "", ""}), verify(kConfigure, "none"));
    EXPECT_EQ((TagReports{{TOV_ACCESS_ERROR, "path not writable", at("none"), 0}}), reports.take());
}

TEST_F(Check, FailedOpenForAppendIsReportedWithoutScan) {
    verboseFlag = 1;
    box.directory("lib/vekinfo.tag").file("lib/a/vekinfo.tag", "");
    EXPECT_EQ((Result{TOV_SYSTEM_ERROR, "", ""}), verify(kConfigure));
    EXPECT_EQ((TagReports{{TOV_SYSTEM_ERROR, "error opening for append", at("lib/vekinfo.tag"), 0}}),
              reports.take());
}

TEST_F(Check, FailedWriteIsReportedWithoutScan) {
    verboseFlag = 1;
    box.file("lib/vekinfo.tag", "OWNER me").file("lib/a/vekinfo.tag", "");
    test::faults::fail("write", 1, ENOSPC);
    EXPECT_EQ((Result{TOV_SYSTEM_ERROR, "", ""}), verify(kConfigure));
    EXPECT_EQ((TagReports{{TOV_SYSTEM_ERROR, "error opening for append", at("lib/vekinfo.tag"), 0}}),
              reports.take());
    EXPECT_EQ("OWNER me", box.read("lib/vekinfo.tag"));
}

TEST_F(Check, AnUnreadableTagFileIsReportedByItsReader) {
    box.file("lib/vekinfo.tag", "VEKLIBRARY\n", 0).directory("lib", 0777);
    test::asUnprivileged([this] {
        const test::TagReport unreadable = {TOV_SYSTEM_ERROR, "while opening vekinfo.tag file",
                                            at("lib/vekinfo.tag"), 0};
        EXPECT_EQ((Result{0, "", ""}), verify(kReport));
        EXPECT_EQ(TagReports{unreadable}, reports.take());
        EXPECT_EQ((Result{TOV_SYSTEM_ERROR, "", ""}), verify(kConfigure));
        EXPECT_EQ((TagReports{unreadable,
                              {TOV_SYSTEM_ERROR, "error opening for append", at("lib/vekinfo.tag"), 0}}),
                  reports.take());
    });
}

TEST_F(Check, ALibrarysPathMayHave4095Characters) {
    // The path of its tag file is longer, so the file cannot exist.
    for (const std::size_t size : {4083U, 4084U, 4095U}) {
        const std::string directory = test::spelledWith(at("lib"), size);
        EXPECT_EQ((Result{0, "", ""}),
                  resultOf([&] { return tovVerifyVekinfo("name", directory.c_str(), kReport); }));
        const Result configured =
            resultOf([&] { return tovVerifyVekinfo("name", directory.c_str(), kConfigure); });
        EXPECT_EQ((Result{TOV_ACCESS_ERROR, "", ""}), configured)
            << "the path of the tag file would be too long";
        reports.take();
    }
}

TEST_F(Check, ExhaustedMemoryLosesNothingAndIsReported) {
    bool isComplete = false;
    for (int nth = 1; !isComplete; ++nth) {
        box.file("lib/vekinfo.tag", "OWNER me");
        tovResetCache();
        test::faults::failAllocation(nth);
        const Result outcome = verify(kConfigure);
        isComplete = test::faults::count("malloc") < nth;
        test::faults::reset();
        const std::string text = box.read("lib/vekinfo.tag");
        EXPECT_EQ("OWNER me", text.substr(0, 8)) << nth;
        const bool wasWritten = text.find("\nVEKLIBRARY\n") != std::string::npos;
        EXPECT_TRUE(wasWritten || !reports.take().empty()) << nth;
        EXPECT_TRUE(wasWritten || outcome.result != 0) << nth;
        reports.take();
        ASSERT_GT(100, nth);
    }
}

// ---- all libraries of a file

TEST_F(Check, EachLibraryOfTheFileIsVerified) {
    verboseFlag = 1;
    box.file("vek.lib", "DEFINE one a\nDEFINE two b\nDEFINE three c\n");
    box.file("a/vekinfo.tag", "VEKLIBRARY\n").file("c/vekinfo.tag", "VEKLIBRARY\n").directory("b");
    EXPECT_EQ(
        (Result{0,
                "The library one at " + at("a") + " has a vekinfo.tag definition.\nThe library three at " +
                    at("c") + " has a vekinfo.tag definition.\n",
                ""}),
        check(kReport));
    EXPECT_EQ((Result{0,
                      "The library one at " + at("a") + " has a vekinfo.tag definition.\nLibrary:two at:" +
                          at("b") + " had no VEKLIBRARY vekinfo.tag entry.\nThe library three at " + at("c") +
                          " has a vekinfo.tag definition.\n",
                      ""}),
              check(kConfigure));
}

TEST_F(Check, TheResultIsThatOfTheLastLibrary) {
    box.directory("a");
    box.file("vek.lib", "DEFINE one a\nDEFINE two none\n");
    EXPECT_EQ(TOV_ACCESS_ERROR, check(kConfigure).result);
    box.file("vek.lib", "DEFINE two none\nDEFINE one a\n");
    EXPECT_EQ(0, check(kConfigure).result);
    box.file("vek.lib", "");
    EXPECT_EQ((Result{0, "", ""}), check(kConfigure));
}

TEST_F(Check, DiagnosticsOfTheFileAreShownAndTheOthersChecked) {
    box.file("vek.lib", "DEFINE one a extra\nFOO x\nDEFINE two b\n").file("b/c/vekinfo.tag", "");
    EXPECT_EQ((Result{0, redundant("b/c"),
                      "Error at line 1 of " + at("vek.lib") +
                          " \nmsg: \"DEFINE one a extra\"\n\terrstr:\"Syntax error\"\n"
                          "Error at line 2 of " +
                          at("vek.lib") + " \nmsg: \"FOO\"\n\terrstr:\"Syntax error\"\n"}),
              check(kReport));
}

TEST_F(Check, LibraryWithoutEntryIsSkippedIfLibraryCheckIsOn) {
    verboseFlag = 1;
    rynSetPathNoneExistWarnFlag(1);
    box.file("vekinfo.tag", "VEKLIBCHECK ON\n").file("vek.lib", "DEFINE one a\nDEFINE two b\n");
    box.directory("a").file("b/vekinfo.tag", "VEKLIBRARY\n");
    EXPECT_EQ((Result{0, "The library two at " + at("b") + " has a vekinfo.tag definition.\n", ""}),
              check(kReport));
}

TEST_F(Check, TemporaryDirectoryReplacesTheLibrary) {
    // rynGetPath() for reading returns the temporary directory, if there is one.
    verboseFlag = 1;
    box.directory("a").directory("tmp/one").file("vek.lib", "DEFINE one a\nASSIGN AllLibs TmpRootDir tmp\n");
    EXPECT_EQ((Result{0, "Library:one at:" + at("tmp/one") + " had no VEKLIBRARY vekinfo.tag entry.\n", ""}),
              check(kConfigure));
    EXPECT_FALSE(box.exists("a/vekinfo.tag"));
}

TEST_F(Check, EntryAppendedByAnotherProcessIsVerified) {
    verboseFlag = 1;
    const std::string appended = "VEKLIBRARY\nNAMESPACE LibraryNT\n";
    const std::string defined = "The library name at " + at("lib") + " has a vekinfo.tag definition.\n";
    EXPECT_EQ((Result{0, defined + wrongNameSpace(), ""}), resultOf([&] {
                  test::appendDuringNextLock(at("lib/vekinfo.tag"), appended);
                  return tovVerifyVekinfo("name", at("lib").c_str(), kConfigure);
              }));
    EXPECT_EQ(appended, box.read("lib/vekinfo.tag"));
}

TEST_F(Check, TwoLibrariesInOneDirectoryAreConfiguredOnce) {
    box.file("a/vekinfo.tag", "OWNER me\n").file("vek.lib", "DEFINE one a\nDEFINE two a\n");
    EXPECT_EQ((Result{0, "",
                      "Error at line 2 of " + at("vek.lib") + " \nmsg: \"" + at("a") +
                          "\"\n\terrstr:\"Directory used multiple times\"\n"}),
              check(kConfigure));
    EXPECT_EQ("OWNER me\n" + block("a"), box.read("a/vekinfo.tag"));
}

TEST_F(Check, InvalidPathEndsTheRun) {
    const std::string name(4095 - box.path().size() - 1, 'x');
    box.file("vek.lib", "DEFINE one a\nDEFINE two " + name + "\nDEFINE three b\n");
    box.file("a/c/vekinfo.tag", "").file("b/c/vekinfo.tag", "");
    EXPECT_EQ((Result{1, redundant("a/c"), "WARNING: Problem found in rynGetPath: Invalid path\n"}),
              check(kReport));
}

TEST_F(Check, UnreadableFileReturnsATovCode) {
    EXPECT_EQ(
        (Result{TOV_SYSTEM_ERROR, "", "Error code 3 found for " + at("none.lib") + ":\n\tSystem error\n"}),
        check(kReport, "none.lib"));
    rynSetPathNoneExistWarnFlag(1);
    EXPECT_EQ(
        (Result{TOV_INVALID_PATH, "", "Error code 20 found for " + at("none.lib") + ":\n\tInvalid path\n"}),
        check(kReport, "none.lib"));
}

TEST_F(Check, ExhaustedMemoryEndsTheRunWithAWarning) {
    box.file("vek.lib", "DEFINE one a\n");
    const std::string warning = "WARNING: Problem found in rynIterateLibs: Memory error\n";
    bool wasSeen = false;
    bool isComplete = false;
    for (int nth = 1; !isComplete; ++nth) {
        test::releaseRegistry();
        test::faults::failAllocation(nth);
        const Result outcome = resultOf([this] { return tovVeklibCheck(at("vek.lib").c_str(), kReport); });
        isComplete = test::faults::count("malloc") < nth;
        test::faults::reset();
        tovResetCache();
        if (outcome.err.find(warning) != std::string::npos) {
            EXPECT_EQ(1, outcome.result);
            wasSeen = true;
        }
        ASSERT_GT(300, nth);
    }
    EXPECT_TRUE(wasSeen);
}

TEST_F(Check, TheRegistryIsKept) {
    box.file("vek.lib", "DEFINE one a\n");
    EXPECT_EQ(0, check(kReport).result);
    ASSERT_NE(nullptr, rynGetCurHandle());
    ASSERT_NE(nullptr, *rynGetCurHandle());
    EXPECT_EQ(0, rynIsDefined(nullptr, "one"));
}

// ---- the file along the search list

TEST_F(Check, WithoutADefinitionFileNothingIsPrinted) {
    for (const int configure : {0, 1}) {
        EXPECT_EQ((Result{0, "", ""}), resultOf([&] { return tovCheckOrConfigLibrary(configure); }));
    }
    EXPECT_EQ(kNoReports, reports.take());
}

TEST_F(Check, UsesTheFirstDefinitionFileOfTheSearchList) {
    test::setEnvironment({{"VEK_WORKAREA", at("work")}, {"HOME", at("home")}});
    box.file("work/vek.lib", "DEFINE one a\n").file("home/vek.lib", "DEFINE two b\n");
    box.file("work/a/c/vekinfo.tag", "").file("home/b/c/vekinfo.tag", "");
    EXPECT_EQ((Result{0, redundant("work/a/c"), ""}), resultOf([] { return tovCheckOrConfigLibrary(0); }));
}

TEST_F(Check, DefinitionFileMayBeInASetupDirectory) {
    box.file("veksetup/vek.lib", "DEFINE one ../a\n").file("a/c/vekinfo.tag", "");
    EXPECT_EQ((Result{0, redundant("a/c"), ""}), resultOf([] { return tovCheckOrConfigLibrary(0); }));
}

TEST_F(Check, ReturnsSuccessWhateverItFinds) {
    box.file("vek.lib", "DEFINE one none\n");
    EXPECT_EQ(0, resultOf([] { return tovCheckOrConfigLibrary(1); }).result);
    EXPECT_EQ((TagReports{{TOV_ACCESS_ERROR, "path not writable", at("none"), 0}}), reports.take());
}

} // namespace
