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
// Workers are detached threads with all signals blocked. They use no process-wide state except memory and, before Linux
// 5.9, the descriptor table.

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

/// How often the main thread gives up the processor before it sleeps until a task on a fast file system ends. Most tasks
/// end during a few of these calls, and waking a thread takes longer than all of them.
constexpr int kYields = 16;

std::size_t processors() {
    constexpr int kMost = 8; // more threads save no time: they wait for locks in the kernel
    cpu_set_t set;
    CPU_ZERO(&set);
    if (sched_getaffinity(0, sizeof(set), &set) != 0) {
        return kMost; // Not reached: only on machines with more processors than `set` has room for
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
/// several threads use one table, the kernel counts the references to each open file with atomic operations, which takes
/// 5 to 7 % of the time of reading a directory from the caches. Before Linux 5.9, the threads continue to use one table.
///
/// Paths below /proc/thread-self/fd have no meaning in such a thread. Therefore the main thread repeats a reading that
/// fails because something does not exist.
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

/// @return the time in nanoseconds that the system calls of a task take on any file system; 0 if not measured
std::int64_t WorkerPool::systemCallNs() const {
    constexpr std::int64_t kCalls = 16; // twice the number of system calls that read a tag file
    return callNs_ < 0 ? 0 : kCalls * callNs_;
}

std::int64_t WorkerPool::addDuration(std::int64_t ns) {
    if (ns >= settings_.slowNs && callNs_ < 0) {
        callNs_ = durationOfSystemCall();
    }
    const std::int64_t waited = ns >= settings_.slowNs ? std::max<std::int64_t>(0, ns - systemCallNs()) : ns;
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
            for (int i = 0; i < kYields && !batch.isPerformed(task.index); ++i) {
                // Not sched_yield(): it would be one more function that every start of the tool resolves.
                static_cast<void>(syscall(SYS_sched_yield));
            }
            lock.lock();
        }
    }
    if (task.state == State::Running && task.batch->isPerformed(task.index)) {
        end(*task.batch, task.index);
    }
    takeBack(task);

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

void WorkerPool::takeBack(WorkerTask &task) {
    if (task.state == WorkerTask::State::Returned) {
        returned_.remove(task);
        task.state = WorkerTask::State::Failed;
    }
}

/// Withdraws the tasks of `batch` that its worker has not begun to perform: their state becomes Returned. Releases those
/// that were abandoned.
void WorkerPool::withdraw(TaskBatch &batch) {
    for (std::size_t i = batch.withdraw(); i < batch.size(); ++i) {
        WorkerTask &task = *batch.task(i);
        if (task.state == WorkerTask::State::Abandoned) {
            end(batch, i);
        } else {
            task.state = WorkerTask::State::Returned;
            batch.remove(i);
            returned_.append(task);
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
    const std::size_t shares = isSlow()
                                   ? (pending + returned_.size()) / settings_.slowShare
                                   : pending / settings_.fastShare; // without those that the walk will read
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
        const std::int64_t mostNs = settings_.slowNs + systemCallNs();
        static_cast<void>(pthread_mutex_unlock(&mutex_));
        perform(batch, mostNs);
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
        WorkerTask *task = isShort_ || busy_ >= mostWorkers() ? nullptr : beginTask();
        if (task == nullptr) {
            return;
        }
        batch.add(*task);
    }
}

/// @return the next task; null if none waits or a limit is reached. On a slow file system, returned tasks come first,
///         because the main thread will need them first; they are counted for the limit already. On a fast file system,
///         the main thread performs them
WorkerTask *WorkerPool::beginTask() {
    WorkerTask *task = isSlow() ? returned_.first() : nullptr;
    if (task != nullptr) {
        returned_.remove(*task);
        task->state = WorkerTask::State::Running;
        return task;
    }
    return isFull_ ? nullptr : tasks_.begin(owner_);
}

/// Performs the tasks of the batch. Stops after a task that took at least `mostNs`: if the file system has become slow,
/// several threads should perform the others at the same time. Stops also if the results need much memory. Called
/// without the mutex.
void WorkerPool::perform(TaskBatch &batch, std::int64_t mostNs) {
    const std::size_t mostInTask = settings_.mostBytes / 4; // the walk reads a larger directory itself
    const std::size_t mostInBatch = settings_.mostBytes / 16;
    std::size_t bytes = 0;
    std::int64_t duration = 0;
    std::int64_t begin = monotonicNs();
    for (WorkerTask *task = batch.next(); task != nullptr;
         task = duration < mostNs && bytes <= mostInBatch ? batch.next() : nullptr) {
        bytes += tasks_.perform(owner_, *task, mostInTask);
        const std::int64_t end = monotonicNs();
        duration = end - begin;
        begin = end;
        batch.setPerformed(duration);
    }
}

/// Withdraws the tasks of the batch that were not performed, and ends the others. The next batch may contain twice as
/// many tasks; one task if any of these took at least `slowNs`.
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
