// The pool of worker threads, with tasks that the tests control: what a batch contains, which tasks the main thread
// takes back from a worker, and which descriptors a worker has.

#include "tool/worker_pool.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <semaphore.h>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using vekinfo::WorkerPool;
using vekinfo::WorkerSettings;
using vekinfo::WorkerTask;
using vekinfo::WorkerTasks;
using State = WorkerTask::State;

/// Settings that start one worker at once. No task counts as slow.
WorkerSettings oneWorker() {
    return {.fastWorkers = 1, .slowNs = INT64_MAX, .directoriesBefore = 0, .fastShare = 1};
}

/// A semaphore. sem_wait() can end early because of a signal.
class Gate {
  public:
    Gate() { EXPECT_EQ(0, sem_init(&semaphore_, 0, 0)); }
    Gate(const Gate &) = delete;
    Gate &operator=(const Gate &) = delete;
    ~Gate() { EXPECT_EQ(0, sem_destroy(&semaphore_)); }
    void open() { EXPECT_EQ(0, sem_post(&semaphore_)); }
    void wait() {
        while (sem_wait(&semaphore_) != 0) {
        }
    }

  private:
    sem_t semaphore_ = {};
};

/// A task that can block its worker until `mayEnd` opens.
struct TestTask : WorkerTask {
    TestTask() : WorkerTask(Kind::Directory) { state = State::Waiting; }

    bool blocks = false;
    Gate begun;
    Gate mayEnd;
    bool isPerformed = false;
    std::size_t indexInBatch = 0;
    std::size_t bytes = 0;             ///< the memory that the result is said to need
    std::set<std::string> descriptors; ///< the descriptors of the worker during the task
};

/// The descriptors of the calling thread.
std::set<std::string> descriptorsOfThread() {
    std::set<std::string> numbers;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/thread-self/fd")) {
        numbers.insert(entry.path().filename());
    }
    return numbers;
}

/// Tasks, and the pool that performs them in their order.
class Queue {
  public:
    Queue(const WorkerSettings &settings, std::size_t count)
        : tasks_(count), available_(count), pool_(settings, kTasks, this) {}

    void release() { pool_.release(); }

    TestTask &operator[](std::size_t index) { return tasks_[index]; }

    /// Starts and wakes workers for the first `available` tasks.
    void start(std::size_t available) {
        const WorkerPool::Lock lock(pool_);
        available_ = available;
        pool_.start(available_ - next_);
    }
    void start() { start(tasks_.size()); }

    /// Reports slow readings of the main thread to the pool, until the file system is slow.
    void makeSlow() {
        const WorkerPool::Lock lock(pool_);
        while (!pool_.isSlow()) {
            pool_.addDuration(INT64_MAX);
        }
    }

    /// Waits for a task that a worker has begun, as the main thread does. @return its state after that
    State waitFor(std::size_t index) {
        WorkerPool::Lock lock(pool_);
        pool_.waitFor(tasks_[index], lock);
        return tasks_[index].state;
    }

    /// Lets a worker perform a task, which blocks, and takes its result at once. Then waits as a main thread without
    /// descriptors does. Does not return if the end of the batch is not signaled.
    void takeAndWaitForDescriptors(std::size_t index) {
        WorkerPool::Lock lock(pool_); // the worker cannot end its batch before the main thread waits
        TestTask &task = tasks_[index];
        task.mayEnd.open();
        while (!task.batch->isPerformed(task.index)) {
        }
        pool_.waitFor(task, lock);
        pool_.repeatWhileShort(lock, [] { return false; });
    }

    /// Waits until a worker has ended the last task. @return the index that each task had in its batch
    std::vector<std::size_t> indexesInBatches() {
        EXPECT_EQ(State::Done, waitForWorker(tasks_.size() - 1));
        const WorkerPool::Lock lock(pool_);
        std::vector<std::size_t> indexes;
        for (const TestTask &task : tasks_) {
            indexes.push_back(task.indexInBatch);
        }
        return indexes;
    }

    /// Waits until no worker performs the task or will perform it, without taking it from a worker.
    /// @return its state after that
    State waitForWorker(std::size_t index) {
        while (true) {
            {
                const WorkerPool::Lock lock(pool_);
                const State state = tasks_[index].state;
                if (state == State::Done || state == State::Failed) {
                    return state;
                }
            }
            usleep(100);
        }
    }

    void abandon(std::size_t index) {
        const WorkerPool::Lock lock(pool_);
        ASSERT_EQ(State::Running, tasks_[index].state);
        tasks_[index].state = State::Abandoned;
    }

    /// @return the number of abandoned tasks that the pool has ended
    int released() {
        const WorkerPool::Lock lock(pool_);
        return released_;
    }

  private:
    static WorkerTask *begin(void *queue) {
        auto &self = *static_cast<Queue *>(queue);
        if (self.next_ == self.available_) {
            return nullptr;
        }
        TestTask &task = self.tasks_[self.next_++];
        task.state = State::Running;
        return &task;
    }
    static std::size_t perform(void * /*queue*/, WorkerTask &task, std::size_t /*mostBytes*/) {
        auto &self = static_cast<TestTask &>(task);
        self.begun.open();
        if (self.blocks) {
            self.mayEnd.wait();
        }
        self.descriptors = descriptorsOfThread();
        self.isPerformed = true;
        self.indexInBatch = task.index;
        return self.bytes;
    }
    static void end(void *queue, WorkerTask &task) {
        auto &self = *static_cast<Queue *>(queue);
        self.released_ += task.state == State::Abandoned ? 1 : 0;
        task.state = State::Done;
    }
    static void destroy(void *queue) { delete static_cast<Queue *>(queue); }
    static constexpr WorkerTasks kTasks = {
        .begin = begin, .perform = perform, .end = end, .destroy = destroy};

    std::vector<TestTask> tasks_;
    std::size_t next_ = 0;
    std::size_t available_;
    int released_ = 0;
    WorkerPool pool_;
};

/// Releases the pool, which deletes the queue.
struct Release {
    void operator()(Queue *queue) const { queue->release(); }
};

std::unique_ptr<Queue, Release> queueOf(const WorkerSettings &settings, std::size_t count) {
    return std::unique_ptr<Queue, Release>(new Queue(settings, count));
}

} // namespace

// ---- batches

TEST(WorkerPool, BatchesGrowWhileTasksAreFast) {
    const auto queue = queueOf(oneWorker(), 15);
    queue->start();
    EXPECT_EQ((std::vector<std::size_t>{0, 0, 1, 0, 1, 2, 3, 0, 1, 2, 3, 4, 5, 6, 7}),
              queue->indexesInBatches());
}

TEST(WorkerPool, ASettingLimitsTheBatch) {
    WorkerSettings settings = oneWorker();
    settings.fastBatch = 2;
    const auto queue = queueOf(settings, 7);
    queue->start();
    EXPECT_EQ((std::vector<std::size_t>{0, 0, 1, 0, 1, 0, 1}), queue->indexesInBatches());
}

TEST(WorkerPool, OnASlowFileSystemABatchIsOneTask) {
    WorkerSettings settings = oneWorker();
    settings.slowNs = 0;
    settings.slowWorkers = 1;
    const auto queue = queueOf(settings, 7);
    queue->start();
    EXPECT_EQ(std::vector<std::size_t>(7, 0), queue->indexesInBatches());
}

TEST(WorkerPool, SlowReadingsOfTheMainThreadLimitTheNextBatch) {
    WorkerSettings settings = oneWorker();
    settings.slowNs = 1'000'000'000;
    settings.slowWorkers = 1;
    const auto queue = queueOf(settings, 16);
    queue->start(7); // three batches; the next one may contain eight tasks
    EXPECT_EQ(State::Done, queue->waitForWorker(6));
    queue->makeSlow();
    queue->start();
    EXPECT_EQ(State::Done, queue->waitForWorker(15));
    EXPECT_EQ(0U, (*queue)[7].indexInBatch);
    EXPECT_EQ(0U, (*queue)[8].indexInBatch);
}

TEST(WorkerPool, ASlowTaskEndsTheBatch) {
    constexpr unsigned kSlowUs = 200'000;
    WorkerSettings settings = oneWorker();
    settings.slowNs = std::int64_t{1000} * kSlowUs;
    const auto queue = queueOf(settings, 9);
    (*queue)[4].blocks = true; // the second task of the third batch
    queue->start();
    (*queue)[4].begun.wait();
    usleep(2 * kSlowUs);
    (*queue)[4].mayEnd.open();
    EXPECT_EQ(State::Done, queue->waitForWorker(8));
    EXPECT_EQ(State::Returned, (*queue)[5].state); // on a fast file system, the main thread performs them
    EXPECT_EQ(State::Returned, (*queue)[6].state);
    EXPECT_EQ(State::Failed, queue->waitFor(5));
    EXPECT_FALSE((*queue)[5].isPerformed);
    EXPECT_EQ(0U, (*queue)[7].indexInBatch); // the next batches begin with one task again
    EXPECT_EQ(0U, (*queue)[8].indexInBatch);
}

TEST(WorkerPool, OnASlowFileSystemOtherWorkersPerformTheRestOfABatch) {
    WorkerSettings settings = oneWorker();
    settings.slowNs = 1'000'000'000;
    settings.slowWorkers = 2;
    const auto queue = queueOf(settings, 8);
    (*queue)[3].blocks = true; // the first task of the third batch, 3 to 6
    queue->start(7);
    (*queue)[3].begun.wait();
    EXPECT_EQ(State::Failed, queue->waitFor(6)); // takes 4 and 5 back, too
    for (const std::size_t index : {4U, 5U}) {
        queue->makeSlow(); // the task before was fast
        queue->start();
        EXPECT_EQ(State::Done, queue->waitForWorker(index));
        EXPECT_EQ(0U, (*queue)[index].indexInBatch);
    }
    EXPECT_FALSE((*queue)[6].isPerformed);
    (*queue)[3].mayEnd.open();
    EXPECT_EQ(State::Done, queue->waitForWorker(7));
}

TEST(WorkerPool, ResultsThatNeedMuchMemoryEndTheBatch) {
    WorkerSettings settings = oneWorker();
    settings.mostBytes = 1600;
    const auto queue = queueOf(settings, 9);
    (*queue)[3].bytes = 60;
    (*queue)[4].bytes = 60; // with the task before, more than a 16th of the limit
    queue->start();
    EXPECT_EQ(State::Done, queue->waitForWorker(8));
    EXPECT_TRUE((*queue)[4].isPerformed);
    EXPECT_EQ(State::Returned, (*queue)[5].state);
    EXPECT_EQ(State::Returned, (*queue)[6].state);
}

// ---- tasks that the main thread needs

TEST(WorkerPool, WaitingTakesBackWhatTheWorkerHasNotReached) {
    const auto queue = queueOf(oneWorker(), 7);
    (*queue)[4].blocks = true; // the second task of the third batch, 3 to 6
    queue->start();
    (*queue)[4].begun.wait();
    EXPECT_EQ(State::Failed, queue->waitFor(5));
    EXPECT_EQ(State::Failed, queue->waitFor(6));
    (*queue)[4].mayEnd.open();
    EXPECT_EQ(State::Done, queue->waitFor(4));
    EXPECT_TRUE((*queue)[4].isPerformed);
    EXPECT_FALSE((*queue)[5].isPerformed);
    EXPECT_FALSE((*queue)[6].isPerformed);
}

TEST(WorkerPool, APerformedTaskIsTakenBeforeItsBatchEnds) {
    const auto queue = queueOf(oneWorker(), 7);
    (*queue)[4].blocks = true;
    queue->start();
    (*queue)[4].begun.wait();
    EXPECT_EQ(State::Done, queue->waitFor(3));
    EXPECT_TRUE((*queue)[3].isPerformed);
    (*queue)[4].mayEnd.open();
    EXPECT_EQ(State::Done, queue->waitForWorker(6)); // waiting for task 3 has taken back no task
}

TEST(WorkerPool, TheEndOfABatchIsReportedAlsoIfItsTasksWereTaken) {
    const auto queue = queueOf(oneWorker(), 1);
    (*queue)[0].blocks = true;
    queue->start();
    (*queue)[0].begun.wait();
    queue->takeAndWaitForDescriptors(0);
    EXPECT_TRUE((*queue)[0].isPerformed);
}

TEST(WorkerPool, AbandonedTasksAreReleasedOnce) {
    const auto queue = queueOf(oneWorker(), 7);
    (*queue)[4].blocks = true;
    queue->start();
    (*queue)[4].begun.wait();
    queue->abandon(3); // performed
    queue->abandon(4); // being performed
    queue->abandon(5); // not reached
    EXPECT_EQ(0, queue->released());
    EXPECT_EQ(State::Failed, queue->waitFor(6));
    EXPECT_EQ(1, queue->released());
    (*queue)[4].mayEnd.open();
    EXPECT_EQ(State::Done, queue->waitForWorker(4));
    EXPECT_EQ(3, queue->released());
    EXPECT_FALSE((*queue)[5].isPerformed);
}

// ---- descriptors

TEST(WorkerPool, WorkersDoNotHaveTheDescriptorsOfTheProcess) {
    const int descriptor = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 100); // the worker itself opens lower ones
    ASSERT_LE(100, descriptor);
    for (const bool isShared : {false, true}) {
        WorkerSettings settings = oneWorker();
        settings.sharesDescriptors = isShared;
        const auto queue = queueOf(settings, 1);
        queue->start();
        EXPECT_EQ(State::Done, queue->waitForWorker(0));
        const std::set<std::string> &descriptors = (*queue)[0].descriptors;
        EXPECT_TRUE(descriptors.contains("2"));
#ifdef __SANITIZE_THREAD__
        EXPECT_TRUE(descriptors.contains(std::to_string(descriptor)));
#else
        EXPECT_EQ(isShared, descriptors.contains(std::to_string(descriptor)));
#endif
    }
    EXPECT_EQ(0, close(descriptor));
}
