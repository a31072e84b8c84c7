#ifndef TOOL_TASK_BATCH_H
#define TOOL_TASK_BATCH_H

/// The tasks that a worker thread takes from the queue together. See task_batch.cpp.

#include "tool/worker_task.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace vekinfo {

/// Tasks that one worker performs one after the other, in the order in which they were added. The main thread can
/// withdraw the tasks that the worker has not begun to perform.
///
/// The mutex of the pool guards changes of the list. The worker reads the list without the mutex: an element does not
/// change between next(), which returns it, and setPerformed(). `next_` is atomic, so that next() and withdraw() never
/// take the same task.
class TaskBatch {
  public:
    /// With 64 tasks, a worker locks the mutex about once for 0.2 ms of reading from the caches of the kernel.
    static constexpr std::size_t kMostTasks = 64;

    TaskBatch() = default;
    TaskBatch(const TaskBatch &) = delete;
    TaskBatch &operator=(const TaskBatch &) = delete;
    ~TaskBatch() = default;

    /// Removes all tasks. Called by the worker with the mutex locked.
    void clear();

    /// Appends a task. `size()` must be below kMostTasks. Called by the worker with the mutex locked, before it performs
    /// the first task.
    void add(WorkerTask &task);

    [[nodiscard]] std::size_t size() const { return size_; }

    /// Called by the worker without the mutex.
    /// @return the next task to perform; null if there is none, because all were performed or withdrawn
    [[nodiscard]] WorkerTask *next();

    /// Marks the task that the last next() has returned as performed. Called by the worker without the mutex.
    /// @param ns  the time in nanoseconds that it took
    void setPerformed(std::int64_t ns);

    /// Withdraws all tasks that next() has not returned. Must be called with the mutex locked.
    /// @return the index of the first task that this call withdraws; `size()` if there is none
    std::size_t withdraw();

    /// @return true if the worker has performed the task `index`. Without the mutex, the batch may meanwhile contain
    ///         other tasks; then test the state of the task
    [[nodiscard]] bool isPerformed(std::size_t index) const {
        return performed_.load(std::memory_order_acquire) > index;
    }

    /// @return the task; null if it was removed. Must be called with the mutex locked
    [[nodiscard]] WorkerTask *task(std::size_t index) const { return tasks_[index]; }

    /// Removes a performed or withdrawn task from the batch. Must be called with the mutex locked.
    void remove(std::size_t index) { tasks_[index] = nullptr; }

    /// @return the argument of setPerformed() for the task `index`. Called by the worker, for a performed task
    [[nodiscard]] std::int64_t duration(std::size_t index) const { return ns_[index]; }

  private:
    std::array<WorkerTask *, kMostTasks> tasks_ = {};
    std::array<std::int64_t, kMostTasks> ns_ = {};
    std::size_t size_ = 0;
    /// Index of the task that next() will return; `size_` or more for none. Relaxed: it orders no other data.
    std::atomic<std::size_t> next_ = 0;
    /// Number of tasks that were performed. Released and acquired, so that a thread that sees the number also sees the
    /// results.
    std::atomic<std::size_t> performed_ = 0;
};

} // namespace vekinfo

#endif
