#ifndef TOVI_LOCK_H
#define TOVI_LOCK_H

/// The lock that serializes edits of one tag file, between processes and within one: an open file description lock
/// (F_OFD_SETLK) on the whole file. Not flock(): it needs no write access, so every reader could block edits, and
/// `flock FILE vekinfo ...` in a script would wait for itself. Not a process-owned lock: closing any descriptor of the
/// file releases it.

#include <cstdint>

namespace tov {

/// How long an edit waits for the lock.
inline constexpr int kEditWaitMs = 30'000;
/// How long a reader waits. It then reads without the lock.
inline constexpr int kReadWaitMs = 2'000;

/// A moment in the future.
class Deadline {
  public:
    explicit Deadline(int milliseconds);

    /// @return the milliseconds that are left, at least 0
    [[nodiscard]] int remaining() const;
    [[nodiscard]] bool isPast() const { return remaining() == 0; }

  private:
    std::int64_t end_; ///< CLOCK_MONOTONIC, in milliseconds
};

/// Pauses between tries: 1, 2, 4, ... 50 ms, each shortened at random by up to a half, so that processes that wait for
/// the same file do not try at the same moments.
class Backoff {
  public:
    /// Sleeps, at most until `deadline`.
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

    /// Tries until it has the lock or `deadline` has passed.
    /// @param file  open for reading for a shared lock, for writing for an exclusive one
    [[nodiscard]] LockResult acquire(int file, LockKind kind, const Deadline &deadline);

    [[nodiscard]] bool isHeld() const { return file_ >= 0; }

    /// Unlocks explicitly: closing does not, while a forked child has the same file description.
    void release();

  private:
    int file_ = -1; ///< -1 while there is no lock
};

} // namespace tov

#endif
