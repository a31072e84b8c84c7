// The check of many libraries with worker threads: the same output as without, signals, and directories that are shared.

#include "common/platform/vek_path.h"
#include "libdef/ryn.h"
#include "search/pux.h"
#include "tests/support/capture.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"
#include "tests/support/limits.h"
#include "tests/support/passthrough_filesystem.h"
#include "tests/tagfile/tag_support.h"
#include "tests/tool/check_support.h"
#include "tests/tool/probe_support.h"
#include "tool/read_ahead.h"
#include "tool/vekinfo_args.h"
#include "tool/vekinfo_check.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using test::awaitProbeFiles;
using test::probeFilesBelow;
using test::TagReports;
using vekinfo::WorkerSettings;

constexpr const char *kUnix = "VEKLIBRARY\nNAMESPACE LibraryUnix\n";
constexpr const char *kNt = "VEKLIBRARY\nNAMESPACE LibraryNT\n";

/// Settings that start no worker.
WorkerSettings withoutWorkers() {
    return {.slowNs = INT64_MAX, .directoriesBefore = SIZE_MAX};
}

/// Settings that start workers as soon as possible, as on a slow file system.
WorkerSettings workersAtOnce(std::size_t workers) {
    return {.fastWorkers = workers, .slowWorkers = workers, .slowNs = 0, .slowBefore = 0};
}

/// What one check prints, and its result.
struct Checked {
    int result;
    std::string out;
    std::string err;
    TagReports reports;

    bool operator==(const Checked &) const = default;
};
std::ostream &operator<<(std::ostream &out, const Checked &checked) {
    return out << checked.result << "\nout: " << checked.out << "\nerr: " << checked.err
               << "\nreports: " << testing::PrintToString(checked.reports);
}

class LibrariesAhead : public test::TagTest {
  protected:
    void SetUp() override {
        test::TagTest::SetUp();
        verboseFlag = 1;
        rynSetPathNoneExistWarnFlag(0);
    }
    void TearDown() override {
        release();
        verboseFlag = 0;
        puxReleaseHandle(nullptr);
        test::TagTest::TearDown();
    }
    static void release() {
        test::releaseRegistry();
        tovResetCache();
    }

    Checked check(const std::string &definitions, const WorkerSettings &settings, int configure = 0) {
        release();
        test::Capture capture;
        const int result = vekinfo::checkLibraries(definitions.c_str(), configure, settings);
        std::fflush(stdout);
        return {result, capture.out(), capture.err(), reports.take()};
    }

    /// `count` libraries with the tag text `tag`, each with a redundant tag file below it.
    std::string makeLibraries(int count, const std::string &tag) {
        std::string definitions;
        for (int i = 0; i < count; ++i) {
            const std::string name = "l" + std::to_string(i);
            box.file(name + "/vekinfo.tag", tag).file(name + "/cell/view/vekinfo.tag", "");
            definitions += "DEFINE " + name + " " + name + "\n";
        }
        box.file("vek.lib", definitions);
        return box.path("vek.lib");
    }

    /// A random site: libraries that share directories, are in each other or missing, links between them, cycles, tag
    /// files with errors, and files and directories without permissions. @return the path of its definition file
    static std::string makeRandomSite(test::Sandbox &box, std::mt19937 &random) {
        const auto below = [&random](std::size_t limit) { return random() % limit; };
        const std::vector<std::string> tags = {
            "", "VEKLIBRARY\n", kUnix, kNt, kNt, "VEKLIBRARY x\n", "NAMESPACE LibraryNT\n"};
        std::vector<std::string> directories = {"a", "b", "c"};
        for (std::size_t i = 0, count = 5 + below(30); i < count; ++i) {
            const bool isTagName = below(20) == 0;
            directories.push_back(directories[below(directories.size())] + "/" +
                                  (isTagName ? "vekinfo.tag" : "d" + std::to_string(i)));
        }
        for (const std::string &directory : directories) {
            box.directory(directory, 0777);
        }
        for (const std::string &directory : directories) {
            if (below(3) > 0 && !box.exists(directory + "/vekinfo.tag")) {
                box.file(directory + "/vekinfo.tag", tags[below(tags.size())], below(12) == 0 ? 0 : 0644);
            }
        }
        for (std::size_t i = 0, count = below(8); i < count; ++i) {
            const std::string target = directories[below(directories.size())];
            const std::vector<std::string> targets = {box.path(target), "..", ".", "/none",
                                                      box.path(target) + "/.."};
            box.link(directories[below(directories.size())] + "/link" + std::to_string(i),
                     targets[below(targets.size())]);
        }
        std::string definitions;
        for (std::size_t i = 0, count = 4 + below(20); i < count; ++i) {
            const std::string directory =
                below(10) == 0 ? "missing" + std::to_string(i) : directories[below(directories.size())];
            definitions += "DEFINE l" + std::to_string(i) + " " + directory + "\n";
        }
        box.file("vek.lib", definitions);
        for (std::size_t i = 0, count = below(4); i < count; ++i) {
            const std::vector<mode_t> modes = {0, 0111, 0444, 0555};
            box.directory(directories[below(directories.size())], modes[below(modes.size())]);
        }
        return box.path("vek.lib");
    }
};

// ---- the same output as without workers

TEST_F(LibrariesAhead, WorkersDoNotChangeTheOutputOfRandomSites) {
    for (unsigned seed = 1; seed <= 25; ++seed) {
        std::mt19937 random(seed);
        test::Sandbox site;
        const std::string definitions = makeRandomSite(site, random);
        test::asUnprivileged([this, seed, &definitions, root = site.path()] {
            const Checked expected = check(definitions, withoutWorkers());
            EXPECT_NE("", expected.out + expected.err);
            for (const std::size_t workers : {1U, 2U, 5U, 32U}) {
                EXPECT_EQ(expected, check(definitions, workersAtOnce(workers)))
                    << seed << ", workers: " << workers;
            }
            EXPECT_EQ(0, probeFilesBelow(root)) << seed;
        });
        if (HasFailure()) {
            break;
        }
    }
}

TEST_F(LibrariesAhead, SmallLimitsDoNotChangeTheOutput) {
    const std::string definitions = makeLibraries(30, kNt);
    const Checked expected = check(definitions, withoutWorkers());
    for (const std::size_t most : {1U, 2U, 5U}) {
        WorkerSettings settings = workersAtOnce(4);
        settings.mostLibraries = most;
        EXPECT_EQ(expected, check(definitions, settings)) << most;
        settings = workersAtOnce(4);
        settings.mostDirectories = most;
        EXPECT_EQ(expected, check(definitions, settings)) << most;
        settings = workersAtOnce(4);
        settings.mostBytes = most;
        EXPECT_EQ(expected, check(definitions, settings)) << most;
    }
}

TEST_F(LibrariesAhead, WithoutThreadsTheOutputIsTheSame) {
    for (const std::string tag : {kNt, "VEKLIBRARY\n"}) { // the second one requires no probe
        const std::string definitions = makeLibraries(10, tag);
        for (int i = 0; i < 10; ++i) {
            box.directory("l" + std::to_string(i), 0777);
        }
        test::asUnprivileged([this, &definitions] {
            const Checked expected = check(definitions, withoutWorkers());
            const test::NoThreads limited;
            EXPECT_EQ(expected, check(definitions, workersAtOnce(8)));
        });
    }
}

TEST_F(LibrariesAhead, LibrariesBehindADescriptorOfTheMainThreadAreRead) {
    makeLibraries(10, kNt);
    const int descriptor = open(box.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    std::string definitions;
    for (int i = 0; i < 10; ++i) {
        const std::string name = "l" + std::to_string(i);
        definitions +=
            "DEFINE " + name + " /proc/thread-self/fd/" + std::to_string(descriptor) + "/" + name + "\n";
    }
    box.file("vek.lib", definitions);
    const Checked expected = check(box.path("vek.lib"), withoutWorkers());
    EXPECT_NE(std::string::npos, expected.out.find("incorrect namespace"));
    EXPECT_EQ(expected, check(box.path("vek.lib"), workersAtOnce(4)));
    EXPECT_EQ(0, close(descriptor));
}

TEST_F(LibrariesAhead, AnnouncedLibrariesNeedNotBeChecked) {
    makeLibraries(5, kNt);
    vekinfo::ReadAhead readAhead(workersAtOnce(2));
    for (const std::string name : {"l0", "l1", "l2"}) {
        EXPECT_TRUE(
            readAhead.announceLibrary(box.path(name).c_str(), box.path(name + "/vekinfo.tag").c_str()));
    }
    readAhead.endLibrary(box.path("l0").c_str());
}

TEST_F(LibrariesAhead, ALibraryWithoutAPathEndsTheCheck) {
    makeLibraries(10, kNt);
    const std::string tooLong(4095 - box.path().size() - 1,
                              'x'); // there is no room for the name of a file in it
    box.file("vek.lib", box.read("vek.lib") + "DEFINE bad " + tooLong + "\nDEFINE next other\n");
    const Checked expected = check(box.path("vek.lib"), withoutWorkers());
    EXPECT_EQ(1, expected.result);
    EXPECT_NE(std::string::npos, expected.out.find("The library l9 "));
    EXPECT_EQ("WARNING: Problem found in rynGetPath: Invalid path\n", expected.err);
    for (const std::size_t workers : {1U, 4U}) {
        EXPECT_EQ(expected, check(box.path("vek.lib"), workersAtOnce(workers)));
    }
}

TEST_F(LibrariesAhead, ExhaustedMemoryChangesNothingOrIsReported) {
    const std::string definitions = makeLibraries(6, kUnix); // a probe that fails prints nothing
    const Checked expected = check(definitions, withoutWorkers());
    int failures = 0;
    for (int nth = 1; nth <= 300; ++nth) {
        release();
        test::Capture capture;
        test::faults::failAllocation(nth);
        const int result = vekinfo::checkLibraries(definitions.c_str(), 0, workersAtOnce(2));
        test::faults::reset();
        std::fflush(stdout);
        const Checked checked = {result, capture.out(), capture.err(), reports.take()};
        const bool isReported = result != TOV_OK || !checked.err.empty() || !checked.reports.empty();
        EXPECT_TRUE(checked == expected || isReported) << nth << ": " << checked;
        failures += checked == expected ? 0 : 1;
    }
    EXPECT_GT(failures, 10);
}

TEST_F(LibrariesAhead, LibrariesInOneDirectoryAreAllProbed) {
    box.file("a/vekinfo.tag", kNt).link("b", "a").link("c", box.path("a"));
    std::string definitions;
    for (int i = 0; i < 12; ++i) {
        definitions += "DEFINE l" + std::to_string(i) + " " + "abc"[i % 3] + "\n";
    }
    box.file("vek.lib", definitions);
    const Checked expected = check(box.path("vek.lib"), withoutWorkers());
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(expected, check(box.path("vek.lib"), workersAtOnce(12)));
    }
}

TEST_F(LibrariesAhead, ConfiguringReadsALibraryAfterTheEarlierOnesAreWritten) {
    box.directory("a/b");
    std::string definitions;
    std::string before; // the output for libraries whose readings let the workers start
    for (const char *name : {"p0", "p1", "p2", "p3"}) {
        box.file(std::string(name) + "/vekinfo.tag", "VEKLIBRARY\n").directory(std::string(name) + "/c/v");
        definitions += std::string("DEFINE ") + name + " " + name + "\n";
        before +=
            std::string("The library ") + name + " at " + box.path(name) + " has a vekinfo.tag definition.\n";
    }
    for (int i = 0; i < 8; ++i) {
        definitions += "DEFINE l" + std::to_string(i) + (i % 2 == 0 ? " a\n" : " a/b\n");
    }
    box.file("vek.lib", definitions);
    const Checked checked = check(box.path("vek.lib"), workersAtOnce(8), 1);
    const std::string redundant =
        "There is a redundant vekinfo.tag file in the subdir: \n\t" + box.path("a/b") + "\n";
    const auto configured = [this](int number, const std::string &directory) {
        return "Library:l" + std::to_string(number) + " at:" + box.path(directory) +
               " had no VEKLIBRARY vekinfo.tag entry.\n";
    };
    const auto defined = [this](int number, const std::string &directory) {
        return "The library l" + std::to_string(number) + " at " + box.path(directory) +
               " has a vekinfo.tag definition.\n";
    };
    EXPECT_EQ(before + configured(0, "a") + configured(1, "a/b") + defined(2, "a") + redundant +
                  defined(3, "a/b") + defined(4, "a") + redundant + defined(5, "a/b") + defined(6, "a") +
                  redundant + defined(7, "a/b"),
              checked.out);
}

TEST_F(LibrariesAhead, DirectoriesMayVanishDuringTheCheck) {
    const std::string definitions = makeLibraries(20, kUnix);
    std::atomic<bool> isDone = false;
    std::thread remover([&] {
        while (!isDone) {
            rename(box.path("l10").c_str(), box.path("gone").c_str());
            rename(box.path("gone").c_str(), box.path("l10").c_str());
        }
    });
    for (int i = 0; i < 30; ++i) {
        const Checked checked = check(definitions, workersAtOnce(8));
        EXPECT_EQ(TOV_OK, checked.result);
        EXPECT_NE(std::string::npos, checked.out.find("The library l19 "));
    }
    isDone = true;
    remover.join();
}

// ---- probes

/// The tool, which checks the libraries of the `vek.lib` in a directory.
class RunningTool {
  public:
    /// @param ignored    a signal that is ignored at the start; 0 for none
    /// @param namespaces CLONE_NEWPID for a new PID namespace, of which the tool is the first process
    /// @param action     the action of the tool
    explicit RunningTool(const std::string &directory, int ignored = 0, int namespaces = 0,
                         const char *action = "-checklibrary") {
        int ends[2] = {-1, -1};
        EXPECT_EQ(0, pipe2(ends, O_CLOEXEC));
        id_ = static_cast<pid_t>(syscall(SYS_clone, SIGCHLD | namespaces, nullptr)); // a fork()
        if (id_ == 0) {
            for (const int each : {SIGHUP, SIGINT, SIGTERM, SIGPIPE}) {
                std::signal(each, each == ignored ? SIG_IGN : SIG_DFL);
            }
            dup2(ends[1], STDOUT_FILENO);
            if (chdir(directory.c_str()) == 0) {
                execl(VEK_TEST_VEKINFO, VEK_TEST_VEKINFO, "-verbose", action, nullptr);
            }
            _exit(127);
        }
        close(ends[1]);
        output_ = ends[0];
    }
    RunningTool(const RunningTool &) = delete;
    RunningTool &operator=(const RunningTool &) = delete;
    ~RunningTool() {
        closeOutput();
        if (id_ > 0) {
            kill(id_, SIGKILL);
            waitpid(id_, nullptr, 0);
        }
    }

    void send(int signal) const { kill(id_, signal); }
    void closeOutput() {
        if (output_ >= 0) {
            close(output_);
            output_ = -1;
        }
    }

    /// Reads `size` bytes. Returns earlier if nothing arrives for 20 seconds.
    [[nodiscard]] std::string read(std::size_t size) const {
        std::string text;
        pollfd waiting = {output_, POLLIN, 0};
        while (text.size() < size && poll(&waiting, 1, 20'000) == 1) {
            std::string part(size - text.size(), '\0');
            const ssize_t count = ::read(output_, part.data(), part.size());
            if (count <= 0) {
                break;
            }
            text.append(part, 0, static_cast<std::size_t>(count));
        }
        return text;
    }

    /// @return the wait status
    int wait() {
        int status = -1;
        EXPECT_EQ(id_, waitpid(id_, &status, 0));
        id_ = -1;
        return status;
    }

  private:
    pid_t id_ = -1;
    int output_ = -1;
};

/// Creates `count` libraries below `source`, without the delays of the slow file system.
void makeSlowLibraries(const std::string &source, int count, const std::string &tag) {
    std::ofstream definitions(source + "/vek.lib");
    for (int i = 0; i < count; ++i) {
        const std::string name = "l" + std::to_string(i);
        mkdir((source + "/" + name).c_str(), 0755);
        std::ofstream(source + "/" + name + "/vekinfo.tag") << tag;
        definitions << "DEFINE " << name << " " << name << "\n";
    }
}

TEST_F(LibrariesAhead, FewDescriptorsDoNotChangeTheOutput) {
    // On a slow file system, so that workers hold their descriptors when the main thread needs some.
    test::onPassthroughFilesystem({"--delay-us", "300"}, [this](const std::string &directory,
                                                                const std::string &source) {
        makeSlowLibraries(source, 16, kNt);
        const std::string definitions = directory + "/vek.lib";
        const Checked expected = check(definitions, withoutWorkers());
        EXPECT_NE(std::string::npos, expected.out.find("incorrect namespace"));
        release();
        WorkerSettings settings = workersAtOnce(32);
        for (const bool isShared : {false, true}) {
            settings.sharesDescriptors = isShared;
            for (const int free : {16, 4, 3}) { // three: as many as one probe needs
                const test::Outcome outcome = test::inChild([this, &definitions, &expected, &settings, free] {
                    test::Capture capture; // its descriptors are open before the others are used up
                    int result = -1;
                    {
                        const test::FewDescriptors limited(free);
                        result = vekinfo::checkLibraries(definitions.c_str(), 0, settings);
                        std::fflush(stdout);
                    }
                    EXPECT_EQ(expected, (Checked{result, capture.out(), capture.err(), reports.take()}))
                        << free;
                    return 0;
                });
                EXPECT_EQ(0, outcome.status) << outcome.err;
            }
        }
    });
}

TEST_F(LibrariesAhead, SignalsLeaveNoProbeFilesOnASlowFileSystem) {
    test::onPassthroughFilesystem(
        {"--delay-us", "3000"}, [](const std::string &directory, const std::string &source) {
            makeSlowLibraries(source, 40, kUnix);
            for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
                for (const int files : {1, 6}) { // six: three libraries are probed at the same time
                    RunningTool tool(directory);
                    awaitProbeFiles(source, files);
                    tool.send(signal);
                    const int status = tool.wait();
                    EXPECT_TRUE(WIFSIGNALED(status)) << status;
                    EXPECT_EQ(signal, WTERMSIG(status));
                    EXPECT_EQ(0, probeFilesBelow(source)) << signal;
                }
            }
        });
}

TEST_F(LibrariesAhead, SignalsLeaveNoProbeFilesOfConfiguredLibraries) {
    test::onPassthroughFilesystem(
        {"--delay-us", "3000"}, [](const std::string &directory, const std::string &source) {
            makeSlowLibraries(source, 30, kUnix);
            for (int i = 4; i < 30; ++i) { // are probed before their entries are written
                unlink((source + "/l" + std::to_string(i) + "/vekinfo.tag").c_str());
            }
            for (const char *name : {"/l6", "/l9"}) {
                RunningTool tool(directory, 0, 0, "-configurelibrary");
                awaitProbeFiles(source + name, 1);
                tool.send(SIGTERM);
                const int status = tool.wait();
                EXPECT_TRUE(WIFSIGNALED(status)) << status;
                EXPECT_EQ(0, probeFilesBelow(source)) << name;
            }
        });
}

TEST_F(LibrariesAhead, AnIgnoredSignalRemainsIgnored) {
    test::onPassthroughFilesystem({"--delay-us", "3000"},
                                  [](const std::string &directory, const std::string &source) {
                                      makeSlowLibraries(source, 12, kUnix);
                                      RunningTool tool(directory, SIGINT);
                                      awaitProbeFiles(source, 2);
                                      tool.send(SIGINT);
                                      EXPECT_EQ(0, tool.wait());
                                      EXPECT_EQ(0, probeFilesBelow(source));
                                  });
}

TEST_F(LibrariesAhead, TheFirstProcessOfANamespaceIgnoresSignals) {
    test::onPassthroughFilesystem({"--delay-us", "3000"},
                                  [](const std::string &directory, const std::string &source) {
                                      makeSlowLibraries(source, 12, kUnix);
                                      RunningTool tool(directory, 0, CLONE_NEWPID); // as in a container
                                      awaitProbeFiles(source, 2);
                                      tool.send(SIGTERM);
                                      EXPECT_EQ(0, tool.wait());
                                      EXPECT_EQ(0, probeFilesBelow(source));
                                  });
}

TEST_F(LibrariesAhead, ABrokenPipeEndsTheConfiguration) {
    test::onPassthroughFilesystem(
        {"--delay-us", "1000"}, [](const std::string &directory, const std::string &source) {
            makeSlowLibraries(source, 120, kUnix);
            for (int i = 2; i < 120; ++i) {
                unlink((source + "/l" + std::to_string(i) + "/vekinfo.tag").c_str());
            }
            RunningTool tool(directory, 0, 0, "-configurelibrary");
            tool.closeOutput();
            const int status = tool.wait();
            EXPECT_TRUE(WIFSIGNALED(status)) << status;
            EXPECT_EQ(SIGPIPE, WTERMSIG(status));
            EXPECT_EQ(0, access((source + "/l2/vekinfo.tag").c_str(), F_OK));
            EXPECT_NE(0, access((source + "/l119/vekinfo.tag").c_str(), F_OK));
            EXPECT_EQ(0, probeFilesBelow(source));
        });
}

TEST_F(LibrariesAhead, ABrokenPipeLeavesNoProbeFiles) {
    test::onPassthroughFilesystem({"--delay-us", "3000"},
                                  [](const std::string &directory, const std::string &source) {
                                      makeSlowLibraries(source, 120, kUnix);
                                      RunningTool tool(directory);
                                      tool.closeOutput();
                                      const int status = tool.wait();
                                      EXPECT_TRUE(WIFSIGNALED(status)) << status;
                                      EXPECT_EQ(SIGPIPE, WTERMSIG(status));
                                      EXPECT_EQ(0, probeFilesBelow(source));
                                  });
}

TEST_F(LibrariesAhead, SignalsLeaveNoProbeFilesOnAFastFileSystem) {
    makeLibraries(200, kUnix);
    for (int i = 0; i < 20; ++i) {
        RunningTool tool(box.path());
        usleep(1000U * static_cast<unsigned>(i)); // another moment in each round
        tool.send(SIGTERM);
        tool.wait();
        EXPECT_EQ(0, probeFilesBelow(box.path()));
    }
}

TEST_F(LibrariesAhead, TheLimitOnFileSizesDoesNotEndTheCheck) {
    makeLibraries(3, kUnix);
    const std::string output = box.path("output");
    const pid_t tool = fork();
    if (tool == 0) {
        const rlimit none = {0, 0};
        const int file = open(output.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
        std::signal(SIGXFSZ, SIG_DFL);
        if (dup2(file, STDOUT_FILENO) >= 0 && setrlimit(RLIMIT_FSIZE, &none) == 0) {
            execl(VEK_TEST_VEKINFO, VEK_TEST_VEKINFO, "-verbose", "-checklibrary", nullptr);
        }
        _exit(127);
    }
    int status = -1;
    EXPECT_EQ(tool, waitpid(tool, &status, 0));
    EXPECT_FALSE(WIFSIGNALED(status)) << status;
    EXPECT_EQ("", box.read("output"));
    EXPECT_EQ(0, probeFilesBelow(box.path()));
}

TEST_F(LibrariesAhead, ReportsBeforeAHangingLibraryArePrinted) {
    test::onPassthroughFilesystem({"--blockable", "1", "--delay-us", "1000"}, [](const std::string &directory,
                                                                                 const std::string &source) {
        makeSlowLibraries(source, 20, kUnix);
        std::string before;
        std::string all;
        for (int i = 0; i < 20; ++i) {
            const std::string name = "l" + std::to_string(i);
            all +=
                "The library " + name + " at " + directory + "/" + name + " has a vekinfo.tag definition.\n";
            before = i == 12 ? all : before; // the library 12 hangs when its directory is read
        }
        std::ofstream(source + "/l12/.block").close();
        RunningTool stopped(directory);
        EXPECT_EQ(before, stopped.read(before.size()));
        stopped.send(SIGTERM);
        // The kernel lets no thread end while the server of a FUSE file system processes its request.
        unlink((source + "/l12/.block").c_str());
        EXPECT_EQ(SIGTERM, WTERMSIG(stopped.wait()));

        std::ofstream(source + "/l12/.block").close();
        RunningTool tool(directory);
        EXPECT_EQ(before, tool.read(before.size()));
        unlink((source + "/l12/.block").c_str());
        EXPECT_EQ(all.substr(before.size()), tool.read(all.size() - before.size()));
        EXPECT_EQ(0, tool.wait());
        EXPECT_EQ(0, probeFilesBelow(source));
    });
}

} // namespace
