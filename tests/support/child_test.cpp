#include "tests/support/child.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <stdexcept>

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/faults.h"
#include "tests/support/sandbox.h"

using test::ChildOptions;
using test::Outcome;

TEST(InChild, ReturnsStatusAndBothStreams) {
    const Outcome outcome = test::inChild([] {
        std::cout << "answer\n";
        std::cerr << "complaint\n";
        return 7;
    });

    EXPECT_EQ(outcome.status, 7);
    EXPECT_EQ(outcome.signal, 0);
    EXPECT_FALSE(outcome.timedOut);
    EXPECT_EQ(outcome.out, "answer\n");
    EXPECT_EQ(outcome.err, "complaint\n");
}

TEST(InChild, ReturnsTheSignalThatEndedIt) {
    const Outcome outcome = test::inChild([] { return raise(SIGKILL); });

    EXPECT_EQ(outcome.signal, SIGKILL);
    EXPECT_EQ(outcome.status, -1);
}

TEST(InChild, HangingChildIsKilledAndReported) {
    const auto start = std::chrono::steady_clock::now();

    const Outcome outcome = test::inChild(
        [] {
            std::cout << "before" << std::flush;
            for (;;) {
                pause();
            }
            return 0;
        },
        ChildOptions{.timeoutMs = 200});

    EXPECT_TRUE(outcome.timedOut);
    EXPECT_EQ(outcome.signal, SIGKILL);
    EXPECT_EQ(outcome.out, "before");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}

TEST(InChild, GrandchildWithTheStreamsDoesNotDelayTheEnd) {
    const Outcome outcome = test::inChild([] {
        if (fork() == 0) {
            sleep(60);
            _exit(0);
        }
        return 3;
    });

    EXPECT_FALSE(outcome.timedOut);
    EXPECT_EQ(outcome.status, 3);
}

TEST(InChild, ChildThatWritesEndlesslyIsKilled) {
    const Outcome outcome = test::inChild(
        [] {
            for (;;) {
                std::cout << "again and again\n";
            }
            return 0;
        },
        ChildOptions{.outputLimit = 100000});

    EXPECT_TRUE(outcome.tooMuchOutput);
    EXPECT_EQ(outcome.signal, SIGKILL);
    EXPECT_GT(outcome.out.size(), 100000U);
}

TEST(InChild, FailedExpectationIsAFailureOfTheTest) {
    EXPECT_NONFATAL_FAILURE(test::inChild([] {
                                EXPECT_TRUE(false) << "seen in the child";
                                return 0;
                            }),
                            "seen in the child");
}

TEST(InChild, ExceptionIsAFailureOfTheTest) {
    EXPECT_NONFATAL_FAILURE(test::inChild([]() -> int { throw std::runtime_error("out of luck"); }),
                            "out of luck");
}

TEST(InChild, StartsInTheGivenDirectory) {
    test::Sandbox box;
    box.directory("there");

    const Outcome outcome = test::inChild(
        [&] {
            std::cout << std::filesystem::current_path().string();
            return 0;
        },
        ChildOptions{.directory = box.path("there")});

    EXPECT_EQ(outcome.out, box.path("there"));
}

#ifdef VEK_TEST_SANITIZE
TEST(InChild, LeakIsAFailureOfTheTest) {
    EXPECT_NONFATAL_FAILURE(test::inChild([] {
                                void *volatile block = std::malloc(100);
                                block = nullptr;
                                return block == nullptr ? 0 : 1;
                            }),
                            "the child leaked memory");
}
#endif

TEST(AsUnprivileged, IsNotRoot) {
    test::asUnprivileged([] {
        EXPECT_NE(geteuid(), 0U);
        EXPECT_NE(getegid(), 0U);
        EXPECT_EQ(getgroups(0, nullptr) * static_cast<int>(getuid() == test::UnprivilegedId), 0);
    });
    EXPECT_EQ(geteuid(), getuid());
}

TEST(AsUnprivileged, ReportsAFailedExpectation) {
    EXPECT_NONFATAL_FAILURE(test::asUnprivileged([] { EXPECT_EQ(1, 2) << "carried back"; }), "carried back");
}

TEST(AsUnprivileged, ReportsAFailedAssertion) {
    EXPECT_NONFATAL_FAILURE(test::asUnprivileged([] { ASSERT_EQ(1, 2) << "carried back"; }), "carried back");
}

TEST(AsUnprivileged, AbnormalEndIsAFailureOfTheTest) {
    EXPECT_NONFATAL_FAILURE(test::asUnprivileged([] { _exit(1); }), "status 1");
    EXPECT_NONFATAL_FAILURE(test::asUnprivileged([] { raise(SIGKILL); }), "signal 9");
}

TEST(AsUnprivileged, PermissionsHold) {
    test::Sandbox box;
    box.file("secret", "text", 0).directory("closed", 0);

    test::asUnprivileged([&] {
        EXPECT_EQ(access(box.path("secret").c_str(), R_OK), -1);
        EXPECT_EQ(access(box.path("closed/x").c_str(), F_OK), -1);
        EXPECT_EQ(access(box.path().c_str(), R_OK | X_OK), 0);
    });
}

TEST(AsUnprivileged, ItsEndDoesNotRemoveTheSandbox) {
    test::Sandbox box;
    box.file("kept", "text");

    test::asUnprivileged([&] { EXPECT_EQ(box.read("kept"), "text"); });

    EXPECT_TRUE(box.exists("kept"));
}

TEST(Run, ExecutesWithTheGivenEnvironmentAlone) {
    setenv("VEK_TEST_LEFT_OVER", "1", 1);

    const Outcome outcome =
        test::run({"/usr/bin/env"}, ChildOptions{.environment = {{"HOME", "/h"}, {"EMPTY", ""}}});

    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out.substr(0, 15), "HOME=/h\nEMPTY=\n");
    EXPECT_EQ(outcome.out.find("VEK_TEST_LEFT_OVER"), std::string::npos);
}

TEST(Run, FindsAProgramAlongPath) {
    EXPECT_EQ(test::run({"sh", "-c", "exit 5"}).status, 5);
}

TEST(Run, ReportsThatItCannotExecute) {
    const Outcome outcome = test::run({"/nonexistent/program"});

    EXPECT_EQ(outcome.status, 127);
    EXPECT_NE(outcome.err.find("/nonexistent/program"), std::string::npos);
}

TEST(Run, PassesAnotherFirstArgument) {
    const Outcome outcome = test::run({"called", "-c", "echo $0"}, ChildOptions{.executable = "/bin/sh"});

    EXPECT_EQ(outcome.out, "called\n");
}

TEST(Run, KillsAHangingProgram) {
    const Outcome outcome = test::run({"sleep", "60"}, ChildOptions{.timeoutMs = 200});

    EXPECT_TRUE(outcome.timedOut);
}

TEST(Run, DropsToTheGivenUser) {
    const Outcome outcome = test::run({"id", "-u"}, ChildOptions{.uid = test::UnprivilegedId});

    EXPECT_EQ(outcome.out, std::to_string(geteuid() == 0 ? test::UnprivilegedId : geteuid()) + "\n");
}
