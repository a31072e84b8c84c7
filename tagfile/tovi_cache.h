#ifndef TOVI_CACHE_H
#define TOVI_CACHE_H

/// Caches of parsed tag files and of resolved symbolic links, and the functions that search and update these caches. A
/// process has one cache of each kind. Documented: the hash tables of these two caches are the global arrays
/// vekinfoHashTable and pathlinkHashTable. Tests create further caches with arrays of their own.

#include "tagfile/keyword.h"
#include "tagfile/tov.h"
#include "tagfile/tovi_object.h"
#include "tagfile/tovi_record_table.h"
#include "tagfile/tovi_report.h"

/// One resolved symbolic link. A search through parent directories creates the record when it follows the link;
/// tovResetCache() frees the record.
struct PathlinkObj {
    PathlinkObj *next;
    char *path;   ///< the link
    char *target; ///< its normalized target
};

extern "C" {

extern VekinfoObj *vekinfoHashTable[TOVI_BUCKETS];
extern PathlinkObj *pathlinkHashTable[TOVI_BUCKETS];

/// The cached object (a parsed tag file) that the last tovGetVekinfoAtLoc() or the last edit used; null if there is
/// none.
extern VekinfoObj *tempVekinfoFromHash;

/// Returns the cached object whose `path` equals `probe->path`, or null. Reads no other field of `probe`.
VekinfoObj *tovVekinfoHashPeek(const VekinfoObj *probe);
/// Adds `obj` to the cache, at the head of the linked list of its hash bucket. The cache then owns `obj`. @return
/// always 0
int tovVekinfoHashCreate(VekinfoObj *obj);

/// Returns the cached link whose `path` equals `probe->path`, or null. Reads no other field of `probe`.
PathlinkObj *tovLinkHashPeek(const PathlinkObj *probe);
/// Adds `link` to the cache, at the head of the linked list of its hash bucket. The cache then owns `link`. @return
/// always 0
int tovLinkHashCreate(PathlinkObj *link);

/// Tests whether the cached object `obj` defines the entry `element`. If `element` is a keyword, `obj` must set this
/// keyword. Documented: if `element` is any other name, `obj` must have an application entry with a name other than
/// `element`.
/// @return TOV_OK if the test succeeds, otherwise TOV_ATTRIBUTE_NOT_ASSIGNED
int tovVekinfoElementExists(const VekinfoObj *obj, const char *element);
}

namespace tov {

/// A cache of parsed tag files and a cache of symbolic links. The hash tables are arrays of linked lists. The caller of
/// the constructor owns the arrays, which must exist as long as this object.
struct TagCache {
    constexpr TagCache(VekinfoObj **objectChains, PathlinkObj **linkChains, VekinfoObj **last)
        : objects(objectChains), links(linkChains), lastObject(last) {}

    RecordTable<VekinfoObj> objects;
    RecordTable<PathlinkObj> links;
    VekinfoObj **lastObject; ///< the object that the last call of findOrRead() or the last edit used, or null
};

/// Returns the caches of the process, whose hash tables are vekinfoHashTable and pathlinkHashTable.
TagCache &processCache();

/// Tests whether the cached object `obj` defines the entry `element`, in the same way as tovVekinfoElementExists(), but
/// takes the table of keywords as an argument.
bool isPresent(const Keywords &keywords, const VekinfoObj &obj, const char *element);

/// Result of findOrRead().
struct CacheSearch {
    Report report;                ///< kNoError, or the error because of which there is no object
    VekinfoObj *object = nullptr; ///< the cached object; null after an error
    bool isFound = false; ///< whether the file defines the entry; see tovGetVekinfoAtLoc() for the exact rule
};

/// Finds the object of the tag file `tagPath` in `cache`. If it is not there, parses the file and adds the object to
/// `cache`. Unlike tovGetVekinfoAtLoc(), does not call an error handler, so the caller must report the error.
/// @param element  the name of an entry, or null
/// @return the object, or the error of reading the file. If the file is missing, the error is TOV_NO_SUCH_FILE with a
///         null text; the caller must not report this error
CacheSearch findOrRead(TagCache &cache, const char *tagPath, const char *element);

/// Stores `obj` in the cache. If an object with the same path is already cached, replaces only those fields of the
/// cached object that differ from `obj`. The cached object and its unchanged strings keep their addresses, because
/// callers may hold pointers to them.
/// @return the cached object
VekinfoObj *updateCache(TagCache &cache, OwnedInfoObj obj);

/// Removes the object with this path from the cache and frees the object. Must be called if the cached object may
/// differ from the file, for example because the file is missing or cannot be parsed.
/// @param path  the path of a tag file; if it is null, nothing is removed
void dropFromCache(TagCache &cache, const char *path);

/// Removes and frees all objects and links of `cache`.
void resetCache(TagCache &cache);

} // namespace tov

#endif
