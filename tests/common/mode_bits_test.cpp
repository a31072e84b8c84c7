#include "common/platform/mode_bits.h"

#include <gtest/gtest.h>

namespace {

constexpr vek::EffectiveIds kIds = {.user = 10, .group = 20};

bool grants(mode_t mode, int access, uid_t user, gid_t group) {
    struct stat status = {};
    status.st_mode = S_IFREG | mode;
    status.st_uid = user;
    status.st_gid = group;
    return vek::modeBitsGrant(status, access, kIds);
}

} // namespace

TEST(ModeBits, OwnersBitDecidesForTheOwner) {
    EXPECT_TRUE(grants(0400, R_OK, 10, 99));
    EXPECT_TRUE(grants(0200, W_OK, 10, 20));
    EXPECT_TRUE(grants(0100, X_OK, 10, 20));
    EXPECT_FALSE(grants(0077, R_OK, 10, 20));
    EXPECT_FALSE(grants(0577, W_OK, 10, 20));
    EXPECT_FALSE(grants(0677, X_OK, 10, 20));
}

TEST(ModeBits, GroupsBitDecidesForTheGroup) {
    EXPECT_TRUE(grants(0040, R_OK, 11, 20));
    EXPECT_TRUE(grants(0020, W_OK, 11, 20));
    EXPECT_TRUE(grants(0010, X_OK, 11, 20));
    EXPECT_FALSE(grants(0707, R_OK, 11, 20));
    EXPECT_FALSE(grants(0757, W_OK, 11, 20));
    EXPECT_FALSE(grants(0767, X_OK, 11, 20));
}

TEST(ModeBits, OtherProcessesNeedAllThreeBits) {
    EXPECT_TRUE(grants(0444, R_OK, 11, 21));
    EXPECT_TRUE(grants(0222, W_OK, 11, 21));
    EXPECT_TRUE(grants(0111, X_OK, 11, 21));
    EXPECT_FALSE(grants(0404, R_OK, 11, 21));
    EXPECT_FALSE(grants(0022, W_OK, 11, 21));
    EXPECT_FALSE(grants(0110, X_OK, 11, 21));
}

TEST(ModeBits, OtherModesAreLeftToAccess) {
    EXPECT_FALSE(grants(0777, F_OK, 10, 20));
    EXPECT_FALSE(grants(0777, R_OK | W_OK, 10, 20));
}

TEST(ModeBits, IdsAreTheEffectiveOnesOfTheProcess) {
    const vek::EffectiveIds ids = vek::EffectiveIds::ofProcess();
    EXPECT_EQ(geteuid(), ids.user);
    EXPECT_EQ(getegid(), ids.group);
}
