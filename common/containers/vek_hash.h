#ifndef VEK_HASH_H
#define VEK_HASH_H

/// An intrusive hash table with separate chaining. An entry is a record of the caller that contains a link, a
/// pointer to the next entry of its chain. The byte offset of the link is given to vekHashAllocTable(). The
/// table allocates and frees only its array of buckets; it never allocates, copies or frees entries. The caller
/// also owns the table record.
///
/// The callback functions `compare` and `hash` receive keys and entries. A key is any object for which `hash`
/// returns the same value as for the matching entry. If several entries are equal, a search returns the one
/// that was inserted last.
///
/// Errors are not reported. If the table is null or not allocated, or the entry or key is null, an operation
/// does nothing and returns null. There is one exception: vekHashDelete() passes a null key to the callbacks.

#include "common/base/vek_api.h"

#include <stdint.h>

VEK_BEGIN_DECLS

typedef struct vekHashTable vekHashTable;

/// The type of a comparison function, which compares `entry`, an entry of the table, with `key`. It must not
/// change the table.
/// @return non-zero if they are equal, otherwise 0
typedef int (*vekHashCompare)(const void *entry, const void *key);

/// The type of a hash function. `key` is a key or an entry. The function must not change the table.
/// @return the hash value of `key`
typedef uint32_t (*vekHashFunction)(const void *key, const vekHashTable *table);

/// Observer events.
enum {
    VEK_HASH_GROWTH_BEGINS = 0, ///< before the table grows; the entry is null
    VEK_HASH_GROWTH_ENDS = 1,   ///< after the table has grown; the entry is null
    VEK_HASH_LINK_CHANGES = 2   ///< before the link of the entry changes, because its successor is removed
};

/// The type of an observer, a function that is called before and after the table grows, and before the link of
/// an entry changes. `phase` is the event, a VEK_HASH_ constant. `entry` is the entry whose link changes, or
/// null. The function must not change the table.
typedef void (*vekHashObserver)(int phase, vekHashTable *table, void *entry);

/// A hash table. Callers may read all fields, but write only the field `observer`, after vekHashAllocTable().
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

/// An iteration over all entries of a table. vekHashStartGen() creates it, and vekHashStopGen() frees it.
typedef struct vekHashGenerator {
    vekHashTable *table;
    void *nextEntry; ///< the entry that vekHashGen() stores next, or null
    int32_t bucketIndex;
} vekHashGenerator;

/// Sets up an empty table in the record `table`. The previous content of the record is overwritten, not freed.
///
/// If memory is exhausted, the table stays unallocated: its field `buckets` is null.
///
/// @param table           the caller's record; if null, nothing happens
/// @param initialBuckets  number of buckets, rounded up to a power of two, at least 2; values below 1 mean 64
/// @param loadFactor      number of entries per bucket at which the table grows; values below 1 mean 3
/// @param linkOffset      byte offset of the link in every entry, a pointer that only the table uses
/// @param compare         compares an entry with a key
/// @param hash            computes the hash value of a key or an entry
VEK_API void vekHashAllocTable(vekHashTable *table, int initialBuckets, int loadFactor, int linkOffset,
                               vekHashCompare compare, vekHashFunction hash);

/// Frees the buckets of `table` and sets its field `buckets` to null. Does not free the entries: the caller
/// frees them before. If `table` is null, nothing happens.
VEK_API void vekHashFreeTable(vekHashTable *table);

/// Inserts `entry` into `table` unless the table contains an equal entry.
/// @return null if `entry` was inserted; `entry` itself if the table contains an equal entry
VEK_API void *vekHashCreate(vekHashTable *table, void *entry);

/// Inserts `entry` into `table`. If the table contains an equal entry, `entry` replaces it.
/// @return the replaced entry, which the caller owns again; null if there was none
VEK_API void *vekHashReplace(vekHashTable *table, void *entry);

/// Removes the entry that equals `key` from `table`.
///
/// @param key  passed to the comparison and hash functions unchanged, even if it is null: only pass null if
///             they accept it
/// @return the removed entry, which the caller owns again; null if no entry equals `key`
VEK_API void *vekHashDelete(vekHashTable *table, const void *key);

/// Searches `table` for the entry that equals `key`. If there is none, the table stores the bucket of `key`, so
/// that vekHashCreateAfterProbe() can insert an entry into this bucket.
/// @return the entry that equals `key`; null if there is none
VEK_API void *vekHashProbe(vekHashTable *table, const void *key);

/// Inserts `entry` into the bucket of `table` that the last vekHashProbe() stored. The key of that call must
/// equal the entry. Call vekHashProbe() before each insertion.
/// @return null if `entry` was inserted; `entry` itself if no bucket is stored, because vekHashProbe() found an
///         entry or because the table has grown since
VEK_API void *vekHashCreateAfterProbe(vekHashTable *table, void *entry);

/// Starts an iteration over all entries of `table`, bucket by bucket. Within a bucket, the entry that was
/// inserted last comes first. The caller may delete the entry that vekHashGen() stored last. Do not insert
/// entries during an iteration: the iteration may then repeat entries or miss them.
/// @return the iteration, which vekHashStopGen() frees; null if `table` is null or memory is exhausted
VEK_API vekHashGenerator *vekHashStartGen(vekHashTable *table);

/// Stores the next entry of the iteration `generator` in `*entry`.
/// @return 1 if there is an entry; 0 at the end of the iteration, or if an argument is null
VEK_API int vekHashGen(vekHashGenerator *generator, void **entry);

/// Ends the iteration `generator` and frees it. If `generator` is null, nothing happens.
VEK_API void vekHashStopGen(vekHashGenerator *generator);

/// @return a hash value of `number`. 0.0 and -0.0 are equal numbers, but their hash values differ
VEK_API int32_t vekHashDouble(double number);

VEK_END_DECLS

#endif
