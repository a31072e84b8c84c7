#include "tagfile/tov.h"

#include "tagfile/tovi_cache.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"
#include "tests/support/small_filesystem.h"
#include "tests/tagfile/tag_support.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <functional>
#include <string>

namespace {

/// Runs `body` in a child for which `directory` is the root of the file system.
void withRootAt(const std::string &directory, const std::function<void()> &body) {
    const test::Outcome outcome = test::inChild([&] {
        if (geteuid() != 0) {
            EXPECT_EQ(0, unshare(CLONE_NEWUSER));
        }
        const int before = open("/", O_PATH | O_DIRECTORY | O_CLOEXEC);
        EXPECT_EQ(0, chroot(directory.c_str()));
        EXPECT_EQ(0, chdir("/"));
        body();
        EXPECT_EQ(0, fchdir(before));
        EXPECT_EQ(0, chroot("."));
        close(before);
        return 0;
    });
    EXPECT_EQ(0, outcome.status) << "signal " << outcome.signal << ", timed out " << outcome.timedOut;
}

class LocalSearch : public test::TagTest {
  protected:
    int search(const std::string &start, const char *element) {
        found = -1;
        out = {};
        return tovLocalSearchElement(start.c_str(), element, &out, &found);
    }
    /// Where the element is found from `start`: a path, "none", or failure(code).
    std::string where(const std::string &start, const char *element) {
        const int status = search(start, element);
        if (status != 0) {
            return test::failure(status);
        }
        return found == 1 ? out.path : "none";
    }
    std::string whereFresh(const std::string &start, const char *element) {
        tovResetCache();
        return where(start, element);
    }
    std::string at(const std::string &relative) { return box.path(relative); }

    VekinfoObj out = {};
    int found = -1;
};

TEST_F(LocalSearch, NearestFileThatDefinesTheElementIsFound) {
    box.file("a/vekinfo.tag", "DMTYPE far\nNAMESPACE LibraryNT\n").file("a/b/vekinfo.tag", "DMTYPE near\n");
    box.directory("a/b/c/d");

    EXPECT_EQ(at("a/b/vekinfo.tag"), where(at("a/b/c/d"), "DMTYPE"));
    EXPECT_STREQ("near", out.dmtype);
    EXPECT_EQ(at("a/b/vekinfo.tag"), where(at("a/b"), "dmtype"));
    EXPECT_EQ(at("a/vekinfo.tag"), where(at("a/b/c/d"), "NAMESPACE"));
    EXPECT_EQ(at("a/vekinfo.tag"), where(at("a"), "DMTYPE"));
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(LocalSearch, UndefinedElementIsNotFound) {
    box.file("a/vekinfo.tag", "DMTYPE far\n").directory("a/b");
    EXPECT_EQ(0, search(at("a/b"), "NAMESPACE"));
    EXPECT_EQ(0, found);
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(LocalSearch, FilesReadDuringTheSearchAreCached) {
    box.file("a/vekinfo.tag", "X 1\n").file("a/b/vekinfo.tag", "Y 1\n");
    EXPECT_EQ(at("a/vekinfo.tag"), where(at("a/b"), "X"));
    int count = 0;
    for (const VekinfoObj *obj : vekinfoHashTable) {
        for (; obj != nullptr; obj = obj->next) {
            ++count;
        }
    }
    EXPECT_EQ(2, count);
}

TEST_F(LocalSearch, AcceptsAPathThatEndsInASlash) {
    box.file("a/vekinfo.tag", "X 1\n").directory("a/b");
    EXPECT_EQ(at("a/vekinfo.tag"), whereFresh(at("a/"), "X"));
    EXPECT_EQ(at("a/vekinfo.tag"), whereFresh(at("a/b/"), "X"));
    EXPECT_EQ(at("a/vekinfo.tag"), whereFresh(at("a//b"), "X"));
}

TEST_F(LocalSearch, TheStartMayBeAFile) {
    box.file("a/vekinfo.tag", "X 1\n").file("a/data", "");
    EXPECT_EQ(at("a/vekinfo.tag"), where(at("a/data"), "X"));
}

TEST_F(LocalSearch, MissingStartDirectoryIsSkipped) {
    box.file("a/vekinfo.tag", "X 1\n");
    EXPECT_EQ(at("a/vekinfo.tag"), where(at("a/none"), "X"));
}

TEST_F(LocalSearch, AMissingParentIsReported) {
    box.file("a/vekinfo.tag", "X 1\n");
    const std::string missing = at("a/none");
    EXPECT_EQ(TOV_INVALID_PATH, search(missing + "/deep", "X"));
    EXPECT_EQ(
        (test::TagReports{
            {TOV_INVALID_PATH,
             "readlink on \"" + missing + "\" produced error \"No such file or directory\" (2)\n", "", 0}}),
        reports.take());
}

TEST_F(LocalSearch, EachLevelCostsTwoSystemCalls) {
    const auto calls = [](const std::string &start) {
        VekinfoObj unused = {};
        int isFound = 0;
        tovResetCache();
        test::faults::reset();
        EXPECT_EQ(TOV_OK, tovLocalSearchElement(start.c_str(), "X", &unused, &isFound));
        EXPECT_EQ(0, test::faults::count("readlink"));
        return test::faults::count("lstat") + test::faults::count("stat");
    };
    box.directory("a/b/c/d/e/f/g/h");
    const int few = calls(at("a/b/c/d"));
    EXPECT_EQ(few + 2 * 4, calls(at("a/b/c/d/e/f/g/h")));
}

TEST_F(LocalSearch, LinkReplacedByADirectoryIsSkipped) {
    box.file("real/vekinfo.tag", "X 1\n").link("a", "real").directory("real/b");
    test::faults::fail("readlink", 1, EINVAL);
    EXPECT_EQ(at("a/vekinfo.tag"), where(at("a/b"), "X"));
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(LocalSearch, ParentIsReadAsALinkIfLstatFails) {
    box.file("a/vekinfo.tag", "X 1\n").directory("a/b");
    test::faults::fail("lstat", 1, EACCES);
    EXPECT_EQ(at("a/vekinfo.tag"), where(at("a/b"), "X"));
    EXPECT_EQ(1, test::faults::count("readlink"));
}

TEST_F(LocalSearch, AnUnreadableLinkIsReported) {
    box.link("a", "real").directory("real/b");
    test::faults::fail("readlink", 1, EACCES);
    EXPECT_EQ(TOV_INVALID_PATH, search(at("a/b"), "X"));
    test::faults::reset();
    EXPECT_EQ((test::TagReports{
                  {TOV_INVALID_PATH,
                   "readlink on \"" + at("a") + "\" produced error \"Permission denied\" (13)\n", "", 0}}),
              reports.take());
}

TEST_F(LocalSearch, UnreadableLinkIsReportedEvenIfMemoryIsExhausted) {
    box.link("a", "real").directory("real/b");
    test::TagReports collected;
    // The text of the report is the last allocation.
    for (int nth = 1; collected != test::TagReports{{TOV_INVALID_PATH, at("a"), "", 0}} && nth < 50; ++nth) {
        tovResetCache();
        test::faults::reset();
        test::faults::fail("readlink", 1, EACCES);
        test::faults::failAllocation(nth);
        EXPECT_EQ(TOV_INVALID_PATH, search(at("a/b"), "X")) << nth;
        test::faults::reset();
        collected = reports.take();
    }
    EXPECT_EQ((test::TagReports{{TOV_INVALID_PATH, at("a"), "", 0}}), collected);
}

TEST_F(LocalSearch, SyntaxErrorEndsEverySearch) {
    box.file("a/vekinfo.tag", "X 1\n").file("a/b/vekinfo.tag", "Y 1\nVEKLIBCHECK maybe\n");
    const test::TagReports expected = {
        {TOV_SYNTAX_ERROR, "VEKLIBCHECK line in vekinfo.tag file", at("a/b/vekinfo.tag"), 2}};
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(TOV_SYNTAX_ERROR, search(at("a/b"), "X"));
        EXPECT_EQ(0, found);
        EXPECT_EQ(expected, reports.take());
    }
}

TEST_F(LocalSearch, UnreadableFileEndsTheSearch) {
    box.file("a/vekinfo.tag", "X 1\n").file("a/b/vekinfo.tag", "X 2\n", 0000);
    test::asUnprivileged([this] {
        EXPECT_EQ(TOV_SYSTEM_ERROR, search(at("a/b"), "X"));
        EXPECT_EQ((test::TagReports{
                      {TOV_SYSTEM_ERROR, "while opening vekinfo.tag file", at("a/b/vekinfo.tag"), 0}}),
                  reports.take());
    });
}

// ---- a second search in one process

TEST_F(LocalSearch, SecondSearchStopsAtFileWithOtherEntries) {
    box.file("a/vekinfo.tag", "B 1\n").file("a/b/vekinfo.tag", "A 1\n");
    EXPECT_EQ(at("a/vekinfo.tag"), where(at("a/b"), "B"));
    EXPECT_EQ(at("a/b/vekinfo.tag"), where(at("a/b"), "B"));
}

TEST_F(LocalSearch, SecondSearchPassesFileWithOnlyTheElement) {
    box.file("a/vekinfo.tag", "A 2\nZ 1\n").file("a/b/vekinfo.tag", "A 1\n");
    EXPECT_EQ(at("a/b/vekinfo.tag"), where(at("a/b"), "A"));
    EXPECT_EQ(at("a/vekinfo.tag"), where(at("a/b"), "A"));
}

// ---- symbolic links

TEST_F(LocalSearch, ALinkAmongTheParentsIsFollowed) {
    box.file("a/vekinfo.tag", "X wrong\n").file("x/vekinfo.tag", "X right\n").directory("x/y/c");
    box.link("a/b", at("x/y"));
    EXPECT_EQ(at("x/vekinfo.tag"), where(at("a/b/c"), "X"));
}

TEST_F(LocalSearch, TheTargetsOwnFileIsExaminedFirst) {
    box.file("x/vekinfo.tag", "X 1\n").file("x/y/vekinfo.tag", "X 2\n").directory("x/y/c");
    box.link("a/b", at("x/y"));
    EXPECT_EQ(at("x/y/vekinfo.tag"), where(at("a/b/c"), "X"));
}

// Only parents are tested for links, not the start itself.
TEST_F(LocalSearch, ALinkAsTheStartIsNotFollowedUpward) {
    box.file("a/vekinfo.tag", "X 1\n").file("x/vekinfo.tag", "X 2\n").directory("x/y");
    box.link("a/b", at("x/y"));
    EXPECT_EQ(at("a/vekinfo.tag"), where(at("a/b"), "X"));
    box.file("x/y/vekinfo.tag", "X 3\n");
    EXPECT_EQ(at("a/b/vekinfo.tag"), whereFresh(at("a/b"), "X"));
}

TEST_F(LocalSearch, ARelativeTargetCountsFromTheDirectoryOfTheLink) {
    box.file("x/y/vekinfo.tag", "X 1\n").directory("x/y/c").directory("a");
    box.link("a/b", "../x/y");
    EXPECT_EQ(at("a/../x/y/vekinfo.tag"), where(at("a/b/c"), "X"));
}

TEST_F(LocalSearch, DotDotInATargetIsNotResolved) {
    box.file("a/vekinfo.tag", "X 1\n").directory("x/y/c");
    box.link("a/b", "../x/y");
    // The parent of a/../x is a/.., and the parent of that is a itself.
    EXPECT_EQ(at("a/vekinfo.tag"), where(at("a/b/c"), "X"));
}

// The target replaces the link: the search continues in the parents of the target.
TEST_F(LocalSearch, LinkThatIsATargetIsNotFollowed) {
    box.file("x/vekinfo.tag", "X 1\n").directory("x/y/c").file("m/vekinfo.tag", "X 2\n");
    box.link("a/b", at("m/n")).link("m/n", at("x/y"));
    EXPECT_EQ(at("m/vekinfo.tag"), where(at("a/b/c"), "X"));
}

TEST_F(LocalSearch, ResolvedLinksAreCached) {
    box.file("x/vekinfo.tag", "DMTYPE x\n").directory("x/y/c");
    box.file("z/vekinfo.tag", "DMTYPE z\n").directory("z/y/c");
    box.link("a/b", at("x/y"));
    EXPECT_EQ(at("x/vekinfo.tag"), where(at("a/b/c"), "DMTYPE"));

    std::string key = at("a/b");
    PathlinkObj probe = {};
    probe.path = key.data();
    const PathlinkObj *link = tovLinkHashPeek(&probe);
    ASSERT_NE(nullptr, link);
    EXPECT_EQ(at("x/y"), link->target);

    box.link("a/b", at("z/y"));
    EXPECT_EQ(at("x/vekinfo.tag"), where(at("a/b/c"), "DMTYPE"));
    EXPECT_EQ(at("z/vekinfo.tag"), whereFresh(at("a/b/c"), "DMTYPE"));
}

TEST_F(LocalSearch, ATargetIsInterpolated) {
    test::setEnvironment({{"WHERE", "x"}});
    box.file("a/x/vekinfo.tag", "X 1\n").directory("a/x/y");
    box.link("a/b", "$WHERE/y");
    EXPECT_EQ(at("a/x/vekinfo.tag"), where(at("a/b/c"), "X"));
}

TEST_F(LocalSearch, DanglingTargetIsReported) {
    box.link("a/b", at("none")).link("a/r", "gone/x");
    EXPECT_EQ(TOV_INVALID_PATH, search(at("a/b/c"), "X"));
    EXPECT_EQ((test::TagReports{{TOV_PATH_PROCESSING, "tovNormalizePath", at("none"), 0},
                                {TOV_INVALID_PATH, at("none"), at("a/b/c"), 0}}),
              reports.take());
    EXPECT_EQ(TOV_INVALID_PATH, search(at("a/r/c"), "X"));
    EXPECT_EQ((test::TagReports{{TOV_PATH_PROCESSING, "tovNormalizePath", at("a/gone/x"), 0},
                                {TOV_INVALID_PATH, at("a/gone/x"), at("a/r/c"), 0}}),
              reports.take());
}

TEST_F(LocalSearch, LinkCycleIsReported) {
    box.link("a", "b").link("b", "a").link("self", "self");
    EXPECT_EQ(TOV_INVALID_PATH, search(at("a/c"), "X"));
    EXPECT_EQ((test::TagReports{{TOV_PATH_PROCESSING, "tovNormalizePath", at("b"), 0},
                                {TOV_INVALID_PATH, at("b"), at("a/c"), 0}}),
              reports.take());
    EXPECT_EQ(TOV_INVALID_PATH, search(at("self/c"), "X"));
}

TEST_F(LocalSearch, LinkToAncestorEndsAtTheRoot) {
    box.directory("a/c").link("a/up", at("a")).link("a/dot", ".");
    EXPECT_EQ("none", where(at("a/up/up/up/c"), "X"));
    EXPECT_EQ("none", where(at("a/dot/dot/c"), "X"));
}

TEST_F(LocalSearch, LinkCyclesEnd) {
    // The kernel reads "$V" literally and the search interpolates it, so the search reaches the link again.
    test::setEnvironment({{"V", "l/x"}});
    box.directory("$V/d/x/d").link("l", "$V/d");
    const test::Outcome outcome = test::inChild(
        [this] {
            search(at("l/x/z"), "X");
            EXPECT_NE(1, found);
            return 0;
        },
        test::ChildOptions{.timeoutMs = 20000});
    EXPECT_EQ(0, outcome.status);
    EXPECT_FALSE(outcome.timedOut);
}

// Documented: the second search of a cached file tests for a name other than the element.
TEST_F(LocalSearch, FilesOnALinkCycleAreSearchedTwice) {
    test::setEnvironment({{"V", "l/x"}});
    box.file("$V/d/x/d/vekinfo.tag", "A 1\n").link("l", "$V/d");
    EXPECT_EQ(at("l/x/d/vekinfo.tag"), where(at("l/x/z"), "B"));
}

TEST_F(LocalSearch, CyclesOfCachedLinksEnd) {
    box.directory("m/d/z").link("l", at("m/d"));
    EXPECT_EQ("none", where(at("l/z"), "X"));
    // The tree changes: l becomes a directory and m a link into it.
    unlink("l");
    ASSERT_EQ(0, rename("m", "m.old"));
    box.directory("l/e/d").directory("l/z").link("m", at("l/e"));
    const test::Outcome outcome = test::inChild(
        [this] {
            search(at("l/z"), "X");
            EXPECT_NE(1, found);
            return 0;
        },
        test::ChildOptions{.timeoutMs = 20000});
    EXPECT_EQ(0, outcome.status);
    EXPECT_FALSE(outcome.timedOut);
}

TEST_F(LocalSearch, LongLinkTargetsGiveADefinedResult) {
    // A normalized target holds 1023 characters; the kernel takes targets of up to 4095.
    for (const std::size_t size : {1022U, 1023U, 1024U, 1025U, 2047U, 2048U, 4094U, 4095U}) {
        tovResetCache();
        box.file("x/y/vekinfo.tag", "X 1\n").directory("x/y/c");
        const std::string target = test::spelledWith(at("x/y"), size);
        box.link("a/b", target);
        if (size <= 1023) {
            EXPECT_EQ(0, search(at("a/b/c"), "X")) << size;
            EXPECT_EQ(1, found) << size;
            EXPECT_EQ(test::kNoReports, reports.take());
        } else {
            EXPECT_EQ(TOV_INVALID_PATH, search(at("a/b/c"), "X")) << size;
            EXPECT_EQ((test::TagReports{{TOV_PATH_PROCESSING, "tovNormalizePath", target, 0},
                                        {TOV_INVALID_PATH, target, at("a/b/c"), 0}}),
                      reports.take());
        }
    }
}

TEST_F(LocalSearch, ALongRelativeTargetGivesADefinedResult) {
    box.directory("a/x/c");
    const std::string longTarget = test::spelledWith("x", 4090);
    box.link("a/b", longTarget); // with the directory prepended it exceeds 4095 characters
    EXPECT_EQ(TOV_INVALID_PATH, search(at("a/b/c"), "X"));
    EXPECT_FALSE(reports.take().empty());
}

// ---- the end of the search

TEST_F(LocalSearch, TheRootsOwnFileIsExaminedLast) {
    box.file("vekinfo.tag", "X root\nY root\n").file("a/b/vekinfo.tag", "X near\n").directory("a/b/c");
    withRootAt(box.path(), [this] {
        EXPECT_EQ("/a/b/vekinfo.tag", where("/a/b/c", "X"));
        EXPECT_EQ("/vekinfo.tag", whereFresh("/a/b/c", "Y"));
        EXPECT_EQ("/vekinfo.tag", whereFresh("/", "Y"));
        EXPECT_EQ("none", whereFresh("/", "Z"));
        EXPECT_EQ("none", whereFresh("/a/b/c", "Z"));
        EXPECT_EQ("none", whereFresh("//", "Z"));
        EXPECT_EQ("none", whereFresh("/./", "Z"));
    });
}

TEST_F(LocalSearch, ARootOfAnotherSpellingIsExaminedOnce) {
    box.file("vekinfo.tag", "X root\n").link("a/link", "//");
    withRootAt(box.path(), [this] {
        const auto isCached = [](std::string path) {
            VekinfoObj probe = {};
            probe.path = path.data();
            return tovVekinfoHashPeek(&probe) != nullptr;
        };
        for (const char *start : {"//", "/a/link/none"}) { // the second one leads to "//" through a link
            EXPECT_EQ("none", whereFresh(start, "Z"));
            EXPECT_TRUE(isCached("//vekinfo.tag")) << start;
            EXPECT_FALSE(isCached("/vekinfo.tag")) << start;
        }
    });
}

TEST_F(LocalSearch, ElementOfRootIsFoundAfterNearerFileIsCached) {
    box.file("vekinfo.tag", "DMTYPE root\n").file("a/b/vekinfo.tag", "X near\n").directory("a/b/c");
    withRootAt(box.path(), [this] {
        EXPECT_EQ("/vekinfo.tag", where("/a/b/c", "DMTYPE"));
        EXPECT_EQ("/vekinfo.tag", where("/a/b/c", "DMTYPE"));
    });
}

TEST_F(LocalSearch, AutomountDirectoriesAndTheirParentsAreNotExamined) {
    box.file("vekinfo.tag", "X root\n");
    for (const char *name : {"net", "nfs", "afs", "..."}) {
        const std::string stop = name;
        box.file(stop + "/vekinfo.tag", "X stop\n").file(stop + "/host/vekinfo.tag", "Y host\n");
        box.directory(stop + "/host/x");
    }
    box.directory("network/x");
    withRootAt(box.path(), [this] {
        for (const char *name : {"net", "nfs", "afs", "..."}) {
            const std::string stop = std::string("/") + name;
            EXPECT_EQ("none", whereFresh(stop + "/host/x", "X")) << stop;
            EXPECT_EQ("none", whereFresh(stop + "/host", "X")) << stop;
            EXPECT_EQ("none", whereFresh(stop, "X")) << stop;
            EXPECT_EQ(stop + "/host/vekinfo.tag", whereFresh(stop + "/host/x", "Y")) << stop;
            // The names are compared exactly.
            EXPECT_EQ(stop + "/vekinfo.tag", whereFresh(stop + "/", "X")) << stop;
        }
        EXPECT_EQ("/vekinfo.tag", whereFresh("/network/x", "X"));
    });
}

TEST_F(LocalSearch, ALinkDirectlyUnderTheRootIsFollowed) {
    box.file("vekinfo.tag", "X root\n")
        .file("t/vekinfo.tag", "X target\n")
        .directory("t/u/c")
        .link("l", "t/u");
    withRootAt(box.path(), [this] {
        EXPECT_EQ(0, search("/l/c", "X"));
        ASSERT_EQ(1, found);
        EXPECT_EQ((test::Entries{"X=target"}), test::entriesOf(out));
    });
}

TEST_F(LocalSearch, AMountPointEndsTheSearch) {
    box.file("vekinfo.tag", "X outside\n").directory("m");
    test::withMountAt(box.path("m"), 1U << 20U, [this] {
        box.directory("m/a/b");
        EXPECT_EQ("none", where(at("m/a/b"), "X"));
        EXPECT_EQ("none", where(at("m"), "X"));
        box.file("m/vekinfo.tag", "X inside\n");
        EXPECT_EQ(at("m/vekinfo.tag"), whereFresh(at("m/a/b"), "X"));
    });
}

TEST_F(LocalSearch, TheDeviceIsThatOfTheFirstExistingDirectory) {
    box.file("vekinfo.tag", "X outside\n").directory("m");
    test::withMountAt(box.path("m"), 1U << 20U, [this] {
        // A missing start sets no device; its parent, which is on the other device, does.
        EXPECT_EQ("none", where(at("m/none"), "X"));
        // A file sets no device either.
        box.file("m/data", "");
        EXPECT_EQ("none", where(at("m/data"), "X"));
    });
}

TEST_F(LocalSearch, StartLinkToFileOnAnotherDeviceIsSkipped) {
    box.file("vekinfo.tag", "X outside\n").directory("m").link("a/l", at("m/data"));
    test::withMountAt(box.path("m"), 1U << 20U, [this] {
        box.file("m/data", "");
        EXPECT_EQ(at("vekinfo.tag"), where(at("a/l"), "X"));
    });
}

TEST_F(LocalSearch, DeviceIsThatOfTheResolvedStart) {
    box.directory("m").directory("a");
    test::withMountAt(box.path("m"), 1U << 20U, [this] {
        box.file("m/vekinfo.tag", "X inside\n").directory("m/y/c").link("a/b", at("m/y"));
        EXPECT_EQ(at("m/vekinfo.tag"), where(at("a/b/c"), "X"));
    });
}

TEST_F(LocalSearch, ALinkToAnotherFileSystemEndsTheSearch) {
    box.file("vekinfo.tag", "X outside\n").directory("a/start").directory("m");
    test::withMountAt(box.path("m"), 1U << 20U, [this] {
        box.directory("m/start").file("m/b/vekinfo.tag", "X inside\n");
        // Both starts are links back to the file system that the link above them leaves.
        box.link("a/l", at("m/b")).link("m/b/c", at("a/start"));
        EXPECT_EQ("none", where(at("a/l/c"), "X"));
        EXPECT_EQ("none", whereFresh(at("a/l/c"), "X"));
        box.link("m/l", at("a")).link("a/c", at("m/start")).file("a/vekinfo.tag", "X outside\n");
        EXPECT_EQ("none", whereFresh(at("m/l/c"), "X"));
        // The same links on one file system are followed.
        EXPECT_EQ(at("a/vekinfo.tag"), whereFresh(at("m/l/start"), "X"));
    });
}

// ---- long and unusual arguments

TEST_F(LocalSearch, LongStartsAreSearchedCompletely) {
    box.file("vekinfo.tag", "X 1\n");
    for (const std::size_t size : {1023U, 1024U, 2047U, 2048U, 4082U, 4083U, 4084U, 4085U, 4094U, 4095U}) {
        tovResetCache();
        EXPECT_EQ(0, search(test::spelledWith(box.path(), size), "X")) << size;
        EXPECT_EQ(1, found) << size;
    }
}

TEST_F(LocalSearch, StartOfMoreThan4095CharactersIsReported) {
    box.file("vekinfo.tag", "X 1\n");
    for (const std::size_t size : {4096U, 4097U, 100000U}) {
        const std::string start = test::spelledWith(box.path(), size);
        EXPECT_EQ(TOV_INVALID_PATH, search(start, "X"));
        EXPECT_EQ(0, found) << size;
        EXPECT_EQ((test::TagReports{{TOV_INVALID_PATH, start, "", 0}}), reports.take());
    }
}

TEST_F(LocalSearch, StartTooLongForTheTagFileNameIsSkipped) {
    // Of the two one is spelled with 4083 characters without a "/" at the end.
    box.file("vekinfo.tag", "X 1\n").file("ab/vekinfo.tag", "X 2\n");
    const bool isOdd = box.path().size() % 2 == 1;
    const std::string parent = test::spelledWith(isOdd ? box.path() : at("ab"), 4083);
    EXPECT_EQ(parent + "/vekinfo.tag", where(parent + "/d", "X"));
}

TEST_F(LocalSearch, ALinkAsALongStartIsNotFollowedUpward) {
    box.file("target/vekinfo.tag", "X 1\n").link("l", at("target"));
    EXPECT_EQ("none", where(test::spelledWith(box.path(), 4082) + "/l/", "X"));
}

TEST_F(LocalSearch, RelativeStartIsSearchedUpToItsFirstComponent) {
    box.file("a/vekinfo.tag", "X 1\n").directory("a/b").file("vekinfo.tag", "Y 1\n");
    EXPECT_EQ("a/vekinfo.tag", where("a/b", "X"));
    EXPECT_EQ("none", whereFresh("a/b", "Y"));
}

TEST_F(LocalSearch, AnEmptyStartFindsNothing) {
    box.file("vekinfo.tag", "DMTYPE here\n");
    EXPECT_EQ(0, search("", "NAMESPACE"));
    EXPECT_EQ(0, found);
}

TEST_F(LocalSearch, ANullStartFindsNothing) {
    VekinfoObj given = {};
    int isFound = 7;
    EXPECT_EQ(TOV_OK, tovLocalSearchElement(nullptr, "A", &given, &isFound));
    EXPECT_EQ(0, isFound);
    EXPECT_EQ(TOV_OK, tovLocalSearchElement(nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(LocalSearch, NullResultsAreNotWritten) {
    box.file("vekinfo.tag", "A 1\n");
    const std::string here = box.path();
    VekinfoObj given = {};
    int isFound = 0;
    EXPECT_EQ(TOV_OK, tovLocalSearchElement(here.c_str(), "A", nullptr, &isFound));
    EXPECT_EQ(1, isFound);
    tovResetCache();
    EXPECT_EQ(TOV_OK, tovLocalSearchElement(here.c_str(), "A", &given, nullptr));
    EXPECT_EQ((test::Entries{"A=1"}), test::entriesOf(given));
    EXPECT_EQ(TOV_OK, tovLocalSearchElement(here.c_str(), "A", nullptr, nullptr));
}

} // namespace
