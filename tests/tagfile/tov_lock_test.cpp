#include "tagfile/tovi_lock.h"

#include "tests/support/child.h"
#include "tests/support/faults.h"
#include "tests/support/real_calls.h"
#include "tests/support/sandbox.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

using tov::Deadline;
using tov::FileLock;
using tov::LockKind;
using tov::LockResult;

namespace {

class Lock : public testing::Test {
  protected:
    Lock() { box.file("file", "text"); }

    /// A file description of its own.
    static int openFile(int access = O_RDWR) { return __real_open("file", access | O_CLOEXEC); }

    /// Whether a process that opens the file now gets an exclusive lock at once.
    static bool isFree() {
        const int file = openFile();
        FileLock lock;
        const bool isLocked = lock.acquire(file, LockKind::Exclusive, Deadline(0)) == LockResult::Locked;
        lock.release();
        __real_close(file);
        return isLocked;
    }

    test::Sandbox box;
};

} // namespace

TEST_F(Lock, ExclusiveLockExcludesBothKinds) {
    const int holder = openFile();
    const int other = openFile();
    FileLock held;
    FileLock second;
    ASSERT_EQ(LockResult::Locked, held.acquire(holder, LockKind::Exclusive, Deadline(0)));
    EXPECT_EQ(LockResult::TimedOut, second.acquire(other, LockKind::Exclusive, Deadline(0)));
    EXPECT_EQ(LockResult::TimedOut, second.acquire(other, LockKind::Shared, Deadline(0)));
    held.release();
    EXPECT_EQ(LockResult::Locked, second.acquire(other, LockKind::Exclusive, Deadline(0)));
}

TEST_F(Lock, SharedLockExcludesExclusiveOnly) {
    const int holder = openFile(O_RDONLY);
    const int reader = openFile(O_RDONLY);
    FileLock held;
    FileLock second;
    ASSERT_EQ(LockResult::Locked, held.acquire(holder, LockKind::Shared, Deadline(0)));
    EXPECT_EQ(LockResult::Locked, second.acquire(reader, LockKind::Shared, Deadline(0)));
    second.release();
    EXPECT_FALSE(isFree());
    held.release();
    EXPECT_TRUE(isFree());
}

TEST_F(Lock, ExclusiveLockNeedsWriteAccess) {
    const int reader = openFile(O_RDONLY);
    FileLock lock;
    EXPECT_EQ(LockResult::Unsupported, lock.acquire(reader, LockKind::Exclusive, Deadline(0)));
    EXPECT_TRUE(isFree());
}

TEST_F(Lock, ClosingAnotherDescriptorDoesNotUnlock) {
    const int file = openFile();
    FileLock lock;
    ASSERT_EQ(LockResult::Locked, lock.acquire(file, LockKind::Exclusive, Deadline(0)));
    __real_close(openFile());
    EXPECT_FALSE(isFree());
}

TEST_F(Lock, TheDestructorUnlocks) {
    const int file = openFile();
    {
        FileLock lock;
        ASSERT_EQ(LockResult::Locked, lock.acquire(file, LockKind::Exclusive, Deadline(0)));
        EXPECT_FALSE(isFree());
    }
    EXPECT_TRUE(isFree());
}

TEST_F(Lock, IsReleasedAlthoughAChildKeepsTheDescription) {
    const int file = openFile();
    FileLock lock;
    ASSERT_EQ(LockResult::Locked, lock.acquire(file, LockKind::Exclusive, Deadline(0)));
    const pid_t child = fork();
    if (child == 0) {
        pause();
        _exit(0);
    }
    lock.release();
    __real_close(file);
    EXPECT_TRUE(isFree());
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

TEST_F(Lock, IsReleasedWhenItsHolderIsKilled) {
    int ready[2];
    ASSERT_EQ(0, pipe(ready));
    const pid_t holder = fork();
    if (holder == 0) {
        const int file = openFile();
        FileLock lock;
        const bool isLocked = lock.acquire(file, LockKind::Exclusive, Deadline(0)) == LockResult::Locked;
        __real_write(ready[1], isLocked ? "y" : "n", 1);
        pause();
        _exit(0);
    }
    char byte = '?';
    ASSERT_EQ(1, __real_read(ready[0], &byte, 1));
    ASSERT_EQ('y', byte);
    EXPECT_FALSE(isFree());
    kill(holder, SIGKILL);
    waitpid(holder, nullptr, 0);
    EXPECT_TRUE(isFree());
}

TEST_F(Lock, WaitsUntilTheDeadline) {
    const int holder = openFile();
    const int other = openFile();
    FileLock held;
    FileLock second;
    ASSERT_EQ(LockResult::Locked, held.acquire(holder, LockKind::Exclusive, Deadline(0)));
    test::faults::skipWaiting();
    const Deadline limit(tov::kEditWaitMs);
    EXPECT_EQ(LockResult::TimedOut, second.acquire(other, LockKind::Exclusive, limit));
    EXPECT_TRUE(limit.isPast());
    EXPECT_FALSE(Deadline(1000).isPast());
    // 1, 2, 4, ... 32 ms and then 50, shortened by a half at most: between 600 and 1,210 pauses in 30 s.
    EXPECT_LT(600, test::faults::count("nanosleep"));
    EXPECT_GT(1300, test::faults::count("nanosleep"));
}

TEST_F(Lock, PausesGrowAndDiffer) {
    test::faults::skipWaiting();
    const Deadline limit(100'000);
    tov::Backoff backoff;
    int before = limit.remaining();
    int longest = 1;
    for (int round = 0; round < 40; ++round) {
        backoff.pause(limit);
        const int slept = before - limit.remaining();
        before = limit.remaining();
        EXPECT_LE(slept, longest + 1) << round; // rounded up
        EXPECT_GE(slept + 1, longest / 2) << round;
        longest = longest * 2 > 50 ? 50 : longest * 2;
    }
}

TEST_F(Lock, HeldLockIsTriedAgain) {
    for (const int error : {EAGAIN, EACCES}) {
        const int file = openFile();
        FileLock lock;
        test::faults::skipWaiting();
        test::faults::fail("fcntl", 1, error);
        EXPECT_EQ(LockResult::Locked, lock.acquire(file, LockKind::Exclusive, Deadline(100))) << error;
        EXPECT_EQ(1, test::faults::count("nanosleep")) << error;
        test::faults::reset();
    }
}

TEST_F(Lock, AnInterruptedCallIsRepeatedAtOnce) {
    const int file = openFile();
    FileLock lock;
    test::faults::fail("fcntl", 1, EINTR);
    EXPECT_EQ(LockResult::Locked, lock.acquire(file, LockKind::Exclusive, Deadline(0)));
    EXPECT_EQ(0, test::faults::count("nanosleep"));
}

TEST_F(Lock, EndlessInterruptionsTimeOut) {
    const int file = openFile();
    FileLock lock;
    test::faults::skipWaiting();
    test::faults::failFrom("fcntl", 1, EINTR);
    EXPECT_EQ(LockResult::TimedOut, lock.acquire(file, LockKind::Exclusive, Deadline(100)));
    EXPECT_LT(1, test::faults::count("nanosleep"));
}

TEST_F(Lock, FileSystemWithoutLocksIsUnsupportedAtOnce) {
    for (const int error : {ENOLCK, EINVAL, EOPNOTSUPP, ENOSYS, EIO}) {
        const int file = openFile();
        FileLock lock;
        test::faults::fail("fcntl", 1, error);
        EXPECT_EQ(LockResult::Unsupported, lock.acquire(file, LockKind::Exclusive, Deadline(1000))) << error;
        EXPECT_EQ(0, test::faults::count("nanosleep")) << error;
        test::faults::reset();
        lock.release();
        EXPECT_TRUE(isFree());
    }
}
