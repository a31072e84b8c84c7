#ifndef RYNI_INDEX_HASH_H
#define RYNI_INDEX_HASH_H

/// Hash functions of the registry: bucketOf() for its 256 buckets, indexHash() and indexHashNoCase() for its hash
/// tables. The latter compute 64-bit FNV-1a, folded to 32 bits. They depend only on text and seed; the hash of
/// vekHashString32() also depends on the address of the text in memory.

#include "common/text/ascii.h"

#include <cstdint>
#include <string_view>

namespace ryn {

/// Documented: computes the number of the bucket of a library name or path, 0 to 255.
/// @param ignoreCase  whether upper case letters are hashed as lower case letters
inline uint32_t bucketOf(const char *name, bool ignoreCase) {
    uint64_t hash = 0;
    for (const char *at = name; *at != '\0'; ++at) {
        const char c = ignoreCase ? vek::toLower(*at) : *at;
        // Documented: a byte of 0x80 or above is sign-extended.
        hash = (hash << 1U) ^ static_cast<uint64_t>(static_cast<int64_t>(static_cast<signed char>(c)));
    }
    return static_cast<uint32_t>((hash ^ (hash >> 8U) ^ (hash >> 16U) ^ (hash >> 24U)) & 0xffU);
}

/// Computes the hash of `text` and `seed`.
/// @param change  a function that is applied to each character before it is hashed
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

/// Computes the hash of a key.
/// @param text  the text of the key
/// @param seed  the rest of the key, such as a bucket number; 0 if the text is the whole key
inline uint32_t indexHash(std::string_view text, uint64_t seed = 0) {
    return indexHashOf(text, seed, [](char c) { return c; });
}

/// Computes the hash of a key whose text is compared without regard to case: indexHash() with `text` in lower case.
inline uint32_t indexHashNoCase(std::string_view text, uint64_t seed = 0) {
    return indexHashOf(text, seed, vek::toLower);
}

} // namespace ryn

#endif
