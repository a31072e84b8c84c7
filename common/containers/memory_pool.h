#ifndef COMMON_MEMORY_POOL_H
#define COMMON_MEMORY_POOL_H

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace vek {

/// Allocates small records that are freed together. A pool allocates blocks with malloc() and divides them into pieces
/// without headers, so that records that are allocated in sequence are adjacent in memory. The destructor frees the
/// blocks, which is one call of free() for hundreds of records.
///
/// release() stores a piece in the free list of its size class, and allocate() takes pieces from that list first.
/// Therefore the pool does not grow if records are allocated and released in turns.
class MemoryPool {
  public:
    /// The alignment of all pieces, sufficient for pointers and 64-bit integers.
    static constexpr std::size_t kAlignment = alignof(void *);

    MemoryPool() = default;
    MemoryPool(const MemoryPool &) = delete;
    MemoryPool &operator=(const MemoryPool &) = delete;
    ~MemoryPool();

    /// Allocates `size` bytes, whose content is undefined.
    /// @return the piece, which the pool owns; null if memory is exhausted
    [[nodiscard]] void *allocate(std::size_t size);

    /// Releases `piece`, which must not be used afterwards. Later calls of allocate() can return it again.
    /// @param size  the size that was given to allocate()
    void release(void *piece, std::size_t size);

  private:
    /// The beginning of each block. The pieces follow it.
    struct Block {
        Block *previous;
    };
    /// The content of a piece in a free list.
    struct FreePiece {
        FreePiece *next;
    };

    // The pieces of one size class have the same size: a multiple of kAlignment up to kLargestSmall, above it a power
    // of two.
    static constexpr std::size_t kLargestSmall = 512;
    static constexpr std::size_t kSmallClasses = kLargestSmall / kAlignment;
    static constexpr std::size_t kLargest =
        (SIZE_MAX >> 2U) + 1; // larger pieces do not fit into an address space
    static constexpr std::size_t kClasses = kSmallClasses + std::bit_width(kLargest / kLargestSmall) - 1;

    static std::size_t classOf(std::size_t size);
    static std::size_t pieceSizeOf(std::size_t sizeClass);
    [[nodiscard]] void *allocateFromNewBlock(std::size_t pieceSize);
    [[nodiscard]] char *addBlock(std::size_t size);

    std::array<FreePiece *, kClasses> freePieces_ = {};
    Block *blocks_ = nullptr;
    char *unused_ = nullptr; ///< the part of a block from which the next pieces are taken
    std::size_t unusedSize_ = 0;
    std::size_t blockSize_ = 0; ///< the size of that block; 0 if there is none
};

} // namespace vek

#endif
