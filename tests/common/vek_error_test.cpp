#include "common/base/vek_error.h"

#include "tests/support/capture.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::vector<std::string> receivedByA;
std::vector<std::string> receivedByB;

void receiveA(const char *message) {
    receivedByA.emplace_back(message);
}
void receiveB(const char *message) {
    receivedByB.emplace_back(message);
}

TEST(VekReportError, PrintsOnStandardErrorByDefault) {
    test::Capture capture;
    vekReportError("x");
    EXPECT_EQ("x\n", capture.err());
    EXPECT_EQ("", capture.out());
}

TEST(VekReportError, AddsANewlineAfterTheMessagesOwn) {
    test::Capture capture;
    vekReportError("Error (tov): x.\n");
    EXPECT_EQ("Error (tov): x.\n\n", capture.err());
}

TEST(VekReportError, DoesNotUseTheMessageAsAFormat) {
    test::Capture capture;
    vekReportError("100%s %n %d");
    EXPECT_EQ("100%s %n %d\n", capture.err());
}

TEST(VekReportError, WritesAMessageOfAnyLength) {
    const std::string message(100'000, 'm');
    test::Capture capture;
    vekReportError(message.c_str());
    EXPECT_EQ(message + "\n", capture.err());
}

TEST(VekReportError, ReportsNullAsTheEmptyText) {
    test::Capture capture;
    vekReportError(nullptr);
    EXPECT_EQ("\n", capture.err());

    vekRegErrorFunc(receiveA);
    vekReportError(nullptr);
    EXPECT_EQ((std::vector<std::string>{""}), receivedByA);
}

TEST(VekReportError, PassesTheMessageToTheHookOnly) {
    test::Capture capture;
    vekRegErrorFunc(receiveA);

    vekReportError("one");
    vekReportError("two\n");

    EXPECT_EQ((std::vector<std::string>{"one", "two\n"}), receivedByA);
    EXPECT_EQ("", capture.err());
}

TEST(VekRegErrorFunc, ReturnsThePreviousFunction) {
    EXPECT_EQ(nullptr, vekRegErrorFunc(receiveA));
    EXPECT_EQ(&receiveA, vekRegErrorFunc(receiveB));
    EXPECT_EQ(&receiveB, vekRegErrorFunc(nullptr));
    EXPECT_EQ(nullptr, vekRegErrorFunc(nullptr));
}

TEST(VekRegErrorFunc, SendsMessagesToTheFunctionRegisteredLast) {
    vekRegErrorFunc(receiveA);
    vekRegErrorFunc(receiveB);

    vekReportError("x");

    EXPECT_TRUE(receivedByA.empty());
    EXPECT_EQ((std::vector<std::string>{"x"}), receivedByB);
}

TEST(VekRegErrorFunc, RestoresStandardErrorForNull) {
    vekRegErrorFunc(receiveA);
    vekRegErrorFunc(nullptr);
    test::Capture capture;

    vekReportError("x");

    EXPECT_EQ("x\n", capture.err());
    EXPECT_TRUE(receivedByA.empty());
}

TEST(VekGetErrorFunc, ReturnsTheRegisteredFunction) {
    EXPECT_EQ(nullptr, vekGetErrorFunc());
    vekRegErrorFunc(receiveA);
    EXPECT_EQ(&receiveA, vekGetErrorFunc());
    vekRegErrorFunc(nullptr);
    EXPECT_EQ(nullptr, vekGetErrorFunc());
}

} // namespace
