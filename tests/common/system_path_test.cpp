#include "common/platform/system_path.h"

#include "tests/support/faults.h"
#include "tests/support/sandbox.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

namespace {

using test::Sandbox;

TEST(SystemPath, ReadsTheWorkingDirectory) {
    const Sandbox sandbox;
    vek::PathText directory;
    ASSERT_TRUE(vek::readWorkingDirectory(directory));
    EXPECT_EQ(directory.view(), sandbox.path());
    EXPECT_TRUE(directory.append("/x"));
    EXPECT_EQ(directory.view(), sandbox.path() + "/x");
}

TEST(SystemPath, FailsWithTheErrorOfGetcwd) {
    const Sandbox sandbox;
    vek::PathText directory;
    ASSERT_TRUE(directory.assign("old"));
    test::faults::fail("getcwd", 1, EACCES);
    EXPECT_FALSE(vek::readWorkingDirectory(directory));
    EXPECT_EQ(errno, EACCES);
    EXPECT_TRUE(directory.empty());
}

TEST(SystemPath, ReadsTheTargetOfALink) {
    Sandbox sandbox;
    sandbox.link("link", "some/target");
    vek::PathText target;
    EXPECT_EQ(vek::readLink("link", target), 0);
    EXPECT_EQ(target.view(), "some/target");

    const std::string longest(4095, 't');
    sandbox.link("longest", longest);
    EXPECT_EQ(vek::readLink("longest", target), 0);
    EXPECT_EQ(target.view(), longest);
}

TEST(SystemPath, ReturnsTheErrorOfReadlink) {
    Sandbox sandbox;
    sandbox.file("file", "");
    vek::PathText target;
    ASSERT_TRUE(target.assign("old"));
    EXPECT_EQ(vek::readLink("file", target), EINVAL);
    EXPECT_TRUE(target.empty());
    EXPECT_EQ(vek::readLink("none", target), ENOENT);
    test::faults::fail("readlink", 1, EIO);
    EXPECT_EQ(vek::readLink("file", target), EIO);
}

} // namespace
