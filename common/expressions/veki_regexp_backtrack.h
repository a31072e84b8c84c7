#ifndef VEKI_REGEXP_BACKTRACK_H
#define VEKI_REGEXP_BACKTRACK_H

/// The data structures of the backtracking matcher: the stack of backtrack points and the set of visited states.

#include "common/base/owned.h"
#include "common/expressions/veki_regexp.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace vek {

/// What is to be done when the matcher backtracks.
struct BacktrackPoint {
    enum class Kind : std::uint8_t {
        Alternative, ///< continue with the BRANCH `node` at `position`
        Repetition,  ///< let the STAR or PLUS `node` end at `position` or before, but not before `minimum`
        Slot,        ///< restore slot number `node` of the groups to `position`, and backtrack further
    };
    std::size_t position;
    std::size_t minimum;
    std::uint16_t node;
    std::uint16_t idle; ///< the steps since the last character
    Kind kind;
};

/// The backtrack points of a match, the latest on top. They are on the heap instead of the call stack, because a long
/// subject needs several for each of its characters.
class BacktrackStack {
  public:
    BacktrackStack() = default;
    BacktrackStack(const BacktrackStack &) = delete;
    BacktrackStack &operator=(const BacktrackStack &) = delete;

    void clear() { size_ = 0; }
    [[nodiscard]] bool empty() const { return size_ == 0; }
    [[nodiscard]] BacktrackPoint pop() { return items_[--size_]; }

    /// @return false if memory is exhausted
    [[nodiscard]] bool push(const BacktrackPoint &point) {
        if (size_ == capacity_ && !grow()) {
            return false;
        }
        items_[size_++] = point;
        return true;
    }

  private:
    /// 768 MiB. A subject that needs more is an error, before it exhausts the machine's memory.
    static constexpr std::size_t kCapacityMax = std::size_t{1} << 25;

    bool grow() {
        const std::size_t larger = capacity_ * 2;
        if (larger > kCapacityMax) {
            return false; // Not reached: a test would need 768 MiB
        }
        auto *grown =
            static_cast<BacktrackPoint *>(std::realloc(heap_.get(), larger * sizeof(BacktrackPoint)));
        if (grown == nullptr) {
            return false;
        }
        if (!heap_) {
            std::memcpy(grown, first_.data(), size_ * sizeof(BacktrackPoint));
        }
        static_cast<void>(heap_.release()); // realloc() freed it, or returned the same block
        heap_.reset(grown);
        items_ = grown;
        capacity_ = larger;
        return true;
    }

    std::array<BacktrackPoint, 64> first_; // enough for short subjects
    Owned<BacktrackPoint> heap_;
    BacktrackPoint *items_ = first_.data();
    std::size_t size_ = 0;
    std::size_t capacity_ = first_.size();
};

/// The set of visited states: pairs of a node and a position in the subject, as a bit matrix (memoization). There are no
/// back references, so what follows from a state depends neither on how it was reached nor on where the match began. A
/// state that was visited before has failed, or fails now, and is not tried again: O(nodes x positions) steps instead
/// of exponential.
class VisitedSet {
  public:
    /// Allocates the matrix. Without memory, or for more than 256 MiB, the set stays empty.
    void open(std::size_t programSize, std::size_t subjectSize) {
        const std::size_t rows = rowOf(programSize) + 1;
        columns_ = subjectSize + 1;
        if (columns_ <= kBitsMax / rows) {
            bits_ = makeZeroed<unsigned char>(rows * columns_ / 8 + 1);
        }
    }

    [[nodiscard]] bool isOpen() const { return bits_ != nullptr; }

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

    /// A node has at least kNodeHead bytes, so no two nodes have the same row.
    static std::size_t rowOf(std::size_t node) { return node / kNodeHead; }
    [[nodiscard]] std::size_t bitOf(std::size_t node, std::size_t position) const {
        return rowOf(node) * columns_ + position;
    }

    Owned<unsigned char> bits_;
    std::size_t columns_ = 0;
};

} // namespace vek

#endif
