#include "common/fixed_text.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

using Text = vek::FixedText<8>;

Text textOf(std::string_view content) {
    Text text;
    EXPECT_TRUE(text.assign(content));
    return text;
}

TEST(FixedText, IsEmptyAtFirst) {
    const Text text;
    EXPECT_EQ(0U, text.size());
    EXPECT_TRUE(text.empty());
    EXPECT_STREQ("", text.c_str());
    EXPECT_EQ('\0', text.back());
}

TEST(FixedText, AppendsUpToItsCapacity) {
    Text text;
    EXPECT_TRUE(text.append("abcd"));
    EXPECT_TRUE(text.append('e'));
    EXPECT_TRUE(text.append("fg"));
    EXPECT_STREQ("abcdefg", text.c_str());
    EXPECT_EQ(7U, text.size());
    EXPECT_EQ('g', text.back());
}

TEST(FixedText, AppendsAllOrNothing) {
    Text text = textOf("abcde");
    EXPECT_FALSE(text.append("fgh"));
    EXPECT_STREQ("abcde", text.c_str());
    EXPECT_TRUE(text.append("fg"));
    EXPECT_FALSE(text.append('h'));
    EXPECT_STREQ("abcdefg", text.c_str());
    EXPECT_TRUE(text.append(""));
}

TEST(FixedText, AppendsAllPiecesOrNone) {
    Text text = textOf("ab");
    EXPECT_FALSE(text.appendAll(std::string_view("cd"), '/', std::string_view("efg")));
    EXPECT_STREQ("ab", text.c_str());
    EXPECT_TRUE(text.appendAll(std::string_view("cd"), '/', std::string_view("ef")));
    EXPECT_STREQ("abcd/ef", text.c_str());
}

TEST(FixedText, AppendsACutText) {
    Text text = textOf("abcde");
    text.appendCut("fghij");
    EXPECT_STREQ("abcdefg", text.c_str());
    text.appendCut("x");
    EXPECT_STREQ("abcdefg", text.c_str());
}

TEST(FixedText, AssignsAllPiecesOrBecomesEmpty) {
    Text text = textOf("old");
    EXPECT_TRUE(text.assign(std::string_view("new"), '/', std::string_view("one")));
    EXPECT_STREQ("new/one", text.c_str());
    EXPECT_FALSE(text.assign(std::string_view("longer"), '/', std::string_view("one")));
    EXPECT_STREQ("", text.c_str());
    EXPECT_EQ(0U, text.size());
}

TEST(FixedText, TruncatesButNeverGrows) {
    Text text = textOf("abcdef");
    text.truncate(6);
    text.truncate(7);
    EXPECT_STREQ("abcdef", text.c_str());
    text.truncate(2);
    EXPECT_STREQ("ab", text.c_str());
    EXPECT_EQ(2U, text.size());
    text.clear();
    EXPECT_STREQ("", text.c_str());
}

TEST(FixedText, MeasuresWhatACFunctionWrote) {
    Text text;
    std::memcpy(text.data(), "xyz", 4);
    text.measure();
    EXPECT_EQ("xyz", text.view());

    std::memcpy(text.data(), "12345678", 8); // no NUL
    text.measure();
    EXPECT_EQ("1234567", text.view());

    text.setSize(3);
    EXPECT_STREQ("123", text.c_str());
}

TEST(FixedText, AppendsAPartOfItself) {
    Text text = textOf("abc");
    EXPECT_TRUE(text.append(text.view()));
    EXPECT_STREQ("abcabc", text.c_str());
}

TEST(FixedText, HoldsPathsOfAtMost4095Characters) {
    vek::PathText text;
    EXPECT_TRUE(text.assign(std::string(4095, 'p')));
    EXPECT_EQ(4095U, std::strlen(text.c_str()));
    EXPECT_FALSE(text.assign(std::string(4096, 'p')));
    EXPECT_FALSE(text.assign(std::string(4097, 'p')));
}

TEST(CopyToBuffer, CopiesTheTextAndANulOrNothing) {
    char buffer[8] = "before";
    EXPECT_FALSE(vek::copyToBuffer("abc", buffer, 3));
    EXPECT_STREQ("before", buffer);
    EXPECT_TRUE(vek::copyToBuffer("abc", buffer, 4));
    EXPECT_STREQ("abc", buffer);
    EXPECT_FALSE(vek::copyToBuffer("", buffer, 0));
    EXPECT_TRUE(vek::copyToBuffer("", buffer, 1));
    EXPECT_STREQ("", buffer);
}

} // namespace
