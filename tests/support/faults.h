#ifndef VEK_TESTS_SUPPORT_FAULTS_H
#define VEK_TESTS_SUPPORT_FAULTS_H

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

/// Fault injection in the test's own process. The test executables are linked with `--wrap` for each function with a fault
/// point. Calls of the code under test are intercepted; calls within the C library and the C++ `new` are not. Everything is
/// reset when a test begins.
namespace test::faults {

/// The nth allocation from now (malloc, calloc, realloc, reallocarray, strdup, strndup, asprintf, vasprintf; counted
/// from 1) fails with ENOMEM; the others succeed.
void failAllocation(int nth);

/// Like failAllocation(), but every later allocation fails, too.
void failAllocationsFrom(int nth);

/// The nth call from now of `call` (counted from 1) fails with `error`: open, fopen, fdopen, read, write, pwrite,
/// close, fclose, fflush, fputs, fwrite, fgets, fread, ftello, fseeko, fmemopen, fsync, fdatasync, ftruncate,
/// fallocate, posix_fallocate, stat, lstat, fstat, readlink, opendir, mkdir, rmdir, unlink, rename, chmod, fchmod,
/// getcwd, getpwnam, access, fcntl, openat, unlinkat, pread, nanosleep. A failing
/// close() or fclose() still releases its argument, like the real ones.
/// Throws std::invalid_argument for another name.
void fail(std::string_view call, int nth, int error);

/// Like fail(), but every later call fails, too.
void failFrom(std::string_view call, int nth, int error);

/// Every write() and pwrite() writes at most `bytes` bytes; 0 removes the limit.
void limitWrites(std::size_t bytes);

/// nanosleep() returns immediately, and CLOCK_MONOTONIC advances by its time.
void skipWaiting();

/// nanosleep() returns immediately, and the next call runs `action`: it simulates another process during the wait.
void atNextSleep(std::function<void()> action);

/// The next read() calls `action` before it returns.
void atNextRead(std::function<void()> action);

/// The number of calls of `call` since reset(); "malloc" counts all allocations.
int count(std::string_view call);

/// Simulates a case-insensitive directory: names at every depth below `directory` are folded to lower case in open, fopen,
/// stat, lstat, access, readlink, opendir, mkdir, unlink and rename.
void makeCaseless(const std::string &directory);

/// Removes all faults and the case-insensitive directory, and sets all counts to 0.
void reset();

} // namespace test::faults

#endif
