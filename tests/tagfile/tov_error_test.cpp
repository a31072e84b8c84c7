#include "tagfile/tov.h"

#include "common/base/vek_error.h"
#include "tests/support/capture.h"
#include "tests/support/faults.h"
#include "tests/tagfile/tag_support.h"

#include <gtest/gtest.h>

#include <iterator>
#include <limits>
#include <string>
#include <vector>

namespace {

struct CodeAndText {
    int code;
    const char *text;
};

constexpr CodeAndText kTexts[] = {
    {0, "no error"},
    {1, "internal error"},
    {2, "memory error"},
    {3, "system error"},
    {4, "no such directory"},
    {5, "library not defined"},
    {6, "no such file"},
    {7, "attribute not assigned"},
    {8, "access error"},
    {9, "syntax error"},
    {10, "invalid path"},
    {11, "error while processing path"},
    {12, "invalid environment variable"},
    {13, "buffer too small"},
    {14, "inconsistent information"},
    {15, "file exists"},
};

std::vector<std::string> &hookTexts() {
    static std::vector<std::string> texts;
    return texts;
}

void hook(const char *message) {
    hookTexts().emplace_back(message);
}

void firstHandler(int, const char *, const char *, int) {}

void secondHandler(int, const char *, const char *, int) {}

/// The message that reaches the common error hook for one report.
std::string composed(int code, const char *text, const char *where, int line) {
    hookTexts().clear();
    const vekErrorFunc previous = vekRegErrorFunc(hook);
    EXPECT_EQ(code, tovPrintError(code, text, where, line)) << "the code comes back";
    vekRegErrorFunc(previous);
    EXPECT_EQ(1U, hookTexts().size()) << "one report, one message";
    return hookTexts().empty() ? "" : hookTexts().front();
}

TEST(TovErrorMsg, EveryCodeHasItsText) {
    for (const CodeAndText &entry : kTexts) {
        EXPECT_STREQ(entry.text, tovGetErrorMsg(entry.code)) << entry.code;
    }
}

TEST(TovErrorMsg, UnknownCodeIsAnInvalidErrorNumber) {
    for (const int code :
         {16, 17, 37, 1000, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        EXPECT_STREQ("invalid error number", tovGetErrorMsg(code)) << code;
    }
}

TEST(TovErrorMap, TranslatesTheLibraryLayersCodes) {
    constexpr int kExpected[32] = {0, 1,  2,  3,  4,  5,  16, 16, 6,  16, 16, 8,  16, 16, 16, 16,
                                   9, 16, 16, 16, 10, 12, 16, 13, 16, 16, 16, 16, 16, 16, 16, 16};
    ASSERT_EQ(32U, std::size(ryn_to_tov_errorcode_map));
    for (std::size_t code = 0; code < std::size(kExpected); ++code) {
        EXPECT_EQ(kExpected[code], ryn_to_tov_errorcode_map[code]) << code;
    }
}

TEST(TovPrintError, NamesTheCodeAndTheText) {
    EXPECT_EQ("Error (tov): 'invalid path' /no/such.\n", composed(10, "/no/such", nullptr, 0));
}

TEST(TovPrintError, AnEmptyPlaceIsNoPlaceEvenWithALine) {
    EXPECT_EQ("Error (tov): 'syntax error' some text.\n", composed(9, "some text", "", 7));
    EXPECT_EQ("Error (tov): 'syntax error' some text.\n", composed(9, "some text", nullptr, 7));
}

TEST(TovPrintError, NamesThePlaceAndTheLine) {
    EXPECT_EQ("Error (tov): 'syntax error' NAMESPACE line in vekinfo.tag file : /d/vekinfo.tag line 7.\n",
              composed(9, "NAMESPACE line in vekinfo.tag file", "/d/vekinfo.tag", 7));
}

TEST(TovPrintError, LineZeroIsLeftOut) {
    EXPECT_EQ("Error (tov): 'system error' opening for write : /d.\n",
              composed(3, "opening for write", "/d", 0));
}

TEST(TovPrintError, AnUnknownCodeIsPrintedWithTheTextForSuch) {
    EXPECT_EQ("Error (tov): 'invalid error number' x.\n", composed(99, "x", nullptr, 0));
}

TEST(TovPrintError, EveryCodeIsReturned) {
    test::ReportCollector collector;
    for (const int code : {0, 1, 15, 16, 1000, -1}) {
        EXPECT_EQ(code, tovPrintError(code, "t", "w", 1));
    }
}

TEST(TovPrintError, TheTextIsNeverReadAsAFormat) {
    EXPECT_EQ("Error (tov): 'invalid path' %s%n%d%% : %s%n line 3.\n", composed(10, "%s%n%d%%", "%s%n", 3));
}

TEST(TovPrintError, ALongReportIsNotCut) {
    for (const std::size_t size : {1023U, 1024U, 1025U, 4095U, 4096U, 4097U, 100U * 1024U}) {
        const std::string text(size, 't');
        const std::string where(size, 'w');
        EXPECT_EQ("Error (tov): 'system error' " + text + " : " + where + ".\n",
                  composed(3, text.c_str(), where.c_str(), 0))
            << size;
    }
}

TEST(TovPrintError, WithoutHookTheReportIsPrintedBeforeAnEmptyLine) {
    test::Capture capture;
    tovPrintError(3, "opening for write", "/d", 0);
    EXPECT_EQ("Error (tov): 'system error' opening for write : /d.\n\n", capture.err());
    EXPECT_EQ("", capture.out());
}

TEST(TovPrintError, NullTextIsEmpty) {
    EXPECT_EQ("Error (tov): 'system error' .\n", composed(3, nullptr, nullptr, 0));
}

TEST(TovPrintError, CodeIsReturnedWithoutMemory) {
    test::Capture capture;
    const std::string text(8000, 't');
    test::faults::failAllocationsFrom(1);
    const int code = tovPrintError(10, text.c_str(), text.c_str(), 4);
    test::faults::reset();
    EXPECT_EQ(10, code);
}

TEST(TovPrintError, WithoutMemoryOnlyTheTextOfTheCodeIsPrinted) {
    for (const char *where : {"", "/d"}) {
        for (const int line : {0, 4}) {
            test::Capture capture;
            test::faults::failAllocation(1);
            EXPECT_EQ(10, tovPrintError(10, "text", where, line));
            EXPECT_EQ("invalid path\n", capture.err()) << where << line;
        }
    }
}

TEST(TovErrorHandler, ReceivesTheReportAndNothingReachesTheHook) {
    hookTexts().clear();
    vekRegErrorFunc(hook);
    test::ReportCollector collector;
    test::Capture capture;

    const int code = tovPrintError(9, "NAMESPACE line in vekinfo.tag file", "/d/vekinfo.tag", 7);

    EXPECT_EQ(9, code);
    const test::Reports expected = {{9, "NAMESPACE line in vekinfo.tag file", "/d/vekinfo.tag", 7}};
    EXPECT_EQ(expected, collector.take());
    EXPECT_TRUE(hookTexts().empty());
    EXPECT_EQ("", capture.err());
    vekRegErrorFunc(nullptr);
}

TEST(TovErrorHandler, RegisteringGivesThePreviousOneBack) {
    EXPECT_EQ(nullptr, tovRegisterErrorHandler(firstHandler));
    EXPECT_EQ(firstHandler, tovRegisterErrorHandler(secondHandler));
    EXPECT_EQ(secondHandler, tovRegisterErrorHandler(nullptr));
    EXPECT_EQ(nullptr, tovRegisterErrorHandler(nullptr));
}

TEST(TovErrorHandler, NullRestoresTheHook) {
    tovRegisterErrorHandler(firstHandler);
    tovRegisterErrorHandler(nullptr);
    EXPECT_EQ("Error (tov): 'file exists' x.\n", composed(15, "x", nullptr, 0));
}

} // namespace
