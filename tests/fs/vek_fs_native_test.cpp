#include "fs/vek_fs.h"

#include "tests/fs/fs_support.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"
#include "tests/support/sandbox.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class NativeFile : public ::testing::Test {
  protected:
    static vekFSFile *open(const char *path, int flags) {
        vekFSFile *file = nullptr;
        EXPECT_EQ(vekFS_openFile(path, flags, &file), 0);
        return file;
    }
    /// Up to `length` bytes.
    static std::string read(vekFSFile *file, size_t length) {
        std::string text(length, '#');
        ssize_t count = -2;
        EXPECT_EQ(vekFS_read(file, text.data(), length, &count), 0);
        text.resize(static_cast<size_t>(count));
        return text;
    }

    test::Sandbox box;
};

TEST_F(NativeFile, ReadsWritesAndMovesItsPosition) {
    box.file("file", "0123456789");
    vekFSFile *const file = open("file", O_RDWR);
    ssize_t count = 0;
    int64_t position = -2;

    EXPECT_EQ(read(file, 4), "0123");
    EXPECT_EQ(vekFS_tell(file, &position), 0);
    EXPECT_EQ(position, 4);
    EXPECT_EQ(vekFS_write(file, "ab", 2, &count), 0);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(vekFS_seek(file, -3, SEEK_END, &position), 0);
    EXPECT_EQ(position, 7);
    EXPECT_EQ(read(file, 10), "789") << "a short count is no error";
    EXPECT_EQ(read(file, 10), "") << "the end of the file is a count of 0";
    EXPECT_EQ(vekFS_rewind(file), 0);
    EXPECT_EQ(vekFS_seek(file, 2, SEEK_CUR, &position), 0);
    EXPECT_EQ(position, 2);
    EXPECT_EQ(read(file, 4), "23ab");
    EXPECT_EQ(vekFS_fsync(file), 0);
    EXPECT_EQ(vekFS_close(file), 0);
    EXPECT_EQ(box.read("file"), "0123ab6789");
}

TEST_F(NativeFile, PositionsHave64Bits) {
    box.file("file", "");
    vekFSFile *const file = open("file", O_RDWR);
    const int64_t far = (int64_t{3} << 30) + 1;
    int64_t position = 0;
    EXPECT_EQ(vekFS_seek(file, far, SEEK_SET, &position), 0);
    EXPECT_EQ(position, far);
    EXPECT_EQ(vekFS_tell(file, &position), 0);
    EXPECT_EQ(position, far);
    EXPECT_EQ(vekFS_close(file), 0);
}

TEST_F(NativeFile, ReadsNulBytes) {
    const std::string content("a\0b\0", 4);
    box.file("file", content);
    vekFSFile *const file = open("file", O_RDONLY);
    EXPECT_EQ(read(file, 100), content);
    EXPECT_EQ(vekFS_close(file), 0);
}

TEST_F(NativeFile, OpensWithTheFlagsOfTheSystem) {
    box.file("file", "content");
    vekFSFile *file = open("file", O_WRONLY | O_TRUNC);
    EXPECT_EQ(vekFS_close(file), 0);
    EXPECT_EQ(box.read("file"), "");

    EXPECT_EQ(vekFS_openFile("missing", O_WRONLY | O_TRUNC, &file), ENOENT);
    EXPECT_EQ(vekFS_openFile("file", O_WRONLY | O_CREAT | O_EXCL, &file), EEXIST);
    EXPECT_EQ(file, nullptr);
}

TEST_F(NativeFile, CreatesWithMode0666LessTheUmask) {
    const std::array<std::pair<mode_t, mode_t>, 3> expectations = {{{0, 0666}, {022, 0644}, {077, 0600}}};
    for (const auto &[mask, expected] : expectations) {
        const mode_t before = umask(mask);
        vekFSFile *const file = open("new", O_WRONLY | O_CREAT);
        umask(before);
        struct stat status = {};
        EXPECT_EQ(stat("new", &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, expected);
        EXPECT_EQ(vekFS_close(file), 0);
        unlink("new");
    }
}

TEST_F(NativeFile, TruncatesNothingIfMemoryIsExhausted) {
    box.file("file", "content");
    const test::Spec spec("file");
    vekFSFile *file = nullptr;
    const int failures = test::failEveryAllocation([&] {
        const int status = vekFS_open(spec, O_RDWR | O_TRUNC, &file);
        EXPECT_EQ(box.read("file"), status == 0 ? "" : "content");
        return status;
    });
    EXPECT_EQ(failures, 1);
    EXPECT_EQ(vekFS_close(file), 0);
}

TEST_F(NativeFile, CloseDoesNotFreeTheCallersSpecifier) {
    box.file("file", "content");
    const test::Spec spec("file");
    const test::Balance balance;
    vekFSFile *file = nullptr;
    ASSERT_EQ(vekFS_open(spec, O_RDONLY, &file), 0);
    EXPECT_EQ(file->spec, spec);
    EXPECT_GE(file->descriptor, 0);
    EXPECT_EQ(vekFS_close(file), 0);
    EXPECT_EQ(balance.allocations(), 0);
    EXPECT_EQ(balance.descriptors(), 0);

    EXPECT_STREQ(spec->path, "file");
    ASSERT_EQ(vekFS_open(spec, O_RDONLY, &file), 0) << "it opens again";
    EXPECT_EQ(vekFS_close(file), 0);
}

TEST_F(NativeFile, FailedCallsReturnTheirErrno) {
    box.file("file", "content");
    vekFSFile *file = nullptr;
    test::faults::fail("open", 1, EMFILE);
    EXPECT_EQ(vekFS_openFile("file", O_RDWR, &file), EMFILE);
    EXPECT_EQ(file, nullptr);

    file = open("file", O_RDWR);
    std::array<char, 4> buffer = {};
    ssize_t count = 7;
    test::faults::fail("read", 1, EIO);
    EXPECT_EQ(vekFS_read(file, buffer.data(), buffer.size(), &count), EIO);
    EXPECT_EQ(count, -1) << "the count is the call's own";
    count = 7;
    test::faults::fail("write", 1, ENOSPC);
    EXPECT_EQ(vekFS_write(file, "x", 1, &count), ENOSPC);
    EXPECT_EQ(count, -1);
    test::faults::fail("fsync", 1, EDQUOT);
    EXPECT_EQ(vekFS_fsync(file), EDQUOT);
    int64_t position = 0;
    EXPECT_EQ(vekFS_seek(file, -1, SEEK_SET, &position), EINVAL);
    EXPECT_EQ(vekFS_seek(file, 0, 99, &position), EINVAL);
    EXPECT_EQ(vekFS_close(file), 0);
}

TEST_F(NativeFile, RewindingAPipeSucceeds) {
    box.fifo("pipe");
    vekFSFile *const file = open("pipe", O_RDWR);
    int64_t position = 0;
    EXPECT_EQ(vekFS_seek(file, 0, SEEK_SET, &position), ESPIPE);
    EXPECT_EQ(vekFS_tell(file, &position), ESPIPE);
    EXPECT_EQ(vekFS_rewind(file), 0);
    EXPECT_EQ(vekFS_fsync(file), EINVAL);
    EXPECT_EQ(vekFS_close(file), 0);
}

TEST_F(NativeFile, WritingPastTheEndOfADeviceReturnsItsErrno) {
    vekFSFile *const file = open("/dev/full", O_WRONLY);
    ssize_t count = 0;
    EXPECT_EQ(vekFS_write(file, "x", 1, &count), ENOSPC);
    EXPECT_EQ(count, -1);
    EXPECT_EQ(vekFS_close(file), 0);
}

TEST_F(NativeFile, FailedCloseFreesNothingAndASecondOneEverything) {
    box.file("file", "content");
    const test::Balance balance;
    vekFSFile *const file = open("file", O_RDWR);
    const int allocated = balance.allocations();
    test::faults::fail("close", 1, EIO);

    EXPECT_EQ(vekFS_close(file), EIO);

    EXPECT_EQ(balance.allocations(), allocated);
    EXPECT_EQ(balance.descriptors(), 0);
    EXPECT_STREQ(file->spec->path, "file");
    // The number can be another file's by now: it must be neither used nor closed again.
    const int other = ::open("file", O_RDONLY | O_CLOEXEC);
    ssize_t count = 0;
    char byte = 0;
    EXPECT_EQ(vekFS_read(file, &byte, 1, &count), EBADF);
    EXPECT_EQ(vekFS_close(file), 0);
    EXPECT_EQ(balance.allocations(), 0);
    EXPECT_EQ(::close(other), 0);
}

TEST_F(NativeFile, UnreadableOneReturnsEACCES) {
    box.file("secret", "content", 0);
    test::asUnprivileged([] {
        vekFSFile *file = nullptr;
        EXPECT_EQ(vekFS_openFile("secret", O_RDONLY, &file), EACCES);
        EXPECT_EQ(file, nullptr);
        EXPECT_EQ(vekFSStdio_openFile("secret", O_RDONLY, &file), EACCES);
        EXPECT_EQ(file, nullptr);
    });
}

class Status : public ::testing::TestWithParam<test::Spec::Maker> {
  protected:
    test::Sandbox box;
};

INSTANTIATE_TEST_SUITE_P(Maker, Status, ::testing::Values(vekFSCreatePathSpec, vekFSStdioCreatePathSpec),
                         [](const auto &made) {
                             return made.param == vekFSCreatePathSpec ? "Native" : "Stdio";
                         });

TEST_P(Status, HasModeOwnerGroupSizeAndTime) {
    box.file("file", "content", 0640);
    const timespec times[2] = {{.tv_sec = 1, .tv_nsec = 0}, {.tv_sec = 5'000'000'000, .tv_nsec = 7}};
    ASSERT_EQ(utimensat(AT_FDCWD, "file", times, 0), 0);
    struct stat expected = {};
    ASSERT_EQ(::stat("file", &expected), 0);
    const test::Spec spec("file", GetParam());
    vekFSStat record = {};
    mode_t mode = 0;
    gid_t gid = ~0U;
    uid_t uid = ~0U;
    int64_t size = 0;
    int64_t seconds = 0;

    EXPECT_EQ(vekFS_stat(spec, &record), 0);

    EXPECT_EQ(record.spec, spec);
    EXPECT_EQ(vekFS_getFileMode(&record, &mode), 0);
    EXPECT_EQ(mode, mode_t{S_IFREG | 0640});
    EXPECT_EQ(vekFS_getFileGID(&record, &gid), 0);
    EXPECT_EQ(gid, expected.st_gid);
    EXPECT_EQ(vekFS_getFileUID(&record, &uid), 0);
    EXPECT_EQ(uid, expected.st_uid);
    EXPECT_EQ(vekFS_getFileSize(&record, &size), 0);
    EXPECT_EQ(size, 7);
    EXPECT_EQ(vekFS_getFileModTime(&record, &seconds), 0);
    EXPECT_EQ(seconds, 5'000'000'000);
}

TEST_P(Status, GettersReadTheRecordOnly) {
    const test::Spec spec("missing", GetParam());
    vekFSStat record = {};
    record.spec = spec;
    record.status.st_mode = S_IFDIR | 0123;
    record.status.st_gid = 11;
    record.status.st_uid = 12;
    record.status.st_size = int64_t{1} << 40;
    record.status.st_mtime = -3;
    mode_t mode = 0;
    gid_t gid = 0;
    uid_t uid = 0;
    int64_t size = 0;
    int64_t seconds = 0;
    EXPECT_EQ(vekFS_getFileMode(&record, &mode), 0);
    EXPECT_EQ(vekFS_getFileGID(&record, &gid), 0);
    EXPECT_EQ(vekFS_getFileUID(&record, &uid), 0);
    EXPECT_EQ(vekFS_getFileSize(&record, &size), 0);
    EXPECT_EQ(vekFS_getFileModTime(&record, &seconds), 0);
    EXPECT_EQ(mode, mode_t{S_IFDIR | 0123});
    EXPECT_EQ(gid, 11U);
    EXPECT_EQ(uid, 12U);
    EXPECT_EQ(size, int64_t{1} << 40);
    EXPECT_EQ(seconds, -3);
}

TEST_P(Status, IsThatOfTheTargetOrOfTheLink) {
    box.directory("d").link("link", "d");
    const test::Spec spec("link", GetParam());
    vekFSStat record = {};
    mode_t mode = 0;
    EXPECT_EQ(vekFS_stat(spec, &record), 0);
    EXPECT_EQ(vekFS_getFileMode(&record, &mode), 0);
    EXPECT_TRUE(S_ISDIR(mode));
    record = {};
    EXPECT_EQ(vekFS_lstat(spec, &record), 0);
    EXPECT_EQ(record.spec, spec);
    EXPECT_EQ(vekFS_getFileMode(&record, &mode), 0);
    EXPECT_TRUE(S_ISLNK(mode));
}

TEST_P(Status, FailureReturnsItsErrnoAndFillsNoRecord) {
    box.link("dangling", "nowhere");
    const test::Spec missing("missing", GetParam());
    const test::Spec dangling("dangling", GetParam());
    vekFSStat record = {};
    mode_t mode = 0;
    EXPECT_EQ(vekFS_stat(missing, &record), ENOENT);
    EXPECT_EQ(vekFS_lstat(missing, &record), ENOENT);
    EXPECT_EQ(vekFS_stat(dangling, &record), ENOENT);
    EXPECT_EQ(record.spec, nullptr);
    EXPECT_EQ(vekFS_getFileMode(&record, &mode), EINVAL) << "an empty record has no specifier to ask";
    EXPECT_EQ(vekFS_lstat(dangling, &record), 0);

    test::faults::fail("stat", 1, EIO);
    EXPECT_EQ(vekFS_stat(dangling, &record), EIO);
    test::faults::fail("lstat", 1, ELOOP);
    EXPECT_EQ(vekFS_lstat(dangling, &record), ELOOP);
}

} // namespace
