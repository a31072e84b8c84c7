#ifndef RYNI_STAT_CACHE_H
#define RYNI_STAT_CACHE_H

/// The stat cache: a hash table of stat() and access() results, with the path as key. Paths are compared as texts, so
/// "/a" and "/a/" have separate entries.

#include "common/containers/vek_hash.h"
#include "libdef/ryn.h"

#include <sys/stat.h>

VEK_BEGIN_DECLS

/// One entry of the stat cache: the results of stat() and access() for one path.
typedef struct ryniStatEntry {
    struct ryniStatEntry *next;
    char *path;              ///< as the caller spelled it
    uint32_t flags;          ///< the cached results, RYNI_STAT_... values
    struct stat *statRecord; ///< null until stat() is called for the path

    // Internal fields, after the fields whose order is documented. They store the errno values of failed calls.
    int statError;
    int accessErrors[4]; ///< for R_OK, W_OK, X_OK and F_OK, in the order of the flags
} ryniStatEntry;

/// Values of ryniStatEntry::flags. For stat() and for each mode of access(), one flag means that the call succeeded,
/// and one that it failed. If neither flag is set, the call has not been made yet.
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

/// Switches the process-wide stat cache on if the environment variable RYN_STAT_CACHE_ON is set to any value except
/// "no". Otherwise switches the cache off and removes all its entries.
void ryni_getenv_stat_cache(void);

/// Calls stat() for `path`, or returns the result that the process-wide stat cache contains.
///
/// @param registry  its fatal handler is called if the cache cannot be used; may be null
/// @param record    receives the stat record; may be null
/// @param errorOut  receives 0 or the errno value of stat(); may be null
/// @return 0; -1 if stat() failed; RYN_INTERNAL_ERROR if `path` is null; RYN_MEMORY_ERROR if memory is exhausted
int sStat(const rynRegistry *registry, const char *path, struct stat *record, int *errorOut);

/// Calls access() for `path`, or returns the result that the process-wide stat cache contains.
///
/// @param registry  its fatal handler is called if the cache cannot be used; may be null
/// @param mode      as for ryn::StatCache::access()
/// @param errorOut  receives 0 or the errno value of access(); may be null
/// @return 0; -1 if access() failed; RYN_INTERNAL_ERROR if `path` is null; RYN_MEMORY_ERROR if memory is exhausted
int sAccess(const rynRegistry *registry, const char *path, int mode, int *errorOut);

/// Removes the entry of `path` from the process-wide stat cache. Does nothing if `path` is null.
void sDeleteStatEntry(const char *path);

VEK_END_DECLS

namespace ryn {

/// The result of stat() or access(), from the system call or from the stat cache.
struct CallResult {
    int error = 0; ///< 0 or an errno value
    /// RYN_INTERNAL_ERROR if the path was null (`error` is EFAULT). RYN_MEMORY_ERROR if memory was exhausted (`error`
    /// is ENOMEM). Both have been reported to the fatal handler. In all other cases, RYN_OK.
    int reportedCode = RYN_OK;

    /// @return the value that sStat() and sAccess() return: 0 after a success; `reportedCode` if the cache could not be
    ///         used; otherwise -1
    [[nodiscard]] int status() const {
        if (error == 0) {
            return 0;
        }
        return reportedCode != RYN_OK ? reportedCode : -1;
    }
};

/// A cache of stat() and access() results, in a hash table with the path as key. The cache is on while its use counter
/// is above 0.
/// A path that does not fit into VEK_PATH_SIZE bytes is not cached, because system calls do not accept it. A failure
/// that is read from the cache does not set errno.
class StatCache {
  public:
    [[nodiscard]] bool isOn() const { return users_ > 0; }

    /// Switches the cache on or off by setting its use counter to 1 or 0. Switching it off removes all entries.
    void turn(bool on);
    /// Increments the use counter, so that the cache is on.
    /// @return the new value of the counter
    int addUser();
    /// Decrements the use counter, unless it is 0. If the counter is then 0, the cache is off, and all entries are
    /// removed.
    /// @return the new value of the counter
    int removeUser();

    /// Returns the cached result of stat() for `path`. If none is cached, calls stat() and caches the result.
    /// @param registry  its fatal handler is called if `path` is null or memory is exhausted; may be null
    /// @param record    receives the stat record; undefined after a failure; may be null
    CallResult stat(const rynRegistry *registry, const char *path, struct stat *record);

    /// Returns the cached result of access() for `path` and `mode`. If none is cached, calls access() and caches the
    /// result.
    /// @param registry  its fatal handler is called if `path` is null or memory is exhausted; may be null
    /// @param mode      F_OK, R_OK, W_OK or X_OK. Documented: for a combination such as R_OK | W_OK, no result is
    ///                  cached. If the cache has an entry for `path`, the result is success, without a system call
    CallResult access(const rynRegistry *registry, const char *path, int mode);

    /// Removes the entry of `path`, if there is one. Does nothing if `path` is null.
    void remove(const char *path);

    /// Returns the entry of `path`, or null if `path` has no entry. Makes no system call.
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
