#ifndef TOOL_READ_AHEAD_QUEUE_H
#define TOOL_READ_AHEAD_QUEUE_H

/// The implementation of ReadAhead: the tasks that workers perform, and the functions with which the main thread takes
/// their results.

#include "tool/library_queue.h"
#include "tool/probe_gate.h"
#include "tool/walk_order.h"
#include "tool/worker_pool.h"

#include <cstddef>
#include <cstdint>

namespace vekinfo {

/// The state that the main thread and the workers share, on the heap. The last thread that uses it deletes it.
class ReadAheadQueue {
  public:
    explicit ReadAheadQueue(const WorkerSettings &settings) : pool_(settings, kTasks, this) {}
    ReadAheadQueue(const ReadAheadQueue &) = delete;
    ReadAheadQueue &operator=(const ReadAheadQueue &) = delete;
    ~ReadAheadQueue() = default;

    Directory *enter(const char *path, const WalkStep &step);
    void pass(const WalkStep &step);
    void leave(Directory *directory);

    bool wantsLibrary();
    bool announceLibrary(const char *directory, const char *tagPath);
    int readTag(const char *tagPath, VekinfoObj &obj, bool &isFound);
    int probe(const char *directory);
    void endLibrary(const char *directory);

    [[nodiscard]] std::size_t workers() const { return pool_.workers(); }

    /// Ends the workers and deletes the queue.
    void release();

  private:
    using Lock = WorkerPool::Lock;
    using State = WorkerTask::State;

    Directory *takeBegun(const char *path, const WalkStep &step);
    Directory *readInWalk(Directory *directory, const char *path, const WalkStep &step, Lock &lock);
    void abandon(Directory *directory);
    void countTaken(const Directory &directory);
    void abandonBelow(Directory &directory);
    void deliverBrokenPipe();
    AheadLibrary *announced(const char *directory);
    int readTagInMainThread(const char *tagPath, VekinfoObj &obj, int &found);
    int probeInMainThread(const char *directory);
    [[nodiscard]] std::size_t pending() const { return order_.pending() + libraries_.pending(); }

    // The functions of kTasks.
    static WorkerTask *begin(void *queue);
    static std::size_t perform(void *queue, WorkerTask &task, std::size_t mostBytes);
    static void end(void *queue, WorkerTask &task);
    static void destroy(void *queue);
    static constexpr WorkerTasks kTasks = {
        .begin = begin, .perform = perform, .end = end, .destroy = destroy};

    void endReading(Directory &directory);

    WalkOrder order_;
    LibraryQueue libraries_;
    ProbeGate gate_;
    bool cannotWatch_ = false;   ///< whether the thread that handles signals could not be started
    std::int64_t lastTagNs_ = 0; ///< the duration of the last reading of a tag file by the main thread
    WorkerPool pool_;
};

} // namespace vekinfo

#endif
