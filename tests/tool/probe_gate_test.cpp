#include "tool/probe_gate.h"

#include "common/platform/vek_path.h"
#include "tests/support/passthrough_filesystem.h"
#include "tests/support/sandbox.h"
#include "tests/tool/probe_support.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace {

using vekinfo::ProbeGate;

TEST(ProbeGate, OneDirectoryIsProbedByOneThreadAtATime) {
    test::Sandbox box;
    box.directory("a").link("b", "a").directory("c");
    ProbeGate gate;
    std::vector<std::thread> threads;
    threads.reserve(8);
    std::atomic<int> wrong = 0;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&gate, &wrong, path = box.path(std::string(1, "abc"[i % 3]))] {
            for (int n = 0; n < 100; ++n) {
                wrong += gate.probe(path.c_str()).sensitivity == VEK_CASE_SENSITIVE ? 0 : 1;
            }
        });
    }
    for (std::thread &each : threads) {
        each.join();
    }
    EXPECT_EQ(0, wrong);
    EXPECT_EQ(0, test::probeFilesBelow(box.path()));
}

// ---- signals

/// The paths of the files that probes of this process create. countFiles() looks for them.
std::vector<std::string> probeFiles;
/// The number of probe files that countFiles() has found; -1 before.
std::atomic<int> filesAtSignal = -1;

/// A signal handler in place of the default action, which would end the process.
void countFiles(int /*signal*/) {
    const int before = errno;
    filesAtSignal =
        static_cast<int>(std::count_if(probeFiles.begin(), probeFiles.end(),
                                       [](const auto &path) { return access(path.c_str(), F_OK) == 0; }));
    errno = before;
}

/// Runs `body` while eight threads probe directories of a slow file system without a pause. Eight, so that a probe is
/// always running unless the gate is closed.
void whileProbing(const std::function<void(ProbeGate &gate, const std::string &source)> &body) {
    test::onPassthroughFilesystem(
        {"--delay-us", "1000"}, [&body](const std::string &directory, const std::string &source) {
            std::vector<std::string> directories;
            for (int i = 0; i < 8; ++i) {
                const std::string name = "/" + std::to_string(i);
                mkdir((source + name).c_str(), 0755);
                directories.push_back(directory + name);
                for (const char *file : {"/vekfscasesensitivity.", "/vekFsCaseSensitivity."}) {
                    probeFiles.push_back(source + name + file + std::to_string(getpid()));
                }
            }
            ProbeGate gate;
            ASSERT_TRUE(gate.startWatch());
            std::atomic<bool> isDone = false;
            std::vector<std::thread> threads;
            threads.reserve(directories.size());
            for (const std::string &each : directories) {
                threads.emplace_back([&gate, &isDone, &each] {
                    while (!isDone) {
                        static_cast<void>(gate.probe(each.c_str()));
                    }
                });
            }
            test::awaitProbeFiles(source, 1);
            body(gate, source);
            isDone = true;
            for (std::thread &each : threads) {
                each.join();
            }
            gate.stopWatch();
        });
}

TEST(ProbeGate, AnEndingSignalTakesEffectAfterTheRunningProbes) {
    whileProbing([](ProbeGate & /*gate*/, const std::string &source) {
        std::signal(SIGTERM, countFiles);
        kill(getpid(), SIGTERM);
        for (int tries = 0; tries < 20'000 && filesAtSignal < 0; ++tries) {
            usleep(1000);
        }
        EXPECT_EQ(0, filesAtSignal);

        // The signal has not ended the process, so the probes continue.
        test::awaitProbeFiles(source, 1);
    });
}

TEST(ProbeGate, ABrokenPipeTakesEffectAfterTheRunningProbes) {
    whileProbing([](ProbeGate &gate, const std::string &source) {
        std::signal(SIGPIPE, countFiles);
        raise(SIGPIPE); // as a failed write does
        EXPECT_EQ(-1, filesAtSignal);
        gate.deliverBrokenPipe();
        EXPECT_EQ(0, filesAtSignal);

        // The signal has not ended the process, so the probes continue. Only the first call delivers the signal.
        test::awaitProbeFiles(source, 1);
        filesAtSignal = -1;
        raise(SIGPIPE);
        gate.deliverBrokenPipe();
        EXPECT_EQ(-1, filesAtSignal);
    });
}

TEST(ProbeGate, TheWatchEndsAfterTheRunningProbe) {
    test::onPassthroughFilesystem(
        {"--delay-us", "1000"}, [](const std::string &directory, const std::string &source) {
            ProbeGate gate;
            ASSERT_TRUE(gate.startWatch());
            std::thread prober([&] { static_cast<void>(gate.probe(directory.c_str())); });
            test::awaitProbeFiles(source, 1);
            gate.stopWatch();
            EXPECT_EQ(0, test::probeFilesBelow(source));
            prober.join();
        });
}

} // namespace
