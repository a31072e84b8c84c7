#include "tagfile/tovi_report.h"

#include "tests/support/faults.h"
#include "tests/tagfile/tag_support.h"

#include <gtest/gtest.h>

#include <string>

using tov::Naming;
using tov::Reports;

namespace {

class CollectedReports : public testing::Test {
  protected:
    Reports kept;
    test::ReportCollector reports;
};

} // namespace

TEST_F(CollectedReports, AreMadeInOrder) {
    kept.add({TOV_SYSTEM_ERROR, "first", Naming::File, 7});
    kept.add({TOV_SYNTAX_ERROR, "second", Naming::Directory, 0});
    kept.add({TOV_MEMORY_ERROR, "third", Naming::Nothing, 0});
    EXPECT_EQ(test::kNoReports, reports.take());
    kept.make("d/vekinfo.tag", "d");
    EXPECT_EQ((test::TagReports{{TOV_SYSTEM_ERROR, "first", "d/vekinfo.tag", 7},
                                {TOV_SYNTAX_ERROR, "second", "d", 0},
                                {TOV_MEMORY_ERROR, "third", "", 0}}),
              reports.take());
    kept.make("d/vekinfo.tag", "d");
    EXPECT_EQ(test::kNoReports, reports.take()) << "made once";
}

TEST_F(CollectedReports, KeepAnyNumber) {
    test::TagReports expected;
    for (int line = 1; line <= 1000; ++line) {
        kept.add({TOV_SYNTAX_ERROR, "text", Naming::File, line});
        expected.push_back({TOV_SYNTAX_ERROR, "text", "f", line});
    }
    kept.make("f", nullptr);
    EXPECT_EQ(expected, reports.take());
}

TEST_F(CollectedReports, WithoutMemoryKeepEightAndReportTheLoss) {
    test::faults::failAllocationsFrom(1);
    for (int line = 1; line <= 20; ++line) {
        kept.add({TOV_SYNTAX_ERROR, "text", Naming::File, line});
    }
    test::faults::reset();
    kept.make("f", nullptr);
    const test::TagReports made = reports.take();
    ASSERT_EQ(9U, made.size());
    EXPECT_EQ((test::TagReport{TOV_SYNTAX_ERROR, "text", "f", 8}), made[7]);
    EXPECT_EQ((test::TagReport{TOV_MEMORY_ERROR, "while allocating vekinfo Obj.", "", 0}), made[8]);
}

TEST_F(CollectedReports, TheFirstIsNoErrorWithoutReports) {
    EXPECT_FALSE(kept.first().isError());
    kept.add({TOV_SYSTEM_ERROR, "first", Naming::File, 7});
    EXPECT_STREQ("first", kept.first().text);
}
