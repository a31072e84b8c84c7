#ifndef TOOL_SIGNAL_MASK_H
#define TOOL_SIGNAL_MASK_H

#include <csignal>
#include <cstring>

namespace vekinfo {

/// A set of signals with numbers below 32. In the C libraries of Linux, a sigset_t is a bit set in which bit n - 1
/// represents signal n. sigaddset() and sigismember() are not used: they would be two more imported functions, which
/// the dynamic linker would have to look up at every start of the tool.
class SignalSet {
  public:
    SignalSet() = default;
    explicit SignalSet(const sigset_t &set) { std::memcpy(&bits_, &set, sizeof(bits_)); }

    void add(int signal) { bits_ |= bitOf(signal); }
    [[nodiscard]] bool contains(int signal) const { return (bits_ & bitOf(signal)) != 0; }

    [[nodiscard]] sigset_t get() const {
        sigset_t set = {};
        std::memcpy(&set, &bits_, sizeof(bits_));
        return set;
    }

  private:
    static unsigned long bitOf(int signal) { return 1UL << static_cast<unsigned>(signal - 1); }

    unsigned long bits_ = 0;
};

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
