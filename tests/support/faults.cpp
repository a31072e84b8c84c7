#include "tests/support/faults.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <ctime>
#include <functional>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/caseless.h"
#include "tests/support/real_calls.h"

namespace test::faults {

namespace {

// In the order of `pointNames`.
enum class Point {
    Allocation,
    Open,
    Fopen,
    Fdopen,
    Read,
    Write,
    Pwrite,
    Close,
    Fclose,
    Fflush,
    Fputs,
    Fwrite,
    Fgets,
    Fread,
    Ftello,
    Fseeko,
    Fmemopen,
    Fsync,
    Fdatasync,
    Ftruncate,
    Fallocate,
    PosixFallocate,
    Stat,
    Lstat,
    Fstat,
    Readlink,
    Opendir,
    Mkdir,
    Rmdir,
    Unlink,
    Rename,
    Chmod,
    Fchmod,
    Getcwd,
    Getpwnam,
    Access,
    Fcntl,
    Openat,
    Unlinkat,
    Pread,
    Nanosleep,
};

constexpr std::array<std::string_view, 41> pointNames = {
    "malloc",          "open",   "fopen",    "fdopen",   "read",      "write",     "pwrite",
    "close",           "fclose", "fflush",   "fputs",    "fwrite",    "fgets",     "fread",
    "ftello",          "fseeko", "fmemopen", "fsync",    "fdatasync", "ftruncate", "fallocate",
    "posix_fallocate", "stat",   "lstat",    "fstat",    "readlink",  "opendir",   "mkdir",
    "rmdir",           "unlink", "rename",   "chmod",    "fchmod",    "getcwd",    "getpwnam",
    "access",          "fcntl",  "openat",   "unlinkat", "pread",     "nanosleep",
};
static_assert(pointNames.size() == static_cast<std::size_t>(Point::Nanosleep) + 1);

/// Atomic, because worker threads of the code under test make calls, too.
struct PointState {
    std::atomic<int> calls;
    std::atomic<int> failAt; // the number of the call that fails; 0 for none
    std::atomic<int> error;
    std::atomic<bool> andAfter;
};

// Initialized at compile time: the first calls happen before any constructor runs.
constinit struct {
    std::array<PointState, pointNames.size()> points = {};
    std::size_t writeLimit = 0;
    CaselessDirectory caseless = {};
    bool skipsWaiting = false;
    std::int64_t skippedNs = 0;
} state;

std::function<void()> sleepAction;
std::function<void()> readAction;

void callOnce(std::function<void()> &action) {
    const std::function<void()> callback = std::exchange(action, nullptr);
    if (callback) {
        callback();
    }
}

PointState &at(Point point) {
    return state.points[static_cast<std::size_t>(point)];
}

PointState &at(std::string_view call) {
    const auto *const found = std::find(pointNames.begin(), pointNames.end(), call);
    if (found == pointNames.end()) {
        throw std::invalid_argument("no fault point for " + std::string(call));
    }
    return state.points[static_cast<std::size_t>(found - pointNames.begin())];
}

void arm(PointState &point, int nth, int error, bool andAfter) {
    point.failAt = point.calls + nth;
    point.error = error;
    point.andAfter = andAfter;
}

// Counts a call. Returns true, with errno set, if it must fail.
bool fails(Point which) {
    PointState &point = at(which);
    const int call = ++point.calls;
    if (point.failAt == 0 || call < point.failAt || (call > point.failAt && !point.andAfter)) {
        return false;
    }
    errno = point.error;
    return true;
}

std::size_t limited(std::size_t size) {
    return state.writeLimit == 0 ? size : std::min(size, state.writeLimit);
}

class Folded {
  public:
    explicit Folded(const char *path) : path_(state.caseless.fold(path, room_)) {}
    [[nodiscard]] const char *get() const { return path_; }

  private:
    char room_[FoldedPathSize];
    const char *path_;
};

// Resets all faults when a test begins, because one process can run several tests.
class ResetBetweenTests : public ::testing::EmptyTestEventListener {
    void OnTestStart(const ::testing::TestInfo & /*info*/) override { reset(); }
    void OnTestEnd(const ::testing::TestInfo & /*info*/) override { reset(); }
};

[[maybe_unused]] const bool resets = [] {
    ::testing::UnitTest::GetInstance()->listeners().Append(new ResetBetweenTests);
    return true;
}();

} // namespace

void failAllocation(int nth) {
    arm(at(Point::Allocation), nth, ENOMEM, false);
}

void failAllocationsFrom(int nth) {
    arm(at(Point::Allocation), nth, ENOMEM, true);
}

void fail(std::string_view call, int nth, int error) {
    arm(at(call), nth, error, false);
}

void failFrom(std::string_view call, int nth, int error) {
    arm(at(call), nth, error, true);
}

void limitWrites(std::size_t bytes) {
    state.writeLimit = bytes;
}

void skipWaiting() {
    state.skipsWaiting = true;
}

void atNextSleep(std::function<void()> action) {
    skipWaiting();
    sleepAction = std::move(action);
}

void atNextRead(std::function<void()> action) {
    readAction = std::move(action);
}

int count(std::string_view call) {
    return at(call).calls;
}

void makeCaseless(const std::string &directory) {
    state.caseless.set(directory.c_str());
}

void reset() {
    for (PointState &point : state.points) {
        point.calls = 0;
        point.failAt = 0;
    }
    state.writeLimit = 0;
    state.caseless.set(nullptr);
    state.skipsWaiting = false;
    sleepAction = nullptr;
    readAction = nullptr;
}

} // namespace test::faults

using test::faults::callOnce;
using test::faults::fails;
using test::faults::Folded;
using test::faults::limited;
using test::faults::Point;

static constexpr std::int64_t kNsPerSecond = 1'000'000'000;

extern "C" {

void *__wrap_malloc(size_t size) {
    return fails(Point::Allocation) ? nullptr : __real_malloc(size);
}

void *__wrap_calloc(size_t count, size_t size) {
    return fails(Point::Allocation) ? nullptr : __real_calloc(count, size);
}

void *__wrap_realloc(void *block, size_t size) {
    return fails(Point::Allocation) ? nullptr : __real_realloc(block, size);
}

void *__wrap_reallocarray(void *block, size_t count, size_t size) {
    return fails(Point::Allocation) ? nullptr : __real_reallocarray(block, count, size);
}

char *__wrap_strdup(const char *text) {
    return fails(Point::Allocation) ? nullptr : __real_strdup(text);
}

char *__wrap_strndup(const char *text, size_t size) {
    return fails(Point::Allocation) ? nullptr : __real_strndup(text, size);
}

int __wrap_vasprintf(char **text, const char *format, va_list arguments) {
    return fails(Point::Allocation) ? -1 : __real_vasprintf(text, format, arguments);
}

int __wrap_asprintf(char **text, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int result = __wrap_vasprintf(text, format, arguments);
    va_end(arguments);
    return result;
}

// The functions of a hardened build. `flag` enables checks of the format.
int __wrap___vasprintf_chk(char **text, int /*flag*/, const char *format, va_list arguments) {
    return __wrap_vasprintf(text, format, arguments);
}

int __wrap___asprintf_chk(char **text, int /*flag*/, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int result = __wrap_vasprintf(text, format, arguments);
    va_end(arguments);
    return result;
}

int __wrap_open(const char *path, int flags, ...) {
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE) {
        va_list arguments;
        va_start(arguments, flags);
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
    }
    return fails(Point::Open) ? -1 : __real_open(Folded(path).get(), flags, mode);
}

FILE *__wrap_fopen(const char *path, const char *mode) {
    return fails(Point::Fopen) ? nullptr : __real_fopen(Folded(path).get(), mode);
}

FILE *__wrap_fdopen(int descriptor, const char *mode) {
    return fails(Point::Fdopen) ? nullptr : __real_fdopen(descriptor, mode);
}

ssize_t __wrap_read(int descriptor, void *buffer, size_t size) {
    if (fails(Point::Read)) {
        return -1;
    }
    const ssize_t result = __real_read(descriptor, buffer, size);
    callOnce(test::faults::readAction);
    return result;
}

ssize_t __wrap_write(int descriptor, const void *data, size_t size) {
    return fails(Point::Write) ? -1 : __real_write(descriptor, data, limited(size));
}

ssize_t __wrap_pwrite(int descriptor, const void *data, size_t size, off_t offset) {
    return fails(Point::Pwrite) ? -1 : __real_pwrite(descriptor, data, limited(size), offset);
}

int __wrap_close(int descriptor) {
    const bool failing = fails(Point::Close);
    const int error = errno;
    const int result = __real_close(descriptor);
    if (failing) {
        errno = error;
    }
    return failing ? -1 : result;
}

int __wrap_fclose(FILE *stream) {
    const bool failing = fails(Point::Fclose);
    const int error = errno;
    const int result = __real_fclose(stream);
    if (failing) {
        errno = error;
    }
    return failing ? EOF : result;
}

int __wrap_fflush(FILE *stream) {
    return fails(Point::Fflush) ? EOF : __real_fflush(stream);
}

int __wrap_fputs(const char *text, FILE *stream) {
    return fails(Point::Fputs) ? EOF : __real_fputs(text, stream);
}

size_t __wrap_fwrite(const void *data, size_t size, size_t count, FILE *stream) {
    return fails(Point::Fwrite) ? 0 : __real_fwrite(data, size, count, stream);
}

char *__wrap_fgets(char *buffer, int size, FILE *stream) {
    return fails(Point::Fgets) ? nullptr : __real_fgets(buffer, size, stream);
}

size_t __wrap_fread(void *buffer, size_t size, size_t count, FILE *stream) {
    return fails(Point::Fread) ? 0 : __real_fread(buffer, size, count, stream);
}

off_t __wrap_ftello(FILE *stream) {
    return fails(Point::Ftello) ? -1 : __real_ftello(stream);
}

int __wrap_fseeko(FILE *stream, off_t offset, int whence) {
    return fails(Point::Fseeko) ? -1 : __real_fseeko(stream, offset, whence);
}

FILE *__wrap_fmemopen(void *buffer, size_t size, const char *mode) {
    return fails(Point::Fmemopen) ? nullptr : __real_fmemopen(buffer, size, mode);
}

int __wrap_fsync(int descriptor) {
    return fails(Point::Fsync) ? -1 : __real_fsync(descriptor);
}

int __wrap_fdatasync(int descriptor) {
    return fails(Point::Fdatasync) ? -1 : __real_fdatasync(descriptor);
}

int __wrap_ftruncate(int descriptor, off_t size) {
    return fails(Point::Ftruncate) ? -1 : __real_ftruncate(descriptor, size);
}

int __wrap_fallocate(int descriptor, int mode, off_t offset, off_t size) {
    return fails(Point::Fallocate) ? -1 : __real_fallocate(descriptor, mode, offset, size);
}

int __wrap_posix_fallocate(int descriptor, off_t offset, off_t size) {
    // posix_fallocate() returns its error and does not change errno.
    const int before = errno;
    if (!fails(Point::PosixFallocate)) {
        return __real_posix_fallocate(descriptor, offset, size);
    }
    const int error = errno;
    errno = before;
    return error;
}

int __wrap_stat(const char *path, struct stat *status) {
    return fails(Point::Stat) ? -1 : __real_stat(Folded(path).get(), status);
}

int __wrap_lstat(const char *path, struct stat *status) {
    return fails(Point::Lstat) ? -1 : __real_lstat(Folded(path).get(), status);
}

int __wrap_fstat(int descriptor, struct stat *status) {
    return fails(Point::Fstat) ? -1 : __real_fstat(descriptor, status);
}

ssize_t __wrap_readlink(const char *path, char *buffer, size_t size) {
    return fails(Point::Readlink) ? -1 : __real_readlink(Folded(path).get(), buffer, size);
}

DIR *__wrap_opendir(const char *path) {
    return fails(Point::Opendir) ? nullptr : __real_opendir(Folded(path).get());
}

int __wrap_mkdir(const char *path, mode_t mode) {
    return fails(Point::Mkdir) ? -1 : __real_mkdir(Folded(path).get(), mode);
}

int __wrap_rmdir(const char *path) {
    return fails(Point::Rmdir) ? -1 : __real_rmdir(Folded(path).get());
}

int __wrap_unlink(const char *path) {
    return fails(Point::Unlink) ? -1 : __real_unlink(Folded(path).get());
}

int __wrap_rename(const char *from, const char *to) {
    return fails(Point::Rename) ? -1 : __real_rename(Folded(from).get(), Folded(to).get());
}

int __wrap_chmod(const char *path, mode_t mode) {
    return fails(Point::Chmod) ? -1 : __real_chmod(Folded(path).get(), mode);
}

int __wrap_fchmod(int descriptor, mode_t mode) {
    return fails(Point::Fchmod) ? -1 : __real_fchmod(descriptor, mode);
}

char *__wrap_getcwd(char *buffer, size_t size) {
    return fails(Point::Getcwd) ? nullptr : __real_getcwd(buffer, size);
}

struct passwd *__wrap_getpwnam(const char *name) {
    return fails(Point::Getpwnam) ? nullptr : __real_getpwnam(name);
}

int __wrap_nanosleep(const struct timespec *duration, struct timespec *remaining) {
    if (fails(Point::Nanosleep)) {
        return -1;
    }
    if (!test::faults::state.skipsWaiting) {
        return __real_nanosleep(duration, remaining);
    }
    test::faults::state.skippedNs += duration->tv_sec * kNsPerSecond + duration->tv_nsec;
    callOnce(test::faults::sleepAction);
    return 0;
}

int __wrap_clock_gettime(clockid_t clock, struct timespec *now) {
    const int result = __real_clock_gettime(clock, now);
    if (clock == CLOCK_MONOTONIC) {
        const std::int64_t sum = now->tv_nsec + test::faults::state.skippedNs;
        now->tv_sec += sum / kNsPerSecond;
        now->tv_nsec = sum % kNsPerSecond;
    }
    return result;
}

// The commands that the code under test uses have an integer or a pointer argument.
int __wrap_fcntl(int descriptor, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    return fails(Point::Fcntl) ? -1 : __real_fcntl(descriptor, command, argument);
}

int __wrap_openat(int directory, const char *path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return fails(Point::Openat) ? -1 : __real_openat(directory, path, flags, mode);
}

int __wrap_unlinkat(int directory, const char *path, int flags) {
    return fails(Point::Unlinkat) ? -1 : __real_unlinkat(directory, path, flags);
}

ssize_t __wrap_pread(int descriptor, void *buffer, size_t size, off_t offset) {
    return fails(Point::Pread) ? -1 : __real_pread(descriptor, buffer, size, offset);
}

int __wrap_access(const char *path, int mode) {
    return fails(Point::Access) ? -1 : __real_access(Folded(path).get(), mode);
}
}
