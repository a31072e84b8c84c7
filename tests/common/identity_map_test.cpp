#include "common/containers/identity_map.h"

#include "tests/support/faults.h"
#include "tests/support/sandbox.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <unistd.h>
#include <utility>

namespace faults = test::faults;

namespace {

using Map = vek::IdentityMap<int>;
using vek::DirectoryIdentity;

bool has(const Map &map, const DirectoryIdentity &identity, int value) {
    const int *found = map.find(identity);
    return found != nullptr && *found == value;
}

} // namespace

TEST(DirectoryIdentity, IsTheSameForEveryPathOfADirectory) {
    test::Sandbox box;
    box.directory("a/b").link("link", "a").directory("other");

    const auto identity = DirectoryIdentity::of("a");
    ASSERT_TRUE(identity.has_value());
    EXPECT_EQ(DirectoryIdentity::of("link"), identity);
    EXPECT_EQ(DirectoryIdentity::of("a/b/.."), identity);
    EXPECT_NE(DirectoryIdentity::of("other"), identity);
    const int opened = open("link", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    EXPECT_EQ(DirectoryIdentity::of(opened), identity);
    close(opened);
}

TEST(DirectoryIdentity, IsNothingIfStatFails) {
    EXPECT_EQ(DirectoryIdentity::of("/no/such/directory"), std::nullopt);
    EXPECT_EQ(DirectoryIdentity::of(-1), std::nullopt);
}

TEST(DirectoryIdentity, ConsistsOfDeviceAndInode) {
    EXPECT_EQ((DirectoryIdentity{1, 2}), (DirectoryIdentity{1, 2}));
    EXPECT_NE((DirectoryIdentity{1, 2}), (DirectoryIdentity{1, 3}));
    EXPECT_NE((DirectoryIdentity{1, 2}), (DirectoryIdentity{2, 2}));
}

TEST(IdentityMap, FindsWhatWasStored) {
    Map map;
    EXPECT_EQ(map.find({1, 1}), nullptr);

    ASSERT_TRUE(map.store({1, 1}, 11));
    ASSERT_TRUE(map.store({2, 1}, 21));
    ASSERT_TRUE(map.store({1, 2}, 12));

    EXPECT_TRUE(has(map, {1, 1}, 11));
    EXPECT_TRUE(has(map, {2, 1}, 21));
    EXPECT_TRUE(has(map, {1, 2}, 12));
    EXPECT_EQ(map.find({2, 2}), nullptr);
    EXPECT_EQ(map.size(), 3U);
}

TEST(IdentityMap, ReplacesAnEarlierValue) {
    Map map;
    ASSERT_TRUE(map.store({1, 1}, 1));
    ASSERT_TRUE(map.store({1, 1}, 2));

    EXPECT_TRUE(has(map, {1, 1}, 2));
    EXPECT_EQ(map.size(), 1U);
}

TEST(IdentityMap, StoresAnIdentityOfZeros) {
    Map map;
    EXPECT_EQ(map.find({0, 0}), nullptr);
    ASSERT_TRUE(map.store({0, 0}, 5));
    EXPECT_TRUE(has(map, {0, 0}, 5));
    map.erase({0, 0});
    EXPECT_EQ(map.find({0, 0}), nullptr);
}

TEST(IdentityMap, ErasesAndClears) {
    Map map;
    map.erase({1, 1});
    ASSERT_TRUE(map.store({1, 1}, 1));
    map.erase({1, 2});
    EXPECT_EQ(map.size(), 1U);
    map.erase({1, 1});
    EXPECT_EQ(map.find({1, 1}), nullptr);
    EXPECT_EQ(map.size(), 0U);

    ASSERT_TRUE(map.store({1, 1}, 1));
    map.clear();
    EXPECT_EQ(map.find({1, 1}), nullptr);
    EXPECT_EQ(map.size(), 0U);
    ASSERT_TRUE(map.store({1, 1}, 2));
    EXPECT_TRUE(has(map, {1, 1}, 2));
}

TEST(IdentityMap, AgreesWithAModelOverRandomOperations) {
    std::mt19937 random(1); // NOLINT(cert-msc51-cpp): the same numbers in each run
    for (const unsigned identities : {4U, 23U, 24U, 200U, 3000U}) {
        Map map;
        std::map<std::pair<dev_t, ino_t>, int> model;
        for (int step = 0; step < 20'000; ++step) {
            const DirectoryIdentity identity = {random() % 2, random() % identities * 64};
            if (random() % 2 == 0) {
                ASSERT_TRUE(map.store(identity, step));
                model[{identity.device, identity.inode}] = step;
            } else {
                map.erase(identity);
                model.erase({identity.device, identity.inode});
            }
            ASSERT_EQ(map.size(), model.size());
            const DirectoryIdentity other = {random() % 2, random() % identities * 64};
            const auto expected = model.find({other.device, other.inode});
            const int *found = map.find(other);
            ASSERT_EQ(found != nullptr, expected != model.end());
            ASSERT_TRUE(found == nullptr || *found == expected->second);
        }
    }
}

TEST(IdentityMap, IsUnchangedIfMemoryIsExhausted) {
    Map map;
    faults::failAllocation(1);
    EXPECT_FALSE(map.store({1, 1}, 1));
    EXPECT_EQ(map.find({1, 1}), nullptr);

    faults::failAllocationsFrom(3);
    ino_t stored = 0;
    while (map.store({1, stored}, static_cast<int>(stored))) {
        ++stored;
    }
    faults::reset();
    EXPECT_GT(stored, 0U);
    EXPECT_EQ(map.size(), stored);
    for (ino_t inode = 0; inode < stored; ++inode) {
        EXPECT_TRUE(has(map, {1, inode}, static_cast<int>(inode)));
    }
    EXPECT_TRUE(map.store({1, stored}, 1));
}

TEST(IdentityMap, GrowsGeometrically) {
    Map map;
    faults::reset();

    for (ino_t inode = 0; inode < 100'000; ++inode) {
        ASSERT_TRUE(map.store({1, inode}, 1));
    }

    EXPECT_LE(faults::count("malloc"), 20);
}
