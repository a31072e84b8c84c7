// Implements the stat cache: a process-wide, intrusive hash table of stat() and access() results, with the path as key.
// An entry stores the stat record of its path and, for each access mode, success or the errno value of the failure. An
// entry is kept until its path is removed or the cache is switched off.

#include "libdef/paths/ryni_stat_cache.h"

#include "common/base/owned.h"
#include "common/containers/vek_string_hash.h"
#include "common/text/ascii.h"
#include "libdef/registry/ryni_error.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <unistd.h>

using vek::Owned;
using vek::OwnedText;

static_assert(offsetof(ryniStatEntry, path) == 8 && offsetof(ryniStatEntry, flags) == 16 &&
                  offsetof(ryniStatEntry, statRecord) == 24,
              "the documented fields are in the documented order");

constinit ryn::StatCache ryn::statCache;

namespace {

using ryn::CallResult;

constexpr int kBuckets = 16;
constexpr int kDefaultLoadFactor = 0;

/// A mode of access() whose result is cached, and the two RYNI_STAT_ flags that an entry has for success and failure.
struct CachedMode {
    int mode;
    uint32_t success;
    uint32_t failure;
};
constexpr std::array<CachedMode, 4> kCachedModes = {{
    {R_OK, RYNI_STAT_READABLE, RYNI_STAT_NOT_READABLE},
    {W_OK, RYNI_STAT_WRITABLE, RYNI_STAT_NOT_WRITABLE},
    {X_OK, RYNI_STAT_EXECUTABLE, RYNI_STAT_NOT_EXECUTABLE},
    {F_OK, RYNI_STAT_EXISTS, RYNI_STAT_NOT_EXISTS},
}};

/// @return the index of `mode` in kCachedModes; kCachedModes.size() if `mode` is not there, such as R_OK | W_OK
std::size_t indexOf(int mode) {
    std::size_t index = 0;
    while (index < kCachedModes.size() && kCachedModes[index].mode != mode) {
        ++index;
    }
    return index;
}

/// A search key of the hash table: a copy of the path, aligned to 8 bytes. The paths of the entries have the same
/// alignment, because malloc() allocates them.
/// Equal paths must have equal alignments, because otherwise vekHashString32() returns different hashes for a path that
/// contains bytes above 0x7F.
class Key {
  public:
    explicit Key(const char *path) : entry_{} { // NOLINT(cppcoreguidelines-pro-type-member-init)
        const std::size_t size = std::strlen(path) + 1;
        if (size <= buffer_.size()) {
            std::memcpy(buffer_.data(), path, size);
            entry_.path = buffer_.data();
        }
    }
    Key(const Key &) = delete;
    Key &operator=(const Key &) = delete;

    [[nodiscard]] bool fits() const { return entry_.path != nullptr; }
    [[nodiscard]] const ryniStatEntry *entry() const { return &entry_; }
    [[nodiscard]] const char *path() const { return entry_.path; }

  private:
    ryniStatEntry entry_;
    alignas(std::uint64_t) std::array<char, VEK_PATH_SIZE> buffer_;
};

uint32_t hashPath(const void *key, const vekHashTable * /*table*/) {
    return vekHashString32(static_cast<const ryniStatEntry *>(key)->path);
}

int equalPaths(const void *entry, const void *key) {
    return std::strcmp(static_cast<const ryniStatEntry *>(entry)->path,
                       static_cast<const ryniStatEntry *>(key)->path) == 0
               ? 1
               : 0;
}

ryniStatEntry *probe(vekHashTable &table, const Key &key) {
    return static_cast<ryniStatEntry *>(vekHashProbe(&table, key.entry()));
}

/// Inserts a new entry for the path of `key`. The preceding operation on `table` must be a probe() for `key` that found
/// nothing, because probe() stores the bucket for the insertion.
/// @return the entry; null if memory is exhausted
ryniStatEntry *createAfterProbe(vekHashTable &table, const Key &key) {
    OwnedText path = vek::copyText(key.path());
    Owned<ryniStatEntry> entry(static_cast<ryniStatEntry *>(std::calloc(1, sizeof(ryniStatEntry))));
    if (!path || !entry) {
        return nullptr;
    }
    entry->path = path.release();
    static_cast<void>(vekHashCreateAfterProbe(&table, entry.get()));
    return entry.release();
}

/// Overwrites `size` bytes with zero bytes. Writes through a volatile pointer, because the compiler may remove a
/// memset() of memory that is freed afterwards.
void wipe(void *memory, std::size_t size) {
    volatile char *const bytes = static_cast<char *>(memory);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = '\0';
    }
}

/// Frees `entry`, its path and its stat record. Documented: their memory is overwritten with zero bytes before it is
/// freed.
void release(ryniStatEntry *entry) {
    if (entry->statRecord != nullptr) {
        wipe(entry->statRecord, sizeof *entry->statRecord);
        std::free(entry->statRecord);
    }
    wipe(entry->path, std::strlen(entry->path));
    std::free(entry->path);
    wipe(entry, sizeof *entry);
    std::free(entry);
}

/// Converts `returned`, the result of a system call, to a CallResult. Reads errno, so no other call may be made between
/// the system call and this function.
CallResult resultOf(int returned) {
    return {.error = returned == 0 ? 0 : errno};
}

CallResult reportNullPath(const rynRegistry *registry, const char *context) {
    return {.error = EFAULT, .reportedCode = ryni_do_fatal(registry, RYN_INTERNAL_ERROR, context)};
}

CallResult reportNoMemory(const rynRegistry *registry, const char *context) {
    return {.error = ENOMEM, .reportedCode = ryni_do_fatal(registry, RYN_MEMORY_ERROR, context)};
}

/// Calls stat() for the path of `entry`. Stores the stat record or the errno value in `entry`.
/// @return false if memory is exhausted
bool storeStat(ryniStatEntry &entry) {
    entry.statRecord = static_cast<struct stat *>(std::calloc(1, sizeof(struct stat)));
    if (entry.statRecord == nullptr) {
        return false;
    }
    entry.statError = resultOf(stat(entry.path, entry.statRecord)).error;
    entry.flags |= entry.statError == 0 ? RYNI_STAT_DONE : RYNI_STAT_FAILED;
    return true;
}

/// Returns the result of access() for the path of `entry`. If the result for `mode` is cached, makes no system call.
/// Otherwise calls access(), and caches the result if `mode` is in kCachedModes.
CallResult accessEntry(ryniStatEntry &entry, int mode) {
    const std::size_t index = indexOf(mode);
    if (index < kCachedModes.size()) {
        if ((entry.flags & kCachedModes[index].success) != 0) {
            return {};
        }
        if ((entry.flags & kCachedModes[index].failure) != 0) {
            return {.error = entry.accessErrors[index]};
        }
    }
    const CallResult result = resultOf(access(entry.path, mode));
    if (index < kCachedModes.size()) {
        entry.flags |= result.error == 0 ? kCachedModes[index].success : kCachedModes[index].failure;
        entry.accessErrors[index] = result.error;
    }
    return result;
}

int storeError(const CallResult &result, int *errorOut) {
    if (errorOut != nullptr) {
        *errorOut = result.error;
    }
    return result.status();
}

} // namespace

namespace ryn {

void StatCache::turn(bool on) {
    users_ = on ? 1 : 0;
    if (!on) {
        clear();
    }
}

int StatCache::addUser() {
    if (users_ < INT_MAX) {
        ++users_;
    }
    return users_;
}

int StatCache::removeUser() {
    if (users_ > 0) {
        --users_;
    }
    if (users_ == 0) {
        clear();
    }
    return users_;
}

CallResult StatCache::stat(const rynRegistry *registry, const char *path, struct stat *record) {
    constexpr const char *kContext = "sStat()";
    if (path == nullptr) {
        return reportNullPath(registry, kContext);
    }
    const Key key(path);
    if (!key.fits()) {
        struct stat unused; // NOLINT(cppcoreguidelines-pro-type-member-init): stat() fills it
        return resultOf(::stat(path, record != nullptr ? record : &unused));
    }
    if (!haveTable()) {
        return reportNoMemory(registry, kContext);
    }
    ryniStatEntry *entry = probe(*table_, key);
    if (entry == nullptr) {
        entry = createAfterProbe(*table_, key);
    }
    if (entry == nullptr || (entry->statRecord == nullptr && !storeStat(*entry))) {
        return reportNoMemory(registry, kContext);
    }
    if (record != nullptr) {
        *record = *entry->statRecord;
    }
    return {.error = entry->statError};
}

CallResult StatCache::access(const rynRegistry *registry, const char *path, int mode) {
    constexpr const char *kContext = "sAccess()";
    if (path == nullptr) {
        return reportNullPath(registry, kContext);
    }
    const Key key(path);
    if (!key.fits()) {
        return resultOf(::access(path, mode));
    }
    if (!haveTable()) {
        return reportNoMemory(registry, kContext);
    }
    ryniStatEntry *entry = probe(*table_, key);
    if (entry != nullptr && indexOf(mode) == kCachedModes.size()) {
        return {}; // Documented: success without a test for a combination of modes, if the cache has the path.
    }
    if (entry == nullptr) {
        entry = createAfterProbe(*table_, key);
    }
    return entry == nullptr ? reportNoMemory(registry, kContext) : accessEntry(*entry, mode);
}

void StatCache::remove(const char *path) {
    if (path == nullptr || table_ == nullptr) {
        return;
    }
    const Key key(path);
    if (!key.fits()) {
        return;
    }
    if (auto *const entry = static_cast<ryniStatEntry *>(vekHashDelete(table_, key.entry()))) {
        release(entry);
    }
}

const ryniStatEntry *StatCache::find(const char *path) const {
    if (path == nullptr || table_ == nullptr) {
        return nullptr;
    }
    const Key key(path);
    return key.fits() ? probe(*table_, key) : nullptr;
}

bool StatCache::haveTable() {
    if (table_ != nullptr) {
        return true;
    }
    Owned<vekHashTable> table(static_cast<vekHashTable *>(std::malloc(sizeof(vekHashTable))));
    if (!table) {
        return false;
    }
    vekHashAllocTable(table.get(), kBuckets, kDefaultLoadFactor, offsetof(ryniStatEntry, next), equalPaths,
                      hashPath);
    if (table->buckets == nullptr) {
        return false;
    }
    table_ = table.release();
    return true;
}

void StatCache::clear() {
    if (table_ == nullptr) {
        return;
    }
    for (int32_t i = 0; i < table_->bucketCount; ++i) {
        auto *entry = static_cast<ryniStatEntry *>(table_->buckets[i]);
        while (entry != nullptr) {
            ryniStatEntry *const next = entry->next;
            release(entry);
            entry = next;
        }
    }
    vekHashFreeTable(table_);
    std::free(table_);
    table_ = nullptr;
}

} // namespace ryn

// ---- the process-wide cache

void ryni_getenv_stat_cache(void) {
    const char *const value = std::getenv("RYN_STAT_CACHE_ON");
    ryn::statCache.turn(value != nullptr && !vek::equalNoCase(value, "no"));
}

int rynStatCacheCtl(int on) {
    return on != 0 ? ryn::statCache.addUser() : ryn::statCache.removeUser();
}

int sStat(const rynRegistry *registry, const char *path, struct stat *record, int *errorOut) {
    return storeError(ryn::statCache.stat(registry, path, record), errorOut);
}

int sAccess(const rynRegistry *registry, const char *path, int mode, int *errorOut) {
    return storeError(ryn::statCache.access(registry, path, mode), errorOut);
}

void sDeleteStatEntry(const char *path) {
    ryn::statCache.remove(path);
}
