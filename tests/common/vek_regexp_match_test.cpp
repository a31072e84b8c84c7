#include "common/expressions/veki_regexp.h"

#include "tests/support/capture.h"
#include "tests/support/faults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <ostream>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

struct FreeExpression {
    void operator()(vek_regexp *expression) const { std::free(expression); }
};
using Expression = std::unique_ptr<vek_regexp, FreeExpression>;

Expression compile(const std::string &pattern) {
    Expression expression(vek_regcomp(pattern.c_str()));
    EXPECT_NE(expression, nullptr) << pattern;
    return expression;
}

/// The positions of the last match, for instance "0-3 1-2 -", without unset groups at the end.
std::string positionsOf(const vek_regexp &expression, const char *subject) {
    std::string positions;
    std::string unset;
    for (int i = 0; i < VEK_REGEXP_GROUPS; ++i) {
        if (expression.startp[i] == nullptr && expression.endp[i] == nullptr) {
            unset += " -";
            continue;
        }
        positions += unset + " " + std::to_string(expression.startp[i] - subject) + "-" +
                     std::to_string(expression.endp[i] - subject);
        unset.clear();
    }
    return positions.empty() ? "none" : positions.substr(1);
}

/// The result of a match: "no", or the positions of the groups.
std::string match(const std::string &pattern, const std::string &subject) {
    const Expression expression = compile(pattern);
    const int result = vek_regexec(expression.get(), subject.c_str());
    return result == 1 ? positionsOf(*expression, subject.c_str()) : result == 0 ? "no" : "bad result";
}

struct MatchCase {
    const char *pattern;
    const char *subject;
    const char *positions;
};
std::ostream &operator<<(std::ostream &out, const MatchCase &value) {
    return out << value.pattern << " on " << value.subject;
}

class VekRegexec : public testing::TestWithParam<MatchCase> {};

TEST_P(VekRegexec, FindsWhatIsExpected) {
    EXPECT_EQ(match(GetParam().pattern, GetParam().subject), GetParam().positions);
}

INSTANTIATE_TEST_SUITE_P(Plain, VekRegexec,
                         testing::Values(MatchCase{"abc", "abc", "0-3"}, MatchCase{"abc", "xabcx", "1-4"},
                                         MatchCase{"abc", "aababc", "3-6"}, MatchCase{"abc", "ab", "no"},
                                         MatchCase{"", "", "0-0"}, MatchCase{"", "abc", "0-0"},
                                         MatchCase{"x*", "", "0-0"}, MatchCase{"x*", "abc", "0-0"},
                                         MatchCase{".", "", "no"}, MatchCase{".", "\n", "0-1"},
                                         MatchCase{"\\.", "a.", "1-2"}, MatchCase{"\\a", "ba", "1-2"},
                                         MatchCase{"\xe4", "a\xe4", "1-2"}));

INSTANTIATE_TEST_SUITE_P(Anchors, VekRegexec,
                         testing::Values(MatchCase{"^abc", "abcabc", "0-3"}, MatchCase{"^abc", "xabc", "no"},
                                         MatchCase{"abc$", "abcabc", "3-6"}, MatchCase{"abc$", "abcx", "no"},
                                         MatchCase{"^$", "", "0-0"}, MatchCase{"^$", "a", "no"},
                                         MatchCase{"$", "abc", "3-3"}, MatchCase{"a^b", "a^b", "no"},
                                         MatchCase{"a$b", "a$b", "no"}, MatchCase{"x|^b", "ab", "no"},
                                         MatchCase{"x|^a", "ab", "0-1"}, MatchCase{"(^a)", "ba", "no"},
                                         MatchCase{"^?b", "ab", "1-2"}));

INSTANTIATE_TEST_SUITE_P(Sets, VekRegexec,
                         testing::Values(MatchCase{"[b-d]+", "abcde", "1-4"},
                                         MatchCase{"[^b-d]+", "bcaed", "2-4"}, MatchCase{"[^a]", "", "no"},
                                         MatchCase{"[^a]", "a", "no"}, MatchCase{"[a-]+", "b-a-", "1-4"},
                                         MatchCase{"[]a]+", "x]a]", "1-4"}, MatchCase{"[\\]", "a\\", "1-2"},
                                         MatchCase{"[b-a]", "ab", "1-2"},
                                         MatchCase{"[\x80-\xff]+", "a\x80\xc3\xff", "1-4"},
                                         MatchCase{"[a-c-e]+", "xabcdef", "1-6"}));

INSTANTIATE_TEST_SUITE_P(Repetitions, VekRegexec,
                         testing::Values(MatchCase{"abc*", "abccc", "0-5"}, MatchCase{"abc*", "ab", "0-2"},
                                         MatchCase{"^abc*$", "abcabc", "no"},
                                         MatchCase{"ab+c", "abbbc", "0-5"}, MatchCase{"ab+c", "ac", "no"},
                                         MatchCase{"ab?c", "ac", "0-2"}, MatchCase{"ab?c", "abc", "0-3"},
                                         MatchCase{"ab?c", "abbc", "no"}, MatchCase{"a.*c", "abcbcb", "0-5"},
                                         MatchCase{".*.", "abc", "0-3"}, MatchCase{"x*xx", "xxxx", "0-4"},
                                         MatchCase{"a+a", "a", "no"}, MatchCase{".*bc$", "abcabc", "0-6"},
                                         MatchCase{"x*abc", "xxab", "no"}, MatchCase{"[ab]*b", "abab", "0-4"},
                                         MatchCase{"[ab]+[ab]", "ab", "0-2"},
                                         MatchCase{"a*$", "baa", "1-3"}));

INSTANTIATE_TEST_SUITE_P(Alternatives, VekRegexec,
                         testing::Values(MatchCase{"a|ab", "ab", "0-1"}, MatchCase{"ab|a", "ab", "0-2"},
                                         MatchCase{"x|y|z", "az", "1-2"},
                                         MatchCase{"(a|ab)(c|bcd)", "abcd", "0-4 0-1 1-4"},
                                         MatchCase{"(a|ab)(c|bcd)$", "abc", "0-3 0-2 2-3"},
                                         MatchCase{"|a", "a", "0-0"}, MatchCase{"(|a)b", "ab", "0-2 0-1"},
                                         MatchCase{"a||b", "b", "0-0"}, MatchCase{"(b|)x", "x", "0-1 0-0"}));

INSTANTIATE_TEST_SUITE_P(Groups, VekRegexec,
                         testing::Values(MatchCase{"(a)(b)", "ab", "0-2 0-1 1-2"},
                                         MatchCase{"((a)b)", "ab", "0-2 0-2 0-1"},
                                         MatchCase{"()", "a", "0-0 0-0"},
                                         MatchCase{"(a)(b)(c)(d)(e)(f)(g)(h)(i)", "abcdefghi",
                                                   "0-9 0-1 1-2 2-3 3-4 4-5 5-6 6-7 7-8 8-9"},
                                         MatchCase{"(a)|(b)", "b", "0-1 - 0-1"},
                                         MatchCase{"(a)?b", "b", "0-1"},
                                         MatchCase{"(a)?b", "ab", "0-2 0-1"}));

INSTANTIATE_TEST_SUITE_P(
    RepeatedGroups, VekRegexec,
    testing::Values(MatchCase{"(a|b)*", "ab", "0-2 1-2"}, MatchCase{"(a|b)+", "abx", "0-2 1-2"},
                    MatchCase{"(ab)*", "ababa", "0-4 2-4"}, MatchCase{"(a|b)*", "c", "0-0"},
                    MatchCase{"((a)|b)*", "ab", "0-2 1-2 0-1"}, MatchCase{"(a|ab)*c", "aababc", "0-6 3-5"},
                    MatchCase{"(ab|a)*b", "ab", "0-2 0-1"}, MatchCase{"(x+x+)+y", "xxxxy", "0-5 0-4"},
                    MatchCase{"(a(b)?)+", "aba", "0-3 2-3 1-2"}));

INSTANTIATE_TEST_SUITE_P(GroupsGivenUp, VekRegexec,
                         testing::Values(MatchCase{"((a)b|a)c", "ac", "0-2 0-1"},
                                         MatchCase{"((a)x)*ab", "ab", "0-2"},
                                         MatchCase{"(a)x|ab", "ab", "0-2"},
                                         MatchCase{"((a)*x|ab)", "ab", "0-2 0-2"},
                                         MatchCase{"((a)|ab)*c", "aabc", "0-4 1-3 0-1"}));

// Positions.

TEST(VekRegexecPositions, AreNullIfNothingMatches) {
    const Expression expression = compile("(a)b");
    ASSERT_EQ(vek_regexec(expression.get(), "ab"), 1);
    ASSERT_EQ(vek_regexec(expression.get(), "ac"), 0);
    EXPECT_EQ(positionsOf(*expression, ""), "none");
}

TEST(VekRegexecPositions, AreSetAgainByEachMatch) {
    const Expression expression = compile("(a)|(b)");
    ASSERT_EQ(vek_regexec(expression.get(), "a"), 1);
    const char subject[] = "xb";
    ASSERT_EQ(vek_regexec(expression.get(), subject), 1);
    EXPECT_EQ(positionsOf(*expression, subject), "1-2 - 1-2");
}

// Fields that the matcher uses.

TEST(VekRegexecHints, SubjectWithoutTheRequiredLiteralDoesNotMatch) {
    const Expression expression = compile("[ab]*cde");
    ASSERT_STREQ(expression->regmust, "cde");
    EXPECT_EQ(vek_regexec(expression.get(), "abcd"), 0);
    EXPECT_EQ(vek_regexec(expression.get(), "abccdcde"), 1);
    // The length of the literal counts, not its NUL.
    expression->regmlen = 2;
    EXPECT_EQ(vek_regexec(expression.get(), "acde"), 1);
}

TEST(VekRegexecHints, AnchoredExpressionIsTriedAtTheStartOnly) {
    const Expression expression = compile("b");
    expression->regstart = '\0';
    expression->reganch = 1;
    EXPECT_EQ(vek_regexec(expression.get(), "ab"), 0);
    EXPECT_EQ(vek_regexec(expression.get(), "ba"), 1);
}

TEST(VekRegexecHints, OnlyPositionsOfTheFirstCharacterAreTried) {
    const Expression expression = compile(".b");
    expression->regstart = 'x';
    const char subject[] = "abxb";
    ASSERT_EQ(vek_regexec(expression.get(), subject), 1);
    EXPECT_EQ(positionsOf(*expression, subject), "2-4");
}

// Long subjects.

constexpr std::size_t kMillion = 1000000;

TEST(VekRegexecLongSubject, GroupLoopsOverAMillionCharacters) {
    const std::string subject = std::string(kMillion, 'a') + "b";
    EXPECT_EQ(match("(a|b)*c", subject + "c"), "0-1000002 1000000-1000001");
    EXPECT_EQ(match("(a|b)*c", subject), "no");
    EXPECT_EQ(match("(a|b)*[c]", subject), "no");
    EXPECT_EQ(match("(a|x)+b", subject), "0-1000001 999999-1000000");
    EXPECT_EQ(match("((a)|(b))*$", subject), "0-1000001 1000000-1000001 999999-1000000 1000000-1000001");
    EXPECT_EQ(match("(a?b?[ab])*$", subject), "0-1000001 1000000-1000001");
}

TEST(VekRegexecLongSubject, SimpleLoopsOverAMillionCharacters) {
    const std::string subject(kMillion, 'a');
    EXPECT_EQ(match("a*a*a*[b]", subject), "no");
    EXPECT_EQ(match(".*.*.*=.*", subject + "=" + subject), "0-2000001");
    EXPECT_EQ(match("[a-c]+[d-f]+$", subject), "no");
    EXPECT_EQ(match("a+$", subject), "0-1000000");
}

TEST(VekRegexecLongSubject, NestedLoopsAreNotExponential) {
    for (const std::size_t length : {30U, 1023U, 4095U, 100000U}) {
        const std::string subject(length, 'x');
        EXPECT_EQ(match("(x+x+)+[y]", subject), "no") << length;
        EXPECT_EQ(match("((x|xx)+|x[xy])+[yz]", subject), "no") << length;
        EXPECT_EQ(match("(x?x?)(x+x+)+[y]", subject + "y").substr(0, 2), "0-") << length;
    }
}

TEST(VekRegexecLongSubject, ChainOfOptionalPiecesIsNotExponential) {
    std::string pattern;
    for (int i = 0; i < 200; ++i) {
        pattern += "x?";
    }
    EXPECT_EQ(match(pattern + "[y]", std::string(200, 'x')), "no");
}

TEST(VekRegexecLongSubject, ExhaustedMemoryIsReportedAndGivesNoMatch) {
    const std::string subject(100000, 'a');
    const Expression expression = compile("(a|b)*$");
    for (int nth = 1; nth <= 8; ++nth) {
        test::Capture capture;
        test::faults::failAllocation(nth);
        const int result = vek_regexec(expression.get(), subject.c_str());
        test::faults::reset();
        EXPECT_EQ(capture.err(), result == 1 ? "" : "vek_regexp compilation: out of space\n") << nth;
        EXPECT_EQ(positionsOf(*expression, subject.c_str()), result == 1 ? "0-100000 99999-100000" : "none");
    }
    test::Capture capture;
    test::faults::failAllocationsFrom(1);
    EXPECT_EQ(vek_regexec(expression.get(), subject.c_str()), 0);
    test::faults::reset();
    EXPECT_EQ(capture.err(), "vek_regexp compilation: out of space\n");
}

TEST(VekRegexecLongSubject, ExhaustedMemoryInARepeatedCharacterIsReported) {
    std::string subject = "ccddeeffgghh";
    for (int i = 0; i < 20000; ++i) {
        subject += "aab";
    }
    // Each prefix moves the allocations by one step.
    for (const char *pattern : {"h(a*b)*$", "hh*(a*b)*$", "gg*hh*(a*b)*$", "ff*gg*hh*(a*b)*$",
                                "ee*ff*gg*hh*(a*b)*$", "dd*ee*ff*gg*hh*(a*b)*$"}) {
        const Expression expression = compile(pattern);
        ASSERT_EQ(vek_regexec(expression.get(), subject.c_str()), 1) << pattern;
        for (int nth = 1; nth <= 16; ++nth) {
            test::Capture capture;
            test::faults::failAllocation(nth);
            const int result = vek_regexec(expression.get(), subject.c_str());
            test::faults::reset();
            EXPECT_EQ(capture.err(), result == 1 ? "" : "vek_regexp compilation: out of space\n")
                << pattern << ", allocation " << nth;
        }
    }
}

TEST(VekRegexecLongSubject, ResultsAreTheSameWithoutTheVisitedSet) {
    const std::string subject(18, 'x');
    const Expression expression = compile("(x+x+)+[y]");
    for (int nth = 1; nth <= 6; ++nth) {
        test::faults::failAllocation(nth);
        test::Capture capture;
        EXPECT_EQ(vek_regexec(expression.get(), subject.c_str()), 0);
        EXPECT_EQ(vek_regexec(expression.get(), (subject + "y").c_str()), 1);
    }
}

// The automaton that detects hopeless searches has at most 64 positions: one for each node that consumes a character, and
// one for each character of a literal. Both patterns have 65 or more, the first one because of its literal.
TEST(VekRegexecLongSubject, PatternsTooLargeForTheAutomatonHaveTheirUsualResults) {
    const std::string hopeless = std::string(300, 'x') + "z";
    const std::string literal = "(x+x+)+([y]|" + std::string(63, 'l') + ")";
    EXPECT_EQ(match(literal, hopeless), "no");
    EXPECT_EQ(match(literal, hopeless + "xxxxx" + std::string(63, 'l')), "301-369 301-306 306-369");
    std::string nodes = "(x+x+)+";
    for (int i = 0; i < 63; ++i) {
        nodes += "[x.]";
    }
    EXPECT_EQ(match(nodes + "[y]", hopeless), "no");
    EXPECT_EQ(match(nodes + "[y]", hopeless + std::string(70, 'x') + "y"), "301-372 301-308");
}

// Damage.

/// The message of a match, without its prefix and newline.
std::string reportOf(vek_regexp *expression, const char *subject) {
    const std::string prefix = "vek_regexp compilation: ";
    test::Capture capture;
    EXPECT_EQ(vek_regexec(expression, subject), 0);
    const std::string report = capture.err();
    EXPECT_EQ(report.substr(0, prefix.size()), prefix);
    EXPECT_EQ(report.find('\n'), report.size() - 1) << report;
    return report.size() > prefix.size() ? report.substr(prefix.size(), report.size() - prefix.size() - 1)
                                         : report;
}

/// Compiles `pattern` and sets one byte of its program.
Expression damaged(const char *pattern, std::size_t offset, int value) {
    Expression expression = compile(pattern);
    (&expression->program[0])[offset] = static_cast<char>(value);
    return expression;
}

TEST(VekRegexecDamage, NullExpressionOrSubjectIsANullParameter) {
    const Expression expression = compile("a");
    EXPECT_EQ(reportOf(nullptr, "a"), "NULL parameter");
    EXPECT_EQ(reportOf(expression.get(), nullptr), "NULL parameter");
    EXPECT_EQ(reportOf(nullptr, nullptr), "NULL parameter");
}

TEST(VekRegexecDamage, MissingMagicByteIsACorruptedProgram) {
    EXPECT_EQ(reportOf(damaged("abc", 0, 0).get(), "abc"), "corrupted program");
}

TEST(VekRegexecDamage, UnknownOpcodeIsMemoryCorruption) {
    for (const int opcode : {12, 19, 20, 30, 40, 255}) {
        EXPECT_EQ(reportOf(damaged("abc", 4, opcode).get(), "abc"), "memory corruption") << opcode;
    }
    EXPECT_EQ(reportOf(damaged("abc", 11, 99).get(), "abc"), "memory corruption");
}

TEST(VekRegexecDamage, BrokenChainIsCorruptedPointers) {
    EXPECT_EQ(reportOf(damaged("abc", 6, 0).get(), "abc"), "corrupted pointers");
    EXPECT_EQ(reportOf(damaged("abc", 5, 0x7f).get(), "abc"), "corrupted pointers");
    EXPECT_EQ(reportOf(damaged("abc", 6, 8).get(), "abc"), "corrupted pointers");
    // BACK of "(ab)*" is at 22 and leads 18 bytes back.
    EXPECT_EQ(reportOf(damaged("(ab)*", 24, 22).get(), "ab"), "corrupted pointers");
}

TEST(VekRegexecDamage, RepetitionOfAnotherNodeIsAnInternalFoulup) {
    EXPECT_EQ(reportOf(damaged("a*", 7, 1).get(), "a"), "internal foulup");
}

/// An expression whose program has exactly the largest size: `head`, then NOTHING nodes, then the beginning of `tail`.
Expression withoutEnd(const std::string &head, const std::string &tail) {
    std::string program(1, static_cast<char>(vek::kProgramMagic));
    program += head;
    while (program.size() + vek::kNodeHead + tail.size() <= vek::kProgramLimit) {
        program += std::string("\x09\0\x03", 3);
    }
    program += tail;
    program.resize(vek::kProgramLimit);
    const std::size_t offset = offsetof(vek_regexp, program);
    Expression expression(static_cast<vek_regexp *>(std::calloc(1, offset + program.size())));
    std::copy(program.begin(), program.end(), reinterpret_cast<char *>(expression.get()) + offset);
    return expression;
}

TEST(VekRegexecDamage, ProgramWithoutAnEndIsMemoryCorruption) {
    EXPECT_EQ(reportOf(withoutEnd("", "").get(), "abc"), "memory corruption");
    // The operand of STAR begins within the limit, its literal would begin after it.
    const std::string a("\x08\0\5a\0", 5);
    const std::string star("\x0a\0\x03\x08", 4);
    EXPECT_EQ(reportOf(withoutEnd(a, star).get(), "abc"), "memory corruption");
    EXPECT_EQ(reportOf(withoutEnd("", star + std::string("\0\x03", 2)).get(), "abc"), "memory corruption");
}

TEST(VekRegexecDamage, LoopThatMatchesNothingEnds) {
    // The operand of the loop is replaced by NOTHING: a loop that consumes no character.
    const Expression expression = compile("(.)*");
    char *program = &expression->program[0];
    ASSERT_EQ(program[13], 3);
    program[13] = 9;
    EXPECT_EQ(reportOf(expression.get(), "a"), "corrupted pointers");
}

TEST(VekRegexecDamage, AnySingleDamagedByteGivesADefinedResult) {
    test::Capture capture;
    const char *subjects[] = {"", "a", "ab", "abab", "xaabbccab\xff", "ab.cab"};
    for (const char *pattern : {"", "abc", "a|b|", "(a|b)*c", "(ab)+", "a?b?", "^a*b+$", "[a-c]+x[^a]",
                                ".*ab.*(c|d)", "((a)|(b))+.", "(.)*", "(a?b)*(^|$)"}) {
        const Expression whole = compile(pattern);
        std::size_t size = 7;
        while (std::memcmp(&whole->program[0] + size - 3, "\0\0", 3) != 0) {
            ++size;
        }
        for (std::size_t offset = 0; offset < size; ++offset) {
            for (int value = 0; value < 256; value += value < 48 ? 1 : 23) {
                const Expression expression = damaged(pattern, offset, value);
                for (const char *subject : subjects) {
                    const int result = vek_regexec(expression.get(), subject);
                    ASSERT_TRUE(result == 0 || result == 1);
                }
            }
        }
    }
}

TEST(VekRegexecDamage, RandomDamageEnds) {
    test::Capture capture;
    std::mt19937 random(4711);
    for (int round = 0; round < 20000; ++round) {
        const Expression expression = compile("((a|b)*c|[x-z]+(d?))+e");
        // Small changes of opcodes and distances, so that some damage is found only during the match.
        for (int i = 0; i < 2; ++i) {
            char &byte = (&expression->program[0])[1 + random() % 80];
            byte = static_cast<char>(byte + static_cast<int>(random() % 7) - 3);
        }
        const int result = vek_regexec(expression.get(), "aabcxyzdabce");
        ASSERT_TRUE(result == 0 || result == 1);
    }
}

// A match that begins with a repetition rules out later starts in its run, and only there.
INSTANTIATE_TEST_SUITE_P(LeadingRepetition, VekRegexec,
                         testing::Values(MatchCase{"(a+..)+c", "axaaycX", "2-6 2-5"},
                                         MatchCase{"a+b", "aaaxaab", "4-7"}, MatchCase{"a*b", "aaaxb", "4-5"},
                                         MatchCase{"(a*)b", "aaaxaab", "4-7 4-6"},
                                         MatchCase{"[ab]+[bc]$", "abbxab", "4-6"},
                                         MatchCase{".*$", "abc", "0-3"}, MatchCase{"a*$", "aab", "3-3"}));

struct LongCase {
    const char *pattern;
    const char *unit; ///< repeated 2000 times
    const char *tail;
    const char *positions;
};
class VekRegexecLong : public testing::TestWithParam<LongCase> {};

// A search this long is decided by the position automaton, or continues with the visited set.
TEST_P(VekRegexecLong, FindsWhatIsExpected) {
    std::string subject;
    for (int i = 0; i < 2000; ++i) {
        subject += GetParam().unit;
    }
    EXPECT_EQ(match(GetParam().pattern, subject + GetParam().tail), GetParam().positions);
}

INSTANTIATE_TEST_SUITE_P(
    NoMatch, VekRegexecLong,
    testing::Values(LongCase{"(a|b)*(c|d)", "ab", "", "no"}, LongCase{"(a|ab)*abc", "ab", "", "no"},
                    LongCase{"(a|b)*(c|d)$", "ab", "cx", "no"}, LongCase{"^(a|b)*(c|d)", "ab", "xc", "no"},
                    LongCase{"(a|b)+x+", "ab", "", "no"}, LongCase{"(a?b)*xyz", "ab", "xy", "no"},
                    LongCase{"(.a)+[^ab]c", "ab", "xa", "no"}, LongCase{"((a|b)(b|a))*^c", "ab", "c", "no"}));
INSTANTIATE_TEST_SUITE_P(Match, VekRegexecLong,
                         testing::Values(LongCase{"(a|b)*(c|d)", "ab", "d", "0-4001 3999-4000 4000-4001"},
                                         LongCase{"(a|b)+(c|d)", "abx", "bd",
                                                  "6000-6002 6000-6001 6001-6002"},
                                         LongCase{"(a|b)x*$", "aby", "bxx", "6000-6003 6000-6001"},
                                         LongCase{"(a|ab)+abc", "abd", "abababc", "6000-6007 6002-6004"},
                                         LongCase{"(a|b)*x|$", "ab", "", "4000-4000"},
                                         LongCase{"(aa|bb)+c|^a", "ba", "bbbbc", "4000-4005 4002-4004"},
                                         LongCase{"(a|b)*(c|d)|y", "ab", "y", "4000-4001"}));

// Comparison with a model: a recursive evaluator of the syntax tree, without a node program and without optimizations. The
// trees are random; the pattern is the printed tree.

struct Piece;
using Sequence = std::vector<Piece>;

struct Piece {
    enum Kind { Character, AnyCharacter, Set, Begin, End, Group } kind = Character;
    std::string members; ///< the character, or the members of the set
    bool complement = false;
    std::vector<Sequence> alternatives;
    int group = 0;
    char repetition = '\0';

    [[nodiscard]] bool takes(char c) const {
        return kind == AnyCharacter || (members.find(c) != std::string::npos) != complement;
    }
};

class Generator {
  public:
    /// @param repetitive  few characters and many repetitions, which gives many possible matches
    Generator(unsigned seed, bool repetitive)
        : random_(seed), letters_(repetitive ? "aaaaaab" : "aaabbc*"), repetitions_(repetitive ? 4 : 2) {}

    unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

    std::vector<Sequence> expression(int depth) {
        std::vector<Sequence> alternatives(1 + (below(3) == 0 ? 1 + below(2) : 0));
        for (Sequence &sequence : alternatives) {
            const unsigned pieces = below(10) == 0 ? 0 : 1 + below(4);
            for (unsigned i = 0; i < pieces; ++i) {
                sequence.push_back(piece(depth));
            }
        }
        return alternatives;
    }

    std::string subject(unsigned longest) {
        std::string text;
        for (unsigned i = below(longest + 1); i > 0; --i) {
            text += letters_[below(7)];
        }
        return text;
    }

  private:
    Piece piece(int depth) {
        Piece piece;
        switch (below(depth > 0 ? 12 : 8)) {
        case 0:
            piece.kind = Piece::AnyCharacter;
            break;
        case 1:
            piece.kind = Piece::Set;
            piece.complement = below(2) == 0;
            piece.members = below(2) == 0 ? "ab" : "bc";
            break;
        case 2:
            piece.kind = below(4) == 0 ? Piece::Begin : below(3) == 0 ? Piece::End : Piece::AnyCharacter;
            break;
        case 8:
        case 9:
        case 10:
        case 11:
            if (groups_ < 9) {
                piece.kind = Piece::Group;
                piece.group = ++groups_;
                piece.alternatives = expression(depth - 1);
                break;
            }
            [[fallthrough]];
        default:
            piece.members = std::string(1, letters_[below(7)]);
            break;
        }
        if (below(5) < repetitions_) {
            piece.repetition = canBeEmpty(piece) ? '?' : "*+?"[below(3)];
        }
        return piece;
    }

    static bool canBeEmpty(const Piece &piece) {
        if (piece.repetition == '*' || piece.repetition == '?' || piece.kind == Piece::Begin ||
            piece.kind == Piece::End) {
            return true;
        }
        if (piece.kind != Piece::Group) {
            return false;
        }
        for (const Sequence &sequence : piece.alternatives) {
            bool empty = true;
            for (const Piece &inner : sequence) {
                empty = empty && canBeEmpty(inner);
            }
            if (empty) {
                return true;
            }
        }
        return false;
    }

    std::mt19937 random_;
    const char *letters_;
    unsigned repetitions_;
    int groups_ = 0;
};

std::string printed(const std::vector<Sequence> &alternatives);

std::string printed(const Piece &piece) {
    std::string text;
    switch (piece.kind) {
    case Piece::Character:
        text = piece.members == "*" ? "\\*" : piece.members;
        break;
    case Piece::AnyCharacter:
        text = ".";
        break;
    case Piece::Set:
        text = (piece.complement ? "[^" : "[") + piece.members + "]";
        break;
    case Piece::Begin:
        text = "^";
        break;
    case Piece::End:
        text = "$";
        break;
    case Piece::Group:
        text = "(" + printed(piece.alternatives) + ")";
        break;
    }
    return piece.repetition == '\0' ? text : text + piece.repetition;
}

std::string printed(const std::vector<Sequence> &alternatives) {
    std::string text;
    for (std::size_t i = 0; i < alternatives.size(); ++i) {
        text += i == 0 ? "" : "|";
        for (const Piece &piece : alternatives[i]) {
            text += printed(piece);
        }
    }
    return text;
}

class Evaluator {
  public:
    Evaluator(const std::vector<Sequence> &alternatives, std::string subject)
        : alternatives_(alternatives), subject_(std::move(subject)) {}

    /// @return "no", the positions, or "" if it would take too long
    std::string run() {
        for (std::size_t start = 0; start <= subject_.size(); ++start) {
            groups_.assign(VEK_REGEXP_GROUPS, {-1, -1});
            const auto finish = [&](std::size_t end) {
                groups_[0] = {static_cast<long>(start), static_cast<long>(end)};
                return true;
            };
            if (any(alternatives_, start, finish)) {
                return steps_ > kStepsMax ? "" : positions();
            }
            if (steps_ > kStepsMax) {
                return "";
            }
        }
        return "no";
    }

    [[nodiscard]] long steps() const { return steps_; }

  private:
    using Rest = std::function<bool(std::size_t)>;
    static constexpr long kStepsMax = 300000;

    bool any(const std::vector<Sequence> &alternatives, std::size_t at, const Rest &rest) {
        for (const Sequence &sequence : alternatives) {
            if (all(sequence, 0, at, rest)) {
                return true;
            }
        }
        return false;
    }

    bool all(const Sequence &sequence, std::size_t index, std::size_t at, const Rest &rest) {
        if (index == sequence.size()) {
            return rest(at);
        }
        return piece(sequence[index], at,
                     [&](std::size_t end) { return all(sequence, index + 1, end, rest); });
    }

    bool piece(const Piece &piece, std::size_t at, const Rest &rest) {
        switch (piece.repetition) {
        case '*':
            return more(piece, at, rest);
        case '+':
            return once(piece, at, [&](std::size_t end) { return more(piece, end, rest); });
        case '?':
            return once(piece, at, rest) || rest(at);
        default:
            return once(piece, at, rest);
        }
    }

    bool more(const Piece &piece, std::size_t at, const Rest &rest) {
        return once(piece, at, [&](std::size_t end) { return more(piece, end, rest); }) || rest(at);
    }

    bool once(const Piece &piece, std::size_t at, const Rest &rest) {
        if (++steps_ > kStepsMax) {
            return true; // ends all recursion; run() returns ""
        }
        switch (piece.kind) {
        case Piece::Begin:
            return at == 0 && rest(at);
        case Piece::End:
            return at == subject_.size() && rest(at);
        case Piece::Group:
            return any(piece.alternatives, at, [&](std::size_t end) {
                auto &group = groups_[static_cast<std::size_t>(piece.group)];
                const auto before = std::exchange(group, {static_cast<long>(at), static_cast<long>(end)});
                if (rest(end)) {
                    return true;
                }
                group = before;
                return false;
            });
        default:
            return at < subject_.size() && piece.takes(subject_[at]) && rest(at + 1);
        }
    }

    [[nodiscard]] std::string positions() const {
        std::string text;
        std::string unset;
        for (const auto &[begin, end] : groups_) {
            if (begin < 0) {
                unset += " -";
                continue;
            }
            text += unset + " " + std::to_string(begin) + "-" + std::to_string(end);
            unset.clear();
        }
        return text.substr(1);
    }

    const std::vector<Sequence> &alternatives_;
    std::string subject_;
    std::vector<std::pair<long, long>> groups_;
    long steps_ = 0;
};

class VekRegexecComparison : public testing::TestWithParam<unsigned> {};

TEST_P(VekRegexecComparison, AgreesWithAPlainEvaluator) {
    int compared = 0;
    int matched = 0;
    int hard = 0;
    for (unsigned round = 0; round < 1500; ++round) {
        Generator generator(GetParam() * 100000 + round, round % 2 == 1);
        const std::vector<Sequence> tree = generator.expression(3);
        const std::string pattern = printed(tree);
        for (const unsigned longest : {4U, 12U, 30U}) {
            const std::string subject = generator.subject(longest);
            Evaluator evaluator(tree, subject);
            const std::string expected = evaluator.run();
            if (expected.empty()) {
                continue;
            }
            ASSERT_EQ(match(pattern, subject), expected) << "'" << pattern << "' on '" << subject << "'";
            ++compared;
            matched += expected == "no" ? 0 : 1;
            hard += evaluator.steps() > 5000 ? 1 : 0;
        }
    }
    EXPECT_GT(compared, 4000);
    EXPECT_GT(matched, 1000);
    EXPECT_GT(compared - matched, 500);
    EXPECT_GT(hard, 10);
}

INSTANTIATE_TEST_SUITE_P(Seeds, VekRegexecComparison, testing::Values(1U, 2U, 3U, 4U));

} // namespace
