#include "common/expressions/vek_regexp.h"

#include "common/base/vek_error.h"
#include "tests/support/capture.h"
#include "tests/support/faults.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace {

struct FreeExpression {
    void operator()(vek_regexp *expression) const { std::free(expression); }
};
using Expression = std::unique_ptr<vek_regexp, FreeExpression>;

Expression compile(const std::string &pattern) {
    return Expression(vek_regcomp(pattern.c_str()));
}

constexpr int kMagic = 0234;
enum Code { END, BOL, EOL, ANY, ANYOF, ANYBUT, BRANCH, BACK, EXACTLY, NOTHING, STAR, PLUS };
constexpr int OPEN1 = 21;
constexpr int OPEN2 = 22;
constexpr int CLOSE1 = 31;
constexpr int CLOSE2 = 32;

struct ProgramCase {
    const char *pattern;
    std::vector<int> program;
};
std::ostream &operator<<(std::ostream &out, const ProgramCase &value) {
    return out << value.pattern;
}

class VekRegcompProgram : public testing::TestWithParam<ProgramCase> {};

TEST_P(VekRegcompProgram, IsLaidOutAsDocumented) {
    const Expression expression = compile(GetParam().pattern);
    ASSERT_NE(expression, nullptr);
    std::vector<int> program;
    for (std::size_t i = 0; i < GetParam().program.size(); ++i) {
        program.push_back(static_cast<unsigned char>((&expression->program[0])[i]));
    }
    EXPECT_EQ(program, GetParam().program);
}

INSTANTIATE_TEST_SUITE_P(
    Patterns, VekRegcompProgram,
    testing::Values(ProgramCase{"", {kMagic, BRANCH, 0, 6, NOTHING, 0, 3, END, 0, 0}},
                    ProgramCase{"abc", {kMagic, BRANCH, 0, 10, EXACTLY, 0, 7, 'a', 'b', 'c', 0, END, 0, 0}},
                    ProgramCase{"^.$", {kMagic, BRANCH, 0, 12, BOL, 0, 3, ANY, 0, 3, EOL, 0, 3, END, 0, 0}},
                    ProgramCase{"[a-c]", {kMagic, BRANCH, 0, 10, ANYOF, 0, 7, 'a', 'b', 'c', 0, END, 0, 0}},
                    ProgramCase{"[^ab]", {kMagic, BRANCH, 0, 9, ANYBUT, 0, 6, 'a', 'b', 0, END, 0, 0}},
                    ProgramCase{"\\.", {kMagic, BRANCH, 0, 8, EXACTLY, 0, 5, '.', 0, END, 0, 0}},
                    ProgramCase{"a|b", {kMagic, BRANCH, 0,       8, EXACTLY, 0,   13, 'a', 0, BRANCH,
                                        0,      8,      EXACTLY, 0, 5,       'b', 0,  END, 0, 0}},
                    ProgramCase{"a||b",
                                {kMagic, BRANCH, 0, 8, EXACTLY, 0, 19, 'a', 0, BRANCH, 0, 6, NOTHING, 0,
                                 11,     BRANCH, 0, 8, EXACTLY, 0, 5,  'b', 0, END,    0, 0}},
                    ProgramCase{"a*", {kMagic, BRANCH, 0, 11, STAR, 0, 8, EXACTLY, 0, 0, 'a', 0, END, 0, 0}},
                    ProgramCase{".+", {kMagic, BRANCH, 0, 9, PLUS, 0, 6, ANY, 0, 0, END, 0, 0}},
                    ProgramCase{"abc*", {kMagic, BRANCH, 0,       17, EXACTLY, 0,   6, 'a', 'b', 0, STAR,
                                         0,      8,      EXACTLY, 0,  0,       'c', 0, END, 0,   0}},
                    ProgramCase{"a?", {kMagic, BRANCH, 0, 17, BRANCH,  0, 8, EXACTLY, 0, 8, 'a',
                                       0,      BRANCH, 0, 3,  NOTHING, 0, 3, END,     0, 0}},
                    ProgramCase{"(a)", {kMagic, BRANCH, 0,   17, OPEN1,  0, 3, BRANCH, 0, 8, EXACTLY,
                                        0,      5,      'a', 0,  CLOSE1, 0, 3, END,    0, 0}},
                    ProgramCase{"(ab)*", {kMagic, BRANCH,  0, 30, BRANCH,  0,   21, OPEN1,  0, 3, BRANCH, 0,
                                          9,      EXACTLY, 0, 6,  'a',     'b', 0,  CLOSE1, 0, 3, BACK,   0,
                                          18,     BRANCH,  0, 3,  NOTHING, 0,   3,  END,    0, 0}},
                    ProgramCase{"(ab)+", {kMagic, BRANCH, 0,   30, OPEN1,   0, 3, BRANCH, 0, 9, EXACTLY, 0,
                                          6,      'a',    'b', 0,  CLOSE1,  0, 3, BRANCH, 0, 6, BACK,    0,
                                          18,     BRANCH, 0,   3,  NOTHING, 0, 3, END,    0, 0}},
                    ProgramCase{"((a)|)", {kMagic,  BRANCH, 0, 32,     OPEN1,  0, 3,      BRANCH,  0,
                                           17,      OPEN2,  0, 3,      BRANCH, 0, 8,      EXACTLY, 0,
                                           5,       'a',    0, CLOSE2, 0,      9, BRANCH, 0,       6,
                                           NOTHING, 0,      3, CLOSE1, 0,      3, END,    0,       0}}));

TEST(VekRegcompProgram, DistancesHaveTheHighByteFirst) {
    const Expression expression = compile(std::string(300, 'x'));
    ASSERT_NE(expression, nullptr);
    const char *program = &expression->program[0];
    EXPECT_EQ(program[5], 304 / 256);
    EXPECT_EQ(static_cast<unsigned char>(program[6]), 304 % 256);
}

// Sets.

struct SetCase {
    const char *pattern;
    const char *members;
};
std::ostream &operator<<(std::ostream &out, const SetCase &value) {
    return out << value.pattern;
}

class VekRegcompSet : public testing::TestWithParam<SetCase> {};

TEST_P(VekRegcompSet, ContainsItsMembers) {
    const Expression expression = compile(GetParam().pattern);
    ASSERT_NE(expression, nullptr);
    const char *program = &expression->program[0];
    EXPECT_EQ(program[4], GetParam().pattern[1] == '^' ? ANYBUT : ANYOF);
    EXPECT_STREQ(program + 7, GetParam().members);
}

INSTANTIATE_TEST_SUITE_P(
    Patterns, VekRegcompSet,
    testing::Values(SetCase{"[]]", "]"}, SetCase{"[^]]", "]"}, SetCase{"[]a]", "]a"}, SetCase{"[-]", "-"},
                    SetCase{"[-a]", "-a"}, SetCase{"[^-a]", "-a"}, SetCase{"[a-]", "a-"},
                    SetCase{"[^a-]", "a-"}, SetCase{"[a-a]", "a"}, SetCase{"[b-a]", "b"},
                    SetCase{"[xb-ay]", "xby"}, SetCase{"[a-c-e]", "abcde"}, SetCase{"[--/]", "-./"},
                    SetCase{"[]-`]", "]^_`"}, SetCase{"[a^]", "a^"}, SetCase{"[\\]", "\\"},
                    SetCase{"[a\\n]", "a\\n"}, SetCase{"[.*(|)?+$[]", ".*(|)?+$["},
                    SetCase{"[\xfd-\xff]", "\xfd\xfe\xff"}, SetCase{"[~-\x81]", "~\x7f\x80\x81"}));

// Hints.

struct HintCase {
    const char *pattern;
    char regstart;
    bool reganch;
    const char *regmust;
};
std::ostream &operator<<(std::ostream &out, const HintCase &value) {
    return out << value.pattern;
}

class VekRegcompHints : public testing::TestWithParam<HintCase> {};

TEST_P(VekRegcompHints, AreThoseOfTheFirstNodeAndTheLongestLiteral) {
    const Expression expression = compile(GetParam().pattern);
    ASSERT_NE(expression, nullptr);
    EXPECT_EQ(expression->regstart, GetParam().regstart);
    EXPECT_EQ(expression->reganch != 0, GetParam().reganch);
    if (GetParam().regmust == nullptr) {
        EXPECT_EQ(expression->regmust, nullptr);
        EXPECT_EQ(expression->regmlen, 0);
    } else {
        EXPECT_STREQ(expression->regmust, GetParam().regmust);
        EXPECT_EQ(expression->regmlen, static_cast<int>(std::strlen(GetParam().regmust)));
        EXPECT_GT(expression->regmust, &expression->program[0]);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Patterns, VekRegcompHints,
    testing::Values(HintCase{"abc", 'a', false, nullptr}, HintCase{"\\*abc", '*', false, nullptr},
                    HintCase{"ab*", 'a', false, nullptr}, HintCase{"^abc", '\0', true, nullptr},
                    HintCase{"^x*abc", '\0', true, nullptr}, HintCase{"a|b", '\0', false, nullptr},
                    HintCase{"^a|b", '\0', false, nullptr}, HintCase{"x*abc|y*d", '\0', false, nullptr},
                    HintCase{"(abc)", '\0', false, nullptr}, HintCase{"[a]bc", '\0', false, nullptr},
                    HintCase{"a*", '\0', false, nullptr}, HintCase{"x*abc", '\0', false, "abc"},
                    HintCase{"x+abc", '\0', false, "abc"}, HintCase{"(xy)*abc", '\0', false, "abc"},
                    HintCase{"(x*y)abc", '\0', false, "abc"}, HintCase{"x*ab.cd.e", '\0', false, "cd"},
                    HintCase{"x*ab.cde.fg", '\0', false, "cde"}, HintCase{"x*(abcd)ef", '\0', false, "ef"},
                    HintCase{"x*abc?", '\0', false, "ab"}, HintCase{".*", '\0', false, nullptr}));

TEST(VekRegcompHints, LaterOfTwoLiteralsOfOneLengthIsRequired) {
    const Expression expression = compile("x*ab.ab");
    ASSERT_NE(expression, nullptr);
    // BRANCH at 1, STAR at 4 with its operand at 7, literals at 12 and 21, ANY at 18.
    EXPECT_EQ(expression->regmust, &expression->program[0] + 24);
}

TEST(VekRegcomp, PositionsAreUnsetBeforeTheFirstMatch) {
    const Expression expression = compile("(a)");
    ASSERT_NE(expression, nullptr);
    for (int i = 0; i < VEK_REGEXP_GROUPS; ++i) {
        EXPECT_EQ(expression->startp[i], nullptr);
        EXPECT_EQ(expression->endp[i], nullptr);
    }
}

// Errors.

struct ErrorCase {
    const char *pattern;
    const char *message;
};
std::ostream &operator<<(std::ostream &out, const ErrorCase &value) {
    return out << value.pattern;
}

class VekRegcompError : public testing::TestWithParam<ErrorCase> {};

TEST_P(VekRegcompError, IsReportedOnce) {
    test::Capture capture;
    EXPECT_EQ(vek_regcomp(GetParam().pattern), nullptr);
    EXPECT_EQ(capture.err(), "vek_regexp compilation: " + std::string(GetParam().message) + "\n");
    EXPECT_EQ(capture.out(), "");
}

INSTANTIATE_TEST_SUITE_P(
    Patterns, VekRegcompError,
    testing::Values(
        ErrorCase{nullptr, "NULL argument"}, ErrorCase{"a**", "nested *?+"}, ErrorCase{"a?+", "nested *?+"},
        ErrorCase{"a+?", "nested *?+"}, ErrorCase{"(a)**", "nested *?+"},
        ErrorCase{"(a*)*", "*+ operand could be empty"}, ErrorCase{"(a*)+", "*+ operand could be empty"},
        ErrorCase{"(a?)*", "*+ operand could be empty"}, ErrorCase{"(a|)*", "*+ operand could be empty"},
        ErrorCase{"()+", "*+ operand could be empty"}, ErrorCase{"^*", "*+ operand could be empty"},
        ErrorCase{"$+", "*+ operand could be empty"}, ErrorCase{"*a", "?+* follows nothing"},
        ErrorCase{"a|+", "?+* follows nothing"}, ErrorCase{"(?a)", "?+* follows nothing"},
        ErrorCase{"[c-a]", "invalid [] range"}, ErrorCase{"[\xff-\x01]", "invalid [] range"},
        ErrorCase{"[abc", "unmatched []"}, ErrorCase{"[", "unmatched []"}, ErrorCase{"[]", "unmatched []"},
        ErrorCase{"[^]", "unmatched []"}, ErrorCase{"[^", "unmatched []"}, ErrorCase{"[a-", "unmatched []"},
        ErrorCase{"a\\", "trailing \\"}, ErrorCase{"\\", "trailing \\"}, ErrorCase{"(a\\", "trailing \\"},
        ErrorCase{"(a)b)", "unmatched ()"}, ErrorCase{"((a)", "unmatched ()"}, ErrorCase{")", "unmatched ()"},
        ErrorCase{"(", "unmatched ()"}, ErrorCase{"a|b)", "unmatched ()"},
        ErrorCase{"(a)(b)(c)(d)(e)(f)(g)(h)(i)(j)", "too many ()"},
        ErrorCase{"((((((((((a))))))))))", "too many ()"}));

INSTANTIATE_TEST_SUITE_P(
    FirstFromLeftToRight, VekRegcompError,
    testing::Values(ErrorCase{"a**(", "nested *?+"}, ErrorCase{"(a*)**", "*+ operand could be empty"},
                    ErrorCase{"[c-a", "invalid [] range"}, ErrorCase{"(*", "?+* follows nothing"},
                    ErrorCase{"([a", "unmatched []"}, ErrorCase{"a)**", "unmatched ()"},
                    ErrorCase{"((((((((((", "too many ()"}, ErrorCase{"[b[c-a]\\", "invalid [] range"}));

TEST(VekRegcompError, NineGroupsAreAllowed) {
    EXPECT_NE(compile("(((((((((a)))))))))"), nullptr);
    EXPECT_NE(compile("(a)(b)(c)(d)(e)(f)(g)(h)(i)"), nullptr);
}

TEST(VekRegcompError, MillionOpenGroupsAreTooMany) {
    test::Capture capture;
    EXPECT_EQ(vek_regcomp(std::string(1000000, '(').c_str()), nullptr);
    EXPECT_EQ(capture.err(), "vek_regexp compilation: too many ()\n");
}

TEST(VekRegcompError, ProgramHasAtMost32766Bytes) {
    // Besides the literal: the magic byte, BRANCH, the head and the NUL of EXACTLY, END.
    EXPECT_NE(compile(std::string(32766 - 11, 'x')), nullptr);
    test::Capture capture;
    EXPECT_EQ(vek_regcomp(std::string(32767 - 11, 'x').c_str()), nullptr);
    EXPECT_EQ(capture.err(), "vek_regexp compilation: vek_regexp too big\n");
}

TEST(VekRegcompError, SyntaxErrorIsReportedBeforeTheSizeLimit) {
    test::Capture capture;
    EXPECT_EQ(vek_regcomp((std::string(100000, 'x') + "**").c_str()), nullptr);
    EXPECT_EQ(capture.err(), "vek_regexp compilation: nested *?+\n");
}

TEST(VekRegcompError, ManyAlternativesFit) {
    std::string pattern = "0";
    for (int i = 1; i < 4000; ++i) {
        pattern += "|" + std::to_string(i % 10);
    }
    EXPECT_NE(compile(pattern), nullptr);
}

TEST(VekRegcompError, ExhaustedMemoryIsOutOfSpace) {
    test::Capture capture;
    test::faults::failAllocation(1);
    EXPECT_EQ(vek_regcomp("a"), nullptr);
    EXPECT_EQ(capture.err(), "vek_regexp compilation: out of space\n");
}

TEST(VekRegerror, PrintsOnStandardErrorAndCallsNoHook) {
    test::Capture capture;
    vekRegErrorFunc([](const char *) { FAIL() << "the hook was called"; });
    vek_regerror("a %s b");
    vekRegErrorFunc(nullptr);
    EXPECT_EQ(capture.err(), "vek_regexp compilation: a %s b\n");
}

// Accepted syntax.

TEST(VekRegcomp, AcceptsUnusualPatterns) {
    for (const char *pattern : {"", "|", "()", "(|a)", "a||b", "(a|)?", "^?", "$?", "]", "{}", "a^b", "a$b",
                                "(^a)", "^^", "[[]", "x\\\\", "\\(", "(a*)?"}) {
        EXPECT_NE(compile(pattern), nullptr) << pattern;
    }
}

} // namespace
