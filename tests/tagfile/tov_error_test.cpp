#include "tagfile/tov.h"

#include "common/base/vek_error.h"
#include "tests/support/capture.h"
#include "tests/support/faults.h"
#include "tests/tagfile/tag_support.h"

#include <gtest/gtest.h>

#include <iterator>
#include <limits>
#include <map>
#include <string>
#include <vector>

namespace {

struct CodeAndText {
    int code;
    const char *text;
};

constexpr CodeAndText kTexts[] = {
    {TOV_OK, "no error"},
    {TOV_INTERNAL_ERROR, "internal error"},
    {TOV_MEMORY_ERROR, "memory error"},
    {TOV_SYSTEM_ERROR, "system error"},
    {TOV_NO_SUCH_DIRECTORY, "no such directory"},
    {TOV_LIBRARY_NOT_DEFINED, "library not defined"},
    {TOV_NO_SUCH_FILE, "no such file"},
    {TOV_ATTRIBUTE_NOT_ASSIGNED, "attribute not assigned"},
    {TOV_ACCESS_ERROR, "access error"},
    {TOV_SYNTAX_ERROR, "syntax error"},
    {TOV_INVALID_PATH, "invalid path"},
    {TOV_PATH_PROCESSING, "error while processing path"},
    {TOV_INVALID_ENVIRONMENT, "invalid environment variable"},
    {TOV_BUFFER_TOO_SMALL, "buffer too small"},
    {TOV_INCONSISTENT, "inconsistent information"},
    {TOV_FILE_EXISTS, "file exists"},
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
    EXPECT_EQ(code, tovPrintError(code, text, where, line)) << "the code is returned";
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
    for (const int code : {int{TOV_INVALID_ERROR_NUMBER}, 17, 37, 1000, -1, std::numeric_limits<int>::max(),
                           std::numeric_limits<int>::min()}) {
        EXPECT_STREQ("invalid error number", tovGetErrorMsg(code)) << code;
    }
}

TEST(TovErrorMap, TranslatesTheLibraryLayersCodes) {
    // The codes of the library layer are numbers here: this layer must not include its header.
    const std::map<std::size_t, int> translated = {
        {0, TOV_OK},                   // RYN_OK
        {1, TOV_INTERNAL_ERROR},       // RYN_INTERNAL_ERROR
        {2, TOV_MEMORY_ERROR},         // RYN_MEMORY_ERROR
        {3, TOV_SYSTEM_ERROR},         // RYN_SYSTEM_ERROR
        {4, TOV_NO_SUCH_DIRECTORY},    // RYN_NO_SUCH_DIRECTORY
        {5, TOV_LIBRARY_NOT_DEFINED},  // RYN_LIBRARY_NOT_DEFINED
        {8, TOV_NO_SUCH_FILE},         // RYN_NO_SUCH_FILE
        {11, TOV_ACCESS_ERROR},        // RYN_PERMISSION_DENIED
        {16, TOV_SYNTAX_ERROR},        // RYN_SYNTAX_ERROR
        {20, TOV_INVALID_PATH},        // RYN_INVALID_PATH
        {21, TOV_INVALID_ENVIRONMENT}, // RYN_INVALID_ENVIRONMENT
        {23, TOV_BUFFER_TOO_SMALL},    // RYN_BUFFER_TOO_SMALL
    };
    ASSERT_EQ(32U, std::size(ryn_to_tov_errorcode_map));
    for (std::size_t code = 0; code < std::size(ryn_to_tov_errorcode_map); ++code) {
        const int expected = translated.contains(code) ? translated.at(code) : TOV_INVALID_ERROR_NUMBER;
        EXPECT_EQ(expected, ryn_to_tov_errorcode_map[code]) << code;
    }
}

TEST(TovPrintError, PrintsTheTextOfTheCodeAndTheText) {
    EXPECT_EQ("Error (tov): 'invalid path' /no/such.\n", composed(TOV_INVALID_PATH, "/no/such", nullptr, 0));
}

TEST(TovPrintError, EmptyFileNameOmitsFileAndLine) {
    EXPECT_EQ("Error (tov): 'syntax error' some text.\n", composed(TOV_SYNTAX_ERROR, "some text", "", 7));
    EXPECT_EQ("Error (tov): 'syntax error' some text.\n",
              composed(TOV_SYNTAX_ERROR, "some text", nullptr, 7));
}

TEST(TovPrintError, PrintsFileAndLine) {
    EXPECT_EQ("Error (tov): 'syntax error' NAMESPACE line in vekinfo.tag file : /d/vekinfo.tag line 7.\n",
              composed(TOV_SYNTAX_ERROR, "NAMESPACE line in vekinfo.tag file", "/d/vekinfo.tag", 7));
}

TEST(TovPrintError, LineZeroIsNotPrinted) {
    EXPECT_EQ("Error (tov): 'system error' opening for write : /d.\n",
              composed(TOV_SYSTEM_ERROR, "opening for write", "/d", 0));
}

TEST(TovPrintError, UnknownCodeIsPrintedAsInvalidErrorNumber) {
    EXPECT_EQ("Error (tov): 'invalid error number' x.\n", composed(99, "x", nullptr, 0));
}

TEST(TovPrintError, EveryCodeIsReturned) {
    test::ReportCollector collector;
    for (const int code : {int{TOV_OK}, int{TOV_INTERNAL_ERROR}, int{TOV_FILE_EXISTS},
                           int{TOV_INVALID_ERROR_NUMBER}, 1000, -1}) {
        EXPECT_EQ(code, tovPrintError(code, "t", "w", 1));
    }
}

TEST(TovPrintError, TextIsNotUsedAsAFormat) {
    EXPECT_EQ("Error (tov): 'invalid path' %s%n%d%% : %s%n line 3.\n",
              composed(TOV_INVALID_PATH, "%s%n%d%%", "%s%n", 3));
}

TEST(TovPrintError, ALongReportIsNotCut) {
    for (const std::size_t size : {1023U, 1024U, 1025U, 4095U, 4096U, 4097U, 100U * 1024U}) {
        const std::string text(size, 't');
        const std::string where(size, 'w');
        EXPECT_EQ("Error (tov): 'system error' " + text + " : " + where + ".\n",
                  composed(TOV_SYSTEM_ERROR, text.c_str(), where.c_str(), 0))
            << size;
    }
}

TEST(TovPrintError, WithoutHookTheReportIsPrintedBeforeAnEmptyLine) {
    test::Capture capture;
    tovPrintError(TOV_SYSTEM_ERROR, "opening for write", "/d", 0);
    EXPECT_EQ("Error (tov): 'system error' opening for write : /d.\n\n", capture.err());
    EXPECT_EQ("", capture.out());
}

TEST(TovPrintError, NullTextIsEmpty) {
    EXPECT_EQ("Error (tov): 'system error' .\n", composed(TOV_SYSTEM_ERROR, nullptr, nullptr, 0));
}

TEST(TovPrintError, CodeIsReturnedWithoutMemory) {
    test::Capture capture;
    const std::string text(8000, 't');
    test::faults::failAllocationsFrom(1);
    const int code = tovPrintError(TOV_INVALID_PATH, text.c_str(), text.c_str(), 4);
    test::faults::reset();
    EXPECT_EQ(TOV_INVALID_PATH, code);
}

TEST(TovPrintError, WithoutMemoryOnlyTheTextOfTheCodeIsPrinted) {
    for (const char *where : {"", "/d"}) {
        for (const int line : {0, 4}) {
            test::Capture capture;
            test::faults::failAllocation(1);
            EXPECT_EQ(TOV_INVALID_PATH, tovPrintError(TOV_INVALID_PATH, "text", where, line));
            EXPECT_EQ("invalid path\n", capture.err()) << where << line;
        }
    }
}

TEST(TovErrorHandler, ReceivesTheReportAndNothingReachesTheHook) {
    hookTexts().clear();
    vekRegErrorFunc(hook);
    test::ReportCollector collector;
    test::Capture capture;

    const int code =
        tovPrintError(TOV_SYNTAX_ERROR, "NAMESPACE line in vekinfo.tag file", "/d/vekinfo.tag", 7);

    EXPECT_EQ(TOV_SYNTAX_ERROR, code);
    const test::TagReports expected = {
        {TOV_SYNTAX_ERROR, "NAMESPACE line in vekinfo.tag file", "/d/vekinfo.tag", 7}};
    EXPECT_EQ(expected, collector.take());
    EXPECT_TRUE(hookTexts().empty());
    EXPECT_EQ("", capture.err());
    vekRegErrorFunc(nullptr);
}

TEST(TovErrorHandler, RegisteringReturnsThePreviousHandler) {
    EXPECT_EQ(nullptr, tovRegisterErrorHandler(firstHandler));
    EXPECT_EQ(firstHandler, tovRegisterErrorHandler(secondHandler));
    EXPECT_EQ(secondHandler, tovRegisterErrorHandler(nullptr));
    EXPECT_EQ(nullptr, tovRegisterErrorHandler(nullptr));
}

TEST(TovErrorHandler, NullRestoresTheHook) {
    tovRegisterErrorHandler(firstHandler);
    tovRegisterErrorHandler(nullptr);
    EXPECT_EQ("Error (tov): 'file exists' x.\n", composed(TOV_FILE_EXISTS, "x", nullptr, 0));
}

} // namespace
