#ifndef VEKI_HASH_H
#define VEKI_HASH_H

/// Internal functions of the hash table in vek_hash.h: allocation and growth of its array of buckets.

#include "common/containers/vek_hash.h"

VEK_BEGIN_DECLS

/// Multiplies the number of buckets of `table` by four and moves every entry to its new bucket. If memory is
/// exhausted, or if there are 2^29 buckets or more, `table` is unchanged and its observer is not called.
void vekHashRebuildTable(vekHashTable *table);

/// Allocates as many empty buckets as the field `bucketCount` of `table` specifies, and stores them in the field
/// `buckets`. Does not free the old buckets.
/// @return 1; 0 if memory is exhausted or `bucketCount` is below 1, and `buckets` is then null
int vekHashAllocBuckets(vekHashTable *table);

VEK_END_DECLS

#endif
