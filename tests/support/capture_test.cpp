#include "tests/support/capture.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/child.h"
#include "tests/support/environment.h"

TEST(Capture, ReceivesEveryWayOfWriting) {
    test::Capture capture;

    std::fputs("stream ", stdout);
    EXPECT_EQ(capture.out(), "stream ");
    std::cout << "cout ";
    EXPECT_EQ(capture.out(), "stream cout ");
    EXPECT_EQ(write(STDOUT_FILENO, "descriptor", 10), 10);
    std::fputs("complaint", stderr);

    EXPECT_EQ(capture.out(), "stream cout descriptor");
    EXPECT_EQ(capture.err(), "complaint");
}

TEST(Capture, EndsWithItsScope) {
    const test::Outcome outcome = test::inChild([] {
        std::cout << "before ";
        {
            test::Capture capture;
            std::cout << "captured ";
        }
        std::cout << "after";
        return 0;
    });

    EXPECT_EQ(outcome.out, "before after");
}

TEST(Capture, IsShownWhenTheTestFails) {
    test::Outcome outcome;
    EXPECT_NONFATAL_FAILURE(outcome = test::inChild([] {
                                test::Capture capture;
                                std::cout << "captured";
                                ADD_FAILURE() << "with it";
                                return 0;
                            }),
                            "with it");

    EXPECT_EQ(outcome.out, "captured");
}

TEST(Environment, IsSetWhole) {
    setenv("VEK_TEST_LEFT_OVER", "1", 1);

    test::setEnvironment({{"HOME", "/h"}, {"EMPTY", ""}});

    EXPECT_EQ(std::getenv("VEK_TEST_LEFT_OVER"), nullptr);
    EXPECT_STREQ(std::getenv("HOME"), "/h");
    EXPECT_STREQ(std::getenv("EMPTY"), "");
}
