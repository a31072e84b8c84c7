#include "tests/support/sandbox.h"

#include <filesystem>
#include <system_error>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/child.h"

namespace fs = std::filesystem;

namespace {

unsigned modeOf(const std::string &path) {
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
}

} // namespace

TEST(Sandbox, IsTheWorkingDirectoryInItsScope) {
    const fs::path before = fs::current_path();
    std::string root;
    {
        test::Sandbox box;
        box.file("a/b", "text");
        root = box.path();
        EXPECT_EQ(fs::current_path(), root);
        EXPECT_TRUE(fs::exists("a/b"));
    }
    EXPECT_EQ(fs::current_path(), before);
    EXPECT_FALSE(fs::exists(root));
}

TEST(Sandbox, EveryUserCanReachIt) {
    test::Sandbox box;
    box.file("a/b", "text");

    test::asUnprivileged([&] { EXPECT_EQ(box.read("a/b"), "text"); });
}

TEST(Sandbox, ModesDoNotDependOnTheUmask) {
    const mode_t before = umask(077);
    test::Sandbox box;
    box.file("file", "", 0666).directory("parent/directory", 01777).file("sealed", "", 0).fifo("pipe", 0622);
    umask(before);

    EXPECT_EQ(modeOf(box.path()), 0755U);
    EXPECT_EQ(modeOf("file"), 0666U);
    EXPECT_EQ(modeOf("parent"), 0755U);
    EXPECT_EQ(modeOf("parent/directory"), 01777U);
    EXPECT_EQ(modeOf("sealed"), 0U);
    EXPECT_EQ(modeOf("pipe"), 0622U);
}

TEST(Sandbox, LinksMayDangle) {
    test::Sandbox box;
    box.link("a/link", "nowhere");

    EXPECT_TRUE(box.exists("a/link"));
    EXPECT_FALSE(box.exists("a/nowhere"));
    EXPECT_EQ(fs::read_symlink("a/link"), "nowhere");
}

TEST(Sandbox, ListsSortedNames) {
    test::Sandbox box;
    box.file("d/b", "").file("d/a", "").directory("d/c");

    EXPECT_EQ(box.list("d"), (std::vector<std::string>{"a", "b", "c"}));
}

TEST(Sandbox, FileIsReplaced) {
    test::Sandbox box;
    box.file("f", "long old text").file("f", std::string("n\0w", 3));

    EXPECT_EQ(box.read("f"), std::string("n\0w", 3));
}

TEST(Sandbox, BuildsPathsOfAnyLength) {
    std::string root;
    {
        test::Sandbox box;
        std::string deep = "d";
        for (int level = 0; level < 30; ++level) {
            deep += "/" + std::string(200, 'x');
        }
        box.file(deep + "/file", "text");
        root = box.path();
    }
    EXPECT_FALSE(fs::exists(root));
}

TEST(Sandbox, RemovesUnreadableDirectoriesToo) {
    test::asUnprivileged([] {
        std::string root;
        {
            test::Sandbox box;
            box.file("sealed/inner/file", "").directory("sealed/inner", 0).directory("sealed", 0);
            root = box.path();
        }
        EXPECT_FALSE(fs::exists(root));
    });
}

TEST(Sandbox, FailedBuildThrows) {
    test::Sandbox box;
    box.file("file", "");

    EXPECT_THROW(box.file("file/below", ""), std::system_error);
    EXPECT_THROW(static_cast<void>(box.read("missing")), std::system_error);
}
