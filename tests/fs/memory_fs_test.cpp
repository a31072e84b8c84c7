#include "tests/fs/memory_fs.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

/// Drives the generic functions of the file-system layer with an implementation that has no descriptor, no stream and
/// no directory stream.
class MemoryImplementation : public testing::Test {
  protected:
    ~MemoryImplementation() override {
        for (vekFSSpec *spec : specs_) {
            EXPECT_EQ(VEK_FS_OK, vekFSFreeSpec(spec));
        }
    }

    vekFSSpec *spec(const std::string &path) {
        vekFSSpec *spec = nullptr;
        EXPECT_EQ(VEK_FS_OK, fs.createSpec(path, &spec));
        return specs_.emplace_back(spec);
    }

    vekFSFile *open(const std::string &path, int flags) {
        vekFSFile *file = nullptr;
        EXPECT_EQ(VEK_FS_OK, vekFS_open(spec(path), flags, &file)) << path;
        return file;
    }

    test::MemoryFs fs;

  private:
    std::vector<vekFSSpec *> specs_;
};

std::string read(vekFSFile *file) {
    std::array<char, 100> buffer = {};
    ssize_t count = -1;
    EXPECT_EQ(VEK_FS_OK, vekFS_read(file, buffer.data(), buffer.size(), &count));
    return {buffer.data(), static_cast<std::size_t>(count)};
}

std::vector<std::string> names(vekFSDir *directory) {
    std::vector<std::string> names;
    vekFSDirent *entry = nullptr;
    while (vekFS_readdir(directory, &entry) == VEK_FS_OK && entry != nullptr) {
        std::array<char, 100> buffer = {};
        std::size_t needed = 0;
        EXPECT_EQ(VEK_FS_OK, vekFS_getDirentName(entry, buffer.data(), buffer.size(), &needed));
        names.emplace_back(buffer.data());
        EXPECT_EQ(names.back().size() + 1, needed);
    }
    return names;
}

} // namespace

TEST_F(MemoryImplementation, SpecifierHasItsOwnNameAndText) {
    vekFSSpec *const file = spec("/a");
    const char *name = nullptr;
    EXPECT_EQ(VEK_FS_OK, vekFSGetSpecIOImpName(file, &name));
    EXPECT_STREQ("memory", name);
    std::array<char, 10> text = {};
    std::size_t needed = 0;
    EXPECT_EQ(VEK_FS_OK, vekFSGetSpecString(file, text.data(), text.size(), &needed));
    EXPECT_STREQ("memory:/a", text.data());
    EXPECT_EQ(10U, needed);
    EXPECT_EQ(VEK_FS_BUFFER_TOO_SMALL, vekFSGetSpecString(file, text.data(), 9, &needed));
}

TEST_F(MemoryImplementation, FileIsWrittenAndReadBack) {
    vekFSFile *file = open("/d/file", O_RDWR | O_CREAT);
    ssize_t count = 0;
    EXPECT_EQ(VEK_FS_OK, vekFS_write(file, "one\ntwo\n", 8, &count));
    EXPECT_EQ(8, count);
    EXPECT_EQ(VEK_FS_OK, vekFS_fsync(file));
    int64_t position = -1;
    EXPECT_EQ(VEK_FS_OK, vekFS_tell(file, &position));
    EXPECT_EQ(8, position);
    EXPECT_EQ(VEK_FS_OK, vekFS_seek(file, -4, SEEK_END, &position));
    EXPECT_EQ(4, position);
    EXPECT_EQ("two\n", read(file));
    EXPECT_EQ("", read(file));
    EXPECT_EQ(VEK_FS_OK, vekFS_rewind(file));
    EXPECT_EQ("one\ntwo\n", read(file));
    EXPECT_EQ(VEK_FS_OK, vekFS_close(file));
    EXPECT_EQ("one\ntwo\n", fs.files["/d/file"]);
}

TEST_F(MemoryImplementation, FileIsReadByCharactersAndLines) {
    fs.files["/f"] = "ab\n\xff";
    vekFSFile *file = open("/f", O_RDONLY);
    int character = 0;
    int result = 0;
    EXPECT_EQ(VEK_FS_OK, vekFS_getc(file, &character));
    EXPECT_EQ('a', character);
    EXPECT_EQ(VEK_FS_OK, vekFS_ungetc(character, file, &result));
    EXPECT_EQ('a', result);
    std::array<char, 10> buffer = {};
    char *line = nullptr;
    EXPECT_EQ(VEK_FS_OK, vekFS_fgets(buffer.data(), buffer.size(), file, &line));
    EXPECT_STREQ("ab\n", line);
    EXPECT_EQ(VEK_FS_OK, vekFS_getc(file, &character));
    EXPECT_EQ(0xff, character);
    EXPECT_EQ(VEK_FS_OK, vekFS_getc(file, &character));
    EXPECT_EQ(EOF, character);
    EXPECT_EQ(VEK_FS_OK, vekFS_fgets(buffer.data(), buffer.size(), file, &line));
    EXPECT_EQ(nullptr, line);
    EXPECT_EQ(VEK_FS_OK, vekFS_close(file));
}

TEST_F(MemoryImplementation, StatRecordHasTheImplementationsFields) {
    fs.files["/d/f"] = "12345";
    vekFSStat record = {};
    for (const auto get : {vekFS_stat, vekFS_lstat}) {
        ASSERT_EQ(VEK_FS_OK, get(spec("/d/f"), &record));
        mode_t mode = 0;
        int64_t size = 0;
        int64_t seconds = 0;
        uid_t user = 0;
        gid_t group = 0;
        EXPECT_EQ(VEK_FS_OK, vekFS_getFileMode(&record, &mode));
        EXPECT_TRUE(S_ISREG(mode));
        EXPECT_EQ(VEK_FS_OK, vekFS_getFileSize(&record, &size));
        EXPECT_EQ(5, size);
        EXPECT_EQ(VEK_FS_OK, vekFS_getFileModTime(&record, &seconds));
        EXPECT_EQ(1'000'000'000, seconds);
        EXPECT_EQ(VEK_FS_OK, vekFS_getFileUID(&record, &user));
        EXPECT_EQ(100U, user);
        EXPECT_EQ(VEK_FS_OK, vekFS_getFileGID(&record, &group));
        EXPECT_EQ(200U, group);
    }
    ASSERT_EQ(VEK_FS_OK, vekFS_stat(spec("/d"), &record));
    EXPECT_TRUE(S_ISDIR(record.status.st_mode));
}

TEST_F(MemoryImplementation, DirectoryIsReadWithoutADirectoryStream) {
    fs.files["/d/one"] = fs.files["/d/sub/two"] = "";
    vekFSDir *directory = nullptr;
    ASSERT_EQ(VEK_FS_OK, vekFS_opendir(spec("/d"), &directory));
    const std::vector<std::string> expected = {".", "..", "one", "sub"};
    EXPECT_EQ(expected, names(directory));
    EXPECT_EQ(std::vector<std::string>(), names(directory));
    EXPECT_EQ(VEK_FS_OK, vekFS_rewinddir(directory));
    EXPECT_EQ(expected, names(directory));
    EXPECT_EQ(VEK_FS_OK, vekFS_closedir(directory));
}

TEST_F(MemoryImplementation, ErrorsOfTheImplementationAreReturnedUnchanged) {
    fs.files["/d/f"] = "";
    vekFSFile *file = nullptr;
    vekFSDir *directory = nullptr;
    vekFSStat record = {};
    EXPECT_EQ(ENOENT, vekFS_open(spec("/missing"), O_RDONLY, &file));
    EXPECT_EQ(EISDIR, vekFS_open(spec("/d"), O_RDONLY, &file));
    EXPECT_EQ(nullptr, file);
    EXPECT_EQ(ENOTDIR, vekFS_opendir(spec("/d/f"), &directory));
    EXPECT_EQ(nullptr, directory);
    EXPECT_EQ(ENOENT, vekFS_stat(spec("/missing"), &record));
    file = open("/d/f", O_RDONLY);
    ssize_t count = 0;
    EXPECT_EQ(EBADF, vekFS_write(file, "x", 1, &count));
    EXPECT_EQ(VEK_FS_OK, vekFS_close(file));
}
