#ifndef TOVI_CACHE_H
#define TOVI_CACHE_H

/// The caches of parsed tag files and of resolved symbolic links, and the lookups in them. Every process has one pair
/// of caches. Documented: its hash tables are the globals declared here; tests create further caches.

#include "tagfile/keyword.h"
#include "tagfile/tov.h"
#include "tagfile/tovi_object.h"
#include "tagfile/tovi_record_table.h"
#include "tagfile/tovi_report.h"

/// A symbolic link that an upward search has followed.
struct PathlinkObj {
    PathlinkObj *next;
    char *path;   ///< the link
    char *target; ///< its normalized target
};

extern "C" {

extern VekinfoObj *vekinfoHashTable[TOVI_BUCKETS];
extern PathlinkObj *pathlinkHashTable[TOVI_BUCKETS];

/// The cached object that tovGetVekinfoAtLoc() returned last, or null.
extern VekinfoObj *tempVekinfoFromHash;

/// @return the cached object with the path of `probe`, or null
VekinfoObj *tovVekinfoHashPeek(const VekinfoObj *probe);
/// Inserts `obj` at the head of its hash chain. The cache then owns `obj`. @return always 0
int tovVekinfoHashCreate(VekinfoObj *obj);

/// @return the cached link with the path of `probe`, or null
PathlinkObj *tovLinkHashPeek(const PathlinkObj *probe);
/// Inserts `link` at the head of its hash chain. The cache then owns `link`. @return always 0
int tovLinkHashCreate(PathlinkObj *link);

/// Tests whether the cached object `obj` defines `element`. A keyword is defined if it is set. Documented: for an
/// application entry, the test is whether `obj` has an entry of any other name.
/// @return TOV_OK if it does, otherwise TOV_ATTRIBUTE_NOT_ASSIGNED
int tovVekinfoElementExists(const VekinfoObj *obj, const char *element);
}

namespace tov {

/// One cache of tag files and one cache of symbolic links. The tables are arrays that the caller owns.
struct TagCache {
    constexpr TagCache(VekinfoObj **objectChains, PathlinkObj **linkChains, VekinfoObj **last)
        : objects(objectChains), links(linkChains), lastObject(last) {}

    RecordTable<VekinfoObj> objects;
    RecordTable<PathlinkObj> links;
    VekinfoObj **lastObject; ///< the object that tovGetVekinfoAtLoc() returned last, or null
};

/// @return the cache of the process; its tables are vekinfoHashTable and pathlinkHashTable
TagCache &processCache();

/// Tests whether the cached object `obj` defines `element`, like tovVekinfoElementExists() but with the table
/// `keywords`.
bool isPresent(const Keywords &keywords, const VekinfoObj &obj, const char *element);

/// Finds the object of `tagPath` in `cache`, or reads the file into the cache. Does not call an error handler, unlike
/// tovGetVekinfoAtLoc(): the caller reports the result.
/// @param cached  receives the cached object if there is no error
/// @param found   as in tovGetVekinfoAtLoc()
/// @return kNoError; TOV_NO_SUCH_FILE with a null text, which the caller must not report; or the error of reading the
///         file
Report findOrRead(TagCache &cache, const char *tagPath, const char *element, VekinfoObj *&cached,
                  bool &found);

/// Caches `obj`. If an object with the same path is cached, its fields that differ are replaced by those of `obj`. The
/// cached object and its unchanged strings keep their addresses, which callers may hold.
/// @return the cached object
VekinfoObj *updateCache(TagCache &cache, OwnedInfoObj obj);

/// Removes the object of `path` from the cache, if there is one. Called if the cached object may differ from the file,
/// for example because the file is missing or cannot be parsed.
/// @param path  may be null
void dropFromCache(TagCache &cache, const char *path);

/// Removes and frees all objects and links of `cache`.
void resetCache(TagCache &cache);

} // namespace tov

#endif
