#ifndef TOOL_LIBRARY_QUEUE_H
#define TOOL_LIBRARY_QUEUE_H

/// The libraries that will be checked next, and the tasks that workers perform for them: reading the tag file, testing
/// whether the file system is case-sensitive (the probe), reading the library directory. See library_queue.cpp.

#include "common/base/owned.h"
#include "common/platform/case_probe.h"
#include "tagfile/tag_reading.h"
#include "tool/walk_order.h"
#include "tool/worker_task.h"

#include <cstddef>

namespace vekinfo {

struct AheadLibrary;

/// A task for one library: reading its tag file, or probing the file system of its directory.
struct LibraryTask : WorkerTask {
    LibraryTask(Kind what, AheadLibrary &owner) : WorkerTask(what), library(&owner) {}

    AheadLibrary *library;
};

/// A library that will be checked, the tasks that workers perform for it, and the results of these tasks.
struct AheadLibrary {
    AheadLibrary() : tag(WorkerTask::Kind::Tag, *this), probe(WorkerTask::Kind::Probe, *this) {}

    std::size_t number = 0;   ///< the number of the library in the order of the check, from 1
    vek::OwnedText directory; ///< the path of the library directory
    vek::OwnedText tagPath;   ///< the path of the tag file
    AheadLibrary *next = nullptr;

    LibraryTask tag;
    tov::TagReading reading; ///< the result of `tag`
    /// Whether neither the tag file nor the library directory exists for the worker that has performed `tag`. They may
    /// exist for the main thread (separateDescriptors() in worker_pool.cpp).
    bool isMissing = false;

    LibraryTask probe; ///< begun only if the tag file defines a library and sets its namespace
    vek::ProbeResult probeResult = {}; ///< the result of `probe`

    /// The state of the task that reads the library directory. Waiting: no worker has begun the task. In any other
    /// state, `root` is the record of the directory; null if the task was withdrawn, memory was exhausted, or the walk
    /// has entered the directory.
    WorkerTask::State rootState = WorkerTask::State::Waiting;
    Directory *root = nullptr;
};

/// A list of libraries in the order of the check. Not thread-safe.
class LibraryQueue {
  public:
    LibraryQueue() = default;
    LibraryQueue(const LibraryQueue &) = delete;
    LibraryQueue &operator=(const LibraryQueue &) = delete;
    ~LibraryQueue();

    /// Appends a library. @return false if memory is exhausted
    [[nodiscard]] bool append(const char *directory, const char *tagPath);

    /// @return the first library; null if there is none
    [[nodiscard]] AheadLibrary *first() const { return first_; }

    /// Removes the first library from the list and frees it.
    void removeFirst();

    [[nodiscard]] std::size_t size() const { return size_; }

    /// @return the number of tasks that wait to be begun
    [[nodiscard]] std::size_t pending() const { return pending_; }

    /// Begins the first waiting task, in the order of the libraries. Skips the tasks of libraries whose
    /// AheadLibrary::number is above `last`.
    /// @param order  creates the Directory object if the task is to read a library directory
    /// @return the task, in the state Running; null if there is none, or memory is exhausted
    [[nodiscard]] WorkerTask *beginNext(std::size_t last, WalkOrder &order);

    /// If `state` is Waiting (no worker has begun the task), sets it to Failed, so that no worker will begin the task.
    void withdraw(WorkerTask::State &state);

    /// Sets the state of `task` to Waiting, so that a worker can begin it.
    void request(LibraryTask &task);

  private:
    AheadLibrary *first_ = nullptr;
    AheadLibrary *last_ = nullptr;
    std::size_t size_ = 0;
    std::size_t pending_ = 0;
    std::size_t appended_ = 0; ///< the number of libraries that were ever appended
};

} // namespace vekinfo

#endif
