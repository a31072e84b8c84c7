// Lines that the parser would reject: no edit writes them, whatever it is given.

#include "tagfile/tov.h"

#include "common/text/vek_strlist.h"
#include "tagfile/tovi_write.h"
#include "tests/tagfile/tag_support.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

using test::kTemplate;

class RefusedLine : public test::TagTest {
  protected:
    static test::TagReport syntaxError(const std::string &keyword, int line) {
        return {TOV_SYNTAX_ERROR, keyword + " line in vekinfo.tag file", "./vekinfo.tag", line};
    }
    /// What the file holds after the template.
    [[nodiscard]] std::string settings() const { return box.read("vekinfo.tag").substr(kTemplate.size()); }
    /// What a new reader makes of the file.
    static int readAnew() {
        tovResetCache();
        return tovGetVekinfoAtLoc("./vekinfo.tag", nullptr, nullptr, nullptr);
    }

    const std::string old = "VEKLIBRARY\nDMTYPE mrev\nFOO 1\n"; // three lines
};

} // namespace

TEST_F(RefusedLine, DmtypeOfTwoWordsIsReportedAndCleared) {
    for (const char *value :
         {"a b", " ", "\t", "#1", ";x", "--", "x y z", " #", "a\tb", "\n", "a\vb c", "x y\nFOO 2"}) {
        tovResetCache();
        box.file("vekinfo.tag", old);
        EXPECT_EQ(1, tovAddEntry(".", "DMTYPE", value)) << value;
        EXPECT_EQ((test::TagReports{syntaxError("DMTYPE", 3)}), reports.take()) << value;
        EXPECT_EQ("VEKLIBRARY\nFOO 1\n", settings()) << value;
    }
}

TEST_F(RefusedLine, RejectedDmtypeLeavesNewFileWithTheTemplate) {
    EXPECT_EQ(1, tovAddEntry(".", "DMTYPE", "a b"));
    EXPECT_EQ((test::TagReports{syntaxError("DMTYPE", 0)}), reports.take());
    EXPECT_EQ(kTemplate, box.read("vekinfo.tag"));
}

TEST_F(RefusedLine, AnEmptyDmtypeClearsIt) {
    box.file("vekinfo.tag", old);
    EXPECT_EQ(1, tovAddEntry(".", "DMTYPE", ""));
    EXPECT_EQ(test::kNoReports, reports.take());
    EXPECT_EQ("VEKLIBRARY\nFOO 1\n", settings());
}

TEST_F(RefusedLine, ValueWithAnInvalidSecondLineIsReported) {
    box.file("vekinfo.tag", old);
    EXPECT_EQ(1, tovAddEntry(".", "DMTYPE", "pkm\nNAMESPACE wrong"));
    EXPECT_EQ((test::TagReports{syntaxError("NAMESPACE", 3)}), reports.take());
    EXPECT_EQ("VEKLIBRARY\nFOO 1\n", settings());
}

TEST_F(RefusedLine, EntryThatParsesAsAnInvalidKeywordChangesNothing) {
    const struct {
        const char *name;
        const char *value;
        const char *keyword;
    } cases[] = {
        {"DMTYPE ", "a b", "DMTYPE"},
        {"DMTYPE ", "", "DMTYPE"},
        {"VEKLIBRARY ", "x", "VEKLIBRARY"},
        {" dmtype", "", "DMTYPE"},
        {"", "NAMESPACE", "NAMESPACE"},
        {"FOO", "1\nDMTYPE", "DMTYPE"},
        {"NAMESPACE x", "", "NAMESPACE"},
        {"FOO\nVEKLIBRARY", "1", "VEKLIBRARY"},
        {"VEKLIBCHECK\t", "maybe", "VEKLIBCHECK"},
    };
    for (const auto &entry : cases) {
        for (const bool isThere : {true, false}) {
            tovResetCache();
            unlink("vekinfo.tag");
            if (isThere) {
                box.file("vekinfo.tag", old);
            }
            EXPECT_EQ(1, tovAddEntry(".", entry.name, entry.value)) << entry.name;
            EXPECT_EQ((test::TagReports{syntaxError(entry.keyword, isThere ? 3 : 0)}), reports.take())
                << entry.name;
            EXPECT_EQ(isThere, box.exists("vekinfo.tag"));
            EXPECT_EQ(isThere ? old : "", isThere ? box.read("vekinfo.tag") : "") << entry.name;
        }
    }
}

TEST_F(RefusedLine, InvalidFileIsReportedTwiceAndKept) {
    box.file("vekinfo.tag", "FOO 1\nDMTYPE\n");
    EXPECT_EQ(1, tovAddEntry(".", "DMTYPE ", "a b"));
    EXPECT_EQ(
        (test::TagReports{syntaxError("DMTYPE", 2), syntaxError("DMTYPE", 2), syntaxError("DMTYPE", 0)}),
        reports.take());
    EXPECT_EQ("FOO 1\nDMTYPE\n", box.read("vekinfo.tag"));
}

TEST_F(RefusedLine, LinesThatTheParserAcceptsAreWrittenUnchanged) {
    const struct {
        const char *name;
        const char *value;
        const char *line;
    } cases[] = {
        {"DMTYPE ", "x", "DMTYPE  x\n"},
        {"DMTYPE", "x #note", "DMTYPE x #note\n"},
        {"FOO", "1\nBAR 2", "FOO 1\nBAR 2\n"},
        {"FOO", "DMTYPE", "FOO DMTYPE\n"},
        {"#DMTYPE", "", "#DMTYPE \n"},
        {"VEKLIBRARY\n", "", "VEKLIBRARY\n \n"},
        {"", "FOO", " FOO\n"},
        {"DMTYPE", "x\nFOO 1", "DMTYPE x\nFOO 1\n"},
    };
    for (const auto &entry : cases) {
        tovResetCache();
        unlink("vekinfo.tag");
        EXPECT_EQ(1, tovAddEntry(".", entry.name, entry.value)) << entry.line;
        EXPECT_EQ(test::kNoReports, reports.take()) << entry.line;
        EXPECT_EQ(entry.line, settings());
        EXPECT_EQ(TOV_OK, readAnew());
    }
}

TEST_F(RefusedLine, AKeywordAtTheBeginningOfACutLineCounts) {
    // The reader cuts lines at 4095 characters; what follows is a line of its own.
    const std::string filler(4091, 'v');
    EXPECT_EQ(1, tovAddEntry(".", "FOO", (filler + "DMTYPE").c_str()));
    EXPECT_EQ((test::TagReports{syntaxError("DMTYPE", 0)}), reports.take());
    EXPECT_FALSE(box.exists("vekinfo.tag"));
    EXPECT_EQ(1, tovAddEntry(".", "FOO", (filler + "DMTYPE x").c_str()));
    EXPECT_EQ(test::kNoReports, reports.take());
    EXPECT_EQ(TOV_OK, readAnew());
}

TEST_F(RefusedLine, AnUnrelatedEditLeavesItOut) {
    // Vertical tabs separate words, but do not begin comments: the value is "#1", which cannot be written after a blank.
    box.file("vekinfo.tag", "DMTYPE\v#1\nFOO 1\n");
    EXPECT_EQ(1, tovAddEntry(".", "NAMESPACE", "LibraryNT"));
    EXPECT_EQ((test::TagReports{syntaxError("DMTYPE", 2)}), reports.take());
    EXPECT_EQ("NAMESPACE LibraryNT\nFOO 1\n", settings());
}

TEST_F(RefusedLine, UpdateLeavesItOut) {
    const test::TagObject obj = test::emptyTagObject();
    obj->dmtype = strdup("a b");
    test::addEntry(*obj, "FOO", "1");
    test::addEntry(*obj, "VEKLIBRARY ", "x");
    test::addEntry(*obj, "BAR", "2");
    EXPECT_EQ(1, updateInfoFile(".", obj.get()));
    EXPECT_EQ((test::TagReports{syntaxError("DMTYPE", 0), syntaxError("VEKLIBRARY", 0)}), reports.take());
    EXPECT_EQ("FOO 1\nBAR 2\n", settings());
}

TEST_F(RefusedLine, CreateLeavesItOut) {
    char good[] = "FOO 1";
    char bad[] = "NAMESPACE wrong";
    char two[] = "BAR 2\nDMTYPE";
    char *lines[] = {good, bad, two, nullptr};
    EXPECT_EQ(1, tovCreateInfoFile(".", lines));
    EXPECT_EQ((test::TagReports{syntaxError("NAMESPACE", 0), syntaxError("DMTYPE", 0)}), reports.take());
    EXPECT_EQ("FOO 1\n", settings());
}

TEST_F(RefusedLine, RandomEditsNeverWriteAnInvalidFile) {
    const std::vector<std::string> pieces = {
        "DMTYPE", "VEKLIBRARY", "NAMESPACE", "LibraryNT", "VEKLIBCHECK", "ON",
        " ",      "\t",         "\n",        "#",         ";",           "--",
        "\v",     "a",          "\r",        "dmtype",    "x y",         std::string(4090, 'l')};
    std::mt19937 random(20261121);
    const auto text = [&] {
        std::string result;
        for (auto count = random() % 5; count > 0; --count) {
            result += pieces[random() % pieces.size()];
        }
        return result;
    };
    for (int round = 0; round < 300; ++round) {
        const std::string name = random() % 3 == 0 ? pieces[random() % 5] : text();
        const std::string value = text();
        ASSERT_EQ(1, tovAddEntry(".", name.c_str(), value.c_str()));
        static_cast<void>(reports.take());
        if (box.exists("vekinfo.tag")) {
            ASSERT_EQ(TOV_OK, readAnew()) << name << "|" << value << "|" << box.read("vekinfo.tag");
        }
    }
}
