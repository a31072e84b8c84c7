#include "common/platform/open_text.h"

#include "tests/support/child.h"
#include "tests/support/faults.h"
#include "tests/support/sandbox.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <iterator>
#include <string>

namespace {

std::string contentOf(const vek::OwnedStream &stream) {
    std::string content;
    if (!stream) {
        return "<null>";
    }
    for (int c = std::fgetc(stream.get()); c != EOF; c = std::fgetc(stream.get())) {
        content += static_cast<char>(c);
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
        const vek::OwnedStream stream = vek::openForReading(path);
        ASSERT_TRUE(stream) << path;
        EXPECT_EQ(FD_CLOEXEC, fcntl(fileno(stream.get()), F_GETFD)) << path;
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

TEST(OpenForReading, ReturnsNullWithErrnoIfOpenFails) {
    test::Sandbox box;
    box.link("dangling", "nowhere").link("loop", "loop").file("f", "");

    EXPECT_FALSE(vek::openForReading("missing"));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_FALSE(vek::openForReading("dangling"));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_FALSE(vek::openForReading("loop"));
    EXPECT_EQ(ELOOP, errno);
    EXPECT_FALSE(vek::openForReading("f/below"));
    EXPECT_EQ(ENOTDIR, errno);
    EXPECT_FALSE(vek::openForReading(std::string(5000, 'x').c_str()));
    EXPECT_EQ(ENAMETOOLONG, errno);
}

TEST(OpenForReading, ReturnsNullForAnUnreadableFile) {
    test::Sandbox box;
    box.file("secret", "content", 0000);
    test::asUnprivileged([&] {
        EXPECT_FALSE(vek::openForReading(box.path("secret").c_str()));
        EXPECT_EQ(EACCES, errno);
    });
}

TEST(OpenForReading, ClosesTheDescriptorIfAStepFails) {
    test::Sandbox box;
    box.file("f", "content").directory("d");
    const std::ptrdiff_t before = openDescriptors();

    test::faults::fail("fstat", 1, EIO);
    EXPECT_FALSE(vek::openForReading("f"));
    test::faults::fail("fdopen", 1, ENOMEM);
    EXPECT_FALSE(vek::openForReading("f"));
    test::faults::fail("open", 2, EMFILE);
    EXPECT_FALSE(vek::openForReading("d"));
    EXPECT_EQ("content", contentOf(vek::openForReading("f")));

    EXPECT_EQ(before, openDescriptors());
}

} // namespace
