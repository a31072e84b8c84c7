#ifndef TOOL_PROBE_GATE_H
#define TOOL_PROBE_GATE_H

/// Probes, which test whether a file system is case-sensitive. A probe creates files. If a signal ends the tool during
/// a probe, the files are removed first. See probe_gate.cpp.

#include "common/containers/directory_identity.h"
#include "common/platform/case_probe.h"

#include <csignal>
#include <pthread.h>

namespace vekinfo {

/// Probes the file system of `path` as vekGetFilesysCaseSensitivity() does. Blocks all signals meanwhile: a signal that
/// ends the process takes effect when the files of the probe have been removed.
int probeWithSignalsBlocked(const char *path);

/// Lets several threads probe at the same time, but at most one of them in the same directory.
class ProbeGate {
  public:
    ProbeGate() = default;
    ProbeGate(const ProbeGate &) = delete;
    ProbeGate &operator=(const ProbeGate &) = delete;
    ~ProbeGate() = default;

    /// Starts the thread that handles SIGHUP, SIGINT and SIGTERM, and blocks these signals in the calling thread. Must
    /// be called by the main thread, before other threads call probe().
    /// @return false if the thread cannot be started
    bool startWatch();

    /// Waits until no probe is running, but at most 5 s. Then ends the thread that startWatch() has started, and
    /// restores the signal mask. Does nothing if the thread does not run.
    void stopWatch();

    /// Waits until no probe is running, but at most 5 s, and then lets a pending SIGPIPE, which startWatch() has
    /// blocked, end the process. Must be called when printing has failed. Only the first call has an effect.
    void deliverBrokenPipe();

    [[nodiscard]] bool isWatched() const { return isWatched_; }

    /// Probes the file system of `path`. Any thread may call this function.
    [[nodiscard]] vek::ProbeResult probe(const char *path);

  private:
    /// List element for a running probe, on the stack of the thread that performs the probe.
    struct Running {
        vek::DirectoryIdentity directory;
        Running *next;
    };

    static void *watchMain(void *gate);
    void watch();
    void closeAndWait();
    void reopen();
    [[nodiscard]] bool isRunning(const vek::DirectoryIdentity &directory) const;

    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER; ///< guards the following members
    pthread_cond_t changed_ = PTHREAD_COND_INITIALIZER; ///< broadcast if a probe has ended or may begin
    Running *running_ = nullptr;                        ///< list of the running probes
    int closings_ = 0;                                  ///< no further probe may begin while this is above 0
    bool isStopped_ = false;                            ///< whether watch() must end
    pthread_t thread_ = {};                             ///< the thread that runs watch()

    // Used by the main thread only, except for `signals_`: the thread that handles signals reads this member, too. The
    // member does not change while that thread runs.
    bool isWatched_ = false;   ///< whether the thread that handles signals runs
    sigset_t signals_ = {};    ///< the signals that watch() waits for
    bool isDelivered_ = false; ///< whether deliverBrokenPipe() has been called
    sigset_t blocked_ = {};    ///< the signals that startWatch() has blocked in the main thread
    sigset_t before_ = {};     ///< the signal mask of the main thread before startWatch()
};

} // namespace vekinfo

#endif
