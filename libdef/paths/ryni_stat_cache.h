#ifndef RYNI_STAT_CACHE_H
#define RYNI_STAT_CACHE_H

/// The stat cache: the results of stat() and access(), in a hash table by path. Two spellings of a path are two
/// entries.

#include "common/containers/vek_hash.h"
#include "libdef/ryn.h"

#include <sys/stat.h>

VEK_BEGIN_DECLS

/// The cached results of one path.
typedef struct ryniStatEntry {
    struct ryniStatEntry *next;
    char *path;              ///< as the caller spelled it
    uint32_t flags;          ///< the cached results, RYNI_STAT_... values
    struct stat *statRecord; ///< null until stat() is called for the path

    // Internal fields, placed after the documented ones: the errno values of cached failures.
    int statError;
    int accessErrors[4]; ///< for R_OK, W_OK, X_OK and F_OK, in the order of the flags
} ryniStatEntry;

/// Flags of an entry: one for success and one for failure of each cached call. Neither is set before the call.
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

/// Switches the process-wide cache on if the environment variable RYN_STAT_CACHE_ON is set and is not "no"; otherwise
/// switches it off, which empties it.
void ryni_getenv_stat_cache(void);

/// Calls stat() for `path` through the process-wide cache.
///
/// @param errorOut  receives 0 or an errno value; may be null
/// @return 0; -1 if stat() failed; RYN_INTERNAL_ERROR or RYN_MEMORY_ERROR, after reporting it, if the cache cannot be
///         used
int sStat(const rynRegistry *registry, const char *path, struct stat *record, int *errorOut);

/// Calls access() for `path` through the process-wide cache. `errorOut` and the result are as for sStat().
///
/// @param mode  as for ryn::StatCache::access()
int sAccess(const rynRegistry *registry, const char *path, int mode, int *errorOut);

/// Removes `path` from the process-wide cache. Null is ignored.
void sDeleteStatEntry(const char *path);

VEK_END_DECLS

namespace ryn {

/// Result of stat() or access(), from the system call or from the cache.
struct CallResult {
    int error = 0; ///< 0 or an errno value
    int reportedCode =
        RYN_OK; ///< RYN_INTERNAL_ERROR or RYN_MEMORY_ERROR if the cache could not be used and this
                ///< was reported; `error` is then EFAULT or ENOMEM

    /// @return the result as sStat() and sAccess() return it: 0, the reported code, or -1
    [[nodiscard]] int status() const {
        if (error == 0) {
            return 0;
        }
        return reportedCode != RYN_OK ? reportedCode : -1;
    }
};

/// A hash table of paths, and a use counter: the cache is on while the counter is above 0. A path that does not fit
/// into VEK_PATH_SIZE bytes is not cached: no system call accepts it. System calls set errno; a cached failure does
/// not.
class StatCache {
  public:
    [[nodiscard]] bool isOn() const { return users_ > 0; }

    /// Sets the use counter to 1 (on), or to 0 (off), which empties the cache.
    void turn(bool on);
    /// Increments the use counter. @return the new value
    int addUser();
    /// Decrements the use counter unless it is 0. If it is then 0, empties the cache. @return the new value
    int removeUser();

    /// Returns the cached result of stat() for `path`; calls stat() first if none is cached.
    /// @param registry  its handlers receive reports; may be null
    /// @param record    receives the stat record; after a failure its content is undefined; may be null
    CallResult stat(const rynRegistry *registry, const char *path, struct stat *record);

    /// Returns the cached result of access() for `path` and `mode`; calls access() first if none is cached.
    /// @param registry  its handlers receive reports; may be null
    /// @param mode      F_OK, R_OK, W_OK or X_OK. Documented: the result for a combination of these is not cached, and
    ///                  it is success without a system call if the cache has an entry for the path
    CallResult access(const rynRegistry *registry, const char *path, int mode);

    /// Removes the entry of `path`, if there is one. Null is ignored.
    void remove(const char *path);

    /// @return the entry of `path`, or null; makes no system call
    [[nodiscard]] const ryniStatEntry *find(const char *path) const;

  private:
    bool haveTable();
    void clear();

    int users_ = 0;                 ///< the use counter: the cache is on while it is above 0
    vekHashTable *table_ = nullptr; ///< null while the cache is empty
};

/// The process-wide cache.
extern StatCache statCache;

} // namespace ryn

#endif
