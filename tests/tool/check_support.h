#ifndef TESTS_TOOL_CHECK_SUPPORT_H
#define TESTS_TOOL_CHECK_SUPPORT_H

/// Helpers for tests that check libraries in their own process.

#include "libdef/ryn.h"

namespace test {

/// Releases the registry that the last check has created, if there is one. The tool itself never releases it.
inline void releaseRegistry() {
    if (rynGetCurHandle() != nullptr && *rynGetCurHandle() != nullptr) {
        rynReleaseHandle(nullptr);
    }
}

} // namespace test

#endif
