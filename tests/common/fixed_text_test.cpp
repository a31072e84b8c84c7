#include "common/text/fixed_text.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <type_traits>

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

TEST(FixedText, ErasesCharacters) {
    Text text = textOf("abcdefg");
    text.erase(1, 2);
    EXPECT_EQ("adefg", text.view());
    text.erase(0, 1);
    text.erase(2, 2);
    text.erase(2, 0);
    EXPECT_EQ("de", text.view());
    EXPECT_STREQ("de", text.c_str());
    text.erase(0, 2);
    EXPECT_TRUE(text.empty());
}

TEST(FixedText, FillSetsTheLengthOfWhatWasWritten) {
    Text text = textOf("old");
    const int result = text.fill([](char *buffer, std::size_t size) {
        EXPECT_EQ(8U, size);
        EXPECT_STREQ("", buffer);
        std::memcpy(buffer, "xyz", 4);
        return 42;
    });
    EXPECT_EQ(42, result);
    EXPECT_EQ("xyz", text.view());
    EXPECT_TRUE(text.append("/a"));
    EXPECT_EQ("xyz/a", text.view());
}

TEST(FixedText, FillRemovesTheTextBefore) {
    Text text = textOf("old");
    EXPECT_FALSE(text.fill([](char * /*buffer*/, std::size_t /*size*/) { return false; }));
    EXPECT_TRUE(text.empty());
    EXPECT_STREQ("", text.c_str());
}

TEST(FixedText, FillEndsATextWithoutNul) {
    Text text;
    text.fill([](char *buffer, std::size_t size) { std::memset(buffer, 'x', size); });
    EXPECT_EQ("xxxxxxx", text.view());
    EXPECT_STREQ("xxxxxxx", text.c_str());
}

TEST(FixedText, FillKeepsErrno) {
    Text text;
    errno = ELOOP;
    text.fill([](char * /*buffer*/, std::size_t /*size*/) { return -1; });
    EXPECT_EQ(ELOOP, errno);
}

TEST(FixedText, FillCountedUsesTheReturnedLength) {
    Text text = textOf("old");
    const ssize_t count = text.fillCounted([](char *buffer, std::size_t size) {
        EXPECT_EQ(7U, size);
        std::memset(buffer, 'x', size);
        return ssize_t{3};
    });
    EXPECT_EQ(3, count);
    EXPECT_EQ("xxx", text.view());
    EXPECT_STREQ("xxx", text.c_str());
}

TEST(FixedText, FillCountedLimitsTheReturnedLength) {
    Text text;
    const auto returning = [&text](ssize_t count) {
        return text.fillCounted([count](char *buffer, std::size_t size) {
            std::memset(buffer, 'x', size);
            return count;
        });
    };
    EXPECT_EQ(7, returning(7));
    EXPECT_EQ("xxxxxxx", text.view());
    EXPECT_EQ(8, returning(8));
    EXPECT_EQ("xxxxxxx", text.view());
    EXPECT_STREQ("xxxxxxx", text.c_str());
    EXPECT_EQ(-1, returning(-1));
    EXPECT_TRUE(text.empty());
    EXPECT_STREQ("", text.c_str());
}

TEST(FixedText, EditSetsTheLengthAgain) {
    Text text = textOf("a/b/c");
    const int result = text.edit([](char *content) {
        EXPECT_STREQ("a/b/c", content);
        content[0] = 'x';
        content[3] = '\0';
        return 5;
    });
    EXPECT_EQ(5, result);
    EXPECT_EQ("x/b", text.view());
    EXPECT_TRUE(text.append("/d"));
    EXPECT_EQ("x/b/d", text.view());
}

template <typename T>
concept HasData = requires(T text) {
    text.data();
};
template <typename T>
concept HasMeasure = requires(T text) {
    text.measure();
};
template <typename T>
concept HasSetSize = requires(T text) {
    text.setSize(1);
};
template <typename T, typename Write>
concept CanFill = requires(T text, Write write) {
    text.fill(write);
};
template <typename T, typename Write>
concept CanFillCounted = requires(T text, Write write) {
    text.fillCounted(write);
};
template <typename T, typename Change>
concept CanEdit = requires(T text, Change change) {
    text.edit(change);
};

TEST(FixedText, BufferIsOnlyWritableWhereTheLengthIsSet) {
    EXPECT_FALSE(HasData<Text>);
    EXPECT_FALSE(HasMeasure<Text>);
    EXPECT_FALSE(HasSetSize<Text>);
    EXPECT_TRUE((std::is_same_v<const char *, decltype(Text().c_str())>));
    EXPECT_TRUE((std::is_same_v<std::string_view, decltype(Text().view())>));
    EXPECT_TRUE((std::is_same_v<char, decltype(Text().back())>));
}

TEST(FixedText, WritersMustNotReturnTheBuffer) {
    EXPECT_TRUE((CanFill<Text, int (*)(char *, std::size_t)>));
    EXPECT_TRUE((CanFill<Text, void (*)(char *, std::size_t)>));
    EXPECT_FALSE((CanFill<Text, char *(*)(char *, std::size_t)>)) << "getcwd() returns the buffer";
    EXPECT_FALSE((CanFill<Text, char &(*)(char *, std::size_t)>));
    EXPECT_FALSE((CanFill<Text, int (*)(char *)>)) << "the size is not passed";

    EXPECT_TRUE((CanFillCounted<Text, ssize_t (*)(char *, std::size_t)>));
    EXPECT_FALSE((CanFillCounted<Text, std::size_t (*)(char *, std::size_t)>)) << "no length is an error";
    EXPECT_FALSE((CanFillCounted<Text, char *(*)(char *, std::size_t)>));

    EXPECT_TRUE((CanEdit<Text, void (*)(char *)>));
    EXPECT_FALSE((CanEdit<Text, char *(*)(char *)>));
}

TEST(FixedText, AppendsAPartOfItself) {
    Text text = textOf("abc");
    EXPECT_TRUE(text.append(text.view()));
    EXPECT_STREQ("abcabc", text.c_str());
}

TEST(FixedText, HasPathsOfAtMost4095Characters) {
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
