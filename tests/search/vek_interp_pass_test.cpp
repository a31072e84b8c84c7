// Buffers, sizes, and recursive mode.

#include "search/vek_interp.h"

#include "common/platform/vek_init.h"
#include "tests/search/interpolation.h"
#include "tests/support/environment.h"
#include "tests/support/faults.h"
#include "tests/support/sandbox.h"

#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

using test::interpolate;
using test::Interpolated;

namespace {

constexpr const char *kTooSmall = "out buffer too small";
constexpr const char *kTooRecursive = "too many recursive $ substitutions: max 20";

void expectCut(const std::string &text, std::size_t outSize, const std::string &out, std::size_t needed) {
    const Interpolated result = interpolate(text, {.outSize = outSize});
    EXPECT_EQ(result.status, 0) << text;
    EXPECT_EQ(result.out, out) << text;
    EXPECT_EQ(result.code, VEK_INTERP_OUT_TOO_SMALL) << text;
    EXPECT_EQ(result.position, -1) << text;
    EXPECT_EQ(result.message, kTooSmall) << text;
    EXPECT_EQ(result.needed, needed) << text;
}

void put(std::array<char, 64> &buffer, const std::string &text) {
    text.copy(buffer.data(), buffer.size() - 1);
    buffer[text.size()] = '\0';
}

/// V1 is "$V2" and so on; the last of `levels` variables is "end".
test::Environment chain(int levels) {
    test::Environment variables;
    for (int i = 1; i < levels; ++i) {
        variables.emplace_back("V" + std::to_string(i), "$V" + std::to_string(i + 1));
    }
    variables.emplace_back("V" + std::to_string(levels), "end");
    return variables;
}

} // namespace

// The output buffer.

TEST(InterpolationPass, TextThatDoesNotFitIsCut) {
    expectCut("abcde", 5, "abcd", 6);
    expectCut("abcde", 1, "", 6);
}

TEST(InterpolationPass, TextThatJustFitsIsWhole) {
    const Interpolated result = interpolate("abcde", {.outSize = 6});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "abcde");
    EXPECT_EQ(result.needed, 6U);
}

TEST(InterpolationPass, ValueThatDoesNotFitIsCut) {
    test::setEnvironment({{"A", "value"}});
    expectCut("$A", 5, "valu", 6);
    expectCut("x$A", 6, "xvalu", 7);
    expectCut("x$A/y", 5, "xval", 9);
    expectCut("xyz$A", 3, "xy", 9);
    EXPECT_EQ(interpolate("$A", {.outSize = 6}).out, "value");
    EXPECT_EQ(interpolate("x$A", {.outSize = 7}).status, 1);
}

TEST(InterpolationPass, EmptyValueFitsInTheLastByte) {
    test::setEnvironment({{"E", ""}});
    const Interpolated result = interpolate("ab$E", {.outSize = 3});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "ab");
    EXPECT_EQ(result.needed, 3U);
}

TEST(InterpolationPass, CopiedReferenceThatDoesNotFitIsCut) {
    test::setEnvironment({});
    expectCut("$NONE", 4, "$NO", 6);
    expectCut("a$$b", 2, "a", 4);
}

TEST(InterpolationPass, BufferOfNoBytesIsNotWritten) {
    test::setEnvironment({{"A", "value"}});
    expectCut("", 0, "", 1);
    expectCut("abc", 0, "", 4);
    expectCut("x$A", 0, "", 7);
    char out = 'x';
    EXPECT_EQ(vekInterpolate("abc", &out, 0, nullptr, 0), 0);
    EXPECT_EQ(vekInterpolate("$A", &out, 0, nullptr, 0), 0);
    EXPECT_EQ(vekInterpolate(nullptr, &out, 0, nullptr, 0), 0);
    EXPECT_EQ(out, 'x');
}

TEST(InterpolationPass, NeededSizeCountsEveryKindOfResult) {
    test::setEnvironment({{"A", "value"}, {"HOME", "/home"}});
    expectCut("ab$A$$~/${A}$(x)$NONE$(", 2, "a",
              std::strlen("ab") + std::strlen("value") + std::strlen("$") + std::strlen("/home") +
                  std::strlen("/") + std::strlen("value") + std::strlen("$(x)") + std::strlen("$NONE") +
                  std::strlen("${") + 1);
}

TEST(InterpolationPass, MeasuringObservesTheFlags) {
    test::setEnvironment({{"A", "value"}});
    const Interpolated result = interpolate("abc$A", {.flags = VEK_INTERP_KEEP_VARIABLES, .outSize = 2});
    EXPECT_EQ(result.code, VEK_INTERP_OUT_TOO_SMALL);
    EXPECT_EQ(result.needed, std::strlen("abc$A") + 1);
}

TEST(InterpolationPass, MeasuringKnowsTheFileName) {
    test::Sandbox box;
    test::makeInstallation(box, "inst");
    vekInitNonVEKApp("/nowhere/app");
    const std::string file = box.path("inst/f");
    const Interpolated result =
        interpolate("abc$(compute:THIS_FILE_INST_ROOT)", {.fileName = file.c_str(), .outSize = 2});
    EXPECT_EQ(result.code, VEK_INTERP_OUT_TOO_SMALL);
    EXPECT_EQ(result.needed, 3 + box.path("inst").size() + 1);
    EXPECT_EQ(result.message, kTooSmall + ("\n    file:" + file));
}

TEST(InterpolationPass, FullBufferHidesAnEarlierError) {
    test::setEnvironment({});
    expectCut("$NONE/abcdef", 8, "$NONE/a", 13);
}

TEST(InterpolationPass, NeededSizeIsSetWhenAReferenceFailed) {
    test::setEnvironment({{"A", "value"}});
    const Interpolated result = interpolate("$A/$NONE");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.needed, std::strlen("value/$NONE") + 1);
}

TEST(InterpolationPass, NeededSizeIsSetOnSuccess) {
    test::setEnvironment({{"A", "value"}});
    EXPECT_EQ(interpolate("").needed, 1U);
    EXPECT_EQ(interpolate("x$A").needed, 7U);
}

TEST(InterpolationPass, NeededSizeIsLeftAloneForNullArguments) {
    vekInterpArgs args = {};
    args.neededSize = 77;
    EXPECT_EQ(vekInterpolate(nullptr, nullptr, 0, &args, sizeof args), 0);
    EXPECT_EQ(args.neededSize, 77U);
}

TEST(InterpolationPass, BuffersOfPathsAreFilledToTheLastCharacter) {
    test::setEnvironment({{"A", "v"}});
    for (const std::size_t size : {1024U, 2048U, 4096U}) {
        for (const std::string &begin : {std::string("a"), std::string("${A}")}) {
            const std::string fits = begin + std::string(size - 2, 'x');
            const Interpolated whole = interpolate(fits, {.outSize = size});
            EXPECT_EQ(whole.status, 1);
            EXPECT_EQ(whole.out.size(), size - 1);
            const Interpolated cut = interpolate(fits + "y", {.outSize = size});
            EXPECT_EQ(cut.status, 0);
            EXPECT_EQ(cut.out, whole.out);
            EXPECT_EQ(cut.needed, size + 1);
        }
    }
}

TEST(InterpolationPass, TextsOfEveryLengthExpand) {
    test::setEnvironment({{"A", "value"}});
    for (const std::size_t length :
         {1023U, 1024U, 1025U, 2047U, 2048U, 4093U, 4094U, 4095U, 4096U, 4097U, 100000U}) {
        const std::string plain(length - 2, 'x');
        const Interpolated result = interpolate(plain + "$A");
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, plain + "value") << length;
    }
}

TEST(InterpolationPass, ManyUnterminatedReferencesEndSoon) {
    std::string text;
    for (int i = 0; i < 30000; ++i) {
        text += "$(";
    }
    const Interpolated result = interpolate(text);
    EXPECT_EQ(result.code, VEK_INTERP_BADLY_FORMED);
    EXPECT_EQ(result.position, 59998);
}

// Input and output in one buffer.

TEST(InterpolationPass, OutputMayBeTheInput) {
    test::setEnvironment({{"A", "a longer value"}, {"E", ""}});
    std::array<char, 64> text = {};
    put(text, "x$A/$E/$A");
    vekInterpArgs args = {};
    EXPECT_EQ(vekInterpolate(text.data(), text.data(), text.size(), &args, sizeof args), 1);
    EXPECT_STREQ(text.data(), "xa longer value//a longer value");
    put(text, "plain");
    EXPECT_EQ(vekInterpolate(text.data(), text.data(), text.size(), &args, sizeof args), 1);
    EXPECT_STREQ(text.data(), "plain");
}

TEST(InterpolationPass, OutputThatIsTheInputIsMeasuredWhole) {
    test::setEnvironment({{"A", "value"}});
    std::array<char, 64> text = {};
    vekInterpArgs args = {};
    put(text, "$A/abcdef");
    EXPECT_EQ(vekInterpolate(text.data(), text.data(), 4, &args, sizeof args), 0);
    EXPECT_STREQ(text.data(), "val");
    EXPECT_EQ(args.neededSize, 13U);
    put(text, "abcdef");
    EXPECT_EQ(vekInterpolate(text.data(), text.data(), 4, &args, sizeof args), 0);
    EXPECT_STREQ(text.data(), "abc");
    EXPECT_EQ(args.neededSize, 7U);
}

TEST(InterpolationPass, OutputMayOverlapTheInput) {
    std::array<char, 64> text = {};
    put(text, "abcdef");
    EXPECT_EQ(vekInterpolate(text.data(), text.data() + 2, 20, nullptr, 0), 1);
    EXPECT_STREQ(text.data() + 2, "abcdef");
}

// Recursive mode.

TEST(InterpolationPass, WithoutRecursionOneLevelExpands) {
    test::setEnvironment(chain(3));
    EXPECT_EQ(interpolate("$V1").out, "$V2");
}

TEST(InterpolationPass, RecursionExpandsValues) {
    test::setEnvironment({{"VA", "$VB"}, {"VB", "$VC"}, {"VC", "z"}});
    const Interpolated result = interpolate("a$VA/$VC", {.flags = VEK_INTERP_RECURSIVE});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "az/z");
    EXPECT_EQ(result.code, VEK_INTERP_OK);
    EXPECT_EQ(result.position, -1);
    EXPECT_EQ(result.needed, 5U);
}

TEST(InterpolationPass, RecursionExpandsNineteenLevels) {
    test::setEnvironment(chain(19));
    const Interpolated result = interpolate("$V1", {.flags = VEK_INTERP_RECURSIVE});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "end");
    EXPECT_EQ(result.code, VEK_INTERP_OK);
}

TEST(InterpolationPass, RecursionOfTwentyLevelsIsTooMuch) {
    test::setEnvironment(chain(20));
    const Interpolated result = interpolate("ab$V1", {.flags = VEK_INTERP_RECURSIVE});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.code, VEK_INTERP_TOO_RECURSIVE);
    EXPECT_EQ(result.position, -1);
    EXPECT_EQ(result.message, kTooRecursive);
    EXPECT_EQ(result.out, "abend");
}

TEST(InterpolationPass, EndlessRecursionEnds) {
    test::setEnvironment({{"A", "x$A"}});
    const Interpolated result =
        interpolate("$A", {.flags = VEK_INTERP_RECURSIVE, .fileName = "f", .line = 1});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.code, VEK_INTERP_TOO_RECURSIVE);
    EXPECT_EQ(result.message, std::string(kTooRecursive) + "\n    file:f line:1");
    EXPECT_EQ(result.out, std::string(20, 'x') + "$A");
}

TEST(InterpolationPass, FailureInAReplacingPassIsAnErrorOfRecursion) {
    test::setEnvironment({{"A", "a"}});
    const Interpolated result = interpolate("$A $NONE", {.flags = VEK_INTERP_RECURSIVE});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.code, VEK_INTERP_TOO_RECURSIVE);
    EXPECT_EQ(result.position, -1);
    EXPECT_EQ(result.message, kTooRecursive);
    EXPECT_EQ(result.out, "a $NONE");
}

TEST(InterpolationPass, ErrorOfALaterPassHasItsPositionThere) {
    test::setEnvironment({{"A", "abcdef$NONE"}});
    const Interpolated result = interpolate("$A", {.flags = VEK_INTERP_RECURSIVE});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.code, VEK_INTERP_NOT_SET);
    EXPECT_EQ(result.position, 6);
    EXPECT_EQ(result.message, "environment variable 'NONE' not set");
    EXPECT_EQ(result.out, "abcdef$NONE");
    EXPECT_EQ(result.needed, 12U);
}

TEST(InterpolationPass, DoubledDollarIsNoReplacedValue) {
    test::setEnvironment({{"A", "a"}, {"B", "b"}});
    // alone it ends the recursion
    EXPECT_EQ(interpolate("$$A", {.flags = VEK_INTERP_RECURSIVE}).out, "$A");
    // the next pass also replaces the resulting "$A"
    EXPECT_EQ(interpolate("$$A$B", {.flags = VEK_INTERP_RECURSIVE}).status, 0);
    EXPECT_EQ(interpolate("$$A/$B", {.flags = VEK_INTERP_RECURSIVE}).out, "a/b");
}

TEST(InterpolationPass, EmptyValueIsAReplacedValue) {
    test::setEnvironment({{"E", ""}, {"A", "$E"}});
    const Interpolated result = interpolate("x$A", {.flags = VEK_INTERP_RECURSIVE});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "x");
}

TEST(InterpolationPass, KeptReferencesEndTheRecursion) {
    test::setEnvironment({{"A", "a"}, {"HOME", "$A"}});
    const Interpolated result =
        interpolate("~/$A", {.flags = VEK_INTERP_RECURSIVE | VEK_INTERP_KEEP_VARIABLES});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "$A/$A");
}

TEST(InterpolationPass, CutValueCountsAsReplaced) {
    test::setEnvironment({{"A", "abcdef"}});
    const Interpolated result = interpolate("$A", {.flags = VEK_INTERP_RECURSIVE, .outSize = 4});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.code, VEK_INTERP_TOO_RECURSIVE);
    EXPECT_EQ(result.out, "abc");
    EXPECT_EQ(result.needed, 7U);
}

TEST(InterpolationPass, ReplacementsMetWhileMeasuringDoNotCount) {
    test::setEnvironment({{"A", "abcdef"}});
    for (const std::size_t size : {std::size_t{0}, std::size_t{4}}) {
        const Interpolated result = interpolate("xyzuv$A", {.flags = VEK_INTERP_RECURSIVE, .outSize = size});
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.code, VEK_INTERP_OUT_TOO_SMALL);
        EXPECT_EQ(result.needed, 12U);
    }
    EXPECT_EQ(interpolate("$A", {.flags = VEK_INTERP_RECURSIVE, .outSize = 0}).code,
              VEK_INTERP_OUT_TOO_SMALL);
}

TEST(InterpolationPass, RecursionThatOutgrowsItsBufferEnds) {
    std::string value;
    for (int i = 0; i < 600; ++i) {
        value += "$A";
    }
    test::setEnvironment({{"A", value}});
    const Interpolated result = interpolate("$A", {.flags = VEK_INTERP_RECURSIVE, .outSize = 50000});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.code, VEK_INTERP_TOO_RECURSIVE);
    EXPECT_EQ(result.out.size(), 49999U);
}

TEST(InterpolationPass, RecursionWorksInPlace) {
    test::setEnvironment({{"VA", "$VB/$VB"}, {"VB", "$VC"}, {"VC", "z"}});
    std::array<char, 64> text = {};
    put(text, "a$VA");
    vekInterpArgs args = {};
    args.flags = VEK_INTERP_RECURSIVE;
    EXPECT_EQ(vekInterpolate(text.data(), text.data(), text.size(), &args, sizeof args), 1);
    EXPECT_STREQ(text.data(), "az/z");
}

// Memory.

TEST(InterpolationPass, TextsOfPathLengthNeedNoHeap) {
    test::setEnvironment({{"A", "value"}});
    const std::string text = std::string(4093, 'x') + "$A";
    std::vector<char> out(8192);
    test::faults::failAllocationsFrom(1);
    const int status = vekInterpolate(text.c_str(), out.data(), out.size(), nullptr, 0);
    test::faults::reset();
    EXPECT_EQ(status, 1);
}

TEST(InterpolationPass, ExhaustedMemoryIsAnErrorAndGivesAnEmptyText) {
    test::setEnvironment({{"A", "value"}});
    const std::string text = std::string(4094, 'x') + "$A";
    std::vector<char> out(8192, '#');
    vekInterpArgs args = {};
    test::faults::failAllocation(1);
    const int status = vekInterpolate(text.c_str(), out.data(), out.size(), &args, sizeof args);
    test::faults::reset();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(args.errorCode, VEK_INTERP_OUT_TOO_SMALL);
    EXPECT_EQ(args.errorPosition, -1);
    EXPECT_EQ(args.neededSize, out.size());
    EXPECT_STREQ(out.data(), "");
}
