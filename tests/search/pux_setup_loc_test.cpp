// The `setup.loc` file.

#include "search/pux.h"
#include "search/puxi_setup_loc.h"
#include "tests/search/interpolation.h"
#include "tests/search/search_list.h"
#include "tests/support/capture.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using Strings = std::vector<std::string>;

class SetupLoc : public ::testing::Test {
  protected:
    test::SearchProcess process;
    test::Sandbox &box = process.box;

    /// The list that a `setup.loc` with this content gives.
    Strings parse(const std::string &content) {
        box.file("setup.loc", content);
        char **list = nullptr;
        EXPECT_EQ(pux_parse_setup_loc("setup.loc", &list), PUX_OK);
        EXPECT_NE(list, nullptr);
        Strings result = test::strings(list);
        puxReleaseHandle(list);
        return result;
    }
};

} // namespace

TEST_F(SetupLoc, DirectoriesKeepTheirOrderAndTheirRepetitions) {
    box.directory("b").directory("a");
    EXPECT_EQ(parse("b\na\nb\n.\n"), (Strings{"b", "a", "b", "."}));
}

TEST_F(SetupLoc, OnlyTheFirstTokenOfALineCounts) {
    box.directory("a").directory("b");
    EXPECT_EQ(parse("a b\n \t\v\f\r b\ta\n"), (Strings{"a", "b"}));
}

TEST_F(SetupLoc, CommentsAndBlankLinesGiveNothing) {
    box.directory("a").directory("-a").directory(";").directory("#a").directory("--a");
    box.directory("a-").directory("a;").directory("a#");
    EXPECT_EQ(parse("; a\n;\n#a\n# a\n--a\n-- a\n  ;a\n\n \t \n-a\na-\na;\na#\n"),
              (Strings{"-a", "a-", "a;", "a#"}));
}

TEST_F(SetupLoc, QuotedPathMayHoldBlanks) {
    box.directory("a b").directory(" c ");
    EXPECT_EQ(parse("\"a b\" further words\n  \" c \"\n\"a b\"x\n"), (Strings{"a b", " c ", "a b"}));
}

TEST_F(SetupLoc, LineWithoutTheClosingQuoteIsSkipped) {
    box.directory("a").directory("\"a");
    EXPECT_EQ(parse("\"a\n\"\na\"\na\n"), (Strings{"a"}));
}

TEST_F(SetupLoc, QuoteInsideATokenIsPartOfIt) {
    box.directory("a\"b");
    EXPECT_EQ(parse("a\"b c\"\n"), (Strings{"a\"b"}));
}

TEST_F(SetupLoc, CommentRulesHoldForQuotedTokens) {
    box.directory("#a").directory(";a").directory("--a").directory(" #a");
    EXPECT_EQ(parse("\"#a\"\n\";a\"\n\"--a\"\n\"\"\n\" #a\"\n"), (Strings{" #a"}));
}

TEST_F(SetupLoc, LibraryEntryKeepsItsPlace) {
    box.directory("a").directory("b");
    EXPECT_EQ(parse("a\n@LIBRARY\nb\n\"@LIBRARY\" x\n"), (Strings{"a", "@LIBRARY", "b", "@LIBRARY"}));
}

TEST_F(SetupLoc, OnlyTheExactWordIsTheLibraryEntry) {
    box.directory("@LIBRARYX");
    EXPECT_EQ(parse("@library\n@LIBRARY2\n@LIBRARYX\n"), (Strings{"@LIBRARYX"}));
}

TEST_F(SetupLoc, UnusableDirectoriesAreDroppedSilently) {
    box.directory("a").directory("closed", 0000);
    test::Capture capture;
    test::asUnprivileged([&] {
        char **list = nullptr;
        EXPECT_EQ(pux_parse_setup_loc("setup.loc", &list), PUX_FILE_NOT_FOUND);
        EXPECT_EQ(list, nullptr);
    });
    box.file("setup.loc", "none\nclosed\n$NONE/a\n$(compute:THIS_TOOL_INST_ROOT)\n~no-such-user\na\n");
    test::asUnprivileged([&] {
        char **list = nullptr;
        EXPECT_EQ(pux_parse_setup_loc("setup.loc", &list), PUX_OK);
        EXPECT_EQ(test::strings(list), (Strings{"a"}));
        puxReleaseHandle(list);
    });
    EXPECT_EQ(capture.out() + capture.err(), "");
}

TEST_F(SetupLoc, DirectoriesAreInterpolated) {
    box.directory("home/x").directory("v");
    process.environment({{"HOME", box.path("home")}, {"V", "v"}});
    EXPECT_EQ(parse("~/x\n$V\n${V}\n\"$V\"\n"), (Strings{box.path("home/x"), "v", "v", "v"}));
}

TEST_F(SetupLoc, FileIsTheOneThatComputedRootsStartFrom) {
    test::makeInstallation(box, "inst");
    box.directory("inst/share");
    box.file("inst/etc/setup.loc", "$(compute:THIS_FILE_INST_ROOT)/share\n");
    char **list = nullptr;
    ASSERT_EQ(pux_parse_setup_loc(box.path("inst/etc/setup.loc").c_str(), &list), PUX_OK);
    EXPECT_EQ(test::strings(list), (Strings{box.path("inst/share")}));
    puxReleaseHandle(list);
}

TEST_F(SetupLoc, CarriageReturnsAndAMissingFinalNewlineAreRead) {
    box.directory("a").directory("b");
    EXPECT_EQ(parse("a\r\nb"), (Strings{"a", "b"}));
}

TEST_F(SetupLoc, NothingUsableGivesAnEmptyList) {
    EXPECT_EQ(parse(""), Strings());
    EXPECT_EQ(parse("# nothing\nnone\n"), Strings());
}

TEST_F(SetupLoc, LongLineIsReadOnAsAnotherLine) {
    box.directory("a").directory("b").directory("ab");
    EXPECT_EQ(parse(std::string(1020, ' ') + "ab\n"), (Strings{"ab"}));
    EXPECT_EQ(parse(std::string(1021, ' ') + "ab\n"), (Strings{"ab"}));
    EXPECT_EQ(parse(std::string(1022, ' ') + "ab\n"), (Strings{"a", "b"}));
    EXPECT_EQ(parse(std::string(1023, ' ') + "ab\n"), (Strings{"ab"}));
    EXPECT_EQ(parse("#" + std::string(1022, 'x') + "ab\n"), (Strings{"ab"}));
    EXPECT_EQ(parse(std::string(1 << 20, 'x') + "\na\n"), (Strings{"a"}));
}

TEST_F(SetupLoc, DirectoryOfMoreThan1023CharactersIsDropped) {
    const std::string fits = box.path(test::directoryOfLength(box, 1022));
    const std::string longest = box.path(test::directoryOfLength(box, 1023));
    const std::string tooLong = box.path(test::directoryOfLength(box, 1024));
    process.environment({{"FITS", fits}, {"LONGEST", longest}, {"TOO_LONG", tooLong}});
    EXPECT_EQ(parse("$FITS\n$LONGEST\n$TOO_LONG\n"), (Strings{fits, longest}));
}

TEST_F(SetupLoc, BinaryJunkGivesWhatItSpells) {
    box.directory("a").directory("\xc3\xa4");
    EXPECT_EQ(parse(std::string("\0a\na\0b\n\xff\xfe\n\xc3\xa4\n\x01\n", 15)), (Strings{"a", "\xc3\xa4"}));
}

TEST_F(SetupLoc, ListGrowsWithoutALimit) {
    std::string content;
    for (int i = 0; i < 3000; ++i) {
        content += ".\n";
    }
    EXPECT_EQ(parse(content), Strings(3000, "."));
}

TEST_F(SetupLoc, MissingFileIsNotFound) {
    char *preset = nullptr;
    char **list = &preset;
    EXPECT_EQ(pux_parse_setup_loc("none", &list), PUX_FILE_NOT_FOUND);
    EXPECT_EQ(list, nullptr);
}

TEST_F(SetupLoc, NullArgumentIsInvalid) {
    char **list = nullptr;
    EXPECT_EQ(pux_parse_setup_loc(nullptr, &list), PUX_INVALID_PARAMETER);
    EXPECT_EQ(pux_parse_setup_loc("setup.loc", nullptr), PUX_INVALID_PARAMETER);
}

TEST_F(SetupLoc, ExhaustedMemoryIsAnErrorThatClosesTheFile) {
    box.file("setup.loc", ".\n.\n.\n.\n.\n");
    test::Capture capture;
    int failures = 0;
    for (int nth = 1;; ++nth) {
        test::faults::reset();
        test::faults::failAllocation(nth);
        char **list = nullptr;
        const int code = pux_parse_setup_loc("setup.loc", &list);
        const int opened = test::faults::count("open") + test::faults::count("fopen");
        const int closed = test::faults::count("close") + test::faults::count("fclose");
        test::faults::reset();
        EXPECT_EQ(opened, closed);
        if (code == PUX_OK) {
            EXPECT_EQ(test::strings(list), Strings(5, "."));
            puxReleaseHandle(list);
            break;
        }
        EXPECT_EQ(code, PUX_MEMORY_ERROR);
        EXPECT_EQ(list, nullptr);
        ++failures;
    }
    EXPECT_GE(failures, 5);
}

TEST_F(SetupLoc, ExhaustedMemoryForTheEmptyListIsAnError) {
    box.file("setup.loc", "");
    test::Capture capture;
    char **list = nullptr;
    test::faults::failAllocation(1);
    const int code = pux_parse_setup_loc("setup.loc", &list);
    test::faults::reset();
    EXPECT_EQ(code, PUX_MEMORY_ERROR);
    EXPECT_EQ(list, nullptr);
}
