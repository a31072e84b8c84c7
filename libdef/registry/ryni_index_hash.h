#ifndef RYNI_INDEX_HASH_H
#define RYNI_INDEX_HASH_H

/// The hashes of a registry. That of its buckets is documented. That of its indexes is 64-bit FNV-1a, folded to 32 bits. Unlike vekHashString32() it depends on the text
/// only, not on its address in memory.

#include "common/text/ascii.h"

#include <cstdint>
#include <string_view>

namespace ryn {

/// The documented hash of a name: the number of its bucket, below 256.
inline uint32_t bucketOf(const char *name, bool ignoreCase) {
    uint64_t hash = 0;
    for (const char *at = name; *at != '\0'; ++at) {
        const char c = ignoreCase ? vek::toLower(*at) : *at;
        // Documented: a byte of 0x80 or above is negative.
        hash = (hash << 1U) ^ static_cast<uint64_t>(static_cast<int64_t>(static_cast<signed char>(c)));
    }
    return static_cast<uint32_t>((hash ^ (hash >> 8U) ^ (hash >> 16U) ^ (hash >> 24U)) & 0xffU);
}

/// @tparam change  applied to each character first
template <typename Change>
uint32_t indexHashOf(std::string_view text, uint64_t seed, Change change) {
    constexpr uint64_t kOffsetBasis = 0xcbf29ce484222325U; // of FNV-1a
    constexpr uint64_t kPrime = 0x100000001b3U;            // of FNV-1a
    constexpr uint64_t kGoldenRatio = 0x9e3779b97f4a7c15U; // spreads small seeds over all bits
    uint64_t hash = kOffsetBasis ^ (seed * kGoldenRatio);
    for (const char c : text) {
        hash = (hash ^ static_cast<unsigned char>(change(c))) * kPrime;
    }
    return static_cast<uint32_t>(hash ^ (hash >> 32U));
}

/// @param seed  the part of the key that is not text
inline uint32_t indexHash(std::string_view text, uint64_t seed = 0) {
    return indexHashOf(text, seed, [](char c) { return c; });
}

/// indexHash() of the text in lower case.
inline uint32_t indexHashNoCase(std::string_view text, uint64_t seed = 0) {
    return indexHashOf(text, seed, vek::toLower);
}

} // namespace ryn

#endif
