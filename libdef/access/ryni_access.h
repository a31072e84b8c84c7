#ifndef RYNI_ACCESS_H
#define RYNI_ACCESS_H

/// Access to libraries and what is in them: what may be read, written or replaced, and the directories that are
/// made on the way. The answers of the system are remembered, per path as it is written, while the process-wide
/// stat cache is on (rynStatCacheCtl()).

#include "libdef/ryn.h"

#include <sys/stat.h>

VEK_BEGIN_DECLS

/// Kinds of access of ryni_access_path().
enum {
    RYNI_ACCESS_READ = 0,
    RYNI_ACCESS_WRITE = 1,  ///< missing cell and view directories are made
    RYNI_ACCESS_REPLACE = 6 ///< the object exists and may be put another one in its place
};

/// Levels of ryniMkdir().
enum { RYNI_LEVEL_LIBRARY = 0, RYNI_LEVEL_CELL = 1, RYNI_LEVEL_VIEW = 2 };

/// Records the effective user and group of the process, which decide what mode bits grant.
void ryni_setUidGid(void);

/// Tests an access to `path`, following links, without a system call where the mode bits grant it.
///
/// @param handle      receives reports of misuse; may be null
/// @param mode        a mode of access()
/// @param statRecord  what stat() said of `path`, or null to ask for it
/// @return 0, or -1 with `errno` as the failing call set it; a failure that is remembered leaves `errno` alone
///         (ryniAccessError() knows it). RYN_INTERNAL_ERROR or RYN_MEMORY_ERROR, reported, when the cache could
///         not be asked
int ryni_quick_access(const rynRegistry *handle, const char *path, int mode, const struct stat *statRecord);

/// @return why the last ryni_quick_access() failed, as an `errno` value, also when the failure was remembered; 0
///         when it did not fail
int ryniAccessError(void);

/// Makes a directory, if it is missing, gives it the handle's permissions, if there are any, and tests that it
/// may be written to.
///
/// @param level  RYNI_LEVEL_...: decides the code of a denied permission, which any other level lets pass
/// @return RYN_OK, the level's code, or RYN_SYSTEM_ERROR
int ryniMkdir(const rynRegistry *handle, const char *path, int level);

/// Joins the path of a design object and tests whether it can be accessed.
///
/// @param resultPath        null, or VEK_PATH_SIZE bytes that receive the path; untouched after a failure
/// @param accessKind        RYNI_ACCESS_...
/// @param cell, view, file  null or empty when not wanted
/// @return RYN_OK, a code of ryni_mkpath(), or the code for the object, or the one above it, that failed
int ryni_access_path(const rynRegistry *handle, char *resultPath, int accessKind,
                     const char *libraryDirectory, const char *cell, const char *view, const char *file);

// ---- stat cache

/// What is known of a path.
typedef struct ryniStatEntry {
    struct ryniStatEntry *next;
    char *path;              ///< as it was given
    uint32_t flags;          ///< RYNI_STAT_...
    struct stat *statRecord; ///< null until stat() was asked

    // Why it failed, behind what is documented.
    int statError;
    int accessErrors[4]; ///< in the order of the flags
} ryniStatEntry;

/// Results that a stat entry knows.
enum {
    RYNI_STAT_DONE = 0x1,
    RYNI_STAT_FAILED = 0x2,
    RYNI_STAT_READABLE = 0x4,
    RYNI_STAT_NOT_READABLE = 0x8,
    RYNI_STAT_WRITABLE = 0x10,
    RYNI_STAT_NOT_WRITABLE = 0x20,
    RYNI_STAT_EXECUTABLE = 0x40,
    RYNI_STAT_NOT_EXECUTABLE = 0x80,
    RYNI_STAT_EXISTS = 0x100,
    RYNI_STAT_NOT_EXISTS = 0x200
};

/// Sets the switch of the cache to 1 or 0 as `RYN_STAT_CACHE_ON` says; 0 purges the cache.
void ryni_getenv_stat_cache(void);

/// @return 1 while the cache is in use
int ryniStatCacheInUse(void);

/// stat() through the cache.
///
/// @param handle    receives reports; may be null
/// @param result    receives the record, also the one of a failure, which says nothing; may be null
/// @param errorOut  receives 0 or the reason, an `errno` value, also of a remembered failure; may be null
/// @return 0; -1 after a failure, with `errno` set unless it was remembered; RYN_INTERNAL_ERROR for a null path
///         and RYN_MEMORY_ERROR, both reported
int sStat(const rynRegistry *handle, const char *path, struct stat *result, int *errorOut);

/// access() through the cache, otherwise like sStat(). Only the modes 0, 1, 2 and 4 are remembered; any other one
/// passes unasked for a path that is in the cache.
int sAccess(const rynRegistry *handle, const char *path, int mode, int *errorOut);

/// Forgets what is known of `path`. Null is ignored.
void sDeleteStatEntry(const char *path);

/// @return what is known of `path`, or null; the system is not asked
const ryniStatEntry *ryniFindStatEntry(const char *path);

VEK_END_DECLS

#endif
