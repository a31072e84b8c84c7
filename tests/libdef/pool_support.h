#ifndef TESTS_LIBDEF_POOL_SUPPORT_H
#define TESTS_LIBDEF_POOL_SUPPORT_H

#include "common/containers/memory_pool.h"
#include "tests/support/faults.h"

#include <cstddef>
#include <vector>

namespace test {

/// Uses up the memory of `pool` except for one piece of each of the `sizes`. The next allocation from the pool calls
/// malloc(), unless one of these pieces has its size.
inline void leavePieces(vek::MemoryPool &pool, const std::vector<std::size_t> &sizes) {
    constexpr std::size_t kLargest = std::size_t{64} << 10U;
    std::vector<void *> left;
    left.reserve(sizes.size());
    for (const std::size_t size : sizes) {
        left.push_back(pool.allocate(size));
    }
    faults::failAllocationsFrom(1);
    for (std::size_t size = 1; size <= kLargest; size += size < 1024 ? 1 : size) {
        while (pool.allocate(size) != nullptr) {
        }
    }
    faults::failAllocationsFrom(1 << 30);
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        pool.release(left[i], sizes[i]);
    }
}

} // namespace test

#endif
