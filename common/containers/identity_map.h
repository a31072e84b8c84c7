#ifndef COMMON_IDENTITY_MAP_H
#define COMMON_IDENTITY_MAP_H

#include "common/base/owned.h"
#include "common/containers/directory_identity.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <type_traits>
#include <utility>

namespace vek {

/// A hash map from directory identities (device and inode number) to values. Algorithm: open addressing with linear
/// probing and Fibonacci hashing. At most three quarters of the slots (elements of the array) are used. erase() leaves
/// no tombstone (mark of a deleted entry): it moves later entries back into the free slot.
template <typename Value>
class IdentityMap {
  public:
    static_assert(std::is_trivially_copyable_v<Value>);

    [[nodiscard]] std::size_t size() const { return size_; }

    /// @return a pointer to the value stored for `identity`, valid until the map changes; null if there is none
    [[nodiscard]] const Value *find(const DirectoryIdentity &identity) const {
        if (size_ == 0) {
            return nullptr;
        }
        const Slot &slot = slots_.get()[slotOf(identity)];
        return slot.isUsed ? &slot.value : nullptr;
    }

    /// Stores a copy of `value` for `identity`. Replaces the value that was stored before for this identity, if any.
    /// @return true; false if memory is exhausted, and the map is then unchanged
    [[nodiscard]] bool store(const DirectoryIdentity &identity, const Value &value) {
        if (4 * (size_ + 1) > 3 * slotCount() && !grow()) {
            return false;
        }
        Slot &slot = slots_.get()[slotOf(identity)];
        size_ += slot.isUsed ? 0 : 1;
        slot = {identity, value, true};
        return true;
    }

    void erase(const DirectoryIdentity &identity) {
        if (size_ == 0) {
            return;
        }
        std::size_t hole = slotOf(identity);
        if (!slots_.get()[hole].isUsed) {
            return;
        }
        // Deletion by backward shift: the entries after the hole, the slot that became free, move back into it, so
        // that searches still find them. An entry stays if its home slot, at which the search for it begins, lies
        // after the hole (modulo the number of slots).
        for (std::size_t i = next(hole); slots_.get()[i].isUsed; i = next(i)) {
            const std::size_t home = homeOf(slots_.get()[i].identity);
            if (((i - home) & mask()) >= ((i - hole) & mask())) {
                slots_.get()[hole] = slots_.get()[i];
                hole = i;
            }
        }
        slots_.get()[hole].isUsed = false;
        --size_;
    }

    void clear() {
        slots_.reset();
        bits_ = 0;
        size_ = 0;
    }

  private:
    struct Slot {
        DirectoryIdentity identity;
        Value value;
        bool isUsed;
    };

    [[nodiscard]] std::size_t slotCount() const { return bits_ == 0 ? 0 : std::size_t{1} << bits_; }
    [[nodiscard]] std::size_t mask() const { return slotCount() - 1; }
    [[nodiscard]] std::size_t next(std::size_t slot) const { return (slot + 1) & mask(); }

    [[nodiscard]] std::size_t homeOf(const DirectoryIdentity &identity) const {
        constexpr std::uint64_t kGoldenRatio = 0x9e3779b97f4a7c15U; // 2^64 divided by the golden ratio
        constexpr std::uint64_t kOddFactor = 0xc2b2ae3d27d4eb4fU;   // mixes the device into the inode
        const std::uint64_t key = identity.inode ^ (identity.device * kOddFactor);
        return static_cast<std::size_t>((key * kGoldenRatio) >> (64U - bits_));
    }

    /// @return the index of the slot (array element) that holds `identity`; if there is none, the index of the unused
    ///         slot in which `identity` must be stored
    [[nodiscard]] std::size_t slotOf(const DirectoryIdentity &identity) const {
        std::size_t slot = homeOf(identity);
        while (slots_.get()[slot].isUsed && slots_.get()[slot].identity != identity) {
            slot = next(slot);
        }
        return slot;
    }

    bool grow() {
        constexpr unsigned kFirstBits = 5;
        const unsigned bits = bits_ == 0 ? kFirstBits : bits_ + 1;
        Owned<Slot> slots(static_cast<Slot *>(std::calloc(std::size_t{1} << bits, sizeof(Slot))));
        if (!slots) {
            return false;
        }
        const std::size_t oldCount = slotCount();
        std::swap(slots, slots_);
        bits_ = bits;
        for (std::size_t i = 0; i < oldCount; ++i) {
            const Slot &old = slots.get()[i];
            if (old.isUsed) {
                slots_.get()[slotOf(old.identity)] = old;
            }
        }
        return true;
    }

    Owned<Slot> slots_;
    unsigned bits_ = 0; ///< the number of slots is 2 to this power; 0 if there are none
    std::size_t size_ = 0;
};

} // namespace vek

#endif
