#include "fs/vek_fs.h"

#include "tests/fs/fs_support.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"
#include "tests/support/sandbox.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

/// The directory operations of each implementation, and the native functions that they use.
struct Interface {
    const char *name;
    test::Spec::Maker makeSpec;
    int (*open)(vekFSSpec *, vekFSDir **);
    int (*read)(vekFSDir *, vekFSDirent **);
    int (*rewind)(vekFSDir *);
    int (*close)(vekFSDir *);
    int (*nameOf)(const vekFSDirent *, char *, size_t, size_t *);
};

class Directory : public ::testing::TestWithParam<Interface> {
  protected:
    static vekFSDir *open(vekFSSpec *spec) {
        vekFSDir *directory = nullptr;
        EXPECT_EQ(GetParam().open(spec, &directory), 0);
        return directory;
    }
    static std::string nameOf(const vekFSDirent *entry) {
        std::vector<char> name(VEK_PATH_SIZE, '#');
        size_t needed = 0;
        EXPECT_EQ(GetParam().nameOf(entry, name.data(), name.size(), &needed), 0);
        EXPECT_EQ(needed, std::strlen(name.data()) + 1);
        return name.data();
    }
    /// All names, sorted; checks that the end is no error.
    static std::vector<std::string> names(vekFSDir *directory) {
        std::vector<std::string> all;
        vekFSDirent *entry = nullptr;
        int status = 0;
        while ((status = GetParam().read(directory, &entry)) == 0 && entry != nullptr) {
            all.push_back(nameOf(entry));
        }
        EXPECT_EQ(status, 0);
        EXPECT_EQ(entry, nullptr);
        std::sort(all.begin(), all.end());
        return all;
    }

    test::Sandbox box;
};

INSTANTIATE_TEST_SUITE_P(
    Interface, Directory,
    ::testing::Values(Interface{"Native", vekFSCreatePathSpec, vekFS_opendir, vekFS_readdir, vekFS_rewinddir,
                                vekFS_closedir, vekFS_getDirentName},
                      Interface{"Stdio", vekFSStdioCreatePathSpec, vekFS_opendir, vekFS_readdir,
                                vekFS_rewinddir, vekFS_closedir, vekFS_getDirentName},
                      Interface{"Helper", vekFSCreatePathSpec, vekFSiOpendir, vekFSiReaddir, vekFSiRewinddir,
                                vekFSiClosedir, vekFSiGetDirentName}),
    [](const auto &made) { return made.param.name; });

TEST_P(Directory, ReturnsEveryEntryAndThenNull) {
    box.file("d/one", "").directory("d/two").link("d/three", "nowhere");
    const test::Spec spec("d", GetParam().makeSpec);
    vekFSDir *const directory = open(spec);
    // An old value of errno must not make the end of the directory an error.
    errno = EIO;
    EXPECT_EQ(names(directory), (std::vector<std::string>{".", "..", "one", "three", "two"}));
    vekFSDirent *entry = nullptr;
    errno = EIO;
    EXPECT_EQ(GetParam().read(directory, &entry), 0) << "the end stays the end";
    EXPECT_EQ(entry, nullptr);
    EXPECT_EQ(GetParam().close(directory), 0);
}

TEST_P(Directory, BeginsAgainWhenRewound) {
    box.file("d/one", "").file("d/two", "");
    const test::Spec spec("d", GetParam().makeSpec);
    vekFSDir *const directory = open(spec);
    const std::vector<std::string> first = names(directory);
    EXPECT_EQ(GetParam().rewind(directory), 0);
    EXPECT_EQ(names(directory), first);
    EXPECT_EQ(GetParam().close(directory), 0);
}

TEST_P(Directory, NextReadOverwritesTheEntryHolder) {
    box.directory("d");
    const test::Spec spec("d", GetParam().makeSpec);
    vekFSDir *const directory = open(spec);
    vekFSDirent *first = nullptr;
    vekFSDirent *second = nullptr;
    EXPECT_EQ(GetParam().read(directory, &first), 0);
    const std::string firstName = nameOf(first);
    EXPECT_EQ(GetParam().read(directory, &second), 0);
    EXPECT_EQ(first, second);
    EXPECT_EQ(first, directory->entry);
    EXPECT_NE(nameOf(first), firstName);
    EXPECT_EQ(GetParam().close(directory), 0);
}

TEST_P(Directory, HandleAndEntryHaveTheSpecifier) {
    box.directory("d");
    const test::Spec spec("d", GetParam().makeSpec);
    vekFSDir *const directory = open(spec);
    vekFSDirent *entry = nullptr;
    EXPECT_EQ(GetParam().read(directory, &entry), 0);
    EXPECT_EQ(directory->spec, spec);
    EXPECT_EQ(entry->spec, spec);
    EXPECT_EQ(GetParam().close(directory), 0);
}

TEST_P(Directory, EntriesHaveTheTypeFromTheFileSystem) {
    box.directory("d");
    const test::Spec spec("d", GetParam().makeSpec);
    vekFSDir *const directory = open(spec);
    vekFSDirent *entry = nullptr;
    for (const unsigned char type : {DT_REG, DT_DIR, DT_LNK, DT_UNKNOWN}) {
        test::nextEntry("name", type);
        EXPECT_EQ(GetParam().read(directory, &entry), 0);
        EXPECT_EQ(entry->type, type);
        EXPECT_EQ(nameOf(entry), "name");
    }
    EXPECT_EQ(GetParam().close(directory), 0);
}

TEST_P(Directory, EntryBufferHasRecordLengthAndName) {
    box.directory("d");
    const test::Spec spec("d", GetParam().makeSpec);
    vekFSDir *const directory = open(spec);
    vekFSDirent *entry = nullptr;
    test::nextEntry("name", DT_REG);
    EXPECT_EQ(GetParam().read(directory, &entry), 0);
    EXPECT_EQ(entry->buffer->recordLength, offsetof(dirent, d_name) + 5);
    EXPECT_STREQ(entry->buffer->name, "name");
    EXPECT_EQ(GetParam().close(directory), 0);
}

TEST_P(Directory, EntryBufferIsEmptyBeforeTheFirstRead) {
    const test::Spec spec(".", GetParam().makeSpec);
    vekFSDir *const directory = open(spec);
    EXPECT_EQ(directory->entry->buffer->recordLength, 0);
    EXPECT_STREQ(directory->entry->buffer->name, "");
    EXPECT_EQ(GetParam().close(directory), 0);
}

TEST_P(Directory, AcceptsNamesUpToTheLengthOfAPath) {
    box.directory("d");
    const test::Spec spec("d", GetParam().makeSpec);
    vekFSDir *const directory = open(spec);
    vekFSDirent *entry = nullptr;
    for (const size_t length : {1U, 254U, 255U, 256U, 257U, 1023U, 1024U, 1025U, 2047U, 2048U, 4095U}) {
        const std::string name(length, 'n');
        test::nextEntry(name, DT_REG);
        EXPECT_EQ(GetParam().read(directory, &entry), 0) << length;
        EXPECT_EQ(nameOf(entry), name);
    }
    for (const size_t length : {4096U, 4097U, 8000U}) {
        test::nextEntry(std::string(length, 'n'), DT_REG);
        EXPECT_EQ(GetParam().read(directory, &entry), ENAMETOOLONG) << length;
        EXPECT_EQ(entry, nullptr);
    }
    EXPECT_EQ(GetParam().close(directory), 0);
}

TEST_P(Directory, NameNeedsItsLengthAndOneByte) {
    box.directory("d");
    const test::Spec spec("d", GetParam().makeSpec);
    vekFSDir *const directory = open(spec);
    vekFSDirent *entry = nullptr;
    for (const size_t length : {1U, 3U, 255U}) {
        const std::string name(length, 'n');
        test::nextEntry(name, DT_REG);
        ASSERT_EQ(GetParam().read(directory, &entry), 0);

        std::vector<char> buffer(length + 2, '#');
        size_t needed = 0;
        EXPECT_EQ(GetParam().nameOf(entry, buffer.data(), length, &needed), VEK_FS_BUFFER_TOO_SMALL);
        EXPECT_EQ(needed, length + 1);
        EXPECT_EQ(buffer, std::vector<char>(length + 2, '#'));

        needed = 0;
        EXPECT_EQ(GetParam().nameOf(entry, buffer.data(), length + 1, &needed), 0);
        EXPECT_EQ(needed, length + 1);
        EXPECT_EQ(name, buffer.data());
        EXPECT_EQ(buffer.back(), '#');
    }
    EXPECT_EQ(GetParam().close(directory), 0);
}

TEST_P(Directory, FailedReadReturnsItsErrnoAndNoEntry) {
    box.directory("d");
    const test::Spec spec("d", GetParam().makeSpec);
    vekFSDir *const directory = open(spec);
    vekFSDirent *entry = directory->entry;
    test::nextEntryFails(EIO);
    EXPECT_EQ(GetParam().read(directory, &entry), EIO);
    EXPECT_EQ(entry, nullptr);
    EXPECT_EQ(GetParam().close(directory), 0);
}

TEST_P(Directory, FailedOpenReturnsItsErrnoAndNoDirectory) {
    box.file("file", "").link("loop", "loop");
    const std::vector<std::pair<std::string, int>> expectations = {
        {"missing", ENOENT}, {"file", ENOTDIR}, {"loop", ELOOP}, {"", ENOENT}, {"file/d", ENOTDIR}};
    for (const auto &[path, error] : expectations) {
        const test::Spec spec(path, GetParam().makeSpec);
        const test::Balance balance;
        auto *directory = reinterpret_cast<vekFSDir *>(this);
        EXPECT_EQ(GetParam().open(spec, &directory), error) << path;
        EXPECT_EQ(directory, nullptr);
        EXPECT_EQ(balance.allocations(), 0);
    }
    const test::Spec spec(".", GetParam().makeSpec);
    vekFSDir *directory = nullptr;
    test::faults::fail("opendir", 1, EMFILE);
    EXPECT_EQ(GetParam().open(spec, &directory), EMFILE);
}

TEST_P(Directory, UnreadableOneReturnsEACCES) {
    box.directory("closed/d");
    ASSERT_EQ(chmod("closed", 0), 0);
    test::asUnprivileged([&] {
        for (const char *const path : {"closed", "closed/d"}) {
            const test::Spec spec(path, GetParam().makeSpec);
            auto *directory = reinterpret_cast<vekFSDir *>(this);
            EXPECT_EQ(GetParam().open(spec, &directory), EACCES) << path;
            EXPECT_EQ(directory, nullptr);
        }
    });
}

TEST_P(Directory, OpeningFreesEverythingIfMemoryIsExhausted) {
    const test::Spec spec(".", GetParam().makeSpec);
    vekFSDir *directory = nullptr;
    const int failures = test::failEveryAllocation([&] {
        directory = reinterpret_cast<vekFSDir *>(this);
        const int status = GetParam().open(spec, &directory);
        EXPECT_EQ(directory == nullptr, status != 0);
        return status;
    });
    EXPECT_EQ(failures, 3) << "handle, entry holder and entry buffer";
    EXPECT_EQ(GetParam().close(directory), 0);
}

TEST_P(Directory, ClosingFreesEverythingExceptTheSpecifier) {
    const test::Spec spec(".", GetParam().makeSpec);
    const test::Balance balance;
    vekFSDir *const directory = open(spec);
    EXPECT_EQ(GetParam().close(directory), 0);
    EXPECT_EQ(balance.allocations(), 0);
    EXPECT_EQ(balance.descriptors(), 0);
    EXPECT_STREQ(spec->path, ".");
}

TEST_P(Directory, FailedCloseFreesNothingAndASecondOneEverything) {
    box.file("d/one", "");
    const test::Spec spec("d", GetParam().makeSpec);
    const test::Balance balance;
    vekFSDir *const directory = open(spec);
    vekFSDirent *entry = nullptr;
    ASSERT_EQ(GetParam().read(directory, &entry), 0);
    const std::string name = nameOf(entry);
    const int allocated = balance.allocations();
    // close() of the stream's descriptor, so that closedir() fails.
    ::close(dirfd(directory->stream));

    EXPECT_EQ(GetParam().close(directory), EBADF);

    EXPECT_EQ(balance.allocations(), allocated);
    EXPECT_EQ(nameOf(entry), name);
    EXPECT_EQ(GetParam().read(directory, &entry), EBADF);
    EXPECT_EQ(entry, nullptr);
    EXPECT_EQ(GetParam().rewind(directory), EBADF);
    EXPECT_EQ(GetParam().close(directory), 0);
    EXPECT_EQ(balance.allocations(), 0);
}

TEST_P(Directory, NullArgumentsAreRejected) {
    const test::Spec spec(".", GetParam().makeSpec);
    vekFSDir *directory = nullptr;
    vekFSDirent *entry = nullptr;
    std::array<char, 8> buffer = {};
    size_t needed = 0;
    EXPECT_EQ(GetParam().open(nullptr, &directory), EINVAL);
    EXPECT_EQ(GetParam().open(spec, nullptr), EINVAL);
    ASSERT_EQ(GetParam().open(spec, &directory), 0);
    EXPECT_EQ(GetParam().read(directory, nullptr), EINVAL);
    EXPECT_EQ(GetParam().read(nullptr, &entry), EINVAL);
    EXPECT_EQ(GetParam().rewind(nullptr), EINVAL);
    EXPECT_EQ(GetParam().close(nullptr), EINVAL);
    ASSERT_EQ(GetParam().read(directory, &entry), 0);
    EXPECT_EQ(GetParam().nameOf(nullptr, buffer.data(), buffer.size(), &needed), EINVAL);
    EXPECT_EQ(GetParam().nameOf(entry, nullptr, buffer.size(), &needed), EINVAL);
    EXPECT_EQ(GetParam().nameOf(entry, buffer.data(), buffer.size(), nullptr), EINVAL);
    EXPECT_EQ(GetParam().close(directory), 0);
}

} // namespace
