#ifndef VEKI_HASH_H
#define VEKI_HASH_H

/// What grows a hash table.

#include "common/containers/vek_hash.h"

VEK_BEGIN_DECLS

/// Gives the table four times its buckets and puts every entry where it belongs then. When memory is exhausted,
/// or the table cannot be larger, it stays as it is, and no observer is called.
void vekHashRebuildTable(vekHashTable *table);

/// Stores `bucketCount` new, empty buckets in the table; the old ones are not freed.
/// @return 1, or 0 with `buckets` null when memory is exhausted or `bucketCount` is below 1
int vekHashAllocBuckets(vekHashTable *table);

VEK_END_DECLS

#endif
