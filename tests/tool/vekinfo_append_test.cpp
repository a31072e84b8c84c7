#include "tool/vekinfo_append.h"

#include "tests/support/capture.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"
#include "tests/support/limits.h"
#include "tests/support/real_calls.h"
#include "tests/support/small_filesystem.h"
#include "tests/tagfile/tag_support.h"
#include "tests/tool/check_support.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

/// Called once, after the write, when the code under test reads the offset.
std::function<void()> afterWrite;

} // namespace

// Replaces the function of the C library in this process.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the C library keeps its names to itself
extern "C" off_t lseek(int file, off_t offset, int whence) noexcept {
    static const auto real = reinterpret_cast<off_t (*)(int, off_t, int)>(dlsym(RTLD_NEXT, "lseek"));
    const off_t result = real(file, offset, whence);
    const auto action = std::exchange(afterWrite, nullptr);
    if (action) {
        action();
    }
    return result;
}

namespace {

constexpr std::string_view kHead = "# The next line was written by the\n"
                                   "# vekinfo -configurelibrary command.\n"
                                   "VEKLIBRARY\n";
constexpr std::string_view kDmType = "#\n"
                                     "# DMType is explicitly set to none here\n"
                                     "# because there was a dm.tag file with a\n"
                                     "# 'none' entry in it.\n"
                                     "DMTYPE none\n";

class Append : public test::TagTest {
  protected:
    void SetUp() override {
        test::TagTest::SetUp();
        box.directory("lib");
    }

    /// Appends to "lib/vekinfo.tag". @return the result
    bool append() const { return appendTo(box.path("lib"), box.path("lib/vekinfo.tag")); }
    static bool appendTo(const std::string &directory, const std::string &tagPath) {
        vekinfo::ReadAhead readAhead;
        return vekinfo::appendLibraryEntries(directory.c_str(), tagPath.c_str(), readAhead).kind ==
               tov::AppendResult::Kind::Appended;
    }
    [[nodiscard]] std::string content() const { return box.read("lib/vekinfo.tag"); }
    [[nodiscard]] std::string unixNameSpace() const {
        return "#\n# Directory " + box.path("lib") +
               " is \n"
               "# determined to be case sensitive, therefore\n"
               "# NAMESPACE is set to LibraryUnix\n"
               "NAMESPACE LibraryUnix\n";
    }
    [[nodiscard]] std::string ntNameSpace() const {
        return "#\n# Directory " + box.path("lib") +
               " is\n"
               "# determined to be NOT case sensitive, therefore\n"
               "# NAMESPACE is set to LibraryNT\n"
               "NAMESPACE LibraryNT\n";
    }
    [[nodiscard]] std::string block() const { return std::string(kHead) + unixNameSpace(); }
};

// ---- what is written

TEST_F(Append, ANewFileHoldsTheEntriesAndNoTemplate) {
    EXPECT_TRUE(append());
    EXPECT_EQ(block(), content());
    EXPECT_EQ(std::vector<std::string>{"vekinfo.tag"}, box.list("lib")) << "the probe removes its files";
}

TEST_F(Append, DmTypeIsNoneIfDmTagContainsNone) {
    box.file("lib/dm.tag", "none\n");
    EXPECT_TRUE(append());
    EXPECT_EQ(std::string(kHead) + std::string(kDmType) + unixNameSpace(), content());
}

TEST_F(Append, OtherDmTagFilesSetNoDmType) {
    box.file("lib/dm.tag", "None\n");
    EXPECT_TRUE(append());
    EXPECT_EQ(block(), content());
}

TEST_F(Append, NameSpaceIsLibraryNTOnACaselessFileSystem) {
    test::faults::makeCaseless(box.path("lib"));
    EXPECT_TRUE(append());
    EXPECT_EQ(std::string(kHead) + ntNameSpace(), content());
}

TEST_F(Append, UnknownCaseSensitivityWritesNoNameSpace) {
    // The file of the case probe cannot be created.
    box.directory("lib/vekfscasesensitivity." + std::to_string(getpid()));
    test::Capture capture;
    EXPECT_TRUE(append());
    EXPECT_EQ("ERROR! can't determine file system case sensitivity on writable directory\n", capture.err());
    EXPECT_EQ("", capture.out());
    EXPECT_EQ(kHead, content());
}

TEST_F(Append, AnExistingFileKeepsItsContent) {
    box.file("lib/vekinfo.tag", "# mine\nDMTYPE mrev\nOWNER me\n");
    EXPECT_TRUE(append());
    EXPECT_EQ("# mine\nDMTYPE mrev\nOWNER me\n" + block(), content());
}

TEST_F(Append, AddsANewlineToAnUnfinishedLastLine) {
    box.file("lib/vekinfo.tag", "OWNER me");
    EXPECT_TRUE(append());
    EXPECT_EQ("OWNER me\n" + block(), content());
    box.file("lib/vekinfo.tag", "\n");
    EXPECT_TRUE(append());
    EXPECT_EQ("\n" + block(), content());
    box.file("lib/vekinfo.tag", "");
    EXPECT_TRUE(append());
    EXPECT_EQ(block(), content());
}

TEST_F(Append, WritesEverythingWithOneCall) {
    box.file("lib/vekinfo.tag", "OWNER me").file("lib/dm.tag", "none\n");
    test::faults::reset();
    EXPECT_TRUE(append());
    EXPECT_EQ(1, test::faults::count("write"));
}

TEST_F(Append, TheFileKeepsItsInodeModeAndNames) {
    box.file("lib/vekinfo.tag", "", 0640);
    ASSERT_EQ(0, ::link("lib/vekinfo.tag", "other"));
    EXPECT_TRUE(append());
    struct stat status = {};
    ASSERT_EQ(0, stat("lib/vekinfo.tag", &status));
    EXPECT_EQ(0640U, status.st_mode & 07777U);
    EXPECT_EQ(block(), box.read("other"));
}

TEST_F(Append, ModeOfANewFileFollowsTheUmask) {
    const mode_t before = umask(027);
    EXPECT_TRUE(append());
    umask(before);
    struct stat status = {};
    ASSERT_EQ(0, stat("lib/vekinfo.tag", &status));
    EXPECT_EQ(0640U, status.st_mode & 07777U);
}

TEST_F(Append, LinksAreFollowed) {
    box.file("real", "A 1\n").link("lib/vekinfo.tag", box.path("real"));
    EXPECT_TRUE(append());
    EXPECT_EQ("A 1\n" + block(), box.read("real"));
    box.link("lib/vekinfo.tag", "../new");
    EXPECT_TRUE(append());
    EXPECT_EQ(block(), box.read("new"));
}

TEST_F(Append, WritesToADevice) {
    box.link("lib/vekinfo.tag", "/dev/null");
    EXPECT_TRUE(append());
    box.link("lib/vekinfo.tag", "/dev/full");
    EXPECT_FALSE(append());
}

// ---- what cannot be written

TEST_F(Append, OtherFileTypesAreRejected) {
    box.directory("lib/vekinfo.tag");
    EXPECT_FALSE(append());
    box.directory("pipe").fifo("pipe/vekinfo.tag");
    EXPECT_FALSE(appendTo(box.path("lib"), box.path("pipe/vekinfo.tag")));
    EXPECT_FALSE(appendTo(box.path("lib"), box.path("none/vekinfo.tag")));
    box.link("loop", "loop");
    EXPECT_FALSE(appendTo(box.path("lib"), box.path("loop")));
}

TEST_F(Append, FileWithoutReadOrWritePermissionFails) {
    for (const mode_t mode : {0444U, 0222U, 0U}) {
        box.file("lib/vekinfo.tag", "A 1\n", mode);
        test::asUnprivileged([this] { EXPECT_FALSE(append()); });
        ASSERT_EQ(0, chmod(box.path("lib/vekinfo.tag").c_str(), 0600));
        EXPECT_EQ("A 1\n", content());
    }
}

/// Calls that may fail while text is appended.
struct Failure {
    const char *call;
    int error;
};
constexpr Failure kFailures[] = {{"fstat", EIO},   {"write", ENOSPC}, {"write", EDQUOT},
                                 {"write", EINTR}, {"write", EIO},    {"malloc", ENOMEM}};

TEST_F(Append, FailureDoesNotChangeAnExistingFile) {
    for (const std::string text : {"A 1\n", "A 1", ""}) {
        for (const Failure &failure : kFailures) {
            box.file("lib/vekinfo.tag", text);
            test::faults::fail(failure.call, 1, failure.error);
            EXPECT_FALSE(append()) << failure.call << text;
            test::faults::reset();
            EXPECT_EQ(text, content()) << failure.call;
        }
    }
}

TEST_F(Append, AFailureLeavesNoNewFile) {
    for (const Failure &failure : kFailures) {
        test::faults::fail(failure.call, 1, failure.error);
        EXPECT_FALSE(append()) << failure.call;
        test::faults::reset();
        EXPECT_EQ(std::vector<std::string>{}, box.list("lib")) << failure.call;
    }
}

TEST_F(Append, FailedOpenDoesNotChangeTheFile) {
    for (const int error : {EACCES, EMFILE, EROFS, EIO}) {
        box.file("lib/vekinfo.tag", "A 1");
        test::faults::fail("open", 1, error);
        EXPECT_FALSE(append()) << error;
        EXPECT_EQ("A 1", content());
    }
}

TEST_F(Append, ShortWriteIsUndone) {
    for (const std::size_t limit : {1U, 10U, 100U}) {
        for (const std::string text : {"A 1\n", "A 1"}) {
            box.file("lib/vekinfo.tag", text);
            test::faults::limitWrites(limit);
            EXPECT_FALSE(append());
            test::faults::limitWrites(0);
            EXPECT_EQ(text, content());
        }
    }
}

TEST_F(Append, AShortWriteLeavesNoNewFile) {
    // The probe writes 20 bytes, more than the limit.
    test::faults::limitWrites(50);
    EXPECT_FALSE(append());
    EXPECT_EQ(std::vector<std::string>{}, box.list("lib"));
}

TEST_F(Append, UndoKeepsTextAppendedByOthers) {
    const auto appendOthers = [this] {
        const int file = __real_open(box.path("lib/vekinfo.tag").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
        EXPECT_EQ(8, __real_write(file, "OTHER 1\n", 8));
        __real_close(file);
    };
    for (const std::string text : {"A 1\n", ""}) {
        for (const bool isThere : {true, false}) {
            unlink("lib/vekinfo.tag");
            if (isThere) {
                box.file("lib/vekinfo.tag", text);
            }
            test::faults::fail("write", 1, ENOSPC);
            afterWrite = appendOthers;
            EXPECT_FALSE(append());
            EXPECT_EQ((isThere ? text : "") + "OTHER 1\n", content());

            unlink("lib/vekinfo.tag");
            if (isThere) {
                box.file("lib/vekinfo.tag", text);
            }
            test::faults::limitWrites(50); // the probe's files take longer names than the limit has bytes
            afterWrite = appendOthers;
            EXPECT_FALSE(append());
            test::faults::reset();
            EXPECT_TRUE(content().ends_with("OTHER 1\n")) << content();
            EXPECT_TRUE(content().starts_with(isThere ? text : "")) << content();
        }
    }
}

TEST_F(Append, FailingStatAfterTheWriteKeepsTheText) {
    for (const bool isThere : {true, false}) {
        unlink("lib/vekinfo.tag");
        if (isThere) {
            box.file("lib/vekinfo.tag", "A 1\n");
        }
        test::faults::limitWrites(50);
        // Armed after the probe, which makes the same calls.
        afterWrite = [] { test::faults::fail("fstat", 1, EIO); };
        EXPECT_FALSE(append());
        test::faults::reset();
        EXPECT_EQ((isThere ? "A 1\n" : "") + std::string(kHead).substr(0, 50), content());
    }
}

TEST_F(Append, FailedCloseIsUndone) {
    const auto closesOfAnAppend = [this] {
        box.file("lib/vekinfo.tag", "A 1\n");
        test::faults::reset();
        EXPECT_TRUE(append());
        return test::faults::count("close");
    };
    const int last = closesOfAnAppend() - 1; // of the duplicate that shows close errors; then the file's own
    box.file("lib/vekinfo.tag", "A 1\n");
    test::faults::fail("close", last, EIO);
    EXPECT_FALSE(append());
    EXPECT_EQ("A 1\n", content());
    ASSERT_EQ(0, unlink("lib/vekinfo.tag"));
    test::faults::fail("close", last, EIO);
    EXPECT_FALSE(append());
    EXPECT_EQ(std::vector<std::string>{}, box.list("lib"));
}

TEST_F(Append, AFailedWriteThroughADanglingLinkLeavesTheLink) {
    box.link("lib/vekinfo.tag", "../new");
    test::faults::fail("write", 1, ENOSPC);
    EXPECT_FALSE(append());
    EXPECT_TRUE(box.exists("lib/vekinfo.tag"));
    EXPECT_FALSE(box.exists("new"));
}

TEST_F(Append, FullFileSystemDoesNotChangeTheFile) {
    test::onSmallFilesystem(64 * 1024, [](const std::string &directory) {
        // The last page of the file is not full: it takes the first bytes of the text.
        const std::string text = std::string(4090, '#');
        const std::string tagPath = directory + "/vekinfo.tag";
        const auto write = [](const std::string &path, const std::string &bytes) {
            const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
            const ssize_t written = __real_write(file, bytes.data(), bytes.size());
            close(file);
            return written;
        };
        ASSERT_EQ(4090, write(tagPath, text));
        while (write(directory + "/filler", text) > 0) {
        }
        EXPECT_FALSE(appendTo(directory, tagPath));
        struct stat status = {};
        ASSERT_EQ(0, stat(tagPath.c_str(), &status));
        EXPECT_EQ(4090, status.st_size);
    });
}

TEST_F(Append, FileSizeLimitIsAFailedWrite) {
    // At the limit, a write sends SIGXFSZ. Below the limit, a part of the text is written.
    for (const std::size_t size : {4096U, 4000U}) {
        box.file("lib/vekinfo.tag", std::string(size, '#'));
        const test::Outcome outcome = test::inChild([this] {
            const test::SoftLimit limit(RLIMIT_FSIZE, 4096);
            signal(SIGXFSZ, SIG_DFL);
            EXPECT_FALSE(append());
            EXPECT_EQ(SIG_DFL, signal(SIGXFSZ, SIG_DFL)) << "as before";
            return 0;
        });
        EXPECT_EQ(0, outcome.status) << "signal " << outcome.signal;
        EXPECT_EQ(std::string(size, '#'), content());
    }
}

// ---- other processes

class AppendBesideOthers : public Append {
  protected:
    using Kind = tov::AppendResult::Kind;

    [[nodiscard]] tov::AppendResult result() const {
        vekinfo::ReadAhead readAhead;
        return vekinfo::appendLibraryEntries(box.path("lib").c_str(), box.path("lib/vekinfo.tag").c_str(),
                                             readAhead);
    }
    void writeWhileWaiting(const std::string &text) {
        test::appendDuringNextLock(box.path("lib/vekinfo.tag"), text);
    }
};

TEST_F(AppendBesideOthers, EntryAppendedByAnotherProcessCountsAsFound) {
    for (const bool isThere : {true, false}) {
        __real_unlink("lib/vekinfo.tag");
        if (isThere) {
            box.file("lib/vekinfo.tag", "A 1\n");
        }
        writeWhileWaiting("VEKLIBRARY\nNAMESPACE LibraryNT\n");
        const tov::AppendResult appended = result();
        EXPECT_EQ(Kind::Defined, appended.kind);
        EXPECT_EQ(static_cast<uint32_t>(TOV_NAMESPACE_NT), appended.nameSpace);
        EXPECT_EQ(std::string(isThere ? "A 1\n" : "") + "VEKLIBRARY\nNAMESPACE LibraryNT\n", content());
        EXPECT_EQ(test::kNoReports, reports.take());
        test::faults::reset();
    }
}

TEST_F(AppendBesideOthers, OtherEntryAppendedByAnotherProcessIsKept) {
    box.file("lib/vekinfo.tag", "A 1\n");
    writeWhileWaiting("DMTYPE pkm\n");
    EXPECT_EQ(Kind::Appended, result().kind);
    EXPECT_EQ("A 1\nDMTYPE pkm\n" + block(), content());
}

TEST_F(AppendBesideOthers, AFileWithASyntaxErrorStillGetsTheBlock) {
    box.file("lib/vekinfo.tag", "VEKLIBRARY\nDMTYPE\n");
    EXPECT_EQ(Kind::Appended, result().kind);
    EXPECT_EQ("VEKLIBRARY\nDMTYPE\n" + block(), content());
    EXPECT_EQ(test::kNoReports, reports.take()) << "the second reading reports nothing";
}

TEST_F(AppendBesideOthers, HeldLockFails) {
    box.file("lib/vekinfo.tag", "A 1\n");
    test::faults::skipWaiting();
    test::faults::failFrom("fcntl", 1, EAGAIN);
    EXPECT_EQ(Kind::Failed, result().kind);
    EXPECT_EQ("A 1\n", content());
}

TEST_F(AppendBesideOthers, NameThatWouldMakeTheFileInvalidIsRejected) {
    // The appended block contains the path in a comment. A newline in the path ends the comment.
    const std::string directory = box.path("lib\nVEKLIBRARY");
    box.directory("lib\nVEKLIBRARY");
    vekinfo::ReadAhead readAhead;
    const tov::AppendResult appended =
        vekinfo::appendLibraryEntries(directory.c_str(), (directory + "/vekinfo.tag").c_str(), readAhead);
    EXPECT_EQ(Kind::Rejected, appended.kind);
    EXPECT_STREQ("VEKLIBRARY line in vekinfo.tag file", appended.syntaxError);
    EXPECT_EQ(std::vector<std::string>{}, box.list("lib\nVEKLIBRARY"));
}

} // namespace
