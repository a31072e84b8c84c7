#include "tagfile/keyword.h"

#include "tagfile/tovi_cache.h"
#include "tagfile/tovi_edit.h"
#include "tagfile/tovi_parse.h"
#include "tagfile/tovi_query.h"
#include "tagfile/tovi_write.h"
#include "tests/tagfile/tag_support.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

using tov::Keyword;
using tov::Keywords;
using tov::kKeywords;

namespace {

std::vector<Keyword> systemRows() {
    return {kKeywords.begin(), kKeywords.end()};
}

} // namespace

TEST(Keywords, AreWrittenInTheDocumentedOrder) {
    std::vector<std::string> names;
    for (const Keyword &keyword : kKeywords) {
        names.emplace_back(keyword.name);
    }
    EXPECT_EQ((std::vector<std::string>{"VEKLIBRARY", "VEKLIBCHECK", "DMTYPE", "NAMESPACE"}), names);
}

TEST(Keywords, AreFoundWithoutCase) {
    for (const Keyword &keyword : kKeywords) {
        EXPECT_EQ(&keyword, kKeywords.find(keyword.name));
    }
    EXPECT_STREQ("DMTYPE", kKeywords.find("dmType")->name.data());
    for (const char *name : {"", "DMTYPES", "DMTYP", "VEKLIBRARY ", "FOO"}) {
        EXPECT_EQ(nullptr, kKeywords.find(name)) << name;
    }
}

TEST(Keywords, EveryRowHasEveryColumn) {
    for (Keyword row : systemRows()) {
        EXPECT_TRUE(row.isComplete());
    }
    const Keyword whole = systemRows()[0];
    std::vector<Keyword> broken(11, whole);
    broken[0].name = "";
    broken[1].wordCount = 0;
    broken[2].isValid = nullptr;
    broken[3].set = nullptr;
    broken[4].clear = nullptr;
    broken[5].isPresent = nullptr;
    broken[6].value = nullptr;
    broken[7].writtenValue = nullptr;
    broken[8].shownValue = nullptr;
    broken[9].lookup = tov::LookupForm();
    broken[10].syntaxError = nullptr;
    for (std::size_t i = 0; i < broken.size(); ++i) {
        EXPECT_FALSE(broken[i].isComplete()) << i;
    }
}

// ---- a keyword that is added to a copy of the table

namespace {

/// The object has no field for it: the test stores the setting in an unused bit.
constexpr uint32_t kLockedBit = 0x100;

constexpr Keyword kLocked = {
    .name = "LOCKED",
    .wordCount = 2,
    .isValid = [](std::string_view value) { return value == "yes"; },
    .set =
        [](VekinfoObj &obj, const char * /*value*/) {
            obj.nameSpace |= kLockedBit;
            return true;
        },
    .clear = [](VekinfoObj &obj) { obj.nameSpace &= ~kLockedBit; },
    .isPresent = [](const VekinfoObj &obj) { return (obj.nameSpace & kLockedBit) != 0; },
    .value = [](const VekinfoObj &obj) { return (obj.nameSpace & kLockedBit) != 0 ? "yes" : nullptr; },
    .writtenValue = [](const VekinfoObj &obj) { return (obj.nameSpace & kLockedBit) != 0 ? "yes" : nullptr; },
    .shownValue = [](const VekinfoObj &obj) { return (obj.nameSpace & kLockedBit) != 0 ? "Yes" : nullptr; },
    .lookup = tov::LookupForm::Value,
    .syntaxError = "LOCKED line in vekinfo.tag file",
};

class AddedKeyword : public test::TagTest {
  protected:
    AddedKeyword() : rows_(systemRows()) { rows_.push_back(kLocked); }

    [[nodiscard]] Keywords keywords() const { return Keywords(rows_); }

    tov::Report parse(const std::string &text, const char *element = nullptr) {
        obj = test::emptyTagObject();
        vek::LineReader lines(text);
        const tov::ParseResult result = tov::parseLines(keywords(), lines, element, *obj);
        isFound = result.hasElement;
        return result.report;
    }
    [[nodiscard]] std::string written() const {
        vek::ComposedText text;
        tov::Reports rejected;
        tov::composeSettings(keywords(), *obj, text, rejected);
        EXPECT_FALSE(rejected.first().isError());
        return std::string(text.view()).substr(test::kTemplate.size());
    }

    test::TagObject obj;
    bool isFound = false;

  private:
    std::vector<Keyword> rows_;
};

} // namespace

TEST_F(AddedKeyword, IsParsedAndFound) {
    EXPECT_FALSE(parse("FOO 1\nlocked yes\n", "Locked").isError());
    EXPECT_TRUE(isFound);
    EXPECT_TRUE(kLocked.isPresent(*obj));
    EXPECT_EQ((test::Entries{"FOO=1"}), test::entriesOf(*obj)) << "it is no application entry";
}

TEST_F(AddedKeyword, InvalidLineIsItsSyntaxError) {
    for (const char *text : {"LOCKED\n", "LOCKED no\n", "LOCKED yes yes\n"}) {
        const tov::Report report = parse(text);
        EXPECT_EQ(TOV_SYNTAX_ERROR, report.code) << text;
        EXPECT_STREQ("LOCKED line in vekinfo.tag file", report.text);
    }
}

TEST_F(AddedKeyword, IsPresentByItsSettingAndNotByTheNames) {
    parse("FOO 1\n");
    EXPECT_FALSE(tov::isPresent(keywords(), *obj, "LOCKED"));
    parse("FOO 1\nLOCKED yes\n");
    EXPECT_TRUE(tov::isPresent(keywords(), *obj, "LOCKED"));
}

TEST_F(AddedKeyword, HasItsValueInQueries) {
    parse("FOO 1\n");
    EXPECT_EQ(nullptr, tov::valueOf(keywords(), *obj, "LOCKED"));
    parse("LOCKED yes\n");
    EXPECT_STREQ("yes", tov::valueOf(keywords(), *obj, "locked"));
}

TEST_F(AddedKeyword, IsEditedLikeOtherKeywords) {
    box.file("vekinfo.tag", "LOCKED yes\nDMTYPE old\nFOO 1\n");
    EXPECT_EQ(1, tov::editEntry(keywords(), ".", "DMTYPE", "new"));
    EXPECT_EQ(test::kTemplate + "DMTYPE new\nLOCKED yes\nFOO 1\n", box.read("vekinfo.tag"));
    EXPECT_EQ(1, tov::editEntry(keywords(), ".", "locked", nullptr));
    EXPECT_EQ(test::kTemplate + "DMTYPE new\nFOO 1\n", box.read("vekinfo.tag"));
    EXPECT_EQ(1, tov::editEntry(keywords(), ".", "locked", "yes"));
    EXPECT_EQ(test::kTemplate + "DMTYPE new\nLOCKED yes\nFOO 1\n", box.read("vekinfo.tag"));
    EXPECT_EQ(test::kNoReports, reports.take());
    EXPECT_EQ(1, tov::editEntry(keywords(), ".", "locked", "no"));
    EXPECT_EQ(test::kTemplate + "DMTYPE new\nFOO 1\n", box.read("vekinfo.tag"));
    EXPECT_EQ((test::TagReports{{TOV_SYNTAX_ERROR, "LOCKED line in vekinfo.tag file", "./vekinfo.tag", 41}}),
              reports.take());
}

TEST_F(AddedKeyword, IsWrittenAfterTheOthersAndReadAgain) {
    parse("FOO 1\nLOCKED yes\nVEKLIBRARY\n");
    EXPECT_EQ("VEKLIBRARY\nLOCKED yes\nFOO 1\n", written());
    EXPECT_FALSE(parse(written()).isError());
    EXPECT_TRUE(kLocked.isPresent(*obj));
    keywords().find("locked")->clear(*obj);
    EXPECT_EQ("VEKLIBRARY\nFOO 1\n", written());
}

TEST_F(AddedKeyword, ItsInvalidLinesAreRejected) {
    EXPECT_STREQ("LOCKED", tov::findRejected(keywords(), "FOO 1\nLOCKED\n")->name.data());
    EXPECT_EQ(nullptr, tov::findRejected(kKeywords, "FOO 1\nLOCKED\n"));
}
