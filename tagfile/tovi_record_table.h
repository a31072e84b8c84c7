#ifndef TOVI_RECORD_TABLE_H
#define TOVI_RECORD_TABLE_H

/// The hash tables of the caches, keyed by the text of a path. Documented: an array of 256 linked lists (chains) of
/// records. A record has a member `next` and a heap string `path`.
///
/// The number of chains is fixed, so a search in the chains alone takes O(n). A long chain therefore gets an index: a
/// hash table with open addressing and linear probing, which doubles when it is half full. Other code may insert
/// records into the documented array directly. New records are inserted at the head of a chain, so the index is out of
/// date if the head is not the one that it was built from.

#include "tagfile/tov.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

enum { TOVI_BUCKETS = 256 };

namespace tov {

/// @return the index of the chain for a path, 0 to 255. Documented: the hash function is part of the interface
std::size_t bucketOf(const char *path);

/// @return the 64-bit FNV-1a hash of a path. Not vekHashString(): its result also depends on the alignment of the text
std::uint64_t hashOf(const char *path);

/// Searches the chain that begins with `record`. @return its first record with this path, or null
template <typename Record>
Record *findInChain(Record *record, const char *path) {
    while (record != nullptr && std::strcmp(record->path, path) != 0) {
        record = record->next;
    }
    return record;
}

/// The index of one chain. It has no constructor: an array of indexes is allocated with calloc(), and an index of zero
/// bytes is empty.
template <typename Record>
class ChainIndex {
  public:
    /// Updates the index to the chain that begins with `head`. If records were only added at the head, indexes these;
    /// otherwise rebuilds the index. @return false if memory is exhausted
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

    /// Requires a successful update(). @return the first record of the chain with this path, or null
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

    /// @return the slot of the record with this path; if there is none, the free slot in which to store it
    Slot &slotOf(const char *path, std::uint64_t hash) {
        std::size_t at = hash & (capacity_ - 1);
        while (slots_[at].record != nullptr &&
               (slots_[at].hash != hash || std::strcmp(slots_[at].record->path, path) != 0)) {
            at = (at + 1) & (capacity_ - 1);
        }
        return slots_[at];
    }

    /// Result of add(). No: a record with the same path is indexed already.
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

    /// Indexes the whole chain. If several records have the same path, only the first one is indexed: a search of the
    /// chain would return that one, too. @return false if memory is exhausted
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

/// One hash table with its indexes. The records are only in the chains of the documented array, which the caller owns.
template <typename Record>
class RecordTable {
  public:
    explicit constexpr RecordTable(Record **chains) : chains_(chains) {}

    /// @return the record with this path that was inserted last, or null
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

    /// Removes the record that find() would return. @return the record, which the caller then owns; null if there is
    /// none
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

    /// Removes all records. @param destroy  called with each record; frees it
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

    /// @return the number of records that insert() has added and that have not been removed
    [[nodiscard]] std::size_t size() const { return size_; }

  private:
    using Index = ChainIndex<Record>;

    /// Chains of at most this many records are searched without an index: a search that short costs less than hashing.
    static constexpr int kShortChain = 8;

    Record **chains_;          ///< array of TOVI_BUCKETS chain heads
    Index *indexes_ = nullptr; ///< one for each chain; allocated by the first search of a long chain
    std::size_t size_ = 0;
};

} // namespace tov

#endif
