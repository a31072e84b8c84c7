#include "tests/support/small_filesystem.h"

#include <cerrno>
#include <filesystem>
#include <string>

#include <fcntl.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/child.h"
#include "tests/support/sandbox.h"

namespace {

constexpr std::size_t Size = 65536;

void expectFullAt(const std::string &directory) {
    const int descriptor = open((directory + "/file").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    ASSERT_GE(descriptor, 0);
    const std::string text(Size, 'x');
    EXPECT_EQ(write(descriptor, text.data(), text.size()), static_cast<ssize_t>(Size));
    errno = 0;
    EXPECT_EQ(write(descriptor, "x", 1), -1);
    EXPECT_EQ(errno, ENOSPC);
    close(descriptor);
}

dev_t deviceOf(const std::string &path) {
    struct stat status = {};
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    return status.st_dev;
}

} // namespace

TEST(SmallFilesystem, IsFullAtItsSize) {
    bool ran = false;
    test::onSmallFilesystem(Size, expectFullAt);
    test::onSmallFilesystem(Size, [&](const std::string &) { ran = true; });
    EXPECT_FALSE(ran) << "the body runs in a child";
}

TEST(SmallFilesystem, ReportsFailuresOfTheChild) {
    EXPECT_NONFATAL_FAILURE(
        test::onSmallFilesystem(Size, [](const std::string &) { ADD_FAILURE() << "inside"; }), "inside");
}

TEST(SmallFilesystem, NeedsNoRoot) {
    test::asUnprivileged([] { test::onSmallFilesystem(Size, expectFullAt); });
}

TEST(SmallFilesystem, RemovesEverything) {
    const test::Outcome outcome = test::inChild([] {
        test::Sandbox box;
        setenv("TMPDIR", box.path().c_str(), 1);
        test::onSmallFilesystem(Size, expectFullAt);
        return box.list().empty() ? 0 : 1;
    });

    EXPECT_EQ(outcome.status, 0);
}

TEST(MountAt, IsOnAnotherDevice) {
    test::Sandbox box;
    box.directory("a/b");

    test::withMountAt(box.path("a/b"), Size, [&] {
        EXPECT_EQ(deviceOf(box.path()), deviceOf(box.path("a")));
        EXPECT_NE(deviceOf(box.path("a")), deviceOf(box.path("a/b")));
    });

    EXPECT_EQ(deviceOf(box.path("a")), deviceOf(box.path("a/b")));
}
