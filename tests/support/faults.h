#ifndef VEK_TESTS_SUPPORT_FAULTS_H
#define VEK_TESTS_SUPPORT_FAULTS_H

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

/// Fault points inside the test's own process. The test executables are linked with `--wrap` for each call
/// that has one, so every call of the code under test passes here; calls that the C library makes inside
/// itself, and the C++ library's `new`, do not. Everything is reset when a test begins.
namespace test::faults {

/// The nth allocation from now (malloc, calloc, realloc, reallocarray, strdup, strndup, asprintf, vasprintf; counted
/// from 1) fails with ENOMEM; the others succeed.
void failAllocation(int nth);

/// As failAllocation(), and every allocation after it fails, too.
void failAllocationsFrom(int nth);

/// The nth call from now of `call` (counted from 1) fails with `error`: open, fopen, fdopen, read, write, pwrite,
/// close, fclose, fflush, fputs, fwrite, fgets, fread, ftello, fseeko, fmemopen, fsync, fdatasync, ftruncate,
/// fallocate, posix_fallocate, stat, lstat, fstat, readlink, opendir, mkdir, rmdir, unlink, rename, chmod, fchmod,
/// getcwd, getpwnam, access, fcntl, openat, unlinkat, pread, nanosleep. A failing close() or fclose() releases what it was given, as the system's own do.
/// Throws std::invalid_argument for another name.
void fail(std::string_view call, int nth, int error);

/// As fail(), and every call after it fails, too.
void failFrom(std::string_view call, int nth, int error);

/// Every write() and pwrite() takes at most `bytes` bytes at a time; 0 lifts the limit.
void limitWrites(std::size_t bytes);

/// nanosleep() returns at once, and CLOCK_MONOTONIC advances by the time that it would have slept.
void skipWaiting();

/// nanosleep() returns at once, and the next one calls `action`: for what another process does while this one waits.
void atNextSleep(std::function<void()> action);

/// The next read() calls `action` before it returns.
void atNextRead(std::function<void()> action);

/// How often `call` was made since reset(); "malloc" stands for every allocation.
int count(std::string_view call);

/// Names in `directory` lose their letter case in open, fopen, stat, lstat, access, readlink, opendir,
/// mkdir, unlink, rename: they are folded to lower case on the way, at every depth below it.
void makeCaseless(const std::string &directory);

/// No fault is armed, all counts are 0, no directory is caseless.
void reset();

} // namespace test::faults

#endif
