// Exhausted memory, at every allocation of every public function: the result is the usual or a documented one, no file
// is damaged, and the next call has its usual result.

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

bool isOneOf(const std::string &result, const std::string &usual, const std::vector<std::string> &others) {
    const auto has = [&others](std::string_view text) {
        return std::find(others.begin(), others.end(), text) != others.end();
    };
    const std::size_t reports = result.find(" reports");
    const bool isReported =
        reports != std::string::npos && result.find("_MEMORY_ERROR", reports) != std::string::npos;
    return result == usual || has(result) || (isReported && has("memory error reported"));
}

std::string usualResult(World &world, const Case &item) {
    world.renew();
    return item.call(world);
}

/// Makes the call with a failing `nth` allocation, and again without a failure. @return whether there was an `nth` one
bool withoutNth(World &world, const Case &item, const std::string &usual, int nth, Lack lack) {
    if (item.writes) {
        world.restoreTree();
    }
    world.renew();
    arm(nth, lack);
    const std::string result = item.call(world);
    const bool reached = faults::count("malloc") >= nth;
    faults::reset();
    World::takeReports();

    const std::string context =
        nameOf(item) + (lack == Lack::Once ? ", allocation " : ", allocations from ") + std::to_string(nth);
    EXPECT_TRUE(isOneOf(result, usual, item.withoutMemory))
        << context << ": " << result << "\nusual: " << usual;
    const test::Tree tree = item.writes ? world.tree() : test::Tree();
    EXPECT_EQ(item.call(world), usual) << context << ", called again";
    World::takeReports();
    EXPECT_TRUE(tree == world.treeAtFirst() || tree == world.tree() || !item.writes)
        << context << ": the files are neither old nor new";
    return reached;
}

/// @return the number of allocations that have been made to fail
int withoutEach(World &world, const Case &item, Lack lack) {
    const std::string usual = usualResult(world, item);
    int nth = 1;
    while (withoutNth(world, item, usual, nth, lack) && nth < 2000) {
        ++nth;
    }
    EXPECT_LT(nth, 2000) << nameOf(item);
    EXPECT_TRUE(item.writes || world.tree() == world.treeAtFirst()) << nameOf(item) << " has changed files";
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

/// A case without results for exhausted memory must allocate nothing.
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

TEST(ExhaustedMemory, OfTheCommonLayerGivesADocumentedResult) {
    run(test::commonCases());
}

TEST(ExhaustedMemory, OfTheFileSystemLayerGivesADocumentedResult) {
    run(test::fsCases());
}

TEST(ExhaustedMemory, OfTheSearchLayerGivesADocumentedResult) {
    run(test::searchCases());
}

TEST(ExhaustedMemory, OfTheTagLayerGivesADocumentedResult) {
    run(test::tagfileCases());
}

TEST(ExhaustedMemory, OfTheLibraryLayerGivesADocumentedResult) {
    run(test::libdefCases());
}

// The process caches these results: each call is made in a child process of its own.
TEST(ExhaustedMemory, OfTheInstallationQueriesGivesADocumentedResult) {
    for (const Case &item : test::installationCases()) {
        for (const Lack lack : {Lack::Once, Lack::FromThenOn}) {
            int status = 1;
            for (int nth = 1; status == 1 && nth < 50; ++nth) {
                const test::Outcome outcome = test::inChild([&] {
                    World own(World::Start::Fresh);
                    arm(nth, lack);
                    const std::string result = item.call(own);
                    const bool reached = faults::count("malloc") >= nth;
                    faults::reset();
                    const std::string usual = item.call(own);
                    EXPECT_TRUE(isOneOf(result, usual, item.withoutMemory))
                        << nameOf(item) << " " << nth << ": " << result << "\nusual: " << usual;
                    EXPECT_FALSE(isOneOf(usual, "", item.withoutMemory))
                        << nameOf(item) << " " << nth << ", again";
                    return reached ? 1 : 0;
                });
                status = outcome.status;
                EXPECT_TRUE(nth > 1 || status == 1) << nameOf(item) << " has its result cached";
                EXPECT_TRUE(status == 0 || status == 1) << nameOf(item) << " " << nth;
            }
        }
    }
}

// An edit reads an unreadable file a second time and then treats it as empty. It must not do so if memory is exhausted:
// the content of the file would be lost.
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

TEST(ExhaustedMemory, IsTestedForEveryPublicFunction) {
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
