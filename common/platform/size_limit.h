#ifndef COMMON_SIZE_LIMIT_H
#define COMMON_SIZE_LIMIT_H

#include <csignal>

namespace vek {

/// RAII guard: ignores the signal SIGXFSZ until the end of its scope. A write() beyond the file size limit
/// RLIMIT_FSIZE then fails with EFBIG. Without this guard, the signal would end the process while it changes a file.
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
