// A pool of worker threads. The owner of the pool stores the tasks and decides their order. A worker repeats: lock the
// mutex, begin the next task, unlock the mutex, perform the task, lock the mutex, end the task. The main thread, which
// calls start(), waits only for tasks that a worker has begun, and does the work of all other tasks itself. So a limit
// on the tasks, or a thread that cannot be started, cannot cause a deadlock.
//
// The number of workers depends on how long it takes to read a directory. On a slow file system, more workers than
// processors save time, because they wait at the same time. On a fast file system, a worker saves time only if there
// are many tasks, because waking a thread takes as long as reading one or two directories.
//
// Workers are detached threads with all signals blocked. They use no process-wide state except memory and descriptors.

#include "tool/worker_pool.h"

#include "tool/signal_mask.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <sched.h>

namespace vekinfo {

namespace {

constexpr std::int64_t kNsPerSecond = 1'000'000'000;

std::size_t processors() {
    constexpr int kMost = 8; // more readers would only wait for the one mutex
    cpu_set_t set;
    CPU_ZERO(&set);
    if (sched_getaffinity(0, sizeof(set), &set) != 0) {
        return 1;
    }
    int count = 0; // not CPU_COUNT(): it would be one more function that every start of the tool resolves
    for (std::size_t cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
        count += CPU_ISSET(cpu, &set) ? 1 : 0;
    }
    return static_cast<std::size_t>(std::clamp(count, 1, kMost));
}

/// Measures a system call that uses no file. In a process that is traced, each system call takes as long as a request
/// to a file server. addDuration() subtracts this time; otherwise every file system would seem slow.
/// @return the shortest of three durations: the scheduler may interrupt one of them
std::int64_t durationOfSystemCall() {
    std::int64_t shortest = INT64_MAX;
    for (int i = 0; i < 3; ++i) {
        sigset_t mask;
        const std::int64_t begin = monotonicNs();
        static_cast<void>(pthread_sigmask(SIG_BLOCK, nullptr, &mask));
        shortest = std::min(shortest, monotonicNs() - begin);
    }
    return shortest;
}

} // namespace

std::int64_t monotonicNs() {
    timespec time = {};
    static_cast<void>(clock_gettime(CLOCK_MONOTONIC, &time));
    return time.tv_sec * kNsPerSecond + time.tv_nsec;
}

timespec timeOf(std::int64_t ns) {
    return {ns / kNsPerSecond, ns % kNsPerSecond};
}

bool WorkerPool::Waiting::isAtLeast(std::int64_t ns) const {
    return count_ >= last_.size() && *std::min_element(last_.begin(), last_.end()) >= ns;
}

std::int64_t WorkerPool::addDuration(std::int64_t ns) {
    if (ns >= settings_.slowNs && callNs_ < 0) {
        callNs_ = durationOfSystemCall();
    }
    constexpr std::int64_t kCalls = 16; // twice the number of system calls that read a tag file
    const std::int64_t waited =
        ns >= settings_.slowNs ? std::max<std::int64_t>(0, ns - kCalls * callNs_) : ns;
    waiting_.add(waited);
    return waited;
}

/// After `stored_` or `bytes_` has reached its limit, workers begin tasks again only when both are at most half of
/// their limits: waking a worker for each single directory would cost more than reading it.
void WorkerPool::countTaken(std::size_t bytes) {
    --stored_;
    bytes_ -= bytes;
    if (stored_ <= settings_.mostDirectories / 2 && bytes_ <= settings_.mostBytes / 2) {
        isFull_ = false;
    }
}

void WorkerPool::waitFor(const WorkerTask &task, Lock &lock) {
    bool isFlushed = false;
    waitedFor_ = &task;
    while (task.state == WorkerTask::State::Running) {
        const timespec time = timeOf(monotonicNs() + kNsPerSecond);
        if (pthread_cond_clockwait(&done_, &mutex_, CLOCK_MONOTONIC, &time) == ETIMEDOUT && !isFlushed) {
            // The wait has lasted one second. The task may never end, for instance if a file server does not respond.
            // Therefore flush stdout, so that the reader of a pipe receives all earlier output.
            isFlushed = true;
            lock.unlock();
            static_cast<void>(std::fflush(stdout));
            lock.lock();
        }
    }
    waitedFor_ = nullptr;
}

/// Waits until a task has ended.
void WorkerPool::waitForAny() {
    waitsForAny_ = true;
    static_cast<void>(pthread_cond_wait(&done_, &mutex_));
    waitsForAny_ = false;
}

// ---- the number of workers

/// @param pending  the number of tasks that wait to be begun
/// @return the number of workers that should perform tasks: `pending` divided by `fastShare` or `slowShare`, but at
///         most mostWorkers(); 0 if workers must not begin a task
std::size_t WorkerPool::wantedWorkers(std::size_t pending) const {
    if (isFull_ || isShort_) {
        return 0;
    }
    const std::size_t shares = pending / (isSlow() ? settings_.slowShare : settings_.fastShare);
    return std::min(shares, mostWorkers());
}

/// Wakes idle workers until the number of workers that perform a task or were woken for one reaches wantedWorkers().
void WorkerPool::wake(std::size_t pending) {
    if (idle_ == woken_) {
        return;
    }
    for (const std::size_t wanted = wantedWorkers(pending); idle_ > woken_ && busy_ + woken_ < wanted;
         ++woken_) {
        static_cast<void>(pthread_cond_signal(&work_));
    }
}

/// Starts workers until there are as many as wantedWorkers() returns, and wakes idle ones.
void WorkerPool::start(std::size_t pending) {
    wake(pending);
    const bool isWorth = workers_ > 0 || (isSlow() ? pending >= settings_.slowBefore
                                                   : waiting_.count() >= settings_.directoriesBefore);
    if (!isWorth || cannotStart_) {
        return;
    }
    if (settings_.fastWorkers == 0) {
        settings_.fastWorkers = processors();
    }
    const std::size_t wanted = wantedWorkers(pending);
    if (wanted <= workers_) {
        return;
    }
    const AllSignalsBlocked blocked; // inherited by the workers, so that the main thread handles all signals
    while (workers_ < wanted && !cannotStart_) {
        pthread_t thread = {};
        ++workers_; // before the start: the worker decrements this when it ends
        if (pthread_create(&thread, nullptr, workerMain, this) == 0) {
            static_cast<void>(pthread_detach(thread));
        } else {
            --workers_;
            cannotStart_ = true;
        }
    }
}

// ---- the workers

void *WorkerPool::workerMain(void *pool) {
    static_cast<WorkerPool *>(pool)->work();
    return nullptr;
}

void WorkerPool::work() {
    static_cast<void>(pthread_mutex_lock(&mutex_));
    while (!isEnded_) {
        WorkerTask *task = beginTask();
        if (task == nullptr) {
            ++idle_;
            static_cast<void>(pthread_cond_wait(&work_, &mutex_));
            --idle_;
            woken_ -= woken_ > 0 ? 1 : 0;
            continue;
        }
        ++busy_;
        const std::size_t mostBytes = settings_.mostBytes / 4; // the walk reads a larger directory itself
        static_cast<void>(pthread_mutex_unlock(&mutex_));
        const std::int64_t begin = monotonicNs();
        tasks_.perform(owner_, *task, mostBytes);
        const std::int64_t end = monotonicNs();
        static_cast<void>(pthread_mutex_lock(&mutex_));
        --busy_;
        addDuration(end - begin);
        if (waitsForAny_ || waitedFor_ == task) {
            static_cast<void>(pthread_cond_signal(&done_));
        }
        tasks_.end(owner_, *task);
    }
    --workers_;
    const bool isLast = workers_ == 0 && isLeft_;
    static_cast<void>(pthread_cond_signal(&done_));
    static_cast<void>(pthread_mutex_unlock(&mutex_));
    if (isLast) {
        tasks_.destroy(owner_);
    }
}

/// @return the task that the calling worker must perform; null if there is none, or a limit is reached
WorkerTask *WorkerPool::beginTask() {
    if (stored_ >= settings_.mostDirectories || bytes_ >= settings_.mostBytes) {
        isFull_ = true;
    }
    return isFull_ || isShort_ || busy_ >= mostWorkers() ? nullptr : tasks_.begin(owner_);
}

void WorkerPool::release() {
    bool isLast = true;
    {
        const Lock lock(*this);
        isEnded_ = true;
        if (workers_ > 0) {
            constexpr std::int64_t kPatienceNs = kNsPerSecond / 10;
            const timespec deadline = timeOf(monotonicNs() + kPatienceNs);
            static_cast<void>(pthread_cond_broadcast(&work_));
            for (int error = 0; workers_ > 0 && error != ETIMEDOUT;) {
                error = pthread_cond_clockwait(&done_, &mutex_, CLOCK_MONOTONIC, &deadline);
            }
        }
        isLast = workers_ == 0;
        isLeft_ = true;
    }
    if (isLast) {
        tasks_.destroy(owner_);
    }
}

} // namespace vekinfo
