#ifndef VEK_HASH_H
#define VEK_HASH_H

/// An intrusive chained hash table. An entry is a record of the caller's that holds, at a byte offset named at
/// set-up, the pointer to the next entry of its chain. The table never allocates, copies or frees entries: it
/// owns its buckets alone. The caller owns the table record.
///
/// The callbacks receive keys and entries alike: a key is anything on which `hash` gives the same value as on
/// the entry that it stands for. Among entries that are equal, the one inserted last is found.
///
/// Nothing is reported. A null table, one without buckets, and a null entry or key make an operation do nothing
/// and answer null.

#include "common/vek_api.h"

#include <stdint.h>

VEK_BEGIN_DECLS

typedef struct vekHashTable vekHashTable;

/// @return non-zero when `entry`, which is in the table, equals `key`
typedef int (*vekHashCompare)(const void *entry, const void *key);

/// @return the hash of a key or of an entry
typedef uint32_t (*vekHashFunction)(const void *key, const vekHashTable *table);

/// What an observer is told about.
enum {
    VEK_HASH_GROWTH_BEGINS = 0, ///< with a null entry
    VEK_HASH_GROWTH_ENDS = 1,   ///< with a null entry
    VEK_HASH_LINK_CHANGES = 2   ///< the link of the entry given is about to change: its successor leaves
};

/// Is told about structural changes of a table.
typedef void (*vekHashObserver)(int phase, vekHashTable *table, void *entry);

/// A table. The fields are for reading, except `observer`, which may be set after vekHashAllocTable().
struct vekHashTable {
    void **buckets;           ///< the first entry of each chain; null while the table is not allocated
    int32_t bucketCount;      ///< a power of two, at least 2
    int32_t growThreshold;    ///< the number of entries at which the table grows
    int32_t entryCount;       ///< entries in the table
    int32_t linkOffset;       ///< where an entry holds the pointer to the next one, in bytes
    vekHashCompare compare;   ///< given at set-up
    vekHashFunction hash;     ///< given at set-up
    vekHashObserver observer; ///< or null
    int32_t mask;             ///< bucketCount - 1
    int16_t shift;            ///< 30 - log2(bucketCount); no operation looks at it
    int16_t generatorCount;   ///< iterations that are open; no operation looks at it
    void **probeSlot;         ///< the bucket of the last vekHashProbe() that found nothing, or null
};

/// An iteration over all entries, made by vekHashStartGen().
typedef struct vekHashGenerator {
    vekHashTable *table;
    void *nextEntry; ///< what is handed out next, or null
    int32_t bucketIndex;
} vekHashGenerator;

/// Sets up an empty table. What the record held before is overwritten, not freed.
///
/// @param table           the caller's record; null is ignored
/// @param initialBuckets  rounded up to a power of two, at least 2; below 1 for 64
/// @param loadFactor      entries per bucket at which the table grows; below 1 for 3
/// @param linkOffset      offset in every entry of its pointer-sized link field
/// @param compare         tells whether an entry equals a key
/// @param hash            gives the hash of a key or of an entry
///
/// The table stays unallocated when memory is exhausted; `buckets` is null then.
VEK_API void vekHashAllocTable(vekHashTable *table, int initialBuckets, int loadFactor, int linkOffset,
                               vekHashCompare compare, vekHashFunction hash);

/// Frees the buckets of `table` and leaves the record unallocated. The entries are the caller's to free,
/// beforehand. Null is ignored.
VEK_API void vekHashFreeTable(vekHashTable *table);

/// Inserts `entry` unless an equal one is in `table`.
/// @return null when it was inserted; `entry` itself when an equal one was there
VEK_API void *vekHashCreate(vekHashTable *table, void *entry);

/// Inserts `entry` in `table`, in the place of an equal one if there is one.
/// @return the entry that was replaced, which is the caller's again; null when there was none
VEK_API void *vekHashReplace(vekHashTable *table, void *entry);

/// Takes the entry that equals `key` out of `table`.
///
/// @param key  handed to the callbacks as it is, null too
/// @return the entry, which is the caller's again; null when there was none
VEK_API void *vekHashDelete(vekHashTable *table, const void *key);

/// Looks `key` up in `table` and, when nothing equals it, remembers its bucket for vekHashCreateAfterProbe().
/// @return the entry that equals `key`, or null
VEK_API void *vekHashProbe(vekHashTable *table, const void *key);

/// Inserts `entry` in the bucket of `table` that the last vekHashProbe(), of a key that equals it, remembered.
/// Each insertion takes a probe of its own.
/// @return null when it was inserted; `entry` itself when no bucket is remembered: the probe found something,
///         or the table has grown since
VEK_API void *vekHashCreateAfterProbe(vekHashTable *table, void *entry);

/// Begins an iteration over `table`: bucket after bucket, in each the entry inserted last comes first. The
/// entry handed out last may be deleted meanwhile; insertions are not guarded against, and may make it repeat
/// or miss entries.
/// @return a generator for vekHashStopGen(); null for null, or when memory is exhausted
VEK_API vekHashGenerator *vekHashStartGen(vekHashTable *table);

/// Hands out the next entry of the iteration `generator`.
/// @return 1 with the entry stored in `*entry`; 0 when there is none, or when an argument is null
VEK_API int vekHashGen(vekHashGenerator *generator, void **entry);

/// Ends the iteration `generator`. Null is ignored.
VEK_API void vekHashStopGen(vekHashGenerator *generator);

/// @return a hash of `number`, for callers whose keys are numbers; 0.0 and -0.0 differ
VEK_API int32_t vekHashDouble(double number);

VEK_END_DECLS

#endif
