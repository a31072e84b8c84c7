#ifndef RYNI_INDEX_HASH_H
#define RYNI_INDEX_HASH_H

/// The hash of the registry's indexes. Unlike vekHashString32() it gives one value for one text, wherever in
/// memory the text stands: keys of a query and of a stored record must agree for any bytes.

#include "common/text/ascii.h"

#include <cstdint>
#include <string_view>

/// 64-bit FNV-1a, folded. @param seed what else the key consists of
inline uint32_t ryniIndexHash(std::string_view text, uint64_t seed) {
    uint64_t hash = 0xcbf29ce484222325U ^ (seed * 0x9e3779b97f4a7c15U);
    for (const char c : text) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
    }
    return static_cast<uint32_t>(hash ^ (hash >> 32U));
}

/// The same of the text in lower case.
inline uint32_t ryniIndexHashNoCase(std::string_view text, uint64_t seed) {
    uint64_t hash = 0xcbf29ce484222325U ^ (seed * 0x9e3779b97f4a7c15U);
    for (const char c : text) {
        hash = (hash ^ static_cast<unsigned char>(vek::toLower(c))) * 0x100000001b3U;
    }
    return static_cast<uint32_t>(hash ^ (hash >> 32U));
}

#endif
