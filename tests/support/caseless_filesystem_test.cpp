#include "tests/support/caseless_filesystem.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/sandbox.h"

namespace fs = std::filesystem;

namespace {

ino_t inodeOf(const std::string &path) {
    struct stat status = {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_ino;
}

} // namespace

TEST(CaselessFilesystem, NamesThatDifferInCaseAreOneFile) {
    test::onCaselessFilesystem([](const std::string &directory) {
        fs::create_directory(directory + "/Dir");
        std::ofstream(directory + "/Dir/File") << "text" << std::flush;
        EXPECT_EQ(inodeOf(directory + "/DIR/file"), inodeOf(directory + "/dir/FILE"));
        EXPECT_EQ(std::distance(fs::directory_iterator(directory + "/dIR"), fs::directory_iterator()), 1);
    });
}

TEST(CaselessFilesystem, HasOwnersModesAndLinks) {
    test::onCaselessFilesystem([](const std::string &directory) {
        std::ofstream(directory + "/file") << "text" << std::flush;
        EXPECT_EQ(chmod((directory + "/FILE").c_str(), 0640), 0);
        EXPECT_EQ(chown((directory + "/FILE").c_str(), 7, 8), 0);
        struct stat status = {};
        EXPECT_EQ(stat((directory + "/file").c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0640U);
        EXPECT_EQ(status.st_uid, 7U);
        EXPECT_EQ(symlink("FILE", (directory + "/link").c_str()), 0);
        EXPECT_EQ(inodeOf(directory + "/LINK"), inodeOf(directory + "/file"));
    });
}

TEST(CaselessFilesystem, FailureInTheBodyIsOneOfTheTest) {
    bool skipped = false;
    const auto failInside = [](const std::string &) { ADD_FAILURE() << "inside"; };
    EXPECT_NONFATAL_FAILURE(
        {
            test::onCaselessFilesystem(failInside);
            skipped = ::testing::Test::IsSkipped();
            if (skipped) {
                ADD_FAILURE() << "inside";
            }
        },
        "inside");
}

TEST(CaselessFilesystem, RemovesFilesAndMount) {
    test::Sandbox box;
    setenv("TMPDIR", box.path().c_str(), 1);
    test::onCaselessFilesystem(
        [](const std::string &directory) { std::ofstream(directory + "/file") << "text" << std::flush; });
    EXPECT_TRUE(box.list().empty());
}
