#include "tool/library_queue.h"

#include "tests/support/faults.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using vekinfo::LibraryQueue;

TEST(LibraryQueue, AppendsNothingWithoutMemory) {
    LibraryQueue queue;
    ASSERT_TRUE(queue.append("/first", "/first/vekinfo.tag"));
    for (int nth = 1; nth <= 3; ++nth) { // the library, its directory and its tag file
        test::faults::failAllocation(nth);
        EXPECT_FALSE(queue.append("/next", "/next/vekinfo.tag")) << nth;
        test::faults::reset();
        EXPECT_EQ(1U, queue.size());
        EXPECT_EQ(2U, queue.pending());
        EXPECT_EQ(nullptr, queue.first()->next);
    }
    ASSERT_TRUE(queue.append("/next", "/next/vekinfo.tag"));
    EXPECT_EQ(2U, queue.first()->next->number);
    // The queue still has both libraries when it is destroyed. The leak sanitizer reports what is not freed.
}

} // namespace
