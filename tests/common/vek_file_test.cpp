#include "common/platform/vek_file.h"

#include "common/base/owned.h"
#include "common/base/vek_error.h"
#include "common/platform/veki_file.h"
#include "tests/support/capture.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"
#include "tests/support/sandbox.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

using Names = std::vector<std::string>;

void setTime(const std::string &path, time_t seconds) {
    const timespec times[2] = {{.tv_sec = seconds, .tv_nsec = 0}, {.tv_sec = seconds, .tv_nsec = 0}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW));
}

TEST(VekFileExists, ReturnsWhetherStatSucceeds) {
    test::Sandbox box;
    box.file("f", "", 0000)
        .directory("d")
        .fifo("p")
        .link("l", "f")
        .link("dangling", "nowhere")
        .link("o", "o");
    for (const char *path : {"f", "d", "p", "l", "/", "d/"}) {
        EXPECT_EQ(1, vekFileExists(path)) << path;
    }
    for (const char *path : {"missing", "dangling", "o", "f/x", "f/"}) {
        EXPECT_EQ(0, vekFileExists(path)) << path;
    }
}

TEST(FileTests, ReturnFalseForNullAndEmpty) {
    test::faults::reset();
    char buffer[8] = "before";
    for (const char *path : {static_cast<const char *>(nullptr), ""}) {
        EXPECT_EQ(0, vekFileExists(path));
        EXPECT_EQ(0, vekGetFileSize(path));
        EXPECT_EQ(0, vekFileIsDirectory(path));
        EXPECT_EQ(0, vekFileIsLink(path));
        EXPECT_EQ(0, vekReadSymLink(path, buffer));
        EXPECT_EQ(0, vekBuildDirPath(path));
        EXPECT_EQ(0, vekFileWritable(path));
    }
    EXPECT_STREQ("before", buffer);
}

TEST(FileTests, AcceptPathsOfAnyLength) {
    char buffer[4097];
    for (const std::size_t length : {4095U, 4096U, 4097U, 1'000'000U}) {
        const std::string path(length, 'x');
        EXPECT_EQ(0, vekFileExists(path.c_str()));
        EXPECT_EQ(0, vekGetFileSize(path.c_str()));
        EXPECT_EQ(0, vekFileIsDirectory(path.c_str()));
        EXPECT_EQ(0, vekFileIsLink(path.c_str()));
        EXPECT_EQ(0, vekReadSymLink(path.c_str(), buffer));
        EXPECT_EQ(0, vekFileWritable(path.c_str()));
    }
}

TEST(FileTests, UseOneSystemCallEach) {
    test::Sandbox box;
    box.file("f", "x").link("l", "f");
    test::faults::reset();
    vekFileExists("f");
    EXPECT_EQ(1, test::faults::count("stat"));
    vekGetFileSize("f");
    EXPECT_EQ(2, test::faults::count("stat"));
    vekFileIsDirectory("f");
    EXPECT_EQ(3, test::faults::count("stat"));
    vekFileIsLink("l");
    EXPECT_EQ(1, test::faults::count("lstat"));
    vekFileWritable("f");
    EXPECT_EQ(1, test::faults::count("open"));
    EXPECT_EQ(3, test::faults::count("stat"));
}

TEST(VekGetFileSize, ReturnsTheSizeInBytes) {
    test::Sandbox box;
    box.file("empty", "").file("f", "12345").link("l", "f");
    EXPECT_EQ(0, vekGetFileSize("empty"));
    EXPECT_EQ(5, vekGetFileSize("f"));
    EXPECT_EQ(5, vekGetFileSize("l"));
    EXPECT_EQ(0, vekGetFileSize("missing"));
}

TEST(VekGetFileSize, ReturnsSizesBeyond32Bits) {
    const test::Sandbox box;
    const vek::OwnedDescriptor file(open("big", O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
    constexpr off_t Size = (off_t{5} << 30) + 3;
    ASSERT_EQ(0, ftruncate(file.get(), Size));
    EXPECT_EQ(Size, vekGetFileSize("big"));
    ASSERT_EQ(1, vekFileExists("big"));
    EXPECT_EQ(Size, vekGetFileSizeInStatbuf());
}

TEST(VekFileIsDirectory, FollowsLinks) {
    test::Sandbox box;
    box.directory("d").file("f", "").link("toD", "d").link("toF", "f").link("dangling", "nowhere");
    EXPECT_EQ(1, vekFileIsDirectory("d"));
    EXPECT_EQ(1, vekFileIsDirectory("toD"));
    EXPECT_EQ(0, vekFileIsDirectory("f"));
    EXPECT_EQ(0, vekFileIsDirectory("toF"));
    EXPECT_EQ(0, vekFileIsDirectory("dangling"));
    EXPECT_EQ(0, vekFileIsDirectory("missing"));
}

TEST(VekFileIsLink, DoesNotFollowTheLink) {
    test::Sandbox box;
    box.directory("d").file("f", "").link("toD", "d").link("toF", "f").link("dangling", "nowhere");
    EXPECT_EQ(1, vekFileIsLink("toD"));
    EXPECT_EQ(1, vekFileIsLink("toF"));
    EXPECT_EQ(1, vekFileIsLink("dangling"));
    EXPECT_EQ(0, vekFileIsLink("d"));
    EXPECT_EQ(0, vekFileIsLink("f"));
    EXPECT_EQ(0, vekFileIsLink("missing"));
}

TEST(StatBuffer, ContainsTheResultOfTheLastExistenceOrLinkTest) {
    test::Sandbox box;
    box.file("f", "12345").link("l", "f");
    setTime(box.path("f"), 1'000'000'000);
    setTime(box.path("l"), 5'000'000'000);

    ASSERT_EQ(1, vekFileExists("l"));
    EXPECT_EQ(5, vekGetFileSizeInStatbuf());
    EXPECT_EQ(1'000'000'000, vekGetTimestampInStatbuf());
    EXPECT_TRUE(S_ISREG(vekStatBuf.st_mode));

    ASSERT_EQ(1, vekFileIsLink("l"));
    EXPECT_EQ(1, vekGetFileSizeInStatbuf());
    EXPECT_EQ(5'000'000'000, vekGetTimestampInStatbuf());
    EXPECT_TRUE(S_ISLNK(vekStatBuf.st_mode));

    // Not a link, but its record is stored
    ASSERT_EQ(0, vekFileIsLink("f"));
    EXPECT_EQ(5, vekGetFileSizeInStatbuf());
}

TEST(StatBuffer, IsNotChangedByOtherFunctions) {
    test::Sandbox box;
    box.file("f", "12345").directory("d").link("l", "f");
    ASSERT_EQ(1, vekFileExists("f"));
    const struct stat before = vekStatBuf;

    char target[4097];
    vekFileExists("missing");
    vekFileIsLink("missing");
    vekFileExists("");
    vekGetFileSize("d");
    vekFileIsDirectory("d");
    vekReadSymLink("l", target);
    vekFileWritable("d");
    vekBuildDirPath("d/new");

    EXPECT_EQ(0, std::memcmp(&before, &vekStatBuf, sizeof before));
    EXPECT_EQ(5, vekGetFileSizeInStatbuf());
}

TEST(StatBuffer, IsZeroAtFirst) {
    EXPECT_EQ(0, vekGetFileSizeInStatbuf());
    EXPECT_EQ(0, vekGetTimestampInStatbuf());
}

TEST(VekReadSymLink, ReadsTheTargetUnchanged) {
    test::Sandbox box;
    box.file("f", "").link("l", "../somewhere/./else");
    char target[4097];
    EXPECT_EQ(1, vekReadSymLink("l", target));
    EXPECT_STREQ("../somewhere/./else", target);
}

TEST(VekReadSymLink, FailsForOtherFiles) {
    test::Sandbox box;
    box.file("f", "").directory("d").link("l", "f");
    char target[4097];
    EXPECT_EQ(0, vekReadSymLink("f", target));
    EXPECT_EQ(0, vekReadSymLink("d", target));
    EXPECT_EQ(0, vekReadSymLink("missing", target));
    EXPECT_EQ(0, vekReadSymLink("l", nullptr));
    test::faults::fail("readlink", 1, EIO);
    EXPECT_EQ(0, vekReadSymLink("l", target));
}

TEST(VekReadSymLink, ReadsTheLongestTargets) {
    for (const std::size_t length : {1023U, 1024U, 1025U, 4094U, 4095U}) {
        test::Sandbox box;
        const std::string target(length, 't');
        if (symlink(target.c_str(), "l") != 0) {
            ASSERT_EQ(ENAMETOOLONG, errno);
            ASSERT_EQ(4095U, length); // some file systems allow one character less
            continue;
        }
        std::vector<char> buffer(4097, '?');
        EXPECT_EQ(1, vekReadSymLink("l", buffer.data()));
        EXPECT_EQ(target, buffer.data());
    }
}

// --- vekBuildDirPath ---

std::vector<std::string> reports;

class BuildDirPath : public testing::Test {
  protected:
    BuildDirPath() {
        umask(0022);
        vekRegErrorFunc([](const char *message) { reports.emplace_back(message); });
    }
    test::Sandbox box;
};

const Names MkdirFailed = {"Error (vekBuildDirPath): mkdir call failed.\n"};

TEST_F(BuildDirPath, MakesEveryMissingDirectory) {
    EXPECT_EQ(1, vekBuildDirPath("a"));
    EXPECT_EQ(1, vekBuildDirPath(box.path("a/b/c/d").c_str()));
    EXPECT_EQ(1, vekFileIsDirectory("a/b/c/d"));
    EXPECT_EQ(Names{}, reports);
}

TEST_F(BuildDirPath, AcceptsAnExistingDirectory) {
    box.directory("d").link("l", "d");
    EXPECT_EQ(1, vekBuildDirPath("d"));
    EXPECT_EQ(1, vekBuildDirPath("l"));
    EXPECT_EQ(1, vekBuildDirPath("l/below"));
    EXPECT_EQ(1, vekBuildDirPath("/"));
    EXPECT_EQ(1, vekFileIsDirectory("d/below"));
    EXPECT_EQ(Names{}, reports);
}

TEST_F(BuildDirPath, AcceptsFinalAndDoubleSlashes) {
    EXPECT_EQ(1, vekBuildDirPath("a/b/"));
    EXPECT_EQ(1, vekBuildDirPath("c//d///e//"));
    EXPECT_EQ(1, vekFileIsDirectory("a/b"));
    EXPECT_EQ(1, vekFileIsDirectory("c/d/e"));
    EXPECT_EQ(Names{}, reports);
}

TEST_F(BuildDirPath, CreatesWithAllModeBitsExceptTheUmask) {
    umask(0027);
    ASSERT_EQ(1, vekBuildDirPath("a/b"));
    for (const char *path : {"a", "a/b"}) {
        ASSERT_EQ(1, vekFileExists(path));
        EXPECT_EQ(0750U, vekStatBuf.st_mode & 0777U) << path;
        EXPECT_EQ(static_cast<mode_t>(S_ISVTX), vekStatBuf.st_mode & S_ISVTX) << path;
    }
}

TEST_F(BuildDirPath, FailsForAFileWithoutAReport) {
    box.file("f", "").link("l", "f");
    EXPECT_EQ(0, vekBuildDirPath("f"));
    EXPECT_EQ(0, vekBuildDirPath("l"));
    EXPECT_EQ(0, vekBuildDirPath("f/below"));
    EXPECT_EQ(0, vekBuildDirPath("f/below/that"));
    EXPECT_EQ(Names{}, reports);
}

TEST_F(BuildDirPath, ReportsAFailedMkdirOnce) {
    test::faults::fail("mkdir", 2, ENOSPC);
    EXPECT_EQ(0, vekBuildDirPath("a/b/c"));
    EXPECT_EQ(MkdirFailed, reports);
    EXPECT_TRUE(box.exists("a"));
    EXPECT_FALSE(box.exists("a/b"));
}

TEST_F(BuildDirPath, ReportsADanglingLink) {
    box.link("dangling", "nowhere");
    EXPECT_EQ(0, vekBuildDirPath("dangling"));
    EXPECT_EQ(MkdirFailed, reports);
    reports.clear();
    EXPECT_EQ(0, vekBuildDirPath("dangling/a/b"));
    EXPECT_EQ(MkdirFailed, reports);
    EXPECT_FALSE(box.exists("nowhere"));
}

TEST_F(BuildDirPath, ReportsAReadOnlyDirectory) {
    box.directory("d", 0555);
    test::asUnprivileged([] {
        EXPECT_EQ(0, vekBuildDirPath("d/new"));
        EXPECT_EQ(MkdirFailed, reports);
    });
    EXPECT_EQ(Names{}, box.list("d"));
}

TEST_F(BuildDirPath, SucceedsIfTheDirectoryExistsAfterMkdirFails) {
    // A directory that another process creates between stat() and mkdir()
    box.directory("d");
    test::faults::fail("stat", 1, ENOENT);
    EXPECT_EQ(1, vekBuildDirPath("d"));
    EXPECT_EQ(Names{}, reports);
}

TEST_F(BuildDirPath, ReportsToStandardErrorByDefault) {
    vekRegErrorFunc(nullptr);
    test::Capture capture;
    test::faults::fail("mkdir", 1, EACCES);
    EXPECT_EQ(0, vekBuildDirPath("a"));
    EXPECT_EQ("Error (vekBuildDirPath): mkdir call failed.\n\n", capture.err());
}

TEST_F(BuildDirPath, FailsIfMemoryIsExhausted) {
    test::faults::failAllocation(1);
    EXPECT_EQ(0, vekBuildDirPath("a/b"));
    EXPECT_EQ(Names{}, box.list());
}

TEST_F(BuildDirPath, MakesPathsUpTo4095Characters) {
    for (const std::size_t length : {4095U, 4096U, 4097U}) {
        const test::Sandbox deep;
        std::string path = deep.path();
        while (path.size() < length) {
            path += "/" + std::string(199, 'd');
        }
        path.resize(length, 'e');
        path.back() = 'e';
        reports.clear();
        EXPECT_EQ(length == 4095 ? 1 : 0, vekBuildDirPath(path.c_str())) << length;
        EXPECT_EQ(length == 4095 ? Names{} : MkdirFailed, reports) << length;
    }
}

TEST_F(BuildDirPath, FailsForAPathOfAHundredThousandComponents) {
    std::string path = "d";
    for (int i = 0; i < 100'000; ++i) {
        path += "/x";
    }
    EXPECT_EQ(0, vekBuildDirPath(path.c_str()));
    EXPECT_EQ(MkdirFailed, reports);
}

// --- vekFileWritable ---

TEST(VekFileWritable, AcceptsAWritableFileAndDoesNotChangeIt) {
    test::Sandbox box;
    box.file("f", "content", 0644).link("l", "f");
    EXPECT_EQ(1, vekFileWritable("f"));
    EXPECT_EQ(1, vekFileWritable("l"));
    EXPECT_EQ("content", box.read("f"));
    EXPECT_EQ(1, vekFileWritable("/dev/null"));
}

TEST(VekFileWritable, RejectsAMissingPathWithoutCreatingIt) {
    test::Sandbox box;
    box.link("dangling", "nowhere").file("f", "");
    EXPECT_EQ(0, vekFileWritable("missing"));
    EXPECT_EQ(0, vekFileWritable("dangling"));
    EXPECT_EQ(0, vekFileWritable("f/x"));
    EXPECT_EQ((Names{"dangling", "f"}), box.list());
}

TEST(VekFileWritable, AcceptsAWritableDirectoryAndRemovesTheTestFile) {
    test::Sandbox box;
    box.directory("d").link("l", "d");
    EXPECT_EQ(1, vekFileWritable("d"));
    EXPECT_EQ(1, vekFileWritable("d/"));
    EXPECT_EQ(1, vekFileWritable("l"));
    EXPECT_EQ(Names{}, box.list("d"));
}

TEST(VekFileWritable, RejectsWhatThePermissionsForbid) {
    test::Sandbox box;
    box.file("mine", "", 0644).file("open", "", 0666).directory("closed", 0755).directory("shared", 0777);
    test::asUnprivileged([] {
        EXPECT_EQ(1, vekFileWritable("open"));
        EXPECT_EQ(1, vekFileWritable("shared"));
    });
    ASSERT_EQ(0, chmod("mine", 0444));
    ASSERT_EQ(0, chmod("closed", 0555));
    test::asUnprivileged([] {
        EXPECT_EQ(0, vekFileWritable("mine"));
        EXPECT_EQ(0, vekFileWritable("closed"));
    });
    EXPECT_EQ(Names{}, box.list("closed"));
    EXPECT_EQ(Names{}, box.list("shared"));
}

TEST(VekFileWritable, CreatesTheTestFileWithMode0644) {
    test::Sandbox box;
    umask(0);
    test::faults::fail("unlink", 1, EPERM);
    EXPECT_EQ(1, vekFileWritable("."));
    ASSERT_EQ(1, vekFileExists("vekFileWritableTest"));
    EXPECT_EQ(0644U, vekStatBuf.st_mode & 07777U);
    EXPECT_EQ(0, vekGetFileSizeInStatbuf());
}

TEST(VekFileWritable, RejectsADirectoryInWhichNoFileCanBeCreated) {
    test::Sandbox box;
    box.directory("d");
    test::faults::fail("open", 2, ENOSPC);
    EXPECT_EQ(0, vekFileWritable("d"));
    EXPECT_EQ(Names{}, box.list("d"));
}

TEST(VekFileWritable, UsesAndDeletesAnExistingTestFile) {
    test::Sandbox box;
    box.file("d/vekFileWritableTest", "an old file");
    EXPECT_EQ(1, vekFileWritable("d"));
    EXPECT_EQ(Names{}, box.list("d"));
}

TEST(VekFileWritable, RejectsADirectoryWhoseTestFileIsADirectory) {
    test::Sandbox box;
    box.directory("d/vekFileWritableTest");
    EXPECT_EQ(0, vekFileWritable("d"));
    EXPECT_EQ(Names{"vekFileWritableTest"}, box.list("d"));
}

TEST(VekFileWritable, DoesNotFollowAPlantedLink) {
    test::Sandbox box;
    box.file("victim", "precious").link("d/vekFileWritableTest", box.path("victim"));
    EXPECT_EQ(1, vekFileWritable("d"));
    EXPECT_EQ("precious", box.read("victim"));
    EXPECT_EQ(Names{}, box.list("d"));

    box.link("d/vekFileWritableTest", box.path("target"));
    EXPECT_EQ(1, vekFileWritable("d"));
    EXPECT_FALSE(box.exists("target"));
    EXPECT_EQ(Names{}, box.list("d"));
}

TEST(VekFileWritable, DoesNotBlockOnAPipe) {
    test::Sandbox box;
    box.fifo("p").fifo("d/vekFileWritableTest");
    const test::Outcome outcome = test::inChild([] {
        EXPECT_EQ(0, vekFileWritable("p"));
        EXPECT_EQ(0, vekFileWritable("d"));
        const vek::OwnedDescriptor reader(open("p", O_RDONLY | O_NONBLOCK | O_CLOEXEC));
        EXPECT_EQ(1, vekFileWritable("p"));
        return 0;
    });
    EXPECT_EQ(0, outcome.status);
    EXPECT_FALSE(outcome.timedOut);
}

TEST(VekFileWritable, RejectsADirectoryTooDeepForTheTestFile) {
    test::Sandbox box;
    std::string path = box.path();
    while (path.size() < 4075) {
        path += "/" + std::string(std::min<std::size_t>(200, 4076 - path.size() - 1), 'd');
        ASSERT_EQ(0, mkdir(path.c_str(), 0755)) << path.size();
    }
    ASSERT_LE(path.size(), 4076U);
    EXPECT_EQ(0, vekFileWritable(path.c_str()));
    path.resize(path.rfind('/'));
    EXPECT_EQ(1, vekFileWritable(path.c_str()));
}

} // namespace
