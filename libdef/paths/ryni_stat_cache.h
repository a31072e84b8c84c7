#ifndef RYNI_STAT_CACHE_H
#define RYNI_STAT_CACHE_H

/// The stat cache: the results of stat() and access() by path, as the path is spelled.

#include "common/containers/vek_hash.h"
#include "libdef/ryn.h"

#include <sys/stat.h>

VEK_BEGIN_DECLS

/// What is known of a path.
typedef struct ryniStatEntry {
    struct ryniStatEntry *next;
    char *path;              ///< as it was given
    uint32_t flags;          ///< RYNI_STAT_...
    struct stat *statRecord; ///< null if stat() was not called

    // Internal fields, placed after the documented ones: the errno values of cached failures.
    int statError;
    int accessErrors[4]; ///< in the order of the flags
} ryniStatEntry;

/// Flags of an entry.
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

/// Switches the process-wide cache on or off, as the environment variable RYN_STAT_CACHE_ON says. Off empties it.
void ryni_getenv_stat_cache(void);

/// ryn::StatCache::stat() of the process-wide cache.
///
/// @param errorOut  receives 0 or an errno value; may be null
/// @return 0, -1, RYN_INTERNAL_ERROR or RYN_MEMORY_ERROR: ryn::CallResult::status()
int sStat(const rynRegistry *registry, const char *path, struct stat *record, int *errorOut);

/// ryn::StatCache::access() of the process-wide cache, otherwise like sStat().
int sAccess(const rynRegistry *registry, const char *path, int mode, int *errorOut);

/// Removes `path` from the process-wide cache. Null is ignored.
void sDeleteStatEntry(const char *path);

VEK_END_DECLS

namespace ryn {

/// Result of a system call, or of its cached result.
struct CallResult {
    int error = 0; ///< 0 or an errno value
    int reportedCode =
        RYN_OK; ///< RYN_INTERNAL_ERROR or RYN_MEMORY_ERROR if the cache could not be used and has
                ///< reported that; `error` is then EFAULT or ENOMEM

    /// @return the result of the documented functions: 0, the reported code, or -1
    [[nodiscard]] int status() const {
        if (error == 0) {
            return 0;
        }
        return reportedCode != RYN_OK ? reportedCode : -1;
    }
};

/// A hash table of paths, and its switch. A path that does not fit into VEK_PATH_SIZE bytes is not cached: no system
/// call accepts it. errno is as the system call set it; a cached failure does not set it.
class StatCache {
  public:
    [[nodiscard]] bool isOn() const { return users_ > 0; }

    /// Sets the switch. Off empties the cache.
    void turn(bool on);
    /// Increments the switch. @return its value
    int addUser();
    /// Decrements the switch, not below 0. At 0 the cache is emptied. @return its value
    int removeUser();

    /// @param registry  receives reports; may be null
    /// @param record    receives the stat record; after a failure its content is undefined; may be null
    CallResult stat(const rynRegistry *registry, const char *path, struct stat *record);

    /// @param mode  0, R_OK, W_OK or X_OK. Documented: any other mode is not cached, and succeeds without a system call
    ///              for a path that is in the cache
    CallResult access(const rynRegistry *registry, const char *path, int mode);

    /// Removes a path. Null is ignored.
    void remove(const char *path);

    /// @return the entry, or null; makes no system call
    [[nodiscard]] const ryniStatEntry *find(const char *path) const;

  private:
    bool haveTable();
    void clear();

    int users_ = 0;                 ///< the switch: the cache is on while it is 1 or more
    vekHashTable *table_ = nullptr; ///< null while the cache is empty
};

/// The process-wide cache.
extern StatCache statCache;

} // namespace ryn

#endif
