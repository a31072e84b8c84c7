// Exhausted memory, at every allocation of every public function: the answer is the usual one or the documented
// one, nothing is lost, and the next call goes as if nothing had happened.

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "tagfile/tov.h"
#include "tests/robustness/cases.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"

namespace faults = test::faults;
using test::Case;
using test::World;

namespace {

/// Whether one allocation fails, or that one and every one after it.
enum class Lack { Once, FromThenOn };

void arm(int nth, Lack lack) {
    faults::reset();
    if (lack == Lack::Once) {
        faults::failAllocation(nth);
    } else {
        faults::failAllocationsFrom(nth);
    }
}

bool isOneOf(const std::string &answer, const std::string &usual, const std::vector<std::string> &others) {
    const auto has = [&others](std::string_view text) {
        return std::find(others.begin(), others.end(), text) != others.end();
    };
    const std::size_t reports = answer.find(" reports");
    const bool isReported =
        reports != std::string::npos && answer.find("_MEMORY_ERROR", reports) != std::string::npos;
    return answer == usual || has(answer) || (isReported && has("memory error reported"));
}

std::string usualAnswer(World &world, const Case &item) {
    world.renew();
    return item.call(world);
}

/// Makes the call without the `nth` allocation, and again with all memory. @return whether it came so far
bool withoutNth(World &world, const Case &item, const std::string &usual, int nth, Lack lack) {
    if (item.writes) {
        world.restoreTree();
    }
    world.renew();
    arm(nth, lack);
    const std::string answer = item.call(world);
    const bool reached = faults::count("malloc") >= nth;
    faults::reset();
    World::takeReports();

    const std::string place =
        nameOf(item) + (lack == Lack::Once ? ", allocation " : ", allocations from ") + std::to_string(nth);
    EXPECT_TRUE(isOneOf(answer, usual, item.withoutMemory))
        << place << ": " << answer << "\nusual: " << usual;
    const test::Tree tree = item.writes ? world.tree() : test::Tree();
    EXPECT_EQ(item.call(world), usual) << place << ", again";
    World::takeReports();
    EXPECT_TRUE(tree == world.treeAtFirst() || tree == world.tree() || !item.writes)
        << place << " left half a tree";
    return reached;
}

/// @return how many allocations the call makes at least
int withoutEach(World &world, const Case &item, Lack lack) {
    const std::string usual = usualAnswer(world, item);
    int nth = 1;
    while (withoutNth(world, item, usual, nth, lack) && nth < 2000) {
        ++nth;
    }
    EXPECT_LT(nth, 2000) << nameOf(item);
    EXPECT_TRUE(item.writes || world.tree() == world.treeAtFirst()) << nameOf(item) << " has written";
    return nth - 1;
}

void allocateNothing(World &world, const Case &item) {
    world.renew();
    item.call(world);
    world.renew();
    faults::reset();
    item.call(world);
    EXPECT_EQ(faults::count("malloc"), 0) << nameOf(item);
}

/// A case without other answers allocates nothing.
void run(const std::vector<Case> &cases) {
    World world;
    for (const Case &item : cases) {
        std::printf("%s\n", nameOf(item).c_str());
        std::fflush(stdout);
        world.restoreTree();
        if (item.withoutMemory.empty()) {
            allocateNothing(world, item);
            continue;
        }
        EXPECT_GT(withoutEach(world, item, Lack::Once), 0) << nameOf(item);
        EXPECT_GT(withoutEach(world, item, Lack::FromThenOn), 0) << nameOf(item);
    }
}

} // namespace

TEST(ExhaustedMemory, OfTheCommonLayerIsAResult) {
    run(test::commonCases());
}

TEST(ExhaustedMemory, OfTheFileSystemLayerIsAResult) {
    run(test::fsCases());
}

TEST(ExhaustedMemory, OfTheSearchLayerIsAResult) {
    run(test::searchCases());
}

TEST(ExhaustedMemory, OfTheTagLayerIsAResult) {
    run(test::tagfileCases());
}

TEST(ExhaustedMemory, OfTheLibraryLayerIsAResult) {
    run(test::libdefCases());
}

// What is found out once and kept is found out in a process of its own each time.
TEST(ExhaustedMemory, OfTheInstallationQueriesIsAResult) {
    for (const Case &item : test::installationCases()) {
        for (const Lack lack : {Lack::Once, Lack::FromThenOn}) {
            int status = 1;
            for (int nth = 1; status == 1 && nth < 50; ++nth) {
                const test::Outcome outcome = test::inChild([&] {
                    World own(World::Start::Fresh);
                    arm(nth, lack);
                    const std::string answer = item.call(own);
                    const bool reached = faults::count("malloc") >= nth;
                    faults::reset();
                    const std::string usual = item.call(own);
                    EXPECT_TRUE(isOneOf(answer, usual, item.withoutMemory))
                        << nameOf(item) << " " << nth << ": " << answer << "\nusual: " << usual;
                    EXPECT_FALSE(isOneOf(usual, "", item.withoutMemory))
                        << nameOf(item) << " " << nth << ", again";
                    return reached ? 1 : 0;
                });
                status = outcome.status;
                EXPECT_TRUE(nth > 1 || status == 1) << nameOf(item) << " has known the answer";
                EXPECT_TRUE(status == 0 || status == 1) << nameOf(item) << " " << nth;
            }
        }
    }
}

// An edit reads the file a second time when it could not be read, and takes one that it cannot read for empty. Not
// for lack of memory, though: the file would lose what it says.
TEST(ExhaustedMemory, InBothReadingsOfAnEditKeepsTheFile) {
    World world;
    const std::string directory = world.path("proj");
    tovAddEntry(directory.c_str(), "DMTYPE", "mrev");
    const test::Tree edited = world.tree();
    int kept = 0;
    for (int nth = 1; nth <= 30; ++nth) {
        world.restoreTree();
        world.renew();
        tovRegisterErrorHandler([](int code, const char * /*text*/, const char * /*where*/, int /*line*/) {
            if (code == TOV_MEMORY_ERROR) {
                tovRegisterErrorHandler(nullptr);
                faults::failAllocation(1);
            }
        });
        faults::failAllocation(nth);
        const int result = tovAddEntry(directory.c_str(), "DMTYPE", "mrev");
        faults::reset();
        const test::Tree tree = world.tree();
        EXPECT_TRUE(tree == (result == 1 ? edited : world.treeAtFirst())) << nth;
        kept += result == 0 ? 1 : 0;
    }
    EXPECT_GT(kept, 5);
}

TEST(ExhaustedMemory, IsTriedOnEveryPublicFunction) {
    std::set<std::string, std::less<>> tried;
    for (const auto &table : {test::commonCases(), test::installationCases(), test::fsCases(),
                              test::searchCases(), test::tagfileCases(), test::libdefCases()}) {
        for (const Case &item : table) {
            tried.insert(item.functions.begin(), item.functions.end());
        }
    }
    std::ifstream names(VEK_TEST_EXPORTED_NAMES);
    ASSERT_TRUE(names);
    for (std::string name; std::getline(names, name);) {
        EXPECT_TRUE(tried.contains(name)) << name;
    }
}
