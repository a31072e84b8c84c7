#include <regex>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/child.h"

namespace {

std::string outputOf(const std::vector<std::string> &arguments) {
    const test::Outcome outcome = test::run(arguments);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return outcome.out;
}

// The shared libraries that a file needs (DT_NEEDED).
std::vector<std::string> neededBy(const std::string &file) {
    static const std::regex needed(R"(\(NEEDED\)[^\[]*\[([^\]]*)\])");
    const std::string dynamic = outputOf({"readelf", "--wide", "--dynamic", file});
    std::vector<std::string> names;
    for (std::sregex_iterator at(dynamic.begin(), dynamic.end(), needed), end; at != end; ++at) {
        names.push_back((*at)[1]);
    }
    return names;
}

// The number of functions in an array of functions that run before main(), or when the library is loaded.
std::size_t functionsIn(const std::string &array, const std::string &file) {
    const std::regex header(R"(\s)" + array + R"(\s+\S+\s+[0-9a-f]+\s+[0-9a-f]+\s+([0-9a-f]+))");
    const std::string sections = outputOf({"readelf", "--wide", "--section-headers", file});
    std::smatch found;
    return std::regex_search(sections, found, header) ? std::stoul(found[1], nullptr, 16) / sizeof(void *)
                                                      : 0;
}

// The entry of the C run-time, which every program has.
constexpr std::size_t CompilersOwn = 1;

class Startup : public ::testing::TestWithParam<const char *> {};

} // namespace

TEST_P(Startup, NeedsTheCLibraryOnly) {
    EXPECT_EQ(neededBy(GetParam()), std::vector<std::string>{"libc.so.6"});
}

TEST_P(Startup, DoesNoWorkBeforeMain) {
    EXPECT_LE(functionsIn("\\.init_array", GetParam()), CompilersOwn);
    EXPECT_EQ(functionsIn("\\.preinit_array", GetParam()), 0U);
    EXPECT_EQ(functionsIn("\\.ctors", GetParam()), 0U);
}

INSTANTIATE_TEST_SUITE_P(Vekinfo, Startup, ::testing::Values(VEK_TEST_VEKINFO));
INSTANTIATE_TEST_SUITE_P(SharedLibrary, Startup, ::testing::Values(VEK_TEST_SHARED_LIBRARY));

TEST(StartupCheck, SeesWorkBeforeMain) {
    // A test executable registers its tests in static constructors, and is a C++ program.
    EXPECT_GT(functionsIn("\\.init_array", "/proc/self/exe"), 0U);
    EXPECT_GT(functionsIn("\\.init_array", VEK_TEST_ITSELF), CompilersOwn);
    EXPECT_GT(neededBy(VEK_TEST_ITSELF).size(), 1U);
}
