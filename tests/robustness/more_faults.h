#ifndef TESTS_ROBUSTNESS_MORE_FAULTS_H
#define TESTS_ROBUSTNESS_MORE_FAULTS_H

#include <array>
#include <string_view>

namespace test::faults {

/// Every system call that can fail: those of faults.h, and some for which only these tests have a fault point. The
/// reads and writes of streams are missing: the tests of the tool inject their errors with ptrace() (traced_run.h).
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
