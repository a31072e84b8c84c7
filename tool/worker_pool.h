#ifndef TOOL_WORKER_POOL_H
#define TOOL_WORKER_POOL_H

/// Worker threads that perform tasks ahead of the main thread. See worker_pool.cpp.

#include "tool/task_batch.h"
#include "tool/worker_task.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <pthread.h>

namespace vekinfo {

/// The number of worker threads, the conditions under which they are started, and the limits on what they read ahead.
struct WorkerSettings {
    static constexpr std::size_t kByProcessors = SIZE_MAX;

    /// Limit on the number of workers on a fast file system, where directories are read from the caches of the kernel.
    /// kByProcessors: one worker for each processor but one, which the main thread uses; at most 7, and 0 with one
    /// processor.
    std::size_t fastWorkers = kByProcessors;
    /// Limit on the number of workers on a slow file system, where readers wait for the disk or the network. Servers of
    /// network file systems process some tens of requests at the same time.
    std::size_t slowWorkers = 32;
    /// A file system is slow if reading each of the last three directories took at least this time in nanoseconds.
    std::int64_t slowNs = 200'000;
    /// On a fast file system, workers are started after the walk has read this many directories. Starting workers
    /// takes as long as reading some tens of directories.
    std::size_t directoriesBefore = 256;
    /// Number of waiting tasks for each worker that is started or woken on a fast file system. Waking a worker takes as
    /// long as reading one or two directories from the caches.
    std::size_t fastShare = 8;
    /// Number of waiting tasks for each worker that is started or woken on a slow file system. There, reading a
    /// directory takes much longer than waking a worker.
    std::size_t slowShare = 1;
    /// Limit on the number of tasks that a worker begins at a time on a fast file system, at most
    /// TaskBatch::kMostTasks. On a slow file system, a worker begins one task at a time.
    std::size_t fastBatch = TaskBatch::kMostTasks;
    /// On a slow file system, the first worker is started when this number of tasks wait.
    std::size_t slowBefore = 4;
    /// Limit on the number of directories that workers have read, or are reading, and that the walk has not entered
    /// yet.
    std::size_t mostDirectories = 1024;
    /// Workers begin no task while the entries of directories that workers have read and the walk has not entered need
    /// this number of bytes. Batches that were begun before can exceed it.
    std::size_t mostBytes = std::size_t{16} << 20;
    /// Limit on the number of libraries whose tag files are read ahead, including the one that is being checked. 64 is
    /// twice `slowWorkers`: with two libraries for each worker, no worker has to wait for the main thread.
    std::size_t mostLibraries = 64;
    /// If true, the workers use the descriptor table of the main thread. Before Linux 5.9 they always do.
    bool sharesDescriptors = false;
};

/// @return the time of CLOCK_MONOTONIC in nanoseconds
std::int64_t monotonicNs();

/// @return `ns` nanoseconds as a timespec
timespec timeOf(std::int64_t ns);

/// The functions that a WorkerPool calls. Their argument `owner` is the object that owns both the pool and the tasks.
struct WorkerTasks {
    /// Returns the next task, in the state Running; null if there is none, or memory is exhausted. Called with the mutex
    /// locked.
    WorkerTask *(*begin)(void *owner);
    /// Performs a task. Called by a worker without the mutex.
    /// @param mostBytes  size limit in bytes for the entries of a directory; the walk reads a larger directory itself
    /// @return the bytes of memory that the result needs
    std::size_t (*perform)(void *owner, WorkerTask &task, std::size_t mostBytes);
    /// Sets the state of a task that was performed. Releases a task that was abandoned, also if it was not performed.
    /// Called with the mutex locked, by a worker or the main thread.
    void (*end)(void *owner, WorkerTask &task);
    /// Deletes the owner, which contains the pool.
    void (*destroy)(void *owner);
};

/// A pool of worker threads, which are started when enough tasks wait. The pool contains the mutex that guards the
/// tasks. It limits how many results of tasks exist that the main thread has not taken yet. All functions must be
/// called with the mutex locked (see Lock), unless their comments say otherwise.
class WorkerPool {
  public:
    /// @param owner  the object on the heap that contains the pool. release() or the last worker deletes it
    WorkerPool(const WorkerSettings &settings, const WorkerTasks &tasks, void *owner)
        : settings_(settings), tasks_(tasks), owner_(owner) {}
    WorkerPool(const WorkerPool &) = delete;
    WorkerPool &operator=(const WorkerPool &) = delete;
    ~WorkerPool() = default;

    /// Holds the mutex of the pool while in scope.
    class Lock {
      public:
        explicit Lock(WorkerPool &pool) : mutex_(pool.mutex_) { lock(); }
        Lock(const Lock &) = delete;
        Lock &operator=(const Lock &) = delete;
        ~Lock() { unlock(); }
        void lock() { static_cast<void>(pthread_mutex_lock(&mutex_)); }
        void unlock() { static_cast<void>(pthread_mutex_unlock(&mutex_)); }

      private:
        pthread_mutex_t &mutex_;
    };

    /// Starts and wakes workers for `pending` tasks that wait to be begun. Called by the main thread only.
    void start(std::size_t pending);
    /// Wakes idle workers for `pending` tasks that wait to be begun.
    void wake(std::size_t pending);

    /// Records the duration of one reading or probe, from which isSlow() detects a slow file system. If the duration is
    /// at least `slowNs`, first subtracts the time that the system calls take on any file system, because every system
    /// call is slow in a traced process.
    /// @param ns  the measured duration in nanoseconds
    /// @return the recorded duration
    std::int64_t addDuration(std::int64_t ns);

    /// Counts one more directory whose result the main thread has not taken yet.
    void countBegun() { ++stored_; }
    /// Counts the bytes of memory of a result that the main thread has not taken yet.
    void countBytes(std::size_t bytes) { bytes_ += bytes; }
    /// Reverts countBegun() and countBytes() for a directory whose result the main thread has taken or abandoned.
    /// @param bytes  the bytes of memory of the result
    void countTaken(std::size_t bytes);

    /// Waits until no worker performs `task`. If a worker has begun it, but not reached it in its batch, sets its state
    /// to Failed. Unless the worker has performed `task`, the tasks after it in the batch become Returned.
    void waitFor(WorkerTask &task, Lock &lock);

    /// Removes a task in the state Returned from the list of those tasks: its state becomes Failed.
    void takeBack(WorkerTask &task);

    /// Repeats `attempt`, which failed because descriptors or memory are exhausted, each time a worker has ended a
    /// batch. Meanwhile no worker begins a batch. The last attempt is made when no worker performs a task: its failure
    /// is final, as it would be without workers.
    /// @param attempt  called without the mutex; returns false if it must be repeated
    template <typename Attempt>
    void repeatWhileShort(Lock &lock, const Attempt &attempt) {
        isShort_ = true;
        bool isAlone = workers_ == 0;
        for (bool isDone = isAlone; !isDone;) {
            isAlone = busy_ == 0;
            if (!isAlone) {
                waitForAny();
            }
            lock.unlock();
            isDone = attempt() || isAlone;
            lock.lock();
        }
        isShort_ = false;
    }

    /// @return true if each of the last three readings took at least `slowNs`
    [[nodiscard]] bool isSlow() const { return waiting_.isAtLeast(settings_.slowNs); }

    [[nodiscard]] const WorkerSettings &settings() const { return settings_; }
    [[nodiscard]] std::size_t workers() const { return workers_; }

    /// Ends the workers and deletes the owner. Waits at most 100 ms: if a worker is then still blocked in a system
    /// call, the last worker deletes the owner later. Must be called without the mutex.
    void release();

  private:
    /// Detects a slow file system by the durations of the last three readings, which must all be long. One long reading
    /// is not enough: the scheduler may have interrupted it, or the directory may be large.
    class Waiting {
      public:
        void add(std::int64_t ns) {
            last_[count_ % last_.size()] = ns;
            ++count_;
        }
        /// @return true if each of the last three readings took at least `ns` nanoseconds
        [[nodiscard]] bool isAtLeast(std::int64_t ns) const;
        [[nodiscard]] std::size_t count() const { return count_; }

      private:
        std::array<std::int64_t, 3> last_ = {};
        std::size_t count_ = 0;
    };

    [[nodiscard]] std::size_t mostWorkers() const {
        return isSlow() ? settings_.slowWorkers : settings_.fastWorkers;
    }
    [[nodiscard]] std::int64_t systemCallNs() const;
    [[nodiscard]] std::size_t wantedWorkers(std::size_t pending) const;
    void waitForAny();
    void withdraw(TaskBatch &batch);
    void end(TaskBatch &batch, std::size_t index);
    static void *workerMain(void *pool);
    void work();
    void begin(TaskBatch &batch);
    [[nodiscard]] WorkerTask *beginTask();
    void perform(TaskBatch &batch, std::int64_t mostNs);
    void end(TaskBatch &batch);

    WorkerSettings settings_;
    WorkerTasks tasks_;
    void *owner_;

    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
    /// Signaled if a task waits to be begun, or the workers must end.
    pthread_cond_t work_ = PTHREAD_COND_INITIALIZER;
    /// Signaled if a worker thread has ended, or the task or batch that the main thread waits for has ended.
    pthread_cond_t done_ = PTHREAD_COND_INITIALIZER;

    std::size_t stored_ = 0; ///< number of directories that were begun and whose results were not taken
    std::size_t bytes_ = 0;  ///< bytes of memory for the results of these directories
    /// Whether workers must not begin a task. Set if `stored_` or `bytes_` reaches its limit; cleared when both are at
    /// most half of their limits.
    bool isFull_ = false;

    TaskList returned_; ///< the tasks in the state Returned

    std::size_t workers_ = 0;
    std::size_t idle_ = 0;  ///< workers that wait for a task
    std::size_t woken_ = 0; ///< idle workers that were signaled and have not run since
    std::size_t busy_ = 0;  ///< workers that perform a batch
    /// Limit on the number of tasks in the next batch on a fast file system. Grows while each task takes less than
    /// `slowNs`.
    std::size_t batchSize_ = 1;
    bool cannotStart_ = false; ///< whether pthread_create() has failed: no more workers are started
    bool isShort_ =
        false; ///< whether the main thread lacks descriptors or memory: workers must not begin a batch
    bool isEnded_ = false; ///< whether the workers must end
    bool isLeft_ =
        false; ///< whether the main thread no longer uses the pool, so that the last worker deletes it
    const WorkerTask *waitedFor_ = nullptr; ///< the task that the main thread waits for; null for none
    bool waitsForAny_ = false;              ///< whether the main thread waits for any batch to end
    std::int64_t callNs_ =
        -1;           ///< the measured duration of a system call that uses no file; -1 if not measured yet
    Waiting waiting_; ///< the durations of the last readings
};

} // namespace vekinfo

#endif
