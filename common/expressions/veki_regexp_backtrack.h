#ifndef VEKI_REGEXP_BACKTRACK_H
#define VEKI_REGEXP_BACKTRACK_H

/// Data structures of the backtracking matcher for regular expressions: a stack of backtrack points, and a bit matrix
/// of visited (node, position) pairs for memoization.

#include "common/base/owned.h"
#include "common/expressions/veki_regexp.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace vek {

/// One entry of the backtrack stack: where the matcher continues if the current attempt to match fails. `kind` selects
/// how it continues.
struct BacktrackPoint {
    enum class Kind : std::uint8_t {
        Alternative, ///< continue with the BRANCH `node` at `position`
        Repetition, ///< continue after the STAR or PLUS `node`, at the last position from `minimum` to `position`
        Slot,       ///< set slot number `node` of the groups back to `position`, and backtrack further
    };
    std::size_t position;
    std::size_t minimum;
    std::uint16_t node;
    std::uint16_t idle; ///< the number of steps since the last character was consumed
    Kind kind;
};

/// A growable stack of backtrack points. An explicit stack replaces recursive calls, which would exhaust the call
/// stack: a long subject can need several points for each character.
class BacktrackStack {
  public:
    BacktrackStack() = default;
    BacktrackStack(const BacktrackStack &) = delete;
    BacktrackStack &operator=(const BacktrackStack &) = delete;

    void clear() { size_ = 0; }
    [[nodiscard]] bool empty() const { return size_ == 0; }
    [[nodiscard]] BacktrackPoint pop() { return items_[--size_]; }

    /// Pushes a copy of `point`. @return false if memory is exhausted or the stack already has kCapacityMax points
    [[nodiscard]] bool push(const BacktrackPoint &point) {
        if (size_ == capacity_ && !grow()) {
            return false;
        }
        items_[size_++] = point;
        return true;
    }

  private:
    /// The largest number of points on the stack. 2^25 points of 24 bytes take 768 MiB. push() fails beyond this
    /// limit, so that one match cannot exhaust the memory of the machine.
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
        static_cast<void>(heap_.release()); // realloc() has freed the old block, or returned it again
        heap_.reset(grown);
        items_ = grown;
        capacity_ = larger;
        return true;
    }

    std::array<BacktrackPoint, 64> first_; // avoids malloc() for short subjects
    Owned<BacktrackPoint> heap_;
    BacktrackPoint *items_ = first_.data();
    std::size_t size_ = 0;
    std::size_t capacity_ = first_.size();
};

/// The set of visited states of a search (memoization), stored as a bit matrix. A state is a pair of a node and a
/// position in the subject. Without back references, the result of a state does not depend on the states before it.
/// Therefore a state that is reached again fails again, and is not tried a second time. A search takes O(nodes x
/// positions) steps instead of exponentially many.
class VisitedSet {
  public:
    /// Allocates the matrix for a program of `programSize` bytes and a subject of `subjectSize` characters. If memory
    /// is exhausted or more than 256 MiB are needed, allocates nothing. add() then has no effect: matching is still
    /// correct, but can take exponential time.
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

    /// @return the row of the matrix for the node at offset `node`. Two nodes never have the same row, because a node
    ///         has at least kNodeHead bytes
    static std::size_t rowOf(std::size_t node) { return node / kNodeHead; }
    [[nodiscard]] std::size_t bitOf(std::size_t node, std::size_t position) const {
        return rowOf(node) * columns_ + position;
    }

    Owned<unsigned char> bits_;
    std::size_t columns_ = 0;
};

} // namespace vek

#endif
