#include "tool/vekinfo_args.h"

#include "tests/support/c_list.h"
#include "tests/support/capture.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"
#include "tests/tagfile/tag_support.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cerrno>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr const char *kUsage = "Usage: vekinfo [-verbose | -v]\n"
                               "\t[-path <filepath>]\n"
                               "\t[-configurelibrary |\n"
                               "\t -checklibrary |\n"
                               "\t -lookup <entryname>... |\n"
                               "\t -show |\n"
                               "\t -addentry <name> <value> |\n"
                               "\t -clearentry <name> ]\n";

using test::CList;
using Words = std::vector<std::string>;

/// The result of one command line, and what it printed.
struct Result {
    int status;
    std::string out;
    std::string err;
};

class Args : public test::TagTest {
  protected:
    void SetUp() override {
        test::TagTest::SetUp();
        tovRegisterErrorHandler(nullptr);
    }

    /// The argument vector of the tool with these arguments.
    static CList argvOf(Words arguments) {
        arguments.insert(arguments.begin(), "vekinfo");
        return CList(std::move(arguments));
    }
    static Result run(Words arguments) {
        CList argv = argvOf(std::move(arguments));
        verboseFlag = 0;
        gotTestPath = 0;
        testPath = nullptr;
        test::Capture capture;
        const int status = tovProcessVekinfoArgs(argv);
        return {status, capture.out(), capture.err()};
    }
    static void expectUsage(const Words &arguments) {
        const Result result = run(arguments);
        EXPECT_EQ(VEKINFO_USAGE_ERROR, result.status) << testing::PrintToString(arguments);
        EXPECT_EQ(kUsage, result.out) << testing::PrintToString(arguments);
        EXPECT_EQ("", result.err) << testing::PrintToString(arguments);
    }
    static std::string shown(const std::string &path) {
        return "A vekinfo.tag file exists at: " + path + "\n";
    }
};

// ---- the usage text

TEST_F(Args, TheUsageTextHasEightLines) {
    test::Capture capture;
    vekinfoCmdUsage();
    EXPECT_EQ(kUsage, capture.out());
    EXPECT_EQ("", capture.err());
}

TEST_F(Args, PrintsTheUsageWithoutAnAction) {
    expectUsage({});
    expectUsage({"-v"});
    expectUsage({"-verbose", "-V"});
    expectUsage({"-path", "."});
    expectUsage({"-v", "-path", ".", "-v"});
}

TEST_F(Args, AnUnknownWordIsAUsageError) {
    for (const char *word :
         {"-unknown", "show", "-", "--", "", "-sho", "-shows", "-version", "-help", "-lookupX"}) {
        expectUsage({word});
        expectUsage({"-show", word});
    }
}

TEST_F(Args, ASecondActionIsAUsageError) {
    const std::vector<Words> actions = {
        {"-show"},         {"-lookup", "X"},     {"-addentry", "A", "1"}, {"-clearentry", "A"},
        {"-checklibrary"}, {"-configurelibrary"}};
    for (const Words &first : actions) {
        for (const Words &second : actions) {
            Words both = first;
            both.insert(both.end(), second.begin(), second.end());
            expectUsage(both);
        }
    }
    EXPECT_EQ((std::vector<std::string>{}), box.list()) << "no action was executed";
}

TEST_F(Args, AnActionWithoutItsOperandsIsAUsageError) {
    expectUsage({"-lookup"});
    expectUsage({"-lookup", "-v"});
    expectUsage({"-clearentry"});
    expectUsage({"-clearentry", "-x"});
    expectUsage({"-addentry"});
    expectUsage({"-addentry", "NAME"});
    expectUsage({"-addentry", "-x", "1"});
    expectUsage({"-path"});
    expectUsage({"-show", "-path"});
    expectUsage({"-show", "-path", "-v"});
}

TEST_F(Args, ExtraArgumentIsAUsageError) {
    expectUsage({"-clearentry", "A", "B"});
    expectUsage({"-addentry", "A", "1", "2"});
    expectUsage({"-show", "."});
    expectUsage({"-path", ".", ".", "-show"});
    expectUsage({"-lookup", "A", "-path", ".", "B"});
}

TEST_F(Args, UsageErrorInTheLastArgumentPreventsTheAction) {
    expectUsage({"-addentry", "A", "1", "-junk"});
    EXPECT_EQ((std::vector<std::string>{}), box.list());
}

TEST_F(Args, AnEmptyArgumentVectorIsAUsageError) {
    char *argv[] = {nullptr};
    test::Capture capture;
    EXPECT_EQ(VEKINFO_USAGE_ERROR, tovProcessVekinfoArgs(argv));
    EXPECT_EQ(kUsage, capture.out());
}

// ---- options

TEST_F(Args, OptionsAreMatchedWithoutCase) {
    box.file("vekinfo.tag", "X 1\n");
    EXPECT_EQ(VEKINFO_OK, run({"-SHOW"}).status);
    EXPECT_EQ(VEKINFO_OK, run({"-Path", ".", "-ShoW", "-VERBOSE"}).status);
    EXPECT_EQ(VEKINFO_OK, run({"-LOOKUP", "X"}).status);
    EXPECT_EQ(VEKINFO_OK, run({"-ClearEntry", "X"}).status);
    EXPECT_EQ(VEKINFO_OK, run({"-ADDENTRY", "X", "1"}).status);
}

TEST_F(Args, VerboseIsAllowedAnywhereAndAnyNumberOfTimes) {
    box.file("vekinfo.tag", "X 1\n");
    for (const Words &words :
         {Words{"-v", "-show"}, Words{"-show", "-v"}, Words{"-verbose", "-v", "-show", "-V"},
          Words{"-path", ".", "-verbose", "-show"}}) {
        const Result result = run(words);
        EXPECT_EQ(VEKINFO_OK, result.status);
        EXPECT_EQ(1, verboseFlag);
    }
    run({"-show"});
    EXPECT_EQ(0, verboseFlag);
}

TEST_F(Args, PathPointsToTheLastPathArgument) {
    box.directory("a").directory("b");
    CList argv = argvOf({"-path", "a", "-show", "-path", "b"});
    test::Capture capture;
    tovProcessVekinfoArgs(argv);
    EXPECT_EQ(1, gotTestPath);
    EXPECT_EQ(argv[5], testPath);
}

TEST_F(Args, PathMayBeGivenBeforeAndAfterTheAction) {
    box.file("some/dir/vekinfo.tag", "X 1\n").file("other/vekinfo.tag", "X 2\n");
    const std::string directory = box.path("some/dir");
    const Result after = run({"-show", "-path", directory});
    const Result before = run({"-path", directory, "-show"});
    EXPECT_EQ(shown(directory + "/vekinfo.tag"), after.out);
    EXPECT_EQ(after.out, before.out);
    EXPECT_EQ(after.out, run({"-path", box.path("other"), "-show", "-path", directory}).out);
}

TEST_F(Args, AcceptsAnEmptyOperand) {
    const Result result = run({"-show", "-path", ""});
    EXPECT_EQ(TOV_INVALID_PATH, result.status);
    EXPECT_EQ(1, gotTestPath);
}

// ---- lookup names

TEST_F(Args, LookupNamesEndAtTheNextOption) {
    const struct {
        Words arguments;
        std::size_t count;
    } cases[] = {{{}, 0},
                 {{"-v"}, 0},
                 {{"A"}, 1},
                 {{"A", "B", "C"}, 3},
                 {{"A", "-b"}, 1},
                 {{"A", "", "C", "-"}, 3},
                 {{"A", "b-c", "-x", "D"}, 2}};
    for (const auto &entry : cases) {
        CList arguments(entry.arguments);
        std::vector<char *> names(entry.arguments.size() + 2, nullptr);
        int count = -1;
        getLookupEntrynames(arguments, names.data(), &count);
        ASSERT_EQ(static_cast<int>(entry.count), count);
        for (std::size_t at = 0; at < entry.count; ++at) {
            EXPECT_EQ(arguments[at], names[at]);
        }
        EXPECT_EQ(nullptr, names[entry.count]);
    }
}

TEST_F(Args, LookupAcceptsSeveralNamesAndOptionsAfterThem) {
    box.file("vekinfo.tag", "A 1\nB 2\n");
    const std::string from = box.path("vekinfo.tag") + "\n    defines ";
    const Result result = run({"-lookup", "A", "B", "-v"});
    EXPECT_EQ(VEKINFO_OK, result.status);
    EXPECT_EQ(1, verboseFlag);
    EXPECT_EQ("vekinfo searching relative to '" + box.path() + "':\n" + from + "'A 1'.\n" + from + "'B 2'.\n",
              result.out);
}

TEST_F(Args, LookupAcceptsThousandsOfNames) {
    box.file("vekinfo.tag", "A 1\nB 2\n");
    Words words = {"-lookup"};
    std::string expected = "vekinfo searching relative to '" + box.path() + "':\n";
    for (int at = 0; at < 5000; ++at) {
        words.emplace_back("B");
        expected += box.path("vekinfo.tag") + "\n    defines 'B 2'.\n";
    }
    EXPECT_EQ(expected, run(words).out);
}

TEST_F(Args, FailedLookupReturnsSuccess) {
    EXPECT_EQ(VEKINFO_OK, run({"-lookup", "NONE"}).status);
    EXPECT_EQ(VEKINFO_OK, run({"-path", "/nonexistent-name", "-lookup", "NONE"}).status);
}

// ---- show

TEST_F(Args, ShowReturnsTheStatusOfItsSearch) {
    EXPECT_EQ(TOV_NO_SUCH_FILE, run({"-show"}).status);
    EXPECT_EQ(TOV_INVALID_PATH, run({"-show", "-path", "none"}).status);
    box.file("vekinfo.tag", "X 1\n");
    EXPECT_EQ(VEKINFO_OK, run({"-show"}).status);
    EXPECT_EQ(shown(box.path("vekinfo.tag")), run({"-show"}).out);
}

// ---- edits

TEST_F(Args, AddAndClearWorkOnTheWorkingDirectory) {
    const Result added = run({"-addentry", "FOO", "1"});
    EXPECT_EQ(VEKINFO_OK, added.status);
    EXPECT_EQ("", added.out + added.err);
    EXPECT_EQ(test::kTemplate + "FOO 1\n", box.read("vekinfo.tag"));
    tovResetCache();
    const Result cleared = run({"-clearentry", "BAR"});
    EXPECT_EQ(VEKINFO_OK, cleared.status);
    EXPECT_EQ("", cleared.out + cleared.err);
    EXPECT_EQ(test::kTemplate, box.read("vekinfo.tag"));
}

TEST_F(Args, AddAndClearUseThePathUnchanged) {
    box.directory("d");
    EXPECT_EQ(VEKINFO_OK, run({"-addentry", "FOO", "1", "-path", "d"}).status);
    EXPECT_EQ(test::kTemplate + "FOO 1\n", box.read("d/vekinfo.tag"));
    tovResetCache();
    EXPECT_EQ(VEKINFO_OK, run({"-path", "d/", "-clearentry", "BAR"}).status);
    EXPECT_EQ(test::kTemplate, box.read("d/vekinfo.tag"));
    const Result failed = run({"-addentry", "FOO", "1", "-path", "$HOME"});
    EXPECT_EQ(VEKINFO_EDIT_FAILED, failed.status);
    EXPECT_EQ("Error (tov): 'system error' opening for write : $HOME.\n\n", failed.err);
}

TEST_F(Args, AValueMayBeginWithADash) {
    EXPECT_EQ(VEKINFO_OK, run({"-addentry", "NAME", "-x"}).status);
    EXPECT_EQ(test::kTemplate + "NAME -x\n", box.read("vekinfo.tag"));
    tovResetCache();
    EXPECT_EQ(VEKINFO_OK, run({"-addentry", "NAME", "-show"}).status);
    EXPECT_EQ(test::kTemplate + "NAME -x\nNAME -show\n", box.read("vekinfo.tag"));
}

TEST_F(Args, FailedEditReturnsEditFailed) {
    const Result added = run({"-addentry", "FOO", "1", "-path", "none"});
    EXPECT_EQ(VEKINFO_EDIT_FAILED, added.status);
    EXPECT_EQ("Error (tov): 'system error' opening for write : none.\n\n", added.err);
    EXPECT_EQ("", added.out);
    box.directory("d/vekinfo.tag");
    EXPECT_EQ(VEKINFO_EDIT_FAILED, run({"-clearentry", "FOO", "-path", "d"}).status);
    EXPECT_EQ(VEKINFO_OK, run({"-clearentry", "FOO", "-path", "none"}).status) << "nothing to clear";
}

TEST_F(Args, FailedEditOnAFullDiskLosesNothing) {
    box.file("vekinfo.tag", "A 1\nB 2\n");
    for (const Words &words : {Words{"-addentry", "FOO", "1"}, Words{"-clearentry", "A"}}) {
        tovResetCache();
        test::faults::failFrom("fallocate", 1, ENOSPC);
        test::faults::failFrom("pwrite", 1, ENOSPC);
        const Result result = run(words);
        test::faults::reset();
        EXPECT_EQ(VEKINFO_EDIT_FAILED, result.status);
        EXPECT_EQ(0U, result.err.find("Error (tov): 'system error' opening for write : ..\n\n"));
        EXPECT_EQ("A 1\nB 2\n", box.read("vekinfo.tag"));
    }
}

TEST_F(Args, InvalidValueIsPrintedAndReturnsSuccess) {
    const Result result = run({"-addentry", "VEKLIBCHECK", "maybe"});
    EXPECT_EQ(VEKINFO_OK, result.status);
    EXPECT_EQ("Error (tov): 'syntax error' VEKLIBCHECK line in vekinfo.tag file : ./vekinfo.tag.\n\n",
              result.err);
    EXPECT_EQ(test::kTemplate, box.read("vekinfo.tag"));
}

TEST_F(Args, ExhaustedMemoryNeverCrashes) {
    const std::set<int> possible = {VEKINFO_OK,       VEKINFO_EDIT_FAILED, TOV_INTERNAL_ERROR,
                                    TOV_MEMORY_ERROR, TOV_NO_SUCH_FILE,    TOV_INVALID_PATH};
    for (const Words &words : {Words{"-show"}, Words{"-lookup", "A", "DMTYPE", "NAMESPACE"},
                               Words{"-addentry", "DMTYPE", "x"}, Words{"-clearentry", "A"}}) {
        for (int nth = 1; nth <= 40; ++nth) {
            box.file("vekinfo.tag", "A 1\nDMTYPE m\n");
            tovResetCache();
            test::Capture capture;
            CList argv = argvOf(words);
            test::faults::failAllocation(nth);
            const int status = tovProcessVekinfoArgs(argv);
            test::faults::reset();
            EXPECT_TRUE(possible.contains(status)) << status;
        }
    }
}

} // namespace
