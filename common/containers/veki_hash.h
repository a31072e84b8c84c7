#ifndef VEKI_HASH_H
#define VEKI_HASH_H

/// Growth of a hash table.

#include "common/containers/vek_hash.h"

VEK_BEGIN_DECLS

/// Multiplies the buckets by four and moves every entry to its new bucket. If memory is exhausted or the table has its
/// largest size, it is unchanged and no observer is called.
void vekHashRebuildTable(vekHashTable *table);

/// Stores `bucketCount` new, empty buckets in the table; the old ones are not freed.
/// @return 1; 0 with `buckets` null if memory is exhausted or `bucketCount` is below 1
int vekHashAllocBuckets(vekHashTable *table);

VEK_END_DECLS

#endif
