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
    /// The user and group to become; nothing when the suite does not run as root.
    std::optional<uid_t> uid = {};
    /// run() only: load the fault points of preload_faults.cpp into the program; the variables that drive
    /// them belong into `environment`.
    bool preload = false;
    int timeoutMs = 10000;
    std::size_t outputLimit = std::size_t{64} << 20;
    /// run() only: the file to execute, when it is not the first argument.
    std::string executable = {};
};

/// The user and group that tests drop to.
constexpr uid_t UnprivilegedId = 65534;

/// Runs `body` in a forked child; what it returns is the exit status. Failed expectations in it become
/// failures of the running test, an exception or a leak (sanitizer build) does, too. A child that lives
/// longer than allowed is killed with all of its own children.
Outcome inChild(const std::function<int()> &body, const ChildOptions &options = {});

/// Executes a program, found along PATH when its name has no "/", with standard input from /dev/null.
/// The status is 127 when it cannot be executed.
Outcome run(const std::vector<std::string> &arguments, const ChildOptions &options = {});

/// Runs `body` in a child that has become an unprivileged user, and makes its failures, or its death, those
/// of the running test. When the suite itself is not run by root, the child stays the same user.
void asUnprivileged(const std::function<void()> &body);

/// Gives up root for UnprivilegedId for good; for bodies that run in a child. Nothing for any other user.
void becomeUnprivileged();

/// Whether the running test has failed so far; in a child, whether its body has.
bool hasFailed();

} // namespace test

#endif
