#ifndef COMMON_GROWING_ARRAY_H
#define COMMON_GROWING_ARRAY_H

#include "common/base/owned.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <type_traits>
#include <utility>

namespace vek {

/// A dynamic array that can also be used as a stack. A full array doubles its capacity, so n calls of push() take
/// O(n) time. Doubling can move the values, which makes pointers to them invalid.
template <typename Value>
class GrowingArray {
  public:
    static_assert(std::is_nothrow_move_constructible_v<Value> && std::is_nothrow_destructible_v<Value>);

    GrowingArray() = default;
    GrowingArray(GrowingArray &&other) noexcept
        : values_(std::move(other.values_)), size_(std::exchange(other.size_, 0)),
          capacity_(std::exchange(other.capacity_, 0)) {}
    GrowingArray &operator=(GrowingArray &&other) noexcept {
        if (this != &other) {
            shrink(0);
            values_ = std::move(other.values_);
            size_ = std::exchange(other.size_, 0);
            capacity_ = std::exchange(other.capacity_, 0);
        }
        return *this;
    }
    GrowingArray(const GrowingArray &) = delete;
    GrowingArray &operator=(const GrowingArray &) = delete;
    ~GrowingArray() { shrink(0); }

    /// Appends `value`. @return true; false if memory is exhausted, and the array is then unchanged
    [[nodiscard]] bool push(Value &&value) {
        if (!reserve(size_ + 1)) {
            return false;
        }
        std::construct_at(values_.get() + size_, std::move(value));
        ++size_;
        return true;
    }

    /// Appends `count` uninitialized values, which the caller must set.
    /// @return a pointer to the first of these values; null if memory is exhausted, and the array is then unchanged
    [[nodiscard]] Value *extend(std::size_t count) {
        static_assert(std::is_trivial_v<Value>);
        if (!reserve(size_ + count)) {
            return nullptr;
        }
        size_ += count;
        return values_.get() + size_ - count;
    }

    /// Removes values from the end until `size` values remain. Does not free or move the memory.
    void shrink(std::size_t size) {
        std::destroy(values_.get() + size, values_.get() + size_);
        size_ = size;
    }
    void pop() { shrink(size_ - 1); }

    [[nodiscard]] std::size_t size() const { return size_; }
    [[nodiscard]] bool empty() const { return size_ == 0; }
    [[nodiscard]] std::size_t capacity() const { return capacity_; }
    [[nodiscard]] Value &operator[](std::size_t index) { return values_.get()[index]; }
    [[nodiscard]] const Value &operator[](std::size_t index) const { return values_.get()[index]; }
    [[nodiscard]] Value &top() { return values_.get()[size_ - 1]; }
    [[nodiscard]] const Value &top() const { return values_.get()[size_ - 1]; }

  private:
    /// Makes room for at least `size` values. @return true; false if memory is exhausted
    bool reserve(std::size_t size) {
        if (size <= capacity_) {
            return true;
        }
        constexpr std::size_t kFirstBytes = 512; // enough for the names of a small directory
        // NOLINTNEXTLINE(bugprone-sizeof-expression): if Value is a pointer type, the pointer's size is meant
        constexpr std::size_t kFirst = sizeof(Value) < kFirstBytes ? kFirstBytes / sizeof(Value) : 1;
        return moveTo(2 * capacity_ > size ? 2 * capacity_ : size + kFirst);
    }

    bool moveTo(std::size_t capacity) {
        if constexpr (std::is_trivially_copyable_v<Value>) {
            // NOLINTNEXTLINE(bugprone-sizeof-expression): if Value is a pointer type, the pointer's size is meant
            auto *moved = static_cast<Value *>(std::realloc(values_.get(), capacity * sizeof(Value)));
            if (moved == nullptr) {
                return false;
            }
            static_cast<void>(values_.release());
            values_.reset(moved);
        } else {
            Owned<Value> moved(static_cast<Value *>(std::malloc(capacity * sizeof(Value))));
            if (!moved) {
                return false;
            }
            std::uninitialized_move(values_.get(), values_.get() + size_, moved.get());
            std::destroy(values_.get(), values_.get() + size_);
            values_ = std::move(moved);
        }
        capacity_ = capacity;
        return true;
    }

    Owned<Value> values_; ///< allocated with malloc(); only the first size_ values are constructed
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

} // namespace vek

#endif
