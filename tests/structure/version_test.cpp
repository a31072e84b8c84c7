// The version is the same in the build, the header and both changelogs.

#include "common/base/vek_version.h"

#include <fstream>
#include <string>

#include <gtest/gtest.h>

namespace {

const std::string projectVersion = VEK_TEST_VERSION;

// The first line of a file that begins with `mark`.
std::string lineThatBegins(const std::string &path, const std::string &mark) {
    std::ifstream stream(std::string(VEK_TEST_SOURCE_DIR) + "/" + path);
    for (std::string line; std::getline(stream, line);) {
        if (line.starts_with(mark)) {
            return line;
        }
    }
    return "no line begins with " + mark;
}

} // namespace

TEST(Version, HeaderHasTheProjectsVersion) {
    EXPECT_EQ(VEK_VERSION, projectVersion);
    EXPECT_EQ(std::to_string(VEK_VERSION_MAJOR) + "." + std::to_string(VEK_VERSION_MINOR) + "." +
                  std::to_string(VEK_VERSION_PATCH),
              projectVersion);
}

TEST(Version, ChangelogsBeginWithTheProjectsVersion) {
    EXPECT_TRUE(lineThatBegins("CHANGELOG.md", "## ").starts_with("## [" + projectVersion + "] - "));
    EXPECT_TRUE(
        lineThatBegins("cmake/debian/changelog", "vek ").starts_with("vek (" + projectVersion + ") "));
}
