#ifndef TOOL_WORKER_TASK_H
#define TOOL_WORKER_TASK_H

/// A task that a worker thread performs. See worker_pool.cpp.

#include <cstddef>

namespace vekinfo {

class TaskBatch;

/// Base class of the tasks that worker threads perform. A derived class adds the file or directory that the task reads.
/// The mutex of the pool guards all members except `kind`.
class WorkerTask {
  public:
    /// The kind of the task: reading a directory, reading a tag file, or probing whether a file system is
    /// case-sensitive.
    enum class Kind : unsigned char { Directory, Tag, Probe };

    /// Waiting: a worker can begin the task. Running: a worker performs it, or will perform it after other tasks of its
    /// batch. Done: it has ended with a result. Failed: no worker has a result or will have one, for instance for lack
    /// of descriptors, so the main thread must do the work itself. Abandoned: like Running, but nothing uses the
    /// result.
    enum class State : unsigned char { Waiting, Running, Done, Failed, Abandoned };

    explicit WorkerTask(Kind what) : kind(what) {}

    Kind kind;
    State state = State::Failed;
    // Set only in the states Running and Abandoned:
    TaskBatch *batch = nullptr; ///< the batch that contains the task
    std::size_t index = 0;      ///< its index in the batch
};

} // namespace vekinfo

#endif
