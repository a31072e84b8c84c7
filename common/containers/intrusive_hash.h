#ifndef COMMON_INTRUSIVE_HASH_H
#define COMMON_INTRUSIVE_HASH_H

/// The hash table that the internal indexes of all layers use. C programs use the public table in vek_hash.h instead.

#include "common/base/owned.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <utility>

namespace vek {

/// An intrusive hash table with separate chaining. The entries are records of the caller. Each contains a pointer to
/// the next entry of its chain, the link, so insert() allocates nothing but buckets. An entry can be in several
/// tables if it has a link for each. When there are as many entries as buckets, insert() doubles the number of
/// buckets. Each operation takes O(1) time on average.
///
/// @tparam Traits  describes the entries, with these static members:
///                 - Entry *&link(Entry &): the link of an entry, which only the table reads and writes;
///                 - std::uint32_t hash(const Entry &) and hash(const Key &), equal if entry and key match;
///                 - bool matches(const Entry &, const Key &).
///                 Key is any type, for instance std::string_view. The traits can have overloads for several types
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

    /// Allocates the first buckets. After that, insert() cannot fail.
    /// @return false if memory is exhausted
    [[nodiscard]] bool allocate() { return buckets_ || resize(kFirstBits); }

    /// Allocates enough buckets for `count` entries, so that inserting them does not need to resize the table.
    /// @return false if memory is exhausted; the table is then unchanged
    [[nodiscard]] bool reserve(std::size_t count) {
        const auto bits = static_cast<unsigned>(std::bit_width(count));
        return bits <= bits_ ? allocate() : resize(bits > kFirstBits ? bits : kFirstBits);
    }

    /// Inserts `entry`, even if an equal entry is present: find() then returns the one inserted last.
    /// @return false if memory for the first buckets is exhausted. If memory for more buckets is exhausted, the entry
    ///         is still inserted; searches then take longer, because the chains are longer
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

    /// @return the entry that matches `key`; if there are several, the one inserted last; null if there is none
    template <typename Key>
    [[nodiscard]] Entry *find(const Key &key) const {
        return firstMatch(buckets_ ? bucketOf(Traits::hash(key)) : nullptr, key);
    }

    /// @param entry  a result of find() or findNext() for the same key
    /// @return of the entries that match `key` and were inserted before `entry`, the one inserted last; null if there
    ///         is none
    template <typename Key>
    [[nodiscard]] Entry *findNext(Entry &entry, const Key &key) const {
        return firstMatch(Traits::link(entry), key);
    }

    /// Removes `entry` itself, not another entry that equals it.
    /// @return false if `entry` is not in the table
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
    /// @param release  is called as release(Entry &) once for each entry, and may free it
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

    /// Fibonacci hashing: uses the high bits of the product, because every bit of `hash` changes them.
    /// @return the index of the bucket for `hash` if there are 2 to the power of `bits` buckets
    [[nodiscard]] static std::size_t indexOf(std::uint32_t hash, unsigned bits) {
        constexpr std::uint64_t kGoldenRatio = 0x9e3779b97f4a7c15U; // 2^64 divided by the golden ratio
        // NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult): a table with buckets has at least kFirstBits
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

    /// Moves all entries to 2 to the power of `bits` new buckets. Each chain is reversed before its entries are moved
    /// to the front of their new chains, so that equal entries keep their order.
    /// @return false if memory is exhausted; the table is then unchanged
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
