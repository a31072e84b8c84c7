#include "common/containers/hash_index.h"

#include "tests/support/faults.h"

#include <algorithm>
#include <deque>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace {

struct Item {
    std::string name;
    int number = 0;
};

std::uint32_t hashOf(std::string_view name) {
    std::uint32_t hash = 0;
    for (const char c : name) {
        hash = hash * 31 + static_cast<unsigned char>(c);
    }
    return hash;
}

class Table : public vek::HashIndex<Item> {
  public:
    [[nodiscard]] bool add(Item &item) { return insert(hashOf(item.name), item); }
    bool take(const Item &item) { return remove(hashOf(item.name), item); }
    [[nodiscard]] Item *named(std::string_view name) const {
        return find(hashOf(name), [name](const Item &item) { return item.name == name; });
    }
};

/// Returns the numbers of all entries with `hash`, in the order in which find() visits them.
std::vector<int> numbersOf(const vek::HashIndex<Item> &table, std::uint32_t hash) {
    std::vector<int> numbers;
    static_cast<void>(table.find(hash, [&numbers](const Item &item) {
        numbers.push_back(item.number);
        return false;
    }));
    return numbers;
}

} // namespace

TEST(HashIndex, EmptyTableFindsAndRemovesNothing) {
    Table table;
    const Item item{"a"};
    EXPECT_EQ(nullptr, table.named("none"));
    EXPECT_FALSE(table.take(item));
    EXPECT_TRUE(table.empty());
}

TEST(HashIndex, FindsEachOfManyEntries) {
    Table table;
    std::deque<Item> items;
    for (int i = 0; i < 5000; ++i) {
        items.push_back({"name" + std::to_string(i)});
        ASSERT_TRUE(table.add(items.back()));
    }
    EXPECT_EQ(5000U, table.size());
    for (Item &item : items) {
        EXPECT_EQ(&item, table.named(item.name));
    }
    EXPECT_EQ(nullptr, table.named("none"));
}

TEST(HashIndex, FindsTheEqualEntryInsertedLastAlsoAfterGrowth) {
    Table table;
    std::deque<Item> items;
    for (int i = 0; i < 3; ++i) {
        items.push_back({"same", i});
        ASSERT_TRUE(table.add(items.back()));
    }
    for (int i = 0; i < 1000; ++i) {
        items.push_back({"other" + std::to_string(i), 100});
        ASSERT_TRUE(table.add(items.back()));
        ASSERT_EQ((std::vector<int>{2, 1, 0}), numbersOf(table, hashOf("same"))) << i;
    }
}

TEST(HashIndex, EqualHashesKeepTheirOrderAroundTheLastSlot) {
    // With every hash, so that the entries of some hashes continue at the first slot.
    std::mt19937 random(20261123); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same sequence in every run
    for (int round = 0; round < 500; ++round) {
        vek::HashIndex<Item> table;
        std::deque<Item> items;
        std::map<std::uint32_t, std::vector<int>> model;
        for (int i = 0; i < 60; ++i) {
            const auto hash =
                static_cast<std::uint32_t>(random() % 7 * 0x11111111U) + static_cast<std::uint32_t>(round);
            items.push_back({"", i});
            ASSERT_TRUE(table.insert(hash, items.back()));
            model[hash].insert(model[hash].begin(), i);
        }
        for (const auto &[hash, numbers] : model) {
            ASSERT_EQ(numbers, numbersOf(table, hash)) << round;
        }
    }
}

TEST(HashIndex, ComparesNoEntryWithAnotherHash) {
    Table table;
    std::deque<Item> items;
    for (int i = 0; i < 1000; ++i) {
        items.push_back({"name" + std::to_string(i), i});
        ASSERT_TRUE(table.add(items.back()));
    }
    EXPECT_EQ(std::vector<int>{500}, numbersOf(table, hashOf("name500")));
    EXPECT_EQ(std::vector<int>{}, numbersOf(table, hashOf("none")));
}

TEST(HashIndex, FindsAnEntryWithTheHashZero) {
    vek::HashIndex<Item> table;
    Item item{"zero", 5};
    ASSERT_TRUE(table.insert(0, item));
    EXPECT_EQ(std::vector<int>{5}, numbersOf(table, 0));
    EXPECT_TRUE(table.remove(0, item));
    EXPECT_EQ(std::vector<int>{}, numbersOf(table, 0));
}

TEST(HashIndex, RemovesExactlyTheGivenEntry) {
    constexpr std::uint32_t kHash = 7;
    vek::HashIndex<Item> table;
    std::deque<Item> items;
    for (int i = 0; i < 3; ++i) {
        items.push_back({"same", i});
        ASSERT_TRUE(table.insert(kHash, items.back()));
    }
    const Item stranger{"same"};
    EXPECT_FALSE(table.remove(kHash, stranger));
    EXPECT_FALSE(table.remove(kHash + 1, items[1]));
    EXPECT_TRUE(table.remove(kHash, items[1]));
    EXPECT_FALSE(table.remove(kHash, items[1]));
    EXPECT_EQ((std::vector<int>{2, 0}), numbersOf(table, kHash));
    EXPECT_EQ(2U, table.size());
}

TEST(HashIndex, ClearReleasesEachEntryOnce) {
    Table table;
    for (int i = 0; i < 200; ++i) {
        ASSERT_TRUE(table.add(*new Item{"name" + std::to_string(i)}));
    }
    std::vector<std::string> released;
    table.clear([&](Item &item) {
        released.push_back(item.name);
        delete &item;
    });
    std::sort(released.begin(), released.end());
    EXPECT_EQ(released.end(), std::adjacent_find(released.begin(), released.end()));
    EXPECT_EQ(200U, released.size());
    EXPECT_TRUE(table.empty());
    Item item{"again"};
    EXPECT_TRUE(table.add(item));
    EXPECT_EQ(&item, table.named("again"));
}

TEST(HashIndex, FullTableRejectsEntriesWithoutMemory) {
    Table table;
    std::deque<Item> items;
    items.push_back({"first"});
    test::faults::failAllocation(1);
    EXPECT_FALSE(table.add(items.back()));
    EXPECT_EQ(nullptr, table.named("first"));
    test::faults::reset();
    ASSERT_TRUE(table.add(items.back()));
    bool isInserted = true;
    while (isInserted) {
        ASSERT_LT(items.size(), 1000U);
        items.push_back({"name" + std::to_string(items.size())});
        test::faults::failAllocation(1);
        isInserted = table.add(items.back());
        test::faults::reset();
    }
    // All slots but one are used.
    EXPECT_EQ(31U, table.size());
    EXPECT_EQ(nullptr, table.named(items.back().name));
    ASSERT_TRUE(table.add(items.back()));
    for (Item &each : items) {
        EXPECT_EQ(&each, table.named(each.name));
    }
}

TEST(HashIndex, InsertionsAfterReserveAllocateNothing) {
    constexpr std::size_t kCount = 1000;
    Table table;
    std::deque<Item> items;
    for (std::size_t i = 0; i < kCount; ++i) {
        items.push_back({std::to_string(i)});
    }
    ASSERT_TRUE(table.add(items[0]));
    ASSERT_TRUE(table.reserve(kCount));
    test::faults::reset();
    for (std::size_t i = 1; i < kCount; ++i) {
        ASSERT_TRUE(table.add(items[i]));
    }
    EXPECT_EQ(0, test::faults::count("malloc"));
    EXPECT_EQ(&items[0], table.named("0"));
}

TEST(HashIndex, AgreesWithAMultimapOnRandomOperations) {
    std::mt19937 random(20261122); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same sequence in every run
    Table table;
    std::multimap<std::string, Item *> model;
    std::deque<Item> items;
    for (int step = 0; step < 20000; ++step) {
        const std::string name = std::to_string(random() % 300);
        if (random() % 2 == 0) {
            items.push_back({name});
            ASSERT_TRUE(table.add(items.back()));
            model.emplace(name, &items.back());
        } else if (Item *found = table.named(name); found != nullptr) {
            auto [begin, end] = model.equal_range(name);
            ASSERT_NE(begin, end);
            EXPECT_EQ(std::prev(end)->second, found);
            model.erase(std::prev(end));
            ASSERT_TRUE(table.take(*found));
        } else {
            EXPECT_FALSE(model.contains(name));
        }
        ASSERT_EQ(model.size(), table.size());
    }
}
