#include "tool/progress.h"

#include "tests/support/child.h"
#include "tests/support/faults.h"
#include "tests/support/limits.h"
#include "tests/support/passthrough_filesystem.h"
#include "tests/tagfile/tag_support.h"
#include "tests/tool/check_support.h"
#include "tool/vekinfo_check.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <ostream>
#include <string>

namespace {

int refusedStream = 0; ///< the next call of fopencookie(), counted from 1, that fails; 0 for none

} // namespace

extern "C" {

FILE *__real_fopencookie(void *cookie, const char *mode, cookie_io_functions_t functions);

FILE *__wrap_fopencookie(void *cookie, const char *mode, cookie_io_functions_t functions) {
    const bool isRefused = refusedStream == 1;
    refusedStream -= refusedStream > 0 ? 1 : 0;
    return isRefused ? nullptr : __real_fopencookie(cookie, mode, functions);
}
}

namespace {

const std::string kErase = "\r\033[K";

/// `vekinfo -checklibrary`, or another action, with a pseudo-terminal.
class TerminalRun {
  public:
    /// @param setUp  called in the child before the tool is executed, with the terminal as the standard descriptors
    TerminalRun(const std::string &directory, const std::function<void()> &setUp,
                const char *action = "-checklibrary") {
        const winsize size = {.ws_row = 24, .ws_col = 60, .ws_xpixel = 0, .ws_ypixel = 0};
        id_ = forkpty(&terminal_, nullptr, nullptr, &size);
        if (id_ == 0) {
            setenv("TERM", "xterm", 1);
            setenv("PATH", "/usr/bin:/bin", 1);
            setUp();
            if (chdir(directory.c_str()) == 0) {
                execl(VEK_TEST_VEKINFO, "vekinfo", action, nullptr);
            }
            _exit(127);
        }
    }
    TerminalRun(const TerminalRun &) = delete;
    TerminalRun &operator=(const TerminalRun &) = delete;
    ~TerminalRun() {
        kill(id_, SIGKILL);
        int status = 0;
        waitpid(id_, &status, 0);
        close(terminal_);
    }

    /// Reads what the tool writes to the terminal until `text` has arrived or `ms` milliseconds have passed.
    /// @return all output so far
    const std::string &readUntil(const std::string &text, int ms) {
        for (int waited = 0; waited < ms && seen_.find(text) == std::string::npos; waited += 50) {
            readFor(50);
        }
        return seen_;
    }

    /// @return all output when the tool has ended
    const std::string &readToEnd() {
        for (int waited = 0; waited < 20'000 && readFor(50); waited += 50) {
        }
        return seen_;
    }

  private:
    /// @return false at the end
    bool readFor(int ms) {
        pollfd waiting = {terminal_, POLLIN, 0};
        if (poll(&waiting, 1, ms) != 1) {
            return true;
        }
        std::array<char, 4096> part;
        const ssize_t count = read(terminal_, part.data(), part.size());
        if (count <= 0) {
            return false;
        }
        seen_.append(part.data(), static_cast<std::size_t>(count));
        return true;
    }

    int terminal_ = -1;
    pid_t id_ = 0;
    std::string seen_;
};

/// Returns the lines that remain on the terminal after `text` was written to it: erased lines are missing.
std::string screen(const std::string &text) {
    std::string lines;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text.compare(at, kErase.size(), kErase) == 0) {
            lines.erase(lines.rfind('\n') + 1);
            at += kErase.size() - 1;
        } else if (text[at] != '\r') {
            lines += text[at];
        }
    }
    return lines;
}

/// A project of the libraries "one" and `second`. The second one cannot be read until `source`/SECOND/sub/.block is removed.
void makeProject(const std::string &source, const std::string &second = "two") {
    std::ofstream(source + "/vek.lib") << "DEFINE one one\nDEFINE " << second << " " << second << "\n";
    for (const std::string &library : {std::string("one"), second}) {
        mkdir((source + "/" + library).c_str(), 0755);
        mkdir((source + "/" + library + "/sub").c_str(), 0755);
        const std::ofstream tagFile(source + "/" + library + "/sub/vekinfo.tag");
    }
    const std::ofstream block(source + "/" + second + "/sub/.block");
}

std::string reportOf(const std::string &directory, const std::string &name) {
    return "There is a redundant vekinfo.tag file in the subdir: \n\t" + directory + "/" + name + "/sub\n";
}

/// An action that takes long for its second library.
struct SlowAction {
    const char *action;
    std::string library;
    bool printsError; ///< what is found in the library is printed to standard error
};

std::ostream &operator<<(std::ostream &out, const SlowAction &action) {
    return out << action.action << ", " << action.library;
}

class ProgressOfAction : public testing::TestWithParam<SlowAction> {};

TEST_P(ProgressOfAction, AppearsAfterTwoSecondsAndErasesItself) {
    test::onPassthroughFilesystem({"--blockable", "1"}, [](const std::string &directory,
                                                           const std::string &source) {
        const auto &[action, library, printsError] = GetParam();
        makeProject(source, library);
        const std::string below = "/" + library + "/sub";
        std::string found = reportOf(directory, library);
        if (printsError) {
            unlink((source + below + "/vekinfo.tag").c_str());
            EXPECT_EQ(0, symlink("..", (source + below + "/cycle").c_str()));
            found =
                "Error (tov): 'invalid path' there seems to be a linkloop : " + directory + below + ".\n\n";
        }
        // The terminal has 60 columns. The last one is not used.
        const std::string line = kErase + ("1 of 2 libraries done, now " + library).substr(0, 59);

        TerminalRun run(
            directory, [] {}, action);
        EXPECT_NE(run.readUntil(line, 20'000).find(line), std::string::npos);
        unlink((source + below + "/.block").c_str());
        const std::string text = run.readToEnd();
        EXPECT_NE(text.find(line + kErase), std::string::npos) << testing::PrintToString(text);
        EXPECT_EQ(screen(text), reportOf(directory, "one") + found) << testing::PrintToString(text);
    });
}

INSTANTIATE_TEST_SUITE_P(Actions, ProgressOfAction,
                         testing::Values(SlowAction{"-checklibrary", "two", true},
                                         SlowAction{"-configurelibrary", "two" + std::string(40, 'x'),
                                                    false}));

TEST(ProgressOnTerminal, IsNotWrittenToPipesFilesOrDumbTerminals) {
    test::onPassthroughFilesystem(
        {"--blockable", "1"}, [](const std::string &directory, const std::string &source) {
            makeProject(source);
            const std::string file = source + "/output";
            const auto redirect = [file](int descriptor) {
                dup2(open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644), descriptor);
            };
            TerminalRun dumb(directory, [] { setenv("TERM", "dumb", 1); });
            TerminalRun unset(directory, [] { unsetenv("TERM"); });
            TerminalRun empty(directory, [] { setenv("TERM", "", 1); });
            TerminalRun errorInFile(directory, [redirect] { redirect(STDERR_FILENO); });
            TerminalRun outputInPipe(directory, [] {
                int ends[2];
                static_cast<void>(!pipe(ends)); // the reading end stays open, too
                dup2(ends[1], STDOUT_FILENO);
            });
            TerminalRun outputInFile(directory, [redirect] { redirect(STDOUT_FILENO); });
            // When the last one, which differs only in its output, shows its line, the others would show theirs.
            EXPECT_NE(outputInFile.readUntil("two", 20'000).find(kErase + "1 of 2"), std::string::npos);
            usleep(500'000);
            unlink((source + "/two/sub/.block").c_str());

            const std::string both = reportOf(directory, "one") + reportOf(directory, "two");
            for (TerminalRun *run : {&dumb, &unset, &empty, &errorInFile}) {
                const std::string text = run->readToEnd();
                EXPECT_EQ(text.find('\033'), std::string::npos) << testing::PrintToString(text);
                EXPECT_EQ(screen(text), both);
            }
            EXPECT_EQ(outputInPipe.readToEnd(), "");
            EXPECT_EQ(screen(outputInFile.readToEnd()), "");
            std::ifstream stream(file);
            EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), both)
                << "only the run with standard output in it";
        });
}

// ---- without memory or threads

/// A pseudo-terminal that is standard output and standard error of this process while in scope.
class OnTerminal {
  public:
    OnTerminal() {
        std::fflush(stdout);
        int inner = -1;
        EXPECT_EQ(0, openpty(&terminal_, &inner, nullptr, nullptr, nullptr));
        dup2(inner, STDOUT_FILENO);
        dup2(inner, STDERR_FILENO);
        close(inner);
        setenv("TERM", "xterm", 1);
    }
    ~OnTerminal() {
        std::fflush(stdout);
        dup2(output_, STDOUT_FILENO);
        dup2(error_, STDERR_FILENO);
        for (const int each : {output_, error_, terminal_}) {
            close(each);
        }
    }
    OnTerminal(const OnTerminal &) = delete;
    OnTerminal &operator=(const OnTerminal &) = delete;

    /// @return what has been written to the terminal, with a newline instead of each CR and LF
    [[nodiscard]] std::string text() const {
        std::fflush(stdout);
        constexpr char kEnd = '\f';
        EXPECT_EQ(1, write(STDOUT_FILENO, &kEnd, 1));
        std::string text;
        for (char byte = 0; read(terminal_, &byte, 1) == 1 && byte != kEnd;) {
            text += byte == '\r' ? "" : std::string(1, byte);
        }
        return text;
    }

  private:
    int output_ = dup(STDOUT_FILENO);
    int error_ = dup(STDERR_FILENO);
    int terminal_ = -1;
};

/// What a Progress object does. All is false if it does nothing.
struct Effect {
    bool isShown = false;
    bool replacesOutput = false;
    bool replacesError = false;

    bool operator==(const Effect &) const = default;
};
std::ostream &operator<<(std::ostream &out, const Effect &effect) {
    return out << effect.isShown << effect.replacesOutput << effect.replacesError;
}

/// @return the effect of an object on a terminal that is constructed after a call of `arm`
Effect effectAfter(const std::function<void()> &arm) {
    const OnTerminal terminal;
    FILE *const output = stdout;
    FILE *const error = stderr;
    arm();
    Effect effect;
    {
        const vekinfo::Progress progress;
        test::faults::reset();
        refusedStream = 0;
        effect = {progress.isShown(), stdout != output, stderr != error};
    }
    EXPECT_EQ(output, stdout);
    EXPECT_EQ(error, stderr);
    return effect;
}

TEST(Progress, DoesNothingWithoutMemory) {
    EXPECT_EQ((Effect{true, true, true}), effectAfter([] {}));
    EXPECT_EQ(Effect{}, effectAfter([] { test::faults::failAllocation(1); }));
    for (const int stream : {1, 2}) { // for standard error, and for standard output
        EXPECT_EQ(Effect{}, effectAfter([stream] { refusedStream = stream; })) << stream;
    }
}

TEST(Progress, DoesNothingWithoutThreads) {
    test::asUnprivileged([] {
        const Effect usual = {true, true, true};
        const test::NoThreads limited;
        EXPECT_EQ(geteuid() == 0 ? usual : Effect{}, effectAfter([] {}));
    });
}

class ProgressOfCheck : public test::TagTest {};

TEST_F(ProgressOfCheck, WithoutMemoryTheCheckEndsOrPrintsTheSame) {
    makeProject(box.path());
    const std::string usual = reportOf(box.path(), "one") + reportOf(box.path(), "two");
    int failures = 0;
    for (int nth = 0; nth <= 150; ++nth) { // 0: none fails
        tovResetCache();
        std::string text;
        int result = TOV_OK;
        {
            const OnTerminal terminal;
            test::faults::failAllocation(nth);
            result = vekinfo::checkLibraries(box.path("vek.lib").c_str(), 0, {});
            test::faults::reset();
            text = terminal.text();
        }
        test::releaseRegistry();
        const bool isReported =
            result != TOV_OK || !reports.take().empty() || text.find("Memory error") != std::string::npos;
        EXPECT_TRUE(text == usual || isReported) << nth << ": " << result << "\n" << text;
        EXPECT_TRUE(text == usual || nth > 0) << text;
        failures += isReported ? 1 : 0;
    }
    EXPECT_GT(failures, 10);
    EXPECT_LT(failures, 140);
}

} // namespace
