#include "tests/support/faults.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/sandbox.h"

namespace faults = test::faults;

namespace {

// The compiler can remove an unused allocation.
bool allocates() {
    void *volatile const block = std::malloc(8);
    std::free(block);
    return block != nullptr;
}

bool copies() {
    char *volatile const copy = strdup("text");
    std::free(copy);
    return copy != nullptr;
}

} // namespace

TEST(Faults, OnlyTheNthAllocationFails) {
    faults::failAllocation(2);

    EXPECT_TRUE(allocates());
    errno = 0;
    EXPECT_FALSE(copies());
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_TRUE(allocates());
}

TEST(Faults, ComposedTextIsAnAllocation) {
    faults::failAllocation(2);

    char *text = nullptr;
    ASSERT_EQ(asprintf(&text, "%d-%s", 1, "a"), 3);
    EXPECT_STREQ(text, "1-a");
    std::free(text);
    errno = 0;
    EXPECT_EQ(asprintf(&text, "text"), -1);
    EXPECT_EQ(errno, ENOMEM);
}

TEST(Faults, NthAllocationIsCountedFromNow) {
    allocates();
    allocates();

    faults::failAllocation(1);

    EXPECT_FALSE(allocates());
}

TEST(Faults, EveryAllocationFromTheNthOnFails) {
    faults::failAllocationsFrom(2);

    EXPECT_TRUE(allocates());
    EXPECT_FALSE(allocates());
    EXPECT_FALSE(copies());
}

TEST(Faults, FailedReallocationDoesNotFreeTheBlock) {
    char *volatile const block = static_cast<char *>(std::malloc(8));
    block[0] = 'x';
    faults::failAllocation(1);

    EXPECT_EQ(std::realloc(block, 16), nullptr);

    EXPECT_EQ(block[0], 'x');
    std::free(block);
}

TEST(Faults, OnlyTheNthCallFailsWithItsError) {
    struct stat status = {};
    faults::fail("stat", 2, EIO);

    EXPECT_EQ(stat("/", &status), 0);
    errno = 0;
    EXPECT_EQ(stat("/", &status), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(stat("/", &status), 0);
}

TEST(Faults, EveryCallFromTheNthOnFails) {
    faults::failFrom("access", 2, EACCES);

    EXPECT_EQ(access("/", R_OK), 0);
    EXPECT_EQ(access("/", R_OK), -1);
    EXPECT_EQ(access("/", R_OK), -1);
}

TEST(Faults, EveryPointFails) {
    const test::Sandbox box;
    std::array<char, 16> buffer = {};
    struct stat status = {};
    FILE *const stream = std::fopen("stream", "w+");
    const int descriptor = open("descriptor", O_RDWR | O_CREAT, 0644);
    for (const char *const call :
         {"open",  "fopen",     "fdopen",    "read",      "write",           "pwrite", "fflush",
          "fputs", "fwrite",    "fgets",     "fread",     "ftello",          "fseeko", "fmemopen",
          "fsync", "fdatasync", "ftruncate", "fallocate", "posix_fallocate", "stat",   "lstat",
          "fstat", "readlink",  "opendir",   "mkdir",     "rmdir",           "unlink", "rename",
          "chmod", "fchmod",    "getcwd",    "getpwnam",  "access"}) {
        faults::fail(call, 1, EIO);
    }
    const size_t four = 4;

    EXPECT_EQ(open("x", O_RDONLY), -1);
    EXPECT_EQ(std::fopen("x", "w"), nullptr);
    EXPECT_EQ(fdopen(descriptor, "r"), nullptr);
    EXPECT_EQ(read(descriptor, buffer.data(), four), -1);
    EXPECT_EQ(write(descriptor, "text", four), -1);
    EXPECT_EQ(pwrite(descriptor, "text", four, 0), -1);
    EXPECT_EQ(std::fflush(stream), EOF);
    EXPECT_EQ(std::fputs("text", stream), EOF);
    EXPECT_EQ(std::fwrite("text", 1, four, stream), 0U);
    EXPECT_EQ(std::fgets(buffer.data(), 4, stream), nullptr);
    EXPECT_EQ(std::fread(buffer.data(), 1, four, stream), 0U);
    EXPECT_EQ(ftello(stream), -1);
    EXPECT_EQ(fseeko(stream, 0, SEEK_SET), -1);
    EXPECT_EQ(fmemopen(buffer.data(), buffer.size(), "r"), nullptr);
    EXPECT_EQ(fsync(descriptor), -1);
    EXPECT_EQ(fdatasync(descriptor), -1);
    EXPECT_EQ(ftruncate(descriptor, 9), -1);
    EXPECT_EQ(fallocate(descriptor, 0, 0, 9), -1);
    EXPECT_EQ(posix_fallocate(descriptor, 0, 9), EIO);
    EXPECT_EQ(stat("/", &status), -1);
    EXPECT_EQ(lstat("/", &status), -1);
    EXPECT_EQ(fstat(descriptor, &status), -1);
    EXPECT_EQ(readlink("/proc/self/exe", buffer.data(), four), -1);
    EXPECT_EQ(opendir("/"), nullptr);
    EXPECT_EQ(mkdir("made", 0755), -1);
    EXPECT_EQ(rmdir("made"), -1);
    EXPECT_EQ(unlink("descriptor"), -1);
    EXPECT_EQ(rename("descriptor", "other"), -1);
    EXPECT_EQ(chmod("descriptor", 0), -1);
    EXPECT_EQ(fchmod(descriptor, 0), -1);
    EXPECT_EQ(getcwd(buffer.data(), buffer.size()), nullptr);
    EXPECT_EQ(getpwnam("root"), nullptr);
    EXPECT_EQ(access("/", F_OK), -1);

    // The call had no effect.
    EXPECT_EQ(box.list(), (std::vector<std::string>{"descriptor", "stream"}));
    EXPECT_EQ(box.read("descriptor"), "");
    EXPECT_EQ(stat("descriptor", &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0644U);
    close(descriptor);
    static_cast<void>(std::fclose(stream));
}

TEST(Faults, FailingCloseStillCloses) {
    const int descriptor = open("/dev/null", O_RDONLY);
    faults::fail("close", 1, EIO);

    errno = 0;
    EXPECT_EQ(close(descriptor), -1);

    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
}

TEST(Faults, FailingFcloseStillWritesAndReleases) {
    const test::Sandbox box;
    FILE *const stream = std::fopen("stream", "w");
    ASSERT_GE(std::fputs("text", stream), 0);
    faults::fail("fclose", 1, ENOSPC);

    errno = 0;
    EXPECT_EQ(std::fclose(stream), EOF);

    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(box.read("stream"), "text");
}

TEST(Faults, WritesAreLimited) {
    const test::Sandbox box;
    const int descriptor = open("file", O_WRONLY | O_CREAT, 0644);
    faults::limitWrites(3);

    EXPECT_EQ(write(descriptor, "abcdef", 6), 3);
    EXPECT_EQ(pwrite(descriptor, "xyzxyz", 6, 1), 3);

    EXPECT_EQ(box.read("file"), "axyz");
    close(descriptor);
}

TEST(Faults, CallsAreCounted) {
    struct stat status = {};
    EXPECT_EQ(faults::count("stat"), 0);

    stat("/", &status);
    stat("/nonexistent", &status);
    EXPECT_EQ(faults::count("stat"), 2);

    faults::reset();
    EXPECT_EQ(faults::count("stat"), 0);
}

TEST(Faults, ResetDisarms) {
    faults::failAllocationsFrom(1);
    faults::failFrom("access", 1, EACCES);

    faults::reset();

    EXPECT_TRUE(allocates());
    EXPECT_EQ(access("/", R_OK), 0);
}

TEST(Faults, CallWithoutAFaultPointIsRejected) {
    EXPECT_THROW(faults::fail("socket", 1, EIO), std::invalid_argument);
    EXPECT_THROW(static_cast<void>(faults::count("socket")), std::invalid_argument);
}

TEST(Faults, SandboxCallsNeitherFailNorCount) {
    faults::failFrom("open", 1, EIO);
    faults::failFrom("write", 1, EIO);
    faults::failFrom("mkdir", 1, EIO);

    test::Sandbox box;
    box.file("a/b", "text");

    EXPECT_EQ(box.read("a/b"), "text");
    EXPECT_EQ(faults::count("open") + faults::count("write") + faults::count("mkdir"), 0);
}

TEST(Faults, CaselessDirectoryFindsNamesInAnyCase) {
    test::Sandbox box;
    box.directory("plain").directory("caseless");
    faults::makeCaseless(box.path("caseless"));

    FILE *const stream = std::fopen("caseless/Name", "w");
    ASSERT_NE(stream, nullptr);
    static_cast<void>(std::fclose(stream));

    struct stat status = {};
    EXPECT_EQ(stat(box.path("caseless/NAME").c_str(), &status), 0);
    EXPECT_EQ(access("caseless/nAME", F_OK), 0);
    EXPECT_EQ(box.list("caseless"), std::vector<std::string>{"name"});
    EXPECT_EQ(unlink("caseless/naME"), 0);
    EXPECT_EQ(mkdir("plain/Name", 0755), 0);
    EXPECT_EQ(access("plain/name", F_OK), -1);
}
