#ifndef VEK_HASH_H
#define VEK_HASH_H

/// An intrusive hash table with separate chaining. An entry is a record of the caller. It contains a pointer to
/// the next entry of its chain, at a byte offset that is given at set-up. The table allocates and frees its
/// bucket array only; it never allocates, copies or frees entries. The caller also owns the table record.
///
/// The callbacks receive both keys and entries. A key is any object for which `hash` returns the same value as
/// for the matching entry. If several entries are equal, the one inserted last is found.
///
/// Errors are not reported. If the table is null or not allocated, or the entry or key is null, an operation does
/// nothing and returns null. There is one exception: vekHashDelete() passes a null key to the callbacks.

#include "common/base/vek_api.h"

#include <stdint.h>

VEK_BEGIN_DECLS

typedef struct vekHashTable vekHashTable;

/// A comparison function: compares `entry`, which is in the table, with `key`. Must not change the table.
/// @return non-zero if they are equal
typedef int (*vekHashCompare)(const void *entry, const void *key);

/// A hash function: hashes `key`, which is a key or an entry. Must not change the table.
/// @return the hash value
typedef uint32_t (*vekHashFunction)(const void *key, const vekHashTable *table);

/// Observer events.
enum {
    VEK_HASH_GROWTH_BEGINS = 0, ///< before the table grows; the entry is null
    VEK_HASH_GROWTH_ENDS = 1,   ///< after the table has grown; the entry is null
    VEK_HASH_LINK_CHANGES = 2   ///< before the link of the entry changes, because its successor is removed
};

/// An observer: is called for each observer event, with the event in `phase`. Must not change the table.
typedef void (*vekHashObserver)(int phase, vekHashTable *table, void *entry);

/// A hash table. Callers may read all fields and may write `observer` after vekHashAllocTable().
struct vekHashTable {
    void **buckets;           ///< first entry of each chain; null while the table is not allocated
    int32_t bucketCount;      ///< a power of two, at least 2
    int32_t growThreshold;    ///< number of entries at which the table grows to four times its buckets
    int32_t entryCount;       ///< number of entries in the table
    int32_t linkOffset;       ///< byte offset of the link to the next entry in every entry
    vekHashCompare compare;   ///< the comparison function, given at set-up
    vekHashFunction hash;     ///< the hash function, given at set-up
    vekHashObserver observer; ///< may be null
    int32_t mask;             ///< bucketCount - 1
    int16_t shift;            ///< 30 - log2(bucketCount); not used by any operation
    int16_t generatorCount;   ///< number of open iterations; not used by any operation
    void **probeSlot;         ///< bucket of the last vekHashProbe() if it found nothing, otherwise null
};

/// An iteration over all entries, created by vekHashStartGen().
typedef struct vekHashGenerator {
    vekHashTable *table;
    void *nextEntry; ///< the entry that vekHashGen() stores next, or null
    int32_t bucketIndex;
} vekHashGenerator;

/// Sets up an empty table. The previous content of the record is overwritten, not freed.
///
/// If memory is exhausted, the table stays unallocated: `buckets` is null.
///
/// @param table           the caller's record; if null, nothing happens
/// @param initialBuckets  rounded up to a power of two, at least 2; values below 1 mean 64
/// @param loadFactor      entries per bucket at which the table grows; values below 1 mean 3
/// @param linkOffset      byte offset of the pointer-sized link field in every entry
/// @param compare         compares an entry with a key
/// @param hash            hashes a key or an entry
VEK_API void vekHashAllocTable(vekHashTable *table, int initialBuckets, int loadFactor, int linkOffset,
                               vekHashCompare compare, vekHashFunction hash);

/// Frees the buckets of `table` and leaves the record unallocated. The caller frees the entries before. If
/// `table` is null, nothing happens.
VEK_API void vekHashFreeTable(vekHashTable *table);

/// Inserts `entry` into `table` unless an equal entry is present.
/// @return null if it was inserted; `entry` itself if an equal entry was present
VEK_API void *vekHashCreate(vekHashTable *table, void *entry);

/// Inserts `entry` into `table` and replaces an equal entry.
/// @return the replaced entry, which the caller owns again; null if there was none
VEK_API void *vekHashReplace(vekHashTable *table, void *entry);

/// Removes the entry that equals `key` from `table`.
///
/// @param key  passed to the callbacks unchanged, even if it is null: only pass null if they accept it
/// @return the entry, which the caller owns again; null if there was none
VEK_API void *vekHashDelete(vekHashTable *table, const void *key);

/// Looks up `key` in `table`. If no entry equals it, its bucket is stored for vekHashCreateAfterProbe().
/// @return the entry that equals `key`, or null
VEK_API void *vekHashProbe(vekHashTable *table, const void *key);

/// Inserts `entry` into the bucket of `table` that the last vekHashProbe() stored. The key of that call must
/// equal the entry. Call vekHashProbe() before each insertion.
/// @return null if it was inserted; `entry` itself if no bucket is stored, because the probe found an entry or
///         because the table has grown since
VEK_API void *vekHashCreateAfterProbe(vekHashTable *table, void *entry);

/// Starts an iteration over `table`. The order is bucket by bucket; within a bucket, the entry inserted last
/// comes first. The entry returned last may be deleted. Do not insert entries during an iteration: it may then
/// repeat entries or miss them.
/// @return a generator, which vekHashStopGen() frees; null if `table` is null or memory is exhausted
VEK_API vekHashGenerator *vekHashStartGen(vekHashTable *table);

/// Gets the next entry of the iteration `generator`.
/// @return 1 with the entry stored in `*entry`; 0 at the end, or if an argument is null
VEK_API int vekHashGen(vekHashGenerator *generator, void **entry);

/// Ends the iteration and frees `generator`. If it is null, nothing happens.
VEK_API void vekHashStopGen(vekHashGenerator *generator);

/// @return a hash value of `number`; 0.0 and -0.0 have different values
VEK_API int32_t vekHashDouble(double number);

VEK_END_DECLS

#endif
