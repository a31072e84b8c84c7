// Reading directories ahead of a depth-first walk. The walk enters directories one after the other and makes every
// decision; workers read the directories that it will enter next, and those below them.
//
// The directories form a tree. A directory is "open" if it has subdirectories that nobody has begun to read. The open
// directories are in a list in the order in which the walk will come to those subdirectories: a directory before the
// ones above it, and before its later siblings. Each worker takes the next subdirectory of the first open directory,
// reads it, and adds it to the list. So what the walk needs first is read first, and what was read ahead is bounded
// without a deadlock: the walk reads a directory itself if nobody has begun to.
//
// One mutex guards the tree; it is held for O(1) operations, except that a directory's entries are searched for the
// next subdirectory, once in all. Directories that have been read do not change and are used without the mutex.
// Workers use no state of the process except memory and descriptors.

#include "tool/read_ahead.h"

#include "tagfile/tag_path.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <memory>
#include <pthread.h>
#include <sched.h>
#include <utility>

namespace vekinfo {

namespace {

constexpr std::int64_t kNsPerSecond = 1'000'000'000;

std::int64_t now() {
    timespec time = {};
    static_cast<void>(clock_gettime(CLOCK_MONOTONIC, &time));
    return time.tv_sec * kNsPerSecond + time.tv_nsec;
}

timespec timeOf(std::int64_t ns) {
    return {ns / kNsPerSecond, ns % kNsPerSecond};
}

std::size_t processors() {
    constexpr int kMost = 8; // more readers do not make one mutex faster
    cpu_set_t set;
    CPU_ZERO(&set);
    if (sched_getaffinity(0, sizeof(set), &set) != 0) {
        return 1;
    }
    return static_cast<std::size_t>(std::clamp(CPU_COUNT(&set), 1, kMost));
}

/// Whether reading a directory waits for a disk or a network: the fastest of the last readings was slow. A reading that
/// the scheduler has interrupted, or one large directory, does not count.
class Waiting {
  public:
    void add(std::int64_t ns) {
        last_[count_ % last_.size()] = ns;
        ++count_;
    }
    [[nodiscard]] bool isAtLeast(std::int64_t ns) const {
        return count_ >= last_.size() && *std::min_element(last_.begin(), last_.end()) >= ns;
    }
    [[nodiscard]] std::size_t count() const { return count_; }

  private:
    std::array<std::int64_t, 3> last_ = {};
    std::size_t count_ = 0;
};

/// Whether a reading failed for want of what the workers may hold.
bool isShort(const DirectoryReading &reading) {
    const bool wasRefused = reading.error == EMFILE || reading.error == ENFILE || reading.error == ENOMEM;
    return reading.outcome == DirectoryReading::Outcome::NotOpened && wasRefused;
}

} // namespace

/// What the walk and the workers share. The last one of them that uses it deletes it.
class ReadAheadPool {
  public:
    explicit ReadAheadPool(const ReadAheadSettings &settings) : settings_(settings) {}
    ReadAheadPool(const ReadAheadPool &) = delete;
    ReadAheadPool &operator=(const ReadAheadPool &) = delete;
    ~ReadAheadPool() {
        while (unused_ != nullptr) {
            Directory *next = unused_->sibling_;
            destroy(unused_);
            unused_ = next;
        }
        if (isShared_) {
            static_cast<void>(pthread_cond_destroy(&work_));
            static_cast<void>(pthread_cond_destroy(&done_));
            static_cast<void>(pthread_mutex_destroy(&mutex_));
        }
    }

    Directory *enter(const char *path, const ReadAhead::Step &step);
    void pass(const ReadAhead::Step &step);
    void leave(Directory *directory);
    [[nodiscard]] std::size_t workers() const { return workers_; }

    /// Ends the use by the walk.
    void release();

  private:
    /// Holds the mutex if there may be other threads.
    class Lock {
      public:
        explicit Lock(ReadAheadPool &pool) : pool_(pool) { lock(); }
        Lock(const Lock &) = delete;
        Lock &operator=(const Lock &) = delete;
        ~Lock() { unlock(); }
        void lock() {
            if (pool_.isShared_) {
                static_cast<void>(pthread_mutex_lock(&pool_.mutex_));
            }
        }
        void unlock() {
            if (pool_.isShared_) {
                static_cast<void>(pthread_mutex_unlock(&pool_.mutex_));
            }
        }

      private:
        ReadAheadPool &pool_;
    };

    static void destroy(Directory *directory) {
        std::destroy_at(directory);
        std::free(directory);
    }

    Directory *make(std::string_view parentPath, std::string_view name);
    void recycle(Directory *directory);

    static void read(Directory &directory, std::size_t mostBytes);
    void readInWalk(Directory &directory);

    void open(Directory &directory, Directory *before);
    void close(Directory &directory);
    void openInOrder(Directory &directory);
    static bool precedes(const Directory &first, const Directory &second);
    void skipTo(Directory &parent, std::size_t next);

    [[nodiscard]] static Directory *takeStarted(Directory &parent, std::size_t position);
    void waitFor(const Directory &directory, Lock &lock);
    void abandonChildren(Directory &directory);

    [[nodiscard]] bool isSlow() const { return waiting_.isAtLeast(settings_.slowNs); }
    [[nodiscard]] std::size_t mostWorkers() const {
        return isSlow() ? settings_.slowWorkers : settings_.fastWorkers;
    }
    [[nodiscard]] std::size_t wantedWorkers() const;
    void countStored(std::size_t directories, std::size_t bytes);
    void wake();
    void startWorkers();
    bool share();
    static void *workerMain(void *pool);
    void work();
    [[nodiscard]] Directory *startNext();
    void deliver(Directory &directory, std::int64_t ns);

    ReadAheadSettings settings_;
    Directory *unused_ = nullptr; ///< records to use again

    bool isShared_ = false; ///< set by the walk, before the first worker exists
    pthread_mutex_t mutex_ = {};
    pthread_cond_t work_ = {}; ///< there is work, or the walk has ended
    pthread_cond_t done_ = {}; ///< what the walk waits for has happened

    Directory *firstOpen_ = nullptr;
    std::size_t pending_ = 0; ///< subdirectories of open directories that nobody has begun to read
    std::size_t stored_ = 0;  ///< directories that workers have begun to read and that the walk has not taken
    std::size_t bytes_ = 0;   ///< memory of their entries
    bool isFull_ = false;

    std::size_t workers_ = 0;
    std::size_t idle_ = 0;  ///< workers that wait for work
    std::size_t woken_ = 0; ///< those of them that have been woken
    std::size_t busy_ = 0;  ///< workers that read
    bool cannotStart_ = false;
    bool isShortOfDescriptors_ = false;
    bool isEnded_ = false; ///< the workers are to end
    bool isLeft_ = false;  ///< the walk no longer uses the pool: the last worker deletes it
    const Directory *waitedFor_ = nullptr;
    bool waitsForAny_ = false;
    Waiting waiting_;
};

// ---- records

/// @return null if memory is exhausted
Directory *ReadAheadPool::make(std::string_view parentPath, std::string_view name) {
    Directory *directory = unused_;
    if (directory != nullptr) {
        unused_ = directory->sibling_;
        directory->sibling_ = nullptr;
    } else {
        void *memory = std::malloc(sizeof(Directory));
        if (memory == nullptr) {
            return nullptr;
        }
        directory = std::construct_at(static_cast<Directory *>(memory));
    }
    const std::size_t slash = name.empty() ? 0 : 1;
    char *path = directory->path_.extend(parentPath.size() + slash + name.size() + 1);
    if (path == nullptr) {
        recycle(directory);
        return nullptr;
    }
    path = std::copy(parentPath.begin(), parentPath.end(), path);
    if (slash > 0) {
        *path++ = '/';
    }
    *std::copy(name.begin(), name.end(), path) = '\0';
    return directory;
}

/// Keeps the record and small memory of it for another directory.
void ReadAheadPool::recycle(Directory *directory) {
    constexpr std::size_t kMostSpare = 4096;
    vek::GrowingArray<char> path;
    vek::EntryList entries;
    if (directory->path_.capacity() <= kMostSpare) {
        path = std::move(directory->path_);
        path.shrink(0);
    }
    if (directory->entries_.capacity() <= kMostSpare) {
        entries = std::move(directory->entries_);
        entries.clear();
    }
    std::destroy_at(directory);
    std::construct_at(directory);
    directory->path_ = std::move(path);
    directory->entries_ = std::move(entries);
    directory->sibling_ = unused_;
    unused_ = directory;
}

// ---- reading

/// Without the mutex: nobody else uses the record.
void ReadAheadPool::read(Directory &directory, std::size_t mostBytes) {
    const ReadingOptions options = {.identifies = directory.identifies_, .mostBytes = mostBytes};
    directory.reading_ = readDirectory(directory.path(), options, directory.entries_, directory.identity_);
}

/// Reads a directory in the thread of the walk. If it cannot be opened for want of a descriptor or memory, the workers
/// stop one after the other until it can: the walk gets the same result as without workers.
void ReadAheadPool::readInWalk(Directory &directory) {
    const std::int64_t begin = now();
    read(directory, SIZE_MAX);
    const std::int64_t end = now();
    Lock lock(*this);
    waiting_.add(end - begin);
    if (!isShared_ || !isShort(directory.reading_)) {
        return;
    }
    isShortOfDescriptors_ = true;
    for (bool isAlone = false; !isAlone && isShort(directory.reading_);) {
        isAlone = busy_ == 0;
        if (!isAlone) {
            waitsForAny_ = true;
            static_cast<void>(pthread_cond_wait(&done_, &mutex_));
            waitsForAny_ = false;
        }
        lock.unlock();
        read(directory, SIZE_MAX);
        lock.lock();
    }
    isShortOfDescriptors_ = false;
}

// ---- the list of open directories

/// @param before  null to add it at the end
void ReadAheadPool::open(Directory &directory, Directory *before) {
    Directory *after = before == nullptr ? firstOpen_ : before->openAfter_;
    directory.isOpen_ = true;
    directory.openBefore_ = before;
    directory.openAfter_ = after;
    (before == nullptr ? firstOpen_ : before->openAfter_) = &directory;
    if (after != nullptr) {
        after->openBefore_ = &directory;
    }
    pending_ += directory.unstarted_;
}

void ReadAheadPool::close(Directory &directory) {
    if (!directory.isOpen_) {
        return;
    }
    directory.isOpen_ = false;
    pending_ -= directory.unstarted_;
    (directory.openBefore_ == nullptr ? firstOpen_ : directory.openBefore_->openAfter_) =
        directory.openAfter_;
    if (directory.openAfter_ != nullptr) {
        directory.openAfter_->openBefore_ = directory.openBefore_;
    }
}

/// @return true if the walk comes to the unstarted subdirectories of `first` before those of `second`
bool ReadAheadPool::precedes(const Directory &first, const Directory &second) {
    const Directory *x = &first;
    const Directory *y = &second;
    while (x->depth_ > y->depth_) {
        x = x->parent_;
    }
    while (y->depth_ > x->depth_) {
        y = y->parent_;
    }
    if (x == y) {
        return first.depth_ > second.depth_;
    }
    while (x->parent_ != y->parent_) {
        x = x->parent_;
        y = y->parent_;
    }
    return x->position_ < y->position_;
}

void ReadAheadPool::openInOrder(Directory &directory) {
    Directory *before = nullptr;
    for (Directory *each = firstOpen_; each != nullptr && precedes(*each, directory);
         each = each->openAfter_) {
        before = each;
    }
    open(directory, before);
}

/// Counts the next subdirectory of an open directory as started.
void ReadAheadPool::skipTo(Directory &parent, std::size_t next) {
    parent.next_ = next;
    --parent.unstarted_;
    if (parent.isOpen_) {
        --pending_;
        if (parent.unstarted_ == 0) {
            close(parent);
        }
    }
}

// ---- the walk

Directory *ReadAheadPool::enter(const char *path, const ReadAhead::Step &step) {
    Lock lock(*this);
    Directory *directory = nullptr;
    if (step.isListed && step.position < step.parent->next_) {
        directory = takeStarted(*step.parent, step.position);
    } else if (step.isListed) {
        skipTo(*step.parent, step.next);
    }
    if (directory != nullptr) {
        waitFor(*directory, lock);
        countStored(1, directory->entries_.capacity());
    }
    if (directory == nullptr || directory->state_ == Directory::State::Unread) {
        if (directory == nullptr) {
            directory = make(path, {});
        }
        if (directory == nullptr) {
            return nullptr;
        }
        directory->parent_ = step.parent;
        directory->depth_ = step.parent == nullptr ? 0 : step.parent->depth_ + 1;
        directory->position_ = step.position;
        directory->identifies_ = step.identifies;
        directory->isBelowLink_ = step.isBelowLink;
        directory->state_ = Directory::State::Read;
        lock.unlock();
        readInWalk(*directory);
        lock.lock();
        directory->unstarted_ = directory->entries_.directories();
    }
    if (!directory->isOpen_ && directory->unstarted_ > 0) {
        open(*directory, nullptr); // the walk comes to its subdirectories next
    }
    startWorkers();
    wake();
    return directory;
}

void ReadAheadPool::pass(const ReadAhead::Step &step) {
    const Lock lock(*this);
    if (step.position >= step.parent->next_) {
        skipTo(*step.parent, step.next);
    }
}

void ReadAheadPool::leave(Directory *directory) {
    const Lock lock(*this);
    abandonChildren(*directory);
    close(*directory);
    recycle(directory);
}

/// @return the child that a worker has begun to read; null if memory for it was exhausted
Directory *ReadAheadPool::takeStarted(Directory &parent, std::size_t position) {
    Directory *child = parent.firstChild_;
    if (child == nullptr || child->position_ != position) {
        return nullptr;
    }
    parent.firstChild_ = child->sibling_;
    if (parent.firstChild_ == nullptr) {
        parent.lastChild_ = nullptr;
    }
    child->sibling_ = nullptr;
    return child;
}

void ReadAheadPool::waitFor(const Directory &directory, Lock &lock) {
    bool isFlushed = false;
    waitedFor_ = &directory;
    while (directory.state_ == Directory::State::Reading) {
        const timespec time = timeOf(now() + kNsPerSecond);
        if (pthread_cond_timedwait(&done_, &mutex_, &time) == ETIMEDOUT && !isFlushed) {
            // The directory may never be read. What was printed before must be seen, also in a pipe.
            isFlushed = true;
            lock.unlock();
            static_cast<void>(std::fflush(stdout));
            lock.lock();
        }
    }
    waitedFor_ = nullptr;
}

void ReadAheadPool::abandonChildren(Directory &directory) {
    Directory *list = directory.firstChild_;
    directory.firstChild_ = nullptr;
    directory.lastChild_ = nullptr;
    while (list != nullptr) {
        Directory *each = list;
        list = each->sibling_;
        if (each->lastChild_ != nullptr) {
            each->lastChild_->sibling_ = list;
            list = each->firstChild_;
        }
        close(*each);
        if (each->state_ == Directory::State::Reading) {
            countStored(1, 0);
            each->state_ = Directory::State::Abandoned;
        } else {
            countStored(1, each->entries_.capacity());
            recycle(each);
        }
    }
}

/// Counts what leaves the store. When it was full, it is filled again only after half of it has been taken: waking a
/// worker for each directory would cost more than reading it.
void ReadAheadPool::countStored(std::size_t directories, std::size_t bytes) {
    stored_ -= directories;
    bytes_ -= bytes;
    if (stored_ <= settings_.mostDirectories / 2 && bytes_ <= settings_.mostBytes / 2) {
        isFull_ = false;
    }
}

// ---- workers

/// @return how many workers the present work is worth
std::size_t ReadAheadPool::wantedWorkers() const {
    if (isFull_ || isShortOfDescriptors_) {
        return 0;
    }
    const std::size_t shares = pending_ / (isSlow() ? settings_.slowShare : settings_.fastShare);
    return std::min(shares, mostWorkers());
}

void ReadAheadPool::wake() {
    if (idle_ == woken_) {
        return;
    }
    for (const std::size_t wanted = wantedWorkers(); idle_ > woken_ && busy_ + woken_ < wanted; ++woken_) {
        static_cast<void>(pthread_cond_signal(&work_));
    }
}

/// Called by the walk.
void ReadAheadPool::startWorkers() {
    const bool isWorth = workers_ > 0 || (isSlow() ? pending_ >= settings_.slowBefore
                                                   : waiting_.count() >= settings_.directoriesBefore);
    if (!isWorth || cannotStart_) {
        return;
    }
    if (settings_.fastWorkers == 0) {
        settings_.fastWorkers = processors();
    }
    const std::size_t wanted = wantedWorkers();
    if (wanted <= workers_ || (!isShared_ && !share())) {
        return;
    }
    // The signals of the process are handled by its first thread.
    sigset_t all;
    sigset_t before;
    static_cast<void>(sigfillset(&all));
    static_cast<void>(pthread_sigmask(SIG_SETMASK, &all, &before));
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) == 0) {
        constexpr std::size_t kStack = std::size_t{256} << 10; // a block of 32 KiB, and what sanitizers add
        static_cast<void>(pthread_attr_setstacksize(&attributes, kStack));
        static_cast<void>(pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED));
        while (workers_ < wanted && !cannotStart_) {
            pthread_t thread = {};
            ++workers_; // beforehand: the worker may end first
            if (pthread_create(&thread, &attributes, workerMain, this) != 0) {
                --workers_;
                cannotStart_ = true;
            }
        }
        static_cast<void>(pthread_attr_destroy(&attributes));
    }
    static_cast<void>(pthread_sigmask(SIG_SETMASK, &before, nullptr));
}

/// Prepares the pool for other threads, and locks it, as the caller's Lock would have done.
bool ReadAheadPool::share() {
    pthread_condattr_t attributes;
    if (pthread_condattr_init(&attributes) != 0) {
        return false;
    }
    static_cast<void>(pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC));
    // With static initialization, or default attributes, these do not fail in the C library of Linux.
    static_cast<void>(pthread_mutex_init(&mutex_, nullptr));
    static_cast<void>(pthread_cond_init(&work_, nullptr));
    static_cast<void>(pthread_cond_init(&done_, &attributes));
    static_cast<void>(pthread_condattr_destroy(&attributes));
    isShared_ = true;
    static_cast<void>(pthread_mutex_lock(&mutex_));
    return true;
}

void *ReadAheadPool::workerMain(void *pool) {
    static_cast<ReadAheadPool *>(pool)->work();
    return nullptr;
}

void ReadAheadPool::work() {
    static_cast<void>(pthread_mutex_lock(&mutex_));
    while (!isEnded_) {
        Directory *directory = startNext();
        if (directory == nullptr) {
            ++idle_;
            static_cast<void>(pthread_cond_wait(&work_, &mutex_));
            --idle_;
            woken_ -= woken_ > 0 ? 1 : 0;
            continue;
        }
        ++busy_;
        const std::size_t mostBytes = settings_.mostBytes / 4; // a larger directory is read by the walk
        static_cast<void>(pthread_mutex_unlock(&mutex_));
        const std::int64_t begin = now();
        read(*directory, mostBytes);
        const std::int64_t end = now();
        static_cast<void>(pthread_mutex_lock(&mutex_));
        --busy_;
        deliver(*directory, end - begin);
    }
    --workers_;
    const bool isOwner = workers_ == 0 && isLeft_;
    static_cast<void>(pthread_cond_signal(&done_));
    static_cast<void>(pthread_mutex_unlock(&mutex_));
    if (isOwner) {
        std::destroy_at(this);
        std::free(this);
    }
}

/// @return the next subdirectory to read, as a child of its parent; null if there is none, or no room for it
Directory *ReadAheadPool::startNext() {
    if (stored_ >= settings_.mostDirectories || bytes_ >= settings_.mostBytes) {
        isFull_ = true;
    }
    if (isFull_ || isShortOfDescriptors_ || busy_ >= mostWorkers()) {
        return nullptr;
    }
    while (firstOpen_ != nullptr) {
        Directory &parent = *firstOpen_;
        std::size_t position = parent.next_;
        vek::EntryList::Entry entry = parent.entries_.at(position);
        while (entry.type != DT_DIR) {
            position = entry.next;
            entry = parent.entries_.at(position);
        }
        skipTo(parent, entry.next);
        if (entry.name == tov::kTagFileName) {
            continue; // the walk finds out first whether it can be searched
        }
        Directory *child = make(parent.path(), entry.name);
        if (child == nullptr) {
            return nullptr;
        }
        child->parent_ = &parent;
        child->depth_ = parent.depth_ + 1;
        child->position_ = position;
        child->identifies_ = parent.isBelowLink_;
        child->isBelowLink_ = parent.isBelowLink_;
        child->state_ = Directory::State::Reading;
        (parent.lastChild_ == nullptr ? parent.firstChild_ : parent.lastChild_->sibling_) = child;
        parent.lastChild_ = child;
        ++stored_;
        return child;
    }
    return nullptr;
}

/// Adds what a worker has read to the tree.
void ReadAheadPool::deliver(Directory &directory, std::int64_t ns) {
    waiting_.add(ns);
    if (waitsForAny_ || waitedFor_ == &directory) {
        static_cast<void>(pthread_cond_signal(&done_));
    }
    if (directory.state_ == Directory::State::Abandoned) {
        recycle(&directory);
        return;
    }
    using Outcome = DirectoryReading::Outcome;
    const Outcome outcome = directory.reading_.outcome;
    if (outcome == Outcome::NoMemory || outcome == Outcome::TooLarge || isShort(directory.reading_)) {
        directory.entries_ = {};
        directory.identity_ = {};
        directory.state_ = Directory::State::Unread;
        return;
    }
    directory.state_ = Directory::State::Read;
    bytes_ += directory.entries_.capacity();
    directory.unstarted_ = directory.entries_.directories();
    // Below a link, the walk may find a cycle and not enter the directory.
    if (directory.unstarted_ > 0 && !directory.isBelowLink_) {
        openInOrder(directory);
        wake();
    }
}

/// Waits for the workers, but not long: one may hang in a directory that the walk has not entered.
void ReadAheadPool::release() {
    bool isOwner = true;
    {
        const Lock lock(*this);
        isEnded_ = true;
        if (workers_ > 0) {
            constexpr std::int64_t kPatienceNs = kNsPerSecond / 10;
            const timespec deadline = timeOf(now() + kPatienceNs);
            static_cast<void>(pthread_cond_broadcast(&work_));
            for (int error = 0; workers_ > 0 && error != ETIMEDOUT;) {
                error = pthread_cond_timedwait(&done_, &mutex_, &deadline);
            }
        }
        isOwner = workers_ == 0;
        isLeft_ = true;
    }
    if (isOwner) {
        std::destroy_at(this);
        std::free(this);
    }
}

// ---- ReadAhead

ReadAhead::~ReadAhead() {
    if (pool_ != nullptr) {
        pool_->release();
    }
}

Directory *ReadAhead::enter(const char *path, const Step &step) {
    if (pool_ == nullptr) {
        void *memory = std::malloc(sizeof(ReadAheadPool));
        if (memory == nullptr) {
            return nullptr;
        }
        pool_ = std::construct_at(static_cast<ReadAheadPool *>(memory), settings_);
    }
    return pool_->enter(path, step);
}

void ReadAhead::pass(const Step &step) {
    pool_->pass(step);
}

void ReadAhead::leave(Directory *directory) {
    pool_->leave(directory);
}

std::size_t ReadAhead::workers() const {
    return pool_ == nullptr ? 0 : pool_->workers();
}

} // namespace vekinfo
