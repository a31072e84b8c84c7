#ifndef TOVI_CACHE_H
#define TOVI_CACHE_H

/// The caches of parsed tag files and of resolved symbolic links. The documented globals are those of the process.

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
/// Inserts `obj` at the head of its chain. The cache then owns it. @return always 0
int tovVekinfoHashCreate(VekinfoObj *obj);

/// @return the cached link with the path of `probe`, or null
PathlinkObj *tovLinkHashPeek(const PathlinkObj *probe);
/// Inserts `link` at the head of its chain. The cache then owns it. @return always 0
int tovLinkHashCreate(PathlinkObj *link);

/// @return TOV_OK if a cached object counts as defining `element`, otherwise TOV_ATTRIBUTE_NOT_ASSIGNED
int tovVekinfoElementExists(const VekinfoObj *obj, const char *element);
}

namespace tov {

/// The caches of one process.
struct TagCache {
    constexpr TagCache(VekinfoObj **objectChains, PathlinkObj **linkChains, VekinfoObj **last)
        : objects(objectChains), links(linkChains), lastObject(last) {}

    RecordTable<VekinfoObj> objects;
    RecordTable<PathlinkObj> links;
    VekinfoObj **lastObject; ///< the object that tovGetVekinfoAtLoc() returned last, or null
};

/// @return the cache whose tables are the documented globals
TagCache &processCache();

/// tovVekinfoElementExists() with a given table of keywords.
bool isPresent(const Keywords &keywords, const VekinfoObj &obj, const char *element);

/// tovGetVekinfoAtLoc() without its report.
/// @param cached  receives the cached object, if there is no error
/// @return kNoError; TOV_NO_SUCH_FILE without a text, which is not to be reported; or the error of reading the file
Report findOrRead(TagCache &cache, const char *tagPath, const char *element, VekinfoObj *&cached,
                  bool &found);

/// Caches `obj`. If an object of its path is cached, that object receives what differs, and keeps its address.
/// @return the cached object
VekinfoObj *updateCache(TagCache &cache, OwnedInfoObj obj);

/// Removes the object of `path` from the cache, if there is one: its file is missing or cannot be parsed.
/// @param path  may be null
void dropFromCache(TagCache &cache, const char *path);

/// tovResetCache() of any cache.
void resetCache(TagCache &cache);

} // namespace tov

#endif
