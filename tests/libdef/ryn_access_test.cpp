// Access checks, and the directories that they create.

#include "libdef/access/ryni_access.h"

#include "libdef/paths/ryni_quick_access.h"
#include "libdef/paths/ryni_stat_cache.h"
#include "libdef/registry/ryni_registry.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"
#include "tests/support/sandbox.h"

#include <array>
#include <cerrno>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace faults = test::faults;

namespace {

struct ErrorReport {
    int code;
    std::string text;
};
std::vector<ErrorReport> reports;

int keepReport(int code, const char *text, const char * /*sameText*/) {
    reports.push_back({code, text});
    return 0;
}

// Access kinds of ryni_access_path().
constexpr int kRead = 0;
constexpr int kWrite = 1;
constexpr int kReplace = 6;

/// A registry without libraries whose paths must exist, in a temporary directory. The stat cache is off.
struct Access {
    test::Sandbox box;
    rynRegistry registry = {};
    std::string result;

    Access() {
        umask(022);
        while (rynStatCacheCtl(0) > 0) {
        }
        ryni_setUidGid();
        reports.clear();
        registry.fatalHandler = keepReport;
        checkExistence(true);
    }
    ~Access() {
        while (rynStatCacheCtl(0) > 0) {
        }
    }
    Access(const Access &) = delete;
    Access &operator=(const Access &) = delete;

    void checkExistence(bool on) {
        registry.flags = RYN_FLAG_OWN_EXISTENCE_CHECK | (on ? 0U : unsigned{RYN_FLAG_EXISTENCE_CHECK_OFF});
    }
    void setUmask(unsigned mask) {
        registry.flags |= RYN_FLAG_UMASK_SET;
        registry.umask = mask;
    }

    int quick(const std::string &path, int mode) {
        return ryni_quick_access(&registry, path.c_str(), mode, nullptr);
    }
    int quick(const std::string &path, int mode, const struct stat &record) {
        return ryni_quick_access(&registry, path.c_str(), mode, &record);
    }
    /// @return the errno value of the same test
    int error(const std::string &path, int mode, const struct stat *record = nullptr) {
        return ryn::testAccess(&registry, path.c_str(), mode, record);
    }
    int make(const std::string &path, int level) { return ryniMkdir(&registry, path.c_str(), level); }

    /// Calls ryni_access_path(); `result` is then the path, or "-" if none was stored.
    int access(int kind, const char *library, const char *cell = nullptr, const char *view = nullptr,
               const char *file = nullptr) {
        std::array<char, VEK_PATH_SIZE> path = {'-', '\0'};
        const int code = ryni_access_path(&registry, path.data(), kind, library, cell, view, file);
        result = path.data();
        return code;
    }
    int read(const char *library, const char *cell = nullptr, const char *view = nullptr,
             const char *file = nullptr) {
        return access(kRead, library, cell, view, file);
    }
    int write(const char *library, const char *cell = nullptr, const char *view = nullptr,
              const char *file = nullptr) {
        return access(kWrite, library, cell, view, file);
    }
    int replace(const char *library, const char *cell = nullptr, const char *view = nullptr,
                const char *file = nullptr) {
        return access(kReplace, library, cell, view, file);
    }
};

mode_t modeOf(const std::string &path) {
    struct stat record = {};
    EXPECT_EQ(stat(path.c_str(), &record), 0) << path;
    return record.st_mode & 07777;
}

/// A stat record. Without `own` or `ownGroup` the id is none of this process.
struct stat recordOf(bool own, bool ownGroup, mode_t mode) {
    struct stat record = {};
    record.st_uid = own ? geteuid() : geteuid() + 7;
    record.st_gid = ownGroup ? getegid() : getegid() + 7;
    record.st_mode = S_IFREG | mode;
    return record;
}

} // namespace

// ---- ryni_quick_access()

TEST(QuickAccess, ModeBitsGrantWithoutASystemCall) {
    Access access;
    struct Granted {
        bool own, ownGroup;
        mode_t file;
        int mode;
    };
    for (const Granted &granted :
         {Granted{true, true, 0400, R_OK}, Granted{true, false, 0200, W_OK}, Granted{true, true, 0100, X_OK},
          Granted{false, true, 0040, R_OK}, Granted{false, true, 0020, W_OK},
          Granted{false, true, 0010, X_OK}, Granted{false, false, 0444, R_OK},
          Granted{false, false, 0644, R_OK}, Granted{false, false, 0222, W_OK},
          Granted{false, false, 0111, X_OK}, Granted{false, false, 0, F_OK}}) {
        EXPECT_EQ(access.quick("missing", F_OK), -1);
        faults::reset();
        // The file does not exist: any system call would fail.
        EXPECT_EQ(
            access.quick("missing", granted.mode, recordOf(granted.own, granted.ownGroup, granted.file)), 0)
            << granted.file;
        EXPECT_EQ(faults::count("access") + faults::count("stat"), 0) << granted.file;
        const struct stat record = recordOf(granted.own, granted.ownGroup, granted.file);
        EXPECT_EQ(access.error("missing", granted.mode, &record), 0);
    }
}

TEST(QuickAccess, CallsAccessIfModeBitsDoNotGrant) {
    Access access;
    struct Undecided {
        bool own, ownGroup;
        mode_t file;
        int mode;
    };
    // Only the owner bit counts for the owner, even if the group bit or the bits of others are set.
    for (const Undecided &undecided :
         {Undecided{true, true, 0077, R_OK}, Undecided{true, true, 0577, W_OK},
          Undecided{true, true, 0677, X_OK}, Undecided{false, true, 0707, R_OK},
          Undecided{false, true, 0757, W_OK}, Undecided{false, true, 0767, X_OK},
          Undecided{false, false, 0640, R_OK}, Undecided{false, false, 0404, R_OK},
          Undecided{false, false, 0044, R_OK}, Undecided{false, false, 0202, W_OK},
          Undecided{false, false, 0110, X_OK}}) {
        const struct stat record = recordOf(undecided.own, undecided.ownGroup, undecided.file);
        faults::reset();
        EXPECT_EQ(access.quick(".", undecided.mode, record), 0) << undecided.file;
        EXPECT_EQ(faults::count("access"), 1) << undecided.file;
        errno = 0;
        EXPECT_EQ(access.quick("missing", undecided.mode, record), -1) << undecided.file;
        EXPECT_EQ(errno, ENOENT);
        EXPECT_EQ(access.error("missing", undecided.mode, &record), ENOENT);
        EXPECT_EQ(faults::count("stat"), 0) << undecided.file;
    }
}

TEST(QuickAccess, CallsStatWithoutARecord) {
    Access access;
    access.box.file("file", "", 0644).link("link", "file").link("dangling", "nowhere");
    faults::reset();
    EXPECT_EQ(access.quick("file", F_OK), 0);
    EXPECT_EQ(access.quick("link", R_OK), 0);
    EXPECT_EQ(faults::count("stat"), 2);
    EXPECT_EQ(faults::count("access"), 0);
    for (const int mode : {F_OK, R_OK, W_OK, X_OK, R_OK | W_OK}) {
        errno = 0;
        EXPECT_EQ(access.quick("dangling", mode), -1) << mode;
        EXPECT_EQ(errno, ENOENT) << mode;
        EXPECT_EQ(access.error("dangling", mode), ENOENT) << mode;
    }
    EXPECT_EQ(faults::count("access"), 0);
    EXPECT_EQ(access.quick("file", F_OK), 0);
    EXPECT_EQ(access.error("file", F_OK), 0);
}

TEST(QuickAccess, CallsAccessForCombinedModes) {
    Access access;
    access.box.file("file", "", 0644);
    faults::reset();
    EXPECT_EQ(access.quick("file", R_OK | W_OK, recordOf(true, true, 0777)), 0);
    EXPECT_EQ(access.quick("file", R_OK | W_OK), 0);
    EXPECT_EQ(faults::count("access"), 2);
    EXPECT_EQ(access.quick("missing", R_OK | W_OK, recordOf(true, true, 0777)), -1);
}

TEST(QuickAccess, ComparesTheRecordedIds) {
    Access access;
    const uid_t recorded = geteuid();
    const struct stat record = recordOf(true, false, 0400);
    test::asUnprivileged([&] {
        EXPECT_EQ(access.quick("missing", R_OK, record), 0);
        ryni_setUidGid();
        EXPECT_EQ(access.quick("missing", R_OK, record), geteuid() == recorded ? 0 : -1);
        EXPECT_EQ(access.quick("missing", R_OK, recordOf(true, false, 0400)), 0);
        EXPECT_EQ(access.quick("missing", R_OK, recordOf(false, true, 0040)), 0);
    });
}

TEST(QuickAccess, RecordsTheIdsOnFirstUse) {
    test::Sandbox box;
    box.file("secret", "", 0);
    // No ids are recorded in this process. Ids of 0 would let this user read files that only root may read.
    test::asUnprivileged([] {
        struct stat record = {};
        record.st_uid = geteuid() == 0 ? 1 : 0;
        record.st_mode = S_IFREG | 0400;
        errno = 0;
        EXPECT_EQ(ryni_quick_access(nullptr, "secret", R_OK, &record), -1);
        EXPECT_EQ(errno, EACCES);
    });
}

TEST(QuickAccess, ReturnsErrnoOfADeniedAccess) {
    Access access;
    access.box.file("locked", "", 0).file("shut/file", "").directory("shut", 0);
    test::asUnprivileged([&] {
        ryni_setUidGid();
        for (const char *const path : {"locked", "shut/file"}) {
            errno = 0;
            EXPECT_EQ(access.quick(path, R_OK), -1) << path;
            EXPECT_EQ(errno, EACCES) << path;
            EXPECT_EQ(access.error(path, R_OK), EACCES) << path;
        }
        EXPECT_EQ(access.quick("locked", F_OK), 0);
    });
}

TEST(QuickAccess, UsesTheStatCacheWhileItIsOn) {
    Access access;
    access.box.file("file", "", 0); // no mode bit grants an access
    faults::reset();
    static_cast<void>(access.quick("file", R_OK));
    static_cast<void>(access.quick("file", R_OK));
    EXPECT_EQ(faults::count("stat"), 2);
    EXPECT_EQ(faults::count("access"), 2);
    EXPECT_EQ(ryn::statCache.find("file"), nullptr);
    rynStatCacheCtl(1);
    faults::reset();
    const int first = access.quick("file", R_OK);
    EXPECT_EQ(access.quick("file", R_OK), first);
    EXPECT_EQ(faults::count("stat"), 1);
    EXPECT_EQ(faults::count("access"), 1);
    ASSERT_NE(ryn::statCache.find("file"), nullptr);
    EXPECT_EQ(ryn::statCache.find("file")->flags & 0x3U, 0x1U);
}

TEST(QuickAccess, ReturnsErrnoOfACachedFailure) {
    Access access;
    access.box.file("file", "", 0);
    rynStatCacheCtl(1);
    EXPECT_EQ(access.quick("missing", R_OK), -1);
    faults::fail("access", 1, EACCES);
    EXPECT_EQ(access.quick("file", R_OK), -1);
    errno = EXDEV;
    EXPECT_EQ(access.quick("missing", R_OK), -1);
    EXPECT_EQ(access.error("missing", R_OK), ENOENT);
    EXPECT_EQ(access.quick("file", R_OK), -1);
    EXPECT_EQ(access.error("file", R_OK), EACCES);
    EXPECT_EQ(errno, EXDEV);
}

TEST(QuickAccess, CombinedModeSucceedsForACachedPath) {
    Access access;
    rynStatCacheCtl(1);
    const struct stat record = recordOf(true, true, 0777);
    faults::reset();
    EXPECT_EQ(access.quick("missing", R_OK | W_OK, record), -1);
    EXPECT_EQ(access.quick("missing", R_OK | W_OK, record), 0); // the path is cached now
    EXPECT_EQ(faults::count("access"), 1);
}

TEST(QuickAccess, ReturnsTheReportedCode) {
    Access access;
    rynStatCacheCtl(1);
    EXPECT_EQ(ryni_quick_access(&access.registry, nullptr, R_OK, nullptr), RYN_INTERNAL_ERROR);
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].code, RYN_INTERNAL_ERROR);
    EXPECT_EQ(reports[0].text, "sStat()");
    const struct stat record = recordOf(true, true, 0);
    EXPECT_EQ(ryni_quick_access(&access.registry, nullptr, R_OK, &record), RYN_INTERNAL_ERROR);
    ASSERT_EQ(reports.size(), 2U);
    EXPECT_EQ(reports[1].text, "sAccess()");
    faults::failAllocation(1);
    EXPECT_EQ(access.quick(".", R_OK), RYN_MEMORY_ERROR);
    ASSERT_EQ(reports.size(), 3U);
    EXPECT_EQ(reports[2].code, RYN_MEMORY_ERROR);
    EXPECT_EQ(reports[2].text, "sStat()");
}

TEST(QuickAccess, NullPathIsEfaultWithoutTheCache) {
    Access access;
    const struct stat record = recordOf(true, true, 0);
    EXPECT_EQ(ryni_quick_access(&access.registry, nullptr, R_OK, nullptr), -1);
    EXPECT_EQ(errno, EFAULT);
    EXPECT_EQ(ryn::testAccess(&access.registry, nullptr, R_OK), EFAULT);
    EXPECT_EQ(ryni_quick_access(&access.registry, nullptr, R_OK, &record), -1);
    EXPECT_EQ(errno, EFAULT);
    EXPECT_TRUE(reports.empty());
}

// ---- ryniMkdir()

TEST(Mkdir, UsesTheUmaskOfTheProcess) {
    Access access;
    umask(027);
    EXPECT_EQ(access.make("cell", 1), RYN_OK);
    EXPECT_EQ(modeOf("cell"), 0750U);
}

TEST(Mkdir, UsesTheUmaskOfTheRegistryExactly) {
    Access access;
    umask(077);
    access.setUmask(022);
    EXPECT_EQ(access.make("cell", 1), RYN_OK);
    EXPECT_EQ(modeOf("cell"), 0755U);
    access.setUmask(077);
    EXPECT_EQ(access.make("private", 1), RYN_OK);
    EXPECT_EQ(modeOf("private"), 0700U);
    access.setUmask(0);
    EXPECT_EQ(access.make("open", 1), RYN_OK);
    EXPECT_EQ(modeOf("open"), 0777U);
}

TEST(Mkdir, IgnoresAnUmaskThatIsNotSet) {
    Access access;
    access.registry.umask = 077;
    EXPECT_EQ(access.make("cell", 1), RYN_OK);
    EXPECT_EQ(modeOf("cell"), 0755U);
    EXPECT_EQ(ryniMkdir(nullptr, "other", 1), RYN_OK);
    EXPECT_EQ(modeOf("other"), 0755U);
}

TEST(Mkdir, AcceptsAnExistingDirectory) {
    Access access;
    access.box.directory("cell", 0711).file("cell/file", "kept");
    EXPECT_EQ(access.make("cell", 1), RYN_OK);
    EXPECT_EQ(modeOf("cell"), 0711U);
    access.setUmask(002);
    EXPECT_EQ(access.make("cell", 1), RYN_OK);
    EXPECT_EQ(modeOf("cell"), 0775U);
    EXPECT_EQ(access.box.read("cell/file"), "kept");
}

TEST(Mkdir, IgnoresAFailedChmod) {
    Access access;
    access.setUmask(077);
    faults::fail("chmod", 1, EPERM);
    EXPECT_EQ(access.make("cell", 1), RYN_OK);
    EXPECT_EQ(modeOf("cell"), 0755U);
}

TEST(Mkdir, DeniedPermissionHasTheCodeOfTheLevel) {
    Access access;
    access.box.directory("fixed", 0555);
    test::asUnprivileged([&] {
        ryni_setUidGid();
        EXPECT_EQ(access.make("fixed", 0), RYN_PERMISSION_DENIED_LIBRARY);
        EXPECT_EQ(access.make("fixed", 1), RYN_PERMISSION_DENIED_CELL);
        EXPECT_EQ(access.make("fixed", 2), RYN_PERMISSION_DENIED_VIEW);
        EXPECT_EQ(access.make("fixed", 3), RYN_OK);
        EXPECT_EQ(access.make("fixed", -1), RYN_OK);
    });
}

TEST(Mkdir, OtherErrorsAreSystemErrors) {
    Access access;
    access.box.file("file", "");
    for (const int level : {0, 1, 2, 3}) {
        EXPECT_EQ(access.make("missing/cell", level), RYN_SYSTEM_ERROR) << level;
        EXPECT_EQ(access.make("file/cell", level), RYN_SYSTEM_ERROR) << level;
        EXPECT_EQ(access.make("", level), RYN_SYSTEM_ERROR) << level;
    }
    EXPECT_EQ(ryniMkdir(&access.registry, nullptr, 0), RYN_INTERNAL_ERROR);
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].code, RYN_INTERNAL_ERROR);
}

TEST(Mkdir, RemovesTheDirectoryFromTheStatCache) {
    Access access;
    rynStatCacheCtl(1);
    EXPECT_EQ(access.quick("cell", F_OK), -1);
    EXPECT_EQ(access.make("cell", 1), RYN_OK);
    EXPECT_EQ(access.quick("cell", F_OK), 0);
}

// ---- ryni_access_path(): arguments

TEST(AccessPath, ReportsAnUnknownKind) {
    Access access;
    for (const int kind : {-1, 2, 3, 4, 5, 7, 8}) {
        reports.clear();
        EXPECT_EQ(access.access(kind, access.box.path().c_str()), RYN_INTERNAL_ERROR) << kind;
        ASSERT_EQ(reports.size(), 1U) << kind;
        EXPECT_EQ(reports[0].code, RYN_INTERNAL_ERROR);
        EXPECT_EQ(reports[0].text, "ryni_access_path()");
        EXPECT_EQ(access.result, "-");
    }
}

TEST(AccessPath, ReportsANullLibrary) {
    Access access;
    EXPECT_EQ(access.read(nullptr, "cell"), RYN_INTERNAL_ERROR);
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].code, RYN_INTERNAL_ERROR);
    EXPECT_EQ(reports[0].text, "ryni_access_path()");
}

TEST(AccessPath, ReturnsTheCodeOfAnInvalidPath) {
    Access access;
    const std::string tooLong(4093, 'x');
    for (const int kind : {0, 1, 6}) {
        EXPECT_EQ(access.access(kind, ".", nullptr, "view"), RYN_INVALID_PATH) << kind;
        EXPECT_EQ(access.access(kind, ".", "", "view", "file"), RYN_INVALID_PATH) << kind;
        EXPECT_EQ(access.access(kind, tooLong.c_str()), RYN_INVALID_PATH) << kind;
        EXPECT_EQ(access.result, "-");
    }
    EXPECT_TRUE(reports.empty());
}

TEST(AccessPath, StoresPathsUpToTheirLimit) {
    Access access;
    access.checkExistence(false);
    const std::string longest(4089, 'x');
    EXPECT_EQ(access.read(longest.c_str(), "c", "v", "f"), RYN_OK);
    EXPECT_EQ(access.result, longest + "/c/v/f");
    EXPECT_EQ(access.result.size(), 4095U);
    EXPECT_EQ(access.read((longest + "x").c_str(), "c", "v", "f"), RYN_INVALID_PATH);
}

TEST(AccessPath, AcceptsANullBuffer) {
    Access access;
    access.box.directory("lib");
    EXPECT_EQ(ryni_access_path(&access.registry, nullptr, kRead, "lib", nullptr, nullptr, nullptr), RYN_OK);
    EXPECT_EQ(ryni_access_path(&access.registry, nullptr, kWrite, "lib", "c", nullptr, nullptr), RYN_OK);
    EXPECT_TRUE(access.box.exists("lib/c"));
}

// ---- ryni_access_path(): read

TEST(ReadPath, AcceptsAnyPathIfPathsNeedNotExist) {
    Access access;
    access.checkExistence(false);
    faults::reset();
    EXPECT_EQ(access.read("/no/lib", "c", "v", "f"), RYN_OK);
    EXPECT_EQ(access.result, "/no/lib/c/v/f");
    EXPECT_EQ(access.read("/no/lib", "c", nullptr, "f"), RYN_OK);
    EXPECT_EQ(access.result, "/no/lib/c/f");
    EXPECT_EQ(access.read("/no/lib", "", "", ""), RYN_OK);
    EXPECT_EQ(access.result, "/no/lib");
    EXPECT_EQ(faults::count("stat") + faults::count("access"), 0);
}

TEST(ReadPath, AcceptsAnExistingObject) {
    Access access;
    access.box.file("lib/c/v/f", "").file("lib/c/f", "").file("lib/f", "");
    EXPECT_EQ(access.read("lib", "c", "v", "f"), RYN_OK);
    EXPECT_EQ(access.result, "lib/c/v/f");
    EXPECT_EQ(access.read("lib", "c", "v"), RYN_OK);
    EXPECT_EQ(access.result, "lib/c/v");
    EXPECT_EQ(access.read("lib", "c"), RYN_OK);
    EXPECT_EQ(access.result, "lib/c");
    EXPECT_EQ(access.read("lib"), RYN_OK);
    EXPECT_EQ(access.result, "lib");
    EXPECT_EQ(access.read("lib", "c", "", "f"), RYN_OK);
    EXPECT_EQ(access.result, "lib/c/f");
    EXPECT_EQ(access.read("lib", nullptr, nullptr, "f"), RYN_OK);
    EXPECT_EQ(access.result, "lib/f");
}

TEST(ReadPath, ReturnsTheOutermostMissingLevel) {
    Access access;
    EXPECT_EQ(access.read("lib"), RYN_NO_SUCH_DIRECTORY);
    EXPECT_EQ(access.read("lib", "c"), RYN_NO_SUCH_DIRECTORY);
    EXPECT_EQ(access.read("lib", "c", "v", "f"), RYN_NO_SUCH_DIRECTORY);
    EXPECT_EQ(access.read("lib", nullptr, nullptr, "f"), RYN_NO_SUCH_DIRECTORY);
    access.box.directory("lib");
    EXPECT_EQ(access.read("lib", "c"), RYN_NO_SUCH_CELL);
    EXPECT_EQ(access.read("lib", "c", "v"), RYN_NO_SUCH_CELL);
    EXPECT_EQ(access.read("lib", "c", "v", "f"), RYN_NO_SUCH_CELL);
    EXPECT_EQ(access.read("lib", "c", "", "f"), RYN_NO_SUCH_CELL);
    EXPECT_EQ(access.read("lib", nullptr, nullptr, "f"), RYN_NO_SUCH_FILE);
    access.box.directory("lib/c");
    EXPECT_EQ(access.read("lib", "c", "v"), RYN_NO_SUCH_VIEW);
    EXPECT_EQ(access.read("lib", "c", "v", "f"), RYN_NO_SUCH_VIEW);
    EXPECT_EQ(access.read("lib", "c", nullptr, "f"), RYN_NO_SUCH_FILE);
    access.box.directory("lib/c/v");
    EXPECT_EQ(access.read("lib", "c", "v", "f"), RYN_NO_SUCH_FILE);
    EXPECT_EQ(access.result, "-");
}

TEST(ReadPath, ReturnsTheOutermostDeniedLevel) {
    Access access;
    access.box.file("lib/c/v/f", "", 0)
        .directory("lib/c/shut/x")
        .directory("lib/dark/v")
        .directory("closed/c");
    access.box.directory("lib/c/shut", 0).directory("lib/dark", 0).directory("closed", 0);
    test::asUnprivileged([&] {
        ryni_setUidGid();
        EXPECT_EQ(access.read("lib", "c", "v", "f"), RYN_PERMISSION_DENIED_FILE);
        EXPECT_EQ(access.read("lib", "c", "shut", "x"), RYN_PERMISSION_DENIED_VIEW);
        EXPECT_EQ(access.read("lib", "c", "shut"), RYN_PERMISSION_DENIED_VIEW);
        EXPECT_EQ(access.read("lib", "dark", "v", "f"), RYN_PERMISSION_DENIED_CELL);
        EXPECT_EQ(access.read("lib", "dark"), RYN_PERMISSION_DENIED_CELL);
        EXPECT_EQ(access.read("closed", "c", "v", "f"), RYN_PERMISSION_DENIED_LIBRARY);
        EXPECT_EQ(access.read("closed"), RYN_PERMISSION_DENIED_LIBRARY);
    });
}

TEST(ReadPath, OtherErrorsAreSystemErrors) {
    Access access;
    access.box.file("lib/c/v", "").file("file", "");
    EXPECT_EQ(access.read("lib", "c", "v", "f"), RYN_SYSTEM_ERROR);
    EXPECT_EQ(access.read("file/lib"), RYN_SYSTEM_ERROR);
}

TEST(ReadPath, CachedPathGivesTheSameCodeAgain) {
    Access access;
    access.box.file("lib/c/v/locked", "", 0);
    rynStatCacheCtl(1);
    test::asUnprivileged([&] {
        ryni_setUidGid();
        for (const int stale : {0, EACCES, ENOENT, EIO}) {
            errno = stale;
            EXPECT_EQ(access.read("lib", "c", "v", "f"), RYN_NO_SUCH_FILE) << stale;
            errno = stale;
            EXPECT_EQ(access.read("lib", "c", "v", "locked"), RYN_PERMISSION_DENIED_FILE) << stale;
            errno = stale;
            EXPECT_EQ(access.read("nowhere", "c", "v", "f"), RYN_NO_SUCH_DIRECTORY) << stale;
        }
    });
}

TEST(ReadPath, CallsStatOncePerCachedPath) {
    Access access;
    access.box.file("lib/c/v/f", "");
    rynStatCacheCtl(1);
    faults::reset();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(access.read("lib", "c", "v", "f"), RYN_OK);
        EXPECT_EQ(access.read("lib", "c", "v", "missing"), RYN_NO_SUCH_FILE);
    }
    EXPECT_EQ(faults::count("stat"), 3); // the file, the missing file, and the view above it
}

TEST(ReadPath, ExhaustedMemoryOfTheCacheIsASystemError) {
    Access access;
    access.box.directory("lib");
    rynStatCacheCtl(1);
    faults::failAllocation(1);
    EXPECT_EQ(access.read("lib"), RYN_SYSTEM_ERROR);
    EXPECT_EQ(access.read("lib"), RYN_OK);
}

// ---- ryni_access_path(): write

TEST(WritePath, AcceptsAWritableObject) {
    Access access;
    access.box.file("lib/c/v/f", "");
    faults::reset();
    EXPECT_EQ(access.write("lib"), RYN_OK);
    EXPECT_EQ(access.result, "lib");
    EXPECT_EQ(access.write("lib", "c"), RYN_OK);
    EXPECT_EQ(access.write("lib", "c", "v"), RYN_OK);
    EXPECT_EQ(access.write("lib", "c", "v", "f"), RYN_OK);
    EXPECT_EQ(access.result, "lib/c/v/f");
    EXPECT_EQ(faults::count("mkdir"), 0);
}

TEST(WritePath, NeverCreatesALibraryDirectory) {
    Access access;
    EXPECT_EQ(access.write("lib"), RYN_NO_SUCH_DIRECTORY);
    EXPECT_EQ(access.write("lib", "c"), RYN_NO_SUCH_DIRECTORY);
    EXPECT_EQ(access.write("lib", "c", "v", "f"), RYN_NO_SUCH_DIRECTORY);
    EXPECT_EQ(access.write("lib", nullptr, nullptr, "f"), RYN_NO_SUCH_DIRECTORY);
    EXPECT_EQ(access.result, "-");
    EXPECT_FALSE(access.box.exists("lib"));
}

TEST(WritePath, CreatesTheCellAndViewOfAFile) {
    Access access;
    access.box.directory("lib");
    EXPECT_EQ(access.write("lib", "c", "v", "f"), RYN_OK);
    EXPECT_EQ(access.result, "lib/c/v/f");
    EXPECT_EQ(modeOf("lib/c"), 0755U);
    EXPECT_EQ(modeOf("lib/c/v"), 0755U);
    EXPECT_FALSE(access.box.exists("lib/c/v/f"));
}

TEST(WritePath, CreatesThemWithTheUmaskOfTheRegistry) {
    Access access;
    access.box.directory("lib");
    umask(077);
    access.setUmask(026);
    EXPECT_EQ(access.write("lib", "c", "v", "f"), RYN_OK);
    EXPECT_EQ(modeOf("lib/c"), 0751U);
    EXPECT_EQ(modeOf("lib/c/v"), 0751U);
    EXPECT_EQ(modeOf("lib"), 0755U);
}

TEST(WritePath, CreatesNoMoreThanTheObjectNeeds) {
    Access access;
    access.box.directory("lib");
    EXPECT_EQ(access.write("lib", "", "", ""), RYN_OK);
    EXPECT_EQ(access.write("lib", nullptr, nullptr, "f"), RYN_OK);
    EXPECT_EQ(access.box.list("lib"), std::vector<std::string>());
    EXPECT_EQ(access.write("lib", "c"), RYN_OK);
    EXPECT_EQ(access.write("lib", "d", nullptr, "f"), RYN_OK);
    EXPECT_EQ(access.result, "lib/d/f");
    EXPECT_EQ(access.write("lib", "e", "v"), RYN_OK);
    EXPECT_EQ(access.box.list("lib"), (std::vector<std::string>{"c", "d", "e"}));
    EXPECT_EQ(access.box.list("lib/c"), std::vector<std::string>());
    EXPECT_EQ(access.box.list("lib/d"), std::vector<std::string>());
    EXPECT_EQ(access.box.list("lib/e"), std::vector<std::string>{"v"});
}

TEST(WritePath, ReturnsTheDeniedLevel) {
    Access access;
    access.box.directory("fixed", 0555).directory("lib", 0777).directory("lib/fixed", 0555);
    access.box.directory("lib/c", 0777).directory("lib/c/fixed", 0555).directory("lib/c/v", 0777);
    access.box.file("lib/c/v/fixed", "", 0444);
    test::asUnprivileged([&] {
        ryni_setUidGid();
        EXPECT_EQ(access.write("fixed"), RYN_PERMISSION_DENIED_LIBRARY);
        EXPECT_EQ(access.write("fixed", "c"), RYN_PERMISSION_DENIED_LIBRARY);
        EXPECT_EQ(access.write("fixed", "c", "v", "f"), RYN_PERMISSION_DENIED_LIBRARY);
        EXPECT_EQ(access.write("lib", "fixed"), RYN_PERMISSION_DENIED_CELL);
        EXPECT_EQ(access.write("lib", "fixed", "v"), RYN_PERMISSION_DENIED_CELL);
        EXPECT_EQ(access.write("lib", "fixed", "v", "f"), RYN_PERMISSION_DENIED_CELL);
        EXPECT_EQ(access.write("lib", "c", "fixed"), RYN_PERMISSION_DENIED_VIEW);
        EXPECT_EQ(access.write("lib", "c", "fixed", "f"), RYN_PERMISSION_DENIED_VIEW);
        EXPECT_EQ(access.write("lib", "c", "v", "fixed"), RYN_PERMISSION_DENIED_FILE);
        EXPECT_EQ(access.result, "-");
        EXPECT_EQ(access.write("lib", "c", "v", "new"), RYN_OK);
        EXPECT_EQ(access.write("lib", "new", "v", "f"), RYN_OK);
        EXPECT_TRUE(access.box.exists("lib/new/v"));
    });
}

TEST(WritePath, OtherErrorsAreSystemErrors) {
    Access access;
    access.box.file("lib/c/v", "").file("file", "");
    EXPECT_EQ(access.write("lib", "c", "v", "f"), RYN_SYSTEM_ERROR);
    EXPECT_EQ(access.write("file/lib"), RYN_SYSTEM_ERROR);
    EXPECT_EQ(access.write("file", "c"), RYN_SYSTEM_ERROR);
    faults::fail("mkdir", 1, ENOSPC);
    EXPECT_EQ(access.write("lib", "new"), RYN_SYSTEM_ERROR);
}

TEST(WritePath, AcceptsAFileCreatedMeanwhile) {
    Access access;
    access.box.directory("lib/c/v");
    faults::fail("stat", 1, ENOENT);
    access.box.file("lib/c/v/f", "");
    EXPECT_EQ(access.write("lib", "c", "v", "f"), RYN_OK);
}

TEST(WritePath, TestsACachedFileAgain) {
    Access access;
    access.box.directory("lib/c/v", 0777);
    access.box.directory("lib/c", 0777).directory("lib", 0777);
    rynStatCacheCtl(1);
    EXPECT_EQ(access.write("lib", "c", "v", "f"), RYN_OK);
    access.box.file("lib/c/v/f", "", 0444);
    test::asUnprivileged([&] {
        ryni_setUidGid();
        EXPECT_EQ(access.write("lib", "c", "v", "f"), RYN_PERMISSION_DENIED_FILE);
    });
}

TEST(WritePath, CreatesADirectoryThatIsCachedAsMissing) {
    Access access;
    access.box.directory("lib");
    rynStatCacheCtl(1);
    for (const int stale : {0, EACCES}) {
        errno = stale;
        EXPECT_EQ(access.read("lib", "c", "v"), RYN_NO_SUCH_CELL);
    }
    errno = EIO;
    EXPECT_EQ(access.write("lib", "c", "v", "f"), RYN_OK);
    EXPECT_EQ(access.read("lib", "c", "v"), RYN_OK);
}

TEST(WritePath, CachedMissingLibraryGivesTheSameCode) {
    Access access;
    rynStatCacheCtl(1);
    for (const int stale : {0, EACCES, EIO}) {
        errno = stale;
        EXPECT_EQ(access.write("lib"), RYN_NO_SUCH_DIRECTORY) << stale;
    }
}

// ---- ryni_access_path(): replace

TEST(ReplacePath, AcceptsAnObjectInAWritableDirectory) {
    Access access;
    access.box.file("p/lib/c/v/f", "", 0).link("p/lib/c/v/dangling", "nowhere").file("p/lib/c/f", "");
    EXPECT_EQ(access.replace("p/lib", "c", "v", "f"), RYN_OK);
    EXPECT_EQ(access.result, "p/lib/c/v/f");
    EXPECT_EQ(access.replace("p/lib", "c", "v", "dangling"), RYN_OK); // the link itself exists
    EXPECT_EQ(access.result, "p/lib/c/v/dangling");
    EXPECT_EQ(access.replace("p/lib", "c", "v"), RYN_OK);
    EXPECT_EQ(access.replace("p/lib", "c"), RYN_OK);
    EXPECT_EQ(access.replace("p/lib"), RYN_OK);
    EXPECT_EQ(access.result, "p/lib");
    EXPECT_EQ(access.replace("p/lib", "c", nullptr, "f"), RYN_OK);
    EXPECT_EQ(access.result, "p/lib/c/f");
}

TEST(ReplacePath, ReturnsTheOutermostMissingLevel) {
    Access access;
    EXPECT_EQ(access.replace("p/lib"), RYN_NO_SUCH_DIRECTORY);
    EXPECT_EQ(access.replace("p/lib", "c", "v", "f"), RYN_NO_SUCH_DIRECTORY);
    access.box.directory("p/lib");
    EXPECT_EQ(access.replace("p/lib", "c"), RYN_NO_SUCH_CELL);
    EXPECT_EQ(access.replace("p/lib", "c", "v", "f"), RYN_NO_SUCH_CELL);
    access.box.directory("p/lib/c");
    EXPECT_EQ(access.replace("p/lib", "c", "v"), RYN_NO_SUCH_VIEW);
    EXPECT_EQ(access.replace("p/lib", "c", "v", "f"), RYN_NO_SUCH_VIEW);
    EXPECT_EQ(access.replace("p/lib", "c", "", "f"), RYN_NO_SUCH_FILE);
    access.box.directory("p/lib/c/v");
    EXPECT_EQ(access.replace("p/lib", "c", "v", "f"), RYN_NO_SUCH_FILE);
    EXPECT_EQ(access.replace("p/lib", "", "", "f"), RYN_NO_SUCH_FILE);
    EXPECT_EQ(access.result, "-");
}

TEST(ReplacePath, IgnoresTheExistenceSetting) {
    Access access;
    access.checkExistence(false);
    EXPECT_EQ(access.replace("p/lib", "c"), RYN_NO_SUCH_DIRECTORY);
}

TEST(ReplacePath, ReturnsTheDeniedDirectory) {
    Access access;
    access.box.file("p/lib/c/v/f", "").file("p/lib/c/f", "").file("p/lib/f", "");
    const auto fix = [&](const char *directory) {
        for (const char *const other : {"p", "p/lib", "p/lib/c", "p/lib/c/v"}) {
            access.box.directory(other, 0777);
        }
        access.box.directory(directory, 0555);
    };
    const auto expect = [&](int code, const char *cell, const char *view, const char *file) {
        test::asUnprivileged([&] {
            ryni_setUidGid();
            EXPECT_EQ(access.replace("p/lib", cell, view, file), code);
        });
    };
    fix("p/lib/c/v");
    expect(RYN_PERMISSION_DENIED_VIEW, "c", "v", "f");
    expect(RYN_NO_SUCH_FILE, "c", "v", "missing");
    fix("p/lib/c");
    expect(RYN_PERMISSION_DENIED_CELL, "c", "v", nullptr);
    expect(RYN_PERMISSION_DENIED_CELL, "c", "v", "missing"); // the code for a view that cannot be replaced
    expect(RYN_PERMISSION_DENIED_VIEW, "c", nullptr, "f");   // Documented: the directory of a file is a view
    fix("p/lib");
    expect(RYN_PERMISSION_DENIED_LIBRARY, "c", nullptr, nullptr);
    expect(RYN_PERMISSION_DENIED_VIEW, nullptr, nullptr, "f");
    fix("p");
    expect(RYN_PERMISSION_DENIED, nullptr, nullptr, nullptr);
    expect(RYN_OK, "c", "v", "f");
}

TEST(ReplacePath, OtherErrorsAreSystemErrors) {
    Access access;
    access.box.file("p/lib/c/v", "").directory("q/lib");
    access.box.directory("q", 0555);
    EXPECT_EQ(access.replace("p/lib", "c", "v", "f"), RYN_SYSTEM_ERROR);
    faults::fail("access", 1, EROFS);
    EXPECT_EQ(access.replace("q/lib"), RYN_SYSTEM_ERROR);
    faults::fail("lstat", 1, EIO);
    EXPECT_EQ(access.replace("p/lib"), RYN_SYSTEM_ERROR);
    faults::fail("lstat", 1, EACCES);
    EXPECT_EQ(access.replace("p/lib", "c"), RYN_SYSTEM_ERROR);
}

TEST(ReplacePath, ReportsAPathWithoutASlash) {
    Access access;
    access.box.directory("lib");
    EXPECT_EQ(access.replace("lib"), RYN_INTERNAL_ERROR);
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].code, RYN_INTERNAL_ERROR);
    EXPECT_EQ(reports[0].text, "ryni_access_path()");
    EXPECT_EQ(access.replace("missing"), RYN_NO_SUCH_DIRECTORY);
    EXPECT_EQ(reports.size(), 1U);
}

TEST(ReplacePath, TestsTheRootForItsEntries) {
    Access access;
    test::asUnprivileged([&] {
        ryni_setUidGid();
        EXPECT_EQ(access.replace("/dev"), RYN_PERMISSION_DENIED);
    });
}

TEST(ReplacePath, CachedDirectoryGivesTheSameCodeAgain) {
    Access access;
    access.box.directory("p/lib");
    access.box.directory("p", 0555);
    rynStatCacheCtl(1);
    test::asUnprivileged([&] {
        ryni_setUidGid();
        for (const int stale : {0, ENOENT, EIO}) {
            errno = stale;
            EXPECT_EQ(access.replace("p/lib"), RYN_PERMISSION_DENIED) << stale;
        }
    });
}
