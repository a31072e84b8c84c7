#ifndef VEKINFO_STACK_H
#define VEKINFO_STACK_H

#include "common/owned.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <type_traits>
#include <utility>

/// A stack of plain values on the heap, which are also reached by their place in it. Pushing may move them.
template <typename Value>
class VekinfoStack {
  public:
    static_assert(std::is_trivially_copyable_v<Value>);

    /// @return false when memory is exhausted; the stack is then as it was
    [[nodiscard]] bool push(const Value &value) { return push(&value, 1); }
    [[nodiscard]] bool push(const Value *values, std::size_t count) {
        if (!reserve(size_ + count)) {
            return false;
        }
        std::memcpy(values_.get() + size_, values, count * sizeof(Value));
        size_ += count;
        return true;
    }

    /// Pops values until `size` are left.
    void shrink(std::size_t size) { size_ = size; }
    void pop() { --size_; }

    [[nodiscard]] std::size_t size() const { return size_; }
    [[nodiscard]] bool empty() const { return size_ == 0; }
    [[nodiscard]] Value &operator[](std::size_t index) { return values_.get()[index]; }
    [[nodiscard]] const Value &operator[](std::size_t index) const { return values_.get()[index]; }
    [[nodiscard]] Value &top() { return values_.get()[size_ - 1]; }
    [[nodiscard]] const Value &top() const { return values_.get()[size_ - 1]; }

  private:
    bool reserve(std::size_t size) {
        if (size <= capacity_) {
            return true;
        }
        constexpr std::size_t kFirst = 64;
        const std::size_t wanted = 2 * capacity_ > size ? 2 * capacity_ : size + kFirst;
        auto *grown = static_cast<Value *>(std::realloc(values_.get(), wanted * sizeof(Value)));
        if (grown == nullptr) {
            return false;
        }
        static_cast<void>(values_.release());
        values_.reset(grown);
        capacity_ = wanted;
        return true;
    }

    vek::Owned<Value> values_;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

#endif
