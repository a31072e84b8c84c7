#ifndef TESTS_TOOL_CHECK_SUPPORT_H
#define TESTS_TOOL_CHECK_SUPPORT_H

/// Helpers for tests that check libraries in their own process.

#include "libdef/ryn.h"
#include "tests/support/faults.h"
#include "tests/support/real_calls.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/types.h>

#include <cerrno>
#include <string>

namespace test {

/// Releases the registry that the last check has created, if there is one. The tool itself never releases it.
inline void releaseRegistry() {
    if (rynGetCurHandle() != nullptr && *rynGetCurHandle() != nullptr) {
        rynReleaseHandle(nullptr);
    }
}

/// Simulates another process that holds the lock on the tag file `path` when this process requests it next, and appends
/// `text` before it releases the lock.
inline void appendDuringNextLock(const std::string &path, const std::string &text) {
    faults::fail("fcntl", 1, EAGAIN);
    faults::atNextSleep([path, text] {
        const int file = __real_open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
        EXPECT_EQ(static_cast<ssize_t>(text.size()), __real_write(file, text.data(), text.size()));
        __real_close(file);
    });
}

} // namespace test

#endif
