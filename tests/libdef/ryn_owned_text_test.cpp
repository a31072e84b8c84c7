#include "libdef/registry/ryni_owned_text.h"

#include "libdef/ryn.h"
#include "tests/support/faults.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

namespace faults = test::faults;

TEST(OwnedString, IsACopy) {
    char *field = nullptr;
    char text[] = "text";
    EXPECT_EQ(RYN_OK, ryniStrcpy(&field, text));
    EXPECT_STREQ("text", field);
    EXPECT_NE(static_cast<void *>(text), field);
    std::free(field);
}

TEST(OwnedString, ReusesMemoryIfTextFits) {
    char *field = nullptr;
    ryniStrcpy(&field, "12345678");
    const char *address = field;
    EXPECT_EQ(RYN_OK, ryniStrcpy(&field, "abcdefgh"));
    EXPECT_STREQ("abcdefgh", field);
    EXPECT_EQ(address, field);
    const int before = faults::count("malloc");
    EXPECT_EQ(RYN_OK, ryniStrcpy(&field, "abc"));
    EXPECT_STREQ("abc", field);
    EXPECT_EQ(RYN_OK, ryniStrcpy(&field, ""));
    EXPECT_STREQ("", field);
    EXPECT_EQ(address, field);
    EXPECT_EQ(before, faults::count("malloc"));
    std::free(field);
}

TEST(OwnedString, AllocatesForLongerText) {
    char *field = nullptr;
    ryniStrcpy(&field, "abc");
    const int before = faults::count("malloc");
    EXPECT_EQ(RYN_OK, ryniStrcpy(&field, "abcd"));
    EXPECT_STREQ("abcd", field);
    EXPECT_EQ(before + 1, faults::count("malloc"));
    const std::string longText(100000, 'x');
    EXPECT_EQ(RYN_OK, ryniStrcpy(&field, longText.c_str()));
    EXPECT_EQ(longText, field);
    std::free(field);
}

TEST(OwnedString, IsNullAfterFailedAllocation) {
    char *field = nullptr;
    faults::failAllocation(1);
    EXPECT_EQ(RYN_MEMORY_ERROR, ryniStrcpy(&field, "abc"));
    EXPECT_EQ(nullptr, field);
    EXPECT_EQ(RYN_OK, ryniStrcpy(&field, "abc"));
    faults::failAllocation(1);
    EXPECT_EQ(RYN_OK, ryniStrcpy(&field, "xyz")) << "a text that fits allocates nothing";
    EXPECT_EQ(RYN_MEMORY_ERROR, ryniStrcpy(&field, "abcd"));
    EXPECT_EQ(nullptr, field);
}

TEST(OwnedString, AcceptsItsOwnText) {
    char *field = nullptr;
    ryniStrcpy(&field, "abcdef");
    EXPECT_EQ(RYN_OK, ryniStrcpy(&field, field));
    EXPECT_STREQ("abcdef", field);
    EXPECT_EQ(RYN_OK, ryniStrcpy(&field, field + 2));
    EXPECT_STREQ("cdef", field);
    std::free(field);
}

TEST(OwnedString, ReplaceTextStoresACopy) {
    char *field = nullptr;
    char text[] = "one";
    EXPECT_TRUE(ryn::replaceText(field, text));
    text[0] = 'x';
    EXPECT_STREQ(field, "one");
    EXPECT_TRUE(ryn::replaceText(field, "a longer one"));
    EXPECT_STREQ(field, "a longer one");
    faults::failAllocation(1);
    EXPECT_FALSE(ryn::replaceText(field, "a still longer one"));
    faults::reset();
    EXPECT_STREQ(field, "a longer one");
    std::free(field);
}
