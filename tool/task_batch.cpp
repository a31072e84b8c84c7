// Workers on a fast file system take several tasks from the queue at a time. Reading a directory from the caches of the
// kernel takes only some microseconds, so locking a mutex and waking a thread for each directory would take a large
// part of the time.
//
// The main thread needs the results in the order of the tasks. When it needs a task that the worker has not performed
// yet, it withdraws all tasks that the worker has not begun, and reads them itself one after the other. The worker then
// begins a batch of later tasks. So the main thread and the worker read different parts of the tree and seldom wait for
// each other. If the file system becomes slow, other workers begin the withdrawn tasks.

#include "tool/task_batch.h"

namespace vekinfo {

void TaskBatch::clear() {
    size_ = 0;
    next_.store(0, std::memory_order_relaxed);
    performed_.store(0, std::memory_order_relaxed);
}

void TaskBatch::add(WorkerTask &task) {
    task.batch = this;
    task.index = size_;
    tasks_[size_] = &task;
    ++size_;
}

WorkerTask *TaskBatch::next() {
    const std::size_t index = next_.fetch_add(1, std::memory_order_relaxed);
    return index < size_ ? tasks_[index] : nullptr;
}

void TaskBatch::setPerformed(std::int64_t ns) {
    const std::size_t index = performed_.load(std::memory_order_relaxed);
    ns_[index] = ns;
    performed_.store(index + 1, std::memory_order_release);
}

std::size_t TaskBatch::withdraw() {
    const std::size_t first = next_.exchange(size_, std::memory_order_relaxed);
    return first < size_ ? first : size_;
}

} // namespace vekinfo
