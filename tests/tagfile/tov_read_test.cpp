// Reading a tag file that is, or may be, edited at the same time.

#include "tagfile/tovi_read.h"

#include "tagfile/tovi_lock.h"
#include "tests/support/faults.h"
#include "tests/support/real_calls.h"
#include "tests/tagfile/tag_support.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <string>

using tov::Deadline;
using tov::FileLock;
using tov::LockKind;
using tov::LockResult;

namespace {

class Reading : public test::TagTest {
  protected:
    /// Sets the file's modification time to `seconds` before now.
    static void makeOld(const char *path, long seconds) {
        timespec now = {};
        clock_gettime(CLOCK_REALTIME, &now);
        now.tv_sec -= seconds;
        const timespec times[2] = {now, now};
        ASSERT_EQ(0, utimensat(AT_FDCWD, path, times, 0));
    }
    std::string readDmtype() {
        tovResetCache();
        const char *value = tovLookupEntry(box.path().c_str(), "DMTYPE", nullptr);
        return value == nullptr ? "none" : value;
    }
    /// Writes the file when its reader has read the first block.
    static void changeAfterFirstRead(const std::string &text) {
        test::faults::atNextRead([text] {
            const int file = __real_open("vekinfo.tag", O_WRONLY | O_TRUNC | O_CLOEXEC);
            EXPECT_EQ(static_cast<ssize_t>(text.size()), __real_write(file, text.data(), text.size()));
            __real_close(file);
        });
    }
    /// How many lock requests one reading makes, the release included.
    int lockCalls() {
        test::faults::reset();
        readDmtype();
        return test::faults::count("fcntl");
    }
};

/// Holds the lock of the file as an edit would.
class Editor {
  public:
    Editor() : file_(__real_open("vekinfo.tag", O_RDWR | O_CLOEXEC)) {
        EXPECT_EQ(LockResult::Locked, lock_.acquire(file_, LockKind::Exclusive, Deadline(0)));
    }
    void finish(const std::string &text) {
        EXPECT_EQ(static_cast<ssize_t>(text.size()), __real_pwrite(file_, text.data(), text.size(), 0));
        EXPECT_EQ(0, __real_ftruncate(file_, static_cast<off_t>(text.size())));
        lock_.release();
    }
    ~Editor() {
        lock_.release();
        __real_close(file_);
    }
    Editor(const Editor &) = delete;
    Editor &operator=(const Editor &) = delete;

  private:
    int file_;
    FileLock lock_;
};

} // namespace

TEST_F(Reading, OfAnOldFileTakesNoLock) {
    box.file("vekinfo.tag", "DMTYPE old\n");
    makeOld("vekinfo.tag", 61);
    EXPECT_EQ(0, lockCalls());
    EXPECT_EQ(2, test::faults::count("fstat")) << "before and after the reading";
    EXPECT_EQ("old", readDmtype());
}

TEST_F(Reading, OfARecentFileTakesASharedLock) {
    box.file("vekinfo.tag", "DMTYPE old\n");
    for (const long age : {0L, 58L, -1L, -1'000'000L}) { // a negative age lies in the future
        makeOld("vekinfo.tag", age);
        EXPECT_EQ(2, lockCalls()) << age;
        EXPECT_EQ("old", readDmtype()) << age;
    }
}

TEST_F(Reading, WaitsForAnEditInProgress) {
    box.file("vekinfo.tag", "DMTYPE old\n");
    Editor editor;
    test::faults::atNextSleep([&] { editor.finish("DMTYPE new\n"); });
    EXPECT_EQ("new", readDmtype());
}

TEST_F(Reading, ReadsWithoutTheLockAfterTwoSeconds) {
    box.file("vekinfo.tag", "DMTYPE old\n");
    const Editor editor;
    test::faults::skipWaiting();
    const Deadline before(10'000);
    EXPECT_EQ("old", readDmtype());
    EXPECT_EQ(test::kNoReports, reports.take());
    const int waited = 10'000 - before.remaining();
    EXPECT_LE(tov::kReadWaitMs, waited);
    EXPECT_GT(tov::kReadWaitMs + 500, waited);
}

TEST_F(Reading, ReadsWithoutLocksIfTheFileSystemHasNone) {
    box.file("vekinfo.tag", "DMTYPE old\n");
    for (const int error : {ENOLCK, EINVAL, EOPNOTSUPP, EIO}) {
        test::faults::failFrom("fcntl", 1, error);
        EXPECT_EQ("old", readDmtype());
        EXPECT_EQ(test::kNoReports, reports.take());
        test::faults::reset();
    }
}

TEST_F(Reading, IsRepeatedIfTheFileChanges) {
    // A file of two blocks, which changes after the first one has been read.
    std::string filler;
    for (int i = 0; i < 2500; ++i) {
        filler += "#\n";
    }
    box.file("vekinfo.tag", "DMTYPE old\nFOO 1\n" + filler);
    makeOld("vekinfo.tag", 1000);
    test::faults::reset();
    VekinfoObj obj = {};
    int found = 0;
    const std::string changed = "DMTYPE new\nBAR 2\n" + filler;
    changeAfterFirstRead(changed);
    ASSERT_EQ(TOV_OK, tovGetVekinfoAtLoc("vekinfo.tag", "FOO", &obj, &found));
    EXPECT_STREQ("new", obj.dmtype);
    EXPECT_EQ((test::Entries{"BAR=2"}), test::entriesOf(obj)) << "nothing is left of the first reading";
    EXPECT_EQ(0, found);
    EXPECT_EQ(2502U, obj.line);
}

TEST_F(Reading, ReportsOnlyWhatTheLastReadingFound) {
    const std::string filler(5000, '#');
    box.file("vekinfo.tag", "DMTYPE\n" + filler + "\n");
    makeOld("vekinfo.tag", 1000);
    changeAfterFirstRead("DMTYPE new\n");
    EXPECT_EQ("new", readDmtype());
    EXPECT_EQ(test::kNoReports, reports.take());
}
