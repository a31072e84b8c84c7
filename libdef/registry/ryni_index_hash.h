#ifndef RYNI_INDEX_HASH_H
#define RYNI_INDEX_HASH_H

/// Hash functions of the registry, which stores libraries, files and cached symbolic links.
/// bucketOf() computes the number of one of the 256 buckets that rynDumpEverything() prints. indexHash() and
/// indexHashNoCase() compute hashes for internal hash tables. vekHashString32() is not used, because its result also
/// depends on the address of the text in memory.

#include "common/text/ascii.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace ryn {

/// Computes the bucket number, 0 to 255, of a library name or path. Documented: the algorithm must not change, because
/// rynDumpEverything() prints the bucket numbers.
/// @param ignoreCase  if true, upper case letters are hashed as lower case letters
inline uint32_t bucketOf(std::string_view name, bool ignoreCase) {
    // Hash only the last 32 characters. Each step shifts the 32-bit hash left by one bit for each character, so that
    // earlier characters have no effect on the result.
    constexpr std::size_t kSignificant = 32;
    const auto valueAt = [name, ignoreCase](std::size_t i) {
        const char c = ignoreCase ? vek::toLower(name[i]) : name[i];
        // Documented: a byte of 0x80 or above is sign-extended.
        return static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(c)));
    };
    uint32_t hash = 0;
    std::size_t i = name.size() > kSignificant ? name.size() - kSignificant : 0;
    // Four characters in one step, because each step waits for the result of the step before.
    for (; i + 4 <= name.size(); i += 4) {
        const uint32_t group =
            (valueAt(i) << 3U) ^ (valueAt(i + 1) << 2U) ^ (valueAt(i + 2) << 1U) ^ valueAt(i + 3);
        hash = (hash << 4U) ^ group;
    }
    for (; i < name.size(); ++i) {
        hash = (hash << 1U) ^ valueAt(i);
    }
    return (hash ^ (hash >> 8U) ^ (hash >> 16U) ^ (hash >> 24U)) & 0xffU;
}

/// Computes a 32-bit hash of `text`: multiplies and shifts 8 bytes at a time.
/// @param seed  changes the initial value of the hash
/// @param bits  bits to set in each byte before it is hashed; texts that differ only in these bits have equal hashes
inline uint32_t indexHashOf(std::string_view text, uint64_t seed, unsigned char bits) {
    constexpr uint64_t kGoldenRatio =
        0x9e3779b97f4a7c15U; // 2^64 divided by the golden ratio: odd, with irregular bits
    constexpr uint64_t kEachByte = 0x0101010101010101U;
    const uint64_t allBits = bits * kEachByte;
    uint64_t hash = (seed ^ text.size()) * kGoldenRatio;
    const auto add = [&hash, allBits](const char *bytes, std::size_t count) {
        uint64_t word = 0;
        std::memcpy(&word, bytes, count);
        hash = (hash ^ (word | allBits)) * kGoldenRatio;
        hash ^= hash >> 32U; // the product spreads a bit only to higher bits
    };
    const char *at = text.data();
    std::size_t left = text.size();
    for (; left > sizeof(uint64_t); left -= sizeof(uint64_t), at += sizeof(uint64_t)) {
        add(at, sizeof(uint64_t));
    }
    if (text.size() >= sizeof(uint64_t)) {
        add(at + left - sizeof(uint64_t),
            sizeof(uint64_t)); // the last 8 bytes; some of them can have been added
    } else {
        add(at, left);
    }
    return static_cast<uint32_t>((hash * kGoldenRatio) >> 32U);
}

/// Computes the hash of a search key that consists of a text and a number.
/// @param text  the text
/// @param seed  the number, for example the address of a trie node; 0 if the key is only a text
inline uint32_t indexHash(std::string_view text, uint64_t seed = 0) {
    return indexHashOf(text, seed, 0);
}

/// Computes a hash like indexHash(), but texts that differ only in the case of letters have the same hash.
inline uint32_t indexHashNoCase(std::string_view text, uint64_t seed = 0) {
    constexpr unsigned char kLowerCase =
        'a' - 'A'; // the bit in which an ASCII letter differs between the cases
    return indexHashOf(text, seed, kLowerCase);
}

} // namespace ryn

#endif
