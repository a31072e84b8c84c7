// The stat cache.

#include "libdef/paths/ryni_stat_cache.h"

#include "libdef/paths/ryni_quick_access.h"
#include "libdef/registry/ryni_registry.h"
#include "tests/support/capture.h"
#include "tests/support/environment.h"
#include "tests/support/faults.h"
#include "tests/support/sandbox.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <gtest/gtest.h>
#include <malloc.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace faults = test::faults;

namespace {

/// The blocks that free() received while this is on: size, and whether all bytes were zero.
struct Freed {
    std::size_t size;
    bool zero;
};
struct {
    bool on = false;
    std::size_t count = 0;
    std::array<Freed, 64> blocks = {};
} freed;

struct ErrorReport {
    int code;
    std::string text, sameText;
};
std::vector<ErrorReport> reports;

int keepReport(int code, const char *text, const char *sameText) {
    reports.push_back({code, text, sameText});
    return 0;
}

/// A registry that records its fatal reports.
struct Reporting {
    rynRegistry registry = {};
    Reporting() {
        reports.clear();
        registry.fatalHandler = keepReport;
    }
};

/// Turns the cache on, empty, while in scope.
struct Cached {
    test::Sandbox box;
    Cached() {
        while (rynStatCacheCtl(0) > 0) {
        }
        rynStatCacheCtl(1);
    }
    ~Cached() {
        while (rynStatCacheCtl(0) > 0) {
        }
    }
    Cached(const Cached &) = delete;
    Cached &operator=(const Cached &) = delete;
};

int statOf(const std::string &path, struct stat *result = nullptr, int *error = nullptr) {
    return sStat(nullptr, path.c_str(), result, error);
}
int accessOf(const std::string &path, int mode, int *error = nullptr) {
    return sAccess(nullptr, path.c_str(), mode, error);
}
const ryniStatEntry *entryOf(const std::string &path) {
    return ryn::statCache.find(path.c_str());
}
unsigned flagsOf(const std::string &path) {
    return entryOf(path) == nullptr ? 0xDEAD : entryOf(path)->flags;
}

bool isOnAfterReading(const char *value) {
    if (value == nullptr) {
        test::setEnvironment({});
    } else {
        test::setEnvironment({{"RYN_STAT_CACHE_ON", value}});
    }
    ryni_getenv_stat_cache();
    return ryn::statCache.isOn();
}

} // namespace

// Every free() of this executable calls this: it is linked with --wrap=free.
extern "C" {
void __real_free(void *memory);
void __wrap_free(void *memory) {
    if (freed.on && memory != nullptr && freed.count < freed.blocks.size()) {
        const std::size_t size = malloc_usable_size(memory);
        const auto *const bytes = static_cast<const unsigned char *>(memory);
        freed.blocks[freed.count++] = {
            size, std::all_of(bytes, bytes + size, [](unsigned char byte) { return byte == 0; })};
    }
    __real_free(memory);
}
}

// ---- the switch

TEST(StatCacheSwitch, IsOnIfTheVariableIsNotNo) {
    EXPECT_FALSE(isOnAfterReading(nullptr));
    for (const char *const off : {"no", "NO", "No", "nO"}) {
        EXPECT_FALSE(isOnAfterReading(off)) << off;
    }
    for (const char *const on : {"", "yes", "1", "0", "none", "no ", "n", "off"}) {
        EXPECT_TRUE(isOnAfterReading(on)) << "'" << on << "'";
    }
}

TEST(StatCacheSwitch, EnvironmentSetsItToOneOrZero) {
    isOnAfterReading("yes");
    rynStatCacheCtl(1);
    isOnAfterReading("yes");
    EXPECT_EQ(rynStatCacheCtl(0), 0);
    rynStatCacheCtl(1);
    isOnAfterReading("no");
    EXPECT_EQ(rynStatCacheCtl(1), 1);
    rynStatCacheCtl(0);
}

TEST(StatCacheSwitch, ZeroFromTheEnvironmentEmptiesTheCache) {
    const Cached cached;
    EXPECT_EQ(statOf("missing"), -1);
    isOnAfterReading("yes");
    EXPECT_NE(entryOf("missing"), nullptr);
    for (const char *const off : {"no", static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(statOf("missing"), -1);
        isOnAfterReading(off);
        EXPECT_EQ(entryOf("missing"), nullptr);
    }
}

TEST(StatCacheSwitch, CreationWithoutTheVariableEmptiesTheCache) {
    test::setEnvironment({});
    Cached cached;
    rynHandle handle = nullptr;
    EXPECT_EQ(ryni_quick_access(nullptr, "later", F_OK, nullptr), -1);
    ASSERT_EQ(rynInit(nullptr, 0, nullptr, nullptr, &handle), RYN_OK);
    cached.box.directory("later");
    EXPECT_EQ(rynStatCacheCtl(1), 1);
    EXPECT_EQ(ryni_quick_access(nullptr, "later", F_OK, nullptr), 0);
    rynReleaseHandle(handle);
}

TEST(StatCacheSwitch, CountsUpForEveryNonzeroValue) {
    isOnAfterReading(nullptr);
    EXPECT_FALSE(ryn::statCache.isOn());
    EXPECT_EQ(rynStatCacheCtl(1), 1);
    EXPECT_TRUE(ryn::statCache.isOn());
    EXPECT_EQ(rynStatCacheCtl(2), 2);
    EXPECT_EQ(rynStatCacheCtl(-1), 3);
    EXPECT_EQ(rynStatCacheCtl(0), 2);
    EXPECT_EQ(rynStatCacheCtl(0), 1);
    EXPECT_EQ(rynStatCacheCtl(0), 0);
    EXPECT_FALSE(ryn::statCache.isOn());
    EXPECT_EQ(rynStatCacheCtl(0), 0);
    EXPECT_EQ(rynStatCacheCtl(1), 1);
    rynStatCacheCtl(0);
}

TEST(StatCacheSwitch, LastUserEmptiesTheCache) {
    const Cached cached;
    rynStatCacheCtl(1);
    EXPECT_EQ(statOf("missing"), -1);
    EXPECT_EQ(rynStatCacheCtl(0), 1);
    EXPECT_NE(entryOf("missing"), nullptr);
    EXPECT_EQ(rynStatCacheCtl(0), 0);
    EXPECT_EQ(entryOf("missing"), nullptr);
}

TEST(StatCacheSwitch, EmptiesTheCacheAtZeroAgain) {
    const Cached cached;
    EXPECT_EQ(rynStatCacheCtl(0), 0);
    EXPECT_EQ(statOf("missing"), -1);
    EXPECT_NE(entryOf("missing"), nullptr);
    EXPECT_EQ(rynStatCacheCtl(0), 0);
    EXPECT_EQ(entryOf("missing"), nullptr);
}

TEST(StatCacheSwitch, OnAndOffGivesFreshResults) {
    Cached cached;
    EXPECT_EQ(statOf("file"), -1);
    cached.box.file("file", "");
    EXPECT_EQ(statOf("file"), -1);
    rynStatCacheCtl(0);
    rynStatCacheCtl(1);
    EXPECT_EQ(statOf("file"), 0);
}

// ---- sStat()

TEST(CachedStat, CallsStatOncePerPath) {
    Cached cached;
    cached.box.file("file", "12345", 0640);
    faults::reset();
    struct stat first = {};
    struct stat second = {};
    EXPECT_EQ(statOf("file", &first), 0);
    EXPECT_EQ(statOf("file", &second), 0);
    EXPECT_EQ(faults::count("stat"), 1);
    EXPECT_EQ(first.st_size, 5);
    EXPECT_EQ(std::memcmp(&first, &second, sizeof first), 0);
    EXPECT_EQ(flagsOf("file"), 0x1U);
    ASSERT_NE(entryOf("file")->statRecord, nullptr);
    EXPECT_EQ(entryOf("file")->statRecord->st_size, 5);
}

TEST(CachedStat, KeepsTheResultIfTheFileChanges) {
    Cached cached;
    cached.box.file("file", "12345");
    EXPECT_EQ(statOf("file"), 0);
    ASSERT_EQ(unlink("file"), 0);
    struct stat result = {};
    int error = 7;
    EXPECT_EQ(statOf("file", &result, &error), 0);
    EXPECT_EQ(result.st_size, 5);
    EXPECT_EQ(error, 0);
}

TEST(CachedStat, FollowsLinks) {
    Cached cached;
    cached.box.file("file", "12345").link("link", "file");
    struct stat result = {};
    EXPECT_EQ(statOf("link", &result), 0);
    EXPECT_TRUE(S_ISREG(result.st_mode));
}

TEST(CachedStat, CachedFailureDoesNotSetErrno) {
    const Cached cached;
    faults::reset();
    int error = 0;
    errno = 0;
    EXPECT_EQ(statOf("missing", nullptr, &error), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(error, ENOENT);
    EXPECT_EQ(flagsOf("missing"), 0x2U);
    EXPECT_NE(entryOf("missing")->statRecord, nullptr);
    errno = EXDEV;
    error = 0;
    struct stat result = {};
    EXPECT_EQ(statOf("missing", &result, &error), -1);
    EXPECT_EQ(errno, EXDEV);
    EXPECT_EQ(error, ENOENT);
    EXPECT_EQ(faults::count("stat"), 1);
}

TEST(CachedStat, CachesTheErrorOfEachPath) {
    Cached cached;
    cached.box.file("file", "");
    int error = 0;
    EXPECT_EQ(statOf("missing"), -1);
    EXPECT_EQ(statOf("file/below"), -1);
    EXPECT_EQ(statOf("missing", nullptr, &error), -1);
    EXPECT_EQ(error, ENOENT);
    EXPECT_EQ(statOf("file/below", nullptr, &error), -1);
    EXPECT_EQ(error, ENOTDIR);
}

TEST(CachedStat, ComparesPathsAsText) {
    Cached cached;
    cached.box.file("file", "");
    faults::reset();
    EXPECT_EQ(statOf("file"), 0);
    EXPECT_EQ(statOf("./file"), 0);
    EXPECT_EQ(statOf(cached.box.path("file")), 0);
    EXPECT_EQ(statOf(".//file"), 0);
    EXPECT_EQ(faults::count("stat"), 4);
    EXPECT_STREQ(entryOf("./file")->path, "./file");
    EXPECT_EQ(entryOf("FILE"), nullptr);
}

TEST(CachedStat, AddsTheRecordToAnEntryOfAccess) {
    Cached cached;
    cached.box.file("file", "12345");
    EXPECT_EQ(accessOf("file", R_OK), 0);
    const ryniStatEntry *const entry = entryOf("file");
    EXPECT_EQ(entry->statRecord, nullptr);
    struct stat result = {};
    EXPECT_EQ(statOf("file", &result), 0);
    EXPECT_EQ(result.st_size, 5);
    EXPECT_EQ(entryOf("file"), entry);
    EXPECT_EQ(entry->flags, 0x5U);
}

TEST(CachedStat, ReportsANullPath) {
    Reporting reporting;
    int error = 0;
    EXPECT_EQ(sStat(&reporting.registry, nullptr, nullptr, &error), RYN_INTERNAL_ERROR);
    EXPECT_EQ(error, EFAULT);
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].code, RYN_INTERNAL_ERROR);
    EXPECT_EQ(reports[0].text, "sStat()");
    EXPECT_EQ(reports[0].sameText, "sStat()");
    test::Capture capture;
    EXPECT_EQ(sStat(nullptr, nullptr, nullptr, nullptr), RYN_INTERNAL_ERROR);
    EXPECT_EQ(capture.err(), "*ERROR* - RYN internal error - Internal error - sStat()\n");
}

TEST(CachedStat, ReportsEveryFailedAllocation) {
    Reporting reporting;
    for (int nth = 1; nth <= 5; ++nth) { // the table, its buckets, the path, the entry, the record
        const Cached cached;
        reports.clear();
        faults::failAllocation(nth);
        int error = 0;
        EXPECT_EQ(sStat(&reporting.registry, ".", nullptr, &error), RYN_MEMORY_ERROR) << nth;
        faults::reset();
        EXPECT_EQ(error, ENOMEM) << nth;
        ASSERT_EQ(reports.size(), 1U) << nth;
        EXPECT_EQ(reports[0].code, RYN_MEMORY_ERROR);
        EXPECT_EQ(reports[0].text, "sStat()");
        EXPECT_EQ(statOf("."), 0) << nth;
        EXPECT_EQ(flagsOf("."), 0x1U) << nth;
    }
}

// ---- sAccess()

TEST(CachedAccess, CachesTheSuccessOfEachMode) {
    struct Mode {
        int mode;
        unsigned flag;
    };
    Cached cached;
    cached.box.file("file", "", 0755);
    faults::reset();
    unsigned flags = 0;
    int calls = 0;
    for (const Mode &mode : {Mode{4, 0x4}, Mode{2, 0x10}, Mode{1, 0x40}, Mode{0, 0x100}}) {
        flags |= mode.flag;
        ++calls;
        EXPECT_EQ(accessOf("file", mode.mode), 0) << mode.mode;
        EXPECT_EQ(flagsOf("file"), flags) << mode.mode;
        EXPECT_EQ(accessOf("file", mode.mode), 0) << mode.mode;
        EXPECT_EQ(faults::count("access"), calls) << mode.mode;
    }
    EXPECT_EQ(entryOf("file")->statRecord, nullptr);
    EXPECT_EQ(faults::count("stat"), 0);
}

TEST(CachedAccess, CachedFailureDoesNotSetErrno) {
    struct Mode {
        int mode;
        unsigned flag;
    };
    Cached cached;
    unsigned flags = 0;
    int calls = 0;
    faults::reset();
    for (const Mode &mode : {Mode{4, 0x8}, Mode{2, 0x20}, Mode{1, 0x80}, Mode{0, 0x200}}) {
        flags |= mode.flag;
        ++calls;
        int error = 0;
        errno = 0;
        EXPECT_EQ(accessOf("missing", mode.mode, &error), -1) << mode.mode;
        EXPECT_EQ(errno, ENOENT) << mode.mode;
        EXPECT_EQ(error, ENOENT) << mode.mode;
        EXPECT_EQ(flagsOf("missing"), flags) << mode.mode;
        errno = EXDEV;
        error = 0;
        EXPECT_EQ(accessOf("missing", mode.mode, &error), -1) << mode.mode;
        EXPECT_EQ(errno, EXDEV) << mode.mode;
        EXPECT_EQ(error, ENOENT) << mode.mode;
        EXPECT_EQ(faults::count("access"), calls) << mode.mode;
    }
}

TEST(CachedAccess, CachesTheErrorOfEachMode) {
    Cached cached;
    cached.box.file("file", "", 0644);
    faults::fail("access", 1, EIO);
    EXPECT_EQ(accessOf("file", R_OK), -1);
    faults::fail("access", 1, EROFS);
    EXPECT_EQ(accessOf("file", W_OK), -1);
    EXPECT_EQ(accessOf("file", F_OK), 0);
    int error = 0;
    EXPECT_EQ(accessOf("file", R_OK, &error), -1);
    EXPECT_EQ(error, EIO);
    EXPECT_EQ(accessOf("file", W_OK, &error), -1);
    EXPECT_EQ(error, EROFS);
    EXPECT_EQ(accessOf("file", F_OK, &error), 0);
    EXPECT_EQ(error, 0);
}

TEST(CachedAccess, AddsTheModeToAnEntryOfStat) {
    Cached cached;
    cached.box.file("file", "");
    EXPECT_EQ(statOf("file"), 0);
    faults::reset();
    EXPECT_EQ(accessOf("file", R_OK), 0);
    EXPECT_EQ(faults::count("access"), 1);
    EXPECT_EQ(flagsOf("file"), 0x5U);
}

TEST(CachedAccess, CombinedModeIsNotCached) {
    const Cached cached;
    faults::reset();
    int error = 0;
    EXPECT_EQ(accessOf("missing", R_OK | W_OK, &error), -1);
    EXPECT_EQ(error, ENOENT);
    EXPECT_EQ(faults::count("access"), 1);
    EXPECT_EQ(flagsOf("missing"), 0U);
    // The path is cached now: the combined mode succeeds, the single modes call access().
    EXPECT_EQ(accessOf("missing", R_OK | W_OK, &error), 0);
    EXPECT_EQ(error, 0);
    EXPECT_EQ(faults::count("access"), 1);
    EXPECT_EQ(accessOf("missing", R_OK), -1);
    EXPECT_EQ(faults::count("access"), 2);
}

TEST(CachedAccess, CombinedModeSucceedsForACachedPath) {
    const Cached cached;
    EXPECT_EQ(statOf("missing"), -1);
    faults::reset();
    for (const int mode : {3, 5, 6, 7, 8, -1}) {
        EXPECT_EQ(accessOf("missing", mode), 0) << mode;
    }
    EXPECT_EQ(faults::count("access"), 0);
    EXPECT_EQ(flagsOf("missing"), 0x2U);
}

TEST(CachedAccess, ReportsANullPath) {
    Reporting reporting;
    int error = 0;
    EXPECT_EQ(sAccess(&reporting.registry, nullptr, R_OK, &error), RYN_INTERNAL_ERROR);
    EXPECT_EQ(error, EFAULT);
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].code, RYN_INTERNAL_ERROR);
    EXPECT_EQ(reports[0].text, "sAccess()");
}

TEST(CachedAccess, ReportsEveryFailedAllocation) {
    Reporting reporting;
    for (int nth = 1; nth <= 4; ++nth) { // the table, its buckets, the path, the entry
        const Cached cached;
        reports.clear();
        faults::failAllocation(nth);
        EXPECT_EQ(sAccess(&reporting.registry, ".", R_OK, nullptr), RYN_MEMORY_ERROR) << nth;
        faults::reset();
        ASSERT_EQ(reports.size(), 1U) << nth;
        EXPECT_EQ(reports[0].code, RYN_MEMORY_ERROR);
        EXPECT_EQ(reports[0].text, "sAccess()");
        EXPECT_EQ(accessOf(".", R_OK), 0) << nth;
    }
}

// ---- entries

TEST(StatEntry, HasItsFieldsInDocumentedOrder) {
    EXPECT_EQ(offsetof(ryniStatEntry, next), 0U);
    EXPECT_EQ(offsetof(ryniStatEntry, path), 8U);
    EXPECT_EQ(offsetof(ryniStatEntry, flags), 16U);
    EXPECT_EQ(offsetof(ryniStatEntry, statRecord), 24U);
}

TEST(StatEntry, IsRemovedByItsPath) {
    Cached cached;
    EXPECT_EQ(statOf("file"), -1);
    EXPECT_EQ(statOf("other"), -1);
    cached.box.file("file", "");
    sDeleteStatEntry("file");
    EXPECT_EQ(entryOf("file"), nullptr);
    EXPECT_NE(entryOf("other"), nullptr);
    EXPECT_EQ(statOf("file"), 0);
    sDeleteStatEntry("unknown");
    sDeleteStatEntry(nullptr);
    EXPECT_EQ(ryn::statCache.find(nullptr), nullptr);
    rynStatCacheCtl(0);
    sDeleteStatEntry("file");
}

TEST(StatEntry, IsClearedToZeroBytesBeforeItIsFreed) {
    Cached cached;
    const std::string path(1015, 'p'); // with its NUL, a size that malloc() does not round up
    EXPECT_EQ(statOf(path), -1);
    EXPECT_EQ(statOf("."), 0);
    freed.on = true;
    freed.count = 0;
    sDeleteStatEntry(path.c_str());
    sDeleteStatEntry(".");
    freed.on = false;
    // For each: the record, the path and the entry.
    ASSERT_EQ(freed.count, 6U);
    EXPECT_GE(freed.blocks[0].size, sizeof(struct stat));
    EXPECT_TRUE(freed.blocks[0].zero);
    EXPECT_EQ(freed.blocks[1].size, path.size() + 1);
    EXPECT_TRUE(freed.blocks[1].zero);
    EXPECT_GE(freed.blocks[2].size, sizeof(ryniStatEntry));
    EXPECT_TRUE(freed.blocks[2].zero);
    EXPECT_TRUE(freed.blocks[3].zero);
    EXPECT_TRUE(freed.blocks[5].zero);
}

TEST(StatEntry, WithoutRecordIsFreed) {
    const Cached cached;
    EXPECT_EQ(accessOf(".", R_OK), 0);
    freed.on = true;
    freed.count = 0;
    rynStatCacheCtl(0);
    freed.on = false;
    ASSERT_EQ(freed.count, 4U); // the path, the entry; the buckets, the table
    EXPECT_TRUE(freed.blocks[1].zero);
    EXPECT_GE(freed.blocks[2].size, 16 * sizeof(void *));
    EXPECT_GE(freed.blocks[3].size, sizeof(vekHashTable));
}

TEST(StatEntry, IsFoundAmongThousands) {
    Cached cached;
    constexpr int kPaths = 5000;
    for (int i = 0; i < kPaths; ++i) {
        EXPECT_EQ(statOf("missing/" + std::to_string(i)), -1);
    }
    faults::reset();
    for (int i = 0; i < kPaths; ++i) {
        EXPECT_EQ(statOf("missing/" + std::to_string(i)), -1);
    }
    EXPECT_EQ(faults::count("stat"), 0);
    rynStatCacheCtl(0);
    rynStatCacheCtl(1);
    EXPECT_EQ(entryOf("missing/0"), nullptr);
    EXPECT_EQ(entryOf("missing/4999"), nullptr);
}

TEST(StatEntry, IsFoundIfTheTableCannotGrow) {
    const Cached cached;
    // 16 buckets with a load factor of 3: the table would grow with the 48th entry.
    for (int i = 1; i < 48; ++i) {
        EXPECT_EQ(statOf("missing/" + std::to_string(i)), -1);
    }
    faults::failAllocation(3); // the one after the path and the entry
    EXPECT_EQ(accessOf("missing/48", F_OK), -1);
    faults::reset();
    for (int i = 1; i <= 48; ++i) {
        EXPECT_NE(entryOf("missing/" + std::to_string(i)), nullptr) << i;
    }
}

TEST(StatEntry, IsFoundForAnyBytesAtAnyAddress) {
    const Cached cached;
    const std::string path = "biblioth\xe8que/\xe9l\xe9ments/sch\xe9mas/d\xe9"
                             "coupage";
    std::array<char, 128> buffer = {};
    faults::reset();
    for (std::size_t offset = 0; offset < 16; ++offset) {
        std::memcpy(buffer.data() + offset, path.c_str(), path.size() + 1);
        EXPECT_EQ(sStat(nullptr, buffer.data() + offset, nullptr, nullptr), -1);
    }
    EXPECT_EQ(faults::count("stat"), 1);
    std::memcpy(buffer.data() + 3, path.c_str(), path.size() + 1);
    sDeleteStatEntry(buffer.data() + 3);
    for (std::size_t offset = 0; offset < 8; ++offset) {
        std::memcpy(buffer.data() + offset, path.c_str(), path.size() + 1);
        EXPECT_EQ(ryn::statCache.find(buffer.data() + offset), nullptr) << offset;
    }
}

TEST(StatEntry, TooLongPathIsNotCached) {
    const Cached cached;
    for (const std::size_t length : {0U, 1023U, 1024U, 1025U, 2048U, 4095U, 4096U, 4097U, 100000U}) {
        std::string path(length, 'x');
        for (std::size_t i = 100; i < length; i += 100) {
            path[i] = '/';
        }
        for (int round = 0; round < 2; ++round) {
            int error = 0;
            EXPECT_EQ(statOf(path, nullptr, &error), -1) << length;
            EXPECT_EQ(error, length > 4095 ? ENAMETOOLONG : ENOENT) << length;
            error = 0;
            EXPECT_EQ(accessOf(path, R_OK, &error), -1) << length;
            EXPECT_EQ(error, length > 4095 ? ENAMETOOLONG : ENOENT) << length;
        }
        EXPECT_EQ(entryOf(path) != nullptr, length <= 4095) << length;
        sDeleteStatEntry(path.c_str());
        EXPECT_EQ(entryOf(path), nullptr) << length;
    }
}
