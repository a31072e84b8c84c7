#include "common/containers/memory_pool.h"

#include "tests/support/faults.h"

#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace faults = test::faults;

namespace {

struct Piece {
    unsigned char *bytes;
    std::size_t size;
    unsigned char content;
};

Piece allocate(vek::MemoryPool &pool, std::size_t size, unsigned char content) {
    const Piece piece = {static_cast<unsigned char *>(pool.allocate(size)), size, content};
    if (piece.bytes != nullptr) {
        std::memset(piece.bytes, content, size);
    }
    return piece;
}

void expectContent(const Piece &piece) {
    for (std::size_t i = 0; i < piece.size; ++i) {
        ASSERT_EQ(piece.bytes[i], piece.content) << i << " of " << piece.size;
    }
}

bool isAligned(const void *piece) {
    return reinterpret_cast<std::uintptr_t>(piece) % vek::MemoryPool::kAlignment == 0;
}

/// Sizes at and beside the limits of the size classes and of the blocks.
std::vector<std::size_t> criticalSizes() {
    std::vector<std::size_t> sizes = {0, 1, 7, 8, 9};
    for (std::size_t size = 256; size <= std::size_t{1} << 18U; size *= 2) {
        for (const std::size_t difference : {size - 17, size - 1, size, size + 1, size + 8}) {
            sizes.push_back(difference);
        }
    }
    return sizes;
}

} // namespace

TEST(MemoryPool, AllocatesNothingUntilItIsUsed) {
    const int before = faults::count("malloc");
    { const vek::MemoryPool pool; }
    EXPECT_EQ(faults::count("malloc"), before);
}

TEST(MemoryPool, PiecesOfAllSizesAreAlignedAndSeparate) {
    vek::MemoryPool pool;
    std::vector<Piece> pieces;
    for (int round = 0; round < 3; ++round) {
        for (const std::size_t size : criticalSizes()) {
            pieces.push_back(allocate(pool, size, static_cast<unsigned char>(pieces.size())));
            ASSERT_NE(pieces.back().bytes, nullptr) << size;
            EXPECT_TRUE(isAligned(pieces.back().bytes)) << size;
        }
    }
    for (const Piece &piece : pieces) {
        expectContent(piece);
    }
}

TEST(MemoryPool, SmallPiecesFollowEachOther) {
    vek::MemoryPool pool;
    const auto *const first = static_cast<const char *>(pool.allocate(24));
    EXPECT_EQ(pool.allocate(17), first + 24);
    EXPECT_EQ(pool.allocate(8), first + 48);
    EXPECT_EQ(pool.allocate(8), first + 56);
}

TEST(MemoryPool, ManyPiecesNeedFewBlocks) {
    vek::MemoryPool pool;
    const int before = faults::count("malloc");
    constexpr std::size_t kSize = 100; // 104 with its rounding
    for (int i = 0; i < 100'000; ++i) {
        ASSERT_NE(pool.allocate(kSize), nullptr);
    }
    // 10.4 MB in blocks of 64 KiB, and some smaller ones at the beginning
    EXPECT_LE(faults::count("malloc") - before, 170);
}

TEST(MemoryPool, FirstBlockIsOnePage) {
    vek::MemoryPool pool;
    const int before = faults::count("malloc");
    for (int i = 0; i < 500; ++i) {
        ASSERT_NE(pool.allocate(8), nullptr);
    }
    EXPECT_EQ(faults::count("malloc"), before + 1);
    for (int i = 0; i < 12; ++i) {
        ASSERT_NE(pool.allocate(8), nullptr);
    }
    EXPECT_EQ(faults::count("malloc"), before + 2);
}

TEST(MemoryPool, LargePieceLeavesTheRestOfTheBlock) {
    vek::MemoryPool pool;
    const auto *const first = static_cast<const char *>(pool.allocate(8));
    ASSERT_NE(pool.allocate(1'000'000), nullptr);
    EXPECT_EQ(pool.allocate(8), first + 8);
}

TEST(MemoryPool, ReleasedPieceIsUsedAgain) {
    for (const std::size_t size : criticalSizes()) {
        vek::MemoryPool pool;
        void *const piece = pool.allocate(size);
        void *const other = pool.allocate(size);
        pool.release(piece, size);
        pool.release(other, size);
        const int before = faults::count("malloc");
        EXPECT_EQ(pool.allocate(size), other) << size;
        EXPECT_EQ(pool.allocate(size), piece) << size;
        EXPECT_EQ(faults::count("malloc"), before) << size;
    }
}

TEST(MemoryPool, ReleasedPieceIsNotUsedForALargerOne) {
    for (const std::size_t size : criticalSizes()) {
        vek::MemoryPool pool;
        void *const piece = pool.allocate(size);
        pool.release(piece, size);
        const Piece larger = allocate(pool, 2 * size + 9, 1);
        EXPECT_NE(larger.bytes, piece) << size;
    }
}

TEST(MemoryPool, ExhaustedMemoryIsNull) {
    vek::MemoryPool pool;
    faults::failAllocationsFrom(1);
    EXPECT_EQ(pool.allocate(8), nullptr);
    EXPECT_EQ(pool.allocate(100'000), nullptr);
    faults::reset();
    const Piece piece = allocate(pool, 8, 1);
    ASSERT_NE(piece.bytes, nullptr);

    faults::failAllocationsFrom(1);
    EXPECT_EQ(pool.allocate(100'000), nullptr);
    EXPECT_EQ(pool.allocate(8), piece.bytes + 8) << "the first block has room";
    while (pool.allocate(8) != nullptr) {
    }
    faults::reset();
    EXPECT_NE(pool.allocate(8), nullptr);
    expectContent(piece);
}

TEST(MemoryPool, ImpossibleSizeIsNull) {
    vek::MemoryPool pool;
    // Not a constant: compilers warn of sizes that malloc() cannot have.
    for (unsigned bits = 48; bits < 64; ++bits) {
        EXPECT_EQ(pool.allocate(std::size_t{1} << bits), nullptr) << bits;
    }
    EXPECT_EQ(pool.allocate(SIZE_MAX), nullptr);
    EXPECT_NE(pool.allocate(8), nullptr);
}

TEST(MemoryPool, KeepsTheContentOfPiecesInUse) {
    for (unsigned seed = 1; seed <= 10; ++seed) {
        std::mt19937 random(seed);
        vek::MemoryPool pool;
        std::vector<Piece> pieces;
        for (int step = 0; step < 5000; ++step) {
            if (random() % 3 == 0 && !pieces.empty()) {
                std::swap(pieces[random() % pieces.size()], pieces.back());
                expectContent(pieces.back());
                pool.release(pieces.back().bytes, pieces.back().size);
                pieces.pop_back();
            } else {
                const std::size_t size = random() % (std::size_t{1} << (random() % 13));
                pieces.push_back(allocate(pool, size, static_cast<unsigned char>(random())));
            }
        }
        for (const Piece &piece : pieces) {
            expectContent(piece);
        }
    }
}
