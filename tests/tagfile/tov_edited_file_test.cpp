#include "tagfile/tovi_edited_file.h"

#include "tests/support/child.h"
#include "tests/support/faults.h"
#include "tests/support/real_calls.h"
#include "tests/support/sandbox.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>

using tov::ContentRead;
using tov::Deadline;
using tov::EditedFile;
using tov::FileLock;
using tov::LockKind;
using tov::LockResult;
using tov::Opened;
using tov::Opening;

namespace {

class Edited : public testing::Test {
  protected:
    static Opened open(EditedFile &file, Opening opening, int milliseconds = 1000) {
        return file.open(opening, Deadline(milliseconds));
    }
    static bool isLocked(const char *path = "file") {
        const int file = __real_open(path, O_RDWR | O_CLOEXEC);
        FileLock lock;
        const bool isFree = lock.acquire(file, LockKind::Exclusive, Deadline(0)) == LockResult::Locked;
        lock.release();
        __real_close(file);
        return !isFree;
    }
    void expectContent(const std::string &text, EditedFile &file) {
        EXPECT_EQ(ContentRead::Done, file.readContent());
        EXPECT_EQ(text, file.content());
    }

    test::Sandbox box;
};

/// Holds the lock of a file as another process would.
class Holder {
  public:
    explicit Holder(const char *path) : file_(__real_open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0644)) {
        EXPECT_EQ(LockResult::Locked, lock_.acquire(file_, LockKind::Exclusive, Deadline(0)));
    }
    ~Holder() {
        lock_.release();
        __real_close(file_);
    }
    Holder(const Holder &) = delete;
    Holder &operator=(const Holder &) = delete;

    void write(const std::string &text) const {
        EXPECT_EQ(static_cast<ssize_t>(text.size()), __real_write(file_, text.data(), text.size()));
    }

  private:
    int file_;
    FileLock lock_;
};

} // namespace

// ---- opening

TEST_F(Edited, LocksAnExistingFileUntilDestroyed) {
    box.file("file", "old");
    {
        EditedFile file("file");
        ASSERT_EQ(Opened::Yes, open(file, Opening::Existing));
        EXPECT_FALSE(file.isNew());
        EXPECT_TRUE(isLocked());
        expectContent("old", file);
        EXPECT_TRUE(file.replace("new text"));
        EXPECT_TRUE(isLocked());
    }
    EXPECT_FALSE(isLocked());
    EXPECT_EQ("new text", box.read("file"));
}

TEST_F(Edited, MissingFileIsCreatedOnRequestOnly) {
    EditedFile cleared("file");
    EXPECT_EQ(Opened::Missing, open(cleared, Opening::Existing));
    EXPECT_FALSE(box.exists("file"));
    for (const Opening opening : {Opening::CreateIfMissing, Opening::CreateNew, Opening::ForAppending}) {
        EditedFile file("file");
        ASSERT_EQ(Opened::Yes, open(file, opening));
        EXPECT_TRUE(file.isNew());
        EXPECT_TRUE(isLocked());
        file.removeIfNew();
        EXPECT_FALSE(box.exists("file"));
    }
}

TEST_F(Edited, CreateNewRejectsAnExistingFile) {
    box.file("file", "");
    EditedFile file("file");
    EXPECT_EQ(Opened::Exists, open(file, Opening::CreateNew));
    file.removeIfNew();
    EXPECT_TRUE(box.exists("file"));
}

TEST_F(Edited, DanglingLinksAreFollowedToTheNewFile) {
    box.directory("real")
        .link("first", "second")
        .link("second", "real/third")
        .link("real/third", "../target");
    EditedFile file("first");
    ASSERT_EQ(Opened::Yes, open(file, Opening::CreateIfMissing));
    EXPECT_TRUE(file.isNew());
    EXPECT_TRUE(isLocked("target"));
    EXPECT_TRUE(file.replace("text"));
    EXPECT_EQ("text", box.read("target"));
    struct stat status = {};
    ASSERT_EQ(0, lstat("first", &status));
    EXPECT_TRUE(S_ISLNK(status.st_mode));
}

TEST_F(Edited, RemovingTheTargetKeepsTheLink) {
    box.link("file", box.path("target"));
    EditedFile file("file");
    ASSERT_EQ(Opened::Yes, open(file, Opening::CreateNew));
    file.removeIfNew();
    EXPECT_TRUE(box.exists("file"));
    EXPECT_FALSE(box.exists("target"));
}

TEST_F(Edited, FailedCreationIsNotWritable) {
    box.link("loop", "loop").link("nowhere", "none/target").link("slash", "target/").file("plain", "");
    box.link("below", "plain/target");
    for (const char *path : {"loop", "nowhere", "slash", "below", "none/file", "plain/file"}) {
        EditedFile file(path);
        EXPECT_EQ(Opened::NotWritable, open(file, Opening::CreateIfMissing)) << path;
    }
}

TEST_F(Edited, DeviceIsNotLockedAndNotNew) {
    box.link("file", "/dev/null");
    EditedFile file("file");
    ASSERT_EQ(Opened::Yes, open(file, Opening::CreateIfMissing));
    EXPECT_FALSE(file.isRegular());
    EXPECT_FALSE(file.isNew());
    EXPECT_EQ(0, test::faults::count("fcntl"));
    EXPECT_TRUE(file.replace("text"));
}

TEST_F(Edited, LockedFileTimesOutUnchanged) {
    box.file("file", "old");
    const Holder holder("file");
    for (const Opening opening : {Opening::Existing, Opening::CreateIfMissing, Opening::ForAppending}) {
        EditedFile file("file");
        EXPECT_EQ(Opened::TimedOut, open(file, opening, 0));
    }
    EXPECT_EQ("old", box.read("file"));
}

// ---- races that are decided by the order of their steps

TEST_F(Edited, ARenamedFileIsOpenedAgain) {
    box.file("file", "old").file("other", "renamed over it");
    auto holder = std::make_unique<Holder>("file");
    test::faults::atNextSleep([&] {
        ASSERT_EQ(0, __real_rename("other", "file"));
        holder.reset();
    });
    EditedFile file("file");
    ASSERT_EQ(Opened::Yes, open(file, Opening::Existing));
    expectContent("renamed over it", file);
    EXPECT_TRUE(isLocked());
}

TEST_F(Edited, ARemovedFileIsCreatedAgainOrMissing) {
    for (const Opening opening : {Opening::CreateIfMissing, Opening::Existing}) {
        box.file("file", "old");
        auto holder = std::make_unique<Holder>("file");
        test::faults::atNextSleep([&] {
            ASSERT_EQ(0, __real_unlink("file"));
            holder.reset();
        });
        EditedFile file("file");
        const bool isCreated = opening == Opening::CreateIfMissing;
        EXPECT_EQ(isCreated ? Opened::Yes : Opened::Missing, open(file, opening));
        EXPECT_EQ(isCreated, file.isNew());
        EXPECT_EQ(isCreated, box.exists("file"));
    }
}

TEST_F(Edited, RepeatedlyReplacedFileTimesOut) {
    box.file("file", "old");
    test::faults::skipWaiting();
    test::faults::failFrom("stat", 1, ENOENT); // the path leads to no file, or another one, each time
    EditedFile file("file");
    EXPECT_EQ(Opened::TimedOut, open(file, Opening::Existing, tov::kEditWaitMs));
    EXPECT_LT(600, test::faults::count("open"));
}

TEST_F(Edited, SecondCreatorEditsTheFileOfTheFirst) {
    // The file appears after open() has not found it.
    test::faults::fail("open", 1, ENOENT);
    box.file("file", "the winner's");
    EditedFile file("file");
    ASSERT_EQ(Opened::Yes, open(file, Opening::CreateIfMissing));
    EXPECT_FALSE(file.isNew());
    expectContent("the winner's", file);
    file.removeIfNew();
    EXPECT_TRUE(box.exists("file"));
}

TEST_F(Edited, FileWrittenBeforeTheLockIsNotNew) {
    for (const Opening opening : {Opening::CreateIfMissing, Opening::CreateNew}) {
        // The lock fails once after the creation; meanwhile another process writes to the new file.
        test::faults::fail("fcntl", 1, EAGAIN);
        test::faults::atNextSleep([] { Holder("file").write("another's"); });
        EditedFile file("file");
        EXPECT_EQ(opening == Opening::CreateNew ? Opened::Exists : Opened::Yes, open(file, opening));
        EXPECT_FALSE(file.isNew());
        file.removeIfNew();
        EXPECT_EQ("another's", box.read("file"));
        __real_unlink("file");
        test::faults::reset();
    }
}

TEST_F(Edited, RemovingANewFileKeepsAFileRenamedOverIt) {
    EditedFile file("file");
    ASSERT_EQ(Opened::Yes, open(file, Opening::CreateIfMissing));
    box.file("other", "another's");
    ASSERT_EQ(0, __real_rename("other", "file"));
    file.removeIfNew();
    EXPECT_EQ("another's", box.read("file"));
}

// Without a lock, another process may have written to the file.
TEST_F(Edited, UnlockedNewFileWithContentIsKept) {
    for (const std::string content : {"", "another's"}) {
        test::faults::failFrom("fcntl", 1, ENOLCK);
        EditedFile file("file");
        ASSERT_EQ(Opened::Yes, open(file, Opening::CreateIfMissing));
        ASSERT_TRUE(file.isNew());
        const int another = __real_open("file", O_WRONLY | O_CLOEXEC);
        EXPECT_EQ(static_cast<ssize_t>(content.size()),
                  __real_write(another, content.data(), content.size()));
        __real_close(another);
        file.removeIfNew();
        EXPECT_EQ(!content.empty(), box.exists("file"));
        __real_unlink("file");
        test::faults::reset();
    }
}

// A link that appears between the first open() and the creation; Linux checks it only if fs.protected_symlinks is set.
TEST_F(Edited, AnotherUsersLinkInSharedDirectoryIsNotFollowed) {
    box.directory("shared", 01777);
    test::asUnprivileged([] { ASSERT_EQ(0, symlink("../target", "shared/file")); });
    box.link("shared/own", "../own_target");
    for (const char *path : {"shared/file", "shared/own"}) {
        test::faults::fail("open", 1, ENOENT);
        EditedFile file(path);
        const bool isOwn = std::string(path) == "shared/own";
        EXPECT_EQ(isOwn ? Opened::Yes : Opened::NotWritable, open(file, Opening::CreateIfMissing)) << path;
        test::faults::reset();
    }
    EXPECT_FALSE(box.exists("target"));
    EXPECT_TRUE(box.exists("own_target"));
}

TEST_F(Edited, EditContinuesWithoutLockSupport) {
    for (const int error : {ENOLCK, EINVAL, EOPNOTSUPP, EIO}) {
        box.file("file", "old");
        test::faults::fail("fcntl", 1, error);
        EditedFile file("file");
        ASSERT_EQ(Opened::Yes, open(file, Opening::Existing)) << error;
        EXPECT_TRUE(file.replace("new"));
        EXPECT_EQ("new", box.read("file"));
        test::faults::reset();
    }
}

TEST_F(Edited, FailedStatIsNotWritableAndRemovesTheNewFile) {
    for (const char *call : {"stat", "fstat"}) {
        test::faults::fail(call, 1, EIO);
        EditedFile file("file");
        EXPECT_EQ(Opened::NotWritable, open(file, Opening::CreateIfMissing)) << call;
        EXPECT_FALSE(box.exists("file")) << call;
        test::faults::reset();
    }
}

// ---- reading and appending

TEST_F(Edited, AFileThatCannotBeReadIsStillReplaced) {
    box.file("file", "old", 0222);
    test::asUnprivileged([] {
        EditedFile file("file");
        ASSERT_EQ(Opened::Yes, open(file, Opening::Existing));
        EXPECT_EQ(ContentRead::Failed, file.readContent());
        EXPECT_TRUE(file.replace("new"));
    });
    ASSERT_EQ(0, chmod("file", 0644));
    EXPECT_EQ("new", box.read("file"));
}

// Replacing loses what cannot be read, so one failure does not decide that.
TEST_F(Edited, DeniedOpenIsRetriedBeforeTheFileCountsAsUnreadable) {
    box.file("file", "old");
    test::faults::fail("open", 1, EACCES);
    EditedFile file("file");
    ASSERT_EQ(Opened::Yes, open(file, Opening::Existing));
    expectContent("old", file);
}

TEST_F(Edited, ContentThatCannotBeReadIsNotReplaced) {
    box.file("file", "old");
    EditedFile file("file");
    ASSERT_EQ(Opened::Yes, open(file, Opening::Existing));
    test::faults::failFrom("pread", 1, EIO);
    EXPECT_EQ(ContentRead::Failed, file.readContent());
    EXPECT_FALSE(file.replace("new"));
    test::faults::reset();
    test::faults::failAllocation(1);
    EXPECT_EQ(ContentRead::NoMemory, file.readContent());
    EXPECT_EQ("old", box.read("file"));
}

TEST_F(Edited, AppendingWithoutSpareDescriptorSynchronizesTheFile) {
    box.file("file", "old");
    for (const bool isSynchronized : {true, false}) {
        EditedFile file("file");
        ASSERT_EQ(Opened::Yes, open(file, Opening::ForAppending));
        ASSERT_TRUE(file.canAppend());
        test::faults::fail("fcntl", 1, EMFILE);
        test::faults::fail("fsync", 1, isSynchronized ? EINVAL : EIO); // EINVAL: cannot be synchronized
        EXPECT_EQ(isSynchronized, file.append(" new"));
        EXPECT_EQ(1, test::faults::count("fsync"));
        EXPECT_EQ("old new", box.read("file"));
        test::faults::reset();
    }
}

TEST_F(Edited, ReplaceReportsWhetherTheOldContentWasRestored) {
    box.file("file", "old");
    for (const bool isRestored : {true, false}) {
        EditedFile file("file");
        ASSERT_EQ(Opened::Yes, open(file, Opening::Existing));
        test::faults::fail("fsync", 1, EIO);
        if (!isRestored) {
            test::faults::fail("pwrite", 2, EIO);
        }
        EXPECT_FALSE(file.replace("new"));
        EXPECT_EQ(isRestored, file.isRestored());
        test::faults::reset();
        EXPECT_EQ(isRestored ? "old" : "new", box.read("file"));
    }
}

TEST_F(Edited, AppendingNeedsAReadableFile) {
    box.file("file", "old", 0222);
    test::asUnprivileged([] {
        EditedFile file("file");
        EXPECT_EQ(Opened::NotWritable, open(file, Opening::ForAppending));
    });
}
