#ifndef TOOL_SIGNAL_MASK_H
#define TOOL_SIGNAL_MASK_H

#include <csignal>
#include <cstring>

namespace vekinfo {

/// Blocks all signals for the calling thread while in scope. A thread that is started in this scope inherits the mask.
class AllSignalsBlocked {
  public:
    AllSignalsBlocked() {
        // memset() sets all bits, because a sigset_t is a bit set in the C library of Linux. sigfillset() would be one
        // more imported function, which the dynamic linker would have to look up at every start of the tool.
        sigset_t all;
        std::memset(&all, 0xff, sizeof(all));
        static_cast<void>(pthread_sigmask(SIG_SETMASK, &all, &before_));
    }
    AllSignalsBlocked(const AllSignalsBlocked &) = delete;
    AllSignalsBlocked &operator=(const AllSignalsBlocked &) = delete;
    ~AllSignalsBlocked() { static_cast<void>(pthread_sigmask(SIG_SETMASK, &before_, nullptr)); }

  private:
    sigset_t before_ = {};
};

} // namespace vekinfo

#endif
