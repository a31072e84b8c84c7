#ifndef TOVI_RECORD_TABLE_H
#define TOVI_RECORD_TABLE_H

/// The documented hash tables of this layer: 256 chains of records, keyed by the text of a path. A record has a member
/// `next` and an owned `path`.
///
/// The number of chains is fixed, so a search in the chains alone takes O(n). A long chain therefore has an index: open
/// addressing with linear probing, grown when it is half full. The chain remains the truth, since other code may insert
/// into it: a record belongs at the head of its chain, so a changed head shows that the index is out of date.

#include "tagfile/tov.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

enum { TOVI_BUCKETS = 256 };

namespace tov {

/// @return the documented bucket of a path
std::size_t bucketOf(const char *path);

/// @return the FNV-1a hash of a path. Not vekHashString(): its values depend on the address of the text
std::uint64_t hashOf(const char *path);

/// @return the first record of a chain with this path, or null
template <typename Record>
Record *findInChain(Record *record, const char *path) {
    while (record != nullptr && std::strcmp(record->path, path) != 0) {
        record = record->next;
    }
    return record;
}

/// The index of one chain. All its members are zero at first.
template <typename Record>
class ChainIndex {
  public:
    /// Makes the index that of the chain which begins with `head`. @return false if memory is exhausted
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
        return rebuild(head); // new, shortened, or with two records of one path
    }

    /// @return the first record of the chain with this path, or null; after update()
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

    /// @return the slot of the record with this path, or the free slot where it belongs
    Slot &slotOf(const char *path, std::uint64_t hash) {
        std::size_t at = hash & (capacity_ - 1);
        while (slots_[at].record != nullptr &&
               (slots_[at].hash != hash || std::strcmp(slots_[at].record->path, path) != 0)) {
            at = (at + 1) & (capacity_ - 1);
        }
        return slots_[at];
    }

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

    /// Indexes the whole chain. Of records with the same path, the first one counts.
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
    Record *head_; ///< the head of the chain that is indexed
};

/// One hash table. Its functions keep the documented array up to date.
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

    /// Removes the record that find() returns. @return it, or null if there is none
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

    /// Empties the table. @param destroy  called with each record
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

    /// @return how many records insert() has added
    [[nodiscard]] std::size_t size() const { return size_; }

  private:
    using Index = ChainIndex<Record>;

    /// Chains of at most this many records are searched without an index.
    static constexpr int kShortChain = 8;

    Record **chains_;          ///< TOVI_BUCKETS heads
    Index *indexes_ = nullptr; ///< one for each chain; allocated for the first long one
    std::size_t size_ = 0;
};

} // namespace tov

#endif
