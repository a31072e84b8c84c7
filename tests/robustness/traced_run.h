#ifndef TESTS_ROBUSTNESS_TRACED_RUN_H
#define TESTS_ROBUSTNESS_TRACED_RUN_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/environment.h"

namespace test {

/// A fault that is injected at one system call of a program.
struct Intervention {
    enum class Kind {
        None,
        Fail, ///< the call fails with `error`; a failing close() still closes
        Kill, ///< the process is killed before the call
    };
    Kind kind = Kind::None;
    std::size_t at = 0; ///< the index of the call
    int error = 0;
};

/// The result of a run. Its calls are those on files, from the beginning of main() until its streams have been flushed.
struct TracedRun {
    int status = -1;
    int signal = 0;
    bool timedOut = false;
    std::string out = {};
    std::string err = {};
    std::vector<long> calls = {};
    bool reached = false; ///< whether the intervention took place
};

/// Runs a program under ptrace(). This includes the system calls that the C library makes for streams and directories.
/// Standard input is /dev/null. A run that takes longer than a minute is ended.
TracedRun runTraced(const std::vector<std::string> &arguments, const Environment &environment,
                    const std::string &directory, const Intervention &intervention = {});

/// The name of a call in TracedRun::calls.
std::string_view callName(long number);

/// Whether the call writes to a file, or creates or removes a name.
bool isWritingCall(long number);

} // namespace test

#endif
