// Implements MemoryPool: a pool allocator with one free list for each size class. Pieces are taken from the end of the
// newest block in sequence. The sizes of the blocks grow geometrically, so that a pool with few records is small.

#include "common/containers/memory_pool.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <utility>

// The address sanitizer then reports the use of a piece that is not allocated. Without the sanitizer, these macros do
// nothing. Compilers without sanitizers do not have the header.
#if __has_include(<sanitizer/asan_interface.h>)
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(address, size) static_cast<void>(0)
#define ASAN_UNPOISON_MEMORY_REGION(address, size) static_cast<void>(0)
#endif

namespace vek {
namespace {

constexpr std::size_t kMallocHeader = 16; // so that a block and its header fill whole pages
constexpr std::size_t kFirstBlock = std::size_t{4096} - kMallocHeader; // about 20 libraries
constexpr std::size_t kLargestBlock =
    std::size_t{65536} - kMallocHeader; // below the size at which malloc() calls mmap()

} // namespace

MemoryPool::~MemoryPool() {
    while (blocks_ != nullptr) {
        std::free(std::exchange(blocks_, blocks_->previous));
    }
}

/// Returns the size class for `size` bytes, at most kLargest: its pieces are the smallest that have this size.
std::size_t MemoryPool::classOf(std::size_t size) {
    if (size <= kLargestSmall) {
        return size == 0 ? 0 : (size - 1) / kAlignment;
    }
    return kSmallClasses - 1 + static_cast<std::size_t>(std::bit_width((size - 1) / kLargestSmall));
}

std::size_t MemoryPool::pieceSizeOf(std::size_t sizeClass) {
    return sizeClass < kSmallClasses ? (sizeClass + 1) * kAlignment
                                     : kLargestSmall << (sizeClass - kSmallClasses + 1);
}

void *MemoryPool::allocate(std::size_t size) {
    if (size > kLargest) {
        return nullptr;
    }
    const std::size_t sizeClass = classOf(size);
    const std::size_t pieceSize = pieceSizeOf(sizeClass);
    FreePiece *&first = freePieces_[sizeClass];
    if (first != nullptr) {
        ASAN_UNPOISON_MEMORY_REGION(first, pieceSize);
        return std::exchange(first, first->next);
    }
    if (pieceSize > unusedSize_) {
        return allocateFromNewBlock(pieceSize);
    }
    ASAN_UNPOISON_MEMORY_REGION(unused_, pieceSize);
    unusedSize_ -= pieceSize;
    return std::exchange(unused_, unused_ + pieceSize);
}

void MemoryPool::release(void *piece, std::size_t size) {
    const std::size_t sizeClass = classOf(size);
    auto *const released = std::construct_at(static_cast<FreePiece *>(piece));
    released->next = std::exchange(freePieces_[sizeClass], released);
    ASAN_POISON_MEMORY_REGION(piece, pieceSizeOf(sizeClass));
}

/// Allocates a block and takes a piece from it. A piece that is large compared with the blocks gets a block of its own;
/// the pool then still takes the next pieces from the block before.
/// @return the piece; null if memory is exhausted
void *MemoryPool::allocateFromNewBlock(std::size_t pieceSize) {
    const std::size_t blockSize = blockSize_ == 0 ? kFirstBlock : std::min(2 * blockSize_, kLargestBlock);
    const std::size_t room = blockSize - sizeof(Block);
    if (pieceSize > room / 2) {
        return addBlock(pieceSize);
    }
    char *const pieces = addBlock(room);
    if (pieces == nullptr) {
        return nullptr;
    }
    blockSize_ = blockSize;
    unused_ = pieces + pieceSize;
    unusedSize_ = room - pieceSize;
    ASAN_POISON_MEMORY_REGION(unused_, unusedSize_);
    return pieces;
}

/// Allocates a block for pieces of `size` bytes together.
/// @return the memory for the pieces; null if memory is exhausted
char *MemoryPool::addBlock(std::size_t size) {
    auto *const memory = static_cast<Block *>(std::malloc(sizeof(Block) + size));
    if (memory == nullptr) {
        return nullptr;
    }
    blocks_ = std::construct_at(memory, Block{blocks_});
    return reinterpret_cast<char *>(blocks_ + 1);
}

} // namespace vek
