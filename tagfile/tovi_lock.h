#ifndef TOVI_LOCK_H
#define TOVI_LOCK_H

/// File lock that serializes edits of one tag file, between processes and between descriptors of one process. The lock
/// is an open file description lock (fcntl() with F_OFD_SETLK) on the whole file.
///
/// flock() is not used, because it works without write permission: a user who may only read the file could block edits.
/// In a script, `flock FILE vekinfo ...` would also deadlock, because the flock command holds its lock until `vekinfo`
/// ends. POSIX record locks (F_SETLK) are not used, because the system releases them as soon as the process closes any
/// descriptor of the file.

#include <cstdint>

namespace tov {

/// How long an edit waits for the lock before it fails, in milliseconds.
inline constexpr int kEditWaitMs = 30'000;
/// How long a reader waits for the lock, in milliseconds. Afterwards the file is read without the lock, so that a
/// process that hangs while it holds the lock cannot block readers.
inline constexpr int kReadWaitMs = 2'000;

/// A time limit: the point in time that is `milliseconds` after the construction of the object.
class Deadline {
  public:
    explicit Deadline(int milliseconds);

    /// Returns the number of milliseconds until the time limit; 0 if the time limit has passed.
    [[nodiscard]] int remaining() const;
    [[nodiscard]] bool isPast() const { return remaining() == 0; }

  private:
    std::int64_t end_; ///< CLOCK_MONOTONIC, in milliseconds
};

/// Exponential backoff with jitter. The pauses between attempts to lock a file are 1, 2, 4, ... and at most 50 ms. Each
/// pause is shortened at random, by at most one half. Processes that wait for the same file therefore try again at
/// different times.
class Backoff {
  public:
    /// Sleeps for the next pause, but at most until `deadline`. Doubles the pause for the next call, up to 50 ms.
    void pause(const Deadline &deadline);

  private:
    int nextMs_ = 1;
    std::uint32_t random_ = 0;
};

enum class LockKind { Shared, Exclusive };

enum class LockResult {
    Locked,
    Unsupported, ///< the file system has no locks: continue without one
    TimedOut
};

/// A lock on an open file. The object does not own the descriptor of the file: the caller must keep the descriptor open
/// until release() or the destructor has released the lock.
class FileLock {
  public:
    FileLock() = default;
    FileLock(const FileLock &) = delete;
    FileLock &operator=(const FileLock &) = delete;
    ~FileLock() { release(); }

    /// Tries to lock the file again and again, until the lock is granted or `deadline` has passed. Sleeps between the
    /// attempts.
    /// @param file  a descriptor; it must be open for reading for a shared lock, for writing for an exclusive lock
    [[nodiscard]] LockResult acquire(int file, LockKind kind, const Deadline &deadline);

    [[nodiscard]] bool isHeld() const { return file_ >= 0; }

    /// Releases the lock with F_UNLCK, if it is held. Closing the descriptor would not be enough: a child process that
    /// inherited the descriptor in fork() would keep the lock.
    void release();

  private:
    int file_ = -1; ///< -1 while there is no lock
};

} // namespace tov

#endif
