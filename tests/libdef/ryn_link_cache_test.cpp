#include "libdef/registry/ryni_link_cache.h"

#include "tests/libdef/path_support.h"
#include "tests/support/faults.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <unistd.h>

namespace faults = test::faults;

namespace {

class LinkCache : public test::PathTest {
  protected:
    struct Result {
        ssize_t length;
        std::string target;
        int error;

        bool operator==(const Result &) const = default;
        friend std::ostream &operator<<(std::ostream &out, const Result &result) {
            return out << "{" << result.length << ", \"" << result.target << "\", " << result.error << "}";
        }
    };

    static constexpr int kUntouched = 12345;

    static Result read(const std::string &path, rynRegistry *registry) {
        test::PathBuffer target;
        errno = kUntouched;
        const ssize_t length = sReadlink(path.c_str(), target.get(), VEK_PATH_SIZE, registry);
        const int error = errno;
        return {length, target.text(), length < 0 ? error : 0};
    }
    Result read(const std::string &path) const { return read(path, definitions.handle); }

    /// The number of readlink() calls that reading `path` makes.
    int callsFor(const std::string &path) {
        const int before = faults::count("readlink");
        read(path);
        return faults::count("readlink") - before;
    }

    rynLink *find(const std::string &path) {
        rynLink *link = definitions.handle->links[bucketOf(path)];
        while (link != nullptr && path != link->path) {
            link = link->next;
        }
        return link;
    }

    /// The documented hash of a name, in its exact form.
    static std::size_t bucketOf(const std::string &name) {
        std::uint64_t h = 0;
        for (const char c : name) {
            h = (h << 1) ^ static_cast<std::uint64_t>(std::int64_t{static_cast<signed char>(c)});
        }
        return (h ^ h >> 8 ^ h >> 16 ^ h >> 24) & 255;
    }
};

} // namespace

TEST_F(LinkCache, ReadsALink) {
    box.link("l", "some/target").link("absolute", "/x").directory("d").file("f", "");
    EXPECT_EQ((Result{11, "some/target", 0}), read(at("l")));
    EXPECT_EQ((Result{2, "/x", 0}), read(at("absolute")));
    EXPECT_EQ((Result{-1, "", EINVAL}), read(at("d")));
    EXPECT_EQ((Result{-1, "", EINVAL}), read(at("f")));
    EXPECT_EQ((Result{-1, "", ENOENT}), read(at("missing")));
    EXPECT_EQ((Result{-1, "", ENOTDIR}), read(at("f/x")));
    EXPECT_EQ((Result{-1, "", ENOENT}), read(""));
}

TEST_F(LinkCache, CallsReadlinkOncePerPath) {
    box.link("l", "some/target").directory("d").link("loop", "loop");
    for (const char *name : {"l", "d", "missing", "loop/x", "d/missing"}) {
        const Result first = read(at(name));
        const int calls = faults::count("readlink");
        EXPECT_EQ(first, read(at(name))) << name;
        EXPECT_EQ(first, read(at(name))) << name;
        EXPECT_EQ(calls, faults::count("readlink")) << name;
    }
    EXPECT_EQ(5, faults::count("readlink"));
}

TEST_F(LinkCache, IsSharedByAllStatementsOfARegistry) {
    const auto callsToLoad = [this](int libraries) {
        std::string text;
        for (int i = 0; i < libraries; ++i) {
            text += "DEFINE l" + std::to_string(i) + " some/deep/directory/l" + std::to_string(i) + "\n";
        }
        const int before = faults::count("readlink");
        EXPECT_EQ(RYN_OK, definitions.load(text));
        return faults::count("readlink") - before;
    };
    const int one = callsToLoad(1);
    EXPECT_EQ(one + 199, callsToLoad(200)) << "one for each library's own directory";
}

TEST_F(LinkCache, ReturnsTheErrnoOfACachedFailure) {
    for (const int error : {EACCES, EIO, ELOOP, ENAMETOOLONG}) {
        const std::string path = at("e" + std::to_string(error));
        faults::fail("readlink", 1, error);
        EXPECT_EQ((Result{-1, "", error}), read(path));
        EXPECT_EQ((Result{-1, "", error}), read(path));
        EXPECT_EQ((Result{-1, "", error}), read(path));
    }
}

TEST_F(LinkCache, SetsTheSameErrnoEachTime) {
    box.link("l", "t");
    char target[8];
    errno = kUntouched;
    EXPECT_EQ(1, sReadlink(at("l").c_str(), target, sizeof target, definitions.handle));
    const int first = errno;
    errno = kUntouched;
    EXPECT_EQ(1, sReadlink(at("l").c_str(), target, sizeof target, definitions.handle));
    EXPECT_EQ(first, errno);
    EXPECT_EQ(first, find(at("l"))->error);
}

TEST_F(LinkCache, KeepsEntriesUntilTheRegistryIsReleased) {
    box.link("l", "old");
    EXPECT_EQ((Result{3, "old", 0}), read(at("l")));
    EXPECT_EQ((Result{-1, "", ENOENT}), read(at("later")));
    box.link("l", "new!").link("later", "here");
    EXPECT_EQ((Result{3, "old", 0}), read(at("l")));
    EXPECT_EQ((Result{-1, "", ENOENT}), read(at("later")));
    renew();
    EXPECT_EQ((Result{4, "new!", 0}), read(at("l")));
    EXPECT_EQ((Result{4, "here", 0}), read(at("later")));
}

TEST_F(LinkCache, BelongsToOneRegistry) {
    box.link("l", "old");
    read(at("l"));
    rynHandle other = nullptr;
    ASSERT_EQ(RYN_OK, rynInit(nullptr, 0, test::recordWarning, nullptr, &other));
    box.link("l", "new");
    EXPECT_EQ("new", read(at("l"), other).target);
    EXPECT_EQ("old", read(at("l")).target);
    rynReleaseHandle(other);
}

TEST_F(LinkCache, CachesNothingWithoutARegistry) {
    box.link("l", "old");
    EXPECT_EQ((Result{3, "old", 0}), read(at("l"), nullptr));
    box.link("l", "newer");
    EXPECT_EQ((Result{5, "newer", 0}), read(at("l"), nullptr));
    EXPECT_EQ((Result{-1, "", ENOENT}), read(at("missing"), nullptr));
}

TEST_F(LinkCache, ComparesPathsAsText) {
    box.link("l", "t").directory("d");
    EXPECT_EQ(1, callsFor(at("l")));
    EXPECT_EQ(1, callsFor(at("./l")));
    EXPECT_EQ(1, callsFor(at("d/../l")));
    EXPECT_EQ(1, callsFor("l"));
    EXPECT_EQ(1, callsFor("L"));
    EXPECT_EQ(0, callsFor("l"));
}

TEST_F(LinkCache, StoresRecordsInTheBucketOfTheExactName) {
    box.link("Link\xE4", "t").directory("D");
    test::setEnvironment({{"VEK_ALT_NMP", "match"}});
    ASSERT_EQ(RYN_OK, definitions.load(""));
    const std::string link = at("Link\xE4");
    const std::string directory = at("D");
    read(link);
    read(directory);
    ASSERT_NE(nullptr, find(link));
    EXPECT_STREQ("t", find(link)->target);
    EXPECT_EQ(1, find(link)->length);
    ASSERT_NE(nullptr, find(directory));
    EXPECT_EQ(nullptr, find(directory)->target);
    EXPECT_EQ(-1, find(directory)->length);
    EXPECT_EQ(EINVAL, find(directory)->error);
}

TEST(LinkCacheRecord, HasItsFieldsAtTheDocumentedOffsets) {
    EXPECT_EQ(0U, offsetof(rynLink, next));
    EXPECT_EQ(8U, offsetof(rynLink, path));
    EXPECT_EQ(16U, offsetof(rynLink, target));
    EXPECT_EQ(24U, offsetof(rynLink, length));
    EXPECT_EQ(28U, offsetof(rynLink, error));
    EXPECT_EQ(4U, sizeof(rynLink::length));
    EXPECT_EQ(4U, sizeof(rynLink::error));
    EXPECT_EQ(256U * sizeof(void *), sizeof(rynRegistry::links));
}

TEST_F(LinkCache, HoldsManyPaths) {
    constexpr int kPaths = 5000;
    for (int i = 0; i < kPaths; ++i) {
        read("/no/such/" + std::to_string(i));
    }
    EXPECT_EQ(kPaths, faults::count("readlink"));
    for (int i = 0; i < kPaths; ++i) {
        read("/no/such/" + std::to_string(i));
    }
    EXPECT_EQ(kPaths, faults::count("readlink"));
    std::set<std::string> found;
    for (std::size_t bucket = 0; bucket < ryn::kBuckets; ++bucket) {
        for (const rynLink *link = definitions.handle->links[bucket]; link != nullptr; link = link->next) {
            EXPECT_EQ(bucket, bucketOf(link->path)) << link->path;
            found.insert(link->path);
        }
    }
    EXPECT_EQ(std::size_t{kPaths}, found.size());
}

TEST_F(LinkCache, CutsTheReturnedTargetButCachesAllOfIt) {
    box.link("l", "target");
    for (int round = 0; round < 2; ++round) {
        char small[4] = {'#', '#', '#', '#'};
        EXPECT_EQ(6, sReadlink(at("l").c_str(), small, 3, definitions.handle));
        EXPECT_STREQ("ta", small);
        EXPECT_EQ('#', small[3]);
        EXPECT_EQ(6, sReadlink(at("l").c_str(), small, 1, definitions.handle));
        EXPECT_STREQ("", small);
        EXPECT_EQ(6, sReadlink(at("l").c_str(), nullptr, 0, definitions.handle));
        char shorter[7] = {'#', '#', '#', '#', '#', '#', '#'};
        EXPECT_EQ(6, sReadlink(at("l").c_str(), shorter, 6, definitions.handle));
        EXPECT_STREQ("targe", shorter);
        EXPECT_EQ('#', shorter[6]);
        char exact[7];
        EXPECT_EQ(6, sReadlink(at("l").c_str(), exact, 7, definitions.handle));
        EXPECT_STREQ("target", exact);
    }
    EXPECT_EQ((Result{6, "target", 0}), read(at("l")));
}

TEST_F(LinkCache, TargetLimitIs4095Characters) {
    for (const std::size_t size : {1023U, 1024U, 1025U, 2047U, 2048U, 4094U, 4095U}) {
        const std::string name = "l" + std::to_string(size);
        box.link(name, std::string(size, 't'));
        const Result expected = {static_cast<ssize_t>(size), std::string(size, 't'), 0};
        EXPECT_EQ(expected, read(at(name)));
        EXPECT_EQ(expected, read(at(name)));
    }
}

TEST_F(LinkCache, AcceptsPathsOfAnyLength) {
    for (const std::size_t size : {4095U, 4096U, 4097U, 100000U}) {
        const std::string path = test::lengthened("", size);
        const Result expected = {-1, "", size <= 4095 ? ENOENT : ENAMETOOLONG};
        EXPECT_EQ(expected, read(path)) << size;
        EXPECT_EQ(expected, read(path)) << size;
        EXPECT_EQ(0, callsFor(path)) << size;
    }
}

TEST_F(LinkCache, CallsReadlinkAgainIfCachingFailed) {
    box.link("l", "target").directory("d");
    const int allocations = [this] {
        const int before = faults::count("malloc");
        sReadlink(at("l").c_str(), nullptr, 0, definitions.handle);
        return faults::count("malloc") - before;
    }();
    ASSERT_LE(1, allocations);
    for (int nth = 1; nth <= allocations; ++nth) {
        renew();
        for (const auto &[name, expected] :
             {std::pair{"l", Result{6, "target", 0}}, std::pair{"d", Result{-1, "", EINVAL}}}) {
            const std::string path = at(name);
            test::PathBuffer target;
            faults::failAllocation(nth);
            const ssize_t length = sReadlink(path.c_str(), target.get(), VEK_PATH_SIZE, definitions.handle);
            const int error = errno;
            faults::failAllocation(1 << 30);
            EXPECT_EQ(expected.length, length) << nth << name;
            EXPECT_EQ(expected.target, target.text()) << nth << name;
            EXPECT_EQ(expected.error, error) << nth << name;
            read(path);
            EXPECT_EQ(0, callsFor(path)) << nth << name;
        }
    }
}
