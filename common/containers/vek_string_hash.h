#ifndef VEK_STRING_HASH_H
#define VEK_STRING_HASH_H

/// Hash functions of strings and bytes, for hash tables. Use the values within one process only: for input with
/// bytes above 0x7F they depend on the memory address of the input.

#include "common/base/vek_api.h"

#include <stdint.h>

VEK_BEGIN_DECLS

/// Hashes `length` bytes. A byte above 0x7F is a negative number, except within a complete block of 24 bytes if
/// the address of the input is a multiple of 8.
///
/// @param bytes  need not end with a NUL; null is hashed as no bytes
/// @return a value below 2^32
VEK_API uint64_t vekHashStringLen(const void *bytes, size_t length);

/// Hashes the characters of `string` without its NUL, like vekHashStringLen().
/// @return the hash value; for null, that of the empty string
VEK_API uint64_t vekHashString(const char *string);

/// Hashes `string` like vekHashString().
/// @return the hash value as a 32-bit number
VEK_API uint32_t vekHashString32(const char *string);

VEK_END_DECLS

#endif
