#include "tool/signal_mask.h"

#include <gtest/gtest.h>

namespace {

using vekinfo::AllSignalsBlocked;
using vekinfo::SignalSet;

TEST(SignalSet, AgreesWithTheCLibrary) {
    for (int signal = 1; signal < 32; ++signal) {
        SCOPED_TRACE(signal);
        sigset_t expected;
        ASSERT_EQ(0, sigemptyset(&expected));
        ASSERT_EQ(0, sigaddset(&expected, signal));
        SignalSet added;
        added.add(signal);
        const sigset_t set = added.get();
        for (int other = 1; other < 32; ++other) {
            EXPECT_EQ(other == signal ? 1 : 0, sigismember(&set, other)) << other;
            EXPECT_EQ(other == signal, SignalSet(expected).contains(other)) << other;
        }
    }
}

TEST(AllSignalsBlocked, BlocksAllSignalsUntilTheEndOfItsScope) {
    sigset_t mask;
    {
        const AllSignalsBlocked blocked;
        ASSERT_EQ(0, pthread_sigmask(SIG_BLOCK, nullptr, &mask));
        for (const int signal : {SIGHUP, SIGINT, SIGPIPE, SIGTERM, SIGURG}) {
            EXPECT_EQ(1, sigismember(&mask, signal)) << signal;
        }
    }
    ASSERT_EQ(0, pthread_sigmask(SIG_BLOCK, nullptr, &mask));
    EXPECT_EQ(0, sigismember(&mask, SIGINT));
}

} // namespace
