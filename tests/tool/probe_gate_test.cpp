#include "tool/probe_gate.h"

#include "common/platform/vek_path.h"
#include "tests/support/passthrough_filesystem.h"
#include "tests/support/sandbox.h"
#include "tests/tool/probe_support.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
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

/// Not on a stack: at the end of a test, threads are blocked in the gate.
ProbeGate sharedGate;

/// Where countFiles() counts. The number is -1 before.
std::string directoryAtSignal;
std::atomic<int> filesAtSignal = -1;

/// A signal handler in place of the default action, which would end the process. The gate raises the signal itself, so the
/// handler may call any function.
void countFiles(int /*signal*/) {
    filesAtSignal = test::probeFilesBelow(directoryAtSignal);
}

/// Runs `body` while eight threads probe directories of a slow file system without a pause. At the end, closes the gate.
/// Eight, so that a probe is always running unless the gate is closed.
void whileProbing(const std::function<void()> &body) {
    test::onPassthroughFilesystem({"--delay-us", "1000"},
                                  [&body](const std::string &directory, const std::string &source) {
                                      directoryAtSignal = source;
                                      ASSERT_TRUE(sharedGate.startWatch());
                                      for (int i = 0; i < 8; ++i) {
                                          const std::string name = "/" + std::to_string(i);
                                          mkdir((source + name).c_str(), 0755);
                                          std::thread([path = directory + name] {
                                              for (;;) {
                                                  static_cast<void>(sharedGate.probe(path.c_str()));
                                              }
                                          }).detach();
                                      }
                                      test::awaitProbeFiles(source, 1);
                                      body();
                                      sharedGate.stopWatch();
                                      EXPECT_EQ(0, test::probeFilesBelow(source));
                                  });
}

TEST(ProbeGate, AnEndingSignalTakesEffectAfterTheRunningProbes) {
    whileProbing([] {
        std::signal(SIGTERM, countFiles);
        kill(getpid(), SIGTERM);
        for (int tries = 0; tries < 20'000 && filesAtSignal < 0; ++tries) {
            usleep(1000);
        }
        EXPECT_EQ(0, filesAtSignal);

        // The signal has not ended the process, so the probes continue.
        test::awaitProbeFiles(directoryAtSignal, 1);
    });
}

TEST(ProbeGate, ABrokenPipeTakesEffectAfterTheRunningProbes) {
    whileProbing([] {
        std::signal(SIGPIPE, countFiles);
        raise(SIGPIPE); // as a failed write does
        EXPECT_EQ(-1, filesAtSignal);
        sharedGate.deliverBrokenPipe();
        EXPECT_EQ(0, filesAtSignal);

        // The signal has not ended the process, so the probes continue. Only the first call delivers the signal.
        test::awaitProbeFiles(directoryAtSignal, 1);
        filesAtSignal = -1;
        raise(SIGPIPE);
        sharedGate.deliverBrokenPipe();
        EXPECT_EQ(-1, filesAtSignal);
    });
}

} // namespace
