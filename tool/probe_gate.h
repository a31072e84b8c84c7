#ifndef TOOL_PROBE_GATE_H
#define TOOL_PROBE_GATE_H

/// Probes of the case sensitivity of file systems, which must not leave their files when a signal ends the tool. See
/// probe_gate.cpp.

#include "common/containers/directory_identity.h"
#include "common/platform/case_probe.h"

#include <csignal>
#include <pthread.h>

namespace vekinfo {

/// Probes the file system of `path` as vekGetFilesysCaseSensitivity() does. Blocks all signals meanwhile: a signal that
/// ends the process takes effect when the files of the probe have been removed.
int probeWithSignalsBlocked(const char *path);

/// Probes by several threads. One directory is probed by one thread at a time.
class ProbeGate {
  public:
    ProbeGate() = default;
    ProbeGate(const ProbeGate &) = delete;
    ProbeGate &operator=(const ProbeGate &) = delete;
    ~ProbeGate() = default;

    /// Starts the thread that handles SIGHUP, SIGINT and SIGTERM, and blocks these signals in the calling thread, the
    /// first one. Must be called before other threads call probe().
    /// @return false if the thread cannot be started
    bool startWatch();

    /// Waits until no probe is running, at most as long as for a signal. Then ends the thread and unblocks the signals
    /// again. Does nothing if the thread does not run.
    void stopWatch();

    /// Must be called when printing has failed. startWatch() has also blocked SIGPIPE: if it is pending, it ends the
    /// process as soon as no probe is running.
    void deliverBrokenPipe();

    [[nodiscard]] bool isWatched() const { return isWatched_; }

    /// Probes the file system of `path`. Any thread may call this function.
    [[nodiscard]] vek::ProbeResult probe(const char *path);

  private:
    /// A running probe, on the stack of its thread.
    struct Running {
        vek::DirectoryIdentity directory;
        Running *next;
    };

    static void *watchMain(void *gate);
    void watch();
    void waitForProbes();
    [[nodiscard]] bool isRunning(const vek::DirectoryIdentity &directory) const;

    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER; ///< guards the following members
    pthread_cond_t changed_ = PTHREAD_COND_INITIALIZER; ///< broadcast if a probe has ended
    Running *running_ = nullptr;                        ///< list of the running probes
    bool isClosed_ = false;                             ///< whether no further probe may begin
    bool isStopped_ = false;                            ///< whether the thread must end
    pthread_t thread_ = {};

    // Used by the first thread only, except that `signals_` does not change while the thread runs.
    bool isWatched_ = false;   ///< whether the thread runs
    sigset_t signals_ = {};    ///< the signals that the thread waits for
    bool isDelivered_ = false; ///< whether deliverBrokenPipe() has been called
    sigset_t blocked_ = {};    ///< the signals that startWatch() has blocked in the first thread
    sigset_t before_ = {};     ///< the signal mask of the first thread before startWatch()
};

} // namespace vekinfo

#endif
