#include "tests/support/child.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/c_list.h"
#include "tests/support/faults.h"
#include "tests/support/real_calls.h"

// Present in a sanitizer build only.
extern "C" int __lsan_do_recoverable_leak_check() __attribute__((weak));
// Present in a build that counts coverage: writes the counts, because _exit() does not.
extern "C" void __gcov_dump() __attribute__((weak));

namespace test {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int CannotExecute = 127;
constexpr int BodyThrew = 125;
constexpr int BodyLeaked = 124;

[[noreturn]] void fail(const char *what) {
    throw std::system_error(errno, std::generic_category(), what);
}

struct Pipe {
    int reader = -1;
    int writer = -1;
    std::string content = {};

    Pipe() {
        std::array<int, 2> ends = {};
        if (pipe2(ends.data(), O_CLOEXEC) != 0) {
            fail("pipe");
        }
        // Above the standard streams, which the caller may have closed.
        reader = fcntl(ends[0], F_DUPFD_CLOEXEC, 3);
        writer = fcntl(ends[1], F_DUPFD_CLOEXEC, 3);
        __real_close(ends[0]);
        __real_close(ends[1]);
        fcntl(reader, F_SETFL, O_NONBLOCK);
    }
    ~Pipe() {
        closeReader();
        closeWriter();
    }
    Pipe(const Pipe &) = delete;
    Pipe &operator=(const Pipe &) = delete;

    void closeReader() { closeEnd(reader); }
    void closeWriter() { closeEnd(writer); }

    // Reads what is available; closes the reader at the end of the stream.
    void drain() {
        std::array<char, 65536> buffer;
        while (reader >= 0) {
            const ssize_t count = __real_read(reader, buffer.data(), buffer.size());
            if (count > 0) {
                content.append(buffer.data(), static_cast<std::size_t>(count));
                if (content.size() >= MostAtOnce) {
                    return;
                }
            } else if (count == 0) {
                closeReader();
            } else if (errno != EINTR) {
                return;
            }
        }
    }

  private:
    static constexpr std::size_t MostAtOnce = std::size_t{1} << 20;

    static void closeEnd(int &end) {
        if (end >= 0) {
            __real_close(end);
        }
        end = -1;
    }
};

void becomeUser(uid_t uid) {
    if (geteuid() != 0) {
        return;
    }
    const auto gid = static_cast<gid_t>(uid);
    if (setgroups(0, nullptr) != 0 || setresgid(gid, gid, gid) != 0 || setresuid(uid, uid, uid) != 0) {
        fail("becoming another user");
    }
    // After a change of the user, the leak check cannot inspect the process without this.
    prctl(PR_SET_DUMPABLE, 1);
}

void enter(const ChildOptions &options) {
    if (!options.directory.empty() && chdir(options.directory.c_str()) != 0) {
        fail(options.directory.c_str());
    }
    if (options.uid) {
        becomeUser(*options.uid);
    }
}

// Set in a child whose body has failed.
bool bodyFailed = false;

// Replaces the test result reporter of the child and sends each failure to the parent immediately, so that none is
// missing if the child ends abnormally: "<line>\0<file>\0<message>\0" each.
class FailureSender : public ::testing::ScopedFakeTestPartResultReporter {
  public:
    explicit FailureSender(int descriptor)
        : ScopedFakeTestPartResultReporter(INTERCEPT_ONLY_CURRENT_THREAD, &unused_), descriptor_(descriptor) {
    }

    void ReportTestPartResult(const ::testing::TestPartResult &result) override {
        if (!result.failed()) {
            return;
        }
        bodyFailed = true;
        send(std::to_string(result.line_number()));
        send(result.file_name() == nullptr ? "" : result.file_name());
        send(result.message());
    }

  private:
    void send(const std::string &field) const {
        const char *at = field.c_str();
        std::size_t left = field.size() + 1;
        while (left > 0) {
            const ssize_t written = __real_write(descriptor_, at, left);
            if (written <= 0) {
                return;
            }
            at += written;
            left -= static_cast<std::size_t>(written);
        }
    }

    ::testing::TestPartResultArray unused_;
    int descriptor_;
};

std::string nextField(const std::string &content, std::size_t &at) {
    const std::size_t end = std::min(content.find('\0', at), content.size());
    std::string field = content.substr(at, end - at);
    at = end + 1;
    return field;
}

void adoptFailures(const std::string &content) {
    for (std::size_t at = 0; at < content.size();) {
        const std::string line = nextField(content, at);
        const std::string file = nextField(content, at);
        const std::string message = nextField(content, at);
        ADD_FAILURE_AT(file.c_str(), std::atoi(line.c_str())) << message;
    }
}

int bodyStatus(const std::function<int()> &body) {
    try {
        return body();
    } catch (const std::exception &error) {
        ADD_FAILURE() << "the child's body threw: " << error.what();
    } catch (...) {
        ADD_FAILURE() << "the child's body threw";
    }
    return BodyThrew;
}

// Under a file size limit, writing the counts would fail or end the child.
bool filesMayGrow() {
    rlimit limit = {};
    return getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur == RLIM_INFINITY;
}

[[noreturn]] void runBody(const std::function<int()> &body, const ChildOptions &options, int failures) {
    const FailureSender sender(failures);
    int status = bodyStatus([&] {
        enter(options);
        return body();
    });
    faults::reset();
    if (__lsan_do_recoverable_leak_check != nullptr && __lsan_do_recoverable_leak_check() != 0) {
        ADD_FAILURE() << "the child leaked memory";
        status = BodyLeaked;
    }
    __real_fflush(nullptr);
    if (__gcov_dump != nullptr && filesMayGrow()) {
        __gcov_dump();
    }
    _exit(status);
}

std::vector<std::string> variablesFor(const ChildOptions &options) {
    std::vector<std::string> variables;
    for (const auto &[name, value] : options.environment) {
        variables.push_back(name + "=" + value);
    }
    if (options.preload) {
        variables.emplace_back("LD_PRELOAD=" VEK_TEST_PRELOAD_FAULTS);
    }
#ifdef VEK_TEST_SANITIZE
    // A separate status: the default of the sanitizers is also the tool's status for failures.
    variables.emplace_back("ASAN_OPTIONS=exitcode=86:verify_asan_link_order=0:allocator_may_return_null=1");
    variables.emplace_back("UBSAN_OPTIONS=print_stacktrace=1");
#endif
    return variables;
}

[[noreturn]] void execute(std::vector<std::string> arguments, const ChildOptions &options) {
    const std::string file = options.executable.empty() ? arguments.front() : options.executable;
    try {
        enter(options);
        const int input = openat(AT_FDCWD, "/dev/null", O_RDONLY);
        dup2(input, STDIN_FILENO);
        execvpe(file.c_str(), CList(std::move(arguments)), CList(variablesFor(options)));
        dprintf(STDERR_FILENO, "cannot execute %s: %s\n", file.c_str(), std::strerror(errno));
    } catch (const std::exception &error) {
        dprintf(STDERR_FILENO, "cannot execute %s: %s\n", file.c_str(), error.what());
    }
    _exit(CannotExecute);
}

struct Pipes {
    Pipe out;
    Pipe err;
    Pipe failures;
};

// Reads from the child until it ends or its time is over.
Outcome follow(pid_t child, Pipes &pipes, const ChildOptions &options) {
    Outcome outcome;
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(options.timeoutMs);
    const int ended = static_cast<int>(syscall(SYS_pidfd_open, child, 0U));
    std::array<pollfd, 4> watched = {{{ended, POLLIN, 0},
                                      {pipes.out.reader, POLLIN, 0},
                                      {pipes.err.reader, POLLIN, 0},
                                      {pipes.failures.reader, POLLIN, 0}}};
    while (watched[0].revents == 0 && !outcome.timedOut && !outcome.tooMuchOutput) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        outcome.timedOut = left <= 0;
        poll(watched.data(), watched.size(), static_cast<int>(std::max<std::int64_t>(left, 0)));
        for (Pipe *const pipe : {&pipes.out, &pipes.err, &pipes.failures}) {
            pipe->drain();
        }
        watched[1].fd = pipes.out.reader;
        watched[2].fd = pipes.err.reader;
        watched[3].fd = pipes.failures.reader;
        outcome.tooMuchOutput = pipes.out.content.size() + pipes.err.content.size() > options.outputLimit;
    }
    __real_close(ended);
    // Kill the remaining processes of the child's group.
    kill(-child, SIGKILL);
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    outcome.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    return outcome;
}

Outcome runChild(const std::function<void(int failures)> &start, const ChildOptions &options) {
    Pipes pipes;
    __real_fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) {
        fail("fork");
    }
    if (child == 0) {
        setpgid(0, 0);
        dup2(pipes.out.writer, STDOUT_FILENO);
        dup2(pipes.err.writer, STDERR_FILENO);
        start(pipes.failures.writer);
        _exit(BodyThrew);
    }
    setpgid(child, child);
    for (Pipe *const pipe : {&pipes.out, &pipes.err, &pipes.failures}) {
        pipe->closeWriter();
    }
    Outcome outcome = follow(child, pipes, options);
    for (Pipe *const pipe : {&pipes.out, &pipes.err, &pipes.failures}) {
        for (std::size_t before = 1; before != pipe->content.size() && !outcome.tooMuchOutput;) {
            before = pipe->content.size();
            pipe->drain();
        }
    }
    outcome.out = std::move(pipes.out.content);
    outcome.err = std::move(pipes.err.content);
    adoptFailures(pipes.failures.content);
    return outcome;
}

} // namespace

Outcome inChild(const std::function<int()> &body, const ChildOptions &options) {
    return runChild([&](int failures) { runBody(body, options, failures); }, options);
}

Outcome run(const std::vector<std::string> &arguments, const ChildOptions &options) {
    return runChild([&](int /*failures*/) { execute(arguments, options); }, options);
}

void asUnprivileged(const std::function<void()> &body) {
    const Outcome outcome = inChild(
        [&] {
            body();
            return 0;
        },
        ChildOptions{.uid = UnprivilegedId, .timeoutMs = 60000});
    const bool ended = outcome.status == 0 || outcome.status == BodyThrew || outcome.status == BodyLeaked;
    if (!ended || outcome.timedOut) {
        ADD_FAILURE() << "the unprivileged child did not end: status " << outcome.status << ", signal "
                      << outcome.signal << (outcome.timedOut ? ", timed out" : "");
    }
    __real_fputs(outcome.out.c_str(), stdout);
    __real_fputs(outcome.err.c_str(), stderr);
}

bool hasFailed() {
    return bodyFailed || ::testing::Test::HasFailure();
}

void becomeUnprivileged() {
    becomeUser(UnprivilegedId);
}

} // namespace test
