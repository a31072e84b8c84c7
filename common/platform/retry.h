#ifndef COMMON_RETRY_H
#define COMMON_RETRY_H

#include <cerrno>

namespace vek {

/// Repeats a system call while it fails with EINTR, at most 100 times: a signal that arrives without end must not
/// make a call hang.
/// @return the call's last result
template <typename Call>
auto retryInterrupted(Call call) {
    constexpr int kMaxCalls = 100;
    auto result = call();
    for (int calls = 1; result < 0 && errno == EINTR && calls < kMaxCalls; ++calls) {
        result = call();
    }
    return result;
}

} // namespace vek

#endif
