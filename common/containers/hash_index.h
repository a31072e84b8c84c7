#ifndef COMMON_HASH_INDEX_H
#define COMMON_HASH_INDEX_H

/// The hash table that the internal indexes use. C programs use the public table in vek_hash.h instead.

#include "common/base/owned.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace vek {

/// A hash table of pointers to records of the caller, with open addressing and linear probing. At most four fifths
/// of the slots are used, so each operation takes O(1) time on average. The hashes are stored beside the pointers:
/// a search reads a record only if its hash is equal, and growing reads no record. A search for a missing key in a
/// large table is therefore one cache miss.
///
/// The caller computes the hash of a key, since it often needs it twice: for a search and for the insertion after it.
/// A search visits entries with equal hashes in the reverse order of their insertion.
template <typename Entry>
class HashIndex {
  public:
    HashIndex() = default;
    HashIndex(HashIndex &&other) noexcept
        : entries_(std::move(other.entries_)), bits_(std::exchange(other.bits_, 0)),
          size_(std::exchange(other.size_, 0)) {}
    HashIndex &operator=(HashIndex &&other) noexcept {
        entries_ = std::move(other.entries_);
        bits_ = std::exchange(other.bits_, 0);
        size_ = std::exchange(other.size_, 0);
        return *this;
    }
    HashIndex(const HashIndex &) = delete;
    HashIndex &operator=(const HashIndex &) = delete;
    ~HashIndex() = default;

    [[nodiscard]] std::size_t size() const { return size_; }
    [[nodiscard]] bool empty() const { return size_ == 0; }

    /// Allocates slots for `count` entries, so that inserting them allocates nothing.
    /// @return false if memory is exhausted; the table is then unchanged
    [[nodiscard]] bool reserve(std::size_t count) {
        unsigned bits = bits_ == 0 ? kFirstBits : bits_;
        while (!isRoomy(count, bits)) {
            ++bits;
        }
        return bits == bits_ || resize(bits);
    }

    /// Inserts `entry`, even if an equal entry is present. If the table should grow but memory is exhausted, uses one
    /// of the free slots; searches then take longer.
    /// @return true; false if memory is exhausted and at most one slot is free. The table is then unchanged
    [[nodiscard]] bool insert(std::uint32_t hash, Entry &entry) {
        // One slot always stays free, because it ends the searches.
        if (!reserve(size_ + 1) && size_ + 1 >= slotCount()) {
            return false;
        }
        // If entries with the same hash exist, the new entry takes the slot of the first one. Each of them moves to the
        // slot of the next one, and the last one moves to the first free slot.
        hash = storedHash(hash);
        Entry *moved = &entry;
        std::size_t slot = homeOf(hash);
        for (; hashes()[slot] != kFree; slot = next(slot)) {
            if (hashes()[slot] == hash) {
                std::swap(entries()[slot], moved);
            }
        }
        put(slot, hash, moved);
        ++size_;
        return true;
    }

    /// Searches for an entry with the hash `hash`.
    /// @param matches  is called as matches(Entry &) for entries with this hash, in the reverse order of insertion
    /// @return the first entry for which `matches` returns true; null if there is none
    template <typename Matches>
    [[nodiscard]] Entry *find(std::uint32_t hash, Matches matches) const {
        const std::size_t slot = slotOf(storedHash(hash), matches);
        return slot == kNoSlot ? nullptr : entries()[slot];
    }

    /// Loads the slots at which a search or insertion of `hash` begins into the processor's cache, without waiting for
    /// them. In a large table, the operation itself is faster afterwards.
    void prefetch(std::uint32_t hash) const {
        if (bits_ != 0) {
            const std::size_t slot = homeOf(storedHash(hash));
            __builtin_prefetch(&hashes()[slot], 1);
            __builtin_prefetch(&entries()[slot], 1);
        }
    }

    /// Removes `entry` itself, not another entry that equals it.
    /// @return false if `entry` was not inserted with `hash`
    bool remove(std::uint32_t hash, const Entry &entry) {
        std::size_t hole =
            slotOf(storedHash(hash), [&entry](const Entry &other) { return &other == &entry; });
        if (hole == kNoSlot) {
            return false;
        }
        // Deletion without a tombstone: later entries move into the hole, the slot that became free. An entry stays if
        // its home slot, at which the search for it begins, lies after the hole (modulo the number of slots).
        for (std::size_t slot = next(hole); hashes()[slot] != kFree; slot = next(slot)) {
            const std::size_t home = homeOf(hashes()[slot]);
            if (((slot - home) & mask()) >= ((slot - hole) & mask())) {
                put(hole, hashes()[slot], entries()[slot]);
                hole = slot;
            }
        }
        hashes()[hole] = kFree;
        --size_;
        return true;
    }

    /// Removes all entries and frees the slots.
    /// @param release  is called as release(Entry &) once for each entry, and may free it
    template <typename Release>
    void clear(Release release) {
        const HashIndex old = std::move(*this);
        for (std::size_t slot = 0; slot < old.slotCount(); ++slot) {
            if (old.hashes()[slot] != kFree) {
                release(*old.entries()[slot]);
            }
        }
    }

  private:
    static constexpr unsigned kFirstBits = 5;
    static constexpr std::uint32_t kFree = 0; ///< instead of a hash: the slot is free
    static constexpr std::size_t kNoSlot = SIZE_MAX;

    [[nodiscard]] static std::uint32_t storedHash(std::uint32_t hash) { return hash == kFree ? 1 : hash; }
    [[nodiscard]] static bool isRoomy(std::size_t count, unsigned bits) {
        return 5 * count <= 4 * (std::size_t{1} << bits);
    }

    [[nodiscard]] std::size_t slotCount() const { return bits_ == 0 ? 0 : std::size_t{1} << bits_; }
    [[nodiscard]] std::size_t mask() const { return slotCount() - 1; }
    [[nodiscard]] std::size_t next(std::size_t slot) const { return (slot + 1) & mask(); }
    [[nodiscard]] Entry **entries() const { return entries_.get(); }
    /// The array of hashes is in the same allocation, after the array of entries.
    [[nodiscard]] std::uint32_t *hashes() const {
        return reinterpret_cast<std::uint32_t *>(entries_.get() + slotCount());
    }
    void put(std::size_t slot, std::uint32_t hash, Entry *entry) {
        hashes()[slot] = hash;
        entries()[slot] = entry;
    }

    /// The slot where the search for `hash` begins. Fibonacci hashing: uses the high bits of the product, because
    /// every bit of `hash` changes them.
    [[nodiscard]] std::size_t homeOf(std::uint32_t hash) const {
        constexpr std::uint64_t kGoldenRatio = 0x9e3779b97f4a7c15U; // 2^64 divided by the golden ratio
        return static_cast<std::size_t>((hash * kGoldenRatio) >> (64U - bits_));
    }

    template <typename Matches>
    [[nodiscard]] std::size_t slotOf(std::uint32_t hash, Matches matches) const {
        if (bits_ == 0) { // no slots have been allocated
            return kNoSlot;
        }
        for (std::size_t slot = homeOf(hash); hashes()[slot] != kFree; slot = next(slot)) {
            if (hashes()[slot] == hash && matches(*entries()[slot])) {
                return slot;
            }
        }
        return kNoSlot;
    }

    /// Moves all entries to a new array of 2^`bits` slots. Reads the old slots cyclically, beginning at a free slot, so
    /// that entries with equal hashes keep their order. The home slots (homeOf()) also keep their order, so both arrays
    /// are accessed sequentially.
    /// @return false if memory is exhausted; the table is then unchanged
    bool resize(unsigned bits) {
        const std::size_t count = std::size_t{1} << bits;
        Owned<Entry *> slots(static_cast<Entry **>(std::malloc(count * (sizeof(Entry *) + sizeof kFree))));
        if (!slots) {
            return false;
        }
        const HashIndex old = std::move(*this);
        entries_ = std::move(slots);
        bits_ = bits;
        size_ = old.size_;
        std::memset(hashes(), 0, count * sizeof kFree);
        std::size_t first = 0;
        while (first < old.slotCount() && old.hashes()[first] != kFree) {
            ++first;
        }
        for (std::size_t i = 0; i < old.slotCount(); ++i) {
            const std::size_t from = (first + i) & old.mask();
            if (old.hashes()[from] != kFree) {
                std::size_t to = homeOf(old.hashes()[from]);
                while (hashes()[to] != kFree) {
                    to = next(to);
                }
                put(to, old.hashes()[from], old.entries()[from]);
            }
        }
        return true;
    }

    Owned<Entry *> entries_; ///< the slots: an array of entries, and after it an array of their hashes
    unsigned bits_ = 0;      ///< the number of slots is 2 to this power; 0 if there are none
    std::size_t size_ = 0;
};

} // namespace vek

#endif
