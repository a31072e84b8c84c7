// Splitting one line of a library definition file into words: comments, words, quotes.

#include "libdef/language/ryni_statement.h"

#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using Words = std::vector<std::string>;

struct LexedLine {
    ryn::Lexed lexed;
    std::string copy;
    std::string keyword;
    Words arguments;
};

LexedLine lexLine(const std::string &line) {
    const auto statement = std::make_unique<ryn::Statement>();
    LexedLine result = {ryn::lex(line.c_str(), *statement), "", "", {}};
    result.copy = statement->copy;
    if (result.lexed == ryn::Lexed::Statement) {
        result.keyword = statement->keyword;
        for (int i = 0; i < statement->count; ++i) {
            result.arguments.emplace_back(statement->arguments[static_cast<std::size_t>(i)]);
        }
    }
    return result;
}

Words argumentsOf(const std::string &line) {
    const LexedLine result = lexLine(line);
    EXPECT_EQ(result.lexed, ryn::Lexed::Statement) << line;
    return result.arguments;
}

std::string copyOf(const std::string &line) {
    return lexLine(line).copy;
}

bool isNothing(const std::string &line) {
    return lexLine(line).lexed == ryn::Lexed::Nothing;
}

bool isSyntaxError(const std::string &line) {
    return lexLine(line).lexed == ryn::Lexed::SyntaxError;
}

// ---- lines and comments

TEST(RynLex, LineEndsAtTheFirstLineFeed) {
    EXPECT_EQ(argumentsOf("DEFINE a b\nc d"), (Words{"a", "b"}));
    EXPECT_TRUE(isNothing("\nDEFINE a b"));
}

TEST(RynLex, BlankLineHasNoStatement) {
    EXPECT_TRUE(isNothing(""));
    EXPECT_TRUE(isNothing("\n"));
    EXPECT_TRUE(isNothing(" \t\v\f\r \n"));
}

TEST(RynLex, TwoHyphensAtTheStartBeginAComment) {
    EXPECT_TRUE(isNothing("--"));
    EXPECT_TRUE(isNothing("-- DEFINE a b"));
    EXPECT_TRUE(isNothing("--DEFINE a b"));
    EXPECT_EQ(lexLine("-DEFINE a b").keyword, "-DEFINE");
    EXPECT_EQ(lexLine("- - a").keyword, "-");
}

TEST(RynLex, TwoHyphensAfterABlankOrTabBeginAComment) {
    EXPECT_EQ(copyOf("DEFINE a b -- c"), "DEFINE a b");
    EXPECT_EQ(copyOf("DEFINE a b --c"), "DEFINE a b");
    EXPECT_EQ(copyOf("DEFINE a b\t-- c"), "DEFINE a b");
    EXPECT_EQ(copyOf("DEFINE a b\t--c -- d"), "DEFINE a b");
    EXPECT_EQ(copyOf("DEFINE a b -- c\t-- d"), "DEFINE a b");
    EXPECT_EQ(copyOf("DEFINE a -- b\tc"), "DEFINE a");
    EXPECT_TRUE(isNothing("   -- text"));
    EXPECT_TRUE(isNothing("\t-- text"));
    EXPECT_TRUE(isNothing(" \t -- text"));
}

TEST(RynLex, TwoHyphensAfterOtherWhiteSpaceAreText) {
    EXPECT_EQ(argumentsOf("DEFINE a\v--b"), (Words{"a", "--b"}));
    EXPECT_EQ(argumentsOf("DEFINE a\f--b"), (Words{"a", "--b"}));
    EXPECT_EQ(argumentsOf("DEFINE a\r--b"), (Words{"a", "--b"}));
}

TEST(RynLex, TwoHyphensInsideAWordAreText) {
    EXPECT_EQ(argumentsOf("DEFINE a b--c"), (Words{"a", "b--c"}));
    EXPECT_EQ(argumentsOf("DEFINE a b-- c"), (Words{"a", "b--", "c"}));
    EXPECT_EQ(argumentsOf("DEFINE a \"--b\""), (Words{"a", "--b"}));
    EXPECT_EQ(argumentsOf("DEFINE a - -"), (Words{"a", "-", "-"}));
}

TEST(RynLex, NumberSignAtTheStartBeginsAComment) {
    EXPECT_TRUE(isNothing("#"));
    EXPECT_TRUE(isNothing("# DEFINE a b"));
    EXPECT_TRUE(isNothing("#DEFINE a b"));
    EXPECT_EQ(copyOf("#\"open"), "");
}

TEST(RynLex, NumberSignAfterLeadingSpaceBeginsAComment) {
    EXPECT_TRUE(isNothing("   # text"));
    EXPECT_TRUE(isNothing("   #text"));
    EXPECT_TRUE(isNothing("\t#text \"open"));
}

TEST(RynLex, NumberSignBetweenWhiteSpaceBeginsAComment) {
    EXPECT_EQ(copyOf("DEFINE lib dir # x"), "DEFINE lib dir");
    EXPECT_EQ(copyOf("DEFINE lib dir\t#\tx"), "DEFINE lib dir");
    EXPECT_EQ(copyOf("DEFINE lib dir\v#\fx"), "DEFINE lib dir");
    EXPECT_EQ(copyOf("DEFINE lib dir\r#\rx"), "DEFINE lib dir");
}

TEST(RynLex, NumberSignAtTheEndAfterWhiteSpaceIsRemoved) {
    EXPECT_EQ(copyOf("DEFINE lib dir #"), "DEFINE lib dir");
    EXPECT_EQ(copyOf("DEFINE lib dir #\n"), "DEFINE lib dir");
    EXPECT_EQ(copyOf("DEFINE lib dir # -- c"), "DEFINE lib dir");
}

TEST(RynLex, OtherNumberSignsAreText) {
    EXPECT_EQ(argumentsOf("DEFINE lib dir#x"), (Words{"lib", "dir#x"}));
    EXPECT_EQ(argumentsOf("DEFINE lib dir#"), (Words{"lib", "dir#"}));
    EXPECT_EQ(argumentsOf("DEFINE lib dir# x"), (Words{"lib", "dir#", "x"}));
    EXPECT_EQ(argumentsOf("DEFINE lib dir #note"), (Words{"lib", "dir", "#note"}));
    EXPECT_EQ(lexLine("DEF#INE a").keyword, "DEF#INE");
}

TEST(RynLex, NumberSignThatIsTextDisablesLaterOnes) {
    EXPECT_EQ(argumentsOf("DEFINE lib dir#x # y"), (Words{"lib", "dir#x", "#", "y"}));
    EXPECT_EQ(argumentsOf("DEFINE #lib dir # y"), (Words{"#lib", "dir", "#", "y"}));
}

TEST(RynLex, CommentsBeginInsideQuotesToo) {
    EXPECT_TRUE(isSyntaxError("DEFINE lib \"a # b\""));
    EXPECT_EQ(copyOf("DEFINE lib \"a # b\""), "DEFINE lib \"a");
    EXPECT_TRUE(isSyntaxError("DEFINE lib \"a -- b\""));
    EXPECT_EQ(copyOf("DEFINE lib \"a -- b\""), "DEFINE lib \"a");
}

TEST(RynLex, CopyLosesTrailingWhiteSpaceOnly) {
    EXPECT_EQ(copyOf("  DEFINE \t a   b \t\v\f\r\n"), "  DEFINE \t a   b");
    EXPECT_EQ(copyOf("x\r\n"), "x");
    EXPECT_EQ(copyOf("x \v # y"), "x");
}

// ---- words

TEST(RynLex, KeywordEndsAtTheFirstWhiteSpace) {
    EXPECT_EQ(lexLine("  \t DEFINE a").keyword, "DEFINE");
    EXPECT_EQ(lexLine("\"DEFINE\" a").keyword, "\"DEFINE\"");
    EXPECT_EQ(lexLine("x").keyword, "x");
    EXPECT_EQ(lexLine("x").arguments, Words{});
}

TEST(RynLex, EveryWhiteSpaceCharacterSeparatesWords) {
    EXPECT_EQ(argumentsOf("K a b\tc\vd\fe"), (Words{"a", "b", "c", "d", "e"}));
    EXPECT_EQ(argumentsOf("K\ra \t\v\f\r b"), (Words{"a", "b"}));
}

TEST(RynLex, BytesAboveAsciiAreText) {
    EXPECT_EQ(argumentsOf("K \x85 \xa0 \xc3\xa4\x7f\x01"), (Words{"\x85", "\xa0", "\xc3\xa4\x7f\x01"}));
    EXPECT_EQ(lexLine("\xff\x80 x").keyword, "\xff\x80");
}

TEST(RynLex, HasAtMostFiveArguments) {
    EXPECT_EQ(argumentsOf("K 1 2 3 4 5 6 7"), (Words{"1", "2", "3", "4", "5"}));
    EXPECT_EQ(argumentsOf("K 1 2 3 4 5"), (Words{"1", "2", "3", "4", "5"}));
}

// ---- quotes

TEST(RynLex, QuotesKeepBlanksAndNumberSigns) {
    EXPECT_EQ(argumentsOf("DEFINE lib \"my dir\""), (Words{"lib", "my dir"}));
    EXPECT_EQ(argumentsOf("DEFINE lib \" a\tb#c \""), (Words{"lib", " a\tb#c "}));
    EXPECT_EQ(argumentsOf("DEFINE lib \"#\""), (Words{"lib", "#"}));
}

TEST(RynLex, AdjacentQuotesAreAnEmptyArgument) {
    EXPECT_EQ(argumentsOf("DEFINE \"\" b"), (Words{"", "b"}));
    EXPECT_EQ(argumentsOf("DEFINE a \"\""), (Words{"a", ""}));
}

TEST(RynLex, BackslashDoesNotEscapeAQuote) {
    EXPECT_EQ(argumentsOf("K \"a\\\"b"), (Words{"a\\", "b"}));
}

TEST(RynLex, ClosingQuoteEndsTheArgument) {
    EXPECT_EQ(argumentsOf("K \"a\"b\"c\"\"d\""), (Words{"a", "b\"c\"\"d\""}));
    EXPECT_EQ(argumentsOf("K \"a\"\"b\"c"), (Words{"a", "b", "c"}));
}

TEST(RynLex, QuoteInsideAWordIsText) {
    EXPECT_EQ(argumentsOf("K a\"b c\"d"), (Words{"a\"b", "c\"d"}));
}

TEST(RynLex, UnclosedQuoteIsASyntaxError) {
    for (const char *line :
         {R"(K ")", R"(K a ")", R"(K "a)", R"(K a "b c)", R"(K 1 2 3 4 "5)", R"(K "a" "b)"}) {
        EXPECT_TRUE(isSyntaxError(line)) << line;
        EXPECT_EQ(copyOf(line), line);
    }
    EXPECT_EQ(copyOf("  K \"  # x"), "  K \"");
}

TEST(RynLex, UnclosedQuoteAfterTheFifthArgumentIsIgnored) {
    EXPECT_EQ(argumentsOf("K 1 2 3 4 5 \"6"), (Words{"1", "2", "3", "4", "5"}));
}

// ---- length

TEST(RynLex, LineOf4095CharactersIsComplete) {
    const std::string word(4093, 'x');
    EXPECT_EQ(argumentsOf("K " + word), Words{word});
    EXPECT_EQ(copyOf("K " + word), "K " + word);
}

TEST(RynLex, LongerLineIsCutAfter4095Characters) {
    const std::string word(4093, 'x');
    EXPECT_EQ(argumentsOf("K " + word + "y"), Words{word});
    EXPECT_EQ(argumentsOf("K " + word + "yz \"open"), Words{word});
    EXPECT_TRUE(isNothing(std::string(4095, ' ') + "K"));
    EXPECT_EQ(lexLine(std::string(4094, ' ') + "KK").keyword, "K");
}

// ---- all rules

bool isWhite(char c) {
    return std::string(" \t\n\v\f\r").find(c) != std::string::npos;
}

std::string cutAt(const std::string &line, const std::string &mark) {
    return line.substr(0, line.find(mark));
}

/// A second implementation of the documented rules, one after the other.
LexedLine lexByTheRules(std::string line) {
    line = cutAt(line, "\n");
    if (line.substr(0, 2) == "--") {
        return {ryn::Lexed::Nothing, "", "", {}};
    }
    line = cutAt(cutAt(line, " --"), "\t--");
    if (line.substr(0, 1) == "#") {
        return {ryn::Lexed::Nothing, "", "", {}};
    }
    const std::size_t sharp = line.find('#');
    if (sharp != std::string::npos && isWhite(line[sharp - 1]) &&
        (sharp + 1 == line.size() || isWhite(line[sharp + 1]))) {
        line.resize(sharp - 1);
    }
    while (!line.empty() && isWhite(line.back())) {
        line.pop_back();
    }
    LexedLine result = {ryn::Lexed::Nothing, line, "", {}};
    std::size_t at = 0;
    const auto skip = [&](bool white) {
        const std::size_t from = at;
        while (at < line.size() && isWhite(line[at]) == white) {
            ++at;
        }
        return line.substr(from, at - from);
    };
    skip(true);
    if (at == line.size() || line[at] == '#') {
        return result;
    }
    result.lexed = ryn::Lexed::Statement;
    result.keyword = skip(false);
    for (int i = 0; i < 5; ++i) {
        skip(true);
        if (at == line.size()) {
            break;
        }
        if (line[at] != '"') {
            result.arguments.push_back(skip(false));
            continue;
        }
        const std::size_t close = line.find('"', at + 1);
        if (close == std::string::npos) {
            return {ryn::Lexed::SyntaxError, line, "", {}};
        }
        result.arguments.push_back(line.substr(at + 1, close - at - 1));
        at = close + 1;
    }
    return result;
}

void expectByTheRules(const std::string &line) {
    const LexedLine result = lexLine(line);
    const LexedLine expected = lexByTheRules(line);
    ASSERT_EQ(result.lexed, expected.lexed) << line;
    ASSERT_EQ(result.keyword, expected.keyword) << line;
    ASSERT_EQ(result.arguments, expected.arguments) << line;
    ASSERT_EQ(result.copy, expected.copy) << line;
}

TEST(RynLex, AgreesWithTheRulesForEveryShortLine) {
    const std::string alphabet = "a -#\"\t\r\n";
    for (std::size_t length = 0; length <= 5; ++length) {
        std::vector<std::size_t> digits(length, 0);
        for (bool more = true; more;) {
            std::string line;
            for (const std::size_t digit : digits) {
                line += alphabet[digit];
            }
            ASSERT_NO_FATAL_FAILURE(expectByTheRules(line));
            std::size_t at = 0;
            while (at < length && ++digits[at] == alphabet.size()) {
                digits[at++] = 0;
            }
            more = at < length;
        }
    }
}

TEST(RynLex, AgreesWithTheRulesForRandomLines) {
    const std::string alphabet = "ab \t\v\f\r--##\"\"\x85";
    std::mt19937 random(31); // the same lines every time
    for (int round = 0; round < 20000; ++round) {
        std::string line;
        for (std::size_t size = random() % 40; size > 0; --size) {
            line += random() % 2 == 0 ? ' ' : alphabet[random() % alphabet.size()];
        }
        ASSERT_NO_FATAL_FAILURE(expectByTheRules(line));
    }
}

} // namespace
