#include "common/containers/intrusive_hash.h"

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
    Item *next = nullptr;
    int number = 0;
};

struct ByName {
    static Item *&link(Item &item) { return item.next; }
    static std::uint32_t hash(std::string_view name) {
        std::uint32_t hash = 0;
        for (const char c : name) {
            hash = hash * 31 + static_cast<unsigned char>(c);
        }
        return hash;
    }
    static std::uint32_t hash(const Item &item) { return hash(std::string_view(item.name)); }
    static bool matches(const Item &item, std::string_view name) { return item.name == name; }
};

/// Puts every entry into one chain.
struct OneChain : ByName {
    static std::uint32_t hash(std::string_view /*name*/) { return 7; }
    static std::uint32_t hash(const Item & /*item*/) { return 7; }
};

using Table = vek::IntrusiveHash<Item, ByName>;

const std::string_view kNone = "none";

} // namespace

TEST(IntrusiveHash, EmptyTableFindsAndRemovesNothing) {
    Table table;
    Item item{"a"};
    EXPECT_EQ(nullptr, table.find(kNone));
    EXPECT_FALSE(table.remove(item));
    EXPECT_TRUE(table.empty());
}

TEST(IntrusiveHash, FindsEachOfManyEntries) {
    Table table;
    std::deque<Item> items;
    for (int i = 0; i < 5000; ++i) {
        items.push_back({"name" + std::to_string(i)});
        ASSERT_TRUE(table.insert(items.back()));
    }
    EXPECT_EQ(5000U, table.size());
    for (Item &item : items) {
        EXPECT_EQ(&item, table.find(std::string_view(item.name)));
    }
    EXPECT_EQ(nullptr, table.find(kNone));
}

TEST(IntrusiveHash, FindsTheEqualEntryInsertedLastAlsoAfterGrowth) {
    Table table;
    std::deque<Item> items;
    for (int i = 0; i < 3; ++i) {
        items.push_back({"same", nullptr, i});
        ASSERT_TRUE(table.insert(items.back()));
    }
    for (int i = 0; i < 1000; ++i) {
        items.push_back({"other" + std::to_string(i)});
        ASSERT_TRUE(table.insert(items.back()));
    }
    const std::string_view same = "same";
    Item *found = table.find(same);
    for (int number = 2; number >= 0; --number) {
        ASSERT_NE(nullptr, found);
        EXPECT_EQ(number, found->number);
        found = table.findNext(*found, same);
    }
    EXPECT_EQ(nullptr, found);
}

TEST(IntrusiveHash, RemovesExactlyTheGivenEntry) {
    vek::IntrusiveHash<Item, OneChain> table;
    std::deque<Item> items;
    for (int i = 0; i < 3; ++i) {
        items.push_back({"same", nullptr, i});
        ASSERT_TRUE(table.insert(items.back()));
    }
    Item stranger{"same"};
    EXPECT_FALSE(table.remove(stranger));
    EXPECT_TRUE(table.remove(items[1]));
    EXPECT_FALSE(table.remove(items[1]));
    const std::string_view same = "same";
    EXPECT_EQ(&items[2], table.find(same));
    EXPECT_EQ(&items[0], table.findNext(items[2], same));
    EXPECT_EQ(2U, table.size());
}

TEST(IntrusiveHash, ClearReleasesEachEntryOnce) {
    Table table;
    for (int i = 0; i < 200; ++i) {
        ASSERT_TRUE(table.insert(*new Item{"name" + std::to_string(i)}));
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
    EXPECT_TRUE(table.insert(item));
    EXPECT_EQ(&item, table.find(std::string_view("again")));
    table.clear([](Item &) {});
}

TEST(IntrusiveHash, OnlyTheFirstAllocationCanFailAnInsertion) {
    Table table;
    Item item{"a"};
    test::faults::failAllocation(1);
    EXPECT_FALSE(table.insert(item));
    EXPECT_EQ(nullptr, table.find(std::string_view("a")));
    test::faults::reset();
    ASSERT_TRUE(table.allocate());
    std::deque<Item> items;
    for (int i = 0; i < 1000; ++i) {
        items.push_back({"name" + std::to_string(i)});
        test::faults::failAllocation(1);
        EXPECT_TRUE(table.insert(items.back()));
        test::faults::reset();
    }
    for (Item &each : items) {
        EXPECT_EQ(&each, table.find(std::string_view(each.name)));
    }
}

TEST(IntrusiveHash, InsertionsAfterReserveAllocateNothing) {
    constexpr std::size_t kCount = 1000;
    Table table;
    std::deque<Item> items;
    for (std::size_t i = 0; i < kCount; ++i) {
        items.push_back({std::to_string(i)});
    }
    ASSERT_TRUE(table.insert(items[0]));
    ASSERT_TRUE(table.reserve(kCount));
    test::faults::reset();
    for (std::size_t i = 1; i < kCount; ++i) {
        ASSERT_TRUE(table.insert(items[i]));
    }
    EXPECT_EQ(0, test::faults::count("malloc"));
    EXPECT_EQ(&items[0], table.find(std::string_view("0")));
}

TEST(IntrusiveHash, AgreesWithAMultimapOnRandomOperations) {
    std::mt19937 random(20261122); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same sequence in every run
    Table table;
    std::multimap<std::string, Item *> model;
    std::deque<Item> items;
    for (int step = 0; step < 20000; ++step) {
        const std::string name = std::to_string(random() % 300);
        if (random() % 2 == 0) {
            items.push_back({name});
            ASSERT_TRUE(table.insert(items.back()));
            model.emplace(name, &items.back());
        } else if (Item *found = table.find(std::string_view(name)); found != nullptr) {
            auto [begin, end] = model.equal_range(name);
            ASSERT_NE(begin, end);
            EXPECT_EQ(std::prev(end)->second, found);
            model.erase(std::prev(end));
            ASSERT_TRUE(table.remove(*found));
        } else {
            EXPECT_FALSE(model.contains(name));
        }
        ASSERT_EQ(model.size(), table.size());
    }
}
