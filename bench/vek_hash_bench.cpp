// vekHashProbe() for each of 1,000,000 entries, in random order, beside std::unordered_map with the same hash function.

#include "common/containers/vek_hash.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <unordered_map>
#include <vector>

namespace {

constexpr std::size_t kEntries = 1'000'000;

struct Entry {
    std::uint32_t key;
    Entry *link;
};

std::uint32_t mixed(std::uint32_t key) {
    key = (key ^ (key >> 16U)) * 0x45d9f3bU;
    return key ^ (key >> 16U);
}

std::uint32_t hashOf(const void *entry, const vekHashTable * /*table*/) {
    return mixed(static_cast<const Entry *>(entry)->key);
}

int areEqual(const void *entry, const void *key) {
    return static_cast<const Entry *>(entry)->key == static_cast<const Entry *>(key)->key ? 1 : 0;
}

struct Hash {
    std::size_t operator()(std::uint32_t key) const { return mixed(key); }
};

/// The entries in the order in which they are inserted, and their keys in the order in which they are searched.
struct Shuffled {
    std::vector<Entry> entries{kEntries};
    std::vector<Entry> searched;

    Shuffled() {
        std::uint32_t key = 0;
        for (Entry &entry : entries) {
            entry.key = key++;
        }
        std::mt19937 random(key);
        std::shuffle(entries.begin(), entries.end(), random);
        searched = entries;
        std::shuffle(searched.begin(), searched.end(), random);
    }
};

void Probe(benchmark::State &state) {
    Shuffled data;
    vekHashTable table = {};
    vekHashAllocTable(&table, 0, 0, offsetof(Entry, link), areEqual, hashOf);
    for (Entry &entry : data.entries) {
        vekHashCreate(&table, &entry);
    }
    for ([[maybe_unused]] auto round : state) {
        for (const Entry &key : data.searched) {
            benchmark::DoNotOptimize(vekHashProbe(&table, &key));
        }
    }
    vekHashFreeTable(&table);
}

void UnorderedMap(benchmark::State &state) {
    Shuffled data;
    std::unordered_map<std::uint32_t, Entry *, Hash> table;
    for (Entry &entry : data.entries) {
        table.emplace(entry.key, &entry);
    }
    for ([[maybe_unused]] auto round : state) {
        for (const Entry &key : data.searched) {
            benchmark::DoNotOptimize(table.find(key.key));
        }
    }
}

BENCHMARK(Probe)->Unit(benchmark::kMillisecond);
BENCHMARK(UnorderedMap)->Unit(benchmark::kMillisecond);

} // namespace
