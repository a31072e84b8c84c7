#include "fs/vek_fs.h"

#include "tests/support/capture.h"
#include "tests/support/sandbox.h"

#include <gtest/gtest.h>

TEST(Archives, AreNotSupported) {
    test::Sandbox box;
    box.file("archive", "content");
    test::Capture capture;

    int anything = 0;
    auto *const untouched = reinterpret_cast<vekZip *>(&anything);
    auto *const untouchedSpec = reinterpret_cast<vekFSSpec *>(&anything);
    vekZip *zip = untouched;
    vekFSSpec *spec = untouchedSpec;

    EXPECT_EQ(vekZipOpenZip("archive", &zip), VEK_FS_NOT_SUPPORTED);
    EXPECT_EQ(vekZipCreateSpec(zip, "member", &spec), VEK_FS_NOT_SUPPORTED);
    EXPECT_EQ(vekZipCloseZip(zip), VEK_FS_NOT_SUPPORTED);
    EXPECT_EQ(vekZip_zip(), VEK_FS_NOT_SUPPORTED);
    EXPECT_EQ(vekZip_unzip(), VEK_FS_NOT_SUPPORTED);

    EXPECT_EQ(zip, untouched);
    EXPECT_EQ(spec, untouchedSpec);
    EXPECT_EQ(box.list(), std::vector<std::string>{"archive"});
    EXPECT_EQ(box.read("archive"), "content");
    EXPECT_EQ(capture.out() + capture.err(), "");
}

TEST(Archives, AreNotSupportedWithAnyArguments) {
    EXPECT_EQ(vekZipOpenZip(nullptr, nullptr), VEK_FS_NOT_SUPPORTED);
    EXPECT_EQ(vekZipCreateSpec(nullptr, nullptr, nullptr), VEK_FS_NOT_SUPPORTED);
    EXPECT_EQ(vekZipCloseZip(nullptr), VEK_FS_NOT_SUPPORTED);
}
