// Reads directories ahead of a depth-first walk. The walk enters directories one after the other and makes all
// decisions. Workers (worker_pool.h) read the directories that the walk will enter next, and the directories below
// those, in the order of walk_order.h.
//
// The mutex of the pool guards the tree of the directories. The entries of a directory do not change after the reading
// and are used without the mutex.

#include "tool/read_ahead.h"

#include <cerrno>
#include <cstdlib>
#include <memory>

namespace vekinfo {

namespace {

/// @return true if open() failed because descriptors or memory were exhausted. The workers may hold them, so that
///         another attempt can succeed
bool isShort(const DirectoryReading &reading) {
    const bool wasRefused = reading.error == EMFILE || reading.error == ENFILE || reading.error == ENOMEM;
    return reading.outcome == DirectoryReading::Outcome::NotOpened && wasRefused;
}

} // namespace

/// The state that the walk and the workers share, on the heap. The last thread that uses it deletes it.
class ReadAheadQueue {
  public:
    explicit ReadAheadQueue(const WorkerSettings &settings) : pool_(settings, kTasks, this) {}
    ReadAheadQueue(const ReadAheadQueue &) = delete;
    ReadAheadQueue &operator=(const ReadAheadQueue &) = delete;
    ~ReadAheadQueue() = default;

    Directory *enter(const char *path, const ReadAhead::Step &step);
    void pass(const ReadAhead::Step &step);
    void leave(Directory *directory);
    WorkerPool &pool() { return pool_; }

  private:
    using Lock = WorkerPool::Lock;
    using State = WorkerTask::State;

    Directory *readInWalk(Directory *directory, const char *path, const ReadAhead::Step &step, Lock &lock);
    void abandonBelow(Directory &directory);

    // The functions of kTasks.
    static WorkerTask *begin(void *queue);
    static void perform(WorkerTask &task, std::size_t mostBytes);
    static void end(void *queue, WorkerTask &task);
    static void destroy(void *queue);
    static constexpr WorkerTasks kTasks = {
        .begin = begin, .perform = perform, .end = end, .destroy = destroy};

    WalkOrder order_;
    WorkerPool pool_;
};

// ---- the walk

Directory *ReadAheadQueue::enter(const char *path, const ReadAhead::Step &step) {
    Lock lock(pool_);
    Directory *directory = nullptr;
    if (step.isListed && step.position < step.parent->next_) {
        directory = WalkOrder::takeChild(*step.parent, step.position);
    } else if (step.isListed) {
        order_.skipTo(*step.parent, step.next);
    }
    if (directory != nullptr) {
        pool_.waitFor(*directory, lock);
        pool_.countTaken(directory->entries_.capacity());
    }
    if (directory == nullptr || directory->state == State::Failed) {
        directory = readInWalk(directory, path, step, lock);
        if (directory == nullptr) {
            return nullptr;
        }
    }
    order_.open(*directory, true);
    pool_.start(order_.pending());
    return directory;
}

/// Reads a directory in the thread of the walk.
/// @param directory  the record of the directory; null to make one
/// @return the record; null if memory is exhausted
Directory *ReadAheadQueue::readInWalk(Directory *directory, const char *path, const ReadAhead::Step &step,
                                      Lock &lock) {
    if (directory == nullptr) {
        directory = order_.make(path, {});
    }
    if (directory == nullptr) {
        return nullptr;
    }
    directory->parent_ = step.parent;
    directory->depth_ = step.parent == nullptr ? 0 : step.parent->depth_ + 1;
    directory->position_ = step.position;
    directory->identifies_ = step.identifies;
    directory->isBelowLink_ = step.isBelowLink;
    directory->state = State::Done;
    lock.unlock();
    const std::int64_t begin = monotonicNs();
    directory->read(SIZE_MAX);
    const std::int64_t end = monotonicNs();
    lock.lock();
    pool_.addDuration(end - begin);
    if (isShort(directory->reading_)) {
        pool_.repeatWhileShort(lock, [directory] {
            directory->read(SIZE_MAX);
            return !isShort(directory->reading_);
        });
    }
    directory->unstarted_ = directory->entries_.directories();
    return directory;
}

void ReadAheadQueue::pass(const ReadAhead::Step &step) {
    const Lock lock(pool_);
    if (step.position >= step.parent->next_) {
        order_.skipTo(*step.parent, step.next);
    }
}

void ReadAheadQueue::leave(Directory *directory) {
    const Lock lock(pool_);
    abandonBelow(*directory);
    order_.close(*directory);
    order_.recycle(directory);
}

/// Releases everything that was read ahead below `directory`. A worker that is still reading a directory releases it
/// when the reading ends.
void ReadAheadQueue::abandonBelow(Directory &directory) {
    while (Directory *each = order_.takeBelow(directory)) {
        if (each->state == State::Running) {
            pool_.countTaken(0);
            each->state = State::Abandoned;
        } else {
            pool_.countTaken(each->entries_.capacity());
            order_.recycle(each);
        }
    }
}

// ---- the workers

WorkerTask *ReadAheadQueue::begin(void *queue) {
    auto &self = *static_cast<ReadAheadQueue *>(queue);
    Directory *directory = self.order_.beginNext();
    if (directory != nullptr) {
        self.pool_.countBegun();
    }
    return directory;
}

void ReadAheadQueue::perform(WorkerTask &task, std::size_t mostBytes) {
    static_cast<Directory &>(task).read(mostBytes);
}

void ReadAheadQueue::end(void *queue, WorkerTask &task) {
    auto &self = *static_cast<ReadAheadQueue *>(queue);
    auto &directory = static_cast<Directory &>(task);
    if (directory.state == State::Abandoned) {
        self.order_.recycle(&directory);
        return;
    }
    using Outcome = DirectoryReading::Outcome;
    const Outcome outcome = directory.reading_.outcome;
    if (outcome == Outcome::NoMemory || outcome == Outcome::TooLarge || isShort(directory.reading_)) {
        directory.clear();
        directory.state = State::Failed;
        return;
    }
    directory.state = State::Done;
    self.pool_.countBytes(directory.entries_.capacity());
    directory.unstarted_ = directory.entries_.directories();
    // Below a link, subdirectories are not read ahead: the walk may find a cycle and not enter this directory.
    if (!directory.isBelowLink_) {
        self.order_.open(directory, false);
        self.pool_.wake(self.order_.pending());
    }
}

void ReadAheadQueue::destroy(void *queue) {
    std::destroy_at(static_cast<ReadAheadQueue *>(queue));
    std::free(queue);
}

// ---- ReadAhead

ReadAhead::~ReadAhead() {
    if (queue_ != nullptr) {
        queue_->pool().release();
    }
}

Directory *ReadAhead::enter(const char *path, const Step &step) {
    if (queue_ == nullptr) {
        void *memory = std::malloc(sizeof(ReadAheadQueue));
        if (memory == nullptr) {
            return nullptr;
        }
        queue_ = std::construct_at(static_cast<ReadAheadQueue *>(memory), settings_);
    }
    return queue_->enter(path, step);
}

void ReadAhead::pass(const Step &step) {
    queue_->pass(step);
}

void ReadAhead::leave(Directory *directory) {
    queue_->leave(directory);
}

std::size_t ReadAhead::workers() const {
    return queue_ == nullptr ? 0 : queue_->pool().workers();
}

} // namespace vekinfo
