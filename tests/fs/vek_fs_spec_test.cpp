#include "fs/vek_fs.h"

#include "tests/fs/fs_support.h"
#include "tests/support/capture.h"
#include "tests/support/faults.h"
#include "tests/support/sandbox.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

std::string textOf(int status) {
    std::array<char, 256> buffer = {};
    size_t needed = 0;
    EXPECT_EQ(vekFS_strerror(status, buffer.data(), buffer.size(), &needed), 0);
    EXPECT_EQ(needed, std::strlen(buffer.data()) + 1);
    return buffer.data();
}

class EverySpecifier : public ::testing::TestWithParam<test::Spec::Maker> {};

INSTANTIATE_TEST_SUITE_P(Maker, EverySpecifier,
                         ::testing::Values(vekFSCreatePathSpec, vekFSStdioCreatePathSpec),
                         [](const auto &made) {
                             return made.param == vekFSCreatePathSpec ? "Native" : "Stdio";
                         });

TEST_P(EverySpecifier, HasACopyOfThePathAndOutlivesAFile) {
    std::string path = "some/path";
    const test::Spec spec(path, GetParam());
    path[0] = 'X';

    EXPECT_STREQ(spec->path, "some/path");
    EXPECT_EQ(spec->autoFree, 0);
}

TEST_P(EverySpecifier, NeedsAPathAndAResultPointer) {
    auto *spec = reinterpret_cast<vekFSSpec *>(this);
    EXPECT_EQ(GetParam()("path", nullptr), EINVAL);
    EXPECT_EQ(GetParam()(nullptr, nullptr), EINVAL);
    EXPECT_EQ(GetParam()(nullptr, &spec), EINVAL);
    EXPECT_EQ(spec, nullptr);
}

TEST_P(EverySpecifier, IsNullIfMemoryIsExhausted) {
    vekFSSpec *spec = nullptr;
    const int failures = test::failEveryAllocation([&] {
        spec = reinterpret_cast<vekFSSpec *>(this);
        const int status = GetParam()("path", &spec);
        EXPECT_EQ(spec == nullptr, status != 0);
        return status;
    });
    EXPECT_EQ(failures, 2);
    EXPECT_EQ(vekFSFreeSpec(spec), 0);
}

TEST_P(EverySpecifier, IsFreedWithItsPath) {
    const test::Balance balance;
    vekFSSpec *spec = nullptr;
    ASSERT_EQ(GetParam()("path", &spec), 0);
    EXPECT_GT(balance.allocations(), 0);
    EXPECT_EQ(vekFSFreeSpec(spec), 0);
    EXPECT_EQ(balance.allocations(), 0);
}

TEST_P(EverySpecifier, TextNeedsItsLengthAndOneByte) {
    const test::Spec spec("abc", GetParam());
    std::array<char, 5> buffer = {'#', '#', '#', '#', '#'};
    size_t needed = 0;

    EXPECT_EQ(vekFSGetSpecString(spec, buffer.data(), 3, &needed), VEK_FS_BUFFER_TOO_SMALL);
    EXPECT_EQ(needed, 4U);
    EXPECT_EQ(std::string(buffer.data(), 5), "#####") << "nothing is written when it does not fit";

    needed = 0;
    EXPECT_EQ(vekFSGetSpecString(spec, buffer.data(), 4, &needed), 0);
    EXPECT_EQ(needed, 4U);
    EXPECT_EQ(std::string(buffer.data(), 5), std::string("abc\0#", 5));
}

TEST_P(EverySpecifier, TextIsReturnedWithoutANeededPointer) {
    const test::Spec spec("abc", GetParam());
    std::array<char, 4> buffer = {};
    EXPECT_EQ(vekFSGetSpecString(spec, buffer.data(), 0, nullptr), VEK_FS_BUFFER_TOO_SMALL);
    EXPECT_EQ(vekFSGetSpecString(spec, buffer.data(), buffer.size(), nullptr), 0);
    EXPECT_STREQ(buffer.data(), "abc");
}

TEST_P(EverySpecifier, TextNeedsABuffer) {
    const test::Spec spec("abc", GetParam());
    size_t needed = 99;
    EXPECT_EQ(vekFSGetSpecString(spec, nullptr, 100, &needed), EINVAL);
    EXPECT_EQ(needed, 99U);
}

TEST_P(EverySpecifier, AcceptsPathsOfAnyLength) {
    for (const size_t length : {0U, 1U, 1023U, 1024U, 1025U, 2047U, 2048U, 4095U, 4096U, 4097U, 100000U}) {
        const std::string path(length, 'p');
        const test::Spec spec(path, GetParam());
        std::vector<char> buffer(length + 1, '#');
        size_t needed = 0;
        EXPECT_EQ(vekFSGetSpecString(spec, buffer.data(), length, &needed), VEK_FS_BUFFER_TOO_SMALL)
            << length;
        EXPECT_EQ(needed, length + 1);
        EXPECT_EQ(vekFSGetSpecString(spec, buffer.data(), length + 1, &needed), 0) << length;
        EXPECT_EQ(path, buffer.data());
    }
}

TEST_P(EverySpecifier, ReturnsENAMETOOLONGIfTheSystemDoes) {
    for (const size_t length : {4095U, 4096U, 4097U}) {
        // "././..." is the working directory, at any length.
        std::string path;
        while (path.size() < length) {
            path += path.size() % 2 == 0 ? '.' : '/';
        }
        const test::Spec spec(path, GetParam());
        vekFSStat record = {};
        vekFSDir *directory = nullptr;
        vekFSFile *file = nullptr;
        const int expected = length <= 4095 ? 0 : ENAMETOOLONG;
        EXPECT_EQ(vekFS_stat(spec, &record), expected) << length;
        EXPECT_EQ(vekFS_lstat(spec, &record), expected) << length;
        EXPECT_EQ(vekFS_open(spec, O_RDONLY, &file), expected) << length;
        EXPECT_EQ(vekFS_opendir(spec, &directory), expected) << length;
        if (expected == 0) {
            EXPECT_EQ(vekFS_close(file), 0);
            EXPECT_EQ(vekFS_closedir(directory), 0);
        }
    }
}

TEST(Specifier, ReturnsTheNameOfItsImplementation) {
    const test::Spec native("path");
    const test::Spec stdio("path", vekFSStdioCreatePathSpec);
    const char *name = "something";
    EXPECT_EQ(vekFSGetSpecIOImpName(native, &name), 0);
    EXPECT_EQ(name, nullptr);
    EXPECT_EQ(vekFSGetSpecIOImpName(stdio, &name), 0);
    EXPECT_STREQ(name, "vekFSStdio");

    EXPECT_EQ(vekFSGetSpecIOImpName(native, nullptr), EINVAL);
    EXPECT_EQ(vekFSGetSpecIOImpName(nullptr, &name), EINVAL);
}

TEST(Specifier, IsNativeWithoutAnImplementation) {
    const test::Spec native("path");
    const test::Spec stdio("path", vekFSStdioCreatePathSpec);
    EXPECT_EQ(native->implementation, nullptr);
    EXPECT_NE(stdio->implementation, nullptr);
}

TEST(StatusText, IsThatOfItsCode) {
    EXPECT_EQ(textOf(0), "OK");
    EXPECT_EQ(textOf(-1), "Operation returned bad status");
    EXPECT_EQ(textOf(-2), "Buffer too small");
    EXPECT_EQ(textOf(-4), "Operation not supported");
}

TEST(StatusText, IsUnknownForOtherNegativeCodes) {
    for (const int status : {-3, -5, -6, -100, INT_MIN}) {
        EXPECT_EQ(textOf(status), "Unknown error") << status;
    }
}

TEST(StatusText, IsThatOfStrerrorForAPositiveCode) {
    for (const int status : {1, ENOENT, EINVAL, ENOMEM, EACCES, 133, 134, 100000, INT_MAX}) {
        const std::string expected = std::strerror(status);
        EXPECT_EQ(textOf(status), expected);
    }
}

TEST(StatusText, NeedsItsLengthAndOneByte) {
    std::array<char, 4> buffer = {'#', '#', '#', '#'};
    size_t needed = 0;
    EXPECT_EQ(vekFS_strerror(0, buffer.data(), 2, &needed), VEK_FS_BUFFER_TOO_SMALL);
    EXPECT_EQ(needed, 3U);
    EXPECT_EQ(std::string(buffer.data(), 4), "####");

    EXPECT_EQ(vekFS_strerror(0, buffer.data(), 3, &needed), 0);
    EXPECT_EQ(needed, 3U);
    EXPECT_EQ(std::string(buffer.data(), 4), std::string("OK\0#", 4));
}

TEST(StatusText, IsReturnedWithoutANeededPointer) {
    std::array<char, 3> buffer = {};
    EXPECT_EQ(vekFS_strerror(0, buffer.data(), 0, nullptr), VEK_FS_BUFFER_TOO_SMALL);
    EXPECT_EQ(vekFS_strerror(0, buffer.data(), 3, nullptr), 0);
    EXPECT_STREQ(buffer.data(), "OK");
}

TEST(StatusText, WithoutABufferOnlyTheSizeIsReturned) {
    size_t needed = 0;
    EXPECT_EQ(vekFS_strerror(-2, nullptr, 100, &needed), VEK_FS_BUFFER_TOO_SMALL);
    EXPECT_EQ(needed, sizeof "Buffer too small");
    EXPECT_EQ(vekFS_strerror(-2, nullptr, 0, nullptr), VEK_FS_BUFFER_TOO_SMALL);
}

class EveryOpenFile : public ::testing::TestWithParam<int (*)(const char *, int, vekFSFile **)> {
  protected:
    test::Sandbox box;
    vekFSFile *file = reinterpret_cast<vekFSFile *>(this);
};

INSTANTIATE_TEST_SUITE_P(Opener, EveryOpenFile, ::testing::Values(vekFS_openFile, vekFSStdio_openFile),
                         [](const auto &made) { return made.param == vekFS_openFile ? "Native" : "Stdio"; });

TEST_P(EveryOpenFile, CreatesASpecifierThatIsFreedWithTheFile) {
    box.file("file", "content");
    const test::Balance balance;
    ASSERT_EQ(GetParam()("file", O_RDONLY, &file), 0);
    EXPECT_STREQ(file->spec->path, "file");
    EXPECT_EQ(file->spec->autoFree, 1);
    const char *name = "";
    EXPECT_EQ(vekFSGetSpecIOImpName(file->spec, &name), 0);
    EXPECT_STREQ(name, GetParam() == vekFS_openFile ? nullptr : "vekFSStdio");

    EXPECT_EQ(vekFS_close(file), 0);
    EXPECT_EQ(balance.allocations(), 0);
    EXPECT_EQ(balance.descriptors(), 0);
}

TEST_P(EveryOpenFile, FreesTheSpecifierIfOpenFails) {
    const test::Balance balance;
    EXPECT_EQ(GetParam()("missing", O_RDONLY, &file), ENOENT);
    EXPECT_EQ(file, nullptr);
    EXPECT_EQ(balance.allocations(), 0);
}

TEST_P(EveryOpenFile, NeedsAPathAndAResultPointer) {
    EXPECT_EQ(GetParam()("file", O_RDONLY, nullptr), EINVAL);
    EXPECT_EQ(GetParam()(nullptr, O_RDONLY, nullptr), EINVAL);
    EXPECT_EQ(GetParam()(nullptr, O_RDONLY, &file), EINVAL);
    EXPECT_EQ(file, nullptr);
}

TEST_P(EveryOpenFile, FreesEverythingIfMemoryIsExhausted) {
    box.file("file", "content");
    const int failures = test::failEveryAllocation([&] {
        file = reinterpret_cast<vekFSFile *>(this);
        const int status = GetParam()("file", O_RDONLY, &file);
        EXPECT_EQ(file == nullptr, status != 0);
        return status;
    });
    EXPECT_EQ(failures, 3);
    EXPECT_EQ(vekFS_close(file), 0);
}

TEST_P(EveryOpenFile, PrintsNothingAfterAFailure) {
    test::Capture capture;
    EXPECT_EQ(GetParam()("missing", O_RDONLY, &file), ENOENT);
    EXPECT_EQ(capture.out() + capture.err(), "");
}

} // namespace
