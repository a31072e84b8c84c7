#ifndef VEK_STRING_HASH_H
#define VEK_STRING_HASH_H

/// Hash functions of strings and bytes, for hash tables. Use the hash values within one process only: if the
/// input contains bytes above 0x7F, the value depends on the memory address of the input.

#include "common/base/vek_api.h"

#include <stdint.h>

VEK_BEGIN_DECLS

/// Computes a hash value of the first `length` bytes of `bytes`. A byte above 0x7F is used as a negative
/// number. There is one exception: if the address of the input is a multiple of 8, complete blocks of 24 bytes
/// are used as unsigned bytes.
///
/// @param bytes  need not end with a NUL; null is hashed as no bytes
/// @return a value below 2^32
VEK_API uint64_t vekHashStringLen(const void *bytes, size_t length);

/// Computes a hash value of the characters of `string`, without its NUL, like vekHashStringLen().
/// @return the hash value; for null, the hash value of the empty string
VEK_API uint64_t vekHashString(const char *string);

/// Computes the same hash value of `string` as vekHashString().
/// @return the hash value as a 32-bit number
VEK_API uint32_t vekHashString32(const char *string);

VEK_END_DECLS

#endif
