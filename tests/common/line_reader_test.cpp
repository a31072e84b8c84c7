// Reads a file or a text line by line without a stream.

#include "common/platform/line_reader.h"

#include "common/base/owned.h"
#include "common/platform/vek_path.h"
#include "tests/support/faults.h"
#include "tests/support/sandbox.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace faults = test::faults;

namespace {

using Lines = std::vector<std::string>;

Lines linesOf(vek::LineReader &reader) {
    Lines lines;
    vek::LineBuffer line;
    while (reader.next(line)) {
        lines.emplace_back(line.data());
    }
    return lines;
}

/// The lines that vek_fgets() reads from the file `path`.
Lines linesOfStream(const char *path) {
    Lines lines;
    const vek::OwnedStream stream(std::fopen(path, "r"));
    vek::LineBuffer line;
    while (vek_fgets(line.data(), static_cast<int>(line.size()), stream.get()) != nullptr) {
        lines.emplace_back(line.data());
    }
    return lines;
}

vek::OwnedDescriptor opened(const char *path) {
    return vek::OwnedDescriptor(open(path, O_RDONLY | O_CLOEXEC));
}

/// Texts with lengths near those of lines and blocks, every kind of line end, and NULs.
std::vector<std::string> texts() {
    using namespace std::string_literals;
    std::vector<std::string> all = {
        "",           "a",        "a\n",      "\n",         "\n\n\n",      "a\nb",
        "a\r\nb\r\n", "\r\n\r\n", "a\rb\n\r", "a\0b\nc\n"s, "\0\r\n\0\n"s, "a\r\0\r\nb"s,
    };
    for (const std::size_t size : {4093U, 4094U, 4095U, 4096U, 4097U, 8189U, 8190U, 8191U, 8192U, 20000U}) {
        for (const char *end : {"", "\n", "\r\n", "\ny", "\r\ny\n"}) {
            all.push_back(std::string(size, 'x') + end);
        }
    }
    std::mt19937 random(20261121); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same texts every time
    for (int i = 0; i < 50; ++i) {
        std::string text(random() % 10000, 'x');
        for (std::size_t at = 0; at < text.size(); at += 1 + random() % 2000) {
            text[at] = "\n\r\0y"[random() % 4];
        }
        all.push_back(text);
    }
    return all;
}

TEST(LineReading, ReadsTheLinesThatVekFgetsReads) {
    test::Sandbox box;
    for (const std::string &text : texts()) {
        box.file("f", text);
        const Lines expected = linesOfStream("f");
        const vek::OwnedDescriptor file = opened("f");
        vek::LineReader fromFile(file.get());
        EXPECT_EQ(expected, linesOf(fromFile)) << text.size();
        vek::LineReader fromText(text);
        EXPECT_EQ(expected, linesOf(fromText)) << text.size();
        for (const std::size_t split : {std::size_t{0}, text.size() / 3, text.size() / 2, text.size()}) {
            ASSERT_EQ(static_cast<off_t>(split), lseek(file.get(), static_cast<off_t>(split), SEEK_SET));
            vek::LineReader fromBoth(std::string_view(text.data(), split), file.get());
            EXPECT_EQ(expected, linesOf(fromBoth)) << text.size() << " split at " << split;
            EXPECT_FALSE(fromBoth.hasFailed());
        }
    }
}

TEST(LineReading, BeginsAtTheDescriptorsOffset) {
    test::Sandbox box;
    box.file("f", "one\ntwo\n");
    const vek::OwnedDescriptor file = opened("f");
    ASSERT_EQ(4, lseek(file.get(), 4, SEEK_SET));
    {
        vek::LineReader reader(file.get());
        EXPECT_EQ((Lines{"two\n"}), linesOf(reader));
    }
    EXPECT_GE(fcntl(file.get(), F_GETFD), 0);
}

TEST(LineReading, ReturnsTheUnreadBytes) {
    test::Sandbox box;
    box.file("f", "one\ntwo\nthree");
    const vek::OwnedDescriptor file = opened("f");
    vek::LineReader reader("zero\n", file.get());
    vek::LineBuffer line;
    EXPECT_EQ("zero\n", reader.unread());
    ASSERT_TRUE(reader.next(line));
    EXPECT_EQ("", reader.unread());
    ASSERT_TRUE(reader.next(line));
    EXPECT_EQ("two\nthree", reader.unread());
    ASSERT_TRUE(reader.next(line));
    ASSERT_TRUE(reader.next(line));
    EXPECT_FALSE(reader.next(line));
    EXPECT_EQ("", reader.unread());
}

TEST(LineReading, ReadErrorEndsTheReading) {
    test::Sandbox box;
    box.file("f", "one\n" + std::string(5000, 'x') + "\nlast\n");
    for (const int nth : {1, 2}) {
        const vek::OwnedDescriptor file = opened("f");
        vek::LineReader reader(file.get());
        faults::fail("read", nth, EIO);
        // A line that an error ends is not returned.
        EXPECT_EQ(nth == 1 ? Lines{} : Lines{"one\n"}, linesOf(reader));
        EXPECT_TRUE(reader.hasFailed());
        vek::LineBuffer line;
        EXPECT_FALSE(reader.next(line));
        faults::reset();
    }
}

TEST(LineReading, ReadIsRepeatedAfterEintr) {
    test::Sandbox box;
    box.file("f", "one\n");
    const vek::OwnedDescriptor file = opened("f");
    faults::fail("read", 1, EINTR);
    vek::LineReader reader(file.get());
    EXPECT_EQ(Lines{"one\n"}, linesOf(reader));
    EXPECT_FALSE(reader.hasFailed());
}

TEST(LineReading, EndsWhenEveryReadIsInterrupted) {
    test::Sandbox box;
    box.file("f", "one\n");
    const vek::OwnedDescriptor file = opened("f");
    faults::failFrom("read", 1, EINTR);
    vek::LineReader reader(file.get());
    EXPECT_EQ(Lines{}, linesOf(reader));
    EXPECT_TRUE(reader.hasFailed());
}

} // namespace
