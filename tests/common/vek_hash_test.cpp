// The intrusive hash table.

#include "common/containers/vek_hash.h"

#include "common/containers/veki_hash.h"
#include "tests/support/faults.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <gtest/gtest.h>
#include <limits>
#include <set>
#include <vector>

namespace {

/// An entry whose hash is its number, so that the numbers decide the buckets.
struct Item {
    int number;
    char name;
    Item *next;
};

int sameNumber(const void *entry, const void *key) {
    return static_cast<int>(static_cast<const Item *>(entry)->number ==
                            static_cast<const Item *>(key)->number);
}

std::uint32_t numberOf(const void *key, const vekHashTable * /*table*/) {
    return static_cast<std::uint32_t>(static_cast<const Item *>(key)->number);
}

struct Observed {
    int phase;
    const vekHashTable *table;
    void *entry;
    std::int32_t bucketCount, entryCount;
    const void *link; // of the entry, at the time of the call
};
std::vector<Observed> observed;

void observer(int phase, vekHashTable *table, void *entry) {
    const void *const link = entry == nullptr ? nullptr : static_cast<Item *>(entry)->next;
    observed.push_back({phase, table, entry, table->bucketCount, table->entryCount, link});
}

/// A table and its items.
struct Items {
    vekHashTable table;
    std::deque<Item> storage;

    explicit Items(int buckets = 4, int loadFactor = 1000) {
        observed.clear();
        std::memset(&table, 0xA5, sizeof table);
        vekHashAllocTable(&table, buckets, loadFactor, offsetof(Item, next), sameNumber, numberOf);
    }
    ~Items() { vekHashFreeTable(&table); }
    Items(const Items &) = delete;
    Items &operator=(const Items &) = delete;

    Item *make(int number, char name = ' ') {
        storage.push_back({number, name, reinterpret_cast<Item *>(0xBAD)});
        return &storage.back();
    }
    Item *add(int number, char name = ' ') {
        Item *const item = make(number, name);
        EXPECT_EQ(vekHashCreate(&table, item), nullptr) << number;
        return item;
    }
    void addUpTo(int count) {
        for (int i = 0; i < count; ++i) {
            add(i);
        }
    }
    Item *find(int number) {
        const Item key = {number, ' ', nullptr};
        return static_cast<Item *>(vekHashProbe(&table, &key));
    }
    Item *remove(int number) {
        const Item key = {number, ' ', nullptr};
        return static_cast<Item *>(vekHashDelete(&table, &key));
    }
    [[nodiscard]] std::vector<int> chain(int bucket) const {
        std::vector<int> numbers;
        for (const auto *item = static_cast<Item *>(table.buckets[bucket]); item != nullptr;
             item = item->next) {
            numbers.push_back(item->number);
        }
        return numbers;
    }
    std::vector<int> generate() {
        std::vector<int> numbers;
        vekHashGenerator *const generator = vekHashStartGen(&table);
        void *entry = nullptr;
        while (vekHashGen(generator, &entry) != 0) {
            numbers.push_back(static_cast<Item *>(entry)->number);
        }
        vekHashStopGen(generator);
        return numbers;
    }
};

void expectSetUp(int request, int loadFactor, std::int32_t buckets, std::int32_t threshold,
                 std::int16_t shift) {
    const Items items(request, loadFactor);
    EXPECT_EQ(items.table.bucketCount, buckets) << request;
    EXPECT_EQ(items.table.growThreshold, threshold) << request << ", " << loadFactor;
    EXPECT_EQ(items.table.mask, buckets - 1) << request;
    EXPECT_EQ(items.table.shift, shift) << request;
}

} // namespace

// The record.

TEST(VekHashTable, HasItsFieldsInDocumentedOrder) {
    EXPECT_EQ(offsetof(vekHashTable, buckets), 0U);
    EXPECT_EQ(offsetof(vekHashTable, bucketCount), 8U);
    EXPECT_EQ(offsetof(vekHashTable, growThreshold), 12U);
    EXPECT_EQ(offsetof(vekHashTable, entryCount), 16U);
    EXPECT_EQ(offsetof(vekHashTable, linkOffset), 20U);
    EXPECT_EQ(offsetof(vekHashTable, compare), 24U);
    EXPECT_EQ(offsetof(vekHashTable, hash), 32U);
    EXPECT_EQ(offsetof(vekHashTable, observer), 40U);
    EXPECT_EQ(offsetof(vekHashTable, mask), 48U);
    EXPECT_EQ(offsetof(vekHashTable, shift), 52U);
    EXPECT_EQ(offsetof(vekHashTable, generatorCount), 54U);
    EXPECT_EQ(offsetof(vekHashTable, probeSlot), 56U);
    EXPECT_EQ(offsetof(vekHashGenerator, table), 0U);
    EXPECT_EQ(offsetof(vekHashGenerator, nextEntry), 8U);
    EXPECT_EQ(offsetof(vekHashGenerator, bucketIndex), 16U);
}

// Setting up and freeing.

TEST(VekHashAllocTable, UsesTheNextPowerOfTwoAndAtLeastTwo) {
    expectSetUp(1, 3, 2, 6, 29);
    expectSetUp(2, 3, 2, 6, 29);
    expectSetUp(3, 3, 4, 12, 28);
    expectSetUp(4, 1, 4, 4, 28);
    expectSetUp(16, 3, 16, 48, 26);
    expectSetUp(64, 3, 64, 192, 24);
    expectSetUp(65, 3, 128, 384, 23);
    expectSetUp(100, 5, 128, 640, 23);
}

TEST(VekHashAllocTable, UsesSixtyFourBucketsForZeroAndLess) {
    expectSetUp(0, 3, 64, 192, 24);
    expectSetUp(-1, 3, 64, 192, 24);
    expectSetUp(INT_MIN, 0, 64, 192, 24);
}

TEST(VekHashAllocTable, UsesALoadFactorOfThreeForZeroAndLess) {
    expectSetUp(0, 0, 64, 192, 24);
    expectSetUp(8, -5, 8, 24, 27);
    expectSetUp(8, 1, 8, 8, 27);
}

TEST(VekHashAllocTable, SetsTheWholeRecord) {
    const Items items(8, 2);
    EXPECT_EQ(items.table.entryCount, 0);
    EXPECT_EQ(items.table.probeSlot, nullptr);
    EXPECT_EQ(items.table.observer, nullptr);
    EXPECT_EQ(items.table.generatorCount, 0);
    EXPECT_EQ(items.table.linkOffset, static_cast<std::int32_t>(offsetof(Item, next)));
    EXPECT_EQ(items.table.compare, sameNumber);
    EXPECT_EQ(items.table.hash, numberOf);
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(items.table.buckets[i], nullptr) << i;
    }
}

TEST(VekHashAllocTable, IgnoresANullTable) {
    vekHashAllocTable(nullptr, 4, 3, 0, sameNumber, numberOf);
    vekHashFreeTable(nullptr);
}

TEST(VekHashAllocTable, LeavesTheTableUnallocatedIfMemoryIsExhausted) {
    test::faults::failAllocation(1);
    Items items(64, 3);
    EXPECT_EQ(items.table.buckets, nullptr);
    EXPECT_EQ(items.table.bucketCount, 0);
    EXPECT_EQ(items.find(1), nullptr);
    EXPECT_EQ(vekHashCreate(&items.table, items.make(1)), nullptr);
    EXPECT_EQ(items.table.entryCount, 0);
}

TEST(VekHashAllocTable, LimitsThresholdsToTheirRange) {
    const Items items(1024, INT_MAX);
    EXPECT_EQ(items.table.growThreshold, INT_MAX);
}

TEST(VekHashFreeTable, ResetsTheRecordAndFreesNoEntry) {
    Items items(4);
    Item *const item = items.add(5);
    EXPECT_EQ(items.find(6), nullptr);
    vekHashGenerator *const generator = vekHashStartGen(&items.table);
    vekHashFreeTable(&items.table);
    EXPECT_EQ(items.table.buckets, nullptr);
    EXPECT_EQ(items.table.bucketCount, 0);
    EXPECT_EQ(items.table.entryCount, 0);
    EXPECT_EQ(items.table.generatorCount, 0);
    EXPECT_EQ(item->number, 5);
    vekHashStopGen(generator);
}

TEST(VekHashFreeTable, RecordCanBeSetUpAgain) {
    Items items(4);
    items.add(5);
    vekHashFreeTable(&items.table);
    vekHashFreeTable(&items.table);
    vekHashAllocTable(&items.table, 16, 3, offsetof(Item, next), sameNumber, numberOf);
    EXPECT_EQ(items.find(5), nullptr);
    Item *const again = items.add(5);
    EXPECT_EQ(items.find(5), again);
    EXPECT_EQ(items.table.entryCount, 1);
}

TEST(VekHashTable, DoesNothingForNull) {
    Items items(4);
    Item *const item = items.make(1);
    EXPECT_EQ(vekHashCreate(nullptr, item), nullptr);
    EXPECT_EQ(vekHashReplace(nullptr, item), nullptr);
    EXPECT_EQ(vekHashDelete(nullptr, item), nullptr);
    EXPECT_EQ(vekHashProbe(nullptr, item), nullptr);
    EXPECT_EQ(vekHashCreateAfterProbe(nullptr, item), nullptr);
    EXPECT_EQ(vekHashCreate(&items.table, nullptr), nullptr);
    EXPECT_EQ(vekHashReplace(&items.table, nullptr), nullptr);
    EXPECT_EQ(vekHashProbe(&items.table, nullptr), nullptr);
    EXPECT_EQ(vekHashCreateAfterProbe(&items.table, nullptr), nullptr);
    EXPECT_EQ(items.table.entryCount, 0);
    vekHashRebuildTable(nullptr);
    EXPECT_EQ(vekHashAllocBuckets(nullptr), 0);
}

TEST(VekHashTable, DoesNothingIfItIsNotAllocated) {
    Items items(4);
    EXPECT_EQ(items.find(1), nullptr); // stores a bucket that is freed later
    vekHashFreeTable(&items.table);
    Item *const item = items.make(1);
    EXPECT_EQ(vekHashCreate(&items.table, item), nullptr);
    EXPECT_EQ(vekHashReplace(&items.table, item), nullptr);
    EXPECT_EQ(vekHashDelete(&items.table, item), nullptr);
    EXPECT_EQ(vekHashProbe(&items.table, item), nullptr);
    EXPECT_EQ(vekHashCreateAfterProbe(&items.table, item), nullptr);
    vekHashRebuildTable(&items.table);
    EXPECT_EQ(items.table.buckets, nullptr);
    EXPECT_EQ(items.table.entryCount, 0);
    EXPECT_EQ(items.generate(), std::vector<int>());
}

TEST(VekHashTable, DoesNothingWithoutCallbacks) {
    vekHashTable table;
    vekHashAllocTable(&table, 4, 1, offsetof(Item, next), nullptr, nullptr);
    Item item = {1, ' ', nullptr};
    EXPECT_EQ(vekHashCreate(&table, &item), nullptr);
    EXPECT_EQ(vekHashProbe(&table, &item), nullptr);
    EXPECT_EQ(table.entryCount, 0);
    vekHashFreeTable(&table);
}

// Create.

TEST(VekHashCreate, InsertsAtTheHeadOfTheChain) {
    Items items(4);
    items.add(1);
    items.add(5);
    items.add(2);
    items.add(9);
    EXPECT_EQ(items.chain(1), (std::vector<int>{9, 5, 1}));
    EXPECT_EQ(items.chain(2), (std::vector<int>{2}));
    EXPECT_EQ(items.chain(0), (std::vector<int>{}));
    EXPECT_EQ(items.table.entryCount, 4);
}

TEST(VekHashCreate, ReturnsTheGivenEntryIfAnEqualOneExists) {
    Items items(4);
    Item *const first = items.add(5, 'a');
    Item *const second = items.make(5, 'b');
    EXPECT_EQ(vekHashCreate(&items.table, second), second);
    EXPECT_EQ(items.table.entryCount, 1);
    EXPECT_EQ(items.find(5), first);
    EXPECT_EQ(items.chain(1), (std::vector<int>{5}));
}

TEST(VekHashCreate, WorksWithALinkAtAnyOffset) {
    struct Packed {
        char number;
        char link[sizeof(void *)]; // at offset 1, unaligned
    };
    vekHashTable table;
    vekHashAllocTable(
        &table, 2, 1000, offsetof(Packed, link),
        [](const void *entry, const void *key) {
            return static_cast<int>(*static_cast<const char *>(entry) == *static_cast<const char *>(key));
        },
        [](const void *key, const vekHashTable *) {
            return static_cast<std::uint32_t>(*static_cast<const char *>(key));
        });
    std::array<Packed, 10> entries = {};
    for (std::size_t i = 0; i < entries.size(); ++i) {
        entries[i].number = static_cast<char>(i);
        EXPECT_EQ(vekHashCreate(&table, &entries[i]), nullptr);
    }
    for (Packed &entry : entries) {
        EXPECT_EQ(vekHashProbe(&table, &entry.number), &entry);
    }
    vekHashFreeTable(&table);
}

TEST(VekHashTable, PassesTheDocumentedArgumentsToTheCallbacks) {
    static const vekHashTable *seenTable;
    static const void *seenEntry;
    static const void *seenKey;
    static int comparisons;
    vekHashTable table;
    vekHashAllocTable(
        &table, 2, 1000, offsetof(Item, next),
        [](const void *entry, const void *key) {
            seenEntry = entry;
            seenKey = key;
            return ++comparisons == 1 ? -7 : 0; // any value but 0 is a match
        },
        [](const void *, const vekHashTable *given) {
            seenTable = given;
            return 0xFFFFFFFFU;
        });
    Item item = {1, ' ', nullptr};
    const Item key = {2, ' ', nullptr};
    EXPECT_EQ(vekHashCreate(&table, &item), nullptr);
    EXPECT_EQ(seenTable, &table);
    EXPECT_EQ(table.buckets[1], &item);
    EXPECT_EQ(vekHashProbe(&table, &key), &item);
    EXPECT_EQ(seenEntry, &item);
    EXPECT_EQ(seenKey, &key);
    vekHashFreeTable(&table);
}

// Replace.

TEST(VekHashReplace, InsertsWhatIsNew) {
    Items items(4);
    Item *const item = items.make(6);
    EXPECT_EQ(vekHashReplace(&items.table, item), nullptr);
    EXPECT_EQ(items.find(6), item);
    EXPECT_EQ(items.table.entryCount, 1);
}

TEST(VekHashReplace, PutsTheNewEntryAtTheOldPosition) {
    for (const int number : {9, 5, 1}) {
        Items items(4);
        items.add(1, 'a');
        items.add(5, 'a');
        items.add(9, 'a');
        Item *const old = items.find(number);
        Item *const item = items.make(number, 'b');
        EXPECT_EQ(vekHashReplace(&items.table, item), old);
        EXPECT_EQ(items.find(number), item);
        EXPECT_EQ(items.chain(1), (std::vector<int>{9, 5, 1}));
        EXPECT_EQ(items.table.entryCount, 3);
    }
}

TEST(VekHashReplace, NotifiesTheObserverBeforeTheLinkChanges) {
    Items items(4);
    items.table.observer = observer;
    Item *const last = items.add(1);
    Item *const first = items.add(5);
    EXPECT_EQ(vekHashReplace(&items.table, items.make(1)), last);
    ASSERT_EQ(observed.size(), 1U);
    EXPECT_EQ(observed[0].phase, VEK_HASH_LINK_CHANGES);
    EXPECT_EQ(observed[0].phase, 2);
    EXPECT_EQ(observed[0].table, &items.table);
    EXPECT_EQ(observed[0].entry, first);
    EXPECT_EQ(observed[0].link, last);
}

TEST(VekHashReplace, DoesNotNotifyForFirstEntryOrInsertion) {
    Items items(4);
    items.table.observer = observer;
    items.add(1);
    Item *const first = items.add(5);
    EXPECT_EQ(vekHashReplace(&items.table, items.make(5)), first);
    EXPECT_EQ(vekHashReplace(&items.table, items.make(9)), nullptr);
    EXPECT_TRUE(observed.empty());
}

TEST(VekHashReplace, GrowsTheTableWhenItInserts) {
    Items items(2, 1);
    Item *const first = items.add(1);
    EXPECT_EQ(vekHashReplace(&items.table, items.make(1)), first);
    EXPECT_EQ(items.table.bucketCount, 2);
    EXPECT_EQ(vekHashReplace(&items.table, items.make(2)), nullptr);
    EXPECT_EQ(items.table.bucketCount, 8);
}

// Delete.

TEST(VekHashDelete, UnlinksTheEntryAtAnyPosition) {
    for (const int number : {9, 5, 1}) {
        Items items(4);
        items.addUpTo(12); // bucket 1: 9, 5, 1
        Item *const item = items.find(number);
        EXPECT_EQ(items.remove(number), item);
        EXPECT_EQ(items.table.entryCount, 11);
        EXPECT_EQ(items.find(number), nullptr);
        std::vector<int> rest = {9, 5, 1};
        std::erase(rest, number);
        EXPECT_EQ(items.chain(1), rest);
    }
}

TEST(VekHashDelete, ReturnsNullIfNothingMatches) {
    Items items(4);
    items.add(1);
    EXPECT_EQ(items.remove(5), nullptr);
    EXPECT_EQ(items.remove(2), nullptr);
    EXPECT_EQ(items.table.entryCount, 1);
}

TEST(VekHashDelete, NotifiesTheObserverUnlessTheEntryIsFirst) {
    Items items(4);
    items.table.observer = observer;
    Item *const last = items.add(1);
    Item *const middle = items.add(5);
    items.add(9);
    EXPECT_EQ(items.remove(9)->number, 9);
    EXPECT_TRUE(observed.empty());
    EXPECT_EQ(items.remove(1), last);
    ASSERT_EQ(observed.size(), 1U);
    EXPECT_EQ(observed[0].phase, 2);
    EXPECT_EQ(observed[0].table, &items.table);
    EXPECT_EQ(observed[0].entry, middle);
    EXPECT_EQ(observed[0].link, last);
    EXPECT_EQ(observed[0].entryCount, 2);
    EXPECT_EQ(items.remove(5), middle);
    EXPECT_EQ(items.remove(5), nullptr);
    EXPECT_EQ(observed.size(), 1U);
}

TEST(VekHashDelete, PassesANullKeyToTheCallbacks) {
    static int asked;
    vekHashTable table;
    vekHashAllocTable(
        &table, 4, 3, offsetof(Item, next),
        [](const void *, const void *key) { return static_cast<int>(key == nullptr); },
        [](const void *, const vekHashTable *) {
            ++asked;
            return 0U;
        });
    Item item = {1, ' ', nullptr};
    EXPECT_EQ(vekHashCreate(&table, &item), nullptr);
    EXPECT_EQ(vekHashDelete(&table, nullptr), &item);
    EXPECT_EQ(asked, 2);
    vekHashFreeTable(&table);
}

TEST(VekHashDelete, NeverShrinksTheTable) {
    Items items(2, 1);
    items.addUpTo(40);
    const std::int32_t buckets = items.table.bucketCount;
    const std::int32_t threshold = items.table.growThreshold;
    for (int i = 0; i < 40; ++i) {
        EXPECT_NE(items.remove(i), nullptr) << i;
    }
    EXPECT_EQ(items.table.entryCount, 0);
    EXPECT_EQ(items.table.bucketCount, buckets);
    EXPECT_EQ(items.table.growThreshold, threshold);
}

// Probe and create after it.

TEST(VekHashProbe, FindsTheEntryAndClearsTheStoredBucket) {
    Items items(4);
    Item *const item = items.add(5);
    EXPECT_EQ(items.find(6), nullptr);
    EXPECT_EQ(items.find(5), item);
    EXPECT_EQ(items.table.probeSlot, nullptr);
    Item *const other = items.make(5);
    EXPECT_EQ(vekHashCreateAfterProbe(&items.table, other), other);
    EXPECT_EQ(items.table.entryCount, 1);
    EXPECT_EQ(items.chain(1), (std::vector<int>{5}));
}

TEST(VekHashProbe, StoresTheBucketOfAKeyThatIsNotFound) {
    Items items(4);
    EXPECT_EQ(items.find(6), nullptr);
    EXPECT_EQ(items.table.probeSlot, &items.table.buckets[2]);
}

TEST(VekHashProbe, KeepsTheStoredBucketForANullKey) {
    Items items(4);
    EXPECT_EQ(items.find(6), nullptr);
    EXPECT_EQ(vekHashProbe(&items.table, nullptr), nullptr);
    EXPECT_EQ(items.table.probeSlot, &items.table.buckets[2]);
}

TEST(VekHashCreateAfterProbe, InsertsIntoTheStoredBucketWithoutHashing) {
    static int hashes;
    Items items(4);
    items.add(2);
    items.table.hash = [](const void *key, const vekHashTable *table) {
        ++hashes;
        return numberOf(key, table);
    };
    EXPECT_EQ(items.find(6), nullptr);
    Item *const item = items.make(6);
    EXPECT_EQ(vekHashCreateAfterProbe(&items.table, item), nullptr);
    EXPECT_EQ(hashes, 1);
    EXPECT_EQ(items.chain(2), (std::vector<int>{6, 2}));
    EXPECT_EQ(items.table.entryCount, 2);
    EXPECT_EQ(items.find(6), item);
}

TEST(VekHashCreateAfterProbe, KeepsTheStoredBucket) {
    Items items(4);
    EXPECT_EQ(items.find(6), nullptr);
    EXPECT_EQ(vekHashCreateAfterProbe(&items.table, items.make(6)), nullptr);
    EXPECT_EQ(items.table.probeSlot, &items.table.buckets[2]);
    // A second one is inserted there, too, equal or not; the last one is found.
    Item *const second = items.make(6);
    EXPECT_EQ(vekHashCreateAfterProbe(&items.table, second), nullptr);
    EXPECT_EQ(items.table.entryCount, 2);
    EXPECT_EQ(items.find(6), second);
    EXPECT_EQ(items.remove(6), second);
    EXPECT_NE(items.find(6), nullptr);
}

TEST(VekHashCreateAfterProbe, InsertsNothingAfterTheTableHasGrown) {
    Items items(2, 1);
    items.add(1);
    EXPECT_EQ(items.find(3), nullptr);
    items.add(2); // grows
    EXPECT_EQ(items.table.probeSlot, nullptr);
    Item *const item = items.make(3);
    EXPECT_EQ(vekHashCreateAfterProbe(&items.table, item), item);
    EXPECT_EQ(items.table.entryCount, 2);
    EXPECT_EQ(items.find(3), nullptr);
}

TEST(VekHashCreateAfterProbe, GrowthClearsTheStoredBucket) {
    Items items(2, 1);
    items.add(1);
    EXPECT_EQ(items.find(3), nullptr);
    Item *const item = items.make(3);
    EXPECT_EQ(vekHashCreateAfterProbe(&items.table, item), nullptr);
    EXPECT_EQ(items.table.bucketCount, 8);
    EXPECT_EQ(items.table.probeSlot, nullptr);
    EXPECT_EQ(items.find(3), item);
}

TEST(VekHashCreateAfterProbe, ReturnsTheEntryIfNothingWasProbed) {
    Items items(4);
    Item *const item = items.make(3);
    EXPECT_EQ(vekHashCreateAfterProbe(&items.table, item), item);
}

// Growth.

TEST(VekHashGrowth, HappensWhenTheThresholdIsReached) {
    Items items(0, 0);
    items.addUpTo(191);
    EXPECT_EQ(items.table.bucketCount, 64);
    items.add(191);
    EXPECT_EQ(items.table.bucketCount, 256);
    EXPECT_EQ(items.table.growThreshold, 768);
    EXPECT_EQ(items.table.mask, 255);
    EXPECT_EQ(items.table.shift, 22);
    EXPECT_EQ(items.table.entryCount, 192);
    for (int i = 0; i < 192; ++i) {
        ASSERT_NE(items.find(i), nullptr) << i;
        EXPECT_EQ(items.find(i)->number, i);
    }
}

TEST(VekHashGrowth, KeepsTheLoadFactor) {
    Items items(2, 5);
    items.addUpTo(1000);
    EXPECT_EQ(items.table.bucketCount, 512);
    EXPECT_EQ(items.table.growThreshold, 2560);
    EXPECT_EQ(items.table.shift, 30 - 9);
    EXPECT_EQ(items.table.entryCount, 1000);
}

TEST(VekHashGrowth, MovesBucketsInOrderAndChainsFromTheirHead) {
    Items items(2, 4); // the eighth entry grows it
    for (const int number : {0, 8, 16, 1, 9, 24, 17}) {
        items.add(number);
    }
    EXPECT_EQ(items.chain(0), (std::vector<int>{24, 16, 8, 0}));
    items.add(25);
    EXPECT_EQ(items.table.bucketCount, 8);
    // Each entry is inserted at the front of its new chain, which reverses the order.
    EXPECT_EQ(items.chain(0), (std::vector<int>{0, 8, 16, 24}));
    EXPECT_EQ(items.chain(1), (std::vector<int>{1, 9, 17, 25}));
    EXPECT_EQ(items.chain(4), (std::vector<int>{}));
}

TEST(VekHashGrowth, NotifiesTheObserverBeforeAndAfter) {
    Items items(2, 1);
    items.table.observer = observer;
    items.add(1);
    EXPECT_TRUE(observed.empty());
    items.add(2);
    ASSERT_EQ(observed.size(), 2U);
    EXPECT_EQ(observed[0].phase, VEK_HASH_GROWTH_BEGINS);
    EXPECT_EQ(observed[0].phase, 0);
    EXPECT_EQ(observed[0].entry, nullptr);
    EXPECT_EQ(observed[0].bucketCount, 2);
    EXPECT_EQ(observed[1].phase, VEK_HASH_GROWTH_ENDS);
    EXPECT_EQ(observed[1].phase, 1);
    EXPECT_EQ(observed[1].entry, nullptr);
    EXPECT_EQ(observed[1].bucketCount, 8);
    EXPECT_EQ(observed[1].table, &items.table);
}

TEST(VekHashGrowth, LeavesTheTableUnchangedIfMemoryIsExhausted) {
    Items items(2, 1);
    items.table.observer = observer;
    items.add(1);
    test::faults::failAllocationsFrom(1);
    Item *const second = items.make(2);
    EXPECT_EQ(vekHashCreate(&items.table, second), nullptr);
    EXPECT_EQ(items.table.bucketCount, 2);
    EXPECT_EQ(items.table.growThreshold, 2);
    EXPECT_EQ(items.table.mask, 1);
    EXPECT_EQ(items.table.shift, 29);
    EXPECT_EQ(items.table.entryCount, 2);
    EXPECT_EQ(items.find(2), second);
    EXPECT_EQ(items.find(1)->number, 1);
    EXPECT_TRUE(observed.empty());
    // The next insertion with enough memory grows the table.
    test::faults::reset();
    items.add(3);
    EXPECT_EQ(items.table.bucketCount, 8);
    EXPECT_EQ(items.find(2), second);
    EXPECT_EQ(items.table.entryCount, 3);
}

TEST(VekHashRebuildTable, GrowsFourfoldOnCall) {
    Items items(4, 3);
    items.addUpTo(5);
    vekHashRebuildTable(&items.table);
    EXPECT_EQ(items.table.bucketCount, 16);
    EXPECT_EQ(items.table.growThreshold, 48);
    EXPECT_EQ(items.table.shift, 26);
    EXPECT_EQ(items.chain(4), (std::vector<int>{4}));
    EXPECT_EQ(items.table.entryCount, 5);
}

TEST(VekHashRebuildTable, GrowsATableOfOneBucket) {
    Items items(4, 3);
    items.table.bucketCount = 1;
    items.table.growThreshold = 3;
    vekHashRebuildTable(&items.table);
    EXPECT_EQ(items.table.bucketCount, 4);
    EXPECT_EQ(items.table.growThreshold, 12);
}

TEST(VekHashRebuildTable, DoesNothingWithoutBuckets) {
    Items items(4, 3);
    const std::int32_t buckets = items.table.bucketCount;
    items.table.bucketCount = 0;
    vekHashRebuildTable(&items.table);
    EXPECT_EQ(items.table.bucketCount, 0);
    EXPECT_EQ(items.table.growThreshold, 12);
    items.table.bucketCount = buckets;
}

TEST(VekHashRebuildTable, UsesThreeEntriesPerBucketWithoutAThreshold) {
    for (const int none : {0, -3}) {
        Items items(4, 9);
        items.table.growThreshold = none;
        vekHashRebuildTable(&items.table);
        EXPECT_EQ(items.table.growThreshold, 4 * 3 * 4);
    }
}

TEST(VekHashRebuildTable, LimitsTheThresholdToItsRange) {
    Items items(4, 3);
    items.table.growThreshold = INT_MAX / 2;
    vekHashRebuildTable(&items.table);
    EXPECT_EQ(items.table.growThreshold, INT_MAX);
    EXPECT_EQ(items.table.bucketCount, 16);
}

TEST(VekHashRebuildTable, LeavesATableOfTheLargestSizeUnchanged) {
    Items items(4, 3);
    items.table.bucketCount = 1 << 29;
    vekHashRebuildTable(&items.table);
    EXPECT_EQ(items.table.bucketCount, 1 << 29);
    EXPECT_EQ(items.table.growThreshold, 12);
    items.table.bucketCount = 4;
}

TEST(VekHashAllocBuckets, StoresEmptyBuckets) {
    vekHashTable table = {};
    table.bucketCount = 8;
    EXPECT_EQ(vekHashAllocBuckets(&table), 1);
    ASSERT_NE(table.buckets, nullptr);
    EXPECT_TRUE(std::all_of(table.buckets, table.buckets + 8, [](void *head) { return head == nullptr; }));
    vekHashFreeTable(&table);
    EXPECT_EQ(vekHashAllocBuckets(&table), 0);
    EXPECT_EQ(table.buckets, nullptr);
}

TEST(VekHashGrowth, KeepsManyEntriesThroughManyGrowths) {
    Items items(1, 1);
    constexpr int kMany = 100000;
    items.addUpTo(kMany);
    EXPECT_EQ(items.table.entryCount, kMany);
    EXPECT_EQ(items.table.bucketCount, 131072);
    for (int i = 0; i < kMany; i += 2) {
        ASSERT_NE(items.remove(i), nullptr) << i;
    }
    for (int i = 0; i < kMany; ++i) {
        const Item *const item = items.find(i);
        ASSERT_EQ(item != nullptr, i % 2 == 1) << i;
    }
}

// Iteration.

TEST(VekHashGen, EndsAtOnceOverAnEmptyTable) {
    Items items(4);
    vekHashGenerator *const generator = vekHashStartGen(&items.table);
    void *entry = &items;
    EXPECT_EQ(vekHashGen(generator, &entry), 0);
    EXPECT_EQ(vekHashGen(generator, &entry), 0);
    EXPECT_EQ(entry, &items);
    vekHashStopGen(generator);
}

TEST(VekHashGen, VisitsBucketsInOrderAndChainsFromTheirHead) {
    Items items(4);
    for (const int number : {7, 2, 0, 3, 6, 4}) {
        items.add(number);
    }
    EXPECT_EQ(items.generate(), (std::vector<int>{4, 0, 6, 2, 3, 7}));
}

TEST(VekHashGen, VisitsEveryEntryOnceDuringDeletions) {
    vekHashTable table;
    vekHashAllocTable(&table, 8, 3, offsetof(Item, next), sameNumber, numberOf);
    for (int i = 0; i < 100; ++i) {
        auto *const item = new Item{i, ' ', nullptr};
        EXPECT_EQ(vekHashCreate(&table, item), nullptr);
    }
    std::multiset<int> visited;
    vekHashGenerator *const generator = vekHashStartGen(&table);
    void *entry = nullptr;
    while (vekHashGen(generator, &entry) != 0) {
        auto *const item = static_cast<Item *>(entry);
        visited.insert(item->number);
        EXPECT_EQ(vekHashDelete(&table, item), item);
        delete item;
    }
    vekHashStopGen(generator);
    std::multiset<int> all;
    for (int i = 0; i < 100; ++i) {
        all.insert(i);
    }
    EXPECT_EQ(visited, all);
    EXPECT_EQ(table.entryCount, 0);
    vekHashFreeTable(&table);
}

TEST(VekHashGen, IsCountedFromStartToStop) {
    Items items(4);
    vekHashGenerator *const first = vekHashStartGen(&items.table);
    vekHashGenerator *const second = vekHashStartGen(&items.table);
    EXPECT_EQ(items.table.generatorCount, 2);
    vekHashStopGen(first);
    EXPECT_EQ(items.table.generatorCount, 1);
    vekHashStopGen(second);
    EXPECT_EQ(items.table.generatorCount, 0);
}

TEST(VekHashGen, ReadsTheFirstBucketAtTheStart) {
    Items items(4);
    Item *const item = items.add(4);
    vekHashGenerator *const generator = vekHashStartGen(&items.table);
    EXPECT_EQ(generator->table, &items.table);
    EXPECT_EQ(generator->nextEntry, item);
    EXPECT_EQ(generator->bucketIndex, 0);
    vekHashStopGen(generator);
}

TEST(VekHashGen, ReadsLaterBucketsWhenItReachesThem) {
    Items items(4);
    items.add(0);
    items.add(5);
    items.add(1); // now the head of bucket 1
    items.add(2);
    vekHashGenerator *const generator = vekHashStartGen(&items.table);
    const auto next = [generator] {
        void *entry = nullptr;
        return vekHashGen(generator, &entry) != 0 ? static_cast<Item *>(entry)->number : -1;
    };
    EXPECT_EQ(next(), 0);
    EXPECT_EQ(generator->nextEntry, nullptr);
    EXPECT_EQ(generator->bucketIndex, 0);
    items.remove(1); // the first entry of a later bucket may be removed,
    EXPECT_EQ(next(), 5);
    items.add(6); // and another one inserted
    EXPECT_EQ(next(), 6);
    EXPECT_EQ(next(), 2);
    items.add(3);
    EXPECT_EQ(next(), 3);
    EXPECT_EQ(next(), -1);
    vekHashStopGen(generator);
}

TEST(VekHashGen, EndsEvenIfTheTableChanges) {
    Items items(2, 2);
    items.addUpTo(3);
    vekHashGenerator *const generator = vekHashStartGen(&items.table);
    void *entry = nullptr;
    EXPECT_EQ(vekHashGen(generator, &entry), 1);
    items.add(100); // grows
    int more = 0;
    while (vekHashGen(generator, &entry) != 0 && more < 100) {
        ++more;
    }
    EXPECT_LT(more, 100);
    vekHashFreeTable(&items.table);
    EXPECT_EQ(vekHashGen(generator, &entry), 0);
    vekHashStopGen(generator);
}

TEST(VekHashGen, DoesNothingForNull) {
    EXPECT_EQ(vekHashStartGen(nullptr), nullptr);
    void *entry = nullptr;
    EXPECT_EQ(vekHashGen(nullptr, &entry), 0);
    vekHashStopGen(nullptr);
    Items items(4);
    Item *const item = items.add(1);
    vekHashGenerator *const generator = vekHashStartGen(&items.table);
    EXPECT_EQ(vekHashGen(generator, nullptr), 0);
    EXPECT_EQ(vekHashGen(generator, &entry), 1); // nothing was skipped
    EXPECT_EQ(entry, item);
    vekHashStopGen(generator);
}

TEST(VekHashGen, ReturnsNullIfMemoryIsExhausted) {
    Items items(4);
    test::faults::failAllocation(1);
    EXPECT_EQ(vekHashStartGen(&items.table), nullptr);
    EXPECT_EQ(items.table.generatorCount, 0);
}

// Numbers.

TEST(VekHashDouble, FoldsTheHalvesOfTheNumber) {
    EXPECT_EQ(vekHashDouble(0.0), 0);
    EXPECT_EQ(vekHashDouble(-0.0), 0x7FC07FC0);
    // 1.0 is 0x3FF00000 00000000: 0x3FF00000 ^ 0x3FF0 is 0x3FF03FF0, ^ 0x1FF81F is 0x3FEFC7EF.
    EXPECT_EQ(vekHashDouble(1.0), 0x3FEFC7EF);
    // -2.5 is 0xC0040000 00000000: ^ 0xFFFFC004 is 0x3FFBC004, ^ 0x1FFDE0 is 0x3FE43DE4.
    EXPECT_EQ(vekHashDouble(-2.5), 0x3FE43DE4);
    // 0.1 is 0x3FB99999 9999999A, the halves together 0xA6200003: ^ 0xFFFFA620 is 0x59DFA623, ^ 0x2CEFD3.
    EXPECT_EQ(vekHashDouble(0.1), 0x59F349F0);
}

TEST(VekHashDouble, HashesNotANumber) {
    // Infinity is 0x7FF00000 00000000: ^ 0x7FF0 is 0x7FF07FF0, ^ 0x3FF83F is 0x7FCF87CF.
    EXPECT_EQ(vekHashDouble(std::numeric_limits<double>::infinity()), 0x7FCF87CF);
    EXPECT_EQ(vekHashDouble(std::numeric_limits<double>::quiet_NaN()),
              vekHashDouble(std::numeric_limits<double>::quiet_NaN()));
}
