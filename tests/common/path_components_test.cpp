#include "common/text/path_components.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Names = std::vector<std::string>;

Names componentsOf(std::string_view path) {
    Names names;
    vek::PathComponents components(path);
    std::string_view component;
    while (components.next(component)) {
        names.emplace_back(component);
    }
    EXPECT_FALSE(components.next(component));
    return names;
}

} // namespace

TEST(PathComponents, EverySlashSeparatesTwoComponents) {
    EXPECT_EQ((Names{"a"}), componentsOf("a"));
    EXPECT_EQ((Names{"", "a", "b"}), componentsOf("/a/b"));
    EXPECT_EQ((Names{"a", "", "b", ""}), componentsOf("a//b/"));
    EXPECT_EQ((Names{"", ""}), componentsOf("/"));
    EXPECT_EQ((Names{""}), componentsOf(""));
}

TEST(PathComponents, EndIsKnownWithTheLastComponent) {
    vek::PathComponents components("a/b");
    std::string_view component;
    ASSERT_TRUE(components.next(component));
    EXPECT_FALSE(components.isEnd());
    ASSERT_TRUE(components.next(component));
    EXPECT_EQ("b", component);
    EXPECT_TRUE(components.isEnd());
}
