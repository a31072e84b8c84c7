// Creating and releasing registries, the default handle, and the process-wide settings.

#include "libdef/paths/ryni_stat_cache.h"
#include "libdef/registry/ryni_error.h"
#include "libdef/registry/ryni_settings.h"
#include "tests/libdef/libdef_support.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

using test::Capture;
using test::Definitions;
using test::Diagnostics;
using test::Environment;
using test::ErrorReports;
using test::recorded;
namespace faults = test::faults;

namespace {

using Names = std::vector<std::string>;

int otherFatal(int code, const char *text, const char * /*sameText*/) {
    recorded.fatals.push_back({code, text, "other"});
    return 1;
}

int acceptsNothing(const char * /*attribute*/, const char * /*value*/, const char * /*file*/, int /*line*/) {
    return 1;
}

int acceptsAll(const char * /*attribute*/, const char * /*value*/, const char * /*file*/, int /*line*/) {
    return 0;
}

/// A handle that is not null, to see that a failed creation stores null.
rynHandle someHandle() {
    static rynRegistry registry;
    return &registry;
}

// ---- the default handle

TEST(RynInit, NoDefaultHandleBeforeTheFirstCreation) {
    Definitions definitions;
    EXPECT_EQ(rynGetCurHandle(), nullptr);
    EXPECT_NE(definitions.read(test::recordWarning), 0);
    EXPECT_EQ(rynGetCurHandle(), nullptr);
}

TEST(RynInit, RegistryWithoutAFileIsEmptyAndTheDefault) {
    Definitions definitions;
    ASSERT_EQ(rynInitEx(nullptr, 0, test::recordWarning, nullptr, nullptr, 0, &definitions.handle), 0);
    ASSERT_NE(definitions.handle, nullptr);
    EXPECT_EQ(definitions.handle->files.head, nullptr);
    EXPECT_EQ(definitions.handle->libraries.head, nullptr);
    ASSERT_NE(rynGetCurHandle(), nullptr);
    EXPECT_EQ(*rynGetCurHandle(), definitions.handle);
}

TEST(RynInit, AcceptsANullHandlePointer) {
    Definitions definitions;
    ASSERT_EQ(rynInitEx(nullptr, 0, test::recordWarning, nullptr, nullptr, 0, nullptr), 0);
    definitions.handle = *rynGetCurHandle();
    ASSERT_NE(definitions.handle, nullptr);
    rynAddCommand(nullptr, "DEFINE a a");
    EXPECT_EQ(definitions.names(), Names{"a"});
}

TEST(RynInit, NewestRegistryIsTheDefault) {
    Definitions definitions;
    ASSERT_EQ(rynInit(nullptr, 0, test::recordWarning, nullptr, &definitions.handle), 0);
    rynHandle second = nullptr;
    ASSERT_EQ(rynInit(nullptr, 0, test::recordWarning, nullptr, &second), 0);
    EXPECT_EQ(*rynGetCurHandle(), second);

    EXPECT_EQ(rynReleaseHandle(second), 0);
    EXPECT_EQ(*rynGetCurHandle(), nullptr);
    Capture capture;
    EXPECT_EQ(rynReleaseHandle(nullptr), RYN_INVALID_PARAMETER);
    EXPECT_EQ(capture.err(), "*ERROR* - RYN internal error - Invalid Parameter - rynReleaseHandle()\n");
}

TEST(RynInit, ReleasingAnOlderRegistryKeepsTheDefault) {
    Definitions definitions;
    rynHandle first = nullptr;
    ASSERT_EQ(rynInit(nullptr, 0, test::recordWarning, nullptr, &first), 0);
    ASSERT_EQ(rynInit(nullptr, 0, test::recordWarning, nullptr, &definitions.handle), 0);
    EXPECT_EQ(rynReleaseHandle(first), 0);
    EXPECT_EQ(*rynGetCurHandle(), definitions.handle);
}

TEST(RynInit, NullReleasesTheDefault) {
    Definitions definitions;
    ASSERT_EQ(rynInit(nullptr, 0, test::recordWarning, nullptr, nullptr), 0);
    EXPECT_EQ(rynReleaseHandle(nullptr), 0);
    EXPECT_EQ(*rynGetCurHandle(), nullptr);
}

TEST(RynInit, FailedCreationKeepsTheDefaultAndStoresNull) {
    Definitions definitions;
    ASSERT_EQ(rynInit(nullptr, 0, test::recordWarning, test::recordFatal, &definitions.handle), 0);
    rynHandle second = someHandle();
    EXPECT_EQ(rynInit("none", 0, test::recordWarning, nullptr, &second), RYN_SYSTEM_ERROR);
    EXPECT_EQ(second, nullptr);
    EXPECT_EQ(*rynGetCurHandle(), definitions.handle);
}

TEST(RynInit, ShortFormsUseTheirArguments) {
    Definitions definitions;
    definitions.box.file("vek.lib", "FOO\n");
    rynHandle handle = nullptr;
    ASSERT_EQ(rynInit("vek.lib", 0x30U, test::recordWarning, otherFatal, &handle), 0);
    EXPECT_EQ(handle->flags, 0x30U);
    EXPECT_EQ(handle->fatalHandler, otherFatal);
    EXPECT_EQ(recorded.diagnostics.size(), 1U);
    rynReleaseHandle(handle);
    ASSERT_EQ(rynInitialize("vek.lib", test::recordWarning, &handle), 0);
    EXPECT_EQ(handle->flags, 0U);
    EXPECT_EQ(handle->fatalHandler, nullptr);
    EXPECT_EQ(handle->warningHandler, test::recordWarning);
    EXPECT_EQ(recorded.diagnostics.size(), 2U);
    rynReleaseHandle(handle);
}

TEST(RynInit, StoresTheFlagsUnchanged) {
    Definitions definitions;
    ASSERT_EQ(rynInit(nullptr, 0xfffffffeU, test::recordWarning, nullptr, &definitions.handle), 0);
    EXPECT_EQ(definitions.handle->flags, 0xfffffffeU);
    EXPECT_EQ(definitions.handle->umask, 0U);
}

TEST(RynInit, NullWarningHandlerIsTheDefaultHandler) {
    Definitions definitions;
    ASSERT_EQ(rynInit(nullptr, 0, nullptr, nullptr, &definitions.handle), 0);
    EXPECT_EQ(definitions.handle->warningHandler, ryn::printWarning);
}

// ---- fatal reports of a creation

TEST(RynInit, FirstFatalHandlerIsUsedProcessWide) {
    Definitions definitions;
    ASSERT_EQ(rynInit(nullptr, 0, test::recordWarning, nullptr, &definitions.handle), 0);
    rynHandle second = nullptr;
    ASSERT_EQ(rynInit(nullptr, 0, test::recordWarning, test::recordFatal, &second), 0);
    rynHandle third = nullptr;
    ASSERT_EQ(rynInit(nullptr, 0, test::recordWarning, otherFatal, &third), 0);
    rynAddCommand(definitions.handle, nullptr);
    rynAddCommand(second, nullptr);
    rynAddCommand(third, nullptr);
    rynReleaseHandle(third);
    rynReleaseHandle(second);
    EXPECT_EQ(rynReleaseHandle(nullptr), RYN_INVALID_PARAMETER);
    EXPECT_EQ(recorded.fatals,
              (ErrorReports{{RYN_INVALID_PARAMETER, "rynAddCommand()", "rynAddCommand()"},
                            {RYN_INVALID_PARAMETER, "rynAddCommand()", "rynAddCommand()"},
                            {RYN_INVALID_PARAMETER, "rynAddCommand()", "other"},
                            {RYN_INVALID_PARAMETER, "rynReleaseHandle()", "rynReleaseHandle()"}}));
}

TEST(RynInit, ExhaustedMemoryForTheRegistryIsFatal) {
    Definitions definitions;
    rynHandle handle = someHandle();
    // The registry and its indexes.
    for (int nth = 1; nth <= 3; ++nth) {
        recorded.fatals.clear();
        faults::failAllocation(nth);
        EXPECT_EQ(rynInit(nullptr, 0, test::recordWarning, test::recordFatal, &handle), RYN_MEMORY_ERROR);
        faults::reset();
        EXPECT_EQ(handle, nullptr);
        EXPECT_EQ(recorded.fatals, (ErrorReports{{RYN_MEMORY_ERROR, "rynInit() - 1", "rynInit() - 1"}}))
            << nth;
    }
}

TEST(RynInit, ExhaustedMemoryForTheDirectoryIsFatal) {
    Definitions definitions;
    int contexts = 0;
    for (int nth = 1;; ++nth) {
        recorded.fatals.clear();
        faults::reset();
        faults::failAllocation(nth);
        rynHandle handle = nullptr;
        const int status = rynInit(nullptr, 0, test::recordWarning, test::recordFatal, &handle);
        const bool reached = faults::count("malloc") >= nth;
        faults::reset();
        if (status == 0) {
            rynReleaseHandle(handle);
        } else {
            EXPECT_EQ(status, RYN_MEMORY_ERROR);
            ASSERT_EQ(recorded.fatals.size(), 1U);
            contexts += recorded.fatals[0].text == "rynInit() - 2" ? 1 : 0;
        }
        if (!reached) {
            break;
        }
    }
    EXPECT_EQ(contexts, 1);
}

TEST(RynInit, FailedGetcwdIsReportedToTheProcessWideHandler) {
    Definitions definitions;
    ASSERT_EQ(rynInit(nullptr, 0, test::recordWarning, test::recordFatal, &definitions.handle), 0);
    faults::fail("getcwd", 1, ENOENT);
    rynHandle handle = someHandle();
    EXPECT_EQ(rynInit(nullptr, 0, test::recordWarning, otherFatal, &handle), RYN_SYSTEM_ERROR);
    EXPECT_EQ(handle, nullptr);
    const std::string text = "unable to get current working directory";
    EXPECT_EQ(recorded.fatals, (ErrorReports{{RYN_SYSTEM_ERROR, text, text}}));
    EXPECT_EQ(*rynGetCurHandle(), definitions.handle);
}

TEST(RynInit, RemovedWorkingDirectoryIsFatal) {
    Definitions definitions;
    definitions.box.directory("gone");
    ASSERT_EQ(chdir("gone"), 0);
    ASSERT_EQ(rmdir(definitions.path("gone").c_str()), 0);
    Capture capture;
    EXPECT_EQ(rynInit(nullptr, 0, test::recordWarning, nullptr, &definitions.handle), RYN_SYSTEM_ERROR);
    EXPECT_EQ(capture.err(),
              "*ERROR* - RYN internal error - System error - unable to get current working directory\n");
}

// ---- the current directory

std::string currentDirectoryWith(const std::string &pwd) {
    if (pwd.empty()) {
        unsetenv("PWD");
    } else {
        setenv("PWD", pwd.c_str(), 1);
    }
    rynHandle handle = nullptr;
    EXPECT_EQ(rynInit(nullptr, 0, test::recordWarning, nullptr, &handle), 0);
    std::string directory = handle->currentDirectory;
    rynReleaseHandle(handle);
    return directory;
}

TEST(RynInit, CurrentDirectoryIsPwdWithItsLinks) {
    Definitions definitions;
    definitions.box.directory("real/in").link("link", "real");
    const std::string real = definitions.path("real/in");
    ASSERT_EQ(chdir(real.c_str()), 0);
    EXPECT_EQ(currentDirectoryWith(definitions.path("link/in")), definitions.path("link/in"));
    EXPECT_EQ(currentDirectoryWith(definitions.path("link/./in/.")), definitions.path("link/./in/."));
    EXPECT_EQ(currentDirectoryWith(real), real);
}

TEST(RynInit, PwdOfAnotherDirectoryIsIgnored) {
    Definitions definitions;
    definitions.box.directory("real/in").link("link", "real");
    const std::string real = definitions.path("real/in");
    ASSERT_EQ(chdir(real.c_str()), 0);
    for (const std::string &pwd :
         {std::string(), definitions.path("link"), std::string("link/in"), std::string("."), std::string("/"),
          definitions.path("none"), "/" + std::string(5000, 'x'), real + "/" + std::string(4095, '.')}) {
        EXPECT_EQ(currentDirectoryWith(pwd), real) << pwd;
    }
    setenv("PWD", "", 1);
    rynHandle handle = nullptr;
    ASSERT_EQ(rynInit(nullptr, 0, test::recordWarning, nullptr, &handle), 0);
    EXPECT_EQ(handle->currentDirectory, real);
    rynReleaseHandle(handle);
}

TEST(RynInit, PwdLimitIs4095Characters) {
    Definitions definitions;
    const std::string here = definitions.path();
    std::string pwd = here;
    while (pwd.size() < 4095 - 1) {
        pwd += "/.";
    }
    pwd.resize(4095, '/');
    EXPECT_EQ(currentDirectoryWith(pwd), pwd);
    EXPECT_EQ(currentDirectoryWith(pwd + "/"), here);
    EXPECT_EQ(currentDirectoryWith(pwd + "//"), here);
}

// ---- options

TEST(RynInit, ReadsOptionsUpToTheirSize) {
    static_assert(sizeof(rynInitOptions) == 32);
    static_assert(offsetof(rynInitOptions, errorHandler) == 0);
    static_assert(offsetof(rynInitOptions, implicitTmpDirectory) == 8);
    static_assert(offsetof(rynInitOptions, implicitTmpFlags) == 16);
    static_assert(offsetof(rynInitOptions, unknownAssignHook) == 24);
    Definitions definitions;
    definitions.box.directory("t");
    const rynUnknownAssignHook original = rynSetUnknownASSIGNfunc(acceptsAll);
    EXPECT_NE(original, nullptr);
    const rynInitOptions options = {test::recordError, "t", 2, acceptsNothing};
    struct Case {
        std::size_t size;
        bool first;
        bool hook;
    };
    for (const Case &given :
         {Case{0, false, false}, Case{1, false, false}, Case{23, false, false}, Case{24, true, false},
          Case{31, true, false}, Case{32, true, true}, Case{1000, true, true}}) {
        rynHandle handle = nullptr;
        ASSERT_EQ(rynInitEx(nullptr, 0, test::recordWarning, nullptr, &options, given.size, &handle), 0);
        EXPECT_EQ(handle->errorHandler, given.first ? test::recordError : nullptr) << given.size;
        EXPECT_EQ(handle->implicitTmpFlags, given.first ? 2U : 0U) << given.size;
        EXPECT_EQ(test::textOf(handle->implicitTmpDirectory), given.first ? "t" : "(null)") << given.size;
        EXPECT_EQ(handle->unknownAssignHook, given.hook ? acceptsNothing : acceptsAll) << given.size;
        rynReleaseHandle(handle);
    }
}

TEST(RynInit, NullOptionsAreIgnoredWithAnySize) {
    Definitions definitions;
    EXPECT_EQ(rynInitEx(nullptr, 0, test::recordWarning, nullptr, nullptr, 32, &definitions.handle), 0);
    EXPECT_EQ(definitions.handle->errorHandler, nullptr);
}

TEST(RynInit, ImplicitDirectoryNeedsFlagsAndPath) {
    Definitions definitions;
    for (const rynInitOptions &options :
         {rynInitOptions{nullptr, "none", 0, nullptr}, rynInitOptions{nullptr, nullptr, 1, nullptr},
          rynInitOptions{nullptr, "", 0, nullptr}}) {
        rynHandle handle = nullptr;
        EXPECT_EQ(rynInitEx(nullptr, 0, test::recordWarning, nullptr, &options, sizeof options, &handle), 0);
        EXPECT_EQ(handle->implicitTmpFlags, 0U);
        EXPECT_EQ(handle->implicitTmpDirectory, nullptr);
        EXPECT_NE(handle->unknownAssignHook, nullptr);
        rynReleaseHandle(handle);
    }
}

TEST(RynInit, FailedImplicitDirectoryIsReportedAndFailsTheCreation) {
    Definitions definitions;
    const rynInitOptions options = {test::recordError, "none", 1, nullptr};
    rynHandle handle = someHandle();
    EXPECT_EQ(rynInitEx(nullptr, 0, test::recordWarning, test::recordFatal, &options, 24, &handle),
              RYN_INVALID_PATH);
    EXPECT_EQ(handle, nullptr);
    const std::string path = definitions.path("none");
    EXPECT_EQ(recorded.errors, (ErrorReports{{RYN_INVALID_PATH, path, path}}));
    EXPECT_EQ(recorded.fatals, ErrorReports{});
    EXPECT_EQ(rynGetCurHandle(), nullptr);

    const rynInitOptions silent = {nullptr, "none", 1, nullptr};
    Capture capture;
    EXPECT_EQ(rynInitEx(nullptr, 0, test::recordWarning, nullptr, &silent, 24, &handle), RYN_INVALID_PATH);
    EXPECT_EQ(capture.err(), "RYN  error: Invalid path \"" + path + "\"\n");
}

TEST(RynInit, EmptyImplicitDirectoryWithFlagsIsAnInvalidParameter) {
    Definitions definitions;
    const rynInitOptions options = {test::recordError, "", 1, nullptr};
    EXPECT_EQ(rynInitEx(nullptr, 0, test::recordWarning, nullptr, &options, 24, &definitions.handle),
              RYN_INVALID_PARAMETER);
    EXPECT_EQ(recorded.errors, ErrorReports{});
    EXPECT_EQ(definitions.handle, nullptr);
}

TEST(RynInit, ImplicitDirectoryIsSetBeforeTheFileIsRead) {
    Definitions definitions;
    definitions.box.directory("t").file("vek.lib", "DEFINE a a\n");
    const rynInitOptions options = {nullptr, "t", 1, nullptr};
    ASSERT_EQ(rynInitEx("vek.lib", 0, test::recordWarning, nullptr, &options, 24, &definitions.handle), 0);
    EXPECT_EQ(definitions.library("a")->implicitTmp, definitions.path("t/a"));
}

TEST(RynInit, HookOfTheOptionsIsCalledForTheFile) {
    Definitions definitions;
    definitions.box.file("vek.lib", "DEFINE a a\nASSIGN a X 1\n");
    const rynInitOptions options = {nullptr, nullptr, 0, acceptsNothing};
    ASSERT_EQ(rynInitEx("vek.lib", 0, test::recordWarning, nullptr, &options, 32, &definitions.handle), 0);
    EXPECT_EQ(recorded.diagnostics,
              (Diagnostics{{RYN_INVALID_ATTRIBUTE, "X", definitions.path("vek.lib"), 2}}));
}

// ---- the top file

TEST(RynInit, RelativeTopFileCountsFromPwd) {
    Definitions definitions(Environment{{"HOME", "/none"}, {"L", "sub"}});
    definitions.box.file("real/sub/vek.lib", "").link("link", "real");
    ASSERT_EQ(chdir(definitions.path("real").c_str()), 0);
    setenv("PWD", definitions.path("link").c_str(), 1);
    ASSERT_EQ(rynInit("$L/./vek.lib", 0, test::recordWarning, nullptr, &definitions.handle), 0);
    EXPECT_EQ(definitions.handle->files.head->path, definitions.path("link/sub/vek.lib"));
    EXPECT_EQ(definitions.handle->files.head->nslPath, definitions.path("real/sub/vek.lib"));
}

TEST(RynInit, InvalidPathOfTheTopFileIsFatal) {
    Definitions definitions;
    EXPECT_EQ(rynInit("~nosuchuser/vek.lib", 0, test::recordWarning, test::recordFatal, &definitions.handle),
              RYN_INVALID_PATH);
    EXPECT_EQ(rynInit("/../vek.lib", 0, test::recordWarning, test::recordFatal, &definitions.handle),
              RYN_INTERNAL_ERROR);
    EXPECT_EQ(rynInit("$UNSET/vek.lib", 0, test::recordWarning, test::recordFatal, &definitions.handle),
              RYN_INTERNAL_ERROR);
    EXPECT_EQ(recorded.fatals, (ErrorReports{{RYN_INVALID_PATH, "~nosuchuser/vek.lib", "~nosuchuser/vek.lib"},
                                             {RYN_INTERNAL_ERROR, "/../vek.lib", "/../vek.lib"},
                                             {RYN_INTERNAL_ERROR, "$UNSET/vek.lib", "$UNSET/vek.lib"}}));
    EXPECT_EQ(definitions.handle, nullptr);
}

TEST(RynInit, ErrorOfTheTopFileCallsTheGivenHandler) {
    Definitions definitions;
    ryn::setFirstFatalHandler(test::recordFatal);
    EXPECT_EQ(rynInit("~nosuchuser", 0, test::recordWarning, otherFatal, &definitions.handle),
              RYN_INVALID_PATH);
    EXPECT_EQ(rynInit("none", 0, test::recordWarning, otherFatal, &definitions.handle), RYN_SYSTEM_ERROR);
    EXPECT_EQ(recorded.fatals, (ErrorReports{{RYN_INVALID_PATH, "~nosuchuser", "other"},
                                             {RYN_SYSTEM_ERROR, definitions.path("none"), "other"}}));
}

TEST(RynInit, TopFilePathLimitIs4095Characters) {
    Definitions definitions;
    for (const std::size_t size :
         {std::size_t{4095}, std::size_t{4096}, std::size_t{4097}, std::size_t{100000}}) {
        recorded.fatals.clear();
        const std::string name = "/" + std::string(size - 1, 'x');
        EXPECT_NE(rynInit(name.c_str(), 0, test::recordWarning, test::recordFatal, &definitions.handle), 0);
        EXPECT_EQ(definitions.handle, nullptr);
        EXPECT_EQ(recorded.fatals,
                  (ErrorReports{{size < 4096 ? RYN_SYSTEM_ERROR : RYN_INVALID_PATH, name, name}}))
            << size;
    }
}

TEST(RynInit, EmptyNameIsTheCurrentDirectoryAndReadsNothing) {
    Definitions definitions;
    ASSERT_EQ(rynInit("", 0, test::recordWarning, nullptr, &definitions.handle), 0);
    EXPECT_EQ(definitions.handle->files.head->path, definitions.path());
    EXPECT_EQ(definitions.names(), Names{});
}

TEST(RynInit, ReturnsTheResultOfReading) {
    Definitions definitions;
    definitions.box.file("vek.lib", "FOO\n");
    recorded.warningResult = -77;
    rynHandle handle = someHandle();
    EXPECT_EQ(rynInit("vek.lib", 0, test::recordWarning, nullptr, &handle), -77);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(rynGetCurHandle(), nullptr);
}

// ---- settings that a creation reads

TEST(RynInit, LibraryCheckIsReadWithEveryTopFile) {
    Definitions definitions;
    definitions.box.file("vekinfo.tag", "VEKLIBCHECK ON\n");
    EXPECT_EQ(ryni_doVekLibCheck(), 0);
    ASSERT_EQ(rynInit(nullptr, 0, test::recordWarning, nullptr, &definitions.handle), 0);
    EXPECT_EQ(ryni_doVekLibCheck(), 0);
    definitions.release();
    ASSERT_EQ(definitions.load(""), 0);
    EXPECT_EQ(ryni_doVekLibCheck(), 1);
    definitions.box.directory("other");
    definitions.box.file("other/vekinfo.tag", "VEKLIBCHECK OFF\n").file("other/vek.lib", "");
    ASSERT_EQ(chdir("other"), 0);
    ASSERT_EQ(definitions.read(test::recordWarning), 0);
    EXPECT_EQ(ryni_doVekLibCheck(), 0);
}

TEST(RynInit, CaseSettingIsReadWithEveryTopFile) {
    struct Case {
        const char *value;
        bool ignores;
    };
    Definitions definitions;
    for (const Case &given :
         {Case{"match", true}, Case{"no", false}, Case{"MATCH", true}, Case{"matchx", false},
          Case{"MaTcH", true}, Case{"matc", false}, Case{"Match", true}, Case{"", false}, Case{"match", true},
          Case{" match", false}}) {
        setenv("VEK_ALT_NMP", given.value, 1);
        ASSERT_EQ(definitions.load(""), 0);
        EXPECT_EQ(ryn::ignoresCase(), given.ignores) << given.value;
    }
    setenv("VEK_ALT_NMP", "match", 1);
    definitions.release();
    ASSERT_EQ(rynInit(nullptr, 0, test::recordWarning, nullptr, &definitions.handle), 0);
    EXPECT_FALSE(ryn::ignoresCase());
    ASSERT_EQ(definitions.load(""), 0);
    EXPECT_TRUE(ryn::ignoresCase());
    unsetenv("VEK_ALT_NMP");
    ASSERT_EQ(definitions.load(""), 0);
    EXPECT_FALSE(ryn::ignoresCase());
}

TEST(RynInit, StatCacheSettingIsReadAtEveryCreation) {
    Definitions definitions(Environment{{"RYN_STAT_CACHE_ON", "yes"}});
    EXPECT_FALSE(ryn::statCache.isOn());
    ASSERT_EQ(rynInit(nullptr, 0, test::recordWarning, nullptr, &definitions.handle), 0);
    EXPECT_TRUE(ryn::statCache.isOn());
    setenv("RYN_STAT_CACHE_ON", "no", 1);
    definitions.release();
    ASSERT_EQ(rynInit(nullptr, 0, test::recordWarning, nullptr, &definitions.handle), 0);
    EXPECT_FALSE(ryn::statCache.isOn());
}

TEST(RynInit, RecordsTheUserIdAtEveryCreation) {
    Definitions definitions;
    definitions.box.file("closed.lib", "", 0600).file("vek.lib", "INCLUDE closed.lib\n");
    ASSERT_EQ(definitions.read(test::recordWarning), 0);
    definitions.release();
    // Without root the user does not change and can read the file.
    const Diagnostics denied = {
        {RYN_PERMISSION_DENIED_FILE, definitions.path("closed.lib"), definitions.path("vek.lib"), 1}};
    const Diagnostics expected = geteuid() == 0 ? denied : Diagnostics{};
    test::asUnprivileged([&] {
        EXPECT_EQ(definitions.read(test::recordWarning), 0);
        // With the ids of the previous user the mode bits would allow it, and the failing open() would be fatal.
        EXPECT_EQ(recorded.diagnostics, expected);
    });
}

// ---- other settings

TEST(RynInit, UmaskIsLimitedToGroupAndOthers) {
    Definitions definitions;
    ASSERT_EQ(rynInit(nullptr, 0x40U, test::recordWarning, nullptr, &definitions.handle), 0);
    EXPECT_EQ(rynSetUmask(definitions.handle, 511), 0);
    EXPECT_EQ(definitions.handle->umask, 63U);
    EXPECT_EQ(definitions.handle->flags, 0x41U);
    EXPECT_EQ(rynSetUmask(nullptr, 022), 0);
    EXPECT_EQ(definitions.handle->umask, 022U);
    EXPECT_EQ(rynSetUmask(nullptr, 0700), 0);
    EXPECT_EQ(definitions.handle->umask, 0U);
    EXPECT_EQ(definitions.handle->flags, 0x41U);
}

TEST(RynInit, SetUmaskWithoutARegistryIsFatal) {
    Definitions definitions;
    Capture capture;
    EXPECT_EQ(rynSetUmask(nullptr, 0), RYN_INVALID_PARAMETER);
    EXPECT_EQ(capture.err(), "*ERROR* - RYN internal error - Invalid Parameter - rynSetUmask()\n");
}

TEST(RynInit, ProcessWideHookAppliesToLaterRegistries) {
    Definitions definitions;
    ASSERT_EQ(rynInit(nullptr, 0, test::recordWarning, nullptr, &definitions.handle), 0);
    const rynUnknownAssignHook first = rynSetUnknownASSIGNfunc(acceptsNothing);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first("X", "1", "f", 1), 0);
    EXPECT_EQ(definitions.handle->unknownAssignHook, first);
    rynHandle later = nullptr;
    ASSERT_EQ(rynInit(nullptr, 0, test::recordWarning, nullptr, &later), 0);
    EXPECT_EQ(later->unknownAssignHook, acceptsNothing);
    EXPECT_EQ(rynSetUnknownASSIGNfunc(nullptr), acceptsNothing);
    EXPECT_EQ(rynSetUnknownASSIGNfunc(first), nullptr);
    EXPECT_EQ(later->unknownAssignHook, acceptsNothing);
    rynReleaseHandle(later);
}

TEST(RynInit, ExistenceSettingOfTheRegistryComesFirst) {
    rynRegistry registry = {};
    const auto setting = [&](unsigned flags) {
        registry.flags = flags;
        return ryniCheckPathNoneExistWarnFlag(&registry);
    };
    for (const int general : {0, 1, 0, -3}) {
        rynSetPathNoneExistWarnFlag(general);
        const int on = general != 0 ? 1 : 0;
        EXPECT_EQ(ryniCheckPathNoneExistWarnFlag(nullptr), on);
        EXPECT_EQ(setting(0), on);
        EXPECT_EQ(setting(0x20), on);
        EXPECT_EQ(setting(0xffffffcfU), on);
        EXPECT_EQ(setting(0x10), 1);
        EXPECT_EQ(setting(0x30), 0);
        EXPECT_EQ(setting(0xffffffffU), 0);
    }
}

TEST(RynInit, ProcessWideExistenceSettingIsInitiallyOff) {
    EXPECT_EQ(ryniCheckPathNoneExistWarnFlag(nullptr), 0);
    Definitions definitions;
    EXPECT_EQ(definitions.load("DEFINE a none\n"), 0);
    EXPECT_EQ(definitions.names(), Names{"a"});
    rynSetPathNoneExistWarnFlag(1);
    EXPECT_EQ(definitions.load("DEFINE a none\n"), 0);
    EXPECT_EQ(recorded.diagnostics.size(), 1U);
    EXPECT_EQ(definitions.load("DEFINE a none\n", 0x30), 0);
    EXPECT_EQ(definitions.names(), Names{"a"});
}

// ---- memory

const char *const kSmallFile =
    "DEFINE a real\nASSIGN a COLOR red\nASSIGN a TMP t\nDEFINE b b # x\nDEFINE b c\n"
    "INCLUDE more.lib\nASSIGN AllLibs TmpRootDir root\nUNDEFINE more\n";

void writeSmallFile(Definitions &definitions) {
    definitions.box.directory("dir")
        .link("real", "dir")
        .directory("t")
        .directory("root")
        .directory("implicit");
    definitions.box.file("vek.lib", kSmallFile).file("more.lib", "DEFINE more more\nSOFTDEFINE c d\n");
}

/// A creation in which the `nth` allocation fails. @return whether there were so many
bool createWithout(Definitions &definitions, int nth, rynWarningHandler handler, int &status) {
    const rynInitOptions options = {test::recordError, "implicit", 1, acceptsAll};
    recorded.diagnostics.clear();
    recorded.fatals.clear();
    recorded.errors.clear();
    faults::reset();
    faults::failAllocation(nth);
    status =
        rynInitEx("vek.lib", 0, handler, test::recordFatal, &options, sizeof options, &definitions.handle);
    const bool reached = faults::count("malloc") >= nth;
    faults::reset();
    return reached;
}

TEST(RynInit, ExhaustedMemoryLeavesACompleteRegistryOrNone) {
    Definitions definitions;
    writeSmallFile(definitions);
    Capture capture;
    int status = 0;
    ASSERT_FALSE(createWithout(definitions, 1000000, test::recordWarning, status));
    ASSERT_EQ(status, 0);
    const Diagnostics usual = recorded.diagnostics;
    const std::string dump = definitions.dump();
    definitions.release();
    for (int nth = 1; createWithout(definitions, nth, test::recordWarning, status); ++nth) {
        const std::string printed = capture.err();
        if (status != 0) {
            EXPECT_TRUE(status == RYN_MEMORY_ERROR || status == RYN_SYSTEM_ERROR)
                << nth << " gave " << status;
            EXPECT_EQ(definitions.handle, nullptr) << nth;
            EXPECT_EQ(recorded.fatals.size() + recorded.errors.size(), 1U) << nth;
            continue;
        }
        ASSERT_NE(definitions.handle, nullptr) << nth;
        if (recorded.diagnostics == usual) {
            EXPECT_TRUE(definitions.dump() == dump || !printed.empty()) << nth;
        }
        EXPECT_EQ(definitions.dump().find("ERROR"), std::string::npos) << nth;
        definitions.release();
    }
    EXPECT_EQ(status, 0);
    EXPECT_EQ(definitions.dump(), dump);
}

TEST(RynInit, ExhaustedMemoryFailsTheCreationWithAStrictHandler) {
    Definitions definitions;
    definitions.box.directory("dir").link("real", "dir").directory("t").directory("implicit");
    definitions.box.file("vek.lib", "DEFINE a real\nASSIGN a COLOR red\nASSIGN a TMP t\nINCLUDE more.lib\n");
    definitions.box.file("more.lib", "DEFINE more more\nSOFTDEFINE c d\n");
    Capture capture;
    int status = 0;
    ASSERT_FALSE(createWithout(definitions, 1000000, test::recordAndStop, status));
    ASSERT_EQ(status, 0);
    const std::string dump = definitions.dump();
    definitions.release();
    for (int nth = 1; createWithout(definitions, nth, test::recordAndStop, status); ++nth) {
        if (status == 0) {
            EXPECT_EQ(definitions.dump(), dump) << nth;
            definitions.release();
        } else {
            EXPECT_EQ(definitions.handle, nullptr) << nth;
            EXPECT_TRUE(status == RYN_MEMORY_ERROR || status == RYN_SYSTEM_ERROR)
                << nth << " gave " << status;
        }
    }
}

TEST(RynInit, PermanentlyExhaustedMemoryFailsTheCreation) {
    Definitions definitions;
    writeSmallFile(definitions);
    for (int nth = 1; nth < 60; ++nth) {
        faults::failAllocationsFrom(nth);
        rynHandle handle = someHandle();
        const int status =
            rynInitEx("vek.lib", 0, test::recordAndStop, test::recordFatal, nullptr, 0, &handle);
        faults::reset();
        EXPECT_EQ(status != 0, handle == nullptr) << nth;
        if (handle != nullptr) {
            rynReleaseHandle(handle);
        }
    }
}

// ---- growth

TEST(RynInit, CallsReadlinkOncePerFileAndPrefix) {
    Definitions definitions;
    std::string text;
    for (int i = 0; i < 50; ++i) {
        const std::string name = "f" + std::to_string(i);
        definitions.box.file("inc/" + name, "DEFINE " + name + " d" + std::to_string(i) + "\n");
        text += "INCLUDE inc/" + name + "\n";
    }
    ASSERT_EQ(definitions.load(""), 0);
    faults::reset();
    ASSERT_EQ(definitions.read(test::recordWarning), 0);
    const int withoutFiles = faults::count("readlink");
    definitions.box.file("vek.lib", text);
    faults::reset();
    ASSERT_EQ(definitions.read(test::recordWarning), 0);
    // One for "inc", and for each included file one for the file and one for its library.
    EXPECT_EQ(faults::count("readlink") - withoutFiles, 101);
}

} // namespace
