#ifndef VEK_TESTS_SUPPORT_CHILD_H
#define VEK_TESTS_SUPPORT_CHILD_H

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "tests/support/environment.h"

namespace test {

struct Outcome {
    int status = -1; ///< the exit status, -1 when the child did not exit by itself
    int signal = 0;  ///< the signal that ended it, 0 for none
    bool timedOut = false;
    bool tooMuchOutput = false; ///< it was ended for writing more than `outputLimit` bytes
    std::string out = {};
    std::string err = {};
};

struct ChildOptions {
    /// run() only: the whole environment; a sanitizer build adds its own ASAN_OPTIONS.
    Environment environment = {};
    /// The working directory; "" for the current one.
    std::string directory = {};
    /// The user and group of the child; ignored if the tests do not run as root.
    std::optional<uid_t> uid = {};
    /// run() only: preload the fault points of preload_faults.cpp; their variables belong into `environment`.
    bool preload = false;
    int timeoutMs = 10000;
    std::size_t outputLimit = std::size_t{64} << 20;
    /// run() only: the file to execute, if it is not the first argument.
    std::string executable = {};
};

/// The user and group of unprivileged children.
constexpr uid_t UnprivilegedId = 65534;

/// Runs `body` in a forked child; its result is the exit status. Failed expectations, exceptions and leaks (sanitizer
/// build) in the child are failures of the running test. After the time limit the child is killed with its children.
Outcome inChild(const std::function<int()> &body, const ChildOptions &options = {});

/// Executes a program with standard input from /dev/null. A name without "/" is searched along PATH. The status is 127 if
/// it cannot be executed.
Outcome run(const std::vector<std::string> &arguments, const ChildOptions &options = {});

/// Runs `body` in a child as an unprivileged user. Its failures and an abnormal end are failures of the running test. If
/// the tests do not run as root, the user does not change.
void asUnprivileged(const std::function<void()> &body);

/// Changes permanently from root to UnprivilegedId; to be called in a child. No effect for other users.
void becomeUnprivileged();

/// Whether the running test has failed so far; in a child, whether its body has.
bool hasFailed();

} // namespace test

#endif
