#include "tool/vekinfo_scan.h"

#include "tests/support/capture.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"
#include "tests/support/limits.h"
#include "tests/support/small_filesystem.h"
#include "tests/tagfile/tag_support.h"
#include "tool/vekinfo_check.h"

#include <dirent.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace {

/// What getdents64() does beside its work in this process.
struct Reading {
    bool hidesTypes = false;              ///< as file systems without entry types do
    std::function<void()> afterward = {}; ///< called when a directory has been read to its end
};
Reading reading;

} // namespace

// Replaces the function of the C library in this process.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the C library keeps its names to itself
extern "C" ssize_t getdents64(int directory, void *buffer, std::size_t size) {
    static const auto real =
        reinterpret_cast<ssize_t (*)(int, void *, std::size_t)>(dlsym(RTLD_NEXT, "getdents64"));
    const ssize_t count = real(directory, buffer, size);
    for (ssize_t at = 0; at < count && reading.hidesTypes;) {
        auto *entry = reinterpret_cast<dirent64 *>(static_cast<char *>(buffer) + at);
        entry->d_type = DT_UNKNOWN;
        at += entry->d_reclen;
    }
    if (count == 0 && reading.afterward) {
        reading.afterward();
    }
    return count;
}

namespace {

using test::kNoReports;
using test::TagReports;

constexpr const char *kLoop = "there seems to be a linkloop";
constexpr const char *kLimit = "too many ways through symbolic links, the rest are not followed";

class Scan : public test::TagTest {
  protected:
    void SetUp() override {
        test::TagTest::SetUp();
        box.directory("lib");
    }
    void TearDown() override {
        reading = {};
        test::TagTest::TearDown();
    }

    /// @return what the scan of `directory` prints; the fixture collects the reports
    std::string scan(const std::string &directory = "lib", int isTop = 1) const {
        test::Capture capture;
        tovScanSubdirsForVekinfo(box.path(directory).c_str(), isTop);
        EXPECT_EQ("", capture.err());
        return capture.out();
    }
    /// @return the directories that the scan prints, in order, relative to the sandbox
    std::vector<std::string> redundant(const std::string &directory = "lib", int isTop = 1) const {
        return directoriesIn(scan(directory, isTop));
    }
    /// redundant() for "lib" with a given limit
    std::vector<std::string> redundantWithin(const vek::LinkLimit &limit) const {
        test::Capture capture;
        vekinfo::ReadAhead readAhead;
        vekinfo::scanSubdirs(box.path("lib").c_str(), true, limit, readAhead);
        return directoriesIn(capture.out());
    }
    [[nodiscard]] std::vector<std::string> directoriesIn(const std::string &text) const {
        const std::string first =
            "There is a redundant vekinfo.tag file in the subdir: \n\t" + box.path() + "/";
        std::vector<std::string> found;
        for (std::size_t at = 0; at < text.size();) {
            const std::size_t end = text.find('\n', at + first.size());
            if (text.substr(at, first.size()) != first || end == std::string::npos) {
                ADD_FAILURE() << text;
                break;
            }
            found.push_back(text.substr(at + first.size(), end - at - first.size()));
            at = end + 1;
        }
        return found;
    }
    std::vector<std::string> sortedRedundant(const std::string &directory = "lib", int isTop = 1) const {
        std::vector<std::string> found = redundant(directory, isTop);
        std::sort(found.begin(), found.end());
        return found;
    }
    [[nodiscard]] test::TagReport loopIn(const std::string &directory) const {
        return {TOV_INVALID_PATH, kLoop, box.path(directory), 0};
    }
    /// @return the reports except those about cycles
    TagReports takeAllButLoops() {
        TagReports collected = reports.take();
        std::erase_if(collected, [](const test::TagReport &report) { return report.text == kLoop; });
        return collected;
    }
    /// Runs `body` with a file system in memory at the new directory "big": many files are made and removed fast.
    void onBigTree(const std::function<void()> &body) {
        box.directory("big");
        test::withMountAt(box.path("big"), std::size_t{64} << 20, body);
    }
    /// Makes the directory "big/NAME" with links to the targets, which lie in "big", too.
    void makeLinks(const std::string &name, const std::vector<std::string> &targets) const {
        const std::string directory = box.path("big/" + name);
        ASSERT_EQ(0, mkdir(directory.c_str(), 0755));
        for (std::size_t i = 0; i < targets.size(); ++i) {
            const std::string link = directory + "/" + std::to_string(i);
            ASSERT_EQ(0, symlink(box.path("big/" + targets[i]).c_str(), link.c_str()));
        }
    }
    /// Makes the directories "big/NAME/0", "big/NAME/1", ... @return their names in "big"
    [[nodiscard]] std::vector<std::string> makeDirectories(const std::string &name, int count) const {
        std::vector<std::string> names;
        EXPECT_EQ(0, mkdir(box.path("big/" + name).c_str(), 0755));
        for (int i = 0; i < count; ++i) {
            names.push_back(name + "/" + std::to_string(i));
            EXPECT_EQ(0, mkdir(box.path("big/" + names.back()).c_str(), 0755));
        }
        return names;
    }
};

using Found = std::vector<std::string>;

// ---- what is redundant

TEST_F(Scan, EachTagFileBelowTheTopIsRedundant) {
    box.file("lib/vekinfo.tag", "").file("lib/a/vekinfo.tag", "").file("lib/a/b/c/vekinfo.tag", "");
    EXPECT_EQ((Found{"lib/a", "lib/a/b/c"}), sortedRedundant());
    EXPECT_EQ(kNoReports, reports.take());
}

TEST_F(Scan, TheReportNamesTheDirectory) {
    box.file("lib/a/vekinfo.tag", "");
    EXPECT_EQ("There is a redundant vekinfo.tag file in the subdir: \n\t" + box.path("lib/a") + "\n", scan());
}

TEST_F(Scan, OnlyATopDirectoryMayHaveATagFile) {
    box.file("lib/vekinfo.tag", "");
    EXPECT_EQ(Found{}, redundant("lib", 1));
    EXPECT_EQ(Found{"lib"}, redundant("lib", 0));
    EXPECT_EQ(Found{}, redundant("lib", -1)) << "anything but 0 is true";
}

TEST_F(Scan, TheNameMustBeExact) {
    box.file("lib/a/Vekinfo.tag", "").file("lib/a/vekinfo.tags", "").file("lib/a/vekinfo.ta", "");
    box.file("lib/a/VEKINFO.TAG", "").file("lib/a/xvekinfo.tag", "").file("lib/a/.vekinfo.tag", "");
    EXPECT_EQ("", scan());
}

TEST_F(Scan, EveryFileTypeExceptDirectoryCounts) {
    box.fifo("lib/a/vekinfo.tag").link("lib/b/vekinfo.tag", "/none").link("lib/c/vekinfo.tag", "vekinfo.tag");
    box.file("lib/other", "").link("lib/d/vekinfo.tag", "../other").file("lib/e/vekinfo.tag", "", 0);
    EXPECT_EQ((Found{"lib/a", "lib/b", "lib/c", "lib/d", "lib/e"}), sortedRedundant());
    EXPECT_EQ(kNoReports, reports.take());
}

TEST_F(Scan, ADirectoryOfThatNameIsEntered) {
    box.file("lib/a/vekinfo.tag/vekinfo.tag", "").file("other/vekinfo.tag", "");
    box.link("lib/b/vekinfo.tag", box.path("other"));
    EXPECT_EQ((Found{"lib/a/vekinfo.tag", "other"}), sortedRedundant());
}

TEST_F(Scan, DirectoriesWhoseNamesBeginWithDotsAreEntered) {
    box.file("lib/.a/vekinfo.tag", "").file("lib/..b/vekinfo.tag", "").file("lib/.../vekinfo.tag", "");
    EXPECT_EQ((Found{"lib/...", "lib/..b", "lib/.a"}), sortedRedundant());
}

TEST_F(Scan, EntriesAreScannedInDirectoryOrder) {
    for (const char *name : {"one", "two", "three", "four", "five"}) {
        box.file("lib/" + std::string(name) + "/vekinfo.tag", "");
        box.file("lib/" + std::string(name) + "/deeper/vekinfo.tag", "");
    }
    Found expected;
    const auto visit = [&](const std::string &directory, const auto &again) -> void {
        std::vector<std::string> names;
        DIR *stream = opendir(box.path(directory).c_str());
        while (const dirent *entry = readdir(stream)) {
            names.emplace_back(entry->d_name);
        }
        closedir(stream);
        for (const std::string &name : names) {
            if (name == "vekinfo.tag") {
                expected.push_back(directory);
            } else if (name[0] != '.') {
                again(directory + "/" + name, again);
            }
        }
    };
    visit("lib", visit);
    ASSERT_EQ(10U, expected.size());
    EXPECT_EQ(expected, redundant());
}

TEST_F(Scan, MissingDirectoryIsSkipped) {
    EXPECT_EQ("", scan("none"));
    box.file("lib/vekinfo.tag", "");
    EXPECT_EQ("", scan("lib/vekinfo.tag", 0));
    tovScanSubdirsForVekinfo("", 0);
    EXPECT_EQ(kNoReports, reports.take());
}

TEST_F(Scan, UnreadableDirectoriesAreSkipped) {
    box.file("lib/a/vekinfo.tag", "").file("lib/b/vekinfo.tag", "").file("lib/c/vekinfo.tag", "");
    box.directory("lib/b", 0);
    test::asUnprivileged([this] {
        EXPECT_EQ((Found{"lib/a", "lib/c"}), sortedRedundant());
        EXPECT_EQ(kNoReports, reports.take());
    });
}

TEST_F(Scan, EntriesOfUnsearchableDirectoriesCountAsFiles) {
    box.file("lib/a/b/vekinfo.tag", "")
        .file("lib/c/vekinfo.tag/vekinfo.tag", "")
        .file("lib/d/vekinfo.tag", "");
    box.directory("lib/a", 0444).directory("lib/c", 0444).directory("lib/d", 0444);
    test::asUnprivileged([this] {
        EXPECT_EQ((Found{"lib/c", "lib/d"}), sortedRedundant());
        EXPECT_EQ(kNoReports, reports.take());
    });
}

TEST_F(Scan, ARelativeDirectoryIsScannedToo) {
    box.file("lib/a/vekinfo.tag", "").link("lib/up", "..");
    test::Capture capture;
    tovScanSubdirsForVekinfo("lib", 1);
    EXPECT_EQ("There is a redundant vekinfo.tag file in the subdir: \n\tlib/a\n", capture.out());
    EXPECT_EQ((TagReports{{TOV_INVALID_PATH, kLoop, "lib", 0}}), reports.take());
}

// ---- links

TEST_F(Scan, LinksToDirectoriesAreFollowed) {
    box.file("other/vekinfo.tag", "").file("other/deeper/vekinfo.tag", "").link("lib/a", box.path("other"));
    EXPECT_EQ((Found{"other", "other/deeper"}), sortedRedundant());
    EXPECT_EQ(kNoReports, reports.take());
}

TEST_F(Scan, ARelativeTargetCountsFromTheDirectoryOfTheLink) {
    box.file("other/vekinfo.tag", "").file("other/deeper/vekinfo.tag", "").directory("lib/a");
    box.link("lib/a/b", "../../other");
    EXPECT_EQ((Found{"lib/a/../../other", "lib/a/../../other/deeper"}), sortedRedundant());
}

TEST_F(Scan, DirectoryIsScannedOnceForEachLink) {
    box.file("other/vekinfo.tag", "").link("lib/a", box.path("other")).link("lib/b", box.path("other"));
    EXPECT_EQ((Found{"other", "other"}), redundant());
}

TEST_F(Scan, ATargetMayHoldVariables) {
    box.directory("$PLACE").file("other/vekinfo.tag", "").link("lib/a", box.path("$PLACE"));
    test::setEnvironment({{"PLACE", "other"}});
    EXPECT_EQ(Found{"other"}, redundant());
}

TEST_F(Scan, ATargetThatCannotBeNormalizedIsReported) {
    box.directory("$UNKNOWN").link("lib/a", box.path("$UNKNOWN")).link("lib/b", "../$UNKNOWN");
    const std::string absolute = box.path("$UNKNOWN");
    const std::string relative = box.path("lib/../$UNKNOWN");
    EXPECT_EQ("", scan());
    TagReports collected = reports.take();
    ASSERT_EQ(4U, collected.size());
    if (collected[0].where == relative) { // the order of the two links is the directory's
        std::rotate(collected.begin(), collected.begin() + 2, collected.end());
    }
    EXPECT_EQ((TagReports{{TOV_PATH_PROCESSING, "tovNormalizePath", absolute, 0},
                          {TOV_INVALID_PATH, absolute, box.path("lib/a"), 0},
                          {TOV_PATH_PROCESSING, "tovNormalizePath", relative, 0},
                          {TOV_INVALID_PATH, relative, box.path("lib/b"), 0}}),
              collected);
}

TEST_F(Scan, ATargetThatCannotBeReadIsReported) {
    box.directory("secret", 0).link("lib/a", box.path("secret"));
    test::asUnprivileged([this] {
        EXPECT_EQ("", scan());
        EXPECT_EQ((TagReports{{TOV_PATH_PROCESSING, "tovNormalizePath", box.path("secret"), 0},
                              {TOV_INVALID_PATH, box.path("secret"), box.path("lib/a"), 0}}),
                  reports.take());
    });
}

TEST_F(Scan, ATargetHasAtMost1023Characters) {
    box.file("other/vekinfo.tag", "");
    const std::string fits = test::spelledWith(box.path("other"), 1023);
    const std::string tooLong = test::spelledWith(box.path("other"), 1024);
    box.link("lib/a", fits);
    EXPECT_EQ("There is a redundant vekinfo.tag file in the subdir: \n\t" + fits + "\n", scan());
    EXPECT_EQ(kNoReports, reports.take());
    box.link("lib/a", tooLong);
    EXPECT_EQ("", scan());
    EXPECT_EQ((TagReports{{TOV_PATH_PROCESSING, "tovNormalizePath", tooLong, 0},
                          {TOV_INVALID_PATH, tooLong, box.path("lib/a"), 0}}),
              reports.take());
}

TEST_F(Scan, ALongRelativeTargetIsReportedWhole) {
    // The longest target that a link can have and that still leads to a directory.
    const std::string target = "../" + test::spelledWith("other", 4092);
    box.directory("other").link("lib/a", target);
    EXPECT_EQ("", scan());
    const std::string absolute = box.path("lib/" + target);
    EXPECT_EQ((TagReports{{TOV_PATH_PROCESSING, "tovNormalizePath", absolute, 0},
                          {TOV_INVALID_PATH, absolute, box.path("lib/a"), 0}}),
              reports.take());
}

TEST_F(Scan, AFailedLinkReadIsReported) {
    box.file("other/vekinfo.tag", "").link("lib/a", box.path("other"));
    test::faults::fail("readlink", 1, EIO);
    EXPECT_EQ("", scan());
    EXPECT_EQ((TagReports{{TOV_INVALID_PATH, box.path("lib"), "", 0}}), reports.take());
}

TEST_F(Scan, DanglingAndCyclicLinksAreNoDirectories) {
    box.link("lib/a", "/none").link("lib/b", "b").link("lib/c", "d").link("lib/d", "c");
    EXPECT_EQ("", scan());
    EXPECT_EQ(kNoReports, reports.take());
}

TEST_F(Scan, ChainsOfLinksAreFollowed) {
    box.file("end/vekinfo.tag", "").link("chain0", "end");
    for (int i = 1; i < 30; ++i) {
        box.link("chain" + std::to_string(i), "chain" + std::to_string(i - 1));
    }
    box.link("lib/a", box.path("chain29"));
    EXPECT_EQ(Found{"chain29"}, redundant());
}

TEST_F(Scan, ChainsOfLinkedDirectoriesAreFollowedToTheirEnd) {
    constexpr int kLength = 300;
    for (int i = 0; i < kLength; ++i) {
        box.link("d" + std::to_string(i) + "/next", box.path("d" + std::to_string(i + 1)));
    }
    box.file("d" + std::to_string(kLength) + "/vekinfo.tag", "").link("lib/a", box.path("d0"));
    EXPECT_EQ(Found{"d" + std::to_string(kLength)}, redundant());
    EXPECT_EQ(kNoReports, reports.take());
}

// ---- cycles

TEST_F(Scan, LinkToTheParentOfTheLibraryIsACycle) {
    box.file("vekinfo.tag", "").link("lib/a", box.path());
    EXPECT_EQ("", scan());
    EXPECT_EQ(TagReports{loopIn("lib")}, reports.take());
}

TEST_F(Scan, RelativeLinkToTheParentIsACycle) {
    box.file("vekinfo.tag", "").link("lib/a", "..");
    EXPECT_EQ("", scan());
    EXPECT_EQ(TagReports{loopIn("lib")}, reports.take());
}

TEST_F(Scan, LinkToItsOwnDirectoryIsACycle) {
    box.directory("lib/sub").link("lib/sub/a", ".");
    EXPECT_EQ("", scan());
    EXPECT_EQ(TagReports{loopIn("lib/sub")}, reports.take());
    box.link("lib/sub/a", box.path("lib/sub"));
    EXPECT_EQ("", scan());
    EXPECT_EQ(TagReports{loopIn("lib/sub")}, reports.take());
}

TEST_F(Scan, LinkToADirectoryOnTheDescentIsACycle) {
    for (const std::string &target : {std::string("../../.."), box.path("lib")}) {
        box.directory("lib/a/b/c").link("lib/a/b/c/link", target);
        EXPECT_EQ("", scan());
        EXPECT_EQ(TagReports{loopIn("lib/a/b/c")}, reports.take()) << target;
    }
}

TEST_F(Scan, LinkToAnyDirectoryAboveTheLibraryIsACycle) {
    for (const char *target : {"../..", "../../..", "../../../../../../../../../..", "/"}) {
        box.directory("lib/a").link("lib/a/link", target);
        EXPECT_EQ("", scan());
        EXPECT_EQ(TagReports{loopIn("lib/a")}, reports.take()) << target;
    }
}

TEST_F(Scan, DirectoryOnTheDescentByAnotherPathIsACycle) {
    box.link("alias", box.path("lib")).directory("lib/a").link("lib/a/link", box.path("alias"));
    EXPECT_EQ("", scan());
    EXPECT_EQ(TagReports{loopIn("lib/a")}, reports.take());
    box.link("lib/a/link", box.path("lib/../lib/a"));
    EXPECT_EQ("", scan());
    EXPECT_EQ(TagReports{loopIn("lib/a")}, reports.take());
}

TEST_F(Scan, TargetThatIsATextPrefixIsACycle) {
    box.file("li/vekinfo.tag", "").link("lib/a", box.path("li"));
    EXPECT_EQ("", scan()) << "though it lies beside the library";
    EXPECT_EQ(TagReports{loopIn("lib")}, reports.take());
    box.directory("lib/sub").file("lib/s/vekinfo.tag", "").link("lib/sub/b", box.path("lib/s"));
    EXPECT_EQ(Found{"lib/s"}, redundant());
    EXPECT_EQ(2U, reports.take().size());
}

TEST_F(Scan, LongerTargetWithTheSamePrefixIsNoCycle) {
    box.file("library/vekinfo.tag", "").link("lib/a", box.path("library"));
    EXPECT_EQ(Found{"library"}, redundant());
    EXPECT_EQ(kNoReports, reports.take());
}

TEST_F(Scan, ALinkToASiblingIsFollowed) {
    box.file("lib/b/vekinfo.tag", "").directory("lib/a").link("lib/a/link", "../b");
    EXPECT_EQ((Found{"lib/a/../b", "lib/b"}), sortedRedundant());
    EXPECT_EQ(kNoReports, reports.take());
}

TEST_F(Scan, LinksThatCrossBetweenSubtreesEnd) {
    box.file("lib/a/vekinfo.tag", "").link("lib/a/link", box.path("lib/b"));
    box.file("lib/b/vekinfo.tag", "").link("lib/b/link", box.path("lib/a"));
    EXPECT_EQ((Found{"lib/a", "lib/a", "lib/b", "lib/b"}), sortedRedundant())
        << "each is scanned by itself and through the link in the other";
    TagReports collected = reports.take();
    std::sort(collected.begin(), collected.end(),
              [](const test::TagReport &x, const test::TagReport &y) { return x.where < y.where; });
    EXPECT_EQ((TagReports{loopIn("lib/a"), loopIn("lib/b")}), collected);
}

TEST_F(Scan, RelativeLinksThatCrossBetweenSubtreesEnd) {
    box.directory("lib/a").link("lib/a/link", "../b").directory("lib/b").link("lib/b/link", "../a");
    EXPECT_EQ("", scan());
    TagReports collected = reports.take();
    std::sort(collected.begin(), collected.end(),
              [](const test::TagReport &x, const test::TagReport &y) { return x.where < y.where; });
    EXPECT_EQ((TagReports{loopIn("lib/a/../b"), loopIn("lib/b/../a")}), collected);
}

TEST_F(Scan, DirectoryOnTheDescentIsNotEnteredFromAbove) {
    box.link("lib/a", box.path("x/1")).link("x/1/2/link", box.path("y/1")).link("y/1/2/link", box.path("x"));
    box.file("x/1/vekinfo.tag", "").file("y/1/vekinfo.tag", "").file("x/z/vekinfo.tag", "");
    // The last link leads to "x", which is not on the descent and is entered. "x/1" is on it.
    EXPECT_EQ((Found{"x/1", "x/z", "y/1"}), sortedRedundant());
    EXPECT_EQ(TagReports{loopIn("x")}, reports.take());
}

TEST_F(Scan, ADirectoryMayBeReachedAgainAfterItWasLeft) {
    box.file("other/sub/vekinfo.tag", "");
    for (const char *name : {"lib/a", "lib/b"}) {
        box.link(name, box.path("other"));
    }
    for (const char *name : {"lib/c", "lib/d"}) {
        box.link(name, box.path("other/sub"));
    }
    EXPECT_EQ((Found{"other/sub", "other/sub", "other/sub", "other/sub"}), redundant());
    EXPECT_EQ(kNoReports, reports.take());
}

TEST_F(Scan, SiblingsWithLinksAreScannedOneAfterTheOther) {
    for (const std::string name : {"a", "b"}) {
        box.link("lib/" + name + "/out", box.path("other")).link("lib/" + name + "/back", "../" + name);
    }
    box.file("other/vekinfo.tag", "");
    EXPECT_EQ((Found{"other", "other"}), redundant());
    TagReports collected = reports.take();
    std::sort(collected.begin(), collected.end(),
              [](const test::TagReport &x, const test::TagReport &y) { return x.where < y.where; });
    EXPECT_EQ((TagReports{loopIn("lib/a"), loopIn("lib/b")}), collected);
}

TEST_F(Scan, ABindMountOfADirectoryAboveIsNoCycle) {
    onBigTree([this] {
        const std::string lib = box.path("big/lib");
        box.file("big/lib/vekinfo.tag", "").file("big/lib/a/vekinfo.tag", "").directory("big/lib/bind");
        box.link("big/top/link", lib);
        ASSERT_EQ(0, mount(lib.c_str(), (lib + "/bind").c_str(), nullptr, MS_BIND, nullptr));
        // In the mounted directory "bind" is empty.
        const Found below = {"big/lib/a", "big/lib/bind", "big/lib/bind/a"};
        EXPECT_EQ(below, sortedRedundant("big/lib"));
        EXPECT_EQ(kNoReports, reports.take());
        Found all = below;
        all.insert(all.begin(), "big/lib");
        EXPECT_EQ(all, sortedRedundant("big/top"));
        EXPECT_EQ(kNoReports, reports.take());
    });
}

TEST_F(Scan, ScanContinuesAfterACycle) {
    for (const char *name : {"a", "m", "z"}) {
        box.file("lib/" + std::string(name) + "/vekinfo.tag", "");
        box.link("lib/" + std::string(name) + "up", "..");
    }
    EXPECT_EQ((Found{"lib/a", "lib/m", "lib/z"}), sortedRedundant());
    EXPECT_EQ((TagReports{loopIn("lib"), loopIn("lib"), loopIn("lib")}), reports.take());
}

TEST_F(Scan, CompletelyLinkedDirectoriesAreScannedInEveryOrder) {
    for (const std::string name : {"a", "b", "c", "d"}) {
        box.file("lib/" + name + "/vekinfo.tag", "");
        for (const std::string other : {"a", "b", "c", "d"}) {
            box.link("lib/" + name + "/to_" + other, box.path("lib/" + other));
        }
    }
    const Found found = redundant();
    // Paths through one, two, three and all four directories.
    EXPECT_EQ(4U + 4 * 3 + 4 * 3 * 2 + 4 * 3 * 2 * 1, found.size());
}

/// Makes sibling directories, each with links to all following siblings, and with a tag file below it.
void linkToFollowing(test::Sandbox &box, int directories) {
    for (int i = 0; i < directories; ++i) {
        const std::string directory = "lib/d" + std::to_string(i);
        box.file(directory + "/below/vekinfo.tag", "");
        for (int other = i + 1; other < directories; ++other) {
            box.link(directory + "/to" + std::to_string(other), box.path("lib/d" + std::to_string(other)));
        }
    }
}

TEST_F(Scan, LinksToSiblingsAreFollowedOnEveryPath) {
    linkToFollowing(box, 10);
    EXPECT_EQ(1023U, redundant().size()) << "every choice of them but none, in their order";
    EXPECT_EQ(kNoReports, reports.take());
}

// ---- many links within the limit

TEST_F(Scan, ManyLinkedCellsBehindTwoLinksAreScanned) {
    onBigTree([this] {
        const std::vector<std::string> cells = makeDirectories("cells", 21'000);
        box.file("big/" + cells.back() + "/vekinfo.tag", "");
        makeLinks("release", cells);
        makeLinks("project", {"release"});
        makeLinks("lib", {"project"});
        test::faults::reset();
        EXPECT_EQ(Found{"big/cells/20999"}, redundant("big/lib"));
        EXPECT_EQ(kNoReports, reports.take());
        EXPECT_EQ(1 + 2 + 21'000, test::faults::count("open"));
    });
}

TEST_F(Scan, ManyLinksToOneDirectoryBehindTwoLinksAreScanned) {
    onBigTree([this] {
        ASSERT_EQ(1U, makeDirectories("cells", 1).size());
        makeLinks("release", std::vector<std::string>(21'000, "cells/0"));
        makeLinks("project", {"release"});
        makeLinks("lib", {"project"});
        test::faults::reset();
        EXPECT_EQ("", scan("big/lib"));
        EXPECT_EQ(kNoReports, reports.take());
        EXPECT_EQ(1 + 2 + 21'000, test::faults::count("open"));
    });
}

TEST_F(Scan, ManyDirectoriesBehindNineNestedLinksAreScanned) {
    onBigTree([this] {
        const std::vector<std::string> directories = makeDirectories("inner", 2000);
        for (const std::string &directory : directories) {
            box.file("big/" + directory + "/vekinfo.tag", "");
        }
        std::string inner = "inner";
        for (int i = 0; i < 8; ++i) {
            makeLinks("nest" + std::to_string(i), {inner});
            inner = "nest" + std::to_string(i);
        }
        makeLinks("lib", {inner});
        EXPECT_EQ(2000U, redundant("big/lib").size());
        EXPECT_EQ(kNoReports, reports.take());
    });
}

TEST_F(Scan, AHundredReleasesOfAThousandLinkedCellsAreScanned) {
    onBigTree([this] {
        makeLinks("release", makeDirectories("cells", 1000));
        makeLinks("lib", std::vector<std::string>(100, "release"));
        test::faults::reset();
        EXPECT_EQ("", scan("big/lib"));
        EXPECT_EQ(kNoReports, reports.take());
        EXPECT_EQ(1 + 100 * (1 + 1000), test::faults::count("open"));
    });
}

// ---- the limit of ways through links

TEST_F(Scan, ExceededLimitIsReportedOnce) {
    constexpr unsigned kDirectories = 12; // 4095 ways
    constexpr unsigned kLinks = kDirectories * (kDirectories - 1) / 2;
    linkToFollowing(box, kDirectories);
    EXPECT_EQ(4095U, redundantWithin({.followed = 4095 - kDirectories, .followedPerLink = 0}).size());
    EXPECT_EQ(kNoReports, reports.take());

    for (const unsigned perLink : {0U, 1U, 7U}) {
        const Found found = redundantWithin({.followed = 1000, .followedPerLink = perLink});
        const std::set<std::string> different(found.begin(), found.end());
        EXPECT_EQ(kDirectories, different.size()) << "directories that are no links are scanned all the same";
        // Not all links have been read before the limit is reached.
        EXPECT_LE(kDirectories + 1000U + (perLink == 0 ? 0 : 1), found.size());
        EXPECT_GE(kDirectories + 1000U + perLink * kLinks, found.size());
        const TagReports collected = reports.take();
        ASSERT_EQ(1U, collected.size());
        EXPECT_EQ((test::TagReport{TOV_INVALID_PATH, kLimit, collected[0].where, 0}), collected[0]);
        EXPECT_EQ(0U, collected[0].where.find(box.path("lib/d")))
            << "the directory with the first link not followed";
    }
}

TEST_F(Scan, EachDifferentLinkRaisesTheLimit) {
    // The directory "all" is visited twice, and each time four links are followed.
    for (const std::string name : {"a", "b", "c", "d"}) {
        box.link("all/" + name, box.path("end"));
    }
    box.file("end/vekinfo.tag", "").link("lib/a", box.path("all")).link("lib/b", box.path("all"));
    const std::size_t ways = 2 + 8;
    const std::size_t links = 2 + 4;
    EXPECT_EQ(8U, redundantWithin({.followed = ways, .followedPerLink = 0}).size());
    EXPECT_EQ(8U, redundantWithin({.followed = ways - links, .followedPerLink = 1}).size());
    EXPECT_EQ(kNoReports, reports.take());
    EXPECT_EQ(7U, redundantWithin({.followed = ways - links - 1, .followedPerLink = 1}).size());
    EXPECT_EQ((TagReports{{TOV_INVALID_PATH, kLimit, box.path("all"), 0}}), reports.take());
}

TEST_F(Scan, CompletelyLinkedDirectoriesEndAtTheLimit) {
    constexpr int kDirectories = 14; // in every order, these are more than 200,000,000,000 ways
    for (int i = 0; i < kDirectories; ++i) {
        const std::string directory = "lib/d" + std::to_string(i);
        box.file(directory + "/inner/vekinfo.tag", "");
        for (int other = 0; other < kDirectories; ++other) {
            box.link(directory + "/link" + std::to_string(other), box.path("lib/d" + std::to_string(other)));
        }
    }
    const Found found = redundantWithin({.followed = 1000, .followedPerLink = 2});
    EXPECT_EQ(14U, (std::set<std::string>(found.begin(), found.end()).size()));
    const TagReports collected = takeAllButLoops();
    ASSERT_EQ(1U, collected.size());
    EXPECT_EQ(kLimit, collected[0].text);
}

TEST_F(Scan, LinkedTagFilesAreReportedAtTheLimit) {
    box.link("lib/a/vekinfo.tag", "/none")
        .file("other/vekinfo.tag", "")
        .link("lib/b/link", box.path("other"));
    box.link("lib/c/link", box.path("other")).link("lib/d/vekinfo.tag", box.path("other"));
    EXPECT_EQ(Found{"lib/a"}, redundantWithin({.followed = 0, .followedPerLink = 0}));
    EXPECT_EQ(1U, reports.take().size());
    reading.hidesTypes = true;
    EXPECT_EQ(Found{"lib/a"}, redundantWithin({.followed = 0, .followedPerLink = 0}));
    EXPECT_EQ(1U, reports.take().size());
}

TEST_F(Scan, LinksToFilesAreNotCounted) {
    box.file("file", "").directory("lib");
    for (int i = 0; i < 20; ++i) {
        box.link("lib/" + std::to_string(i), box.path("file"));
    }
    EXPECT_EQ("", scan());
    redundantWithin({.followed = 0, .followedPerLink = 0});
    EXPECT_EQ(kNoReports, reports.take());
}

// ---- system calls

TEST_F(Scan, FileSystemsWithoutEntryTypesGiveTheSameReport) {
    box.file("lib/vekinfo.tag", "").file("lib/a/vekinfo.tag", "").file("lib/a/b/vekinfo.tag", "");
    box.directory("lib/c/vekinfo.tag").fifo("lib/d/vekinfo.tag").link("lib/e/vekinfo.tag", "/none");
    box.file("other/vekinfo.tag", "")
        .link("lib/link", box.path("other"))
        .link("lib/up", "..")
        .link("lib/x", "x");
    const std::string text = scan();
    const TagReports collected = reports.take();
    EXPECT_EQ(TagReports{loopIn("lib")}, collected);
    reading.hidesTypes = true;
    EXPECT_EQ(text, scan());
    EXPECT_EQ(collected, reports.take());
}

TEST_F(Scan, EntryTypesSaveSystemCalls) {
    for (int i = 0; i < 20; ++i) {
        box.file("lib/cell" + std::to_string(i) + "/view/file", "");
    }
    test::faults::reset();
    EXPECT_EQ("", scan());
    EXPECT_EQ(41, test::faults::count("open"));
    EXPECT_EQ(0, test::faults::count("stat"));
    EXPECT_EQ(0, test::faults::count("lstat"));
    EXPECT_EQ(0, test::faults::count("readlink"));
}

TEST_F(Scan, CostOfALinkDoesNotDependOnDepth) {
    std::string deep = "lib";
    for (int i = 0; i < 50; ++i) {
        deep += "/d";
    }
    for (int i = 0; i < 40; ++i) {
        box.link(deep + "/" + std::to_string(i), box.path("other" + std::to_string(i)));
        box.link("other" + std::to_string(i) + "/link", box.path("end"));
    }
    box.directory("end");
    test::faults::reset();
    EXPECT_EQ("", scan());
    EXPECT_EQ(kNoReports, reports.take());
    // Two stat() calls for each link: whether it is a directory, and its identity. The ancestors of the directory where
    // the path begins are compared with the target: those of the library once, those of each "other" until a cached
    // one. Each target is tested for being readable.
    const int above = static_cast<int>(std::count(deep.begin(), deep.end(), '/')) + 20;
    EXPECT_GE(above + 80 * 4, test::faults::count("stat"));
}

TEST_F(Scan, Scans3000LevelsWith16Descriptors) {
    onBigTree([this] {
        std::string path = "big/lib";
        for (int level = 1; level <= 3000; ++level) {
            path += "/d";
        }
        box.directory(path);
        const std::string far = path.substr(0, std::string("big/lib").size() + 2 * 1900);
        box.file(far + "/vekinfo.tag", "").file(path + "/vekinfo.tag", "");
        const test::SoftLimit limit(RLIMIT_NOFILE, 16);
        // Paths of more than 4095 characters cannot be opened.
        EXPECT_EQ(Found{far}, redundant("big/lib"));
        EXPECT_EQ(kNoReports, reports.take());
    });
}

TEST_F(Scan, LinksBelow1400LevelsAreFollowed) {
    // The ancestors of a link target are searched for at most 1365 levels, the number of "/.." in the longest path. Each
    // link leads at most 450 levels down, so that all ancestors are in the cache when the last link is followed.
    onBigTree([this] {
        box.directory("big/lib").file("big/other/vekinfo.tag", "");
        std::string from = "big/lib";
        std::string path = "big/c";
        for (const int levels : {300, 450, 450, 200}) {
            for (int i = 0; i < levels; ++i) {
                path += "/d";
            }
            const std::string near =
                "big/to" + std::to_string(path.size()); // a target has at most 1023 characters
            box.directory(path).link(near, box.path(path)).link(from + "/link", box.path(near));
            from = path;
        }
        box.link(from + "/link", box.path("big/other"));
        // Three of the four directories are reached in two ways: through a link, and as a subdirectory.
        EXPECT_EQ(Found(8, "big/other"), redundant("big/lib"));
        EXPECT_EQ(kNoReports, reports.take());
    });
}

// ---- changes and failures during a scan

TEST_F(Scan, VanishingEntriesAreSkipped) {
    box.file("lib/a/vekinfo.tag", "").file("lib/b/vekinfo.tag", "").directory("other");
    box.link("lib/c", box.path("other"));
    reading.afterward = [this] {
        test::removeTree(box.path("lib/a"));
        test::removeTree(box.path("lib/b"));
        test::removeTree(box.path("other"));
    };
    EXPECT_EQ("", scan());
    EXPECT_EQ(kNoReports, reports.take());
}

TEST_F(Scan, DirectoryReplacedByALinkEndsTheScan) {
    box.directory("lib/a");
    reading.afterward = [this] { box.link("lib/vekinfo.tag", "a"); };
    EXPECT_EQ("", scan());
    EXPECT_EQ(kNoReports, reports.take());
}

TEST_F(Scan, DirectoryThatCannotBeOpenedIsSkipped) {
    box.file("lib/a/vekinfo.tag", "").file("lib/b/vekinfo.tag", "");
    for (const int error : {EMFILE, EIO, ENOMEM, ESTALE}) {
        test::faults::fail("open", 2, error);
        EXPECT_EQ(1U, redundant().size()) << error;
        EXPECT_EQ(kNoReports, reports.take());
    }
}

TEST_F(Scan, ScanReportsExhaustedMemory) {
    box.file("lib/a/vekinfo.tag", "").link("lib/a/cross", box.path("lib/d")).link("lib/d/cross", "../a");
    box.file("other/vekinfo.tag", "")
        .file("other/sub/vekinfo.tag", "")
        .link("other/sub/back", box.path("other"));
    box.link("lib/b", "../other").link("lib/c", "..").link("lib/e", box.path("chain0"));
    // More levels than the first allocation for the descent holds.
    for (int i = 0; i < 30; ++i) {
        const std::string name = "chain" + std::to_string(i);
        box.link(name + "/next", box.path("chain" + std::to_string(i + 1)));
        box.link(name + "/back", "../" + name);
    }
    box.file("chain30/vekinfo.tag", "");
    const Found all = redundant();
    EXPECT_EQ(5U, all.size()) << testing::PrintToString(all);
    const TagReports usual = reports.take();
    EXPECT_EQ(34U, usual.size()) << testing::PrintToString(usual);
    bool isComplete = false;
    int times = 0;
    for (int nth = 1; !isComplete; ++nth) {
        test::faults::failAllocation(nth);
        const Found found = redundant();
        isComplete = test::faults::count("malloc") < nth;
        test::faults::reset();
        const TagReports collected = reports.take();
        const auto isMemoryReport = [](const test::TagReport &report) {
            return report.code == TOV_MEMORY_ERROR || report.code == TOV_PATH_PROCESSING;
        };
        EXPECT_TRUE((found == all && collected == usual) ||
                    std::any_of(collected.begin(), collected.end(), isMemoryReport))
            << nth << testing::PrintToString(collected) << testing::PrintToString(found);
        times += isComplete ? 0 : 1;
        ASSERT_GT(200, nth);
    }
    EXPECT_LT(10, times);
}

TEST_F(Scan, WithoutMemoryAtAllTheScanEnds) {
    box.file("lib/a/vekinfo.tag", "").link("lib/b", box.path("other")).link("other/back", box.path("lib"));
    for (int nth = 1; nth < 60; ++nth) {
        test::faults::failAllocationsFrom(nth);
        redundant();
        test::faults::reset();
        reports.take();
    }
}

TEST_F(Scan, TheReportOfMissingMemoryNamesTheDirectory) {
    box.directory("lib/a");
    test::faults::failAllocation(1);
    EXPECT_EQ("", scan());
    EXPECT_EQ((TagReports{{TOV_MEMORY_ERROR, "while looking for vekinfo.tag files", box.path("lib"), 0}}),
              reports.take());
}

} // namespace
