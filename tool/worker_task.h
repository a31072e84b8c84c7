#ifndef TOOL_WORKER_TASK_H
#define TOOL_WORKER_TASK_H

/// A task that a worker thread performs, and a list of such tasks. See worker_pool.cpp.

#include <cstddef>

namespace vekinfo {

class TaskBatch;

/// Base class of the tasks that worker threads perform. A derived class adds the file or directory that the task reads.
/// The mutex of the pool guards all members except `kind`. After WorkerPool::waitFor(), the main thread also reads
/// `state` without the mutex.
class WorkerTask {
  public:
    /// The kind of the task: reading a directory, reading a tag file, or probing whether a file system is
    /// case-sensitive.
    enum class Kind : unsigned char { Directory, Tag, Probe };

    /// Waiting: a worker can begin the task. Running: a worker performs it, or will perform it after other tasks of its
    /// batch. Returned: a worker has begun it, but not reached it in its batch; another worker can begin it. Done: it
    /// has ended with a result. Failed: no worker has a result or will have one, for instance for lack of descriptors,
    /// so the main thread must do the work itself. Abandoned: like Running, but nothing uses the result.
    enum class State : unsigned char { Waiting, Running, Returned, Done, Failed, Abandoned };

    explicit WorkerTask(Kind what) : kind(what) {}

    Kind kind;
    State state = State::Failed;
    // Valid only in the states Running and Abandoned:
    TaskBatch *batch = nullptr; ///< the batch that contains the task
    std::size_t index = 0;      ///< its index in the batch
    // Valid only in the state Returned:
    WorkerTask *before = nullptr; ///< the previous task in the list of returned tasks
    WorkerTask *after = nullptr;  ///< the next task in that list
};

/// A doubly linked list of tasks. Not thread-safe.
class TaskList {
  public:
    void append(WorkerTask &task) {
        task.before = last_;
        task.after = nullptr;
        (last_ == nullptr ? first_ : last_->after) = &task;
        last_ = &task;
        ++size_;
    }

    /// Removes `task`, which must be in the list.
    void remove(WorkerTask &task) {
        (task.before == nullptr ? first_ : task.before->after) = task.after;
        (task.after == nullptr ? last_ : task.after->before) = task.before;
        --size_;
    }

    /// @return the first task; null if the list is empty
    [[nodiscard]] WorkerTask *first() const { return first_; }

    [[nodiscard]] std::size_t size() const { return size_; }

  private:
    WorkerTask *first_ = nullptr;
    WorkerTask *last_ = nullptr;
    std::size_t size_ = 0;
};

} // namespace vekinfo

#endif
