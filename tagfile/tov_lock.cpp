#include "tagfile/tovi_lock.h"

#include "common/platform/retry.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

namespace tov {

namespace {

constexpr int kLongestPauseMs = 50;

timespec clockNow() {
    timespec now = {};
    static_cast<void>(clock_gettime(CLOCK_MONOTONIC, &now));
    return now;
}

std::int64_t nowMs() {
    const timespec now = clockNow();
    return std::int64_t{1000} * now.tv_sec + now.tv_nsec / 1'000'000;
}

/// Sets or removes a lock on the whole file. Does not wait if another process holds a lock.
/// @param file  a descriptor of the file
/// @param type  F_RDLCK (shared lock), F_WRLCK (exclusive lock) or F_UNLCK (remove the lock)
/// @return 0 for success, or an errno value
int setLock(int file, short type) {
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET; // start 0 and length 0 mean the whole file
    return vek::retryInterrupted([&] { return fcntl(file, F_OFD_SETLK, &lock); }) == 0 ? 0 : errno;
}

/// Returns true if setLock() failed with an errno value after which a later attempt may succeed: another process holds
/// the lock (EAGAIN, EACCES), or a signal interrupted the system call (EINTR).
bool isTemporary(int error) {
    return error == EAGAIN || error == EACCES || error == EINTR;
}

} // namespace

Deadline::Deadline(int milliseconds) : end_(nowMs() + milliseconds) {}

int Deadline::remaining() const {
    return static_cast<int>(std::max(std::int64_t{0}, end_ - nowMs()));
}

void Backoff::pause(const Deadline &deadline) {
    if (nextMs_ == 1) {
        random_ =
            static_cast<std::uint32_t>(clockNow().tv_nsec) ^ (static_cast<std::uint32_t>(getpid()) << 8U);
    }
    random_ = random_ * 1664525U +
              1013904223U; // linear congruential generator; its low bits have short periods and are not used
    const std::int64_t longest = std::min(nextMs_, deadline.remaining()) * std::int64_t{1'000'000};
    const std::int64_t shortened = longest / 2 + longest / 2 * (random_ >> 16U) / 65536;
    const timespec duration = {0, shortened};
    static_cast<void>(nanosleep(&duration, nullptr)); // a signal may end the pause early, which does no harm
    nextMs_ = std::min(2 * nextMs_, kLongestPauseMs);
}

LockResult FileLock::acquire(int file, LockKind kind, const Deadline &deadline) {
    Backoff backoff;
    int error = setLock(file, kind == LockKind::Shared ? F_RDLCK : F_WRLCK);
    while (isTemporary(error) && !deadline.isPast()) {
        backoff.pause(deadline);
        error = setLock(file, kind == LockKind::Shared ? F_RDLCK : F_WRLCK);
    }
    if (error == 0) {
        file_ = file;
        return LockResult::Locked;
    }
    return isTemporary(error) ? LockResult::TimedOut : LockResult::Unsupported;
}

void FileLock::release() {
    if (file_ >= 0) {
        static_cast<void>(setLock(file_, F_UNLCK));
        file_ = -1;
    }
}

} // namespace tov
