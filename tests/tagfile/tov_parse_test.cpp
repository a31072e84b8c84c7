#include "tagfile/tovi_handle_line.h"

#include "tagfile/tovi_cache.h"
#include "tests/support/capture.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"
#include "tests/tagfile/tag_support.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <string>
#include <vector>

namespace {

using Words = std::vector<std::string>;

Words split(const std::string &line) {
    int count = -1;
    char *words[TOVI_LINE_WORDS] = {};
    toviProcessLine(line.c_str(), &count, words);
    EXPECT_GE(count, 0);
    EXPECT_LE(count, 3);
    Words result;
    for (int at = 0; at < count; ++at) {
        result.emplace_back(words[at]);
    }
    return result;
}

// ---- one line

struct SplitCase {
    const char *line;
    Words words;
};

void expectSplits(const std::vector<SplitCase> &cases) {
    for (const SplitCase &entry : cases) {
        EXPECT_EQ(entry.words, split(entry.line)) << testing::PrintToString(std::string(entry.line));
    }
}

TEST(ToviProcessLine, SplitsIntoAtMostThreeWords) {
    expectSplits({
        {"FOO", {"FOO"}},
        {"FOO bar", {"FOO", "bar"}},
        {"FOO bar baz", {"FOO", "bar", "baz"}},
        {"FOO bar baz qux", {"FOO", "bar", "baz qux"}},
        {"FOO bar baz  qux\tx", {"FOO", "bar", "baz  qux\tx"}},
        {"FOO \t  bar\t\t  baz", {"FOO", "bar", "baz"}},
        {"FOO\vbar\fbaz\rqux", {"FOO", "bar", "baz\rqux"}},
    });
}

TEST(ToviProcessLine, BlankLineHasNoWords) {
    expectSplits({{"", {}}, {"\n", {}}, {"   ", {}}, {"\t\t\n", {}}, {" \v\f\r \n", {}}});
}

TEST(ToviProcessLine, CutsAtTheFirstNewline) {
    expectSplits({{"FOO bar\n", {"FOO", "bar"}}, {"FOO\nBAR baz\n", {"FOO"}}, {"\nFOO bar", {}}});
}

TEST(ToviProcessLine, AMarkerInTheFirstColumnEmptiesTheLine) {
    expectSplits({{"--note", {}},
                  {"-- FOO bar", {}},
                  {"#note", {}},
                  {"# FOO bar", {}},
                  {";note", {}},
                  {"; FOO bar", {}}});
}

TEST(ToviProcessLine, MarkerAfterBlankOrTabEndsTheLine) {
    expectSplits({{"FOO bar --note", {"FOO", "bar"}},
                  {"FOO bar\t--note", {"FOO", "bar"}},
                  {"FOO bar #note", {"FOO", "bar"}},
                  {"FOO bar\t#note", {"FOO", "bar"}},
                  {"FOO bar ;note", {"FOO", "bar"}},
                  {"FOO bar\t;note", {"FOO", "bar"}},
                  {"FOO #bar --baz", {"FOO"}},
                  {"FOO ;bar #baz --qux", {"FOO"}},
                  {"FOO --bar #baz", {"FOO"}}});
}

TEST(ToviProcessLine, MarkerAfterLeadingBlanksEmptiesTheLine) {
    expectSplits({{"  # note", {}}, {" #note", {}}, {"\t;note", {}}, {" \t --note", {}}});
}

TEST(ToviProcessLine, AMarkerInsideAWordIsKept) {
    expectSplits({{"FOO bar#note", {"FOO", "bar#note"}},
                  {"a#b", {"a#b"}},
                  {"x--y", {"x--y"}},
                  {"a;b c;", {"a;b", "c;"}},
                  {"FOO -bar", {"FOO", "-bar"}},
                  {"-FOO -", {"-FOO", "-"}}});
}

// Only a blank or a tab in front makes a marker one; other white space does not.
TEST(ToviProcessLine, MarkerAfterOtherWhiteSpaceIsAWord) {
    expectSplits({{"\v#note", {"#note"}}, {"\f;x", {";x"}}, {"\r--x", {"--x"}}, {"FOO\v#x", {"FOO", "#x"}}});
}

TEST(ToviProcessLine, SkipsLeadingWhiteSpaceOfEveryKind) {
    expectSplits({{" \t\v\f\rFOO bar", {"FOO", "bar"}}});
}

TEST(ToviProcessLine, TrailingWhiteSpaceIsNoWord) {
    expectSplits({{"VEKLIBRARY \t ", {"VEKLIBRARY"}},
                  {"VEKLIBRARY\r", {"VEKLIBRARY"}},
                  {"VEKLIBRARY \v", {"VEKLIBRARY"}},
                  {"FOO bar\r", {"FOO", "bar"}},
                  {"FOO bar \f\v", {"FOO", "bar"}},
                  {"FOO bar baz  ", {"FOO", "bar", "baz"}}});
}

TEST(ToviProcessLine, BytesAboveAsciiAreNoWhiteSpace) {
    expectSplits({{"F\xA0O\x85 b\xFFr", {"F\xA0O\x85", "b\xFFr"}}, {"\x80 \x9F", {"\x80", "\x9F"}}});
}

TEST(ToviProcessLine, DoesNotChangeItsInput) {
    const std::string given = "FOO bar #note\n";
    int count = 0;
    char *words[TOVI_LINE_WORDS] = {};
    toviProcessLine(given.c_str(), &count, words);
    EXPECT_EQ("FOO bar #note\n", given);
}

TEST(ToviProcessLine, LineIsCutAfter4095Characters) {
    EXPECT_EQ(4094U, split(std::string(4094, 'a'))[0].size());
    EXPECT_EQ(4095U, split(std::string(4095, 'a'))[0].size());
    EXPECT_EQ(4095U, split(std::string(4096, 'a'))[0].size());
    EXPECT_EQ(4095U, split(std::string(100000, 'a'))[0].size());
    const Words cut = split("FOO " + std::string(4096, 'v'));
    ASSERT_EQ(2U, cut.size());
    EXPECT_EQ(4091U, cut[1].size());
}

// ---- one line's meaning

class InputLine : public testing::Test {
  protected:
    /// Handles `line` as line 7 of /d/vekinfo.tag.
    int handle(const std::string &line, const char *element = nullptr) {
        obj->line = 7;
        return tovProcessVekinfoCommand(line.c_str(), element, &found, obj.get(), "/d/vekinfo.tag");
    }

    test::TagObject obj = test::emptyTagObject();
    int found = 0;
    test::ReportCollector reports;
};

TEST_F(InputLine, VeklibraryTakesNoValue) {
    EXPECT_EQ(TOV_OK, handle("vekLibrary"));
    EXPECT_EQ(1, obj->library);
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(InputLine, VeklibraryWithAValueIsASyntaxError) {
    for (const char *line : {"VEKLIBRARY yes", "veklibrary yes please"}) {
        EXPECT_EQ(TOV_SYNTAX_ERROR, handle(line));
        EXPECT_EQ(255, obj->library);
        EXPECT_EQ((test::TagReports{
                      {TOV_SYNTAX_ERROR, "VEKLIBRARY line in vekinfo.tag file", "/d/vekinfo.tag", 7}}),
                  reports.take());
    }
}

TEST_F(InputLine, VeklibcheckTakesOnAndOffInAnyCase) {
    const std::vector<std::pair<const char *, int>> cases = {
        {"VEKLIBCHECK ON", 1}, {"VEKLIBCHECK OFF", 0}, {"veklibcheck oN", 1}, {"VekLibCheck off", 0}};
    for (const auto &[line, value] : cases) {
        EXPECT_EQ(TOV_OK, handle(line)) << line;
        EXPECT_EQ(value, obj->libcheck) << line;
    }
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(InputLine, AnyOtherVeklibcheckIsASyntaxError) {
    for (const char *line :
         {"VEKLIBCHECK", "VEKLIBCHECK maybe", "VEKLIBCHECK ON OFF", "veklibcheck O", "VEKLIBCHECK ONE"}) {
        EXPECT_EQ(TOV_SYNTAX_ERROR, handle(line)) << line;
        EXPECT_EQ(255, obj->libcheck) << line;
        EXPECT_EQ((test::TagReports{
                      {TOV_SYNTAX_ERROR, "VEKLIBCHECK line in vekinfo.tag file", "/d/vekinfo.tag", 7}}),
                  reports.take());
    }
}

TEST_F(InputLine, DmtypeStoresAnyWordUnchanged) {
    for (const char *value : {"none", "Mrev", "LOPA", "a#b", "42"}) {
        EXPECT_EQ(TOV_OK, handle(std::string("dmtype ") + value));
        EXPECT_STREQ(value, obj->dmtype);
    }
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(InputLine, DmtypeNeedsExactlyOneValue) {
    for (const char *line : {"DMTYPE", "DMTYPE mrev pkm", "DmType a b c"}) {
        EXPECT_EQ(TOV_SYNTAX_ERROR, handle(line)) << line;
        EXPECT_EQ(nullptr, obj->dmtype) << line;
        EXPECT_EQ(
            (test::TagReports{{TOV_SYNTAX_ERROR, "DMTYPE line in vekinfo.tag file", "/d/vekinfo.tag", 7}}),
            reports.take());
    }
}

TEST_F(InputLine, NamespaceTakesTheTwoNamesInAnyCase) {
    const std::vector<std::pair<const char *, uint32_t>> cases = {{"NAMESPACE LibraryNT", 1},
                                                                  {"NAMESPACE LibraryUnix", 2},
                                                                  {"namespace librarynt", 1},
                                                                  {"NAMESPACE libraryunix", 2},
                                                                  {"NameSpace LIBRARYNT", 1}};
    for (const auto &[line, value] : cases) {
        EXPECT_EQ(TOV_OK, handle(line)) << line;
        EXPECT_EQ(value, obj->nameSpace) << line;
    }
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(InputLine, AnyOtherNamespaceIsASyntaxError) {
    for (const char *line : {"NAMESPACE", "NAMESPACE Unix", "NAMESPACE LibraryUnix x", "namespace Library",
                             "NAMESPACE LibraryNTx"}) {
        EXPECT_EQ(TOV_SYNTAX_ERROR, handle(line)) << line;
        EXPECT_EQ(0U, obj->nameSpace) << line;
        EXPECT_EQ(
            (test::TagReports{{TOV_SYNTAX_ERROR, "NAMESPACE line in vekinfo.tag file", "/d/vekinfo.tag", 7}}),
            reports.take());
    }
}

TEST_F(InputLine, ASyntaxErrorOnLineZeroHasNoLineNumber) {
    obj->line = 0;
    EXPECT_EQ(TOV_SYNTAX_ERROR,
              tovProcessVekinfoCommand("NAMESPACE Unix", nullptr, &found, obj.get(), "/d/vekinfo.tag"));
    EXPECT_EQ(
        (test::TagReports{{TOV_SYNTAX_ERROR, "NAMESPACE line in vekinfo.tag file", "/d/vekinfo.tag", 0}}),
        reports.take());
}

TEST_F(InputLine, AnyOtherWordIsAnApplicationEntry) {
    for (const char *line : {"FOO", "Foo bar", "FOO bar baz qux", "VEKLIB x", "DMTYPES none", "# note", ""}) {
        EXPECT_EQ(TOV_OK, handle(line)) << line;
    }
    EXPECT_EQ((test::Entries{"FOO=", "Foo=bar", "FOO=bar", "VEKLIB=x", "DMTYPES=none"}),
              test::entriesOf(*obj));
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(InputLine, ARepeatedKeywordOverwrites) {
    handle("DMTYPE mrev");
    handle("DMTYPE pkm");
    handle("VEKLIBCHECK ON");
    handle("VEKLIBCHECK OFF");
    handle("NAMESPACE LibraryNT");
    handle("NAMESPACE LibraryUnix");
    EXPECT_STREQ("pkm", obj->dmtype);
    EXPECT_EQ(0, obj->libcheck);
    EXPECT_EQ(2U, obj->nameSpace);
}

TEST_F(InputLine, FoundIsSetInAnyCaseAndNeverCleared) {
    handle("FOO bar", "foo");
    EXPECT_EQ(1, found);
    handle("BAR baz", "foo");
    EXPECT_EQ(1, found);
}

TEST_F(InputLine, FoundIsSetByKeywordsToo) {
    for (const char *line : {"VEKLIBRARY", "VEKLIBCHECK OFF", "DMTYPE none", "NAMESPACE LibraryNT"}) {
        const std::string keyword = split(line)[0];
        found = 0;
        handle(line, "somethingelse");
        EXPECT_EQ(0, found) << line;
        handle(line, keyword.c_str());
        EXPECT_EQ(1, found) << line;
    }
}

TEST_F(InputLine, FoundIsUnchangedWithoutAnElement) {
    handle("FOO bar", nullptr);
    EXPECT_EQ(0, found);
}

TEST_F(InputLine, KeywordsAreAlsoSetOnTheLastReturnedObject) {
    const test::TagObject delivered = test::emptyTagObject();
    delivered->dmtype = strdup("old");
    tempVekinfoFromHash = delivered.get();

    handle("VEKLIBRARY");
    handle("VEKLIBCHECK ON");
    handle("DMTYPE Mrev");
    handle("NAMESPACE LibraryNT");
    handle("FOO bar");
    tempVekinfoFromHash = nullptr;

    for (const VekinfoObj *object : {obj.get(), delivered.get()}) {
        EXPECT_EQ(1, object->library);
        EXPECT_EQ(1, object->libcheck);
        EXPECT_STREQ("Mrev", object->dmtype);
        EXPECT_EQ(1U, object->nameSpace);
    }
    EXPECT_EQ((test::Entries{"FOO=bar"}), test::entriesOf(*obj));
    EXPECT_EQ((test::Entries{}), test::entriesOf(*delivered)) << "application entries go to the object alone";
}

TEST_F(InputLine, ShallowCopyAndCachedObjectChangeTogether) {
    const test::TagObject delivered = test::emptyTagObject();
    for (const char *line : {"DMTYPE first", "DMTYPE second"}) {
        VekinfoObj copy = *delivered;
        std::string word = "DMTYPE";
        std::string value = split(line)[1];
        char *words[] = {word.data(), value.data(), nullptr};
        tempVekinfoFromHash = delivered.get();
        EXPECT_EQ(TOV_OK, toviHandleInputLine(&copy, "/d/vekinfo.tag", nullptr, nullptr, 2, words));
        tempVekinfoFromHash = nullptr;
        EXPECT_EQ(value, copy.dmtype);
        EXPECT_EQ(value, delivered->dmtype);
        if (copy.dmtype != delivered->dmtype) { // the copy had none to share, and got its own
            std::free(copy.dmtype);
        }
    }
}

TEST_F(InputLine, NamesAndValuesStayParallelWhenMemoryIsExhausted) {
    for (int entries = 0; entries < 8; ++entries) { // with and without a list that must grow
        bool failed = true;
        for (int nth = 1; failed; ++nth) {
            obj = test::emptyTagObject();
            test::Entries expected;
            for (int i = 0; i < entries; ++i) {
                const std::string number = std::to_string(i);
                ASSERT_EQ(TOV_OK, handle("N" + number + " " + number));
                expected.push_back("N" + number + "=" + number);
            }
            test::faults::failAllocation(nth);
            const int status = handle("FAILS value");
            test::faults::reset();
            failed = status != TOV_OK;
            if (failed) {
                EXPECT_EQ(TOV_MEMORY_ERROR, status) << nth;
                EXPECT_FALSE(reports.take().empty()) << nth;
            } else {
                EXPECT_GT(nth, 2);
                expected.emplace_back("FAILS=value");
            }
            EXPECT_EQ(expected, test::entriesOf(*obj)) << nth;
            ASSERT_EQ(TOV_OK, handle("NEXT next"));
            expected.emplace_back("NEXT=next");
            EXPECT_EQ(expected, test::entriesOf(*obj)) << nth;
        }
    }
}

TEST_F(InputLine, SyntaxErrorDoesNotChangeTheLastReturnedObject) {
    const test::TagObject delivered = test::emptyTagObject();
    tempVekinfoFromHash = delivered.get();
    EXPECT_EQ(TOV_SYNTAX_ERROR, handle("VEKLIBCHECK maybe"));
    tempVekinfoFromHash = nullptr;
    EXPECT_EQ(255, delivered->libcheck);
}

// ---- whole files

class ParseFile : public test::TagTest {
  protected:
    int parse(const std::string &path = "vekinfo.tag", const char *element = nullptr) {
        obj = test::emptyTagObject();
        found = 0;
        return tovParseVekinfo(path.c_str(), element, obj.get(), &found);
    }
    int parseText(const std::string &text, const char *element = nullptr) {
        box.file("vekinfo.tag", text);
        return parse("vekinfo.tag", element);
    }

    test::TagObject obj;
    int found = 0;
};

TEST_F(ParseFile, ReadsEveryKindOfLine) {
    ASSERT_EQ(TOV_OK, parseText("# a library\n"
                                "VEKLIBRARY\n"
                                "\n"
                                "VEKLIBCHECK off ; not now\n"
                                "DMTYPE Mrev\n"
                                "NAMESPACE libraryunix\n"
                                "FOO bar baz qux\n"
                                "  # note\n"
                                "--note\n"
                                "FOO\n"));
    EXPECT_EQ(1, obj->library);
    EXPECT_EQ(0, obj->libcheck);
    EXPECT_STREQ("Mrev", obj->dmtype);
    EXPECT_EQ(2U, obj->nameSpace);
    EXPECT_EQ((test::Entries{"FOO=bar", "FOO="}), test::entriesOf(*obj));
    EXPECT_EQ(10U, obj->line);
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(ParseFile, AMissingFileLeavesTheFoundFlag) {
    obj = test::emptyTagObject();
    found = 1;
    EXPECT_EQ(TOV_SYSTEM_ERROR, tovParseVekinfo("missing", "FOO", obj.get(), &found));
    EXPECT_EQ(1, found);
}

TEST_F(ParseFile, ASyntaxErrorClearsTheFoundFlag) {
    box.file("vekinfo.tag", "FOO 1\nDMTYPE\n");
    obj = test::emptyTagObject();
    found = 1;
    EXPECT_EQ(TOV_SYNTAX_ERROR, tovParseVekinfo("vekinfo.tag", "FOO", obj.get(), &found));
    EXPECT_EQ(0, found);
}

TEST_F(ParseFile, AnEmptyFileHasNoLines) {
    ASSERT_EQ(TOV_OK, parseText(""));
    EXPECT_EQ(0U, obj->line);
    EXPECT_EQ(255, obj->library);
}

TEST_F(ParseFile, TheTemplateTextSetsNothing) {
    ASSERT_EQ(TOV_OK, parseText(test::kTemplate));
    EXPECT_EQ(38U, obj->line);
    EXPECT_EQ(255, obj->library);
    EXPECT_EQ(255, obj->libcheck);
    EXPECT_EQ(nullptr, obj->dmtype);
    EXPECT_EQ(0U, obj->nameSpace);
    EXPECT_EQ((test::Entries{}), test::entriesOf(*obj));
}

TEST_F(ParseFile, AMissingFinalNewlineLosesNothing) {
    ASSERT_EQ(TOV_OK, parseText("A 1\nB 2"));
    EXPECT_EQ((test::Entries{"A=1", "B=2"}), test::entriesOf(*obj));
    EXPECT_EQ(2U, obj->line);
}

TEST_F(ParseFile, CarriageReturnLineEndsReadLikeNewlines) {
    ASSERT_EQ(TOV_OK, parseText("VEKLIBRARY\r\nDMTYPE Mrev\r\n\r\nFOO bar\r\nBAR\r\n"));
    EXPECT_EQ(1, obj->library);
    EXPECT_STREQ("Mrev", obj->dmtype);
    EXPECT_EQ((test::Entries{"FOO=bar", "BAR="}), test::entriesOf(*obj));
    EXPECT_EQ(5U, obj->line);
}

TEST_F(ParseFile, FoundIsSetIfTheElementExists) {
    EXPECT_EQ(TOV_OK, parseText("A 1\nB 2\n", "b"));
    EXPECT_EQ(1, found);
    EXPECT_EQ(TOV_OK, parseText("A 1\nB 2\n", "C"));
    EXPECT_EQ(0, found);
    EXPECT_EQ(TOV_OK, parseText("A 1\nDMTYPE x\nC 3\n", "dmtype"));
    EXPECT_EQ(1, found);
    EXPECT_EQ(TOV_OK, parseText("A 1\n", nullptr));
    EXPECT_EQ(0, found);
}

TEST_F(ParseFile, SyntaxErrorEndsTheReading) {
    EXPECT_EQ(TOV_SYNTAX_ERROR, parseText("A 1\nVEKLIBRARY\nNAMESPACE Unix\nB 2\nDMTYPE\n", "A"));
    EXPECT_EQ(0, found) << "although line 1 had set it";
    EXPECT_EQ(3U, obj->line);
    EXPECT_EQ((test::Entries{"A=1"}), test::entriesOf(*obj));
    EXPECT_EQ((test::TagReports{{TOV_SYNTAX_ERROR, "NAMESPACE line in vekinfo.tag file", "vekinfo.tag", 3}}),
              reports.take());
}

TEST_F(ParseFile, ASyntaxErrorIsPrintedWithFileAndLine) {
    tovRegisterErrorHandler(nullptr);
    box.file("d/vekinfo.tag", "\n\n\n\n\n\nNAMESPACE Unix\n");
    const std::string path = box.path("d/vekinfo.tag");
    test::Capture capture;
    EXPECT_EQ(TOV_SYNTAX_ERROR, parse(path));
    EXPECT_EQ("Error (tov): 'syntax error' NAMESPACE line in vekinfo.tag file : " + path + " line 7.\n\n",
              capture.err());
}

TEST_F(ParseFile, AMissingFileIsReported) {
    EXPECT_EQ(TOV_SYSTEM_ERROR, parse("none/vekinfo.tag"));
    EXPECT_EQ((test::TagReports{{TOV_SYSTEM_ERROR, "while opening vekinfo.tag file", "none/vekinfo.tag", 0}}),
              reports.take());
}

TEST_F(ParseFile, AnUnreadableFileIsReported) {
    box.file("vekinfo.tag", "A 1\n", 0200);
    test::asUnprivileged([this] {
        EXPECT_EQ(TOV_SYSTEM_ERROR, parse());
        EXPECT_EQ((test::TagReports{{TOV_SYSTEM_ERROR, "while opening vekinfo.tag file", "vekinfo.tag", 0}}),
                  reports.take());
    });
}

TEST_F(ParseFile, ADirectoryReadsAsAnEmptyFile) {
    box.directory("vekinfo.tag");
    EXPECT_EQ(TOV_OK, parse());
    EXPECT_EQ(0U, obj->line);
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(ParseFile, PipeReadsAsEmptyFileWithoutWaiting) {
    ASSERT_EQ(0, mkfifo("vekinfo.tag", 0666));
    EXPECT_EQ(TOV_OK, parse());
    EXPECT_EQ(0U, obj->line);
}

TEST_F(ParseFile, ADeviceReadsAsAnEmptyFile) {
    box.link("null/vekinfo.tag", "/dev/null").link("zero/vekinfo.tag", "/dev/zero");
    EXPECT_EQ(TOV_OK, parse("null/vekinfo.tag"));
    EXPECT_EQ(0U, obj->line);
    EXPECT_EQ(TOV_OK, parse("zero/vekinfo.tag"));
    EXPECT_EQ(0U, obj->line);
}

TEST_F(ParseFile, LinkCycleIsReported) {
    box.link("vekinfo.tag", "other").link("other", "vekinfo.tag");
    EXPECT_EQ(TOV_SYSTEM_ERROR, parse());
    EXPECT_EQ((test::TagReports{{TOV_SYSTEM_ERROR, "while opening vekinfo.tag file", "vekinfo.tag", 0}}),
              reports.take());
}

TEST_F(ParseFile, FailedReadIsReported) {
    box.link("vekinfo.tag", "/proc/self/mem"); // a regular file that cannot be read at its beginning
    EXPECT_EQ(TOV_SYSTEM_ERROR, parse("vekinfo.tag", "A"));
    EXPECT_EQ(0, found);
    EXPECT_EQ((test::TagReports{{TOV_SYSTEM_ERROR, "while opening vekinfo.tag file", "vekinfo.tag", 0}}),
              reports.take());
}

// A line of the reader holds 4095 characters, its newline included; the rest is a line of its own.
TEST_F(ParseFile, LinesAreReadInPiecesOf4095Characters) {
    const struct {
        std::size_t length;
        bool newline;
        uint32_t lines;
        test::Entries entries;
    } cases[] = {
        {4094, true, 1, {"N=" + std::string(4092, 'v')}},
        {4095, true, 2, {"N=" + std::string(4093, 'v')}},
        {4096, true, 2, {"N=" + std::string(4093, 'v'), "v="}},
        {4097, true, 2, {"N=" + std::string(4093, 'v'), "vv="}},
        {4094, false, 1, {"N=" + std::string(4092, 'v')}},
        {4095, false, 1, {"N=" + std::string(4093, 'v')}},
        {4096, false, 2, {"N=" + std::string(4093, 'v'), "v="}},
        {8190, false, 2, {"N=" + std::string(4093, 'v'), std::string(4095, 'v') + "="}},
    };
    for (const auto &entry : cases) {
        const std::string text = "N " + std::string(entry.length - 2, 'v') + (entry.newline ? "\n" : "");
        ASSERT_EQ(TOV_OK, parseText(text)) << entry.length;
        EXPECT_EQ(entry.lines, obj->line) << entry.length << entry.newline;
        EXPECT_EQ(entry.entries, test::entriesOf(*obj)) << entry.length << entry.newline;
    }
}

TEST_F(ParseFile, LongNamesAreKeptWhole) {
    for (const std::size_t length : {1023U, 1024U, 1025U, 2047U, 2048U, 4094U}) {
        const std::string name(length, 'n');
        ASSERT_EQ(TOV_OK, parseText(name + "\nNEXT 1\n"));
        EXPECT_EQ((test::Entries{name + "=", "NEXT=1"}), test::entriesOf(*obj)) << length;
    }
}

TEST_F(ParseFile, CarriageReturnSeparatedFromItsNewlineIsNoWord) {
    for (const std::size_t length : {4092U, 4093U, 4094U, 4095U}) {
        const std::string value(length - 2, 'v');
        ASSERT_EQ(TOV_OK, parseText("N " + value + "\r\nM 1\r\n"));
        EXPECT_EQ((test::Entries{"N=" + value, "M=1"}), test::entriesOf(*obj)) << length;
    }
}

TEST_F(ParseFile, KeywordAfter4095CharactersIsParsed) {
    ASSERT_EQ(TOV_OK, parseText("N " + std::string(4093, 'v') + "VEKLIBRARY\n"));
    EXPECT_EQ(1, obj->library);
    EXPECT_EQ(2U, obj->line);
}

TEST_F(ParseFile, ANulByteEndsItsLineOnly) {
    ASSERT_EQ(TOV_OK, parseText(std::string("A 1\0 2 3\n\0B 2\nC 3\nDMTYPE m\0\n", 28)));
    EXPECT_EQ((test::Entries{"A=1", "C=3"}), test::entriesOf(*obj));
    EXPECT_STREQ("m", obj->dmtype);
    EXPECT_EQ(4U, obj->line);
}

TEST_F(ParseFile, BinaryDataReadsAsEntries) {
    std::string junk;
    uint32_t state = 12345;
    for (int at = 0; at < 200000; ++at) {
        state = state * 1664525U + 1013904223U;
        junk += static_cast<char>(state >> 24U);
    }
    EXPECT_EQ(TOV_OK, parseText(junk + "\nLAST 1\n"));
    ASSERT_FALSE(test::entriesOf(*obj).empty());
    EXPECT_EQ("LAST=1", test::entriesOf(*obj).back());
}

TEST_F(ParseFile, ManyEntriesAreAllKept) {
    std::string text;
    for (int at = 0; at < 20000; ++at) {
        text += "NAME" + std::to_string(at) + " value" + std::to_string(at) + "\n";
    }
    ASSERT_EQ(TOV_OK, parseText(text));
    const test::Entries entries = test::entriesOf(*obj);
    ASSERT_EQ(20000U, entries.size());
    EXPECT_EQ("NAME0=value0", entries.front());
    EXPECT_EQ("NAME12345=value12345", entries[12345]);
    EXPECT_EQ("NAME19999=value19999", entries.back());
}

TEST_F(ParseFile, EntriesAddedToShallowCopyKeepCachedListsValid) {
    box.file("vekinfo.tag", "FIRST 1\n");
    VekinfoObj copy = {};
    ASSERT_EQ(TOV_OK, tovGetVekinfoAtLoc("vekinfo.tag", nullptr, &copy, &found));

    test::Entries expected = {"FIRST=1"};
    for (int i = 0; i < 100; ++i) {
        std::string word = "NEXT";
        std::string value = std::to_string(i);
        char *words[] = {word.data(), value.data(), nullptr};
        EXPECT_EQ(TOV_OK, toviHandleInputLine(&copy, "vekinfo.tag", nullptr, nullptr, 2, words));
        expected.push_back("NEXT=" + value);
    }

    EXPECT_EQ(expected, test::entriesOf(copy));
    VekinfoObj cached = {};
    ASSERT_EQ(TOV_OK, tovGetVekinfoAtLoc("vekinfo.tag", nullptr, &cached, &found));
    EXPECT_EQ(copy.names, cached.names);
    EXPECT_EQ(copy.values, cached.values);
    EXPECT_EQ(expected, test::entriesOf(cached)) << "the copy's lists belong to the cache";
}

TEST_F(ParseFile, EntriesAddedToAShallowCopyUpdateTheCachedSizes) {
    box.file("vekinfo.tag", "FIRST 1\n");
    VekinfoObj copy = {};
    ASSERT_EQ(TOV_OK, tovGetVekinfoAtLoc("vekinfo.tag", nullptr, &copy, &found));
    for (int i = 0; i < 100; ++i) {
        std::string word = "NEXT";
        char *words[] = {word.data(), nullptr, nullptr};
        ASSERT_EQ(TOV_OK, toviHandleInputLine(&copy, "vekinfo.tag", nullptr, nullptr, 1, words));
        VekinfoObj cached = {};
        ASSERT_EQ(TOV_OK, tovGetVekinfoAtLoc("vekinfo.tag", nullptr, &cached, &found));
        EXPECT_EQ(copy.namesSize, cached.namesSize) << i;
        EXPECT_EQ(copy.valuesSize, cached.valuesSize) << i;
        EXPECT_GE(cached.namesSize, i + 3) << "a slot for each name, and the null";
        EXPECT_GE(cached.valuesSize, i + 3);
    }
}

TEST_F(ParseFile, ExhaustedMemoryLeavesTheCachedListsParallel) {
    for (int nth = 1; nth <= 6; ++nth) {
        tovResetCache();
        box.file("vekinfo.tag", "FIRST 1\nSECOND 2\n");
        VekinfoObj copy = {};
        ASSERT_EQ(TOV_OK, tovGetVekinfoAtLoc("vekinfo.tag", nullptr, &copy, &found));
        std::string word = "NEXT";
        std::string value = "3";
        char *words[] = {word.data(), value.data(), nullptr};
        test::faults::failAllocation(nth);
        const int status = toviHandleInputLine(&copy, "vekinfo.tag", nullptr, nullptr, 2, words);
        test::faults::reset();
        reports.take();
        VekinfoObj cached = {};
        ASSERT_EQ(TOV_OK, tovGetVekinfoAtLoc("vekinfo.tag", nullptr, &cached, &found));
        test::Entries expected = {"FIRST=1", "SECOND=2"};
        if (status == TOV_OK) {
            expected.emplace_back("NEXT=3");
        }
        EXPECT_EQ(expected, test::entriesOf(cached)) << nth;
        EXPECT_EQ(copy.namesSize, cached.namesSize) << nth;
        EXPECT_EQ(copy.valuesSize, cached.valuesSize) << nth;
    }
}

TEST_F(ParseFile, ExhaustedMemoryIsNeverSuccessWithMissingEntries) {
    box.file("vekinfo.tag", "DMTYPE m\nA 1\nB 2\nC 3\nD 4\nE 5\n");
    bool sawFailure = false;
    for (int nth = 1; nth <= 60; ++nth) {
        test::faults::failAllocation(nth);
        const int status = parse("vekinfo.tag", "E");
        test::faults::reset();
        if (status == 0) {
            EXPECT_STREQ("m", obj->dmtype) << nth;
            EXPECT_EQ((test::Entries{"A=1", "B=2", "C=3", "D=4", "E=5"}), test::entriesOf(*obj)) << nth;
            EXPECT_EQ(1, found) << nth;
        } else {
            sawFailure = true;
            EXPECT_EQ(0, found) << nth;
            EXPECT_FALSE(reports.take().empty()) << nth << ": a failure is reported";
        }
    }
    EXPECT_TRUE(sawFailure);
}

} // namespace
