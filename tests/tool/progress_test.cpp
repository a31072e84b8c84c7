#include "tests/support/passthrough_filesystem.h"

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
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>

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

/// A project of two libraries, the second of which cannot be read until `source`/two/sub/.block is removed.
void makeProject(const std::string &source) {
    std::ofstream(source + "/vek.lib") << "DEFINE one one\nDEFINE two two\n";
    for (const std::string library : {"one", "two"}) {
        mkdir((source + "/" + library).c_str(), 0755);
        mkdir((source + "/" + library + "/sub").c_str(), 0755);
        const std::ofstream tagFile(source + "/" + library + "/sub/vekinfo.tag");
    }
    const std::ofstream block(source + "/two/sub/.block");
}

std::string reportOf(const std::string &directory, const std::string &name) {
    return "There is a redundant vekinfo.tag file in the subdir: \n\t" + directory + "/" + name + "/sub\n";
}

class ProgressOfAction : public testing::TestWithParam<const char *> {};

TEST_P(ProgressOfAction, AppearsAfterTwoSecondsAndErasesItself) {
    test::onPassthroughFilesystem(
        {"--blockable", "1"}, [](const std::string &directory, const std::string &source) {
            makeProject(source);
            const std::string both = reportOf(directory, "one") + reportOf(directory, "two");
            const std::string line = kErase + "1 of 2 libraries done, now two";

            TerminalRun run(
                directory, [] {}, GetParam());
            EXPECT_NE(run.readUntil(line, 20'000).find(line), std::string::npos);
            unlink((source + "/two/sub/.block").c_str());
            const std::string text = run.readToEnd();
            EXPECT_EQ(screen(text), both) << testing::PrintToString(text);
        });
}

INSTANTIATE_TEST_SUITE_P(Actions, ProgressOfAction, testing::Values("-checklibrary", "-configurelibrary"));

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

} // namespace
