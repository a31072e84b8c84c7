#include "common/platform/walk_guard.h"

#include "tests/support/faults.h"

#include <cstdint>
#include <gtest/gtest.h>

namespace faults = test::faults;

namespace {

using vek::DirectoryIdentity;
using vek::WalkGuard;
using Links = vek::WalkGuard::Links;

constexpr DirectoryIdentity kTop = {1, 1};
constexpr DirectoryIdentity kBelow = {1, 2};

/// The number of ways that are allowed with `links` different links.
std::uint64_t allowedWays(WalkGuard &guard, std::uint64_t links) {
    std::uint64_t ways = 0;
    while (guard.countFollowedLink(ways < links ? Links::New : Links::ReadBefore)) {
        ++ways;
    }
    return ways;
}

} // namespace

TEST(WalkGuard, StoresTheDirectoriesOfTheSearchPath) {
    WalkGuard guard;
    EXPECT_EQ(guard.levelOf(kTop), std::nullopt);

    ASSERT_TRUE(guard.enter(kTop, 0));
    ASSERT_TRUE(guard.enter(kBelow, 1));
    EXPECT_EQ(guard.levelOf(kTop), 0U);
    EXPECT_EQ(guard.levelOf(kBelow), 1U);

    guard.leave(kBelow, 1);
    EXPECT_EQ(guard.levelOf(kBelow), std::nullopt);
    EXPECT_EQ(guard.levelOf(kTop), 0U);
}

TEST(WalkGuard, KeepsTheLowestLevelOfADirectory) {
    WalkGuard guard;
    ASSERT_TRUE(guard.enter(kTop, 0));
    ASSERT_TRUE(guard.enter(kTop, 3));
    EXPECT_EQ(guard.levelOf(kTop), 0U);
    guard.leave(kTop, 3);
    EXPECT_EQ(guard.levelOf(kTop), 0U);
    guard.leave(kTop, 0);
    EXPECT_EQ(guard.levelOf(kTop), std::nullopt);
    guard.leave(kTop, 0);
}

TEST(WalkGuard, DistinguishesFirstAndLaterVisits) {
    WalkGuard guard;
    EXPECT_EQ(guard.meetLinksOf(kTop), Links::New);
    EXPECT_EQ(guard.meetLinksOf(kBelow), Links::New);
    EXPECT_EQ(guard.meetLinksOf(kTop), Links::ReadBefore);
    EXPECT_EQ(guard.meetLinksOf(kBelow), Links::ReadBefore);
}

TEST(WalkGuard, AllowsAMillionLinksAnd64ForEachDifferentOne) {
    for (const std::uint64_t links : {0U, 1U, 2U, 1000U, 20'000U}) {
        WalkGuard guard;
        EXPECT_EQ(allowedWays(guard, links), 1'000'000 + 64 * links);
    }
}

TEST(WalkGuard, AcceptsAnotherLimit) {
    WalkGuard guard({.followed = 10, .followedPerLink = 3});
    EXPECT_EQ(allowedWays(guard, 4), 22U);
    EXPECT_FALSE(guard.countFollowedLink(Links::ReadBefore));
}

TEST(WalkGuard, AllowsAnyNumberOfDifferentLinks) {
    WalkGuard guard;
    for (int i = 0; i < 3'000'000; ++i) {
        ASSERT_TRUE(guard.countFollowedLink(Links::New));
    }
}

TEST(WalkGuard, ReturnsWhetherMemoryIsExhausted) {
    WalkGuard guard;
    faults::failAllocationsFrom(1);
    EXPECT_FALSE(guard.enter(kTop, 0));
    EXPECT_EQ(guard.levelOf(kTop), std::nullopt);
    EXPECT_EQ(guard.meetLinksOf(kTop), Links::NoMemory);
    faults::reset();
    EXPECT_EQ(guard.meetLinksOf(kTop), Links::New);
    EXPECT_TRUE(guard.enter(kTop, 0));
}
