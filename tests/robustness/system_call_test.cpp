// A system call that fails once, at every call of every public function and with every error that the world has for
// it: the result is one of the layer's own, success is not claimed for what was not done, and no file is torn, lost
// or left behind.

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "tests/robustness/cases.h"
#include "tests/robustness/more_faults.h"

namespace faults = test::faults;
using test::Case;
using test::Tree;
using test::World;

namespace {

constexpr std::array<int, 8> kErrors = {EIO, EACCES, ENOSPC, EMFILE, EINTR, ENAMETOOLONG, ELOOP, ESTALE};

#ifdef VEK_TEST_SANITIZE
constexpr std::size_t kErrorsPerCall = 2; // which take turns
#else
constexpr std::size_t kErrorsPerCall = kErrors.size();
#endif

/// A file that is created to find something out. When it cannot be removed, it stays.
bool isTestFile(const std::string &name) {
    return name.find("vekFileWritableTest") != std::string::npos ||
           name.find("vekfscasesensitivity.") != std::string::npos ||
           name.find("vekFsCaseSensitivity.") != std::string::npos;
}

Tree withoutTestFiles(Tree tree) {
    std::erase_if(tree, [](const auto &item) { return isTestFile(item.first); });
    return tree;
}

std::string difference(const Tree &before, const Tree &after) {
    std::string text;
    for (const auto &[name, content] : after) {
        const auto old = before.find(name);
        if (old == before.end() || old->second != content) {
            text += "\n" + name + ": " + content;
        }
    }
    for (const auto &[name, content] : before) {
        text += after.contains(name) ? "" : "\n" + name + " is gone";
    }
    return text;
}

/// What the call does when nothing fails.
struct Usual {
    std::string answer;
    Tree tree;
    std::array<int, faults::kSystemCalls.size()> calls = {};
};

Usual usualCall(World &world, const Case &item) {
    Usual usual;
    world.restoreTree();
    world.renew();
    faults::resetAll();
    usual.answer = item.call(world);
    for (std::size_t i = 0; i < usual.calls.size(); ++i) {
        usual.calls[i] = faults::countAny(faults::kSystemCalls[i]);
    }
    faults::resetAll();
    usual.tree = world.tree();
    return usual;
}

/// Whether nothing is there but what the whole call would leave.
bool isPartOf(const Tree &whole, const Tree &tree) {
    return std::all_of(tree.begin(), tree.end(),
                       [&](const auto &item) { return whole.contains(item.first); });
}

/// Old or new; or, where the call is several writes, something between.
bool isAllowed(const World &world, const Usual &usual, const Tree &tree, const Case &item) {
    return tree == usual.tree || tree == world.treeAtFirst() ||
           (item.leavesParts && isPartOf(usual.tree, tree));
}

void withFailure(World &world, const Case &item, const Usual &usual, std::string_view call, int nth,
                 int error) {
    if (item.writes) {
        world.restoreTree();
    }
    world.renew();
    faults::resetAll();
    faults::failAny(call, nth, error);
    const std::string answer = item.call(world);
    faults::resetAll();

    const std::string place = nameOf(item) + ", " + std::string(call) + " number " + std::to_string(nth) +
                              ": " + strerrorname_np(error) + " gives " + answer;
    EXPECT_EQ(answer.find("undefined"), std::string::npos) << place;
    EXPECT_EQ(answer.find("torn"), std::string::npos) << place;
    if (!item.writes) {
        return;
    }
    const Tree tree = call == "unlink" ? withoutTestFiles(world.tree()) : world.tree();
    EXPECT_TRUE(isAllowed(world, usual, tree, item)) << place << difference(world.treeAtFirst(), tree);
    if (answer == usual.answer && !(item.missingIsDone && call == "stat")) {
        EXPECT_TRUE(tree == usual.tree) << place << ", as if it were done" << difference(usual.tree, tree);
    }
}

void run(const std::vector<Case> &cases) {
    World world;
    for (const Case &item : cases) {
        std::printf("%s\n", nameOf(item).c_str());
        std::fflush(stdout);
        const Usual usual = usualCall(world, item);
        for (std::size_t i = 0; i < usual.calls.size(); ++i) {
            for (int nth = 1; nth <= usual.calls[i]; ++nth) {
                for (std::size_t error = 0; error < kErrorsPerCall; ++error) {
                    const std::size_t turn =
                        (static_cast<std::size_t>(nth) * kErrorsPerCall + error) % kErrors.size();
                    withFailure(world, item, usual, faults::kSystemCalls[i], nth, kErrors[turn]);
                }
            }
        }
        world.restoreTree();
        world.renew();
        EXPECT_EQ(item.call(world), usual.answer) << nameOf(item) << ", after all failures";
    }
}

} // namespace

TEST(FailingCall, InTheCommonLayerIsAResult) {
    run(test::commonCases());
}

TEST(FailingCall, InTheInstallationQueriesIsAResult) {
    run(test::installationCases());
}

TEST(FailingCall, InTheFileSystemLayerIsAResult) {
    run(test::fsCases());
}

TEST(FailingCall, InTheSearchLayerIsAResult) {
    run(test::searchCases());
}

TEST(FailingCall, InTheTagLayerIsAResult) {
    run(test::tagfileCases());
}

TEST(FailingCall, InTheLibraryLayerIsAResult) {
    run(test::libdefCases());
}
