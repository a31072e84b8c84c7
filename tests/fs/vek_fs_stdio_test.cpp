#include "fs/vek_fs.h"

#include "tests/fs/fs_support.h"
#include "tests/support/faults.h"
#include "tests/support/sandbox.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

class StdioFile : public ::testing::Test {
  protected:
    static vekFSFile *open(const std::string &path, int flags) {
        vekFSFile *file = nullptr;
        EXPECT_EQ(vekFSStdio_openFile(path.c_str(), flags, &file), 0);
        return file;
    }
    static std::string read(vekFSFile *file, size_t length) {
        std::string text(length, '#');
        ssize_t count = -2;
        EXPECT_EQ(vekFS_read(file, text.data(), length, &count), 0);
        text.resize(static_cast<size_t>(count));
        return text;
    }
    static void write(vekFSFile *file, const std::string &text) {
        ssize_t count = -2;
        EXPECT_EQ(vekFS_write(file, text.data(), text.size(), &count), 0);
        EXPECT_EQ(count, static_cast<ssize_t>(text.size()));
    }
    static int getc(vekFSFile *file) {
        int character = -2;
        EXPECT_EQ(vekFS_getc(file, &character), 0);
        return character;
    }

    test::Sandbox box;
};

/// The effect of opening flags on a file.
class Opening : public StdioFile {
  protected:
    enum class Kind { Existing, Missing };

    /// Opens "file" (content "old") and writes "new". @return the content afterwards, or the status of the open
    std::string afterWriting(int flags, Kind kind) {
        unlink("file");
        if (kind == Kind::Existing) {
            box.file("file", "old!!");
        }
        vekFSFile *file = nullptr;
        const int status = vekFSStdio_openFile("file", flags, &file);
        if (status != 0) {
            EXPECT_EQ(file, nullptr);
            return std::to_string(status) + (box.exists("file") ? " and a file" : "");
        }
        ssize_t count = 0;
        const int written = vekFS_write(file, "new", 3, &count);
        EXPECT_EQ(count, written == 0 ? 3 : 0);
        EXPECT_EQ(vekFS_close(file), 0);
        return box.read("file") + (written == 0 ? "" : ", write " + std::to_string(written));
    }
    /// @return whether a file that is opened with these flags can be read
    bool reads(int flags) {
        box.file("file", "old!!");
        vekFSFile *const file = open("file", flags);
        char byte = 0;
        ssize_t count = 0;
        const int status = vekFS_read(file, &byte, 1, &count);
        EXPECT_TRUE(status == 0 || status == EBADF);
        EXPECT_EQ(vekFS_close(file), 0);
        return status == 0;
    }
};

TEST_F(Opening, ReadWriteWithAppendCreatesAndAppends) {
    for (const int more : {0, O_TRUNC, O_CREAT, O_TRUNC | O_CREAT}) {
        EXPECT_EQ(afterWriting(O_RDWR | O_APPEND | more, Kind::Existing), "old!!new");
        EXPECT_EQ(afterWriting(O_RDWR | O_APPEND | more, Kind::Missing), "new");
    }
    EXPECT_TRUE(reads(O_RDWR | O_APPEND));
}

TEST_F(Opening, ReadWriteWithTruncationCreatesAndTruncates) {
    for (const int more : {0, O_CREAT}) {
        EXPECT_EQ(afterWriting(O_RDWR | O_TRUNC | more, Kind::Existing), "new");
        EXPECT_EQ(afterWriting(O_RDWR | O_TRUNC | more, Kind::Missing), "new");
    }
    EXPECT_TRUE(reads(O_RDWR | O_TRUNC));
}

TEST_F(Opening, ReadWriteOtherwiseNeitherCreatesNorTruncates) {
    for (const int more : {0, O_CREAT, O_CREAT | O_EXCL}) {
        EXPECT_EQ(afterWriting(O_RDWR | more, Kind::Existing), "new!!");
        EXPECT_EQ(afterWriting(O_RDWR | more, Kind::Missing), std::to_string(ENOENT));
    }
    EXPECT_TRUE(reads(O_RDWR));
}

TEST_F(Opening, WriteOnlyWithAppendCreatesAndAppends) {
    for (const int more : {0, O_TRUNC, O_CREAT, O_TRUNC | O_CREAT}) {
        EXPECT_EQ(afterWriting(O_WRONLY | O_APPEND | more, Kind::Existing), "old!!new");
        EXPECT_EQ(afterWriting(O_WRONLY | O_APPEND | more, Kind::Missing), "new");
    }
    EXPECT_FALSE(reads(O_WRONLY | O_APPEND));
}

TEST_F(Opening, WriteOnlyWithTruncationCreatesAndTruncates) {
    for (const int more : {0, O_CREAT}) {
        EXPECT_EQ(afterWriting(O_WRONLY | O_TRUNC | more, Kind::Existing), "new");
        EXPECT_EQ(afterWriting(O_WRONLY | O_TRUNC | more, Kind::Missing), "new");
    }
    EXPECT_FALSE(reads(O_WRONLY | O_TRUNC));
}

TEST_F(Opening, WriteOnlyOtherwiseOpensForReadingToo) {
    for (const int more : {0, O_CREAT}) {
        EXPECT_EQ(afterWriting(O_WRONLY | more, Kind::Existing), "new!!");
        EXPECT_EQ(afterWriting(O_WRONLY | more, Kind::Missing), std::to_string(ENOENT));
    }
    EXPECT_TRUE(reads(O_WRONLY));
}

TEST_F(Opening, ReadOnlyOnlyReads) {
    const std::string refused = "old!!, write " + std::to_string(EBADF);
    for (const int more : {0, O_APPEND, O_TRUNC, O_CREAT, O_APPEND | O_TRUNC | O_CREAT}) {
        EXPECT_EQ(afterWriting(O_RDONLY | more, Kind::Existing), refused);
        EXPECT_EQ(afterWriting(O_RDONLY | more, Kind::Missing), std::to_string(ENOENT));
        EXPECT_TRUE(reads(O_RDONLY | more));
    }
}

TEST_F(Opening, WithoutAValidAccessModeIsRejected) {
    box.file("file", "content");
    vekFSFile *file = nullptr;
    EXPECT_EQ(vekFSStdio_openFile("file", O_WRONLY | O_RDWR, &file), EINVAL);
    EXPECT_EQ(file, nullptr);
}

TEST_F(Opening, FailureReturnsItsErrnoAndNoFile) {
    box.file("file", "content").link("loop", "loop");
    auto *file = reinterpret_cast<vekFSFile *>(this);
    EXPECT_EQ(vekFSStdio_openFile("", O_RDONLY, &file), ENOENT);
    EXPECT_EQ(file, nullptr);
    EXPECT_EQ(vekFSStdio_openFile("loop", O_RDONLY, &file), ELOOP);
    EXPECT_EQ(vekFSStdio_openFile(".", O_WRONLY, &file), EISDIR);
    EXPECT_EQ(vekFSStdio_openFile("file/x", O_RDWR | O_TRUNC, &file), ENOTDIR);
    test::faults::fail("fopen", 1, EMFILE);
    EXPECT_EQ(vekFSStdio_openFile("file", O_RDONLY, &file), EMFILE);
    EXPECT_EQ(file, nullptr);
}

TEST_F(Opening, LeavesTheFileUnchangedIfMemoryIsExhausted) {
    box.file("file", "content");
    const test::Spec spec("file", vekFSStdioCreatePathSpec);
    vekFSFile *file = nullptr;
    test::faults::failAllocation(1);
    EXPECT_EQ(vekFS_open(spec, O_WRONLY | O_TRUNC, &file), ENOMEM);
    EXPECT_EQ(file, nullptr);
    EXPECT_EQ(box.read("file"), "content");
    const int failures =
        test::failEveryAllocation([&] { return vekFS_open(spec, O_WRONLY | O_TRUNC, &file); });
    EXPECT_EQ(failures, 1);
    EXPECT_EQ(vekFS_close(file), 0);
    EXPECT_EQ(box.read("file"), "");
}

TEST_F(StdioFile, CloseDoesNotFreeTheCallersSpecifier) {
    box.file("file", "content");
    const test::Spec spec("file", vekFSStdioCreatePathSpec);
    const test::Balance balance;
    vekFSFile *file = nullptr;
    ASSERT_EQ(vekFS_open(spec, O_RDONLY, &file), 0);
    EXPECT_EQ(file->spec, spec);
    EXPECT_NE(file->stream, nullptr);
    EXPECT_EQ(vekFS_close(file), 0);
    EXPECT_EQ(balance.allocations(), 0);
    EXPECT_EQ(balance.descriptors(), 0);
    EXPECT_STREQ(spec->path, "file");
}

TEST_F(StdioFile, ReturnsLinesAndThenNull) {
    box.file("file", "one\nlonger\nlast");
    vekFSFile *const file = open("file", O_RDONLY);
    std::array<char, 6> buffer = {};
    char *line = nullptr;
    for (const char *const expected : {"one\n", "longe", "r\n", "last"}) {
        EXPECT_EQ(vekFS_fgets(buffer.data(), buffer.size(), file, &line), 0);
        EXPECT_EQ(line, buffer.data());
        EXPECT_STREQ(line, expected);
    }
    EXPECT_EQ(vekFS_fgets(buffer.data(), buffer.size(), file, &line), 0);
    EXPECT_EQ(line, nullptr);
    EXPECT_EQ(vekFS_close(file), 0);
}

TEST_F(StdioFile, LinesAcceptAnyBufferSize) {
    box.file("file", "some text\n");
    vekFSFile *const file = open("file", O_RDONLY);
    std::vector<char> buffer(32, '#');
    char *line = buffer.data();
    EXPECT_EQ(vekFS_fgets(buffer.data(), 0, file, &line), 0);
    EXPECT_EQ(line, nullptr) << "nothing fits";
    EXPECT_EQ(buffer[0], '#');
    EXPECT_EQ(vekFS_fgets(buffer.data(), 1, file, &line), 0);
    EXPECT_STREQ(line, "") << "only the NUL fits";
    EXPECT_EQ(vekFS_fgets(buffer.data(), 5, file, &line), 0);
    EXPECT_STREQ(line, "some");
    EXPECT_EQ(vekFS_rewind(file), 0);
    const size_t beyondInt = size_t{INT_MAX} + 2;
    EXPECT_EQ(vekFS_fgets(buffer.data(), beyondInt, file, &line), 0) << "cut to what the system can take";
    EXPECT_STREQ(line, "some text\n");
    EXPECT_EQ(vekFS_close(file), 0);
}

TEST_F(StdioFile, ReturnsLongLinesInPieces) {
    for (const size_t length : {1023U, 1024U, 1025U, 2047U, 2048U, 4095U, 4096U, 4097U}) {
        const std::string content(length, 'x');
        box.file("file", content);
        vekFSFile *const file = open("file", O_RDONLY);
        std::vector<char> buffer(VEK_PATH_SIZE);
        std::string all;
        char *line = nullptr;
        while (vekFS_fgets(buffer.data(), buffer.size(), file, &line) == 0 && line != nullptr) {
            EXPECT_LE(std::string(line).size(), 4095U);
            all += line;
        }
        EXPECT_EQ(all, content);
        EXPECT_EQ(vekFS_close(file), 0);
    }
}

TEST_F(StdioFile, ReturnsUnsignedCharactersAndThenEOF) {
    box.file("file", "a\xff");
    vekFSFile *const file = open("file", O_RDONLY);
    EXPECT_EQ(getc(file), 'a');
    EXPECT_EQ(getc(file), 0xff);
    EXPECT_EQ(getc(file), EOF);
    EXPECT_EQ(getc(file), EOF);
    EXPECT_EQ(vekFS_close(file), 0);
}

TEST_F(StdioFile, PushesACharacterBack) {
    box.file("file", "ab");
    vekFSFile *const file = open("file", O_RDONLY);
    int result = 0;
    EXPECT_EQ(getc(file), 'a');
    EXPECT_EQ(vekFS_ungetc('X', file, &result), 0);
    EXPECT_EQ(result, 'X');
    EXPECT_EQ(getc(file), 'X');
    EXPECT_EQ(getc(file), 'b');
    EXPECT_EQ(vekFS_ungetc(EOF, file, &result), 0) << "also when nothing can be put back";
    EXPECT_EQ(result, EOF);
    EXPECT_EQ(vekFS_close(file), 0);
}

TEST_F(StdioFile, ReadErrorsAreBadStatusForCharactersAndLines) {
    // A directory opens for reading, and every read of it fails.
    vekFSFile *const file = open(".", O_RDONLY);
    std::array<char, 8> buffer = {};
    char *line = buffer.data();
    int character = 0;
    EXPECT_EQ(vekFS_fgets(buffer.data(), buffer.size(), file, &line), -1);
    EXPECT_EQ(line, nullptr);
    EXPECT_EQ(vekFS_getc(file, &character), -1);
    EXPECT_EQ(character, EOF);
    EXPECT_EQ(vekFS_close(file), 0);
}

TEST_F(StdioFile, ShortCountIsNoError) {
    box.file("file", "four");
    vekFSFile *const file = open("file", O_RDONLY);
    std::array<char, 10> buffer = {};
    ssize_t count = 0;
    EXPECT_EQ(vekFS_read(file, buffer.data(), buffer.size(), &count), 0);
    EXPECT_EQ(count, 4);
    EXPECT_EQ(vekFS_read(file, buffer.data(), buffer.size(), &count), 0);
    EXPECT_EQ(count, 0) << "nor is the end of the file";
    EXPECT_EQ(vekFS_close(file), 0);
}

TEST_F(StdioFile, ErrorWithoutAByteReturnsItsErrno) {
    vekFSFile *directory = open(".", O_RDONLY);
    char byte = 0;
    ssize_t count = 7;
    EXPECT_EQ(vekFS_read(directory, &byte, 1, &count), EISDIR);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(vekFS_close(directory), 0);

    box.file("file", "");
    vekFSFile *const file = open("file", O_RDONLY);
    count = 7;
    EXPECT_EQ(vekFS_write(file, "x", 1, &count), EBADF);
    EXPECT_EQ(count, 0);
    errno = EIO;
    EXPECT_EQ(vekFS_read(file, &byte, 0, &count), 0) << "an errno of the past is not reported";
    EXPECT_EQ(count, 0);
    errno = EIO;
    EXPECT_EQ(vekFS_write(file, &byte, 0, &count), 0) << "nor is it by a write of nothing";
    EXPECT_EQ(count, 0);
    EXPECT_EQ(vekFS_close(file), 0);
}

TEST_F(StdioFile, ErrorAfterSomeBytesIsNotReported) {
    box.fifo("pipe");
    vekFSFile *const file = open("pipe", O_RDWR);
    ASSERT_EQ(fcntl(fileno(file->stream), F_SETFL, O_NONBLOCK), 0);
    ASSERT_EQ(::write(fileno(file->stream), "four", 4), 4);
    std::array<char, 10> buffer = {};
    ssize_t count = 0;
    EXPECT_EQ(vekFS_read(file, buffer.data(), buffer.size(), &count), 0);
    EXPECT_EQ(count, 4);
    EXPECT_EQ(vekFS_read(file, buffer.data(), buffer.size(), &count), EAGAIN);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(vekFS_close(file), 0);
}

TEST_F(StdioFile, EarlierErrorDoesNotAffectLaterReads) {
    box.file("file", "xline\n");
    vekFSFile *const file = open("file", O_RDONLY);
    std::array<char, 10> buffer = {};
    char *line = nullptr;
    ssize_t count = 0;
    EXPECT_EQ(vekFS_write(file, "y", 1, &count), EBADF);
    EXPECT_EQ(getc(file), 'x');
    EXPECT_EQ(vekFS_fgets(buffer.data(), buffer.size(), file, &line), 0);
    EXPECT_STREQ(line, "line\n");
    EXPECT_EQ(vekFS_close(file), 0);
}

TEST_F(StdioFile, MovesItsPosition) {
    box.file("file", "0123456789");
    vekFSFile *const file = open("file", O_RDWR);
    int64_t position = -2;
    EXPECT_EQ(vekFS_seek(file, -3, SEEK_END, &position), 0);
    EXPECT_EQ(position, 7);
    EXPECT_EQ(read(file, 2), "78");
    EXPECT_EQ(vekFS_tell(file, &position), 0);
    EXPECT_EQ(position, 9);
    EXPECT_EQ(vekFS_seek(file, -4, SEEK_CUR, &position), 0);
    EXPECT_EQ(position, 5);
    write(file, "ab");
    EXPECT_EQ(vekFS_rewind(file), 0);
    EXPECT_EQ(read(file, 100), "01234ab789");
    EXPECT_EQ(vekFS_close(file), 0);
}

TEST_F(StdioFile, PositionsHave64Bits) {
    box.file("file", "");
    vekFSFile *const file = open("file", O_RDWR);
    for (const int64_t far :
         {(int64_t{1} << 31) - 1, int64_t{1} << 31, (int64_t{3} << 30) + 1, int64_t{1} << 33}) {
        int64_t position = 0;
        EXPECT_EQ(vekFS_seek(file, far, SEEK_SET, &position), 0);
        EXPECT_EQ(position, far);
        position = 0;
        EXPECT_EQ(vekFS_tell(file, &position), 0);
        EXPECT_EQ(position, far);
    }
    EXPECT_EQ(vekFS_close(file), 0);
}

TEST_F(StdioFile, FailedSeekReturnsItsErrno) {
    box.file("file", "content").fifo("pipe");
    int64_t position = 0;
    vekFSFile *const file = open("file", O_RDONLY);
    EXPECT_EQ(vekFS_seek(file, -1, SEEK_SET, &position), EINVAL);
    EXPECT_EQ(vekFS_seek(file, 0, 99, &position), EINVAL);
    EXPECT_EQ(vekFS_close(file), 0);

    vekFSFile *const pipe = open("pipe", O_RDWR);
    EXPECT_EQ(vekFS_seek(pipe, 0, SEEK_SET, &position), ESPIPE);
    EXPECT_EQ(vekFS_tell(pipe, &position), ESPIPE);
    EXPECT_EQ(position, -1);
    EXPECT_EQ(vekFS_rewind(pipe), 0);
    EXPECT_EQ(vekFS_close(pipe), 0);
}

TEST_F(StdioFile, RewindClearsTheErrorIndicator) {
    box.file("file", "x");
    vekFSFile *const file = open("file", O_RDONLY);
    ssize_t count = 0;
    EXPECT_EQ(vekFS_write(file, "y", 1, &count), EBADF);
    EXPECT_EQ(getc(file), 'x');
    int character = 0;
    EXPECT_EQ(vekFS_getc(file, &character), -1) << "the end of the file, with the indicator still set";
    EXPECT_EQ(vekFS_rewind(file), 0);
    EXPECT_EQ(getc(file), 'x');
    EXPECT_EQ(getc(file), EOF);
    EXPECT_EQ(vekFS_close(file), 0);
}

TEST_F(StdioFile, FsyncOnlyFlushesTheBuffer) {
    box.file("file", "");
    vekFSFile *const file = open("file", O_RDWR);
    write(file, "text");
    EXPECT_EQ(box.read("file"), "");
    errno = EIO;
    EXPECT_EQ(vekFS_fsync(file), 0);
    EXPECT_EQ(box.read("file"), "text");
    EXPECT_EQ(test::faults::count("fsync"), 0);
    EXPECT_EQ(vekFS_close(file), 0);
}

TEST_F(StdioFile, FailedFlushReturnsItsErrno) {
    vekFSFile *const file = open("/dev/full", O_RDWR);
    write(file, "text");
    EXPECT_EQ(vekFS_fsync(file), ENOSPC);
    EXPECT_EQ(vekFS_close(file), 0) << "nothing is left to be written";
}

TEST_F(StdioFile, FailedCloseFreesNothingAndASecondOneEverything) {
    const test::Balance balance;
    vekFSFile *const file = open("/dev/full", O_RDWR);
    const int allocated = balance.allocations();
    write(file, "text");

    EXPECT_EQ(vekFS_close(file), ENOSPC);

    EXPECT_EQ(balance.allocations(), allocated);
    EXPECT_EQ(balance.descriptors(), 0);
    EXPECT_STREQ(file->spec->path, "/dev/full");
    EXPECT_EQ(vekFS_close(file), 0);
    EXPECT_EQ(balance.allocations(), 0);
}

TEST_F(StdioFile, ReturnsEBADFAfterAFailedClose) {
    box.file("file", "content");
    vekFSFile *const file = open("file", O_RDWR);
    test::faults::fail("fclose", 1, EIO);
    EXPECT_EQ(vekFS_close(file), EIO);

    std::array<char, 4> buffer = {};
    char *line = nullptr;
    int character = 0;
    ssize_t count = 0;
    int64_t position = 0;
    EXPECT_EQ(vekFS_getc(file, &character), EBADF);
    EXPECT_EQ(vekFS_ungetc('x', file, &character), EBADF);
    EXPECT_EQ(vekFS_fgets(buffer.data(), buffer.size(), file, &line), EBADF);
    EXPECT_EQ(vekFS_read(file, buffer.data(), buffer.size(), &count), EBADF);
    EXPECT_EQ(vekFS_write(file, buffer.data(), buffer.size(), &count), EBADF);
    EXPECT_EQ(vekFS_seek(file, 0, SEEK_SET, &position), EBADF);
    EXPECT_EQ(vekFS_tell(file, &position), EBADF);
    EXPECT_EQ(vekFS_rewind(file), EBADF);
    EXPECT_EQ(vekFS_fsync(file), EBADF);
    EXPECT_EQ(vekFS_close(file), 0);
}

TEST_F(StdioFile, HasEverySlot) {
    const test::Spec spec("file", vekFSStdioCreatePathSpec);
    std::array<const void *, 26> slots = {};
    static_assert(sizeof slots == sizeof(vekFSIODef));
    std::memcpy(slots.data(), spec->implementation, sizeof slots);
    for (const void *const slot : slots) {
        EXPECT_NE(slot, nullptr);
    }
}

} // namespace
