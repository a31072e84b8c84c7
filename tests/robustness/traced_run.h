#ifndef TESTS_ROBUSTNESS_TRACED_RUN_H
#define TESTS_ROBUSTNESS_TRACED_RUN_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/environment.h"

namespace test {

/// What is done to a program at one of its system calls.
struct Intervention {
    enum class Kind {
        None,
        Fail, ///< the call fails with `error`; a failing close() closes all the same
        Kill, ///< the process is killed before the call
    };
    Kind kind = Kind::None;
    std::size_t at = 0; ///< the index of the call
    int error = 0;
};

/// How a run went. Its calls count from the beginning of main() until it has ended and its streams are flushed,
/// and only those that reach for files.
struct TracedRun {
    int status = -1;
    int signal = 0;
    bool timedOut = false;
    std::string out = {};
    std::string err = {};
    std::vector<long> calls = {};
    bool reached = false; ///< whether it came to the intervention
};

/// Runs a program under trace, below the C library: the calls behind streams and directories are seen, too.
/// Standard input is /dev/null. A run that takes longer than a minute is ended.
TracedRun runTraced(const std::vector<std::string> &arguments, const Environment &environment,
                    const std::string &directory, const Intervention &intervention = {});

/// The name of a call in TracedRun::calls.
std::string_view callName(long number);

/// Whether the call writes to a file, or makes a name for one or takes it away.
bool isWritingCall(long number);

} // namespace test

#endif
