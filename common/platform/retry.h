#ifndef COMMON_RETRY_H
#define COMMON_RETRY_H

#include <cerrno>

namespace vek {

/// Repeats the system call `call` while it fails with EINTR. Makes at most 100 calls, so that an endless series of
/// signals cannot make this function hang.
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
