#include "libdef/paths/ryni_nsl_path.h"

#include "libdef/paths/ryni_quick_access.h"
#include "tests/libdef/path_support.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace faults = test::faults;
using test::failure;
using test::made;

namespace {

class NslPath : public test::PathTest {
  protected:
    /// Creates links named `prefix` "0", "1", ..., each to the next one and the last one to `target`.
    void chain(const std::string &prefix, int links, const std::string &target) {
        for (int i = 0; i < links; ++i) {
            box.link(prefix + std::to_string(i), i + 1 < links ? prefix + std::to_string(i + 1) : target);
        }
    }
};

} // namespace

// ---- the existence check

TEST_F(NslPath, MissingPathIsAnErrorOnlyIfPathsMustExist) {
    EXPECT_EQ(made(at("no/such")), nsl(at("no/such")));
    EXPECT_EQ(made("/"), nsl("/"));
    renewStrict();
    EXPECT_EQ(failure(RYN_INVALID_PATH, at("no/such")), nsl(at("no/such")));
    EXPECT_EQ(failure(RYN_INVALID_PATH, at("no/such")), nslEx(at("no/such"), 1));
    EXPECT_EQ(made(at("no/such")), nslEx(at("no/such"), 0));
}

TEST_F(NslPath, UsesTheExistenceSettingOfTheRegistry) {
    rynSetPathNoneExistWarnFlag(1);
    EXPECT_EQ(failure(RYN_INVALID_PATH, at("no")), nsl(at("no")));
    EXPECT_EQ(RYN_INVALID_PATH, ryni_generate_nsl_path(at("no").c_str(), nullptr, nullptr, nullptr));
    renew(RYN_FLAG_OWN_EXISTENCE_CHECK | RYN_FLAG_EXISTENCE_CHECK_OFF);
    EXPECT_EQ(made(at("no")), nsl(at("no")));
    rynSetPathNoneExistWarnFlag(0);
    EXPECT_EQ(RYN_OK, ryni_generate_nsl_path(at("no").c_str(), nullptr, nullptr, nullptr));
    renewStrict();
    EXPECT_EQ(failure(RYN_INVALID_PATH, at("no")), nsl(at("no")));
}

TEST_F(NslPath, ReturnsTheCodeOfTheFailedRead) {
    box.link("loop", "loop").file("file", "").link("dangling", "nowhere");
    renewStrict();
    EXPECT_EQ(failure(RYN_INVALID_PATH, at("dangling")), nsl(at("dangling")));
    EXPECT_EQ(failure(RYN_SYSTEM_ERROR, at("loop")), nsl(at("loop")));
    EXPECT_EQ(failure(RYN_SYSTEM_ERROR, at("file/x")), nsl(at("file/x")));
    const std::string component = at(std::string(256, 'c'));
    EXPECT_EQ(failure(RYN_SYSTEM_ERROR, component), nsl(component));
    for (const int error : {ENOENT, EACCES, EIO}) {
        faults::fail("stat", 1, error);
        const int code = error == ENOENT   ? RYN_INVALID_PATH
                         : error == EACCES ? RYN_PERMISSION_DENIED
                                           : RYN_SYSTEM_ERROR;
        EXPECT_EQ(failure(code, at("file")), nsl(at("file"))) << error;
    }
}

TEST_F(NslPath, UnreadablePathIsPermissionDenied) {
    box.directory("shut/inner").directory("hidden", 0311).file("secret", "", 0200);
    ASSERT_EQ(0, chmod(at("shut").c_str(), 0));
    renewStrict();
    const std::string root = at("");
    test::asUnprivileged([&] {
        ryni_setUidGid();
        for (const char *path : {"/shut", "/shut/inner", "/hidden", "/secret"}) {
            EXPECT_EQ(failure(RYN_PERMISSION_DENIED, root + path), nsl(root + path)) << path;
            EXPECT_EQ(made(root + path), nslEx(root + path, 0)) << path;
        }
    });
}

TEST_F(NslPath, ReturnsSameCodeFromStatCache) {
    renewStrict();
    rynStatCacheCtl(1);
    faults::fail("stat", 1, EIO);
    EXPECT_EQ(RYN_SYSTEM_ERROR, nsl("/e/io").status);
    for (const int stale : {0, EACCES, EIO, ENOENT}) {
        errno = stale;
        EXPECT_EQ(failure(RYN_INVALID_PATH, at("no")), nsl(at("no"))) << stale;
        errno = stale;
        EXPECT_EQ(failure(RYN_SYSTEM_ERROR, "/e/io"), nsl("/e/io")) << stale;
    }
    box.file("secret", "", 0200);
    const std::string secret = at("secret");
    test::asUnprivileged([&] {
        ryni_setUidGid();
        for (const int stale : {0, EACCES, EIO, ENOENT}) {
            errno = stale;
            EXPECT_EQ(failure(RYN_PERMISSION_DENIED, secret), nsl(secret)) << stale;
        }
    });
}

TEST_F(NslPath, RelativePathIsAnInternalError) {
    box.directory("here");
    for (const char *path : {"here", "", "./here", "~/x", "no"}) {
        EXPECT_EQ(failure(RYN_INTERNAL_ERROR, path), nsl(path)) << path;
        EXPECT_EQ(failure(RYN_INTERNAL_ERROR, path), nslEx(path, 0)) << path;
    }
    renewStrict();
    EXPECT_EQ(failure(RYN_INTERNAL_ERROR, "here"), nsl("here"));
    EXPECT_EQ(failure(RYN_INVALID_PATH, "no"), nsl("no")) << "the missing path is reported first";
}

// ---- links

TEST_F(NslPath, ReplacesALinkByItsTarget) {
    box.directory("d/sub").directory("e");
    box.link("absolute", at("d")).link("relative", "d").link("up/link", "../d").link("d/inner", "sub");
    EXPECT_EQ(made(at("d")), nsl(at("absolute")));
    EXPECT_EQ(made(at("d/sub")), nsl(at("absolute/sub")));
    EXPECT_EQ(made(at("d")), nsl(at("relative")));
    EXPECT_EQ(made(at("d/sub/x")), nsl(at("relative/sub/x")));
    EXPECT_EQ(made(at("d/sub")), nsl(at("up/link/sub")));
    EXPECT_EQ(made(at("d/sub")), nsl(at("d/inner")));
    EXPECT_EQ(made(at("d/sub/x")), nsl(at("relative/inner/x")));
}

TEST_F(NslPath, ResolvesLinksInsideATarget) {
    box.directory("d/sub");
    box.link("one", "two/sub").link("two", "three").link("three", at("four")).link("four", "d");
    EXPECT_EQ(made(at("d/sub")), nsl(at("one")));
    EXPECT_EQ(made(at("d/sub/x/y")), nsl(at("one/x/y")));
}

TEST_F(NslPath, ResolvesLinksBeforeDotDotInATarget) {
    box.directory("deep/down").directory("deep/beside").link("l", "deep/down").link("m", "l/../beside");
    EXPECT_EQ(made(at("deep/beside")), nsl(at("m")));
    EXPECT_EQ(made(at("deep/beside")), nsl(at("l/../beside")));
    EXPECT_EQ(made(at("deep")), nsl(at("l/..")));
    EXPECT_EQ(made(at("")), nsl(at("l/../..")));
}

TEST_F(NslPath, CleansDotsAndSlashesOfTargets) {
    box.directory("d/sub");
    box.link("slash", "d/").link("slashes", "d//sub///").link("dots", "./d/./.").link("root", "/");
    EXPECT_EQ(made(at("d")), nsl(at("slash")));
    EXPECT_EQ(made(at("d/x")), nsl(at("slash/x")));
    EXPECT_EQ(made(at("d/sub/x")), nsl(at("slashes/x")));
    EXPECT_EQ(made(at("d/x")), nsl(at("dots/x")));
    EXPECT_EQ(made("/"), nsl(at("root")));
    EXPECT_EQ(made("/proc"), nsl(at("root/proc")));
}

TEST_F(NslPath, FindsLinksInAPathThatIsNotClean) {
    box.directory("d/sub").link("l", "d");
    EXPECT_EQ(made(at("d")), nsl(at("l/")));
    EXPECT_EQ(made(at("d/sub")), nsl(at("l//sub")));
    EXPECT_EQ(made(at("d/sub")), nsl(at("l/./sub/.")));
    EXPECT_EQ(made(at("d")), nsl(at("l/sub/..")));
}

TEST_F(NslPath, FollowsALinkToAMissingFile) {
    box.link("dangling", "nowhere/at/all");
    EXPECT_EQ(made(at("nowhere/at/all/x")), nsl(at("dangling/x")));
}

TEST_F(NslPath, ResolvesTwoHundredLinksInARow) {
    box.directory("end/sub");
    chain("l", 200, "end");
    chain("m", 2000, at("end"));
    EXPECT_EQ(made(at("end")), nsl(at("l0")));
    EXPECT_EQ(made(at("end/sub/x")), nsl(at("l0/sub/x")));
    EXPECT_EQ(made(at("end/sub")), nsl(at("m0/sub")));
}

TEST_F(NslPath, ResolvesAsManyNestedLinksAsTheSystem) {
    std::string path = at("t");
    for (int i = 0; i < 40; ++i) {
        box.link("t/l" + std::to_string(i), ".");
        path += "/l" + std::to_string(i);
    }
    EXPECT_EQ(made(at("t")), nsl(path));
}

TEST_F(NslPath, CycleOfLinksIsReportedWithItsPrefix) {
    box.link("self", "self").link("grows", "grows/x").link("twice", "twice/twice");
    EXPECT_EQ(failure(RYN_INTERNAL_ERROR, at("self")), nsl(at("self")));
    EXPECT_EQ(failure(RYN_INTERNAL_ERROR, at("self")), nsl(at("self/x/y")));
    EXPECT_EQ(failure(RYN_INTERNAL_ERROR, at("self")), nslEx(at("self"), 0));
    EXPECT_EQ(failure(RYN_INTERNAL_ERROR, at("grows")), nsl(at("grows/x")));
    EXPECT_EQ(failure(RYN_INTERNAL_ERROR, at("twice")), nsl(at("twice")));
    renewStrict();
    EXPECT_EQ(failure(RYN_SYSTEM_ERROR, at("self")), nsl(at("self"))) << "the system sees it first";
    EXPECT_EQ(failure(RYN_INTERNAL_ERROR, at("self")), nslEx(at("self"), 0));
}

TEST_F(NslPath, CycleOfSeveralLinksIsAnError) {
    box.link("a", "b").link("b", at("c/d")).link("c/d", "../a").link("t1", "t2/x").link("t2", "t1/y");
    for (const char *path : {"a", "b/x", "c/d", "c/d/y"}) {
        const test::PathResult result = nsl(at(path));
        EXPECT_EQ(RYN_INTERNAL_ERROR, result.status) << path;
        EXPECT_TRUE(result.error == at("a") || result.error == at("b") || result.error == at("c/d"))
            << result.error;
    }
    for (const char *path : {"t1", "t2/z"}) {
        const test::PathResult result = nsl(at(path));
        EXPECT_EQ(RYN_INTERNAL_ERROR, result.status) << path;
        EXPECT_TRUE(result.error == at("t1") || result.error == at("t2")) << result.error;
    }
}

TEST_F(NslPath, CycleThatFillsTheBufferIsAnError) {
    // Each pass through the cycle inserts text before the link, until the end of the path is cut off.
    std::string roundabout = "./";
    while (roundabout.size() < 1500) {
        roundabout += "../d/";
    }
    box.link("d/dot", "./dot").link("d/up", "../d/up").link("d/far", roundabout + "far");
    for (const char *path : {"d/dot", "d/up", "d/far"}) {
        EXPECT_EQ(failure(RYN_INTERNAL_ERROR, at(path)), nsl(at(path)));
        EXPECT_EQ(failure(RYN_INTERNAL_ERROR, at(path)), nslEx(at(path) + "/x/y", 0));
    }
}

TEST_F(NslPath, FailedReadlinkIsAnErrorIfPathsMustExist) {
    box.directory("a/b/c");
    const std::string path = at("a/b/c");
    int prefixes = 0;
    for (std::string prefix = path; !prefix.empty(); prefix.resize(prefix.rfind('/'))) {
        ++prefixes;
        for (const int error : {EACCES, EIO, ENOENT, ELOOP}) {
            renewStrict();
            faults::fail("readlink", prefixes, error);
            EXPECT_EQ(failure(RYN_INTERNAL_ERROR, prefix), nsl(path)) << error;
            renewStrict();
            faults::fail("readlink", prefixes, error);
            EXPECT_EQ(made(path), nslEx(path, 0)) << error << prefix;
            renew();
            faults::fail("readlink", prefixes, error);
            EXPECT_EQ(made(path), nsl(path)) << error << prefix;
        }
        renewStrict();
        faults::fail("readlink", prefixes, EINVAL);
        EXPECT_EQ(made(path), nsl(path)) << prefix;
    }
    renew();
    const int before = faults::count("readlink");
    EXPECT_EQ(made(path), nsl(path));
    EXPECT_EQ(prefixes, faults::count("readlink") - before) << "no readlink() for the root";
}

TEST_F(NslPath, FailureOfAParentIsKeptForItsOtherFiles) {
    ASSERT_EQ(made(at("late/a")), nsl(at("late/a"))); // readlink() of "late" fails with ENOENT
    box.directory("late/b");
    rynSetPathNoneExistWarnFlag(1);
    EXPECT_EQ(failure(RYN_INTERNAL_ERROR, at("late")), nsl(at("late/b")));
}

TEST_F(NslPath, ParentWithALinkIsResolvedForEachFile) {
    box.directory("real/a").directory("real/b").link("link", "real");
    for (const char *file : {"/a", "/b", "/a"}) {
        EXPECT_EQ(made(at("real") + file), nsl(at("link") + file));
        EXPECT_EQ(made(at("real") + file), nsl(at("real") + file));
    }
}

TEST_F(NslPath, FailedReadlinkIsIgnoredOtherwise) {
    box.directory("shut/d").link("shut/l", "d");
    ASSERT_EQ(0, chmod(at("shut").c_str(), 0));
    const std::string path = at("shut/l/x");
    test::asUnprivileged([&] { EXPECT_EQ(made(path), nsl(path)); });
}

TEST_F(NslPath, EqualsRealpathOnRandomTrees) {
    std::mt19937 random(20); // NOLINT(cert-msc32-c,cert-msc51-cpp): reproducible
    const auto pick = [&random](std::size_t bound) { return random() % bound; };
    const std::string names = "abcd";
    for (int tree = 0; tree < 40; ++tree) {
        // Deep enough for every "..".
        const std::string top = "1/2/3/4/5/6/7/8/9/0/1/2/3/4/5/6/7/8/9/0/t" + std::to_string(tree) + "/";
        box.directory(top + "a/b/c").directory(top + "b/a").directory(top + "c");
        for (int link = 0; link < 6; ++link) {
            std::string parent = top;
            std::string target = pick(3) == 0 ? at(top) : "";
            for (std::size_t depth = pick(3); depth > 0; --depth) {
                const std::string deeper = parent + names[pick(4)] + "/";
                struct stat status = {};
                if (lstat(at(deeper.substr(0, deeper.size() - 1)).c_str(), &status) != 0 ||
                    S_ISDIR(status.st_mode)) {
                    parent = deeper;
                }
            }
            for (std::size_t steps = 1 + pick(3); steps > 0; --steps) {
                target += (target.empty() || target.back() == '/' ? "" : "/") +
                          (pick(4) == 0 ? std::string("..") : std::string(1, names[pick(4)]));
            }
            box.link(parent + "l" + std::to_string(link), target);
        }
        renew();
        for (int path = 0; path < 200; ++path) {
            std::string text = at(top);
            for (std::size_t steps = 1 + pick(5); steps > 0; --steps) {
                switch (pick(4)) {
                case 0:
                    text += "/l" + std::to_string(pick(6));
                    break;
                case 1:
                    text += "/..";
                    break;
                default:
                    text += std::string("/") + names[pick(4)];
                }
            }
            const std::unique_ptr<char, decltype(&std::free)> real(realpath(text.c_str(), nullptr),
                                                                   &std::free);
            if (real) {
                EXPECT_EQ(made(real.get()), nsl(text)) << text;
            }
        }
    }
}

TEST_F(NslPath, ReadsEachPrefixOnce) {
    box.directory("d/a").directory("d/b").link("l", "d");
    nsl(at("l/a"));
    const int calls = faults::count("readlink");
    nsl(at("l/a"));
    EXPECT_EQ(calls, faults::count("readlink"));
    nsl(at("l/b"));
    EXPECT_EQ(calls + 1, faults::count("readlink")) << "just l/b itself is new";
}

// ---- clean-up

TEST_F(NslPath, DotDotRemovesTheComponentBefore) {
    box.file("file", "").link("dangling", "nowhere");
    EXPECT_EQ(made("/x"), nsl("/missing/../x"));
    EXPECT_EQ(made("/"), nsl("/missing/.."));
    EXPECT_EQ(made("/"), nsl("/missing/a/../.."));
    EXPECT_EQ(made(at("x")), nsl(at("file/../x")));
    EXPECT_EQ(made(at("x")), nsl(at("dangling/../x")));
    EXPECT_EQ(made("/a"), nsl("//a/.//b/.././"));
    EXPECT_EQ(made("/a/..."), nsl("/a/..."));
    EXPECT_EQ(made("/a.."), nsl("/a.."));
}

TEST_F(NslPath, DotDotAboveTheRootIsAnError) {
    for (const char *path : {"/..", "/../x", "/missing/../../x", "/missing/../..", "/../", "/x/../../."}) {
        EXPECT_EQ(failure(RYN_INTERNAL_ERROR, path), nsl(path)) << path;
        EXPECT_EQ(failure(RYN_INTERNAL_ERROR, path), nslEx(path, 0)) << path;
    }
}

TEST_F(NslPath, AcceptsNullBuffers) {
    box.link("self", "self");
    EXPECT_EQ(RYN_OK, ryni_generate_nsl_path("/a", nullptr, nullptr, definitions.handle));
    EXPECT_EQ(RYN_INTERNAL_ERROR, ryni_generate_nsl_path("a", nullptr, nullptr, definitions.handle));
    EXPECT_EQ(RYN_INTERNAL_ERROR, ryni_generate_nsl_path("/..", nullptr, nullptr, definitions.handle));
    EXPECT_EQ(RYN_INTERNAL_ERROR,
              ryni_generate_nsl_path(at("self").c_str(), nullptr, nullptr, definitions.handle));
    test::PathBuffer nsl;
    EXPECT_EQ(RYN_OK, ryni_generate_nsl_path("/a/./b", nsl.get(), nullptr, nullptr));
    EXPECT_EQ("/a/b", nsl.text());
}

// ---- boundaries

TEST_F(NslPath, PathLimitIs4095Characters) {
    const std::string longest = test::lengthened("", 4095);
    EXPECT_EQ(made(longest), nsl(longest));
    for (const std::size_t size : {4096U, 4097U, 9000U}) {
        const std::string path = test::lengthened("", size);
        EXPECT_EQ(failure(RYN_INVALID_PATH, path.substr(0, 4095)), nsl(path)) << size;
        EXPECT_EQ(failure(RYN_INVALID_PATH, path.substr(0, 4095)), nslEx(path, 0)) << size;
    }
}

TEST_F(NslPath, ExistingPathLimitIs4095Characters) {
    const std::string longest = test::lengthened(at("d"), 4095);
    box.directory(longest.substr(at("").size() + 1));
    renewStrict();
    EXPECT_EQ(made(longest), nsl(longest));
    const std::string longer = longest + "/";
    EXPECT_EQ(failure(RYN_SYSTEM_ERROR, longest), nsl(longer));
}

TEST_F(NslPath, CutsACombinedPathAt4095Characters) {
    const std::string target = test::lengthened("/x", 2000);
    box.link("l", target);
    for (const std::size_t size : {4094U, 4095U, 4096U, 4097U}) {
        const std::string rest = test::lengthened("", size - target.size());
        EXPECT_EQ(made((target + rest).substr(0, 4095)), nsl(at("l") + rest)) << size;
    }
    const std::string relative = std::string("y") + test::lengthened("", 1999);
    box.link("r", relative);
    for (const std::size_t size : {4094U, 4095U, 4096U, 4097U}) {
        const std::string rest = test::lengthened("", size - at(relative).size());
        EXPECT_EQ(made(at(relative + rest).substr(0, 4095)), nsl(at("r") + rest)) << size;
    }
}

TEST_F(NslPath, ResolvesLinksInACutPath) {
    // The link to "/" in the long target makes the cut path shorter.
    box.link("root", "/");
    const std::string target = at("root") + test::lengthened("", 3000);
    box.link("l", target);
    const std::string rest = test::lengthened("", 2000);
    EXPECT_EQ(made((target + rest).substr(0, 4095).substr(at("root").size())), nsl(at("l") + rest));
}

TEST_F(NslPath, TargetLimitIs4095Characters) {
    for (const std::size_t size : {1023U, 1024U, 1025U, 2047U, 2048U, 4094U, 4095U}) {
        const std::string target = test::lengthened("", size);
        box.link("l", target);
        renew();
        EXPECT_EQ(made(target), nsl(at("l"))) << size;
        EXPECT_EQ(made((target + "/rest").substr(0, size == 4094 ? size : 4095)), nsl(at("l/rest"))) << size;
    }
    const std::string relative = test::lengthened("", 4095).substr(1) + "z";
    box.link("l", relative);
    renew();
    EXPECT_EQ(made(at(relative).substr(0, 4095)), nsl(at("l")));
}

// ---- failures

TEST_F(NslPath, ResultIsTheSameWithoutMemoryForTheCache) {
    box.directory("d/sub").link("l", "d");
    for (int nth = 1; nth < 60; ++nth) {
        renewStrict();
        faults::failAllocation(nth);
        EXPECT_EQ(made(at("d/sub")), nsl(at("l/sub"))) << nth;
        EXPECT_EQ(made(at("d/sub")), nsl(at("l/sub"))) << nth;
        faults::failAllocation(1 << 30);
    }
    renewStrict();
    faults::failAllocationsFrom(1);
    EXPECT_EQ(made(at("d/sub")), nsl(at("l/sub")));
    EXPECT_EQ(failure(RYN_INVALID_PATH, at("no")), nsl(at("no")));
    faults::failAllocationsFrom(1 << 30);
}
