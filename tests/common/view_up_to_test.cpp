#include "common/text/view_up_to.h"

#include "common/base/owned.h"

#include <gtest/gtest.h>

namespace {

TEST(ViewUpTo, EndsAtTheNul) {
    EXPECT_EQ("abc", vek::viewUpTo("abc", 4));
    EXPECT_EQ("abc", vek::viewUpTo("abc", 4000));
    EXPECT_EQ("", vek::viewUpTo("", 4000));
}

TEST(ViewUpTo, EndsAtTheLimit) {
    EXPECT_EQ("abc", vek::viewUpTo("abc", 3));
    EXPECT_EQ("ab", vek::viewUpTo("abc", 2));
    EXPECT_EQ("", vek::viewUpTo("abc", 0));
}

TEST(ViewUpTo, ReadsNothingAfterTheLimit) { // the address sanitizer reports a read after the block
    const vek::Owned<char> block(static_cast<char *>(std::malloc(3)));
    ASSERT_TRUE(block);
    std::memset(block.get(), 'x', 3);
    EXPECT_EQ("xxx", vek::viewUpTo(block.get(), 3));
}

} // namespace
