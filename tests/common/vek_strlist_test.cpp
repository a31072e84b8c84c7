#include "common/text/vek_strlist.h"

#include "common/base/vek_error.h"
#include "tests/support/capture.h"
#include "tests/support/faults.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace {

using Strings = std::vector<std::string>;

/// Frees an allocated string at the end of its scope.
std::string take(char *text) {
    if (text == nullptr) {
        return "(null)";
    }
    std::string copy(text);
    std::free(text);
    return copy;
}

Strings contentOf(char **list) {
    Strings strings;
    for (; list != nullptr && *list != nullptr; ++list) {
        strings.emplace_back(*list);
    }
    return strings;
}

/// A list with its two counters.
struct CountedList {
    char **list = nullptr;
    int count = 0;
    int size = 0;

    CountedList() = default;
    CountedList(const CountedList &) = delete;
    CountedList &operator=(const CountedList &) = delete;
    ~CountedList() { vekFreeStrlist(list); }

    void add(const std::string &text) { list = vekFastAddToStrlist(list, text.c_str(), &count, &size); }
    void fill(int strings) {
        while (count < strings) {
            add(std::to_string(count));
        }
    }
};

/// Collects reported messages while in scope.
class Reports {
  public:
    Reports() {
        text_.clear();
        vekRegErrorFunc([](const char *message) { text_ += message; });
    }
    Reports(const Reports &) = delete;
    Reports &operator=(const Reports &) = delete;
    ~Reports() { vekRegErrorFunc(nullptr); }

    [[nodiscard]] const std::string &text() const { return text_; }

  private:
    static inline std::string text_;
};

constexpr char kGrowthFailure[] = "Error (vekGrowStrlist): realloc failed.\n";

// Copies and joins.

TEST(VekCopyString, ReturnsACopy) {
    const char text[] = "text";
    char *copy = vekCopyString(text);
    EXPECT_NE(copy, text);
    EXPECT_EQ(take(copy), "text");
    EXPECT_EQ(take(vekCopyString("")), "");
}

TEST(VekCopyString, NullStaysNull) {
    EXPECT_EQ(vekCopyString(nullptr), nullptr);
}

TEST(VekCopyString, ReturnsNullIfMemoryIsExhausted) {
    test::faults::failAllocation(1);
    EXPECT_EQ(vekCopyString("text"), nullptr);
}

TEST(VekCatString, SeparatorMustBeOnePrintableCharacter) {
    EXPECT_EQ(take(vekCatString("a", "b", "-")), "a-b");
    EXPECT_EQ(take(vekCatString("a", "b", "~")), "a~b");
    EXPECT_EQ(take(vekCatString("a", "b", " ")), "a b");
    EXPECT_EQ(take(vekCatString("a", "b", "::")), "a b");
    EXPECT_EQ(take(vekCatString("a", "b", "\t")), "a b");
    EXPECT_EQ(take(vekCatString("a", "b", "\x7f")), "a b");
    EXPECT_EQ(take(vekCatString("a", "b", "\xe4")), "a b");
    EXPECT_EQ(take(vekCatString("a", "b", "")), "a b");
    EXPECT_EQ(take(vekCatString("a", "b", nullptr)), "a b");
}

TEST(VekCatString, OneNullReturnsACopyOfTheOther) {
    const char text[] = "text";
    char *copy = vekCatString(text, nullptr, "-");
    EXPECT_NE(copy, text);
    EXPECT_EQ(take(copy), "text");
    EXPECT_EQ(take(vekCatString(nullptr, "text", "-")), "text");
    EXPECT_EQ(vekCatString(nullptr, nullptr, "-"), nullptr);
}

TEST(VekCatString, EmptyTextsAreStillSeparated) {
    EXPECT_EQ(take(vekCatString("", "b", "-")), "-b");
    EXPECT_EQ(take(vekCatString("a", "", "-")), "a-");
}

TEST(VekCatString, ReturnsNullIfMemoryIsExhausted) {
    test::faults::failAllocation(1);
    EXPECT_EQ(vekCatString("a", "b", "-"), nullptr);
}

// Counting.

TEST(VekGetStrlistSize, CountsUpToTheNull) {
    char a[] = "a";
    char b[] = "b";
    char *list[] = {a, b, nullptr, a};
    char *empty[] = {nullptr};
    EXPECT_EQ(vekGetStrlistSize(list), 2);
    EXPECT_EQ(vekGetStrlistSize(empty), 0);
    EXPECT_EQ(vekGetStrlistSize(nullptr), 0);
}

// Adding with counters.

TEST(VekFastAddToStrlist, FiveAdditionsAllocateTwoThenFourThenEightSlots) {
    CountedList strings;
    std::vector<int> sizes;
    for (const char *text : {"one", "two", "three", "four", "five"}) {
        strings.add(text);
        sizes.push_back(strings.size);
    }
    EXPECT_EQ(sizes, (std::vector<int>{2, 4, 4, 8, 8}));
    EXPECT_EQ(strings.count, 5);
    EXPECT_EQ(contentOf(strings.list), (Strings{"one", "two", "three", "four", "five"}));
}

TEST(VekFastAddToStrlist, EverySlotAfterTheLastStringIsNull) {
    CountedList strings;
    strings.fill(20);
    ASSERT_GT(strings.size, 20);
    for (int i = 20; i < strings.size; ++i) {
        EXPECT_EQ(strings.list[i], nullptr) << i;
    }
}

TEST(VekFastAddToStrlist, AddsACopy) {
    CountedList strings;
    std::string text = "before";
    strings.add(text);
    text[0] = 'X';
    EXPECT_STREQ(strings.list[0], "before");
}

TEST(VekFastAddToStrlist, SizeDoublesUpTo4096AndThenGrowsBy2048) {
    CountedList strings;
    strings.list = vekGrowStrlist(nullptr, 0, 4096);
    strings.size = 4096;
    strings.fill(4095);
    EXPECT_EQ(strings.size, 4096);
    strings.fill(4096);
    EXPECT_EQ(strings.size, 4095 * 2 + 2);
    strings.fill(8191);
    EXPECT_EQ(strings.size, 8192);
    strings.fill(8192);
    EXPECT_EQ(strings.size, 8192 + 2048);
    EXPECT_EQ(vekGetStrlistSize(strings.list), 8192);
}

TEST(VekFastAddToStrlist, SizeJustAbove4096GrowsBy2048) {
    CountedList strings;
    strings.list = vekGrowStrlist(nullptr, 0, 4097);
    strings.size = 4097;
    strings.fill(4097);
    EXPECT_EQ(strings.size, 4097 + 2048);
}

TEST(VekFastAddToStrlist, SizeCounterThatIsTooSmallIsCorrected) {
    CountedList strings;
    strings.fill(9000);
    strings.size = 5000; // the rule alone would allocate 7048 slots
    strings.add("last");
    EXPECT_GE(strings.size, 9002);
    EXPECT_STREQ(strings.list[9000], "last");
    EXPECT_EQ(vekGetStrlistSize(strings.list), 9001);
}

TEST(VekFastAddToStrlist, NullListHasNoStrings) {
    CountedList strings;
    strings.count = 3;
    strings.add("first");
    EXPECT_EQ(strings.count, 1);
    EXPECT_EQ(contentOf(strings.list), (Strings{"first"}));
}

TEST(VekFastAddToStrlist, NegativeCountMeansNoStrings) {
    for (const int count : {-1, -1000, INT_MIN}) {
        CountedList strings;
        strings.fill(1);
        const std::unique_ptr<char, void (*)(void *)> forgotten(strings.list[0], std::free);
        strings.count = count;
        strings.add("first");
        EXPECT_EQ(strings.count, 1);
        EXPECT_EQ(contentOf(strings.list), (Strings{"first"}));
    }
}

TEST(VekFastAddToStrlist, NullStringIsNotCounted) {
    CountedList strings;
    strings.list = vekFastAddToStrlist(nullptr, nullptr, &strings.count, &strings.size);
    ASSERT_NE(strings.list, nullptr);
    EXPECT_EQ(strings.count, 0);
    strings.add("a");
    EXPECT_EQ(contentOf(strings.list), (Strings{"a"}));
}

TEST(VekFastAddToStrlist, FailedCopyLeavesListAndCounters) {
    CountedList strings;
    strings.fill(3); // the fifth string needs a larger list
    test::faults::failAllocation(1);
    EXPECT_EQ(vekFastAddToStrlist(strings.list, "x", &strings.count, &strings.size), nullptr);
    EXPECT_EQ(strings.count, 3);
    EXPECT_EQ(strings.size, 4);
    EXPECT_EQ(contentOf(strings.list), (Strings{"0", "1", "2"}));
}

TEST(VekFastAddToStrlist, FailedGrowthIsReportedAndLeavesListAndCounters) {
    CountedList strings;
    strings.fill(3);
    const Reports reports;
    test::faults::failAllocation(2);
    EXPECT_EQ(vekFastAddToStrlist(strings.list, "x", &strings.count, &strings.size), nullptr);
    EXPECT_EQ(reports.text(), kGrowthFailure);
    EXPECT_EQ(strings.count, 3);
    EXPECT_EQ(strings.size, 4);
    EXPECT_EQ(contentOf(strings.list), (Strings{"0", "1", "2"}));
}

TEST(VekFastAddToStrlist, CountAboveIntMaxIsAnError) {
    CountedList strings;
    strings.fill(1);
    const Reports reports;
    int count = INT_MAX - 1;
    int size = INT_MAX - 1;
    EXPECT_EQ(vekFastAddToStrlist(strings.list, "x", &count, &size), nullptr);
    EXPECT_EQ(reports.text(), kGrowthFailure);
    EXPECT_EQ(count, INT_MAX - 1);
    EXPECT_EQ(contentOf(strings.list), (Strings{"0"}));
}

// Growing.

TEST(VekGrowStrlist, SizeBelowTheCountChangesNothing) {
    CountedList strings;
    strings.fill(3);
    EXPECT_EQ(vekGrowStrlist(strings.list, 3, 2), strings.list);
    EXPECT_EQ(contentOf(strings.list), (Strings{"0", "1", "2"}));
    EXPECT_EQ(vekGrowStrlist(nullptr, 3, 2), nullptr);
}

TEST(VekGrowStrlist, ClearsTheSlotsFromTheCountOn) {
    CountedList strings;
    strings.fill(3);
    strings.list = vekGrowStrlist(strings.list, 3, 50);
    EXPECT_EQ(contentOf(strings.list), (Strings{"0", "1", "2"}));
    for (int i = 3; i < 50; ++i) {
        EXPECT_EQ(strings.list[i], nullptr) << i;
    }
}

TEST(VekGrowStrlist, NegativeCountMeansNoStrings) {
    for (const int count : {-1, -1000, INT_MIN}) {
        CountedList strings;
        strings.fill(1);
        const std::unique_ptr<char, void (*)(void *)> forgotten(strings.list[0], std::free);
        strings.list = vekGrowStrlist(strings.list, count, 5);
        ASSERT_NE(strings.list, nullptr);
        for (int i = 0; i < 5; ++i) {
            EXPECT_EQ(strings.list[i], nullptr) << i;
        }
        strings.list = vekGrowStrlist(strings.list, count, 0);
        EXPECT_EQ(contentOf(strings.list), Strings{});
    }
}

TEST(VekGrowStrlist, MakesANewListFromNull) {
    CountedList strings;
    strings.list = vekGrowStrlist(nullptr, 0, 7);
    ASSERT_NE(strings.list, nullptr);
    for (int i = 0; i < 7; ++i) {
        EXPECT_EQ(strings.list[i], nullptr) << i;
    }
}

TEST(VekGrowStrlist, SizeEqualToTheCountKeepsTheListTerminated) {
    CountedList strings;
    strings.fill(3);
    strings.list = vekGrowStrlist(strings.list, 3, 3);
    EXPECT_EQ(contentOf(strings.list), (Strings{"0", "1", "2"}));

    CountedList none;
    none.list = vekGrowStrlist(nullptr, 0, 1);
    none.list = vekGrowStrlist(none.list, 0, 0);
    ASSERT_NE(none.list, nullptr);
    EXPECT_EQ(none.list[0], nullptr);
}

TEST(VekGrowStrlist, FailureIsReportedAndTheListUnchanged) {
    CountedList strings;
    strings.fill(3);
    const Reports reports;
    test::faults::failAllocation(1);
    EXPECT_EQ(vekGrowStrlist(strings.list, 3, 5000), nullptr);
    EXPECT_EQ(reports.text(), kGrowthFailure);
    EXPECT_EQ(contentOf(strings.list), (Strings{"0", "1", "2"}));
}

TEST(VekGrowStrlist, FailureWithoutAHookIsPrinted) {
    test::Capture capture;
    test::faults::failAllocation(1);
    EXPECT_EQ(vekGrowStrlist(nullptr, 0, 5), nullptr);
    EXPECT_EQ(capture.err(), "Error (vekGrowStrlist): realloc failed.\n\n");
}

// Adding by counting.

TEST(VekAddToStrlist, CountsTheListAndAdds) {
    CountedList strings;
    std::vector<int> sizes;
    for (const char *text : {"one", "two", "three", "four", "five"}) {
        strings.list = vekAddToStrlist(strings.list, text, &strings.size);
        sizes.push_back(strings.size);
    }
    EXPECT_EQ(sizes, (std::vector<int>{2, 4, 4, 8, 8}));
    EXPECT_EQ(contentOf(strings.list), (Strings{"one", "two", "three", "four", "five"}));
}

TEST(VekAddToStrlist, MillionStringsAreAddedOneByOne) {
    constexpr int kStrings = 1000000;
    CountedList strings;
    for (int i = 0; i < kStrings; ++i) {
        strings.list = vekAddToStrlist(strings.list, "x", &strings.size);
    }
    EXPECT_EQ(vekGetStrlistSize(strings.list), kStrings);
    EXPECT_GT(strings.size, kStrings);
}

TEST(VekAddToStrlist, EveryLengthOfALongListIsFound) {
    CountedList strings;
    for (int i = 0; i < 1000; ++i) {
        strings.list = vekAddToStrlist(strings.list, std::to_string(i).c_str(), &strings.size);
        ASSERT_EQ(vekGetStrlistSize(strings.list), i + 1);
        ASSERT_EQ(strings.list[i], std::to_string(i));
    }
}

TEST(VekAddToStrlist, ListWithUnusedSlotsIsCounted) {
    for (const int stringCount : {0, 1, 63, 64, 65, 499}) {
        CountedList strings;
        strings.list = vekGrowStrlist(nullptr, 0, 1000);
        strings.size = 1000;
        strings.fill(stringCount);
        strings.list = vekAddToStrlist(strings.list, "last", &strings.size);
        EXPECT_EQ(strings.size, 1000);
        ASSERT_EQ(vekGetStrlistSize(strings.list), stringCount + 1);
        EXPECT_STREQ(strings.list[stringCount], "last");
    }
}

TEST(VekAddToStrlist, CopiedListMayBeginWithACounterOfZero) {
    for (const int counter : {0, 1, 64, 70, 99, 100, 101}) {
        CountedList strings;
        strings.fill(100);
        CountedList copy;
        copy.list = vekCopyStrlist(strings.list);
        copy.size = counter;
        copy.list = vekAddToStrlist(copy.list, "last", &copy.size);
        EXPECT_EQ(copy.size, 202) << counter;
        ASSERT_EQ(vekGetStrlistSize(copy.list), 101) << counter;
        EXPECT_STREQ(copy.list[100], "last") << counter;
    }
}

// Whole lists.

TEST(VekCopyStrlist, CopiesEveryString) {
    CountedList strings;
    strings.fill(3);
    CountedList copy;
    copy.list = vekCopyStrlist(strings.list);
    ASSERT_EQ(contentOf(copy.list), contentOf(strings.list));
    EXPECT_NE(copy.list, strings.list);
    EXPECT_NE(copy.list[0], strings.list[0]);
}

TEST(VekCopyStrlist, NullStaysNullAndEmptyStaysEmpty) {
    EXPECT_EQ(vekCopyStrlist(nullptr), nullptr);
    char *empty[] = {nullptr};
    CountedList copy;
    copy.list = vekCopyStrlist(empty);
    ASSERT_NE(copy.list, nullptr);
    EXPECT_EQ(copy.list[0], nullptr);
}

TEST(VekCopyStrlist, ReturnsNullIfAnyAllocationFails) {
    CountedList strings;
    strings.fill(3);
    for (int nth = 1; nth <= 4; ++nth) {
        test::faults::failAllocation(nth);
        EXPECT_EQ(vekCopyStrlist(strings.list), nullptr) << nth;
    }
    test::faults::failAllocation(5);
    CountedList copy;
    copy.list = vekCopyStrlist(strings.list);
    EXPECT_NE(copy.list, nullptr);
}

TEST(VekFreeStrlist, NullIsAllowed) {
    vekFreeStrlist(nullptr);
}

TEST(VekStrlistToStr, ResultBeginsWithTheSeparator) {
    char a[] = "a";
    char b[] = "b";
    char *list[] = {a, b, nullptr};
    EXPECT_EQ(take(vekStrlistToStr(list, ",")), ",a,b");
    EXPECT_EQ(take(vekStrlistToStr(list, "::")), " a b");
    EXPECT_EQ(take(vekStrlistToStr(list, nullptr)), " a b");
}

TEST(VekStrlistToStr, EmptyListReturnsTheEmptyString) {
    char *empty[] = {nullptr};
    EXPECT_EQ(take(vekStrlistToStr(empty, ",")), "");
    EXPECT_EQ(take(vekStrlistToStr(nullptr, ",")), "");
}

TEST(VekStrlistToStr, ReturnsNullIfMemoryIsExhausted) {
    char a[] = "a";
    char *list[] = {a, nullptr};
    test::faults::failAllocation(1);
    EXPECT_EQ(vekStrlistToStr(list, ","), nullptr);
}

TEST(VekSortStrlist, SortsTheFirstStringsByTheirBytes) {
    CountedList strings;
    for (const char *text : {"b", "a", "\xe4", "B", "", "aa", "A"}) {
        strings.add(text);
    }
    vekSortStrlist(strings.list, 6);
    EXPECT_EQ(contentOf(strings.list), (Strings{"", "B", "a", "aa", "b", "\xe4", "A"}));
}

TEST(VekSortStrlist, DoesNotSortAfterTheEnd) {
    CountedList strings;
    strings.add("b");
    strings.add("a");
    vekSortStrlist(strings.list, -1);
    vekSortStrlist(strings.list, 0);
    EXPECT_EQ(contentOf(strings.list), (Strings{"b", "a"}));
    vekSortStrlist(strings.list, 100);
    EXPECT_EQ(contentOf(strings.list), (Strings{"a", "b"}));
    vekSortStrlist(nullptr, 5);
}

// Words.

/// The words of `text`.
Strings wordsOf(const std::string &text) {
    CountedList words;
    words.list = vekStrToStrlist(text.c_str(), &words.count, words.list);
    EXPECT_EQ(words.count, vekGetStrlistSize(words.list));
    return contentOf(words.list);
}

TEST(VekStrToStrlist, WhiteSpaceSeparatesWords) {
    EXPECT_EQ(wordsOf("one two\tthree\nfour\vfive\fsix\rseven"),
              (Strings{"one", "two", "three", "four", "five", "six", "seven"}));
    EXPECT_EQ(wordsOf(" \n one \t "), (Strings{"one"}));
}

TEST(VekStrToStrlist, QuotedWordsKeepTheirBlanks) {
    EXPECT_EQ(wordsOf("one 'two three' \"four\""), (Strings{"one", "two three", "four"}));
    EXPECT_EQ(wordsOf("'say \"hi\"' \"it's\""), (Strings{"say \"hi\"", "it's"}));
}

TEST(VekStrToStrlist, NextWordMayFollowTheQuoteImmediately) {
    EXPECT_EQ(wordsOf("'a b'c \"d\"'e'"), (Strings{"a b", "c", "d", "e"}));
}

TEST(VekStrToStrlist, FirstCharacterAfterTheQuoteBelongsToTheWord) {
    EXPECT_EQ(wordsOf("''"), (Strings{"'"}));
    EXPECT_EQ(wordsOf("\"\""), (Strings{"\""}));
    EXPECT_EQ(wordsOf("''' x"), (Strings{"'", "x"}));
    EXPECT_EQ(wordsOf("' a' b"), (Strings{" a", "b"}));
    EXPECT_EQ(wordsOf("'\na' b"), (Strings{"\na", "b"}));
}

TEST(VekStrToStrlist, DoubleQuoteAfterASingleOneOpensTheWord) {
    EXPECT_EQ(wordsOf("'\"a' b\" c"), (Strings{"a' b", "c"}));
    EXPECT_EQ(wordsOf("\"'a\" b"), (Strings{"'a", "b"}));
}

TEST(VekStrToStrlist, QuotesInsideAnUnquotedWordAreOrdinary) {
    EXPECT_EQ(wordsOf("it's a\"b\"c"), (Strings{"it's", "a\"b\"c"}));
}

TEST(VekStrToStrlist, UnclosedQuoteRunsToTheEndOfTheLine) {
    EXPECT_EQ(wordsOf("'one two\nthree"), (Strings{"one two", "three"}));
    EXPECT_EQ(wordsOf("\"one two\nthree"), (Strings{"one two", "three"}));
    EXPECT_EQ(wordsOf("'one two"), (Strings{"one two"}));
}

TEST(VekStrToStrlist, QuoteAtTheEndGivesAnEmptyWord) {
    EXPECT_EQ(wordsOf("a '"), (Strings{"a", ""}));
    EXPECT_EQ(wordsOf("\""), (Strings{""}));
    EXPECT_EQ(wordsOf("'\""), (Strings{""}));
}

TEST(VekStrToStrlist, NegativeCharactersBelongToWords) {
    EXPECT_EQ(wordsOf("\xe4\xa0\x85 \xff"), (Strings{"\xe4\xa0\x85", "\xff"}));
}

TEST(VekStrToStrlist, TextAfter4095CharactersBeginsTheNextWord) {
    const std::string full(4095, 'x');
    EXPECT_EQ(wordsOf(full), (Strings{full}));
    EXPECT_EQ(wordsOf(full + " y"), (Strings{full, "y"}));
    EXPECT_EQ(wordsOf(full + "y z"), (Strings{full, "y", "z"}));
    EXPECT_EQ(wordsOf(full + "yy"), (Strings{full, "yy"}));
    EXPECT_EQ(wordsOf(full + full + "y"), (Strings{full, full, "y"}));
    EXPECT_EQ(wordsOf(std::string(4094, 'x')), (Strings{std::string(4094, 'x')}));
}

TEST(VekStrToStrlist, QuotedWordOf4095CharactersEndsAtItsQuote) {
    const std::string full(4095, 'x');
    EXPECT_EQ(wordsOf("'" + full + "' y"), (Strings{full, "y"}));
    EXPECT_EQ(wordsOf("'" + full + "y z'"), (Strings{full, "y", "z'"}));
}

TEST(VekStrToStrlist, AppendsToAListOfExactlyItsCount) {
    CountedList strings;
    strings.fill(3);
    CountedList words;
    words.list = vekCopyStrlist(strings.list);
    words.count = 3;
    words.list = vekStrToStrlist("a b", &words.count, words.list);
    EXPECT_EQ(words.count, 5);
    EXPECT_EQ(contentOf(words.list), (Strings{"0", "1", "2", "a", "b"}));
}

TEST(VekStrToStrlist, TextWithoutWordsAddsNothing) {
    CountedList strings;
    strings.fill(1);
    for (const char *text : {"", " \n\t", static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(vekStrToStrlist(text, &strings.count, strings.list), strings.list);
        EXPECT_EQ(strings.count, 1);
        int count = 0;
        EXPECT_EQ(vekStrToStrlist(text, &count, nullptr), nullptr);
        EXPECT_EQ(count, 0);
    }
}

TEST(VekStrToStrlist, KeepsTheWordsSoFarIfMemoryIsExhausted) {
    const Reports reports;
    CountedList words;
    test::faults::failAllocationsFrom(4); // two for the first word, two for the second
    words.list = vekStrToStrlist("a b c", &words.count, words.list);
    test::faults::reset();
    EXPECT_EQ(words.count, 1);
    EXPECT_EQ(contentOf(words.list), (Strings{"a"}));
}

} // namespace
