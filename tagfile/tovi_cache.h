#ifndef TOVI_CACHE_H
#define TOVI_CACHE_H

/// The process-wide caches of parsed tag files and of resolved symbolic links.

#include "tagfile/tov.h"

VEK_BEGIN_DECLS

enum { TOVI_BUCKETS = 256 };

/// A symbolic link met on the way up, and where it leads.
typedef struct PathlinkObj {
    struct PathlinkObj *next;
    char *path;   ///< the link
    char *target; ///< its normalized target
} PathlinkObj;

extern VekinfoObj *vekinfoHashTable[TOVI_BUCKETS];
extern PathlinkObj *pathlinkHashTable[TOVI_BUCKETS];

/// The last-object slot: the cached object that tovGetVekinfoAtLoc() delivered last, or null.
extern VekinfoObj *tempVekinfoFromHash;

/// @return the cached object with the path of `probe`, or null
VekinfoObj *tovVekinfoHashPeek(const VekinfoObj *probe);
/// Gives `obj` to the cache, in front of its chain. @return always 0
int tovVekinfoHashCreate(VekinfoObj *obj);

/// @return the cached link with the path of `probe`, or null
PathlinkObj *tovLinkHashPeek(const PathlinkObj *probe);
/// Gives `link` to the cache, in front of its chain. @return always 0
int tovLinkHashCreate(PathlinkObj *link);

/// @return how many links the cache holds
size_t toviLinkCount(void);

/// Tells whether a cached object is taken to define `element`: TOV_OK present, TOV_ATTRIBUTE_NOT_ASSIGNED
/// absent.
int tovVekinfoElementExists(const VekinfoObj *obj, const char *element);

VEK_END_DECLS

#endif
