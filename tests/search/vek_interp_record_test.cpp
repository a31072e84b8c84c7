// The argument record: its layout, its messages, and the arguments that are wrong.

#include "search/vek_interp.h"

#include "tests/search/interpolation.h"
#include "tests/support/capture.h"
#include "tests/support/environment.h"

#include <array>
#include <cstddef>
#include <gtest/gtest.h>
#include <string>

using test::interpolate;
using test::Interpolated;

TEST(InterpolationRecord, HasItsFieldsInTheDocumentedOrderIn56Bytes) {
    EXPECT_EQ(sizeof(vekInterpArgs), 56U);
    EXPECT_EQ(offsetof(vekInterpArgs, flags), 0U);
    EXPECT_EQ(offsetof(vekInterpArgs, fileName), 8U);
    EXPECT_EQ(offsetof(vekInterpArgs, line), 16U);
    EXPECT_EQ(offsetof(vekInterpArgs, errorBuffer), 24U);
    EXPECT_EQ(offsetof(vekInterpArgs, errorBufferSize), 32U);
    EXPECT_EQ(offsetof(vekInterpArgs, errorPosition), 40U);
    EXPECT_EQ(offsetof(vekInterpArgs, errorCode), 44U);
    EXPECT_EQ(offsetof(vekInterpArgs, neededSize), 48U);
}

TEST(InterpolationRecord, EveryCallResetsCodeAndPosition) {
    test::setEnvironment({});
    std::array<char, 20> out = {};
    vekInterpArgs args = {};
    EXPECT_EQ(vekInterpolate("ab$X", out.data(), out.size(), &args, sizeof args), 0);
    EXPECT_EQ(args.errorCode, VEK_INTERP_NOT_SET);
    EXPECT_EQ(args.errorPosition, 2);
    EXPECT_EQ(vekInterpolate("ab", out.data(), out.size(), &args, sizeof args), 1);
    EXPECT_EQ(args.errorCode, VEK_INTERP_OK);
    EXPECT_EQ(args.errorPosition, -1);
}

TEST(InterpolationRecord, LastErrorWins) {
    test::setEnvironment({});
    const Interpolated result = interpolate("$A/$BB ${C");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "$A/$BB ${C");
    EXPECT_EQ(result.code, VEK_INTERP_BADLY_FORMED);
    EXPECT_EQ(result.position, 7);
    EXPECT_EQ(result.message, "badly formed env var reference");
    const Interpolated other = interpolate("${C/$A/$BB");
    EXPECT_EQ(other.code, VEK_INTERP_NOT_SET);
    EXPECT_EQ(other.position, 7);
    EXPECT_EQ(other.message, "environment variable 'BB' not set");
}

TEST(InterpolationRecord, MessageNamesFileAndLine) {
    test::setEnvironment({});
    const std::string text = "environment variable 'A' not set";
    EXPECT_EQ(interpolate("$A").message, text);
    EXPECT_EQ(interpolate("$A", {.fileName = "/f/setup.loc"}).message, text + "\n    file:/f/setup.loc");
    EXPECT_EQ(interpolate("$A", {.fileName = "f", .line = 12}).message, text + "\n    file:f line:12");
    EXPECT_EQ(interpolate("$A", {.line = 0}).message, text + " line:0");
    EXPECT_EQ(interpolate("$A", {.line = 4294967294U}).message, text + " line:4294967294");
    EXPECT_EQ(interpolate("$A", {.fileName = ""}).message, text + "\n    file:");
}

TEST(InterpolationRecord, EveryMessageNamesFileAndLine) {
    test::setEnvironment({});
    EXPECT_EQ(interpolate("abc", {.fileName = "f", .line = 3, .outSize = 2}).message,
              "out buffer too small\n    file:f line:3");
    EXPECT_EQ(interpolate("$(", {.fileName = "f", .line = 3}).message,
              "badly formed reference\n    file:f line:3");
}

TEST(InterpolationRecord, MessageIsCutToItsBuffer) {
    test::setEnvironment({});
    const std::string whole = "environment variable 'A' not set\n    file:f line:7";
    for (std::size_t size = 1; size <= whole.size() + 2; ++size) {
        EXPECT_EQ(interpolate("$A", {.fileName = "f", .line = 7, .errorSize = size}).message,
                  whole.substr(0, size - 1));
    }
}

TEST(InterpolationRecord, MessageBufferOfNoBytesIsNotWritten) {
    test::setEnvironment({});
    std::array<char, 8> out = {};
    std::array<char, 2> message = {'x', 'y'};
    vekInterpArgs args = {};
    args.errorBuffer = message.data();
    args.errorBufferSize = 0;
    EXPECT_EQ(vekInterpolate("$A", out.data(), out.size(), &args, sizeof args), 0);
    EXPECT_EQ(args.errorCode, VEK_INTERP_NOT_SET);
    EXPECT_EQ(message[0], 'x');
}

TEST(InterpolationRecord, LongNameInTheMessageOverflowsNothing) {
    test::setEnvironment({});
    for (const std::size_t length : {2000U, 2047U, 2048U, 2049U, 5000U, 100000U}) {
        const std::string name(length, 'N');
        const Interpolated result = interpolate("$" + name, {.errorSize = 200});
        EXPECT_EQ(result.code, VEK_INTERP_NOT_SET);
        EXPECT_EQ(result.message, ("environment variable '" + name).substr(0, 199));
        EXPECT_EQ(result.out, "$" + name);
        EXPECT_EQ(interpolate("$" + name, {.errorSize = 200000}).message,
                  "environment variable '" + name + "' not set");
    }
}

TEST(InterpolationRecord, MessageIsUntouchedOnSuccess) {
    std::array<char, 8> out = {};
    std::array<char, 8> message = {'o', 'l', 'd', '\0'};
    vekInterpArgs args = {};
    args.errorBuffer = message.data();
    args.errorBufferSize = message.size();
    EXPECT_EQ(vekInterpolate("a", out.data(), out.size(), &args, sizeof args), 1);
    EXPECT_STREQ(message.data(), "old");
}

TEST(InterpolationRecord, ErrorIsRecordedWithoutAMessageBuffer) {
    test::setEnvironment({});
    std::array<char, 8> out = {};
    vekInterpArgs args = {};
    args.errorBufferSize = 100;
    EXPECT_EQ(vekInterpolate("a$A", out.data(), out.size(), &args, sizeof args), 0);
    EXPECT_EQ(args.errorCode, VEK_INTERP_NOT_SET);
    EXPECT_EQ(args.errorPosition, 1);
    EXPECT_STREQ(out.data(), "a$A");
}

// Null arguments.

namespace {

struct NullCall {
    std::array<char, 64> message = {};
    vekInterpArgs args = {};
    NullCall() {
        args.line = VEK_INTERP_NO_LINE;
        args.errorBuffer = message.data();
        args.errorBufferSize = message.size();
        args.errorCode = 4711;
        args.errorPosition = 4711;
    }
};

} // namespace

TEST(InterpolationRecord, NullInputIsAnError) {
    NullCall call;
    std::array<char, 4> out = {'x', '\0'};
    EXPECT_EQ(vekInterpolate(nullptr, out.data(), out.size(), &call.args, sizeof call.args), 0);
    EXPECT_EQ(call.args.errorCode, VEK_INTERP_NULL_ARGUMENT);
    EXPECT_EQ(call.args.errorPosition, -1);
    EXPECT_STREQ(call.message.data(), "in arg in NULL");
    EXPECT_STREQ(out.data(), "");
}

TEST(InterpolationRecord, NullOutputIsAnError) {
    NullCall call;
    EXPECT_EQ(vekInterpolate("a", nullptr, 10, &call.args, sizeof call.args), 0);
    EXPECT_EQ(call.args.errorCode, VEK_INTERP_NULL_ARGUMENT);
    EXPECT_EQ(call.args.errorPosition, -1);
    EXPECT_STREQ(call.message.data(), "out arg in NULL");
}

TEST(InterpolationRecord, InputIsTestedBeforeOutput) {
    NullCall call;
    EXPECT_EQ(vekInterpolate(nullptr, nullptr, 10, &call.args, sizeof call.args), 0);
    EXPECT_STREQ(call.message.data(), "in arg in NULL");
}

TEST(InterpolationRecord, NullArgumentMessageNamesFileAndLine) {
    NullCall call;
    call.args.fileName = "f";
    call.args.line = 5;
    EXPECT_EQ(vekInterpolate("a", nullptr, 10, &call.args, sizeof call.args), 0);
    EXPECT_STREQ(call.message.data(), "out arg in NULL\n    file:f line:5");
}

TEST(InterpolationRecord, NullArgumentsAreNotRecordedWithoutAMessageBuffer) {
    for (const bool nullIn : {true, false}) {
        NullCall call;
        call.args.errorBuffer = nullptr;
        std::array<char, 4> out = {};
        EXPECT_EQ(vekInterpolate(nullIn ? nullptr : "a", nullIn ? out.data() : nullptr, out.size(),
                                 &call.args, sizeof call.args),
                  0);
        EXPECT_EQ(call.args.errorCode, VEK_INTERP_OK);
        EXPECT_EQ(call.args.errorPosition, -1);
    }
}

// The record itself.

TEST(InterpolationRecord, MayBeNull) {
    test::setEnvironment({{"A", "value"}});
    test::Capture capture;
    std::array<char, 8> out = {};
    EXPECT_EQ(vekInterpolate("$A", out.data(), out.size(), nullptr, 0), 1);
    EXPECT_STREQ(out.data(), "value");
    EXPECT_EQ(vekInterpolate("$B", out.data(), out.size(), nullptr, 7), 0);
    EXPECT_STREQ(out.data(), "$B");
    EXPECT_EQ(vekInterpolate(nullptr, out.data(), out.size(), nullptr, 0), 0);
    EXPECT_EQ(vekInterpolate("a", nullptr, 0, nullptr, 0), 0);
    EXPECT_EQ(capture.err(), "");
    EXPECT_EQ(capture.out(), "");
}

TEST(InterpolationRecord, OfAnotherSizeIsReportedAndUsed) {
    test::setEnvironment({{"A", "value"}});
    std::array<char, 8> out = {};
    for (const std::size_t size : {std::size_t{0}, sizeof(vekInterpArgs) - 1, sizeof(vekInterpArgs) + 1}) {
        test::Capture capture;
        vekInterpArgs args = {};
        args.flags = VEK_INTERP_KEEP_VARIABLES;
        EXPECT_EQ(vekInterpolate("$A", out.data(), out.size(), &args, size), 1);
        EXPECT_STREQ(out.data(), "$A");
        EXPECT_EQ(args.neededSize, 3U);
        const std::string err = capture.err();
        const std::string begin = "ASSERT FALURE: vekInterp ";
        ASSERT_EQ(err.substr(0, begin.size()), begin);
        const std::size_t digits = err.find_first_not_of("0123456789", begin.size());
        EXPECT_GT(digits, begin.size());
        EXPECT_EQ(err.substr(digits), " sizeof(vekInterpArgs) != otherArgsSz\n");
    }
}

TEST(InterpolationRecord, OfTheRightSizeIsNotReported) {
    test::Capture capture;
    EXPECT_EQ(interpolate("a").status, 1);
    EXPECT_EQ(capture.err(), "");
}
