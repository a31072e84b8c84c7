#ifndef COMMON_INTRUSIVE_HASH_H
#define COMMON_INTRUSIVE_HASH_H

/// A template of an intrusive hash table, for the internal indexes of all layers. C programs use the public hash
/// table in vek_hash.h instead.

#include "common/base/owned.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <utility>

namespace vek {

/// An intrusive hash table with separate chaining. The entries are objects of the caller. Each entry contains a
/// pointer to the next entry of its chain, called the link, so that insert() allocates no memory except buckets. An
/// entry can be in several tables if it has one link for each table. When there are as many entries as buckets,
/// insert() doubles the number of buckets. Each operation takes O(1) time on average.
///
/// @tparam Traits  describes the entries, with these static members:
///                 - Entry *&link(Entry &): the link of an entry, which only the table reads and writes;
///                 - std::uint32_t hash(const Entry &) and hash(const Key &), equal if entry and key match;
///                 - bool matches(const Entry &, const Key &).
///                 Key is any type, for instance std::string_view. There can be overloads for several key types
template <typename Entry, typename Traits>
class IntrusiveHash {
  public:
    IntrusiveHash() = default;
    IntrusiveHash(IntrusiveHash &&other) noexcept
        : buckets_(std::move(other.buckets_)), bits_(std::exchange(other.bits_, 0)),
          size_(std::exchange(other.size_, 0)) {}
    IntrusiveHash &operator=(IntrusiveHash &&other) noexcept {
        buckets_ = std::move(other.buckets_);
        bits_ = std::exchange(other.bits_, 0);
        size_ = std::exchange(other.size_, 0);
        return *this;
    }
    IntrusiveHash(const IntrusiveHash &) = delete;
    IntrusiveHash &operator=(const IntrusiveHash &) = delete;
    ~IntrusiveHash() = default;

    [[nodiscard]] std::size_t size() const { return size_; }
    [[nodiscard]] bool empty() const { return size_ == 0; }

    /// Allocates the first array of buckets if there is none. After a success, insert() cannot fail.
    /// @return true; false if memory is exhausted
    [[nodiscard]] bool allocate() { return buckets_ || resize(kFirstBits); }

    /// Allocates enough buckets for `count` entries, so that the table is not resized while they are inserted.
    /// @return true; false if memory is exhausted, and the table is then unchanged
    [[nodiscard]] bool reserve(std::size_t count) {
        const auto bits = static_cast<unsigned>(std::bit_width(count));
        return bits <= bits_ ? allocate() : resize(bits > kFirstBits ? bits : kFirstBits);
    }

    /// Inserts `entry`, even if the table contains an equal entry. find() then returns the entry that was inserted
    /// last. If memory for more buckets is exhausted, the entry is still inserted, but searches take longer, because
    /// the chains are longer.
    /// @return true; false if the table has no buckets yet and memory for them is exhausted
    [[nodiscard]] bool insert(Entry &entry) {
        if (!allocate()) {
            return false;
        }
        if (size_ >= bucketCount()) {
            static_cast<void>(resize(bits_ + 1));
        }
        Entry *&first = bucketOf(Traits::hash(std::as_const(entry)));
        Traits::link(entry) = first;
        first = &entry;
        ++size_;
        return true;
    }

    /// @return the entry that matches `key`; if several match, the one that was inserted last; null if none matches
    template <typename Key>
    [[nodiscard]] Entry *find(const Key &key) const {
        return firstMatch(buckets_ ? bucketOf(Traits::hash(key)) : nullptr, key);
    }

    /// Returns the next entry that matches `key`, after the entry `entry`. Matching entries are returned in reverse
    /// order of their insertion.
    /// @param entry  a result of find() or findNext() for the same key
    /// @return the entry; null if no other entry matches
    template <typename Key>
    [[nodiscard]] Entry *findNext(Entry &entry, const Key &key) const {
        return firstMatch(Traits::link(entry), key);
    }

    /// Removes the object `entry` itself. Another entry that equals it stays in the table.
    /// @return true; false if `entry` is not in the table
    bool remove(Entry &entry) {
        if (!buckets_) {
            return false;
        }
        Entry **link = &bucketOf(Traits::hash(std::as_const(entry)));
        while (*link != nullptr && *link != &entry) {
            link = &Traits::link(**link);
        }
        if (*link == nullptr) {
            return false;
        }
        *link = Traits::link(entry);
        --size_;
        return true;
    }

    /// Removes all entries and frees the buckets.
    /// @param release  a function that is called as release(Entry &) once for each entry. It may free the entry
    template <typename Release>
    void clear(Release release) {
        for (std::size_t i = 0; i < bucketCount(); ++i) {
            Entry *entry = std::exchange(buckets_.get()[i], nullptr);
            while (entry != nullptr) {
                release(*std::exchange(entry, Traits::link(*entry)));
            }
        }
        buckets_.reset();
        bits_ = 0;
        size_ = 0;
    }

  private:
    static constexpr unsigned kFirstBits = 6;

    [[nodiscard]] std::size_t bucketCount() const { return buckets_ ? std::size_t{1} << bits_ : 0; }

    /// Fibonacci hashing: multiplies `hash` by 2^64 divided by the golden ratio, and uses the highest bits of the
    /// product, which depend on every bit of `hash`.
    /// @return the index of the bucket for `hash` in a table of 2 to the power of `bits` buckets
    [[nodiscard]] static std::size_t indexOf(std::uint32_t hash, unsigned bits) {
        constexpr std::uint64_t kGoldenRatio = 0x9e3779b97f4a7c15U; // 2^64 divided by the golden ratio
        // NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult): `bits` is at least kFirstBits, so not 0
        return static_cast<std::size_t>((hash * kGoldenRatio) >> (64U - bits));
    }
    [[nodiscard]] Entry *&bucketOf(std::uint32_t hash) const { return buckets_.get()[indexOf(hash, bits_)]; }

    template <typename Key>
    [[nodiscard]] static Entry *firstMatch(Entry *entry, const Key &key) {
        while (entry != nullptr && !Traits::matches(*entry, key)) {
            entry = Traits::link(*entry);
        }
        return entry;
    }

    /// Allocates 2 to the power of `bits` new buckets and moves all entries to them. Each entry is inserted at the
    /// front of its new chain. Each old chain is reversed before, so that equal entries keep their order.
    /// @return true; false if memory is exhausted, and the table is then unchanged
    bool resize(unsigned bits) {
        Owned<Entry *> buckets(static_cast<Entry **>(std::calloc(std::size_t{1} << bits, sizeof(Entry *))));
        if (!buckets) {
            return false;
        }
        for (std::size_t i = 0; i < bucketCount(); ++i) {
            Entry *reversed = nullptr;
            for (Entry *entry = buckets_.get()[i]; entry != nullptr;) {
                Entry *const next = std::exchange(Traits::link(*entry), reversed);
                reversed = std::exchange(entry, next);
            }
            while (reversed != nullptr) {
                Entry *&first = buckets.get()[indexOf(Traits::hash(std::as_const(*reversed)), bits)];
                Entry *const next = std::exchange(Traits::link(*reversed), first);
                first = std::exchange(reversed, next);
            }
        }
        buckets_ = std::move(buckets);
        bits_ = bits;
        return true;
    }

    Owned<Entry *> buckets_; ///< the first entry of each chain
    unsigned bits_ = 0;      ///< the number of buckets is 2 to this power
    std::size_t size_ = 0;
};

} // namespace vek

#endif
