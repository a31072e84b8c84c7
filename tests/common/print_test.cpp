#include "common/base/print.h"

#include "tests/support/capture.h"

#include <gtest/gtest.h>

TEST(PrintError, FormatsOnStandardError) {
    test::Capture capture;
    vek::printError("Error: %s, %d\n", "text", 7);
    EXPECT_EQ("Error: text, 7\n", capture.err());
    EXPECT_EQ("", capture.out());
}

TEST(Print, FormatsOnTheGivenStream) {
    test::Capture capture;
    vek::print(stdout, "%s has %d entries.\n", "vekinfo.tag", 7);
    EXPECT_EQ("vekinfo.tag has 7 entries.\n", capture.out());
    EXPECT_EQ("", capture.err());
}
