#include "tests/robustness/traced_run.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/c_list.h"
#include "tests/support/main_mark.h"
#include "tests/support/real_calls.h"

namespace test {

namespace {

struct Call {
    long number;
    std::string_view name;
    bool writes;
};

constexpr std::array<Call, 39> kCalls = {{
    {SYS_open, "open", false},
    {SYS_openat, "openat", false},
    {SYS_read, "read", false},
    {SYS_pread64, "pread", false},
    {SYS_write, "write", true},
    {SYS_pwrite64, "pwrite", true},
    {SYS_writev, "writev", true},
    {SYS_close, "close", false},
    {SYS_fsync, "fsync", true},
    {SYS_fdatasync, "fdatasync", true},
    {SYS_ftruncate, "ftruncate", true},
    {SYS_fallocate, "fallocate", true},
    {SYS_stat, "stat", false},
    {SYS_lstat, "lstat", false},
    {SYS_fstat, "fstat", false},
    {SYS_newfstatat, "newfstatat", false},
    {SYS_statx, "statx", false},
    {SYS_readlink, "readlink", false},
    {SYS_readlinkat, "readlinkat", false},
    {SYS_getdents64, "getdents", false},
    {SYS_mkdir, "mkdir", true},
    {SYS_mkdirat, "mkdirat", true},
    {SYS_rmdir, "rmdir", true},
    {SYS_rename, "rename", true},
    {SYS_renameat, "renameat", true},
    {SYS_renameat2, "renameat2", true},
    {SYS_unlink, "unlink", true},
    {SYS_unlinkat, "unlinkat", true},
    {SYS_link, "link", true},
    {SYS_symlink, "symlink", true},
    {SYS_chmod, "chmod", true},
    {SYS_fchmod, "fchmod", true},
    {SYS_access, "access", false},
    {SYS_faccessat, "faccessat", false},
    {SYS_faccessat2, "faccessat2", false},
    {SYS_getcwd, "getcwd", false},
    {SYS_lseek, "lseek", false},
    {SYS_fcntl, "fcntl", false},
    {SYS_connect, "connect", false},
}};

const Call *find(long number) {
    const auto *const found = std::find_if(kCalls.begin(), kCalls.end(),
                                           [number](const Call &call) { return call.number == number; });
    return found == kCalls.end() ? nullptr : found;
}

/// An unnamed file that receives a stream of the program.
class Caught {
  public:
    Caught() : file_(memfd_create("caught", MFD_CLOEXEC)) {}
    ~Caught() { __real_close(file_); }
    Caught(const Caught &) = delete;
    Caught &operator=(const Caught &) = delete;

    [[nodiscard]] int get() const { return file_; }
    [[nodiscard]] std::string content() const {
        std::string text(static_cast<std::size_t>(std::max<off_t>(::lseek64(file_, 0, SEEK_END), 0)), '\0');
        const ssize_t size = ::pread64(file_, text.data(), text.size(), 0);
        text.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
        return text;
    }

  private:
    int file_;
};

std::vector<std::string> variablesOf(const Environment &environment) {
    std::vector<std::string> variables = {"LD_PRELOAD=" VEK_TEST_PRELOAD_FAULTS, "VEK_TEST_MARK=1"};
    for (const auto &[name, value] : environment) {
        variables.push_back(name + "=" + value);
    }
#ifdef VEK_TEST_SANITIZE
    // The leak sanitizer does not work under ptrace().
    variables.emplace_back("ASAN_OPTIONS=exitcode=86:verify_asan_link_order=0:detect_leaks=0");
#endif
    return variables;
}

[[noreturn]] void become(char *const *arguments, char *const *variables, const char *directory) {
    const int input = openat(AT_FDCWD, "/dev/null", O_RDONLY | O_CLOEXEC);
    if (dup2(input, STDIN_FILENO) < 0 || chdir(directory) != 0 ||
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
        _exit(126);
    }
    alarm(60);
    execve(arguments[0], arguments, variables);
    _exit(127);
}

/// A process that stops at each of its system calls.
class Tracee {
  public:
    explicit Tracee(pid_t id) : id_(id) {
        waitpid(id_, &state_, 0);
        constexpr long kOptions = PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL;
        if (isAlive() && ptrace(PTRACE_SETOPTIONS, id_, nullptr, kOptions) != 0) {
            throw std::runtime_error("a child cannot be traced");
        }
    }

    [[nodiscard]] bool isAlive() const { return WIFSTOPPED(state_); }
    [[nodiscard]] int state() const { return state_; }

    /// Continues to the beginning or the end of the next system call.
    void toNextStop() {
        do {
            const bool atCall = WSTOPSIG(state_) == (SIGTRAP | 0x80);
            const long signal = atCall || WSTOPSIG(state_) == SIGTRAP ? 0 : WSTOPSIG(state_);
            ptrace(PTRACE_SYSCALL, id_, nullptr, signal);
            waitpid(id_, &state_, 0);
        } while (isAlive() && WSTOPSIG(state_) != (SIGTRAP | 0x80));
    }

    [[nodiscard]] user_regs_struct registers() const {
        user_regs_struct registers = {};
        ptrace(PTRACE_GETREGS, id_, nullptr, &registers);
        return registers;
    }
    void setRegisters(user_regs_struct registers) const { ptrace(PTRACE_SETREGS, id_, nullptr, &registers); }

    /// Continues to its end without stopping.
    void letGo() {
        ptrace(PTRACE_DETACH, id_, nullptr, nullptr);
        waitpid(id_, &state_, 0);
    }

    void end() {
        kill(id_, SIGKILL);
        do {
            waitpid(id_, &state_, 0);
        } while (isAlive());
    }

  private:
    pid_t id_;
    int state_ = 0;
};

/// Applies the intervention at the beginning of a call and continues to the end of the call.
void intervene(Tracee &tracee, user_regs_struct registers, const Intervention &intervention) {
    const auto number = static_cast<long>(registers.orig_rax);
    switch (intervention.kind) {
    case Intervention::Kind::Kill:
        tracee.end();
        return;
    case Intervention::Kind::Fail:
        if (number != SYS_close) {
            registers.orig_rax = static_cast<unsigned long long>(-1);
            tracee.setRegisters(registers);
        }
        tracee.toNextStop();
        if (tracee.isAlive()) {
            registers = tracee.registers();
            registers.rax = static_cast<unsigned long long>(-static_cast<long long>(intervention.error));
            tracee.setRegisters(registers);
        }
        return;
    case Intervention::Kind::None:
        return;
    }
}

void follow(Tracee &tracee, const Intervention &intervention, TracedRun &run) {
    bool inMain = false;
    for (tracee.toNextStop(); tracee.isAlive(); tracee.toNextStop()) {
        const user_regs_struct registers = tracee.registers();
        const auto number = static_cast<long>(registers.orig_rax);
        if (!inMain) {
            inMain = number == SYS_getpgid && registers.rdi == VEK_TEST_MARK_ID;
        } else if (number == SYS_getpgid && registers.rdi == VEK_TEST_END_MARK_ID) {
            tracee.letGo();
            return;
        } else if (find(number) != nullptr) {
            const bool isIt =
                intervention.kind != Intervention::Kind::None && run.calls.size() == intervention.at;
            run.calls.push_back(number);
            if (isIt) {
                run.reached = true;
                intervene(tracee, registers, intervention);
                if (!tracee.isAlive()) {
                    return;
                }
                if (intervention.kind == Intervention::Kind::Fail) {
                    continue; // already at the end of the call
                }
            }
        }
        tracee.toNextStop();
        if (!tracee.isAlive()) {
            return;
        }
    }
}

} // namespace

TracedRun runTraced(const std::vector<std::string> &arguments, const Environment &environment,
                    const std::string &directory, const Intervention &intervention) {
    CList argumentList(arguments);
    CList variables(variablesOf(environment));
    const Caught out;
    const Caught err;
    __real_fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) {
        throw std::runtime_error("no child");
    }
    if (child == 0) {
        dup2(out.get(), STDOUT_FILENO);
        dup2(err.get(), STDERR_FILENO);
        become(argumentList, variables, directory.c_str());
    }
    TracedRun run;
    Tracee tracee(child);
    follow(tracee, intervention, run);
    run.status = WIFEXITED(tracee.state()) ? WEXITSTATUS(tracee.state()) : -1;
    run.signal = WIFSIGNALED(tracee.state()) ? WTERMSIG(tracee.state()) : 0;
    run.timedOut = run.signal == SIGALRM;
    run.out = out.content();
    run.err = err.content();
    return run;
}

std::string_view callName(long number) {
    const Call *const call = find(number);
    return call == nullptr ? "?" : call->name;
}

bool isWritingCall(long number) {
    const Call *const call = find(number);
    return call != nullptr && call->writes;
}

} // namespace test
