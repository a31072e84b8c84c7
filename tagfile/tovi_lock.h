#ifndef TOVI_LOCK_H
#define TOVI_LOCK_H

/// The lock that serializes edits of one tag file, between processes and within one process: an open file description
/// lock (F_OFD_SETLK) on the whole file.
///
/// Not flock(): it needs no write access, so a user who may only read the file could block edits. Also, `flock FILE
/// vekinfo ...` in a script would wait for its own lock. Not a POSIX record lock (F_SETLK): it is released as soon as
/// the process closes any descriptor of the file.

#include <cstdint>

namespace tov {

/// How long an edit waits for the lock before it fails.
inline constexpr int kEditWaitMs = 30'000;
/// How long a reader waits for the lock. After that it reads without the lock, so that a hanging process cannot stop
/// it.
inline constexpr int kReadWaitMs = 2'000;

/// The time at which a wait ends: `milliseconds` after the construction.
class Deadline {
  public:
    explicit Deadline(int milliseconds);

    /// @return the milliseconds until that time; 0 if it has passed
    [[nodiscard]] int remaining() const;
    [[nodiscard]] bool isPast() const { return remaining() == 0; }

  private:
    std::int64_t end_; ///< CLOCK_MONOTONIC, in milliseconds
};

/// Exponential backoff with jitter: pauses of 1, 2, 4, ... 50 ms between attempts, each shortened by a random part of
/// up to a half. Without the jitter, processes that wait for the same file would make their attempts at the same times.
class Backoff {
  public:
    /// Sleeps for the next pause, but not beyond `deadline`.
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

/// A lock on a descriptor. The caller must keep the descriptor open until release().
class FileLock {
  public:
    FileLock() = default;
    FileLock(const FileLock &) = delete;
    FileLock &operator=(const FileLock &) = delete;
    ~FileLock() { release(); }

    /// Requests the lock repeatedly until it is granted or `deadline` has passed.
    /// @param file  a descriptor; it must be open for reading for a shared lock, for writing for an exclusive lock
    [[nodiscard]] LockResult acquire(int file, LockKind kind, const Deadline &deadline);

    [[nodiscard]] bool isHeld() const { return file_ >= 0; }

    /// Unlocks with F_UNLCK. Closing the descriptor is not enough: a forked child that inherited the descriptor would
    /// keep the lock.
    void release();

  private:
    int file_ = -1; ///< -1 while there is no lock
};

} // namespace tov

#endif
