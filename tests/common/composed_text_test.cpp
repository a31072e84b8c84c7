// Texts that are composed of pieces.

#include "common/text/composed_text.h"

#include "tests/support/faults.h"

#include <gtest/gtest.h>
#include <string>

using vek::ComposedText;

TEST(ComposedText, IsEmptyAtFirst) {
    const ComposedText text;
    EXPECT_TRUE(text.isWhole());
    EXPECT_TRUE(text.view().empty());
}

TEST(ComposedText, HasItsPiecesInOrder) {
    ComposedText text;
    text.append("DMTYPE ", std::string("none"), "\n");
    text.append("");
    text.append("#\n");
    EXPECT_TRUE(text.isWhole());
    EXPECT_EQ(text.view(), "DMTYPE none\n#\n");
}

TEST(ComposedText, GrowsToAnyLength) {
    ComposedText text;
    std::string expected;
    for (int i = 0; i < 5000; ++i) {
        text.append("piece ", std::to_string(i));
        expected += "piece " + std::to_string(i);
    }
    EXPECT_TRUE(text.isWhole());
    EXPECT_EQ(text.view(), expected);
}

TEST(ComposedText, IsNotWholeAfterMemoryWasExhausted) {
    for (int nth = 1; nth <= 3; ++nth) {
        ComposedText text;
        test::faults::failAllocation(nth);
        for (int i = 0; i < 5; ++i) {
            text.append(std::string(4096, 'x'));
        }
        EXPECT_FALSE(text.isWhole()) << nth;
        test::faults::reset();
    }
}
