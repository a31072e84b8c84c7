#include "tagfile/tag_reading.h"

#include "tests/support/faults.h"
#include "tests/tagfile/tag_support.h"

#include <gtest/gtest.h>

#include <string>

namespace {

class TagReading : public test::TagTest {};

TEST_F(TagReading, MissingMemoryIsAShortageAndTheFileIsReadAgain) {
    box.file("vekinfo.tag", "NAMESPACE LibraryNT\nA 1\n");
    int shortages = 0;
    for (int nth = 1; nth <= 10; ++nth) {
        tovResetCache();
        tov::TagReading reading;
        test::faults::failAllocation(nth);
        reading.read("./vekinfo.tag", "NAMESPACE");
        test::faults::reset();
        EXPECT_EQ(reading.isUsable(), !reading.isShort()) << nth;
        const unsigned nameSpace = TOV_NAMESPACE_NT;
        EXPECT_EQ(reading.isShort() ? 0U : nameSpace, reading.nameSpace()) << nth;
        shortages += reading.isShort() ? 1 : 0;
        VekinfoObj obj = {};
        int found = 0;
        EXPECT_EQ(TOV_OK, reading.take("./vekinfo.tag", "NAMESPACE", &obj, &found)) << nth;
        EXPECT_EQ(1, found);
        EXPECT_EQ((test::Entries{"A=1"}), test::entriesOf(obj)) << nth;
        EXPECT_EQ(test::kNoReports, reports.take());
    }
    EXPECT_GT(shortages, 2); // at least the object, its path and the entries
    EXPECT_LT(shortages, 10);
}

} // namespace
