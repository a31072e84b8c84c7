#ifndef VEK_STRING_HASH_H
#define VEK_STRING_HASH_H

/// The hash of strings and byte runs, for hash tables. The values are for use inside one process: those of input
/// with bytes above 0x7F depend on where it lies in memory.

#include "common/vek_api.h"

#include <stdint.h>

VEK_BEGIN_DECLS

/// Hashes `length` bytes. A byte above 0x7F counts as negative, unless it lies in a full block of 24 bytes of
/// input that begins at a multiple of 8.
///
/// @param bytes  need not end in a NUL; null is hashed as no bytes
/// @return a value below 2^32
VEK_API uint64_t vekHashStringLen(const void *bytes, size_t length);

/// vekHashStringLen() of `string` without its NUL; null is hashed as the empty string.
VEK_API uint64_t vekHashString(const char *string);

/// vekHashString() of `string`, in 32 bits.
VEK_API uint32_t vekHashString32(const char *string);

VEK_END_DECLS

#endif
