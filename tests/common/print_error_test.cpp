#include "common/base/print_error.h"

#include "tests/support/capture.h"

#include <gtest/gtest.h>

TEST(PrintError, FormatsOnStandardError) {
    test::Capture capture;
    vek::printError("Error: %s, %d\n", "text", 7);
    EXPECT_EQ("Error: text, 7\n", capture.err());
    EXPECT_EQ("", capture.out());
}
