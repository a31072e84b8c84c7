#ifndef VEKI_HASH_H
#define VEKI_HASH_H

/// Internal functions of the table in vek_hash.h: allocation and growth of the bucket array.

#include "common/containers/vek_hash.h"

VEK_BEGIN_DECLS

/// Multiplies the number of buckets by four and moves every entry to its new bucket. If memory is exhausted or the
/// number is the largest possible one, `table` is unchanged and its observer is not called.
void vekHashRebuildTable(vekHashTable *table);

/// Allocates as many empty buckets as the field `bucketCount` of `table` gives, and stores them in the field `buckets`.
/// Does not free the old buckets.
/// @return 1; 0 if memory is exhausted or `bucketCount` is below 1, `buckets` is then null
int vekHashAllocBuckets(vekHashTable *table);

VEK_END_DECLS

#endif
