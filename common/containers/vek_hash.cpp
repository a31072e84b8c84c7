#include "common/containers/vek_hash.h"

// An intrusive hash table with separate chaining, for C programs. A new entry becomes the first of its chain. The
// number of buckets is a power of two, and growth multiplies it by four. To move the entries, growth visits the old
// chains in order and inserts each entry at the front of its new chain. The observer function is called before and
// after growth, and before a removal or replacement changes the link of the preceding entry.

#include "common/base/owned.h"
#include "common/containers/veki_hash.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

static_assert(offsetof(vekHashTable, compare) == 24 && offsetof(vekHashTable, mask) == 48 &&
                  offsetof(vekHashTable, probeSlot) == 56 && sizeof(vekHashTable) == 64,
              "C programs are compiled with this layout");

namespace {

constexpr int32_t kDefaultBuckets = 64;
constexpr int32_t kSmallestBuckets = 2;
constexpr int16_t kSmallestShift = 29;
constexpr int32_t kDefaultLoadFactor = 3;
constexpr int32_t kGrowthFactor = 4;
constexpr int16_t kGrowthShift = 2;
/// The largest number of buckets: the largest power of two that fits into an int32_t.
constexpr int32_t kLargestBuckets = 1 << 30;

/// @return the product of the positive numbers `a` and `b`; INT32_MAX if the product is larger than INT32_MAX
int32_t multiplied(int32_t a, int32_t b) {
    const int64_t product = int64_t{a} * b;
    return product > INT32_MAX ? INT32_MAX : static_cast<int32_t>(product);
}

bool isAllocated(const vekHashTable *table) {
    return table != nullptr && table->buckets != nullptr && table->compare != nullptr &&
           table->hash != nullptr;
}

// linkOf() and setLink() read and write the link of an entry, its pointer to the next entry of the chain. They use
// memcpy(), because the caller chooses the byte offset of the link, so its address can be unaligned.

void *linkOf(const vekHashTable &table, const void *entry) {
    void *link = nullptr;
    std::memcpy(&link, static_cast<const char *>(entry) + table.linkOffset, sizeof link);
    return link;
}

void setLink(const vekHashTable &table, void *entry, void *link) {
    std::memcpy(static_cast<char *>(entry) + table.linkOffset, &link, sizeof link);
}

void **bucketOf(const vekHashTable &table, const void *key) {
    return &table.buckets[table.hash(key, &table) & static_cast<uint32_t>(table.mask)];
}

/// The result of findIn(): the entry that equals a key, and the location of the pointer to this entry. The pointer is
/// the link of `previous`, or `*bucket` if `previous` is null.
struct Location {
    void **bucket;
    void *previous; ///< the entry before `entry`; null if `entry` is the first of its chain
    void *entry;    ///< null if no entry equals the key
};

Location findIn(const vekHashTable &table, void **bucket, const void *key) {
    void *previous = nullptr;
    void *entry = *bucket;
    while (entry != nullptr && table.compare(entry, key) == 0) {
        previous = entry;
        entry = linkOf(table, entry);
    }
    return {bucket, previous, entry};
}

void pushFront(const vekHashTable &table, void **bucket, void *entry) {
    setLink(table, entry, *bucket);
    *bucket = entry;
}

void insert(vekHashTable &table, void **bucket, void *entry) {
    pushFront(table, bucket, entry);
    if (table.entryCount < INT32_MAX) {
        ++table.entryCount;
    }
    if (table.entryCount >= table.growThreshold) {
        vekHashRebuildTable(&table);
    }
}

void observe(vekHashTable &table, int phase, void *entry) {
    if (table.observer != nullptr) {
        table.observer(phase, &table, entry);
    }
}

/// Calls the observer with VEK_HASH_LINK_CHANGES for the entry that precedes `location.entry` in its chain, because
/// the link of this preceding entry is about to change. Does nothing if `location.entry` is the first of its chain.
void observeRedirection(vekHashTable &table, const Location &location) {
    if (location.previous != nullptr) {
        observe(table, VEK_HASH_LINK_CHANGES, location.previous);
    }
}

/// Takes `location.entry` out of its chain: sets the link of the preceding entry to `successor`. If `location.entry`
/// is the first entry of the chain, sets the bucket to `successor` instead.
void redirect(const vekHashTable &table, const Location &location, void *successor) {
    if (location.previous == nullptr) {
        *location.bucket = successor;
    } else {
        setLink(table, location.previous, successor);
    }
}

void rehash(const vekHashTable &table, void *const *oldBuckets, int32_t oldCount) {
    for (int32_t i = 0; i < oldCount; ++i) {
        void *entry = oldBuckets[i];
        while (entry != nullptr) {
            void *const next = linkOf(table, entry);
            pushFront(table, bucketOf(table, entry), entry);
            entry = next;
        }
    }
}

} // namespace

int vekHashAllocBuckets(vekHashTable *table) {
    if (table == nullptr) {
        return 0;
    }
    table->buckets = nullptr;
    if (table->bucketCount < 1) {
        return 0;
    }
    table->buckets =
        static_cast<void **>(std::calloc(static_cast<std::size_t>(table->bucketCount), sizeof(void *)));
    return table->buckets != nullptr ? 1 : 0;
}

void vekHashRebuildTable(vekHashTable *table) {
    if (!isAllocated(table) || table->bucketCount < 1) {
        return;
    }
    if (table->growThreshold < 1) {
        table->growThreshold = multiplied(kDefaultLoadFactor, table->bucketCount);
    }
    if (table->bucketCount > kLargestBuckets / kGrowthFactor) {
        return;
    }
    // Allocate the new buckets first: if this fails, the table is unchanged and the observer has not been called.
    vekHashTable grown = *table;
    grown.bucketCount *= kGrowthFactor;
    if (vekHashAllocBuckets(&grown) == 0) {
        return;
    }
    observe(*table, VEK_HASH_GROWTH_BEGINS, nullptr);
    const vek::Owned<void *> oldBuckets(table->buckets);
    const int32_t oldCount = table->bucketCount;
    table->shift = static_cast<int16_t>(table->shift - kGrowthShift);
    table->growThreshold = multiplied(table->growThreshold, kGrowthFactor);
    table->bucketCount = grown.bucketCount;
    table->mask = grown.bucketCount - 1;
    table->buckets = grown.buckets;
    table->probeSlot = nullptr;
    rehash(*table, oldBuckets.get(), oldCount);
    observe(*table, VEK_HASH_GROWTH_ENDS, nullptr);
}

void vekHashAllocTable(vekHashTable *table, int initialBuckets, int loadFactor, int linkOffset,
                       vekHashCompare compare, vekHashFunction hash) {
    if (table == nullptr) {
        return;
    }
    const int wanted = initialBuckets < 1 ? kDefaultBuckets : initialBuckets;
    *table = {};
    table->linkOffset = linkOffset;
    table->compare = compare;
    table->hash = hash;
    table->bucketCount = kSmallestBuckets;
    table->shift = kSmallestShift;
    while (table->bucketCount < wanted && table->bucketCount < kLargestBuckets) {
        table->bucketCount *= 2;
        --table->shift;
    }
    table->mask = table->bucketCount - 1;
    table->growThreshold = multiplied(loadFactor < 1 ? kDefaultLoadFactor : loadFactor, table->bucketCount);
    if (vekHashAllocBuckets(table) == 0) {
        table->bucketCount = 0;
    }
}

void vekHashFreeTable(vekHashTable *table) {
    if (table == nullptr) {
        return;
    }
    std::free(table->buckets);
    table->buckets = nullptr;
    table->bucketCount = 0;
    table->entryCount = 0;
    table->generatorCount = 0;
    table->probeSlot = nullptr;
}

void *vekHashCreate(vekHashTable *table, void *entry) {
    if (!isAllocated(table) || entry == nullptr) {
        return nullptr;
    }
    void **const bucket = bucketOf(*table, entry);
    if (findIn(*table, bucket, entry).entry != nullptr) {
        // Documented: if the table contains an equal entry, the result is the argument `entry`, not the equal entry.
        return entry;
    }
    insert(*table, bucket, entry);
    return nullptr;
}

void *vekHashReplace(vekHashTable *table, void *entry) {
    if (!isAllocated(table) || entry == nullptr) {
        return nullptr;
    }
    const Location location = findIn(*table, bucketOf(*table, entry), entry);
    if (location.entry == nullptr) {
        insert(*table, location.bucket, entry);
        return nullptr;
    }
    observeRedirection(*table, location);
    setLink(*table, entry, linkOf(*table, location.entry));
    redirect(*table, location, entry);
    return location.entry;
}

void *vekHashDelete(vekHashTable *table, const void *key) {
    if (!isAllocated(table)) {
        return nullptr;
    }
    const Location location = findIn(*table, bucketOf(*table, key), key);
    if (location.entry == nullptr) {
        return nullptr;
    }
    observeRedirection(*table, location);
    redirect(*table, location, linkOf(*table, location.entry));
    --table->entryCount;
    return location.entry;
}

void *vekHashProbe(vekHashTable *table, const void *key) {
    if (!isAllocated(table) || key == nullptr) {
        return nullptr;
    }
    void **const bucket = bucketOf(*table, key);
    void *const entry = findIn(*table, bucket, key).entry;
    table->probeSlot = entry == nullptr ? bucket : nullptr;
    return entry;
}

void *vekHashCreateAfterProbe(vekHashTable *table, void *entry) {
    if (!isAllocated(table) || entry == nullptr) {
        return nullptr;
    }
    if (table->probeSlot == nullptr) {
        return entry;
    }
    // Documented: the insertion does not reset `probeSlot`, the bucket that vekHashProbe() stored. A second call
    // therefore inserts into the same bucket, unless the table has grown or vekHashProbe() was called again.
    insert(*table, table->probeSlot, entry);
    return nullptr;
}

vekHashGenerator *vekHashStartGen(vekHashTable *table) {
    if (table == nullptr) {
        return nullptr;
    }
    void *const first = table->buckets == nullptr ? nullptr : table->buckets[0];
    vek::Owned<vekHashGenerator> generator =
        vek::make<vekHashGenerator>({.table = table, .nextEntry = first, .bucketIndex = 0});
    if (!generator) {
        return nullptr;
    }
    table->generatorCount = static_cast<int16_t>(table->generatorCount + 1);
    return generator.release();
}

int vekHashGen(vekHashGenerator *generator, void **entry) {
    if (generator == nullptr || entry == nullptr) {
        return 0;
    }
    const vekHashTable &table = *generator->table;
    while (generator->nextEntry == nullptr) {
        if (generator->bucketIndex < table.bucketCount) {
            ++generator->bucketIndex;
        }
        if (generator->bucketIndex >= table.bucketCount) {
            return 0;
        }
        generator->nextEntry = table.buckets[generator->bucketIndex];
    }
    *entry = generator->nextEntry;
    // Read the link of the entry now, because the caller may free the entry before the next call.
    generator->nextEntry = linkOf(table, generator->nextEntry);
    return 1;
}

void vekHashStopGen(vekHashGenerator *generator) {
    if (generator == nullptr) {
        return;
    }
    generator->table->generatorCount = static_cast<int16_t>(generator->table->generatorCount - 1);
    std::free(generator);
}

int32_t vekHashDouble(double number) {
    const auto pattern = std::bit_cast<uint64_t>(number);
    auto hash = static_cast<int32_t>(static_cast<uint32_t>(pattern) ^ static_cast<uint32_t>(pattern >> 32U));
    // Documented: both shifts to the right are arithmetic, that is, they fill the high bits with copies of the sign
    // bit.
    hash ^= hash >> 16; // NOLINT(hicpp-signed-bitwise)
    return hash ^ (hash >> 9);
}
