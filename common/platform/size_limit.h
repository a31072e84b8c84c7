#ifndef COMMON_SIZE_LIMIT_H
#define COMMON_SIZE_LIMIT_H

#include <csignal>

namespace vek {

/// While it lives, a write beyond the process's limit on file sizes is an error like any other. Else it would end
/// the process, with the old content half gone or new files left behind.
class SizeLimitIsNoSignal {
  public:
    SizeLimitIsNoSignal() {
        struct sigaction ignore = {};
        ignore.sa_handler = SIG_IGN;
        static_cast<void>(sigaction(SIGXFSZ, &ignore, &before_));
    }
    SizeLimitIsNoSignal(const SizeLimitIsNoSignal &) = delete;
    SizeLimitIsNoSignal &operator=(const SizeLimitIsNoSignal &) = delete;
    ~SizeLimitIsNoSignal() { static_cast<void>(sigaction(SIGXFSZ, &before_, nullptr)); }

  private:
    struct sigaction before_ = {};
};

} // namespace vek

#endif
