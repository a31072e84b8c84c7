#include "common/containers/vek_string_hash.h"

// A hash function for byte strings. It processes blocks of 24 bytes: each block is added to a state of three 64-bit
// words, and four rounds of subtractions, exclusive ors and shifts mix the state. Documented: the shift distances of
// each round, which determine the hash values.

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

static_assert(std::endian::native == std::endian::little,
              "the documented hash reads words in little-endian order");

namespace {

constexpr std::size_t kWord = sizeof(uint64_t);
constexpr std::size_t kBlock = 3 * kWord;
/// The initial value of the state word `c`: approximately 2^64 divided by the golden ratio.
constexpr uint64_t kStart = 0x9e3779b97f4a7c13;

struct State {
    uint64_t a = 0;
    uint64_t b = 0;
    uint64_t c = kStart;
};

/// The shift distances in bits for one round of mix(). `a` and `c` are distances of shifts to the right, and `b` is
/// the distance of a shift to the left.
struct Round {
    unsigned a, b, c;
};
constexpr std::array<Round, 4> kRounds = {{{43, 9, 8}, {38, 23, 5}, {35, 49, 11}, {12, 18, 22}}};

void mix(State &s) {
    for (const Round &round : kRounds) {
        s.a = (s.a - s.b - s.c) ^ (s.c >> round.a);
        s.b = (s.b - s.c - s.a) ^ (s.a << round.b);
        s.c = (s.c - s.a - s.b) ^ (s.b >> round.c);
    }
}

/// @return the first `count` bytes of `bytes` as a little-endian number; `count` is at most 8
uint64_t wordAt(const char *bytes, std::size_t count) {
    uint64_t word = 0;
    std::memcpy(&word, bytes, count);
    return word;
}

/// Treats the 8 bytes of `word` as signed numbers. A byte above 0x7F then counts 256 less than as an unsigned number.
/// To subtract these 256, subtracts 1 from the next higher byte.
/// @return the sum of the signed bytes, each shifted to its position in `word`
uint64_t withSignedBytes(uint64_t word) {
    constexpr uint64_t kSigns = 0x8080808080808080;
    return word - ((word & kSigns) << 1U);
}

void addBlock(State &s, const char *block, bool aligned) {
    const uint64_t first = wordAt(block, kWord);
    const uint64_t second = wordAt(block + kWord, kWord);
    const uint64_t third = wordAt(block + 2 * kWord, kWord);
    // Documented: the bytes are added as signed numbers. If the address of the input is a multiple of 8 (`aligned`),
    // the bytes of complete blocks are added as unsigned numbers instead.
    s.a += aligned ? first : withSignedBytes(first);
    s.b += aligned ? second : withSignedBytes(second);
    s.c += aligned ? third : withSignedBytes(third);
}

/// Adds the last `count` bytes of the input, which begin at `tail`, to the state. `count` is less than 24, the size
/// of a block.
void addTail(State &s, const char *tail, std::size_t count) {
    std::array<char, kBlock> padded = {};
    std::memcpy(padded.data(), tail, count);
    s.a += withSignedBytes(wordAt(padded.data(), kWord));
    s.b += withSignedBytes(wordAt(padded.data() + kWord, kWord));
    // Shift by one byte, because the lowest byte of `c` is reserved for the input length, which the caller has added.
    s.c += withSignedBytes(wordAt(padded.data() + 2 * kWord, kWord)) << 8U;
}

} // namespace

uint64_t vekHashStringLen(const void *bytes, size_t length) {
    const auto *rest = static_cast<const char *>(bytes == nullptr ? "" : bytes);
    std::size_t left = bytes == nullptr ? 0 : length;
    const std::size_t total = left;
    const bool aligned = reinterpret_cast<uintptr_t>(rest) % kWord == 0;
    State s;
    while (left >= kBlock) {
        addBlock(s, rest, aligned);
        mix(s);
        rest += kBlock;
        left -= kBlock;
    }
    s.c += total;
    addTail(s, rest, left);
    mix(s);
    return static_cast<uint32_t>(s.c);
}

uint64_t vekHashString(const char *string) {
    return vekHashStringLen(string, string == nullptr ? 0 : std::strlen(string));
}

uint32_t vekHashString32(const char *string) {
    return static_cast<uint32_t>(vekHashString(string));
}
