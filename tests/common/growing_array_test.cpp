#include "common/containers/growing_array.h"

#include "tests/support/faults.h"

#include <gtest/gtest.h>
#include <memory>
#include <utility>

namespace faults = test::faults;

namespace {

using Numbers = vek::GrowingArray<int>;
/// Not trivially copyable: each owns memory, which a bytewise copy would free twice.
using Owners = vek::GrowingArray<std::unique_ptr<int>>;

constexpr int kMany = 10'000;

} // namespace

TEST(GrowingArray, IsEmptyAtFirst) {
    const Numbers numbers;

    EXPECT_TRUE(numbers.empty());
    EXPECT_EQ(numbers.size(), 0U);
}

TEST(GrowingArray, KeepsTrivialValuesWhileItGrows) {
    Numbers numbers;
    for (int i = 0; i < kMany; ++i) {
        ASSERT_TRUE(numbers.push(int{i}));
    }

    ASSERT_EQ(numbers.size(), static_cast<std::size_t>(kMany));
    for (int i = 0; i < kMany; ++i) {
        EXPECT_EQ(numbers[static_cast<std::size_t>(i)], i);
    }
}

TEST(GrowingArray, MovesOwnersWhileItGrows) {
    Owners owners;
    for (int i = 0; i < kMany; ++i) {
        ASSERT_TRUE(owners.push(std::make_unique<int>(i)));
    }

    for (int i = kMany - 1; i >= 0; --i) {
        EXPECT_EQ(*owners.top(), i);
        owners.pop();
    }
    EXPECT_TRUE(owners.empty());
}

TEST(GrowingArray, DestroysTheValuesThatAreRemoved) {
    const auto shared = std::make_shared<int>(1);
    vek::GrowingArray<std::shared_ptr<int>> array;
    for (int i = 0; i < 10; ++i) {
        ASSERT_TRUE(array.push(std::shared_ptr<int>(shared)));
    }
    EXPECT_EQ(shared.use_count(), 11);
    array.pop();
    EXPECT_EQ(shared.use_count(), 10);
    array.shrink(4);
    EXPECT_EQ(shared.use_count(), 5);
    {
        const vek::GrowingArray<std::shared_ptr<int>> moved(std::move(array));
        EXPECT_EQ(shared.use_count(), 5);
    }
    EXPECT_EQ(shared.use_count(), 1);
}

TEST(GrowingArray, AssignmentReplacesTheValues) {
    const auto shared = std::make_shared<int>(1);
    vek::GrowingArray<std::shared_ptr<int>> array;
    ASSERT_TRUE(array.push(std::shared_ptr<int>(shared)));
    vek::GrowingArray<std::shared_ptr<int>> other;
    ASSERT_TRUE(other.push(std::shared_ptr<int>(shared)));
    ASSERT_TRUE(other.push(nullptr));

    array = std::move(other);

    EXPECT_EQ(shared.use_count(), 2);
    EXPECT_EQ(array.size(), 2U);
    EXPECT_TRUE(other.empty()); // NOLINT(bugprone-use-after-move): this is what is tested
    EXPECT_TRUE(other.push(nullptr));
    EXPECT_EQ(other.size(), 1U);
}

TEST(GrowingArray, ExtendsByValuesToBeFilled) {
    Numbers numbers;
    ASSERT_TRUE(numbers.push(7));

    int *added = numbers.extend(kMany);
    ASSERT_NE(added, nullptr);
    for (int i = 0; i < kMany; ++i) {
        added[i] = i;
    }

    EXPECT_EQ(numbers.size(), 1U + kMany);
    EXPECT_EQ(numbers[0], 7);
    EXPECT_EQ(numbers.top(), kMany - 1);
    EXPECT_GE(numbers.capacity(), numbers.size());
}

TEST(GrowingArray, GrowsGeometrically) {
    Numbers numbers;
    Owners owners;
    faults::reset();

    for (int i = 0; i < 1'000'000; ++i) {
        ASSERT_TRUE(numbers.push(int{i}));
        ASSERT_TRUE(owners.push(nullptr));
    }

    EXPECT_LE(faults::count("malloc"), 40);
}

TEST(GrowingArray, KeepsItsMemoryWhenItShrinks) {
    Numbers numbers;
    ASSERT_NE(numbers.extend(kMany), nullptr);
    const std::size_t capacity = numbers.capacity();
    faults::reset();

    numbers.shrink(0);
    ASSERT_NE(numbers.extend(kMany), nullptr);

    EXPECT_EQ(numbers.capacity(), capacity);
    EXPECT_EQ(faults::count("malloc"), 0);
}

TEST(GrowingArray, IsUnchangedIfMemoryIsExhausted) {
    Numbers numbers;
    Owners owners;
    faults::failAllocationsFrom(1);
    EXPECT_FALSE(numbers.push(1));
    EXPECT_EQ(numbers.extend(1), nullptr);
    EXPECT_FALSE(owners.push(nullptr));
    EXPECT_TRUE(numbers.empty());
    EXPECT_TRUE(owners.empty());

    faults::failAllocationsFrom(3); // each array gets memory once
    int pushed = 0;
    while (numbers.push(int{pushed}) && owners.push(std::unique_ptr<int>())) {
        ++pushed;
    }
    faults::reset();
    EXPECT_GT(pushed, 0);
    for (int i = 0; i < pushed; ++i) {
        EXPECT_EQ(numbers[static_cast<std::size_t>(i)], i);
    }
    EXPECT_TRUE(numbers.push(1));
    EXPECT_TRUE(owners.push(std::make_unique<int>(1)));
}
