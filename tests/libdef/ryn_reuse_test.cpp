// The index of directories, and the documented function that reports reused ones.

#include "libdef/registry/ryni_reuse.h"

#include "libdef/paths/ryni_library_reuse.h"
#include "libdef/registry/ryni_indexes.h"
#include "libdef/registry/ryni_owned_text.h"
#include "tests/libdef/path_support.h"
#include "tests/libdef/pool_support.h"
#include "tests/support/faults.h"

#include <array>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace faults = test::faults;

namespace {

/// The size of a node of a DirectoryIndex whose component is one character.
constexpr std::size_t kNodeSize = 25;

/// Two paths match when they are equal, or when the shorter is a prefix of the longer and the longer has "/"
/// right after it.
bool match(const std::string &a, const std::string &b) {
    const std::string &shorter = a.size() <= b.size() ? a : b;
    const std::string &longer = a.size() <= b.size() ? b : a;
    return longer.compare(0, shorter.size(), shorter) == 0 &&
           (longer.size() == shorter.size() || longer[shorter.size()] == '/');
}

class RandomPaths {
  public:
    explicit RandomPaths(unsigned seed) : random_(seed) {}

    std::size_t pick(std::size_t bound) { return random_() % bound; }

    /// Made of few components, so that many paths are equal or nested; not all are clean.
    std::string path() {
        static const std::vector<std::string> kComponents = {"a", "b", "ab", "aa", "", "\xE4", "A", "."};
        std::string path = pick(16) == 0 ? kComponents[pick(kComponents.size())] : "";
        for (std::size_t depth = pick(5); depth > 0; --depth) {
            path += "/" + kComponents[pick(pick(4) == 0 ? kComponents.size() : 4)];
        }
        return path;
    }

  private:
    std::mt19937 random_;
};

} // namespace

TEST(DirectoryIndex, CountsEqualOuterAndInnerDirectories) {
    vek::MemoryPool pool;
    ryn::DirectoryIndex index(pool);
    EXPECT_EQ(0, index.count("/d"));
    EXPECT_TRUE(index.add("/d"));
    EXPECT_TRUE(index.add("/d/sub/deep"));
    EXPECT_TRUE(index.add("/dx"));
    EXPECT_EQ(2, index.count("/d"));
    EXPECT_EQ(2, index.count("/d/sub"));
    EXPECT_EQ(2, index.count("/d/sub/deep/er"));
    EXPECT_EQ(1, index.count("/d/other"));
    EXPECT_EQ(1, index.count("/dx"));
    EXPECT_EQ(0, index.count("/"));
    EXPECT_EQ(3, index.count(""));
}

TEST(DirectoryIndex, CountsADirectoryOncePerAddition) {
    vek::MemoryPool pool;
    ryn::DirectoryIndex index(pool);
    for (int i = 1; i <= 3; ++i) {
        ASSERT_TRUE(index.add("/d/e"));
        EXPECT_EQ(i, index.count("/d"));
    }
    for (int i = 2; i >= 0; --i) {
        index.remove("/d/e");
        EXPECT_EQ(i, index.count("/d"));
        EXPECT_EQ(i, index.count("/d/e/f"));
    }
    EXPECT_EQ(0, index.count(""));
}

TEST(DirectoryIndex, RemovalFreesTheNodesOfTheDirectory) {
    vek::MemoryPool pool;
    ryn::DirectoryIndex index(pool);
    ASSERT_TRUE(index.add("/a/b/c"));
    ASSERT_TRUE(index.add("/a/x"));
    test::leavePieces(pool, {});
    const int before = faults::count("malloc");
    ASSERT_TRUE(index.add("/a/x"));
    index.remove("/a/b/c");
    ASSERT_TRUE(index.add("/a/1/2"));
    EXPECT_EQ(before, faults::count("malloc")) << "the nodes of x existed, those of b and c were used again";
    ASSERT_TRUE(index.add("/a/b"));
    EXPECT_EQ(before + 1, faults::count("malloc")) << "no node is left";
    index.remove("/a/b");
    index.remove("/a/1/2");
    ASSERT_TRUE(index.add("/a/b/c"));
    index.remove("/never/added");
    EXPECT_EQ(3, index.count("/a"));
}

TEST(DirectoryIndex, CountsPathsInAndBesideTheLastParentDirectory) {
    vek::MemoryPool pool;
    ryn::DirectoryIndex index(pool);
    ASSERT_TRUE(index.add("/a/b/one"));
    ASSERT_TRUE(index.add("/a/b/two"));
    EXPECT_EQ(2, index.count("/a/b"));
    EXPECT_EQ(1, index.count("/a/b/two"));
    EXPECT_EQ(1, index.count("/a/b/two/deep"));
    EXPECT_EQ(0, index.count("/a/b/three"));
    EXPECT_EQ(0, index.count("/a/bc"));
    ASSERT_TRUE(index.add("/a/b"));
    EXPECT_EQ(2, index.count("/a/b/two"));
    index.remove("/a/b/one");
    index.remove("/a/b/two");
    index.remove("/a/b");
    EXPECT_EQ(0, index.count("/a/b/one"));
    ASSERT_TRUE(index.add("/a/b/one")); // the nodes of "/a" and "/a/b" were freed
    EXPECT_EQ(1, index.count("/a"));
    EXPECT_EQ(1, index.count(""));
}

TEST(DirectoryIndex, FailedAdditionChangesNothing) {
    vek::MemoryPool pool;
    ryn::DirectoryIndex index(pool);
    ASSERT_TRUE(index.add("/a/b"));
    for (std::size_t nth = 0; nth < 4; ++nth) {
        test::leavePieces(pool, std::vector<std::size_t>(nth, kNodeSize));
        faults::failAllocation(1);
        EXPECT_FALSE(index.add("/a/b/1/2/3/4")) << nth;
        EXPECT_EQ(1, index.count("/a"));
        EXPECT_EQ(1, index.count("/a/b/1/2/3"));
        EXPECT_EQ(1, index.count(""));
    }
    test::leavePieces(pool, std::vector<std::size_t>(4, kNodeSize));
    faults::failAllocation(1);
    EXPECT_TRUE(index.add("/a/b/1/2/3/4")) << "the failures left no node";
    faults::reset();
    EXPECT_EQ(2, index.count("/a"));
}

TEST(DirectoryIndex, FirstAdditionFailsIfMemoryIsExhausted) {
    vek::MemoryPool pool;
    ryn::DirectoryIndex index(pool);
    for (int nth = 1; nth <= 2; ++nth) { // the nodes, the slots
        test::leavePieces(pool, {});
        faults::failAllocation(nth);
        EXPECT_FALSE(index.add("/a")) << nth;
        faults::reset();
        EXPECT_EQ(0, index.count(""));
    }
    EXPECT_TRUE(index.add("/a"));
}

TEST(DirectoryIndex, AcceptsPathsOfAnyLengthAndDepth) {
    vek::MemoryPool pool;
    ryn::DirectoryIndex index(pool);
    std::string deep;
    for (int i = 0; i < 50000; ++i) {
        deep += "/x";
    }
    const std::string wide = "/" + std::string(100000, 'w');
    EXPECT_TRUE(index.add(deep.c_str()));
    EXPECT_TRUE(index.add(wide.c_str()));
    EXPECT_EQ(1, index.count("/x"));
    EXPECT_EQ(1, index.count(wide.c_str()));
    EXPECT_EQ(2, index.count(""));
    index.remove(deep.c_str());
    EXPECT_EQ(0, index.count("/x"));
}

TEST(DirectoryIndex, DistinguishesDirectoriesWithEqualHashes) {
    // With 32-bit hashes about 18 pairs of so many are expected to be equal.
    constexpr int kMany = 400000;
    vek::MemoryPool pool;
    ryn::DirectoryIndex index(pool);
    for (int i = 0; i < kMany; ++i) {
        ASSERT_TRUE(index.add(("/d/" + std::to_string(i)).c_str()));
    }
    for (int i = 0; i < kMany; ++i) {
        ASSERT_EQ(1, index.count(("/d/" + std::to_string(i)).c_str())) << i;
    }
    EXPECT_EQ(kMany, index.count("/d"));
}

TEST(DirectoryIndex, AgreesWithAWalkOverAllDirectories) {
    for (unsigned seed = 1; seed <= 20; ++seed) {
        RandomPaths random(seed);
        vek::MemoryPool pool;
        ryn::DirectoryIndex index(pool);
        std::vector<std::string> added;
        for (int step = 0; step < 1500; ++step) {
            const std::size_t what = random.pick(5);
            if (what < 2) {
                added.push_back(random.path());
                ASSERT_TRUE(index.add(added.back().c_str()));
            } else if (what == 2 && !added.empty()) {
                const std::size_t at = random.pick(added.size());
                index.remove(added[at].c_str());
                added.erase(added.begin() + static_cast<std::ptrdiff_t>(at));
            }
            const std::string path =
                added.empty() || random.pick(2) == 0 ? random.path() : added[random.pick(added.size())];
            int expected = 0;
            for (const std::string &directory : added) {
                expected += match(path, directory) ? 1 : 0;
            }
            ASSERT_EQ(expected, index.count(path.c_str())) << seed << " " << path;
        }
    }
}

namespace {

class Reuse : public test::PathTest {
  protected:
    /// The expected names, by a walk over the libraries in definition order: a library that matches twice is listed
    /// twice.
    std::vector<std::string> walk(const std::string &path) const {
        std::vector<std::string> found;
        const rynLibrary *library = definitions.handle->libraries.head;
        for (; library != nullptr; library = library->nextInOrder) {
            if (match(path, library->nslPath)) {
                found.emplace_back(library->name);
            }
            if (library->explicitTmpNsl != nullptr && match(path, library->explicitTmpNsl)) {
                found.emplace_back(library->name);
            }
        }
        return found;
    }
    std::vector<std::string> listed(const std::string &path, int &count) const {
        std::vector<rynLibrary *> buffer(1000);
        count = ryniLibPathReused(definitions.handle, path.c_str(), buffer.data(), 1000);
        std::vector<std::string> found;
        for (rynLibrary *const *at = buffer.data(); *at != nullptr; ++at) {
            found.emplace_back((*at)->name);
        }
        return found;
    }
    rynLibrary *pickLibrary(RandomPaths &random) const {
        rynLibrary *library = definitions.handle->libraries.head;
        for (std::size_t steps = random.pick(40); library != nullptr && steps > 0; --steps) {
            library =
                library->nextInOrder != nullptr ? library->nextInOrder : definitions.handle->libraries.head;
        }
        return library;
    }
    void insert(RandomPaths &random, int number) {
        rynLibrary *library =
            ryn::newLibrary(*definitions.handle, "l" + std::to_string(number), random.path());
        ASSERT_NE(nullptr, library);
        ryniStrcpy(&library->fullPath, "/full");
        if (random.pick(4) == 0) {
            ryniStrcpy(&library->explicitTmpNsl, random.path().c_str());
        }
        ASSERT_EQ(RYN_OK, sInsert_lib(definitions.handle, library));
    }
    void change(RandomPaths &random, int number) {
        rynLibrary *library = pickLibrary(random);
        const std::size_t what = library == nullptr ? 0 : random.pick(6);
        if (what < 2) {
            insert(random, number);
        } else if (what == 2) {
            ASSERT_TRUE(ryn::removeLibrary(*definitions.handle, *library));
            ryn::freeLibrary(*definitions.handle, *library);
        } else if (what == 3) {
            ASSERT_TRUE(ryn::moveToEnd(*definitions.handle, *library));
        } else if (what == 4) {
            const std::string path = random.path();
            ASSERT_EQ(RYN_OK, ryn::setExplicitTmp(*definitions.handle, *library, path.c_str(), path.c_str()));
        } else {
            ASSERT_EQ(RYN_OK, ryn::setExplicitTmp(*definitions.handle, *library, nullptr, nullptr));
        }
    }
};

} // namespace

TEST_F(Reuse, AgreesWithAWalkOverAllLibraries) {
    for (unsigned seed = 1; seed <= 10; ++seed) {
        renew();
        RandomPaths random(seed);
        for (int step = 0; step < 400; ++step) {
            change(random, step);
            for (int look = 0; look < 4; ++look) {
                const std::string path = random.path();
                int count = -1;
                const std::vector<std::string> expected = walk(path);
                EXPECT_EQ(expected, listed(path, count)) << seed << " " << path;
                EXPECT_EQ(static_cast<int>(expected.size()), count) << seed << " " << path;
                EXPECT_EQ(count, ryniLibPathReused(definitions.handle, path.c_str(), nullptr, 0));
            }
        }
    }
}

TEST_F(Reuse, FailedChangeKeepsTheCounts) {
    ASSERT_EQ(RYN_OK, definitions.load("DEFINE a /d/a\n"));
    rynLibrary *library = definitions.library("a");
    ASSERT_EQ(RYN_OK, ryn::setExplicitTmp(*definitions.handle, *library, "/t", "/t"));
    vek::MemoryPool &pool = definitions.handle->indexes->pool;
    const auto expectFailure = [&](int nth) {
        faults::failAllocation(nth);
        EXPECT_EQ(RYN_MEMORY_ERROR, ryn::setExplicitTmp(*definitions.handle, *library, "/u/1/2", "/u/1/2"))
            << nth;
        EXPECT_EQ(1, ryniLibPathReused(definitions.handle, "/t", nullptr, 0));
        EXPECT_EQ(0, ryniLibPathReused(definitions.handle, "/u", nullptr, 0));
        EXPECT_STREQ("/t", library->explicitTmp);
        EXPECT_STREQ("/t", library->explicitTmpNsl);
        faults::failAllocation(1 << 30);
    };
    expectFailure(1);
    expectFailure(2);
    for (std::size_t nodes = 0; nodes < 3; ++nodes) {
        test::leavePieces(pool, std::vector<std::size_t>(nodes, kNodeSize));
        expectFailure(3); // the nodes, after the two copies
    }
    rynLibrary *other = ryn::newLibrary(*definitions.handle, "b", "/n/1");
    ryniStrcpy(&other->explicitTmpNsl, "/n/2");
    for (std::size_t nodes = 0; nodes < 3; ++nodes) {
        test::leavePieces(pool, std::vector<std::size_t>(nodes, kNodeSize));
        faults::failAllocation(1);
        EXPECT_EQ(RYN_MEMORY_ERROR, sInsert_lib(definitions.handle, other)) << nodes;
        EXPECT_EQ(0, ryniLibPathReused(definitions.handle, "/n", nullptr, 0));
        EXPECT_EQ(nullptr, definitions.library("b"));
    }
    faults::failAllocation(1 << 30);
    EXPECT_EQ(RYN_OK, sInsert_lib(definitions.handle, other));
    EXPECT_EQ(2, ryniLibPathReused(definitions.handle, "/n", nullptr, 0));
}

// ---- reused directories

namespace {

class ReusedDirectory : public test::PathTest {
  protected:
    int count(const std::string &path) {
        return ryniLibPathReused(definitions.handle, path.c_str(), nullptr, 0);
    }
    /// @return the names of the libraries that are stored. Checks that nothing is written after `capacity` pointers
    std::string matches(const std::string &path, int capacity) {
        std::array<rynLibrary *, 16> found = {};
        auto *guard = reinterpret_cast<rynLibrary *>(this);
        found.fill(guard);
        ryniLibPathReused(definitions.handle, path.c_str(), found.data(), capacity);
        for (std::size_t i = capacity < 0 ? 0 : static_cast<std::size_t>(capacity); i < found.size(); ++i) {
            EXPECT_EQ(guard, found[i]);
        }
        std::string names;
        for (const rynLibrary *library : found) {
            if (library == nullptr || library == guard) {
                return names + (library == nullptr ? "0" : "");
            }
            names += library->name;
        }
        return names;
    }
};

} // namespace

TEST_F(ReusedDirectory, CountsEqualOuterAndInnerDirectories) {
    ASSERT_EQ(RYN_OK, definitions.load("DEFINE a /d\nDEFINE b /d/sub\nDEFINE c /dx\nDEFINE e /e\n"));
    EXPECT_EQ(2, count("/d"));
    EXPECT_EQ(2, count("/d/sub"));
    EXPECT_EQ(1, count("/dx"));
    EXPECT_EQ(1, count("/e"));
    EXPECT_EQ(2, count("/d/sub/deep"));
    EXPECT_EQ(1, count("/d/su"));
    EXPECT_EQ(1, count("/d/subx"));
    EXPECT_EQ(0, count("/f"));
    EXPECT_EQ(0, count("/"));
    EXPECT_EQ(0, count("d"));
    EXPECT_EQ((test::Diagnostics{{RYN_DIRECTORY_REUSED, "/d/sub", at("vek.lib"), 2}}),
              test::recorded.diagnostics);
}

TEST_F(ReusedDirectory, RootHoldsNoOtherDirectory) {
    ASSERT_EQ(RYN_OK, definitions.load("DEFINE r /\nDEFINE a /a\n"));
    EXPECT_EQ(1, count("/"));
    EXPECT_EQ(1, count("/a"));
    EXPECT_EQ(1, count("//a")) << "as it is spelled, / holds //a and /a does not";
    EXPECT_TRUE(test::recorded.diagnostics.empty());
}

TEST_F(ReusedDirectory, CountsALibraryWithTwoMatchesTwice) {
    box.directory("d/tmp");
    ASSERT_EQ(RYN_OK, definitions.load("DEFINE a d\nDEFINE b b\nASSIGN a TMP d/tmp\n"));
    EXPECT_EQ(2, count(at("d/tmp")));
    EXPECT_EQ(2, count(at("d")));
    EXPECT_EQ(1, count(at("d/other")));
    EXPECT_EQ("aa0", matches(at("d"), 8));
    EXPECT_EQ((test::Diagnostics{{RYN_DIRECTORY_REUSED, at("d/tmp"), at("vek.lib"), 3}}),
              test::recorded.diagnostics);
}

TEST_F(ReusedDirectory, ComparesNslPaths) {
    box.directory("d").link("l", "d");
    ASSERT_EQ(RYN_OK, definitions.load("DEFINE a l\n"));
    EXPECT_EQ(1, count(at("d")));
    EXPECT_EQ(0, count(at("l")));
    rynSetImplicitTmp(definitions.handle, at("d").c_str(), RYN_IMPLICIT_ONLY, nullptr);
    EXPECT_EQ(0, count(at("l")));
    EXPECT_EQ(1, count(at("d/a"))) << "implicit directories do not count";
}

TEST_F(ReusedDirectory, ListsTheLibrariesInDefinitionOrder) {
    ASSERT_EQ(RYN_OK, definitions.load("DEFINE c /d/c\nDEFINE a /d\nDEFINE x /x\nDEFINE b /d/b\n"));
    EXPECT_EQ("cab0", matches("/d", 16));
    EXPECT_EQ("ca0", matches("/d/c", 16));
}

TEST_F(ReusedDirectory, StoresAtMostCapacityMinusOne) {
    ASSERT_EQ(RYN_OK, definitions.load("DEFINE c /d/c\nDEFINE a /d\nDEFINE b /d/b\n"));
    EXPECT_EQ("cab0", matches("/d", 5));
    EXPECT_EQ("cab0", matches("/d", 4));
    EXPECT_EQ("ca0", matches("/d", 3));
    EXPECT_EQ("c0", matches("/d", 2));
    EXPECT_EQ("", matches("/d", 1));
    EXPECT_EQ("", matches("/d", 0));
    EXPECT_EQ("", matches("/d", -1));
    std::array<rynLibrary *, 2> found = {};
    EXPECT_EQ(3, ryniLibPathReused(definitions.handle, "/d", found.data(), 2));
    EXPECT_EQ(3, ryniLibPathReused(definitions.handle, "/d", nullptr, 2));
}

TEST_F(ReusedDirectory, FollowsChangesByStatements) {
    box.directory("t/sub").directory("u");
    ASSERT_EQ(RYN_OK, definitions.load("DEFINE a /a\nDEFINE b /b\nASSIGN a TMP t\n"));
    EXPECT_EQ(1, count(at("t/sub")));
    rynAddCommand(nullptr, "ASSIGN a TMP u");
    EXPECT_EQ(0, count(at("t/sub")));
    EXPECT_EQ(1, count(at("u")));
    rynAddCommand(nullptr, "UNASSIGN a TMP");
    EXPECT_EQ(0, count(at("u")));
    rynAddCommand(nullptr, "UNDEFINE b");
    EXPECT_EQ(0, count("/b"));
    rynAddCommand(nullptr, "DEFINE a /elsewhere");
    EXPECT_EQ(1, count("/a")) << "the nsl path of the first definition stays";
    EXPECT_EQ(0, count("/elsewhere"));
    rynAddCommand(nullptr, ("ASSIGN a TMP " + at("t")).c_str());
    rynAddCommand(nullptr, "UNDEFINE a");
    EXPECT_EQ(0, count("/a") + count(at("t")));
}
