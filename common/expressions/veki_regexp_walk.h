#ifndef VEKI_REGEXP_WALK_H
#define VEKI_REGEXP_WALK_H

/// What the matcher of regular expressions remembers on its way through a node program.

#include "common/base/owned.h"
#include "common/expressions/veki_regexp.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace vek {

/// What a walk goes back to when it has come to a dead end.
struct Retreat {
    enum class Kind : std::uint8_t {
        Alternative, ///< walk on from the BRANCH `node` at `position`
        FewerRounds, ///< let STAR or PLUS `node` end at `position`, or before it, but not before `floor`
        Slot,        ///< slot number `node` of the groups was `position`; nothing to walk on from
    };
    std::size_t position;
    std::size_t floor;
    std::uint16_t node;
    std::uint16_t idle; ///< the steps since the last character, when the walk came to `node`
    Kind kind;
};

/// The open retreats of a walk, the last one on top. They live on the heap, not on the call stack, since a
/// long subject needs several for each of its characters.
class RetreatStack {
  public:
    RetreatStack() = default;
    RetreatStack(const RetreatStack &) = delete;
    RetreatStack &operator=(const RetreatStack &) = delete;

    void clear() { size_ = 0; }
    [[nodiscard]] bool empty() const { return size_ == 0; }
    [[nodiscard]] Retreat pop() { return items_[--size_]; }

    /// @return whether there was memory for it
    [[nodiscard]] bool push(const Retreat &retreat) {
        if (size_ == capacity_ && !grow()) {
            return false;
        }
        items_[size_++] = retreat;
        return true;
    }

  private:
    /// 768 MiB: beyond it a subject is refused rather than the machine's memory used up.
    static constexpr std::size_t kCapacityMax = std::size_t{1} << 25;

    bool grow() {
        const std::size_t larger = capacity_ * 2;
        if (larger > kCapacityMax) {
            return false;
        }
        auto *grown = static_cast<Retreat *>(std::realloc(heap_.get(), larger * sizeof(Retreat)));
        if (grown == nullptr) {
            return false;
        }
        if (!heap_) {
            std::memcpy(grown, first_.data(), size_ * sizeof(Retreat));
        }
        static_cast<void>(heap_.release()); // realloc() has taken it over
        heap_.reset(grown);
        items_ = grown;
        capacity_ = larger;
        return true;
    }

    std::array<Retreat, 64> first_; // enough for short subjects
    Owned<Retreat> heap_;
    Retreat *items_ = first_.data();
    std::size_t size_ = 0;
    std::size_t capacity_ = first_.size();
};

/// Remembers at which places of the subject a choice has been walked to. There are no back references, so
/// what follows from a node at a position never depends on the way there, nor on where the walk began: a
/// choice met again has failed, or is failing, and need not be tried again. That keeps the number of steps
/// within nodes times positions, where trying all ways would double it with every character.
class ChoiceMemory {
  public:
    /// Starts remembering. Without the memory for it, and for giant tables, nothing is remembered.
    void open(std::size_t programSize, std::size_t subjectSize) {
        const std::size_t rows = rowOf(programSize) + 1;
        columns_ = subjectSize + 1;
        if (columns_ <= kBitsMax / rows) {
            bits_.reset(static_cast<unsigned char *>(std::calloc(rows * columns_ / 8 + 1, 1)));
        }
    }

    [[nodiscard]] bool has(std::size_t node, std::size_t position) const {
        const std::size_t bit = bitOf(node, position);
        return bits_ && (bits_.get()[bit / 8] >> bit % 8 & 1) != 0;
    }
    void add(std::size_t node, std::size_t position) {
        if (bits_) {
            const std::size_t bit = bitOf(node, position);
            bits_.get()[bit / 8] = static_cast<unsigned char>(bits_.get()[bit / 8] | 1U << bit % 8);
        }
    }

  private:
    static constexpr std::size_t kBitsMax = std::size_t{1} << 31;

    /// No node is smaller than its head, so no two share a row.
    static std::size_t rowOf(std::size_t node) { return node / kNodeHead; }
    [[nodiscard]] std::size_t bitOf(std::size_t node, std::size_t position) const {
        return rowOf(node) * columns_ + position;
    }

    Owned<unsigned char> bits_;
    std::size_t columns_ = 0;
};

} // namespace vek

#endif
