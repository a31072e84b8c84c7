#include "common/text/ascii.h"

#include <gtest/gtest.h>

#include <cctype>
#include <clocale>

namespace {

char charOf(int value) {
    return static_cast<char>(static_cast<unsigned char>(value));
}

TEST(Ascii, ClassifiesEveryByteAsTheCLocaleDoes) {
    ASSERT_STREQ("C", std::setlocale(LC_ALL, nullptr));
    for (int value = 0; value < 256; ++value) {
        const char c = charOf(value);
        SCOPED_TRACE(value);
        EXPECT_EQ(std::isspace(value) != 0, vek::isSpace(c));
        EXPECT_EQ(std::isblank(value) != 0, vek::isBlank(c));
        EXPECT_EQ(std::isprint(value) != 0, vek::isPrint(c));
        EXPECT_EQ(std::isupper(value) != 0, vek::isUpper(c));
        EXPECT_EQ(std::isalnum(value) != 0, vek::isAlnum(c));
        EXPECT_EQ(charOf(std::tolower(value)), vek::toLower(c));
    }
}

TEST(EqualNoCase, IgnoresTheCaseOfAsciiLettersOnly) {
    EXPECT_TRUE(vek::equalNoCase("", ""));
    EXPECT_TRUE(vek::equalNoCase("VekLibrary", "VEKLIBRARY"));
    EXPECT_TRUE(vek::equalNoCase("a-1_z", "A-1_Z"));
    EXPECT_FALSE(vek::equalNoCase("[", "{")); // the codes differ by 32, like those of "a" and "A"
    EXPECT_FALSE(vek::equalNoCase("\xC4", "\xE4"));
}

TEST(EqualNoCase, ComparesTheWholeTexts) {
    EXPECT_FALSE(vek::equalNoCase("on", "one"));
    EXPECT_FALSE(vek::equalNoCase("one", "on"));
    EXPECT_FALSE(vek::equalNoCase("", "x"));
}

} // namespace
