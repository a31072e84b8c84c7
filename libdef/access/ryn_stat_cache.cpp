// The stat cache: what stat() and access() said of a path, until the switch goes back to 0.

#include "libdef/access/ryni_access.h"

#include "common/base/owned.h"
#include "common/containers/vek_hash.h"
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
              "the fields stand in their documented order");

static struct {
    int users;           ///< the switch: the cache is in use while this is 1 or more
    vekHashTable *table; ///< null until something is remembered
} statCache;

namespace {

constexpr int kBuckets = 16;
constexpr int kDefaultLoadFactor = 0;

/// A mode of access() that is remembered, and its flags.
struct RememberedMode {
    int mode;
    uint32_t success;
    uint32_t failure;
};
constexpr std::array<RememberedMode, 4> kRememberedModes = {{
    {R_OK, RYNI_STAT_READABLE, RYNI_STAT_NOT_READABLE},
    {W_OK, RYNI_STAT_WRITABLE, RYNI_STAT_NOT_WRITABLE},
    {X_OK, RYNI_STAT_EXECUTABLE, RYNI_STAT_NOT_EXECUTABLE},
    {F_OK, RYNI_STAT_EXISTS, RYNI_STAT_NOT_EXISTS},
}};

/// The index of `mode`, or one past the last when it is not remembered.
std::size_t indexOf(int mode) {
    std::size_t index = 0;
    while (index < kRememberedModes.size() && kRememberedModes[index].mode != mode) {
        ++index;
    }
    return index;
}

/// An entry that stands for a path in a look-up. The path is held at a multiple of 8, as the paths of entries
/// are by malloc(): the hash of bytes above 0x7F depends on that.
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

    /// No system call takes a longer path, so that there is nothing to remember of one.
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

/// The entry of the key, or null. The table remembers where it belongs.
ryniStatEntry *find(const Key &key) {
    return static_cast<ryniStatEntry *>(vekHashProbe(statCache.table, key.entry()));
}

void release(ryniStatEntry *entry) {
    // Not memset(), which a compiler may leave out in front of free().
    if (entry->statRecord != nullptr) {
        explicit_bzero(entry->statRecord, sizeof *entry->statRecord);
        std::free(entry->statRecord);
    }
    explicit_bzero(entry->path, std::strlen(entry->path));
    std::free(entry->path);
    explicit_bzero(entry, sizeof *entry);
    std::free(entry);
}

bool haveTable() {
    if (statCache.table != nullptr) {
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
    statCache.table = table.release();
    return true;
}

/// A new entry for a key that find() has just not found; null when memory is exhausted.
ryniStatEntry *create(const Key &key) {
    OwnedText path = vek::copyText(key.path());
    Owned<ryniStatEntry> entry(static_cast<ryniStatEntry *>(std::calloc(1, sizeof(ryniStatEntry))));
    if (!path || !entry) {
        return nullptr;
    }
    entry->path = path.release();
    static_cast<void>(vekHashCreateAfterProbe(statCache.table, entry.get()));
    return entry.release();
}

void purge() {
    if (statCache.table == nullptr) {
        return;
    }
    for (int32_t i = 0; i < statCache.table->bucketCount; ++i) {
        auto *entry = static_cast<ryniStatEntry *>(statCache.table->buckets[i]);
        while (entry != nullptr) {
            ryniStatEntry *const next = entry->next;
            release(entry);
            entry = next;
        }
    }
    vekHashFreeTable(statCache.table);
    std::free(statCache.table);
    statCache.table = nullptr;
}

void store(int *errorOut, int error) {
    if (errorOut != nullptr) {
        *errorOut = error;
    }
}

/// The result of a system call that was just made. `errno` stays as it is.
int answerOf(int result, int *errorOut) {
    store(errorOut, result == 0 ? 0 : errno);
    return result;
}

int outOfMemory(const rynRegistry *handle, const char *context, int *errorOut) {
    store(errorOut, ENOMEM);
    return ryni_do_fatal(handle, RYN_MEMORY_ERROR, context);
}

/// Asks the system about the entry's path, and remembers the answer.
int askAccess(ryniStatEntry &entry, int mode, int *errorOut) {
    const int result = answerOf(access(entry.path, mode), errorOut);
    const std::size_t index = indexOf(mode);
    if (index < kRememberedModes.size()) {
        entry.flags |= result == 0 ? kRememberedModes[index].success : kRememberedModes[index].failure;
        entry.accessErrors[index] = result == 0 ? 0 : errno;
    }
    return result;
}

/// Answers from the entry, as far as it knows.
int recallAccess(ryniStatEntry &entry, int mode, int *errorOut) {
    const std::size_t index = indexOf(mode);
    if (index >= kRememberedModes.size()) {
        // A combined mode passes without a test for a path that is known. This is intended.
        store(errorOut, 0);
        return 0;
    }
    const RememberedMode &remembered = kRememberedModes[index];
    if ((entry.flags & remembered.success) != 0) {
        store(errorOut, 0);
        return 0;
    }
    if ((entry.flags & remembered.failure) != 0) {
        store(errorOut, entry.accessErrors[index]);
        return -1;
    }
    return askAccess(entry, mode, errorOut);
}

/// Asks the system about the entry's path, and remembers the answer. @return false when memory is exhausted
bool askStat(ryniStatEntry &entry) {
    entry.statRecord = static_cast<struct stat *>(std::calloc(1, sizeof(struct stat)));
    if (entry.statRecord == nullptr) {
        return false;
    }
    const bool succeeds = stat(entry.path, entry.statRecord) == 0;
    entry.statError = succeeds ? 0 : errno;
    entry.flags |= succeeds ? RYNI_STAT_DONE : RYNI_STAT_FAILED;
    return true;
}

} // namespace

void ryni_getenv_stat_cache(void) {
    const char *const value = std::getenv("RYN_STAT_CACHE_ON");
    statCache.users = value != nullptr && !vek::equalNoCase(value, "no") ? 1 : 0;
    if (statCache.users == 0) {
        purge();
    }
}

int ryniStatCacheInUse(void) {
    return statCache.users > 0 ? 1 : 0;
}

int rynStatCacheCtl(int on) {
    if (on != 0) {
        if (statCache.users < INT_MAX) {
            ++statCache.users;
        }
        return statCache.users;
    }
    if (statCache.users > 0) {
        --statCache.users;
    }
    if (statCache.users == 0) {
        purge();
    }
    return statCache.users;
}

int sStat(const rynRegistry *handle, const char *path, struct stat *result, int *errorOut) {
    if (path == nullptr) {
        store(errorOut, EFAULT);
        return ryni_do_fatal(handle, RYN_INTERNAL_ERROR, "sStat()");
    }
    const Key key(path);
    if (!key.fits()) {
        struct stat unused; // NOLINT(cppcoreguidelines-pro-type-member-init): stat() fills it
        return answerOf(stat(path, result != nullptr ? result : &unused), errorOut);
    }
    if (!haveTable()) {
        return outOfMemory(handle, "sStat()", errorOut);
    }
    ryniStatEntry *entry = find(key);
    if (entry == nullptr) {
        entry = create(key);
    }
    if (entry == nullptr || (entry->statRecord == nullptr && !askStat(*entry))) {
        return outOfMemory(handle, "sStat()", errorOut);
    }
    if (result != nullptr) {
        *result = *entry->statRecord;
    }
    store(errorOut, entry->statError);
    return (entry->flags & RYNI_STAT_DONE) != 0 ? 0 : -1;
}

int sAccess(const rynRegistry *handle, const char *path, int mode, int *errorOut) {
    if (path == nullptr) {
        store(errorOut, EFAULT);
        return ryni_do_fatal(handle, RYN_INTERNAL_ERROR, "sAccess()");
    }
    const Key key(path);
    if (!key.fits()) {
        return answerOf(access(path, mode), errorOut);
    }
    if (!haveTable()) {
        return outOfMemory(handle, "sAccess()", errorOut);
    }
    ryniStatEntry *entry = find(key);
    if (entry != nullptr) {
        return recallAccess(*entry, mode, errorOut);
    }
    entry = create(key);
    return entry == nullptr ? outOfMemory(handle, "sAccess()", errorOut) : askAccess(*entry, mode, errorOut);
}

void sDeleteStatEntry(const char *path) {
    if (path == nullptr || statCache.table == nullptr) {
        return;
    }
    const Key key(path);
    auto *const entry =
        key.fits() ? static_cast<ryniStatEntry *>(vekHashDelete(statCache.table, key.entry())) : nullptr;
    if (entry != nullptr) {
        release(entry);
    }
}

const ryniStatEntry *ryniFindStatEntry(const char *path) {
    if (path == nullptr) {
        return nullptr;
    }
    const Key key(path);
    return key.fits() ? find(key) : nullptr;
}
