// A long-running process: repeated calls do not increase its memory.

#include <cstdio>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "libdef/ryn.h"
#include "tagfile/tov.h"
#include "tests/robustness/world.h"

using test::World;

namespace {

#ifdef VEK_TEST_SANITIZE
// The address sanitizer delays freeing, so there only the leak check at the end applies.
constexpr bool kMeasures = false;
constexpr int kShare = 10;
#else
constexpr bool kMeasures = true;
constexpr int kShare = 1;
#endif

/// The resident set, in KiB.
long residentSize() {
    std::ifstream file("/proc/self/statm");
    long pages = 0;
    file >> pages >> pages;
    return pages * 4;
}

/// Calls `body` repeatedly, and expects that memory hardly grows after the first tenth of the calls.
template <typename Body>
void repeat(int times, Body body) {
    for (int i = 0; i < times / 10; ++i) {
        body();
    }
    const long before = residentSize();
    for (int i = times / 10; i < times; ++i) {
        body();
    }
    if (kMeasures) {
        EXPECT_LE(residentSize() - before, 128) << "KiB more";
    }
}

} // namespace

TEST(LongUse, OfRegistriesCostsNoMemory) {
    const World world;
    const std::string file = world.path("proj/vek.lib");
    repeat(3000 / kShare, [&] {
        rynHandle registry = nullptr;
        char path[VEK_PATH_SIZE];
        ASSERT_EQ(rynInit(file.c_str(), 0, World::recordWarning, nullptr, &registry), RYN_OK);
        ASSERT_EQ(rynGetPath(registry, RYN_PATH_READ, "lib", "cell1", "view1", "data.db", path, sizeof path),
                  RYN_OK);
        ASSERT_EQ(rynQuery(registry, RYN_QUERY_READABLE, "lib", "cell1", nullptr, nullptr), RYN_OK);
        rynContext *context = nullptr;
        ASSERT_EQ(rynIterateCells(registry, "lib", &context), RYN_OK);
        ASSERT_EQ(rynIterateEnd(context), RYN_OK);
        ASSERT_EQ(rynReleaseHandle(registry), RYN_OK);
        World::takeReports();
    });
}

TEST(LongUse, OfLookupsCostsNoMemory) {
    const World world;
    const std::string path = world.path("proj/link/cell1/view1");
    const std::string missing = world.path("proj/other/missing");
    repeat(50000 / kShare, [&] {
        ASSERT_STREQ(tovGetDmType(path.c_str()), "none");
        ASSERT_EQ(tovLookupEntryX(missing.c_str(), "NONE", nullptr), nullptr);
        World::takeReports();
    });
}

TEST(LongUse, OfEditsCostsNoMemory) {
    const World world;
    const std::string directory = world.path("proj");
    repeat(500 / kShare, [&] {
        ASSERT_EQ(tovSetPathDmType(directory.c_str(), "mrev"), 1);
        ASSERT_EQ(tovClearPathUnmanaged(directory.c_str()), 1);
        tovResetCache();
    });
}
