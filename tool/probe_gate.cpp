// A probe tests whether a file system is case-sensitive: it creates two files and removes them. If a signal ended the
// tool in between, the files would remain.
//
// Before startWatch(), a thread blocks all its signals during a probe. After startWatch(), SIGHUP, SIGINT and SIGTERM
// are blocked in all threads, and one thread waits for them with sigwait(). When such a signal arrives, this thread
// lets no further probe begin, waits until the running probes have removed their files, and ends the process by the
// signal. A signal handler could not do this: it would run in the main thread, and it cannot run while that thread is
// blocked in a system call because a file server does not respond.

#include "tool/probe_gate.h"

#include "common/platform/vek_path.h"
#include "tool/signal_mask.h"
#include "tool/worker_pool.h"

#include <array>
#include <cerrno>

namespace vekinfo {

namespace {

constexpr std::array kEndingSignals = {SIGHUP, SIGINT, SIGTERM};

/// The signal that stopWatch() sends to the thread that handles signals, so that the thread ends. The default action
/// for this signal is to ignore it.
constexpr int kWakeSignal = SIGURG;

/// The maximum time to wait for running probes, because a file server may never respond. 5 s: a probe makes about 15
/// requests, and on the slowest usual networks a request takes 0.3 s.
constexpr std::int64_t kPatienceNs = 5'000'000'000;

} // namespace

int probeWithSignalsBlocked(const char *path) {
    const AllSignalsBlocked blocked;
    return vekGetFilesysCaseSensitivity(path);
}

bool ProbeGate::startWatch() {
    static_cast<void>(pthread_sigmask(SIG_BLOCK, nullptr, &before_));
    const SignalSet blockedBefore(before_);
    SignalSet signals;
    for (const int signal : kEndingSignals) {
        // A signal that was ignored or blocked when the tool was started must stay so.
        struct sigaction action = {};
        if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_DFL &&
            !blockedBefore.contains(signal)) {
            signals.add(signal);
        }
    }
    // A failed write sends SIGPIPE to the thread that prints. The signal must not end the process while another thread
    // performs a probe.
    SignalSet blockedNow = signals;
    blockedNow.add(SIGPIPE);
    blocked_ = blockedNow.get();
    signals.add(kWakeSignal);
    signals_ = signals.get();
    static_cast<void>(pthread_sigmask(SIG_BLOCK, &blocked_, nullptr));
    {
        const AllSignalsBlocked blocked; // inherited by the thread
        static_cast<void>(pthread_mutex_lock(&mutex_));
        isWatched_ = pthread_create(&thread_, nullptr, watchMain, this) == 0;
        static_cast<void>(pthread_mutex_unlock(&mutex_));
    }
    if (!isWatched_) {
        static_cast<void>(pthread_sigmask(SIG_SETMASK, &before_, nullptr));
    }
    return isWatched_;
}

void ProbeGate::stopWatch() {
    if (!isWatched_) {
        return;
    }
    static_cast<void>(pthread_mutex_lock(&mutex_));
    closeAndWait();
    isStopped_ = true;
    static_cast<void>(pthread_kill(thread_, kWakeSignal));
    static_cast<void>(pthread_mutex_unlock(&mutex_));
    static_cast<void>(pthread_join(thread_, nullptr));
    isWatched_ = false;
    static_cast<void>(pthread_sigmask(SIG_SETMASK, &before_, nullptr));
}

void ProbeGate::deliverBrokenPipe() {
    if (!isWatched_ || isDelivered_) {
        return;
    }
    isDelivered_ = true;
    static_cast<void>(pthread_mutex_lock(&mutex_));
    closeAndWait();
    static_cast<void>(
        pthread_sigmask(SIG_SETMASK, &before_, nullptr)); // a pending SIGPIPE ends the process here
    static_cast<void>(pthread_sigmask(SIG_BLOCK, &blocked_, nullptr));
    reopen();
    static_cast<void>(pthread_mutex_unlock(&mutex_));
}

vek::ProbeResult ProbeGate::probe(const char *path) {
    const vek::ProbeDirectory directory = vek::findProbeDirectory(path);
    if (!directory.path) {
        return vek::probeDirectory(directory); // no directory to probe
    }
    static_cast<void>(pthread_mutex_lock(&mutex_));
    while (closings_ > 0 || isRunning(directory.identity)) {
        static_cast<void>(pthread_cond_wait(&changed_, &mutex_));
    }
    Running running = {.directory = directory.identity, .next = running_};
    running_ = &running;
    static_cast<void>(pthread_mutex_unlock(&mutex_));

    const vek::ProbeResult result = vek::probeDirectory(directory);

    static_cast<void>(pthread_mutex_lock(&mutex_));
    Running **link = &running_;
    while (*link != &running) {
        link = &(*link)->next;
    }
    *link = running.next;
    static_cast<void>(pthread_cond_broadcast(&changed_));
    static_cast<void>(pthread_mutex_unlock(&mutex_));
    return result;
}

bool ProbeGate::isRunning(const vek::DirectoryIdentity &directory) const {
    for (const Running *each = running_; each != nullptr; each = each->next) {
        if (each->directory == directory) {
            return true;
        }
    }
    return false;
}

/// Lets no further probe begin, and waits until no probe is running, at most kPatienceNs. The caller holds the mutex.
void ProbeGate::closeAndWait() {
    ++closings_;
    const timespec deadline = timeOf(monotonicNs() + kPatienceNs);
    int error = 0;
    while (running_ != nullptr && error != ETIMEDOUT) {
        error = pthread_cond_clockwait(&changed_, &mutex_, CLOCK_MONOTONIC, &deadline);
    }
}

/// Undoes one closeAndWait(). The caller holds the mutex.
void ProbeGate::reopen() {
    --closings_;
    static_cast<void>(pthread_cond_broadcast(&changed_));
}

// ---- the thread that handles signals

void *ProbeGate::watchMain(void *gate) {
    static_cast<ProbeGate *>(gate)->watch();
    return nullptr;
}

void ProbeGate::watch() {
    int signal = 0;
    do {
        static_cast<void>(sigwait(&signals_, &signal));
        static_cast<void>(pthread_mutex_lock(&mutex_));
        if (signal != kWakeSignal) {
            // From now on, another signal ends the process at once.
            static_cast<void>(pthread_sigmask(SIG_UNBLOCK, &signals_, nullptr));
            closeAndWait();
            static_cast<void>(pthread_kill(thread_, signal)); // ends the process by its default action
            // The kernel ignores this signal if the process is the first one of a PID namespace (a container).
            static_cast<void>(pthread_sigmask(SIG_BLOCK, &signals_, nullptr));
            reopen();
        }
        const bool isStopped = isStopped_;
        static_cast<void>(pthread_mutex_unlock(&mutex_));
        if (isStopped) {
            return;
        }
    } while (true);
}

} // namespace vekinfo
