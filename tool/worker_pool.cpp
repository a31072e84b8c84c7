// A pool of worker threads. The owner of the pool stores the tasks and decides their order. A worker repeats: lock the
// mutex, begin a batch of tasks, unlock the mutex, perform the tasks, lock the mutex, end the tasks. The main thread,
// which calls start(), waits only for a task that a worker performs, and does the work of all other tasks itself. So a
// limit on the tasks, or a thread that cannot be started, cannot cause a deadlock.
//
// The number of workers depends on how long it takes to read a directory. On a slow file system, more workers than
// processors save time, because they wait at the same time, so each worker begins one task at a time. On a fast file
// system, a worker saves time only if there are many tasks, because waking a thread takes as long as reading one or two
// directories. There, a worker begins many tasks at a time (task_batch.cpp).
//
// Workers are detached threads with all signals blocked. They use no process-wide state except memory.

#include "tool/worker_pool.h"

#include "tool/signal_mask.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace vekinfo {

namespace {

constexpr std::int64_t kNsPerSecond = 1'000'000'000;

/// How long, in nanoseconds, the main thread polls for the end of a task on a fast file system before it sleeps. Most
/// tasks end sooner, and waking a thread takes about as long.
constexpr std::int64_t kPollNs = 20'000;

std::size_t processors() {
    constexpr int kMost = 8; // more readers would only wait for the kernel's locks
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

/// Gives the calling thread a descriptor table of its own, which contains only standard input, output and error. While
/// several threads use one table, the kernel counts the uses of each descriptor with atomic operations, which takes 5 to
/// 7 % of the time of reading a directory from the caches. Before Linux 5.9, the threads continue to use one table.
void separateDescriptors() {
// The thread sanitizer assumes that all threads use one table. It would report data races on descriptors.
#if defined(SYS_close_range) && !defined(__SANITIZE_THREAD__)
    constexpr unsigned kUnshare = 2; // CLOSE_RANGE_UNSHARE of <linux/close_range.h>
    static_cast<void>(syscall(SYS_close_range, STDERR_FILENO + 1, ~0U, kUnshare));
#endif
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

void WorkerPool::waitFor(WorkerTask &task, Lock &lock) {
    using State = WorkerTask::State;
    if (task.state == State::Running && !task.batch->isPerformed(task.index)) {
        TaskBatch &batch = *task.batch;
        withdraw(batch);
        if (task.state == State::Running && !isSlow()) {
            lock.unlock();
            const std::int64_t end = monotonicNs() + kPollNs;
            while (!batch.isPerformed(task.index) && monotonicNs() < end) {
            }
            lock.lock();
        }
    }
    if (task.state == State::Running && task.batch->isPerformed(task.index)) {
        end(*task.batch, task.index);
    }

    bool isFlushed = false;
    waitedFor_ = &task;
    while (task.state == State::Running) {
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

/// Withdraws the tasks of `batch` that its worker has not begun to perform: their state becomes Failed.
void WorkerPool::withdraw(TaskBatch &batch) {
    for (std::size_t i = batch.withdraw(); i < batch.size(); ++i) {
        WorkerTask &task = *batch.task(i);
        if (task.state == WorkerTask::State::Abandoned) {
            end(batch, i);
        } else {
            task.state = WorkerTask::State::Failed;
            batch.remove(i);
        }
    }
}

/// Ends a task that was performed or abandoned, and removes it from its batch.
void WorkerPool::end(TaskBatch &batch, std::size_t index) {
    WorkerTask &task = *batch.task(index);
    batch.remove(index);
    if (waitedFor_ == &task) {
        static_cast<void>(pthread_cond_signal(&done_));
    }
    tasks_.end(owner_, task);
}

/// Waits until a worker has ended a batch.
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
    if (settings_.fastWorkers == WorkerSettings::kByProcessors) {
        settings_.fastWorkers = processors() - 1;
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
    auto &self = *static_cast<WorkerPool *>(pool);
    if (!self.settings_.sharesDescriptors) {
        separateDescriptors();
    }
    self.work();
    return nullptr;
}

void WorkerPool::work() {
    TaskBatch batch;
    static_cast<void>(pthread_mutex_lock(&mutex_));
    while (!isEnded_) {
        begin(batch);
        if (batch.size() == 0) {
            ++idle_;
            static_cast<void>(pthread_cond_wait(&work_, &mutex_));
            --idle_;
            woken_ -= woken_ > 0 ? 1 : 0;
            continue;
        }
        ++busy_;
        static_cast<void>(pthread_mutex_unlock(&mutex_));
        perform(batch);
        static_cast<void>(pthread_mutex_lock(&mutex_));
        end(batch);
        --busy_; // after end(), which wakes idle workers: this one continues
    }
    --workers_;
    const bool isLast = workers_ == 0 && isLeft_;
    static_cast<void>(pthread_cond_signal(&done_));
    static_cast<void>(pthread_mutex_unlock(&mutex_));
    if (isLast) {
        tasks_.destroy(owner_);
    }
}

/// Begins the tasks that the calling worker must perform next. Begins none if none waits or a limit is reached.
void WorkerPool::begin(TaskBatch &batch) {
    batch.clear();
    const std::size_t most = isSlow() ? 1 : batchSize_;
    while (batch.size() < most) {
        if (stored_ >= settings_.mostDirectories || bytes_ >= settings_.mostBytes) {
            isFull_ = true;
        }
        WorkerTask *task = isFull_ || isShort_ || busy_ >= mostWorkers() ? nullptr : tasks_.begin(owner_);
        if (task == nullptr) {
            return;
        }
        batch.add(*task);
    }
}

/// Performs the tasks of the batch. Stops after a task that took long: if the file system has become slow, several
/// threads should perform the others at the same time. This also limits the memory for the results of a batch. Called
/// without the mutex.
void WorkerPool::perform(TaskBatch &batch) {
    const std::size_t mostBytes = settings_.mostBytes / 4; // the walk reads a larger directory itself
    std::int64_t duration = 0;
    std::int64_t begin = monotonicNs();
    for (WorkerTask *task = batch.next(); task != nullptr;
         task = duration < settings_.slowNs ? batch.next() : nullptr) {
        tasks_.perform(owner_, *task, mostBytes);
        const std::int64_t end = monotonicNs();
        duration = end - begin;
        begin = end;
        batch.setPerformed(duration);
    }
}

/// Withdraws the tasks of the batch that were not performed, and ends the others. The next batch may contain twice as
/// many tasks, unless one of these took long.
void WorkerPool::end(TaskBatch &batch) {
    withdraw(batch);
    bool isFast = true;
    for (std::size_t i = 0; batch.isPerformed(i); ++i) {
        isFast = addDuration(batch.duration(i)) < settings_.slowNs && isFast;
        if (batch.task(i) != nullptr) {
            end(batch, i);
        }
    }
    batchSize_ = isFast ? std::min(2 * batchSize_, settings_.fastBatch) : 1;
    if (waitsForAny_) {
        static_cast<void>(pthread_cond_signal(&done_));
    }
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
