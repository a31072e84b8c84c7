// Properties of an optimized build (cmake/Hardening.cmake), read from its files.

#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/child.h"

namespace {

std::string outputOf(const std::vector<std::string> &arguments) {
    const test::Outcome outcome = test::run(arguments);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return outcome.out;
}

std::size_t countOf(const std::string &pattern, const std::string &text) {
    const std::regex expression(pattern);
    return static_cast<std::size_t>(
        std::distance(std::sregex_iterator(text.begin(), text.end(), expression), std::sregex_iterator()));
}

bool contains(const std::string &text, const std::string &pattern) {
    return countOf(pattern, text) > 0;
}

using Names = std::set<std::string>;

Names namesIn(const std::string &text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), std::istream_iterator<std::string>()};
}

// The functions that a file imports from the C library.
std::string importsOf(const std::string &file) {
    return outputOf({"nm", "--dynamic", "--undefined-only", "--format=just-symbols", file});
}

class Hardening : public ::testing::TestWithParam<const char *> {};

} // namespace

TEST_P(Hardening, RelocationsAreReadOnlyAfterStartUp) {
    EXPECT_TRUE(contains(outputOf({"readelf", "--wide", "--program-headers", GetParam()}), "GNU_RELRO"));
    EXPECT_TRUE(contains(outputOf({"readelf", "--wide", "--dynamic", GetParam()}), R"(\(FLAGS\).*BIND_NOW)"));
}

TEST_P(Hardening, StackIsNotExecutable) {
    const std::string headers = outputOf({"readelf", "--wide", "--program-headers", GetParam()});
    EXPECT_TRUE(contains(headers, R"(GNU_STACK.* RW )")) << headers;
}

TEST_P(Hardening, FunctionsCheckTheirStackAndBuffers) {
    const std::string imports = importsOf(GetParam());
    EXPECT_TRUE(contains(imports, "__stack_chk_fail"));
    EXPECT_TRUE(contains(imports, "__memcpy_chk"));
}

TEST(SharedLibrary, StartsNoThread) {
    const std::string imports = importsOf(VEK_TEST_SHARED_LIBRARY);
    EXPECT_TRUE(contains(imports, "malloc"));
    EXPECT_FALSE(contains(imports, "pthread_create|thrd_create|clone|fork"));
}

TEST_P(Hardening, LargeFramesTouchEachPage) {
    // -fstack-clash-protection: a frame grows by one page at a time, and each page is touched.
    const std::string code = outputOf({"objdump", "--disassemble", "--no-show-raw-insn", GetParam()});
    const std::size_t pages = countOf(R"(sub +\$0x1000,%rsp)", code);
    EXPECT_GT(pages, 0U);
    EXPECT_EQ(pages, countOf(R"(sub +\$0x1000,%rsp\n[^\n]*orq +\$0x0,\(%rsp\))", code));
}

INSTANTIATE_TEST_SUITE_P(Vekinfo, Hardening, ::testing::Values(VEK_TEST_VEKINFO));
INSTANTIATE_TEST_SUITE_P(SharedLibrary, Hardening, ::testing::Values(VEK_TEST_SHARED_LIBRARY));

TEST(HardeningOfTheTool, IsPositionIndependent) {
    EXPECT_TRUE(contains(outputOf({"readelf", "--wide", "--dynamic", VEK_TEST_VEKINFO}), "Flags:.*PIE"));
}

TEST(HardeningOfTheArchive, EveryObjectHasControlFlowProtection) {
    // In the objects, not in the linked files: the linker removes the note if the C library's start-up objects lack it, like
    // those of Debian 12.
    const std::string notes = outputOf({"readelf", "--wide", "--notes", VEK_TEST_ARCHIVE});
    const std::size_t objects = countOf(R"((^|\n)File: )", notes);
    EXPECT_GT(objects, 0U);
    EXPECT_EQ(objects, countOf("x86 feature: IBT, SHSTK", notes));
}

TEST(HardeningOfTests, FaultPointsApplyToTheCheckedFunctions) {
    // _FORTIFY_SOURCE turns read() into __read_chk(), so the fault point needs a --wrap of that name, too.
    const Names defined =
        namesIn(outputOf({"nm", "--defined-only", "--format=just-symbols", VEK_TEST_FAULTY_TESTS}));
    EXPECT_TRUE(defined.contains("__wrap_read"));
    static const std::regex checked(R"(__(\w+)_(chk|2)(@.*)?)");
    for (const std::string &import : namesIn(importsOf(VEK_TEST_FAULTY_TESTS))) {
        std::smatch found;
        if (std::regex_match(import, found, checked)) {
            EXPECT_FALSE(defined.contains("__wrap_" + found[1].str())) << import << " has no fault point";
        }
    }
}
