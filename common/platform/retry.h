#ifndef COMMON_RETRY_H
#define COMMON_RETRY_H

#include <cerrno>

namespace vek {

/// Calls `call`, a function that makes one system call, again and again while it fails with EINTR (interrupted by a
/// signal). Stops after 100 calls, because signals that arrive continuously would otherwise make this loop endless.
/// @return the result of the last call
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
