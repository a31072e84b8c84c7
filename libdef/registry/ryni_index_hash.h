#ifndef RYNI_INDEX_HASH_H
#define RYNI_INDEX_HASH_H

/// Hash functions of the registry, which stores libraries, files and cached symbolic links.
/// bucketOf() computes the number of one of the 256 buckets that rynDumpEverything() prints. indexHash() and
/// indexHashNoCase() compute hashes for internal hash tables: 64-bit FNV-1a, folded to 32 bits. vekHashString32() is
/// not used, because its result also depends on the address of the text in memory.

#include "common/text/ascii.h"

#include <cstdint>
#include <string_view>

namespace ryn {

/// Computes the bucket number, 0 to 255, of a library name or path. Documented: the algorithm must not change, because
/// rynDumpEverything() prints the bucket numbers.
/// @param ignoreCase  if true, upper case letters are hashed as lower case letters
inline uint32_t bucketOf(const char *name, bool ignoreCase) {
    uint64_t hash = 0;
    for (const char *at = name; *at != '\0'; ++at) {
        const char c = ignoreCase ? vek::toLower(*at) : *at;
        // Documented: a byte of 0x80 or above is sign-extended to 64 bits.
        hash = (hash << 1U) ^ static_cast<uint64_t>(static_cast<int64_t>(static_cast<signed char>(c)));
    }
    return static_cast<uint32_t>((hash ^ (hash >> 8U) ^ (hash >> 16U) ^ (hash >> 24U)) & 0xffU);
}

/// Computes the 64-bit FNV-1a hash of `text` and folds it to 32 bits. `seed` changes the initial value of the hash.
/// @param change  a function that converts each character before it is hashed, for example to lower case
template <typename Change>
uint32_t indexHashOf(std::string_view text, uint64_t seed, Change change) {
    constexpr uint64_t kOffsetBasis = 0xcbf29ce484222325U; // of FNV-1a
    constexpr uint64_t kPrime = 0x100000001b3U;            // of FNV-1a
    constexpr uint64_t kGoldenRatio = 0x9e3779b97f4a7c15U; // spreads a small seed over all bits
    uint64_t hash = kOffsetBasis ^ (seed * kGoldenRatio);
    for (const char c : text) {
        hash = (hash ^ static_cast<unsigned char>(change(c))) * kPrime;
    }
    return static_cast<uint32_t>(hash ^ (hash >> 32U));
}

/// Computes the hash of a search key that consists of a text and a number.
/// @param text  the text
/// @param seed  the number, for example the address of a trie node; 0 if the key is only a text
inline uint32_t indexHash(std::string_view text, uint64_t seed = 0) {
    return indexHashOf(text, seed, [](char c) { return c; });
}

/// Computes a hash like indexHash(), but converts `text` to lower case first. Texts that differ only in case therefore
/// have the same hash.
inline uint32_t indexHashNoCase(std::string_view text, uint64_t seed = 0) {
    return indexHashOf(text, seed, vek::toLower);
}

} // namespace ryn

#endif
