#include "common/platform/vek_install_root.h"

#include "common/base/owned.h"
#include "common/platform/vek_init.h"
#include "common/platform/veki_init.h"
#include "common/platform/veki_install_root.h"
#include "common/platform/veki_real_path.h"
#include "tests/support/capture.h"
#include "tests/support/child.h"
#include "tests/support/environment.h"
#include "tests/support/faults.h"
#include "tests/support/sandbox.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sched.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

using Texts = std::vector<std::string>;

const std::string None = "<none>";

/// A copy of an allocated string, which is freed.
std::string adopted(char *text) {
    const vek::OwnedText owned(text);
    return owned ? owned.get() : None;
}

Texts adopted(char **list) {
    Texts texts;
    for (char **entry = list; entry != nullptr && *entry != nullptr; ++entry) {
        texts.push_back(adopted(*entry));
    }
    std::free(list);
    return texts;
}

/// Creates directories below the working directory and changes to the last one, whose path has `length` characters.
void goDown(std::size_t length) {
    std::size_t now = std::strlen(vek::Owned<char>(getcwd(nullptr, 0)).get());
    while (now < length) {
        // A component has at most 200 characters, and the last one is not empty.
        const std::size_t left = length - now - 1;
        const std::string name(left > 201 ? 199 : left, 'd');
        static_cast<void>(mkdir(name.c_str(), 0755));
        ASSERT_EQ(0, chdir(name.c_str())) << now;
        now += 1 + name.size();
    }
}

/// A directory for installations, in a process with an empty environment that is not initialized.
class InstallRoot : public testing::Test {
  protected:
    InstallRoot() { test::setEnvironment({}); }
    ~InstallRoot() override {
        std::free(vekiRootPath);
        vekiRootPath = nullptr;
    }

    void install(const std::string &root, const std::string &tools = "tools") {
        box.file(root + "/" + tools + "/bin/vek_root", "", 0755);
    }

    static void start(std::string name) {
        char *argv[] = {name.data(), nullptr};
        vekInit(nullptr, argv);
    }

    test::Sandbox box;
};

class Discovery : public InstallRoot {};

TEST_F(Discovery, FindsTheRootAboveARootedExecutable) {
    install("inst");
    start(box.path("inst/tools/bin/vekinfo"));
    test::Capture capture;
    EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRoot()));
    EXPECT_EQ("", capture.out() + capture.err());
}

TEST_F(Discovery, RelativeNameBeginsInTheWorkingDirectory) {
    install("inst");
    box.directory("inst/work");
    ASSERT_EQ(0, chdir("inst/work"));
    start("../tools/bin/vekinfo");
    EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRoot()));
    EXPECT_EQ(box.path("inst/tools/bin/vekinfo"), vek::runningInstallation.executable.c_str());
}

TEST_F(Discovery, CleansThePathBeforeTheWalk) {
    install("inst");
    box.directory("inst/tools/bin");
    start(box.path("inst") + "//tools/bin/../bin/./vekinfo");
    EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRoot()));
    EXPECT_EQ(box.path("inst/tools/bin/vekinfo"), vek::runningInstallation.executable.c_str());
}

TEST_F(Discovery, WalksUpFromTheEndOfTheCleanedPath) {
    install("inst");
    box.file("inst/tools/bin/vekinfo", "", 0755);
    start(box.path("inst") + "/./././tools/./././bin/././vekinfo");
    EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRoot()));
}

TEST_F(Discovery, FindsABareNameAlongPath) {
    install("one");
    install("two");
    box.file("one/tools/bin/vekinfo", "", 0755).file("two/tools/bin/vekinfo", "", 0755);
    test::setEnvironment(
        {{"PATH", box.path("none") + ":" + box.path("two/tools/bin") + ":" + box.path("one/tools/bin")}});
    start("vekinfo");
    EXPECT_EQ(box.path("two"), adopted(vekGetInstallRoot()));
}

TEST_F(Discovery, SkipsOtherFilesInPath) {
    install("inst");
    box.directory("a/vekinfo").file("b/vekinfo", "", 0644).file("inst/tools/bin/vekinfo", "", 0755);
    test::setEnvironment({{"PATH", "a:b:inst/tools/bin"}});
    start("vekinfo");
    EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRoot()));
    EXPECT_EQ(box.path("inst/tools/bin/vekinfo"), vek::runningInstallation.executable.c_str());
}

TEST_F(Discovery, EmptyElementOfPathIsTheWorkingDirectory) {
    install("x");
    install("here");
    box.file("x/tools/bin/vekinfo", "", 0755).file("here/vekinfo", "", 0755);
    ASSERT_EQ(0, chdir("here"));
    for (const std::string &path : {":" + box.path("x/tools/bin"), std::string(), std::string(":"),
                                    "/none::" + box.path("x/tools/bin"), std::string("/none:")}) {
        test::setEnvironment({{"PATH", path}});
        start("vekinfo");
        vek::storeInstallRoot();
        EXPECT_EQ(box.path("here"), adopted(vekiRootPath)) << path;
        EXPECT_EQ(box.path("here/vekinfo"), vek::runningInstallation.executable.c_str());
    }
    vekiRootPath = nullptr;
}

TEST_F(Discovery, ReportsThatPathIsUnset) {
    start("vekinfo");
    test::Capture capture;
    EXPECT_EQ(None, adopted(vekGetInstallRoot()));
    EXPECT_EQ("ERROR! unable to determine search path - check PATH setting\n", capture.err());
}

TEST_F(Discovery, NeedsNoPathForANameWithADirectory) {
    install("inst");
    start("inst/vekinfo");
    test::Capture capture;
    EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRoot()));
    EXPECT_EQ("", capture.err());
}

TEST_F(Discovery, PrintsNothingIfPathHasNoExecutable) {
    test::setEnvironment({{"PATH", box.path()}});
    start("vekinfo");
    test::Capture capture;
    EXPECT_EQ(None, adopted(vekGetInstallRoot()));
    EXPECT_STREQ("", vek::runningInstallation.executable.c_str());
    EXPECT_EQ("", capture.err());
}

TEST_F(Discovery, PrintsNothingForAnEmptyName) {
    start("");
    test::Capture capture;
    EXPECT_EQ(None, adopted(vekGetInstallRoot()));
    EXPECT_EQ("", capture.err());
}

TEST_F(Discovery, ReturnsUnknownIfGetcwdFails) {
    install("inst");
    start("inst/vekinfo");
    test::Capture capture;
    test::faults::fail("getcwd", 1, ENOENT);
    EXPECT_EQ(None, adopted(vekGetInstallRoot()));
    EXPECT_EQ("Unable to get working directory.\n", capture.err());
    EXPECT_STREQ("/UNKNOWN", vek::runningInstallation.executable.c_str());
}

TEST_F(Discovery, CountsOnlyMarkersThatAreExecutableFiles) {
    install("inst");
    box.file("inst/a/tools/bin/vek_root", "", 0644);
    box.directory("inst/a/b/tools/bin/vek_root");
    box.file("inst/a/b/c/tools/bin/vek_root", "", 0011);
    box.link("inst/a/b/c/d/tools/bin/vek_root", "nowhere");
    box.directory("inst/a/b/c/d/e/tools/bin");
    start(box.path("inst/a/b/c/d/e/f/vekinfo"));
    EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRoot()));
}

TEST_F(Discovery, AcceptsAMarkerThatOnlyItsOwnerMayExecute) {
    box.file("inst/tools/bin/vek_root", "", 0100);
    start(box.path("inst/vekinfo"));
    EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRoot()));
}

TEST_F(Discovery, AcceptsTheToolsDirectoryOfThePlatform) {
    install("inst", "tools.lnx86");
    start(box.path("inst/tools.lnx86/bin/vekinfo"));
    EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRoot()));
}

TEST_F(Discovery, RejectsOtherPlatforms) {
    install("inst", "tools.sun4v");
    start(box.path("inst/tools.sun4v/bin/vekinfo"));
    EXPECT_EQ(None, adopted(vekGetInstallRoot()));
}

TEST_F(Discovery, TestsToolsBeforeThePlatformInEachDirectory) {
    install("inst", "tools");
    install("inst", "tools.lnx86");
    start(box.path("inst/a/vekinfo"));
    test::faults::reset();
    EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRoot()));
    // Both markers under a, the first one under inst
    EXPECT_EQ(3, test::faults::count("stat"));
}

TEST_F(Discovery, BeginsInTheExecutablesOwnDirectory) {
    install("outer");
    install("outer/inner");
    start(box.path("outer/inner/vekinfo"));
    EXPECT_EQ(box.path("outer/inner"), adopted(vekGetInstallRoot()));
}

TEST_F(Discovery, BeginsBeforeAFinalSlash) {
    install("outer");
    install("outer/inner");
    start(box.path("outer/inner") + "/");
    EXPECT_EQ(box.path("outer/inner"), adopted(vekGetInstallRoot()));
}

TEST_F(Discovery, DoesNotTestTheExecutableAsADirectory) {
    install("outer");
    install("outer/vekinfo");
    start(box.path("outer/vekinfo"));
    EXPECT_EQ(box.path("outer"), adopted(vekGetInstallRoot()));
}

TEST_F(Discovery, TestsEachDirectoryAtMostTwice) {
    start("/a/b/c/d/vekinfo");
    test::faults::reset();
    EXPECT_EQ(None, adopted(vekGetInstallRoot()));
    EXPECT_EQ(2 * 5, test::faults::count("stat"));
    EXPECT_EQ(0, test::faults::count("open") + test::faults::count("fopen"));
}

/// Runs `body` with the sandbox as its root directory.
void inRootOf(const test::Sandbox &box, const std::function<void()> &body) {
    const test::Outcome outcome = test::inChild([&] {
        const vek::OwnedDescriptor outside(open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (chroot(box.path().c_str()) != 0 &&
            (unshare(CLONE_NEWUSER) != 0 || chroot(box.path().c_str()) != 0)) {
            ADD_FAILURE() << "this system allows no chroot()";
            return 0;
        }
        EXPECT_EQ(0, chdir("/"));
        body();
        EXPECT_EQ(0, fchdir(outside.get()));
        EXPECT_EQ(0, chroot("."));
        return 0;
    });
    EXPECT_EQ(0, outcome.status);
}

TEST_F(Discovery, FindsTheFileSystemRootLastAsEmptyString) {
    install("/");
    box.directory("a/b");
    inRootOf(box, [] {
        start("/a/b/vekinfo");
        test::faults::reset();
        EXPECT_EQ("", adopted(vekGetInstallRoot()));
        EXPECT_EQ(5, test::faults::count("stat"));
        EXPECT_EQ(1, vekIsTolvaneHier());
        EXPECT_EQ("/x", adopted(vekGetInstPath("x")));
        EXPECT_EQ("", adopted(vekGetInstallRootFromFilePath("/a/b")));
        EXPECT_EQ("/", adopted(vekGetInstallRootFromFilePath("/")));
        EXPECT_EQ("/tools", adopted(vekGetToolsPath(nullptr)));
        std::free(vekiRootPath);
        vekiRootPath = nullptr;
    });
}

TEST_F(Discovery, IsNotRepeatedAfterASuccess) {
    install("inst");
    start(box.path("inst/vekinfo"));
    EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRoot()));
    EXPECT_EQ(box.path("inst"), vekiRootPath);

    ASSERT_EQ(0, unlink("inst/tools/bin/vek_root"));
    test::faults::reset();
    const char *kept = vekiRootPath;
    EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRoot()));
    EXPECT_EQ(1, vekIsTolvaneHier());
    EXPECT_EQ(kept, vekiRootPath);
    EXPECT_EQ(0, test::faults::count("stat"));
}

TEST_F(Discovery, IsRepeatedAfterAFailure) {
    start(box.path("inst/vekinfo"));
    EXPECT_EQ(None, adopted(vekGetInstallRoot()));
    EXPECT_EQ(nullptr, vekiRootPath);
    install("inst");
    EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRoot()));
}

TEST_F(Discovery, FollowsNoSymbolicLinkOfThePath) {
    install("real");
    install("inst");
    box.file("real/tools/bin/vekinfo", "", 0755)
        .link("inst/tools/bin/vekinfo", box.path("real/tools/bin/vekinfo"));
    start(box.path("inst/tools/bin/vekinfo"));
    EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRoot()));
}

TEST_F(Discovery, ReportsThatVekInitWasNotCalled) {
    const std::string message = "ERROR! vekInit has not been called\n";
    char buffer[64];
    {
        test::Capture capture;
        EXPECT_EQ(None, adopted(vekGetInstallRoot()));
        EXPECT_EQ(message, capture.err());
    }
    {
        test::Capture capture;
        EXPECT_EQ(0, vekGetInstallRootInBuf(buffer, sizeof buffer));
        EXPECT_EQ(message, capture.err());
    }
    {
        test::Capture capture;
        EXPECT_EQ(None, adopted(vekGetInstallRootFromPath("/bin/tool")));
        EXPECT_EQ(message, capture.err());
    }
    {
        test::Capture capture;
        EXPECT_EQ(0, vekGetToolsPathInBuf(buffer, sizeof buffer, nullptr));
        EXPECT_EQ(message, capture.err());
    }
    {
        test::Capture capture;
        EXPECT_EQ(0, vekGetInstPathInBuf(buffer, sizeof buffer, nullptr));
        EXPECT_EQ(0U, capture.err().find(message));
    }
}

TEST_F(Discovery, ClearsTheStoredRoot) {
    install("inst");
    start(box.path("inst/vekinfo"));
    vek::storeInstallRoot();
    EXPECT_EQ(box.path("inst"), adopted(vekiRootPath));
    ASSERT_EQ(0, unlink("inst/tools/bin/vek_root"));
    vek::storeInstallRoot();
    EXPECT_EQ(nullptr, vekiRootPath);
}

TEST_F(Discovery, ReportsExhaustedMemory) {
    install("inst");
    start(box.path("inst/vekinfo"));
    const std::string size = std::to_string(box.path("inst").size() + 1);
    test::Capture capture;
    test::faults::failAllocation(1);
    EXPECT_EQ(None, adopted(vekGetInstallRoot()));
    EXPECT_EQ("ERROR! Failed to allocate " + size + " bytes of space\n", capture.err());
    EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRoot()));
}

TEST_F(Discovery, AcceptsNamesOfAnyLength) {
    install("inst");
    for (const std::size_t length : {4095U, 4096U, 4097U, 100'000U}) {
        const test::Outcome outcome = test::inChild([&] {
            // The truncated part of the name is far below the root
            start(box.path("inst/") + std::string(length - box.path("inst/").size(), 'x'));
            EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRoot()));
            EXPECT_EQ(length < 4096 ? length : 4096,
                      std::strlen(vek::runningInstallation.executable.c_str()));
            std::free(vekiRootPath);
            vekiRootPath = nullptr;
            return 0;
        });
        EXPECT_EQ(0, outcome.status) << length;
    }
}

TEST_F(Discovery, FindsNothingIfTheRootedPathIsTooLong) {
    install(".");
    // The path of an executable has at most 4097 characters
    const std::size_t limit = 4097 - box.path().size() - 1;
    for (const std::size_t excess : {0U, 1U, 2U}) {
        const test::Outcome outcome = test::inChild([&] {
            const std::string name = "d/" + std::string(limit + excess - 2, 'x');
            start(name);
            EXPECT_EQ(excess == 0 ? box.path() : None, adopted(vekGetInstallRoot()));
            EXPECT_EQ(excess == 0 ? box.path() + "/" + name : "",
                      vek::runningInstallation.executable.c_str());
            std::free(vekiRootPath);
            vekiRootPath = nullptr;
            return 0;
        });
        EXPECT_EQ(0, outcome.status) << excess;
    }
}

TEST_F(Discovery, AcceptsAnEnvironmentOf100KiB) {
    install("inst");
    box.file("inst/vekinfo", "", 0755);
    test::setEnvironment(
        {{"PATH", std::string(100 * 1024, 'p') + ":" + std::string(4095, 'q') + "::" + box.path("inst")}});
    start("vekinfo");
    EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRoot()));
}

// --- The command table ---

class Streams : public InstallRoot {
  protected:
    Streams() {
        install("inst");
        install("real/inst");
        test::setEnvironment({{"VEK_STRM_ACTIVE", ""}});
    }
    std::string real() { return box.path("real/inst/tools/bin/vekinfo"); }
    void table(const std::string &content) { box.file("inst/tools/bin/.command_table.dat", content); }
};

TEST_F(Streams, GiveTheExecutableOfTheCommandTable) {
    table("other a b c /no/where\nvekinfo a b c " + real() + "\n");
    start(box.path("inst/tools/bin/vekinfo"));
    EXPECT_EQ(box.path("real/inst"), adopted(vekGetInstallRoot()));
    EXPECT_EQ(real(), vek::runningInstallation.executable.c_str());
}

TEST_F(Streams, AreOffWithoutTheVariable) {
    table("vekinfo a b c " + real() + "\n");
    test::setEnvironment({});
    start(box.path("inst/tools/bin/vekinfo"));
    EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRoot()));
}

TEST_F(Streams, NeedATable) {
    start(box.path("inst/tools/bin/vekinfo"));
    EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRoot()));
}

TEST_F(Streams, NeedALineOfTheNameAsInvoked) {
    table("vekinf a b c " + real() + "\nvekinfox a b c " + real() + "\n");
    start(box.path("inst/tools/bin/vekinfo"));
    EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRoot()));
}

TEST_F(Streams, UseTheTableBesideTheExecutableInPath) {
    table("vekinfo a b c " + real() + "\n");
    box.file("inst/tools/bin/vekinfo", "", 0755);
    test::setEnvironment({{"VEK_STRM_ACTIVE", "1"}, {"PATH", box.path("inst/tools/bin")}});
    start("vekinfo");
    EXPECT_EQ(box.path("real/inst"), adopted(vekGetInstallRoot()));
}

TEST_F(Streams, IgnoreATableWhosePathIsTooLong) {
    const std::string base = box.path("inst/");
    for (const std::size_t size : {4077U, 4078U, 4094U}) {
        const test::Outcome outcome = test::inChild([&] {
            start(base + std::string(size - base.size() - 1, 'd') + "/v");
            EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRoot()));
            EXPECT_EQ(size + 1, std::strlen(vek::runningInstallation.executable.c_str()));
            std::free(vekiRootPath);
            vekiRootPath = nullptr;
            return 0;
        });
        EXPECT_EQ(0, outcome.status) << size << outcome.err;
    }
}

TEST_F(Streams, DoNotBlockOnATableThatIsAPipe) {
    box.fifo("inst/tools/bin/.command_table.dat");
    start(box.path("inst/tools/bin/vekinfo"));
    const test::Outcome outcome = test::inChild([&] {
        EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRoot()));
        std::free(vekiRootPath);
        vekiRootPath = nullptr;
        return 0;
    });
    EXPECT_EQ(0, outcome.status);
    EXPECT_FALSE(outcome.timedOut);
}

TEST_F(Streams, DoNotCleanTheRealPath) {
    // It is neither made absolute nor cleaned: the walk ends at its first "/".
    table("vekinfo a b c real/inst/tools/bin/vekinfo\n");
    start(box.path("inst/tools/bin/vekinfo"));
    EXPECT_EQ("real/inst", adopted(vekGetInstallRoot()));
    EXPECT_STREQ("real/inst/tools/bin/vekinfo", vek::runningInstallation.executable.c_str());
}

class RealPath : public testing::Test {
  protected:
    std::string in(std::string_view content, const char *name = "vekinfo") {
        box_.file("table", content);
        return adopted(vekiGetRealPath(name, box_.path("table").c_str()));
    }

  private:
    test::Sandbox box_;
};

TEST_F(RealPath, IsTheFifthFieldOfTheFirstMatchingLine) {
    EXPECT_EQ("/r/x", in("vekinfo a b c /r/x\nvekinfo a b c /r/y\n"));
    EXPECT_EQ("/r/x", in("vekinfo\ta\tb\tc\t/r/x\n"));
    EXPECT_EQ("/r/x", in("vekinfo a b c /r/x d e\n"));
    EXPECT_EQ("/r/x", in("vekinfo a b c /r/x\tcomment\n"));
    EXPECT_EQ("/r/x", in("vekinfo a b c /r/x\r\n"));
}

TEST_F(RealPath, EndsAtTheEndOfTheFile) {
    EXPECT_EQ("/r/x", in("vekinfo a b c /r/x"));
}

TEST_F(RealPath, ComparesTheLastComponentOfTheNameAsInvoked) {
    EXPECT_EQ("/r/x", in("vekinfo a b c /r/x\n", "/a/b/vekinfo"));
    EXPECT_EQ("/r/x", in("vekinfo a b c /r/x\n", "b/vekinfo"));
    EXPECT_EQ(None, in("vekinfo a b c /r/x\n", "vekinfo/"));
    EXPECT_EQ(None, in("vekinfo a b c /r/x\n", "Vekinfo"));
}

TEST_F(RealPath, SkipsLinesThatStartWithWhiteSpace) {
    EXPECT_EQ("/r/y", in(" vekinfo a b c /r/x\n\tvekinfo a b c /r/z\nvekinfo a b c /r/y\n"));
}

TEST_F(RealPath, DoesNotMatchAnEmptyFirstField) {
    EXPECT_EQ(None, in(" a b c /r/x\n", "dir/"));
    EXPECT_EQ(None, in("\ta\tb\tc\t/r/x\n", ""));
}

TEST_F(RealPath, EachBlankAndTabIsASeparator) {
    EXPECT_EQ("c", in("vekinfo a  b c /r/x\n"));
    EXPECT_EQ("", in("vekinfo a b c  /r/x\n"));
    EXPECT_EQ("", in("vekinfo \t\t\t\n"));
}

TEST_F(RealPath, SkipsAMatchingLineWithFewerFields) {
    EXPECT_EQ("/r/y", in("vekinfo\nvekinfo a\nvekinfo a b c\nvekinfo a b c /r/y\n"));
    EXPECT_EQ(None, in("vekinfo a b c\n"));
    EXPECT_EQ(None, in("vekinfo a b c"));
}

TEST_F(RealPath, IsNoneWithoutAMatch) {
    EXPECT_EQ(None, in(""));
    EXPECT_EQ(None, in("\n\n"));
    EXPECT_EQ(None, adopted(vekiGetRealPath("vekinfo", "missing")));
    EXPECT_EQ(None, adopted(vekiGetRealPath(nullptr, "table")));
    EXPECT_EQ(None, adopted(vekiGetRealPath("vekinfo", nullptr)));
}

TEST_F(RealPath, ReadsLinesOfAtMost4095Characters) {
    const std::string fields = "vekinfo a b c ";
    for (const std::size_t length : {4094U, 4095U, 4096U, 4097U}) {
        const std::string path(length - fields.size(), 'p');
        EXPECT_EQ(path.substr(0, 4095 - fields.size()), in(fields + path + "\n")) << length;
    }
    // The text after the 4095th character is read as the next line.
    EXPECT_EQ("/r/x", in(std::string(4095, 'x') + "vekinfo a b c /r/x\n"));
}

TEST_F(RealPath, AcceptsBinaryData) {
    std::string junk;
    for (int i = 0; i < 100'000; ++i) {
        junk += static_cast<char>((i * 7919) >> 3);
    }
    EXPECT_EQ("/r/x", in(junk + "\nvekinfo a b c /r/x\n"));
    EXPECT_EQ(None, in(std::string_view("vekinfo\0a b c /r/x\n", 19)));
}

TEST_F(RealPath, IsNoneWhenMemoryIsExhausted) {
    test::Sandbox box;
    box.file("t", "vekinfo a b c /r\n");
    test::Capture capture;
    test::faults::failAllocation(1);
    EXPECT_EQ(None, adopted(vekiGetRealPath("vekinfo", "t")));
    EXPECT_EQ("ERROR! Failed to allocate 3 bytes of space\n", capture.err());
}

// --- The queries for the tool's root ---

class Queries : public InstallRoot {};

TEST_F(Queries, ReturnNullSilentlyIfNoRootIsRequired) {
    install("inst");
    box.file("inst/tools/bin/vekinfo", "", 0755);
    test::setEnvironment({{"PATH", box.path("inst/tools/bin")}});
    start(box.path("inst/tools/bin/vekinfo"));
    cmnSetInstallRootRequired(0);
    test::Capture capture;
    test::faults::reset();
    char buffer[4096] = "before";

    EXPECT_EQ(0, vekIsTolvaneHier());
    EXPECT_EQ(None, adopted(vekGetInstallRoot()));
    EXPECT_EQ(0, vekGetInstallRootInBuf(buffer, sizeof buffer));
    EXPECT_EQ(None, adopted(vekGetInstallRootFromPath(box.path("inst/x").c_str())));
    EXPECT_EQ(None, adopted(vekGetInstallRootFromFilePath(box.path("inst").c_str())));
    EXPECT_EQ(None, adopted(vekGetInstallRootWithPath("tools")));
    EXPECT_EQ(nullptr, vekGetAllInstallRoots());
    EXPECT_EQ(0, vekGetInstPathInBuf(buffer, sizeof buffer, "x"));
    EXPECT_EQ(None, adopted(vekGetInstPath("x")));

    EXPECT_STREQ("before", buffer);
    EXPECT_EQ(0, test::faults::count("stat"));
    EXPECT_EQ("", capture.err());
}

TEST_F(Queries, IgnoreAStoredRootIfNoRootIsRequired) {
    install("inst");
    start(box.path("inst/vekinfo"));
    EXPECT_EQ(1, vekIsTolvaneHier());
    cmnSetInstallRootRequired(0);
    EXPECT_EQ(0, vekIsTolvaneHier());
    EXPECT_EQ(None, adopted(vekGetInstallRoot()));
}

TEST_F(Queries, ForExecutablesAndToolsIgnoreTheRequiredFlag) {
    install("inst");
    box.file("inst/tools/bin/vekinfo", "", 0755);
    test::setEnvironment({{"PATH", box.path("inst/tools/bin")}});
    start("vekinfo");
    cmnSetInstallRootRequired(0);
    char buffer[4096];
    EXPECT_EQ(box.path("inst/tools/bin/vekinfo"), adopted(vekFindExecInPath("vekinfo")));
    EXPECT_EQ(1, vekGetToolsPathInBuf(buffer, sizeof buffer, nullptr));
    EXPECT_EQ(box.path("inst/tools"), buffer);
    EXPECT_EQ(box.path("inst/tools"), adopted(vekGetToolsPath(nullptr)));
}

TEST_F(Queries, ReturnWhetherTheToolHasAnInstallation) {
    start(box.path("inst/vekinfo"));
    EXPECT_EQ(0, vekIsTolvaneHier());
    install("inst");
    EXPECT_EQ(1, vekIsTolvaneHier());
    EXPECT_EQ(box.path("inst"), vekiRootPath);
}

TEST_F(Queries, ReturnSilentlyBeforeInitialization) {
    test::Capture capture;
    EXPECT_EQ(0, vekIsTolvaneHier());
    EXPECT_EQ("", capture.err());
}

TEST_F(Queries, CopyTheRootForTheCaller) {
    install("inst");
    start(box.path("inst/vekinfo"));
    const vek::OwnedText first(vekGetInstallRoot());
    const vek::OwnedText second(vekGetInstallRoot());
    EXPECT_NE(first, second);
    EXPECT_NE(vekiRootPath, first.get());
    EXPECT_STREQ(first.get(), second.get());
}

TEST_F(Queries, CopyTheRootIntoABufferThatHoldsIt) {
    install("inst");
    start(box.path("inst/vekinfo"));
    const std::string root = box.path("inst");
    std::string buffer(root.size() + 1, '?');
    EXPECT_EQ(0, vekGetInstallRootInBuf(buffer.data(), root.size()));
    EXPECT_EQ(std::string(root.size() + 1, '?'), buffer);
    EXPECT_EQ(1, vekGetInstallRootInBuf(buffer.data(), root.size() + 1));
    EXPECT_EQ(root, buffer.c_str());
    EXPECT_EQ(0, vekGetInstallRootInBuf(buffer.data(), 0));
    EXPECT_EQ(0, vekGetInstallRootInBuf(nullptr, 100));
}

TEST_F(Queries, FromAPathChangeNothing) {
    install("inst");
    install("other");
    start(box.path("inst/vekinfo"));
    EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRoot()));
    const char *cached = vekiRootPath;

    EXPECT_EQ(box.path("other"), adopted(vekGetInstallRootFromPath(box.path("other/bin/x").c_str())));
    EXPECT_EQ(None, adopted(vekGetInstallRootFromPath(box.path("none/x").c_str())));

    EXPECT_EQ(cached, vekiRootPath);
    EXPECT_EQ(box.path("inst/vekinfo"), vekiExecutableName);
    EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRoot()));
}

TEST_F(Queries, FromAPathFindTheRootOfThatTool) {
    install("inst");
    box.file("inst/bin/x", "", 0755);
    test::setEnvironment({{"PATH", box.path("inst/bin")}});
    start("/vekinfo");
    EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRootFromPath("x")));
    EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRootFromPath("inst/y")));
    EXPECT_EQ(nullptr, vekiRootPath);
}

TEST_F(Queries, FromNoPathReturnNull) {
    install("inst");
    start(box.path("inst/vekinfo"));
    EXPECT_EQ(None, adopted(vekGetInstallRootFromPath(nullptr)));
    EXPECT_EQ(None, adopted(vekGetInstallRootFromPath("")));
}

TEST_F(Queries, FromAPathAcceptEveryLength) {
    install("inst");
    start(std::string(5000, 'n'));
    for (const std::size_t length : {4095U, 4096U, 4097U, 100'000U}) {
        const std::string path = box.path("inst/") + std::string(length - box.path("inst/").size(), 'x');
        EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRootFromPath(path.c_str())));
    }
    EXPECT_EQ(std::string(4096, 'n'), vekiExecutableName);
}

// --- The installation that contains a file ---

class FromFile : public InstallRoot {
  protected:
    FromFile() { install("inst"); }
    static std::string of(const std::string &path) {
        return adopted(vekGetInstallRootFromFilePath(path.c_str()));
    }
};

TEST_F(FromFile, IsFoundAboveAFileOrDirectory) {
    box.file("inst/share/a.txt", "");
    EXPECT_EQ(box.path("inst"), of(box.path("inst/share/a.txt")));
    EXPECT_EQ(box.path("inst"), of(box.path("inst/share")));
    EXPECT_EQ(box.path("inst"), of(box.path("inst/missing/x")));
    EXPECT_EQ(None, of(box.path("elsewhere")));
}

TEST_F(FromFile, IsTheDirectoryItselfWhenThatIsARoot) {
    EXPECT_EQ(box.path("inst"), of(box.path("inst")));
    install("inst/inner", "tools.lnx86");
    EXPECT_EQ(box.path("inst/inner"), of(box.path("inst/inner")));
}

TEST_F(FromFile, RelativePathBeginsInTheWorkingDirectory) {
    EXPECT_EQ(box.path("inst"), of("inst/share"));
    EXPECT_EQ(box.path("inst"), of("x/../inst/y"));
    ASSERT_EQ(0, chdir("inst/tools"));
    EXPECT_EQ(box.path("inst"), of("bin"));
    EXPECT_EQ(box.path("inst"), of("."));
}

TEST_F(FromFile, KeepsAFinalSlashOrDot) {
    EXPECT_EQ(box.path("inst/"), of(box.path("inst/")));
    EXPECT_EQ(box.path("inst/."), of(box.path("inst/.")));
    EXPECT_EQ(box.path("inst/tools/.."), of("inst/tools/.."));
}

TEST_F(FromFile, NeedsNoInitialization) {
    EXPECT_EQ(0, vekInitDone());
    test::Capture capture;
    EXPECT_EQ(box.path("inst"), of("inst"));
    EXPECT_EQ("", capture.err());
    EXPECT_EQ(nullptr, vekiRootPath);
}

TEST_F(FromFile, ReportsAFailureOfGetcwd) {
    test::Capture capture;
    test::faults::fail("getcwd", 1, ENOENT);
    EXPECT_EQ(None, of("inst"));
    EXPECT_EQ("Unable to get working directory.\n", capture.err());
}

TEST_F(FromFile, IsNoneIfTheWorkingDirectoryIsTooLong) {
    install("inst");
    ASSERT_EQ(0, chdir("inst"));
    EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRootFromFilePath("x")));
    goDown(4095);
    EXPECT_EQ(None, adopted(vekGetInstallRootFromFilePath("x")));
    ASSERT_EQ(0, chdir(".."));
    EXPECT_EQ(box.path("inst"), adopted(vekGetInstallRootFromFilePath("x")));
}

TEST_F(FromFile, IsNoneForNoPath) {
    EXPECT_EQ(None, of(""));
    EXPECT_EQ(None, adopted(vekGetInstallRootFromFilePath(nullptr)));
}

TEST_F(FromFile, TestsEachDirectoryAtMostTwice) {
    test::faults::reset();
    EXPECT_EQ(None, of("/a/b/c"));
    EXPECT_EQ(2 * 4, test::faults::count("stat"));
}

TEST_F(FromFile, AcceptsPathsOfAnyLength) {
    for (const std::size_t length : {4095U, 4096U, 4097U, 100'000U}) {
        const std::string path = box.path("inst/") + std::string(length - box.path("inst/").size(), 'x');
        EXPECT_EQ(length == 4095 ? box.path("inst") : None, of(path)) << length;
        const std::string relative = "inst/" + std::string(length - box.path("inst/").size(), 'x');
        EXPECT_EQ(length == 4095 ? box.path("inst") : None, of(relative)) << length;
    }
}

TEST_F(FromFile, ReportsExhaustedMemory) {
    test::Capture capture;
    test::faults::failAllocation(1);
    EXPECT_EQ(None, of("inst"));
    EXPECT_NE(std::string::npos, capture.err().find("ERROR! Failed to allocate "));
}

// --- The installations on PATH ---

class OnPath : public InstallRoot {
  protected:
    OnPath() {
        install("one");
        install("two");
        box.file("two/share/data", "").directory("one/share");
        test::setEnvironment(
            {{"PATH", box.path("none") + ":" + box.path("one/tools/bin") + ":" + box.path("two/tools/bin")}});
    }
    static std::string with(const std::string &path) {
        return adopted(vekGetInstallRootWithPath(path.c_str()));
    }
};

TEST_F(OnPath, FirstInstallationWithThePathIsReturned) {
    EXPECT_EQ(box.path("two"), with("share/data"));
    EXPECT_EQ(box.path("one"), with("share"));
    EXPECT_EQ(box.path("one"), with("tools/bin/vek_root"));
    EXPECT_EQ(None, with("share/missing"));
}

TEST_F(OnPath, OneLeadingSlashIsIgnored) {
    EXPECT_EQ(box.path("two"), with("/share/data"));
    EXPECT_EQ(box.path("two"), with("//share/data"));
    EXPECT_EQ(box.path("one"), with("/"));
}

TEST_F(OnPath, NoPathHasNoInstallation) {
    test::Capture capture;
    EXPECT_EQ(None, with(""));
    EXPECT_EQ(None, adopted(vekGetInstallRootWithPath(nullptr)));
    EXPECT_EQ("", capture.err());
}

TEST_F(OnPath, DanglingLinkIsNoPath) {
    box.link("one/l", "nowhere").link("two/l", "share");
    EXPECT_EQ(box.path("two"), with("l"));
}

TEST_F(OnPath, EmptyElementIsTheWorkingDirectory) {
    ASSERT_EQ(0, chdir("two"));
    for (const std::string &path : {":" + box.path("one"), std::string(), std::string("/none:")}) {
        test::setEnvironment({{"PATH", path}});
        EXPECT_EQ(box.path("two/."), with("share"));
        ASSERT_FALSE(adopted(vekGetAllInstallRoots()).empty());
    }
}

TEST_F(OnPath, StreamsListReplacesPath) {
    test::setEnvironment(
        {{"PATH", box.path("one")}, {"VEK_STRM_ACTIVE", ""}, {"VEK_STRM_DIR_LIST", box.path("two")}});
    EXPECT_EQ(box.path("two"), with("share"));
    EXPECT_EQ(Texts{box.path("two")}, adopted(vekGetAllInstallRoots()));

    test::setEnvironment({{"PATH", box.path("one")}, {"VEK_STRM_DIR_LIST", box.path("two")}});
    EXPECT_EQ(box.path("one"), with("share"));
    EXPECT_EQ(Texts{box.path("one")}, adopted(vekGetAllInstallRoots()));
}

TEST_F(OnPath, UnsetListIsReported) {
    const std::string ofOne = "ERROR! unable to determine search path - check PATH setting\n";
    const std::string ofAll = "ERROR! unable to determine search path or stream list"
                              " - check PATH or VEK_STRM_DIR_LIST setting\n";
    for (const test::Environment &environment :
         {test::Environment{{"VEK_STRM_DIR_LIST", box.path("two")}},
          test::Environment{{"PATH", box.path("one")}, {"VEK_STRM_ACTIVE", "1"}}}) {
        test::setEnvironment(environment);
        test::Capture capture;
        EXPECT_EQ(None, with("share"));
        EXPECT_EQ(ofOne, capture.err());
        EXPECT_EQ(nullptr, vekGetAllInstallRoots());
        EXPECT_EQ(ofOne + ofAll, capture.err());
    }
}

TEST_F(OnPath, AllAreCollectedOnceInTheirOrder) {
    test::setEnvironment({{"PATH", box.path("two") + ":/none:" + box.path("one/tools") + ":" +
                                       box.path("two/share") + ":" + box.path("one")}});
    EXPECT_EQ((Texts{box.path("two"), box.path("one")}), adopted(vekGetAllInstallRoots()));
}

TEST_F(OnPath, FailureOfGetcwdIsReportedAndTheElementSkipped) {
    test::setEnvironment({{"PATH", "one:" + box.path("two")}});
    test::Capture capture;
    test::faults::fail("getcwd", 1, ENOENT);
    EXPECT_EQ(box.path("two"), with("share"));
    EXPECT_EQ("Unable to get working directory.\n", capture.err());
    test::faults::fail("getcwd", 1, ENOENT);
    EXPECT_EQ(Texts{box.path("two")}, adopted(vekGetAllInstallRoots()));
}

TEST_F(OnPath, NoneAreNull) {
    test::setEnvironment({{"PATH", box.path("none")}});
    EXPECT_EQ(nullptr, vekGetAllInstallRoots());
}

TEST_F(OnPath, MoreThanAHundredAreAllCollected) {
    Texts expected;
    std::string path;
    for (int i = 0; i < 250; ++i) {
        const std::string root = "r" + std::to_string(i);
        install(root);
        expected.push_back(box.path(root));
        path += (i == 0 ? "" : ":") + root;
    }
    test::setEnvironment({{"PATH", path}});
    EXPECT_EQ(expected, adopted(vekGetAllInstallRoots()));
}

TEST_F(OnPath, LongElementsAndPathsAreAccepted) {
    test::setEnvironment({{"PATH", std::string(4095, 'a') + ":/" + std::string(4095, 'b') + ":/" +
                                       std::string(100 * 1024, 'c') + ":" + box.path("two")}});
    EXPECT_EQ(box.path("two"), with("share/data"));
    EXPECT_EQ(Texts{box.path("two")}, adopted(vekGetAllInstallRoots()));
    for (const std::size_t length : {4095U, 4096U, 4097U, 100'000U}) {
        EXPECT_EQ(None, with(std::string(length, 'x')));
    }
}

TEST_F(OnPath, FailedAllocationReturnsNull) {
    for (int nth = 1; nth <= 8; ++nth) {
        test::Capture capture;
        test::faults::reset();
        test::faults::failAllocation(nth);
        const Texts roots = adopted(vekGetAllInstallRoots());
        const bool happened = test::faults::count("malloc") >= nth;
        test::faults::reset();
        if (happened) {
            EXPECT_EQ(Texts{}, roots) << nth;
        }
    }
    test::Capture capture;
    test::faults::failAllocation(1);
    EXPECT_EQ(None, with("share"));
    EXPECT_NE(std::string::npos, capture.err().find("ERROR! Failed to allocate "));
}

// --- Executables ---

class FindExecutable : public InstallRoot {
  protected:
    static std::string found(const std::string &name) { return adopted(vekFindExecInPath(name.c_str())); }
};

TEST_F(FindExecutable, SearchesPathForABareName) {
    box.file("a/x", "", 0644).file("b/x", "", 0755).file("c/x", "", 0755).directory("a/y");
    test::setEnvironment({{"PATH", "a:b/.//:" + box.path("c")}});
    EXPECT_EQ(box.path("b/x"), found("x"));
    EXPECT_EQ(None, found("y"));
    EXPECT_EQ(None, found("missing"));
}

TEST_F(FindExecutable, MakesANameWithADirectoryRootedAndClean) {
    EXPECT_EQ(box.path("b/x"), found("a/..//b/./x"));
    EXPECT_EQ(box.path("x"), found("./x"));
    EXPECT_EQ("/b/x", found("/a/../b/x"));
}

TEST_F(FindExecutable, ReturnsNullForNoName) {
    test::setEnvironment({{"PATH", box.path()}});
    EXPECT_EQ(None, found(""));
    EXPECT_EQ(None, adopted(vekFindExecInPath(nullptr)));
}

TEST_F(FindExecutable, ReportsThatPathIsUnset) {
    test::Capture capture;
    EXPECT_EQ(None, found("x"));
    EXPECT_EQ("ERROR! unable to determine search path - check PATH setting\n", capture.err());
}

TEST_F(FindExecutable, ReturnsUnknownIfGetcwdFails) {
    test::Capture capture;
    test::faults::fail("getcwd", 1, ENOENT);
    EXPECT_EQ("/UNKNOWN", found("a/x"));
    EXPECT_EQ("Unable to get working directory.\n", capture.err());
}

TEST_F(FindExecutable, ReadsNoCommandTable) {
    box.file("bin/x", "", 0755).file("bin/.command_table.dat", "x a b c /real/x\n");
    test::setEnvironment({{"PATH", box.path("bin")}, {"VEK_STRM_ACTIVE", "1"}});
    EXPECT_EQ(box.path("bin/x"), found("x"));
}

TEST_F(FindExecutable, DoesNotChangeTheToolsOwnState) {
    install("inst");
    start(box.path("inst/vekinfo"));
    EXPECT_EQ(1, vekIsTolvaneHier());
    EXPECT_EQ("/other/x", found("/other/x"));
    EXPECT_EQ(box.path("inst/vekinfo"), vek::runningInstallation.executable.c_str());
    EXPECT_EQ(box.path("inst/vekinfo"), vekiExecutableName);
}

TEST_F(FindExecutable, AcceptsNamesOfAnyLength) {
    test::setEnvironment({{"PATH", box.path()}});
    for (const std::size_t length : {4095U, 4096U, 4097U, 4098U, 100'000U}) {
        const std::string rooted = "/" + std::string(length - 1, 'x');
        EXPECT_EQ(length <= 4097 ? rooted : None, found(rooted)) << length;
        EXPECT_EQ(None, found(std::string(length, 'x')));
        EXPECT_EQ(None, found("./" + std::string(length, 'x')));
    }
}

TEST_F(FindExecutable, ReportsExhaustedMemory) {
    test::Capture capture;
    test::faults::failAllocation(1);
    EXPECT_EQ(None, found("/a/b"));
    EXPECT_EQ("ERROR! Failed to allocate 5 bytes of space\n", capture.err());
}

// --- Paths below the root ---

class InstPath : public InstallRoot {
  protected:
    void startInstalled() {
        install("inst");
        start(box.path("inst/vekinfo"));
    }
    /// The path; checks that it fits into the bytes that it needs, and not into fewer.
    static std::string exactly(const char *sub, std::size_t length) {
        std::string buffer(length + 1, '?');
        EXPECT_EQ(0, vekGetInstPathInBuf(buffer.data(), length, sub));
        EXPECT_EQ(std::string(length + 1, '?'), buffer);
        EXPECT_EQ(1, vekGetInstPathInBuf(buffer.data(), length + 1, sub));
        EXPECT_EQ('\0', buffer.back());
        buffer.pop_back();
        return buffer;
    }
};

TEST_F(InstPath, JoinsTheRootAndThePathBelowIt) {
    startInstalled();
    const std::string root = box.path("inst");
    EXPECT_EQ(root, exactly(nullptr, root.size()));
    EXPECT_EQ(root, exactly("", root.size()));
    EXPECT_EQ(root + "/share/x", exactly("share/x", root.size() + 8));
    EXPECT_EQ(root + "/share/x", exactly("/share/x", root.size() + 8));
    EXPECT_EQ(root + "//x", exactly("//x", root.size() + 3));
    EXPECT_EQ(root + "/", exactly("/", root.size() + 1));
    EXPECT_EQ(0, vekGetInstPathInBuf(nullptr, 100, "x"));
}

TEST_F(InstPath, IsCopiedForTheCaller) {
    startInstalled();
    EXPECT_EQ(box.path("inst"), adopted(vekGetInstPath(nullptr)));
    EXPECT_EQ(box.path("inst"), adopted(vekGetInstPath("")));
    EXPECT_EQ(box.path("inst/a"), adopted(vekGetInstPath("a")));
    EXPECT_EQ(box.path("inst/a"), adopted(vekGetInstPath("/a")));
}

TEST_F(InstPath, AcceptsAtMost4096CharactersBelowTheRoot) {
    startInstalled();
    std::string buffer(10'000, '?');
    for (const std::size_t length : {4095U, 4096U, 4097U, 5000U}) {
        const std::string sub(length, 's');
        EXPECT_EQ(length <= 4096 ? 1 : 0, vekGetInstPathInBuf(buffer.data(), buffer.size(), sub.c_str()));
        if (length <= 4096) {
            EXPECT_EQ(box.path("inst/") + sub, buffer.c_str());
        }
    }
}

TEST_F(InstPath, IsCopiedUpTo4096Characters) {
    startInstalled();
    const std::size_t limit = 4096 - box.path("inst/").size();
    EXPECT_EQ(box.path("inst/") + std::string(limit - 1, 's'),
              adopted(vekGetInstPath(std::string(limit - 1, 's').c_str())));
    EXPECT_EQ(box.path("inst/") + std::string(limit, 's'),
              adopted(vekGetInstPath(std::string(limit, 's').c_str())));
    EXPECT_EQ(None, adopted(vekGetInstPath(std::string(limit + 1, 's').c_str())));
    EXPECT_EQ(None, adopted(vekGetInstPath(std::string(100'000, 's').c_str())));
}

TEST_F(InstPath, AcceptsAPathInTheSameBuffer) {
    startInstalled();
    char buffer[4096] = "share/x";
    EXPECT_EQ(1, vekGetInstPathInBuf(buffer, sizeof buffer, buffer));
    EXPECT_EQ(box.path("inst/share/x"), buffer);
}

TEST_F(InstPath, RejectsALongPathBeforeTheDiscovery) {
    start("/none/vekinfo");
    test::Capture capture;
    char buffer[64];
    EXPECT_EQ(0, vekGetInstPathInBuf(buffer, sizeof buffer, std::string(4097, 's').c_str()));
    EXPECT_EQ("", capture.err());
}

TEST_F(InstPath, ReportsNoRootAboveAnAbsoluteArgument0) {
    start("/none//of/vekinfo");
    test::Capture capture;
    char buffer[64] = "before";
    EXPECT_EQ(0, vekGetInstPathInBuf(buffer, sizeof buffer, "x"));
    EXPECT_EQ("ERROR: can't determine installation root.\n"
              "       can't find tools/bin/vek_root in any parent directory of /none//of/vekinfo\n",
              capture.err());
    EXPECT_STREQ("before", buffer);
    EXPECT_EQ("", capture.out());
}

TEST_F(InstPath, ReportsNoRootAboveTheExecutable) {
    box.file("bin/vekinfo", "", 0755);
    test::setEnvironment({{"PATH", "/none:" + box.path("bin")}});
    start("vekinfo");
    test::Capture capture;
    EXPECT_EQ(None, adopted(vekGetInstPath("x")));
    EXPECT_EQ("ERROR: can't determine installation root.\n"
              "       can't find tools/bin/vek_root in any parent directory of executable " +
                  box.path("bin/vekinfo") +
                  "\n"
                  "       (found using arg0 \"vekinfo\" and current working dir or\n"
                  "        $PATH /none:" +
                  box.path("bin") + ")\n",
              capture.err());
}

TEST_F(InstPath, ReportsThatPathIsUnset) {
    start("bin/vekinfo");
    test::Capture capture;
    EXPECT_EQ(None, adopted(vekGetInstPath(nullptr)));
    EXPECT_EQ("ERROR: can't determine installation root.\n"
              "       can't find tools/bin/vek_root in any parent directory of executable " +
                  box.path("bin/vekinfo") +
                  "\n"
                  "       (found using arg0 \"bin/vekinfo\" and current working dir or\n"
                  "        $PATH <UNSET>)\n",
              capture.err());
}

TEST_F(InstPath, ReportsThatNoExecutableWasFound) {
    test::setEnvironment({{"PATH", "/none:/%s%n"}});
    start("vekinfo%d");
    test::Capture capture;
    EXPECT_EQ(None, adopted(vekGetInstPath(nullptr)));
    EXPECT_EQ("ERROR: can't determine installation root.\n"
              "       can't create rooted path to arg0 \"vekinfo%d\"\n"
              "       using current working directory or $PATH: /none:/%s%n\n",
              capture.err());
}

TEST_F(InstPath, ReportsUnsetPathAndMissingExecutable) {
    start("vekinfo");
    test::Capture capture;
    EXPECT_EQ(None, adopted(vekGetInstPath(nullptr)));
    EXPECT_EQ("ERROR! unable to determine search path - check PATH setting\n"
              "ERROR: can't determine installation root.\n"
              "       can't create rooted path to arg0 \"vekinfo\"\n"
              "       using current working directory or $PATH: <UNSET>\n",
              capture.err());
}

TEST_F(InstPath, ClearsTheExecutableOfAnEarlierDiscovery) {
    box.file("bin/vekinfo", "", 0755);
    test::setEnvironment({{"PATH", box.path("bin")}});
    start("vekinfo");
    EXPECT_EQ(0, vekIsTolvaneHier());
    EXPECT_EQ(box.path("bin/vekinfo"), vek::runningInstallation.executable.c_str());
    test::setEnvironment({{"PATH", "/none"}});
    test::Capture capture;
    EXPECT_EQ(None, adopted(vekGetInstPath(nullptr)));
    EXPECT_NE(std::string::npos, capture.err().find("can't create rooted path to arg0 \"vekinfo\"\n"));
}

TEST_F(InstPath, ReportsTheExecutableOfTheCommandTable) {
    box.file("bin/vekinfo", "", 0755).file("bin/.command_table.dat", "vekinfo a b c /no/inst/vekinfo\n");
    test::setEnvironment({{"PATH", box.path("bin")}, {"VEK_STRM_ACTIVE", "1"}});
    start("vekinfo");
    test::Capture capture;
    EXPECT_EQ(None, adopted(vekGetInstPath(nullptr)));
    EXPECT_NE(std::string::npos,
              capture.err().find("in any parent directory of executable /no/inst/vekinfo\n"));
}

TEST_F(InstPath, ReportsAPathSettingOf100KiB) {
    const std::string path(100 * 1024, 'p');
    test::setEnvironment({{"PATH", path}});
    start("vekinfo");
    test::Capture capture;
    EXPECT_EQ(None, adopted(vekGetInstPath(nullptr)));
    EXPECT_NE(std::string::npos, capture.err().find("or $PATH: " + path + "\n"));
}

TEST_F(InstPath, ReportsExhaustedMemory) {
    startInstalled();
    EXPECT_EQ(1, vekIsTolvaneHier());
    test::Capture capture;
    test::faults::failAllocation(1);
    EXPECT_EQ(None, adopted(vekGetInstPath("x")));
    EXPECT_NE(std::string::npos, capture.err().find("ERROR! Failed to allocate "));
}

// --- The tools directory ---

class ToolsPath : public InstallRoot {
  protected:
    /// Starts in an installation with the given marker and platform file.
    void startInstalled(const std::string &tools = "tools") {
        install("inst", tools);
        start(box.path("inst/vekinfo"));
    }
    void platform(const std::string &content) { box.file("inst/tools/bin/vek_plat.dat", content); }
    std::string expected(const std::string &below) { return box.path("inst/" + below); }
};

TEST_F(ToolsPath, IsToolsWhenThePlatformFileNamesThisPlatform) {
    startInstalled();
    platform("lnx86\nother\n");
    box.directory("inst/tools.lnx86");
    EXPECT_EQ(expected("tools"), adopted(vekGetToolsPath(nullptr)));
}

TEST_F(ToolsPath, ReadsThePlatformFileWithOrWithoutANewline) {
    startInstalled();
    box.directory("inst/tools.lnx86");
    for (const char *content : {"lnx86", "lnx86\n", "lnx86\r\n"}) {
        platform(content);
        const test::Outcome outcome = test::inChild([&] {
            EXPECT_EQ(expected("tools"), adopted(vekGetToolsPath(nullptr))) << content;
            std::free(vekiRootPath);
            vekiRootPath = nullptr;
            return 0;
        });
        EXPECT_EQ(0, outcome.status);
    }
}

TEST_F(ToolsPath, IsThatOfThePlatformWithoutAPlatformFile) {
    startInstalled();
    box.directory("inst/tools.lnx86");
    for (const bool empty : {false, true}) {
        if (empty) {
            platform("\nlnx86\n");
        }
        const test::Outcome outcome = test::inChild([&] {
            EXPECT_EQ(expected("tools.lnx86"), adopted(vekGetToolsPath(nullptr)));
            std::free(vekiRootPath);
            vekiRootPath = nullptr;
            return 0;
        });
        EXPECT_EQ(0, outcome.status);
    }
}

TEST_F(ToolsPath, IsToolsIfThereIsNothingElse) {
    startInstalled();
    EXPECT_EQ(expected("tools"), adopted(vekGetToolsPath(nullptr)));
}

TEST_F(ToolsPath, IsThatOfThePlatformWhenThereIsNoTools) {
    startInstalled("tools.lnx86");
    EXPECT_EQ(expected("tools.lnx86"), adopted(vekGetToolsPath(nullptr)));
}

TEST_F(ToolsPath, IsNoneIfTheDirectoryWasRemoved) {
    startInstalled();
    EXPECT_EQ(1, vekIsTolvaneHier());
    ASSERT_EQ(0, rename("inst/tools", "inst/gone"));
    EXPECT_EQ(None, adopted(vekGetToolsPath(nullptr)));
    ASSERT_EQ(0, rename("inst/gone", "inst/tools"));
    EXPECT_EQ(expected("tools"), adopted(vekGetToolsPath(nullptr)));
}

TEST_F(ToolsPath, IsSearchedAgainIfItIsNotStored) {
    startInstalled();
    EXPECT_EQ(expected("tools"), adopted(vekGetToolsPath(nullptr)));
    box.directory("inst/tools.lnx86");
    EXPECT_EQ(expected("tools"), adopted(vekGetToolsPath(nullptr)));
    vek::runningInstallation.hasTools = false;
    EXPECT_EQ(expected("tools.lnx86"), adopted(vekGetToolsPath(nullptr)));
}

TEST_F(ToolsPath, IsNoneForAnotherPlatform) {
    startInstalled();
    box.directory("inst/tools.lnx86");
    char buffer[4096] = "before";
    for (const char *content : {"sun4v\n", "lnx86 \n", " lnx86\n", "LNX86\n", "lnx8\n", "lnx864\n"}) {
        platform(content);
        test::Capture capture;
        EXPECT_EQ(0, vekGetToolsPathInBuf(buffer, sizeof buffer, nullptr)) << content;
        EXPECT_EQ(None, adopted(vekGetToolsPath("x"))) << content;
        EXPECT_EQ("", capture.err());
    }
    EXPECT_STREQ("before", buffer);
    // A failure is not stored.
    platform("lnx86\n");
    EXPECT_EQ(expected("tools"), adopted(vekGetToolsPath(nullptr)));
}

TEST_F(ToolsPath, ReadsAtMost15CharactersOfThePlatform) {
    startInstalled();
    // The rest of a long first line is not read.
    platform(std::string(15, 'x') + "lnx86\n");
    EXPECT_EQ(None, adopted(vekGetToolsPath(nullptr)));
    platform("lnx86" + std::string(1000, 'x') + "\n");
    EXPECT_EQ(None, adopted(vekGetToolsPath(nullptr)));
}

TEST_F(ToolsPath, IsNoneWithoutARootAndPrintsNothing) {
    start("/none/vekinfo");
    test::Capture capture;
    char buffer[64];
    EXPECT_EQ(0, vekGetToolsPathInBuf(buffer, sizeof buffer, nullptr));
    EXPECT_EQ(None, adopted(vekGetToolsPath(nullptr)));
    EXPECT_EQ("", capture.err());
    EXPECT_EQ(0, vekGetToolsPathInBuf(nullptr, 0, nullptr));
}

TEST_F(ToolsPath, IsToolsIfThePlatformFilesPathIsTooLong) {
    // "/tools/bin/vek_root" fits after the root, "/tools/bin/vek_plat.dat" does not.
    for (const std::size_t size : {4074U, 4076U}) {
        const test::Outcome outcome = test::inChild([size] {
            goDown(size);
            const std::string root = vek::Owned<char>(getcwd(nullptr, 0)).get();
            EXPECT_EQ(size, root.size());
            EXPECT_EQ(0, mkdir("tools", 0755) + mkdir("tools/bin", 0755));
            close(open("tools/bin/vek_root", O_CREAT | O_WRONLY | O_CLOEXEC, 0755));
            start(root + "/tools/bin/tool");
            EXPECT_EQ(root + "/tools", adopted(vekGetToolsPath(nullptr)));
            return 0;
        });
        EXPECT_EQ(0, outcome.status) << outcome.err;
    }
}

TEST_F(ToolsPath, IsStoredAfterASuccess) {
    startInstalled();
    platform("lnx86\n");
    EXPECT_EQ(expected("tools"), adopted(vekGetToolsPath(nullptr)));
    platform("sun4v\n");
    test::faults::reset();
    EXPECT_EQ(expected("tools/x"), adopted(vekGetToolsPath("x")));
    EXPECT_EQ(0, test::faults::count("stat") + test::faults::count("open"));
}

TEST_F(ToolsPath, AlwaysAddsASlash) {
    startInstalled();
    EXPECT_EQ(expected("tools/bin/x"), adopted(vekGetToolsPath("bin/x")));
    EXPECT_EQ(expected("tools//x"), adopted(vekGetToolsPath("/x")));
    EXPECT_EQ(expected("tools/"), adopted(vekGetToolsPath("")));
}

TEST_F(ToolsPath, FillsABufferThatIsLargeEnough) {
    startInstalled();
    const std::string tools = expected("tools");
    const std::string below = expected("tools/ab");
    std::string buffer(below.size() + 1, '?');

    EXPECT_EQ(0, vekGetToolsPathInBuf(buffer.data(), tools.size(), nullptr));
    EXPECT_EQ(0, vekGetToolsPathInBuf(buffer.data(), below.size(), "ab"));
    EXPECT_EQ(std::string(below.size() + 1, '?'), buffer);

    EXPECT_EQ(1, vekGetToolsPathInBuf(buffer.data(), tools.size() + 1, nullptr));
    EXPECT_EQ(tools, buffer.c_str());
    EXPECT_EQ(1, vekGetToolsPathInBuf(buffer.data(), below.size() + 1, "ab"));
    EXPECT_EQ(below, buffer.c_str());
}

TEST_F(ToolsPath, AcceptsPathsOfAnyLength) {
    startInstalled();
    std::string buffer(4096, '?');
    for (const std::size_t length : {4095U, 4096U, 4097U, 100'000U}) {
        const std::string sub(length, 's');
        EXPECT_EQ(0, vekGetToolsPathInBuf(buffer.data(), buffer.size(), sub.c_str()));
        EXPECT_EQ(expected("tools/") + sub, adopted(vekGetToolsPath(sub.c_str())));
    }
}

TEST_F(ToolsPath, ReportsExhaustedMemory) {
    startInstalled();
    EXPECT_EQ(1, vekIsTolvaneHier());
    for (const char *sub : {static_cast<const char *>(nullptr), "x"}) {
        test::Capture capture;
        test::faults::failAllocation(1);
        EXPECT_EQ(None, adopted(vekGetToolsPath(sub)));
        EXPECT_NE(std::string::npos, capture.err().find("ERROR! Failed to allocate "));
    }
}

} // namespace
