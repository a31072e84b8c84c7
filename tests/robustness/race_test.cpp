// Directory trees that change while the tool reads them.

#include <array>
#include <chrono>
#include <csignal>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/robustness/in_memory.h"
#include "tests/support/child.h"
#include "tests/support/real_calls.h"
#include "tests/support/sandbox.h"

namespace {

using Strings = std::vector<std::string>;
using Clock = std::chrono::steady_clock;

constexpr auto kDuration = std::chrono::milliseconds(1500);

/// A process that changes the tree repeatedly until it is killed.
class Meddler {
  public:
    template <typename Change>
    explicit Meddler(Change change) : id_(fork()) {
        if (id_ == 0) {
            for (unsigned round = 0;; ++round) {
                change(round);
            }
        }
    }
    ~Meddler() {
        kill(id_, SIGKILL);
        waitpid(id_, nullptr, 0);
    }
    Meddler(const Meddler &) = delete;
    Meddler &operator=(const Meddler &) = delete;

  private:
    pid_t id_;
};

class Race : public testing::Test {
  protected:
    Race() {
        box.directory("home")
            .file("vek.lib", "DEFINE a a\nDEFINE b b\nDEFINE link link/deep\n")
            .file("vekinfo.tag", "DMTYPE none\n")
            .link("link", "a");
        for (const char *library : {"a", "b"}) {
            for (const char *cell : {"/deep/one/two", "/deep/three", "/four"}) {
                box.file(std::string(library) + cell + "/vekinfo.tag", "SIZE 1\n");
            }
        }
    }

    [[nodiscard]] test::Outcome vekinfo(const Strings &arguments) const {
        Strings line = {VEK_TEST_VEKINFO};
        line.insert(line.end(), arguments.begin(), arguments.end());
        return test::run(
            line,
            {.environment = {{"PWD", box.path()}, {"HOME", box.path("home")}, {"PATH", "/usr/bin:/bin"}},
             .directory = box.path()});
    }

    /// Runs the tool repeatedly while the tree changes.
    void meddleWith(const Strings &arguments) {
        // The changing process uses no fault points and ignores failures.
        const Meddler meddler([](unsigned round) {
            static const std::array<const char *, 3> targets = {"a", "b/deep", "link"};
            __real_rename("a/deep", "b/moved");
            __real_unlink("link");
            static_cast<void>(::symlink(targets[round % targets.size()], "link"));
            __real_rename("b/deep/one", "b/deep/three/one");
            __real_unlink("a/four/vekinfo.tag");
            __real_mkdir("a/four/vekinfo.tag", 0755);
            __real_rename("b/moved", "a/deep");
            __real_rename("b/deep/three/one", "b/deep/one");
            __real_rmdir("a/four/vekinfo.tag");
            __real_rename("b", "c");
            static_cast<void>(::symlink("a", "b"));
            __real_unlink("b");
            __real_rename("c", "b");
        });
        int runs = 0;
        for (const auto end = Clock::now() + kDuration; Clock::now() < end; ++runs) {
            const test::Outcome outcome = vekinfo(arguments);
            ASSERT_EQ(outcome.signal, 0) << outcome.err;
            ASSERT_FALSE(outcome.timedOut);
            ASSERT_TRUE(outcome.status == 0 || outcome.status == 1) << outcome.status << outcome.err;
        }
        EXPECT_GT(runs, 3);
    }

    test::InMemory inMemory;
    test::Sandbox box;
};

} // namespace

TEST_F(Race, LookupEndsWhileTheTreeChanges) {
    meddleWith({"-path", "link/deep/one/two", "-lookup", "DMTYPE", "SIZE"});
}

TEST_F(Race, CheckEndsWhileTheTreeChanges) {
    meddleWith({"-v", "-checklibrary"});
}

TEST_F(Race, ConfigurationEndsWhileTheTreeChanges) {
    meddleWith({"-v", "-configurelibrary"});
}
