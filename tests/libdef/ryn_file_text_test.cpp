// The text of a library definition file, which is suspended while another file is read.

#include "libdef/language/ryni_file_text.h"

#include "tests/support/faults.h"
#include "tests/support/sandbox.h"

#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <unistd.h>
#include <vector>

namespace faults = test::faults;
using ryn::FileText;

namespace {

using Lines = std::vector<std::string>;

constexpr std::size_t kHeld = FileText::kMaxHeld;

std::ptrdiff_t openDescriptors() {
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return std::distance(begin(entries), end(entries));
}

/// Lines of different lengths, `size` bytes in all.
std::string textOfSize(std::size_t size) {
    std::string text;
    for (int i = 0; text.size() < size; ++i) {
        text += "line " + std::to_string(i) + std::string(static_cast<std::size_t>(i) % 97, '.') + "\n";
    }
    text.resize(size);
    return text;
}

std::string nextLine(FileText &text) {
    vek::LineBuffer line;
    return text.next(line) ? line.data() : "<end>";
}

std::string rest(FileText &text) {
    std::string all;
    vek::LineBuffer line;
    while (text.next(line)) {
        all += line.data();
    }
    return all;
}

struct Suspended {
    test::Sandbox box;
    std::string content;
    std::string first;
    FileText text;

    /// Reads the first line of a file of `size` bytes and suspends the reading.
    explicit Suspended(std::size_t size, bool mayStayOpen = true) : content(textOfSize(size)) {
        box.file("f", content);
        EXPECT_EQ(RYN_OK, text.open("f"));
        first = nextLine(text);
        EXPECT_TRUE(text.suspend(mayStayOpen));
    }
    void expectTheRest() {
        text.resume("f");
        EXPECT_EQ(content, first + rest(text));
        EXPECT_EQ(RYN_OK, text.error());
    }
};

TEST(RynFileText, ContinuesWhereItWasSuspended) {
    test::Sandbox box;
    for (const std::size_t size : {std::size_t{0}, std::size_t{10}, std::size_t{4096}, std::size_t{10000},
                                   kHeld - 1, kHeld, kHeld + 1, kHeld + 4096, 5 * kHeld}) {
        const std::string content = textOfSize(size);
        box.file("f", content);
        for (const int every : {1, 7, 1000}) {
            for (const bool mayStayOpen : {true, false}) {
                FileText text;
                ASSERT_EQ(RYN_OK, text.open("f"));
                std::string all;
                vek::LineBuffer line;
                for (int number = 1; text.next(line); ++number) {
                    all += line.data();
                    if (number % every == 0) {
                        ASSERT_TRUE(text.suspend(mayStayOpen));
                        EXPECT_EQ("<end>", nextLine(text)) << "nothing is read while suspended";
                        text.resume("f");
                    }
                }
                EXPECT_EQ(content, all) << size << ", suspended every " << every;
                EXPECT_EQ(RYN_OK, text.error());
            }
        }
    }
}

TEST(RynFileText, ShortRemainderIsHeldInMemoryAndTheFileClosed) {
    for (const std::size_t size : {std::size_t{100}, std::size_t{10000}, kHeld - 1}) {
        const std::ptrdiff_t before = openDescriptors();
        Suspended suspended(size);
        EXPECT_FALSE(suspended.text.isOpen()) << size;
        EXPECT_EQ(before, openDescriptors());
        EXPECT_EQ(0, unlink("f"));
        suspended.expectTheRest();
    }
}

TEST(RynFileText, LongRemainderStaysInTheOpenFile) {
    Suspended suspended(3 * kHeld);
    EXPECT_TRUE(suspended.text.isOpen());
    EXPECT_EQ(0, unlink("f"));
    suspended.expectTheRest();
}

TEST(RynFileText, SuspendingAgainInHeldTextReadsAndCopiesNothing) {
    for (const std::size_t size : {std::size_t{10000}, 3 * kHeld}) {
        Suspended suspended(size);
        suspended.text.resume("f");
        const std::string second = nextLine(suspended.text);
        faults::reset();
        EXPECT_TRUE(suspended.text.suspend(true));
        EXPECT_EQ(0, faults::count("read")) << size;
        EXPECT_EQ(0, faults::count("malloc")) << size;
        suspended.text.resume("f");
        EXPECT_EQ(suspended.content, suspended.first + second + rest(suspended.text));
    }
}

TEST(RynFileText, LongRemainderIsReadFromTheReopenedFile) {
    const std::ptrdiff_t before = openDescriptors();
    Suspended suspended(3 * kHeld, false);
    EXPECT_FALSE(suspended.text.isOpen());
    EXPECT_EQ(before, openDescriptors());
    suspended.expectTheRest();
}

TEST(RynFileText, MissingOrReplacedFileIsASystemErrorWhenReopened) {
    {
        Suspended removed(3 * kHeld, false);
        ASSERT_EQ(0, unlink("f"));
        removed.text.resume("f");
        EXPECT_EQ("<end>", nextLine(removed.text));
        EXPECT_EQ(RYN_SYSTEM_ERROR, removed.text.error());
    }
    for (const char *other : {"directory", "copy"}) {
        Suspended replaced(3 * kHeld, false);
        replaced.box.directory("directory").file("copy", replaced.content);
        ASSERT_EQ(0, unlink("f"));
        ASSERT_EQ(0, rename(other, "f"));
        replaced.text.resume("f");
        EXPECT_EQ("<end>", nextLine(replaced.text)) << other;
        EXPECT_EQ(RYN_SYSTEM_ERROR, replaced.text.error()) << other;
    }
}

TEST(RynFileText, FailedReopeningIsASystemError) {
    for (const char *call : {"open", "fstat"}) {
        Suspended suspended(3 * kHeld, false);
        faults::fail(call, 1, EMFILE);
        suspended.text.resume("f");
        faults::reset();
        EXPECT_EQ("<end>", nextLine(suspended.text)) << call;
        EXPECT_EQ(RYN_SYSTEM_ERROR, suspended.text.error()) << call;
    }
}

TEST(RynFileText, FileOfUnknownIdentityStaysOpen) {
    test::Sandbox box;
    box.file("f", textOfSize(3 * kHeld));
    FileText text;
    ASSERT_EQ(RYN_OK, text.open("f"));
    faults::fail("fstat", 1, EIO);
    EXPECT_TRUE(text.suspend(false));
    EXPECT_TRUE(text.isOpen());
    text.resume("f");
    EXPECT_EQ(textOfSize(3 * kHeld), rest(text));
}

TEST(RynFileText, FileChangedWhileSuspendedIsReadToItsEnd) {
    for (const bool mayStayOpen : {true, false}) {
        Suspended shorter(3 * kHeld, mayStayOpen);
        ASSERT_EQ(0, truncate("f", 0));
        shorter.text.resume("f");
        const std::string held = shorter.first + rest(shorter.text);
        EXPECT_EQ(shorter.content.substr(0, held.size()), held);
        EXPECT_LE(held.size(), kHeld + shorter.first.size());
        EXPECT_EQ(RYN_OK, shorter.text.error());

        Suspended longer(3 * kHeld, mayStayOpen);
        longer.box.file("more", "");
        ASSERT_EQ(0, truncate("f", static_cast<off_t>(3 * kHeld + 5)));
        longer.text.resume("f");
        EXPECT_NE("", rest(longer.text));
        EXPECT_EQ(RYN_OK, longer.text.error());
    }
}

TEST(RynFileText, FailedReadDuringASuspensionIsRepeated) {
    for (const std::size_t size : {std::size_t{5000}, 3 * kHeld}) {
        for (const bool mayStayOpen : {true, false}) {
            test::Sandbox box;
            const std::string content = textOfSize(size);
            box.file("f", content);
            FileText text;
            ASSERT_EQ(RYN_OK, text.open("f"));
            const std::string first = nextLine(text);
            faults::fail("read", 1, EIO);
            EXPECT_TRUE(text.suspend(mayStayOpen));
            EXPECT_EQ(mayStayOpen, text.isOpen()) << "it is not known whether the file has ended";
            text.resume("f");
            EXPECT_EQ(content, first + rest(text)) << size;
            EXPECT_EQ(RYN_OK, text.error());
        }
    }
}

TEST(RynFileText, RepeatedReadFailureIsASystemError) {
    test::Sandbox box;
    box.file("f", textOfSize(5000));
    FileText text;
    ASSERT_EQ(RYN_OK, text.open("f"));
    const std::string first = nextLine(text);
    faults::failFrom("read", 1, EIO);
    EXPECT_TRUE(text.suspend(true));
    text.resume("f");
    EXPECT_NE("", rest(text)) << "the lines before the error";
    EXPECT_EQ(RYN_SYSTEM_ERROR, text.error());
    faults::reset();
}

TEST(RynFileText, ExhaustedMemoryEndsTheReading) {
    test::Sandbox box;
    box.file("f", textOfSize(10000));
    for (int nth = 1; nth <= 5; ++nth) {
        FileText text;
        faults::failAllocation(nth);
        // One allocation to open, two to suspend, one to continue.
        const int opened = text.open("f");
        EXPECT_EQ(nth == 1 ? RYN_MEMORY_ERROR : RYN_OK, opened);
        if (opened == RYN_OK) {
            nextLine(text);
            const bool suspended = text.suspend(true);
            EXPECT_EQ(nth != 2 && nth != 3, suspended) << nth;
            if (suspended) {
                text.resume("f");
            }
            EXPECT_EQ(nth < 5 ? RYN_MEMORY_ERROR : RYN_OK, text.error()) << nth;
            EXPECT_EQ(nth < 5, rest(text).empty()) << nth;
        }
        faults::reset();
    }
}

TEST(RynFileText, DirectoryIsAnEmptyText) {
    test::Sandbox box;
    FileText text;
    EXPECT_EQ(RYN_OK, text.open("."));
    EXPECT_EQ("", rest(text));
    EXPECT_EQ(RYN_SYSTEM_ERROR, text.open("missing"));
}

} // namespace
