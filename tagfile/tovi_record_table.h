#ifndef TOVI_RECORD_TABLE_H
#define TOVI_RECORD_TABLE_H

/// Hash table with separate chaining for the caches of tag files and symbolic links. The key of a record is its path.
/// Documented: the table is an array of 256 linked lists (chains) of records. A record has a member `next` and a member
/// `path`, a string on the heap.
///
/// The number of chains is fixed, so a search in a chain of n records takes O(n). A long chain therefore gets an index:
/// a second hash table with open addressing and linear probing, which doubles its size when it is half full. Other code
/// may insert records into the array without this class, at the head of a chain. An index is therefore out of date if
/// the head of its chain is not the one at the last update of the index.

#include "tagfile/tov.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

enum { TOVI_BUCKETS = 256 };

namespace tov {

/// Returns the number of the chain that contains the records with this path, 0 to 255. Documented: the hash function
/// must not change, because other code may use it to search the array.
std::size_t bucketOf(const char *path);

/// Returns the 64-bit FNV-1a hash of a path. vekHashString() is not used, because its result also depends on the memory
/// alignment of the text.
std::uint64_t hashOf(const char *path);

/// Searches the chain that begins with `record`. @return the first record with this path; null if there is none
template <typename Record>
Record *findInChain(Record *record, const char *path) {
    while (record != nullptr && std::strcmp(record->path, path) != 0) {
        record = record->next;
    }
    return record;
}

/// Index of one chain: a hash table with open addressing that maps a path to the first record with this path. There is
/// no constructor, because calloc() allocates arrays of these objects: an object whose bytes are all 0 is an empty
/// index.
template <typename Record>
class ChainIndex {
  public:
    /// Updates the index so that it contains the records of the chain that begins with `head`. If records have only
    /// been inserted at the head since the last update, adds only these records; otherwise builds the index again.
    /// @return false if memory is exhausted
    [[nodiscard]] bool update(Record *head) {
        if (head == head_) {
            return true;
        }
        if (head_ != nullptr) {
            Record *record = head;
            while (record != nullptr && record != head_ && add(record) == Added::Yes) {
                record = record->next;
            }
            if (record == head_) {
                head_ = head;
                return true;
            }
        }
        return rebuild(head); // no index yet, a record was removed, or a path was added a second time
    }

    /// Returns the first record with this path in the chain, or null. Call only after update() has returned true.
    [[nodiscard]] Record *find(const char *path) { return slotOf(path, hashOf(path)).record; }

    [[nodiscard]] bool isEmpty() const { return count_ == 0; }

    void clear() {
        std::free(slots_);
        *this = {};
    }

  private:
    struct Slot {
        std::uint64_t hash;
        Record *record; ///< null if the slot is free
    };

    /// Searches the array `slots_` by linear probing. @return the element for the record with this path; if there is no
    /// such record, the free element in which it must be stored
    Slot &slotOf(const char *path, std::uint64_t hash) {
        std::size_t at = hash & (capacity_ - 1);
        while (slots_[at].record != nullptr &&
               (slots_[at].hash != hash || std::strcmp(slots_[at].record->path, path) != 0)) {
            at = (at + 1) & (capacity_ - 1);
        }
        return slots_[at];
    }

    /// Result of add(). `No` means that the index already contains a record with the same path.
    enum class Added { Yes, No, NoMemory };

    Added add(Record *record) {
        if (2 * count_ >= capacity_ && !grow()) {
            return Added::NoMemory;
        }
        const std::uint64_t hash = hashOf(record->path);
        Slot &slot = slotOf(record->path, hash);
        if (slot.record != nullptr) {
            return Added::No;
        }
        slot = {hash, record};
        ++count_;
        return Added::Yes;
    }

    bool grow() {
        constexpr std::size_t kFirst = 32;
        const std::size_t wanted = capacity_ == 0 ? kFirst : 2 * capacity_;
        auto *grown = static_cast<Slot *>(std::calloc(wanted, sizeof(Slot)));
        if (grown == nullptr) {
            return false;
        }
        Slot *old = std::exchange(slots_, grown);
        const std::size_t oldCapacity = std::exchange(capacity_, wanted);
        for (std::size_t at = 0; at < oldCapacity; ++at) {
            if (old[at].record != nullptr) {
                slotOf(old[at].record->path, old[at].hash) = old[at];
            }
        }
        std::free(old);
        return true;
    }

    /// Builds the index again from all records of the chain. If several records have the same path, adds only the first
    /// of them, because a search of the chain would also return the first one. @return false if memory is exhausted
    bool rebuild(Record *head) {
        clear();
        for (Record *record = head; record != nullptr; record = record->next) {
            if (add(record) == Added::NoMemory) {
                clear();
                return false;
            }
        }
        head_ = head;
        return true;
    }

    Slot *slots_;
    std::size_t capacity_; ///< a power of two, or 0
    std::size_t count_;
    Record *head_; ///< the head of the chain at the last update()
};

/// Hash table of records: an array of chains and, for each long chain, an index. The caller of the constructor owns the
/// array. The records are elements of the chains; this object owns the indexes, which only point to records.
template <typename Record>
class RecordTable {
  public:
    explicit constexpr RecordTable(Record **chains) : chains_(chains) {}

    /// Returns the record with this path that was inserted last, or null.
    Record *find(const char *path) {
        const std::size_t bucket = bucketOf(path);
        Record *const head = chains_[bucket];
        if (head == nullptr) {
            return nullptr;
        }
        Record *record = head;
        if (indexes_ == nullptr || indexes_[bucket].isEmpty()) {
            for (int i = 0; i < kShortChain; ++i, record = record->next) {
                if (record == nullptr || std::strcmp(record->path, path) == 0) {
                    return record;
                }
            }
        }
        if (indexes_ == nullptr) {
            indexes_ = static_cast<Index *>(std::calloc(TOVI_BUCKETS, sizeof(Index)));
        }
        const bool hasIndex = indexes_ != nullptr && indexes_[bucket].update(head);
        return hasIndex ? indexes_[bucket].find(path) : findInChain(record, path);
    }

    /// Inserts a record at the head of its chain.
    void insert(Record *record) {
        Record *&head = chains_[bucketOf(record->path)];
        record->next = head;
        head = record;
        ++size_;
    }

    /// Removes the record with this path that was inserted last, and does not free it.
    /// @return the record, which the caller then owns; null if there is none
    Record *remove(const char *path) {
        const std::size_t bucket = bucketOf(path);
        for (Record **link = &chains_[bucket]; *link != nullptr; link = &(*link)->next) {
            if (std::strcmp((*link)->path, path) == 0) {
                if (indexes_ != nullptr) {
                    indexes_[bucket].clear();
                }
                --size_;
                return std::exchange(*link, (*link)->next);
            }
        }
        return nullptr;
    }

    /// Removes all records and frees the indexes.
    /// @param destroy  called with each removed record, which it must free
    template <typename Destroy>
    void clear(Destroy destroy) {
        for (std::size_t bucket = 0; bucket < TOVI_BUCKETS; ++bucket) {
            if (indexes_ != nullptr) {
                indexes_[bucket].clear();
            }
            while (Record *record = chains_[bucket]) {
                chains_[bucket] = record->next;
                destroy(record);
            }
        }
        std::free(std::exchange(indexes_, nullptr));
        size_ = 0;
    }

    /// Returns the number of records that insert() has added and that have not been removed. Records that other code
    /// has inserted into the array are not counted.
    [[nodiscard]] std::size_t size() const { return size_; }

  private:
    using Index = ChainIndex<Record>;

    /// Number of records at the head of a chain that find() compares before it creates an index for the chain. To
    /// compare so few paths takes less time than to compute a hash value.
    static constexpr int kShortChain = 8;

    Record **chains_;          ///< array of TOVI_BUCKETS chain heads
    Index *indexes_ = nullptr; ///< one index for each chain; null until the first search of a long chain
    std::size_t size_ = 0;
};

} // namespace tov

#endif
