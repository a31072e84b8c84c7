#ifndef COMMON_SIZE_LIMIT_H
#define COMMON_SIZE_LIMIT_H

#include <csignal>

namespace vek {

/// Ignores SIGXFSZ while in scope: a write() beyond RLIMIT_FSIZE then fails with EFBIG instead of ending the process
/// halfway through an edit.
class SizeLimitSignalGuard {
  public:
    SizeLimitSignalGuard() {
        struct sigaction ignore = {};
        ignore.sa_handler = SIG_IGN;
        static_cast<void>(sigaction(SIGXFSZ, &ignore, &before_));
    }
    SizeLimitSignalGuard(const SizeLimitSignalGuard &) = delete;
    SizeLimitSignalGuard &operator=(const SizeLimitSignalGuard &) = delete;
    ~SizeLimitSignalGuard() { static_cast<void>(sigaction(SIGXFSZ, &before_, nullptr)); }

  private:
    struct sigaction before_ = {};
};

} // namespace vek

#endif
