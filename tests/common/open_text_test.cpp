#include "common/platform/open_text.h"

#include "tests/support/child.h"
#include "tests/support/faults.h"
#include "tests/support/sandbox.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <iterator>
#include <string>

namespace {

std::string contentOf(const vek::OwnedDescriptor &file) {
    std::string content;
    std::array<char, 64> block = {};
    if (!file.valid()) {
        return "<null>";
    }
    for (ssize_t size = 0; (size = read(file.get(), block.data(), block.size())) > 0;) {
        content.append(block.data(), static_cast<std::size_t>(size));
    }
    return content;
}

std::ptrdiff_t openDescriptors() {
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return std::distance(begin(entries), end(entries));
}

TEST(OpenForReading, ReadsARegularFile) {
    test::Sandbox box;
    box.file("a.txt", "one\ntwo");
    EXPECT_EQ("one\ntwo", contentOf(vek::openForReading(box.path("a.txt").c_str())));
}

TEST(OpenForReading, FollowsSymbolicLinks) {
    test::Sandbox box;
    box.file("a.txt", "content").link("l", "a.txt");
    EXPECT_EQ("content", contentOf(vek::openForReading("l")));
}

TEST(OpenForReading, DescriptorIsNotInherited) {
    test::Sandbox box;
    box.file("f", "").directory("d");
    for (const char *path : {"f", "d"}) {
        const vek::OwnedDescriptor file = vek::openForReading(path);
        ASSERT_TRUE(file.valid()) << path;
        EXPECT_EQ(FD_CLOEXEC, fcntl(file.get(), F_GETFD)) << path;
    }
}

TEST(OpenForReading, ReadsADirectoryPipeOrDeviceAsAnEmptyFile) {
    test::Sandbox box;
    box.directory("d").fifo("p").link("zero", "/dev/zero");
    const test::Outcome outcome = test::inChild([] {
        EXPECT_EQ("", contentOf(vek::openForReading("d")));
        EXPECT_EQ("", contentOf(vek::openForReading("p")));
        EXPECT_EQ("", contentOf(vek::openForReading("zero")));
        EXPECT_EQ("", contentOf(vek::openForReading("/dev/null")));
        return 0;
    });
    EXPECT_EQ(0, outcome.status);
    EXPECT_FALSE(outcome.timedOut);
}

TEST(OpenForReading, ReadsAPipeWithAWriterAsAnEmptyFile) {
    test::Sandbox box;
    box.fifo("p");
    const vek::OwnedDescriptor both(open("p", O_RDWR | O_CLOEXEC));
    ASSERT_TRUE(both.valid());
    ASSERT_EQ(5, write(both.get(), "text\n", 5));
    EXPECT_EQ("", contentOf(vek::openForReading("p")));
}

TEST(OpenForReading, FailsWithTheErrnoOfOpen) {
    test::Sandbox box;
    box.link("dangling", "nowhere").link("loop", "loop").file("f", "");

    EXPECT_FALSE(vek::openForReading("missing").valid());
    EXPECT_EQ(ENOENT, errno);
    EXPECT_FALSE(vek::openForReading("dangling").valid());
    EXPECT_EQ(ENOENT, errno);
    EXPECT_FALSE(vek::openForReading("loop").valid());
    EXPECT_EQ(ELOOP, errno);
    EXPECT_FALSE(vek::openForReading("f/below").valid());
    EXPECT_EQ(ENOTDIR, errno);
    EXPECT_FALSE(vek::openForReading(std::string(5000, 'x').c_str()).valid());
    EXPECT_EQ(ENAMETOOLONG, errno);
}

TEST(OpenForReading, FailsForAnUnreadableFile) {
    test::Sandbox box;
    box.file("secret", "content", 0000);
    test::asUnprivileged([&] {
        EXPECT_FALSE(vek::openForReading(box.path("secret").c_str()).valid());
        EXPECT_EQ(EACCES, errno);
    });
}

TEST(OpenForReading, ClosesTheDescriptorIfAStepFails) {
    test::Sandbox box;
    box.file("f", "content").directory("d");
    const std::ptrdiff_t before = openDescriptors();

    test::faults::fail("fstat", 1, EIO);
    EXPECT_FALSE(vek::openForReading("f").valid());
    test::faults::fail("open", 2, EMFILE);
    EXPECT_FALSE(vek::openForReading("d").valid());
    EXPECT_EQ("content", contentOf(vek::openForReading("f")));

    EXPECT_EQ(before, openDescriptors());
}

} // namespace
