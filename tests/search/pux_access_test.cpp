// The permission test without access().

#include "search/puxi_access.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"
#include "tests/support/sandbox.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <string>

namespace {

struct AccessResult {
    int result;
    int error;
    int accessCalls;
};

AccessResult check(const std::string &path, int mode) {
    test::faults::reset();
    errno = 0;
    const int result = pux_quick_access(path.c_str(), mode);
    return {result, errno, test::faults::count("access")};
}

void expectGrantedByItsBits(const std::string &path, int mode) {
    const AccessResult result = check(path, mode);
    EXPECT_EQ(result.result, 0) << path;
    EXPECT_EQ(result.accessCalls, 0) << path;
}

void expectRefusedByAccess(const std::string &path, int mode) {
    const AccessResult result = check(path, mode);
    EXPECT_EQ(result.result, -1) << path;
    EXPECT_EQ(result.error, EACCES) << path;
    EXPECT_EQ(result.accessCalls, 1) << path;
}

/// Makes a file of the user who calls.
std::string ownFile(const test::Sandbox &box, mode_t mode) {
    std::string path = box.path("open/f" + std::to_string(mode));
    const int descriptor = open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
    EXPECT_GE(descriptor, 0);
    EXPECT_EQ(fchmod(descriptor, mode), 0);
    close(descriptor);
    return path;
}

/// Whether the files of this process can be somebody else's for what asUnprivileged() runs.
bool canBeForeign() {
    return geteuid() == 0;
}

} // namespace

TEST(QuickAccess, MissingFileFailsWithTheErrorOfStat) {
    const test::Sandbox box;
    for (const int mode : {PUXI_EXISTS, PUXI_EXECUTABLE, PUXI_WRITABLE, PUXI_READABLE}) {
        const AccessResult result = check(box.path("none"), mode);
        EXPECT_EQ(result.result, -1);
        EXPECT_EQ(result.error, ENOENT);
        EXPECT_EQ(result.accessCalls, 0);
    }
}

TEST(QuickAccess, FileUsedAsDirectoryGivesTheErrnoOfStat) {
    test::Sandbox box;
    box.file("f", "");
    const AccessResult result = check(box.path("f/g"), PUXI_READABLE);
    EXPECT_EQ(result.result, -1);
    EXPECT_EQ(result.error, ENOTDIR);
}

TEST(QuickAccess, NullPathFails) {
    errno = 0;
    EXPECT_EQ(pux_quick_access(nullptr, PUXI_READABLE), -1);
    EXPECT_EQ(errno, EFAULT);
}

TEST(QuickAccess, ModeZeroAsksForExistenceOnly) {
    test::Sandbox box;
    box.file("f", "", 0000);
    test::asUnprivileged([&] { expectGrantedByItsBits(box.path("f"), PUXI_EXISTS); });
}

TEST(QuickAccess, OneStatCallDecides) {
    test::Sandbox box;
    box.file("f", "", 0444);
    check(box.path("f"), PUXI_READABLE);
    EXPECT_EQ(test::faults::count("stat"), 1);
}

TEST(QuickAccess, OwnersBitDecidesForTheOwner) {
    test::Sandbox box;
    box.directory("open", 0777);
    test::asUnprivileged([&] {
        expectGrantedByItsBits(ownFile(box, 0400), PUXI_READABLE);
        expectGrantedByItsBits(ownFile(box, 0200), PUXI_WRITABLE);
        expectGrantedByItsBits(ownFile(box, 0100), PUXI_EXECUTABLE);
        expectRefusedByAccess(ownFile(box, 0377), PUXI_READABLE);
        expectRefusedByAccess(ownFile(box, 0577), PUXI_WRITABLE);
        expectRefusedByAccess(ownFile(box, 0677), PUXI_EXECUTABLE);
    });
}

TEST(QuickAccess, GroupsBitDecidesForTheGroup) {
    test::Sandbox box;
    const auto groupFile = [&](const std::string &name, mode_t mode) {
        box.file(name, "", mode);
        if (canBeForeign()) {
            EXPECT_EQ(chown(box.path(name).c_str(), 0, test::UnprivilegedId), 0);
        }
        return box.path(name);
    };
    const std::string readable = groupFile("r", canBeForeign() ? 0040 : 0400);
    const std::string writable = groupFile("w", canBeForeign() ? 0020 : 0200);
    const std::string executable = groupFile("x", canBeForeign() ? 0010 : 0100);
    const std::string closed = groupFile("c", canBeForeign() ? 0707 : 0077);
    test::asUnprivileged([&] {
        expectGrantedByItsBits(readable, PUXI_READABLE);
        expectGrantedByItsBits(writable, PUXI_WRITABLE);
        expectGrantedByItsBits(executable, PUXI_EXECUTABLE);
        expectRefusedByAccess(closed, PUXI_READABLE);
        expectRefusedByAccess(closed, PUXI_WRITABLE);
        expectRefusedByAccess(closed, PUXI_EXECUTABLE);
    });
}

TEST(QuickAccess, BitsOfAllClassesTogetherDecideForOthers) {
    test::Sandbox box;
    box.file("r", "", 0444).file("w", "", 0222).file("x", "", 0111);
    test::asUnprivileged([&] {
        expectGrantedByItsBits(box.path("r"), PUXI_READABLE);
        expectGrantedByItsBits(box.path("w"), PUXI_WRITABLE);
        expectGrantedByItsBits(box.path("x"), PUXI_EXECUTABLE);
        expectRefusedByAccess(box.path("r"), PUXI_WRITABLE);
    });
}

TEST(QuickAccess, BitOfOthersAloneIsDecidedByAccess) {
    test::Sandbox box;
    const bool isForeign = canBeForeign();
    const struct {
        int mode;
        mode_t ownerAndOthers;
        mode_t groupAndOthers;
    } cases[] = {{PUXI_READABLE, 0404, 0044}, {PUXI_WRITABLE, 0202, 0022}, {PUXI_EXECUTABLE, 0101, 0011}};
    for (const auto &entry : cases) {
        for (const mode_t bits : {entry.ownerAndOthers, entry.groupAndOthers}) {
            const std::string name = "f" + std::to_string(bits);
            box.file(name, "", isForeign ? bits : entry.ownerAndOthers);
            test::asUnprivileged([&] {
                const AccessResult result = check(box.path(name), entry.mode);
                EXPECT_EQ(result.result, 0) << name;
                EXPECT_EQ(result.accessCalls, isForeign ? 1 : 0) << name;
            });
        }
    }
}

TEST(QuickAccess, FileOfOwnerAndGroupIsDeniedToOthers) {
    test::Sandbox box;
    box.file("f", "", canBeForeign() ? 0440 : 0040);
    test::asUnprivileged([&] { expectRefusedByAccess(box.path("f"), PUXI_READABLE); });
}

TEST(QuickAccess, AnyOtherModeIsLeftToAccess) {
    test::Sandbox box;
    box.file("f", "", 0666);
    const AccessResult result = check(box.path("f"), PUXI_READABLE | PUXI_WRITABLE);
    EXPECT_EQ(result.result, 0);
    EXPECT_EQ(result.accessCalls, 1);
}

TEST(QuickAccess, IdsAreTakenOnFirstUse) {
    test::Sandbox box;
    box.file("f", "", canBeForeign() ? 0400 : 0000);
    test::asUnprivileged([&] { expectRefusedByAccess(box.path("f"), PUXI_READABLE); });
}

TEST(QuickAccess, RecordedIdsStayUntilTheNextRecording) {
    test::Sandbox box;
    box.file("f", "", 0400);
    const bool becomesForeign = canBeForeign();
    const test::Outcome outcome = test::inChild([&] {
        pux::recordEffectiveIds();
        test::becomeUnprivileged();
        expectGrantedByItsBits(box.path("f"), PUXI_READABLE);
        pux::recordEffectiveIds();
        if (becomesForeign) {
            expectRefusedByAccess(box.path("f"), PUXI_READABLE);
        }
        return 0;
    });
    EXPECT_EQ(outcome.status, 0);
}

TEST(QuickAccess, LinksAreFollowed) {
    test::Sandbox box;
    box.file("f", "", 0444).link("l", "f").link("dangling", "none").link("loop", "loop");
    EXPECT_EQ(check(box.path("l"), PUXI_READABLE).result, 0);
    EXPECT_EQ(check(box.path("dangling"), PUXI_READABLE).error, ENOENT);
    EXPECT_EQ(check(box.path("loop"), PUXI_READABLE).error, ELOOP);
}
