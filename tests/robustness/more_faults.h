#ifndef TESTS_ROBUSTNESS_MORE_FAULTS_H
#define TESTS_ROBUSTNESS_MORE_FAULTS_H

#include <array>
#include <string_view>

namespace test::faults {

/// Every call that may fail beneath the library: those of faults.h, and some that only these tests have a fault point
/// for. The reads and writes behind streams are not here,
/// which tell of errors in more ways than one: the tool's tests let the system itself fail (traced_run.h).
inline constexpr std::array<std::string_view, 36> kSystemCalls = {
    "open",           "fopen",    "fdopen",   "read",     "pread",   "write",    "pwrite",   "close",
    "fclose",         "fflush",   "fsync",    "lseek",    "stat",    "lstat",    "fstat",    "ftruncate",
    "fallocate",      "readlink", "realpath", "opendir",  "readdir", "closedir", "mkdir",    "unlink",
    "ftello",         "fseeko",   "fmemopen", "rename",   "chmod",   "getcwd",   "getpwnam", "access",
    "open_memstream", "fcntl",    "openat",   "unlinkat",
};

/// fail(), count() and reset() for each of them.
void failAny(std::string_view call, int nth, int error);
int countAny(std::string_view call);
void resetAll();

} // namespace test::faults

#endif
