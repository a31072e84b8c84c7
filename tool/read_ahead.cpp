// Reads directories ahead of a depth-first walk. The walk enters directories one after the other and makes all
// decisions. Worker threads read the directories that the walk will enter next, and the directories below those.
//
// The directories form a tree. A directory is "open" if it has subdirectories that neither the walk nor a worker has
// begun to read. The open directories are in a doubly linked list, in the order in which the walk will enter those
// subdirectories: a directory comes before its ancestors and before its later siblings. A worker takes the next
// subdirectory of the first open directory, reads it, and inserts it into the list. So the directories that the walk
// enters first are read first.
//
// The number of directories that are read ahead is limited. This cannot cause a deadlock: if no worker has begun to
// read a directory that the walk enters, the walk reads it itself.
//
// One mutex guards the tree. Most operations under the mutex take O(1) time. The search for the next subdirectory
// reads each entry of a directory once in total. Inserting into the list, and releasing the children of a directory,
// take time in proportion to their number. The entries of a directory do not change after the reading and are used
// without the mutex. Workers use no process-wide state except memory and descriptors.

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

/// @return the time of CLOCK_MONOTONIC in nanoseconds
std::int64_t now() {
    timespec time = {};
    static_cast<void>(clock_gettime(CLOCK_MONOTONIC, &time));
    return time.tv_sec * kNsPerSecond + time.tv_nsec;
}

timespec timeOf(std::int64_t ns) {
    return {ns / kNsPerSecond, ns % kNsPerSecond};
}

std::size_t processors() {
    constexpr int kMost = 8; // more readers would only wait for the one mutex
    cpu_set_t set;
    CPU_ZERO(&set);
    if (sched_getaffinity(0, sizeof(set), &set) != 0) {
        return 1;
    }
    return static_cast<std::size_t>(std::clamp(CPU_COUNT(&set), 1, kMost));
}

/// Detects a slow file system by the durations of the last three readings, which must all be long. One long reading is
/// not enough: the scheduler may have interrupted it, or the directory may be large.
class Waiting {
  public:
    void add(std::int64_t ns) {
        last_[count_ % last_.size()] = ns;
        ++count_;
    }
    /// @return true if each of the last three readings took at least `ns` nanoseconds
    [[nodiscard]] bool isAtLeast(std::int64_t ns) const {
        return count_ >= last_.size() && *std::min_element(last_.begin(), last_.end()) >= ns;
    }
    [[nodiscard]] std::size_t count() const { return count_; }

  private:
    std::array<std::int64_t, 3> last_ = {};
    std::size_t count_ = 0;
};

/// @return true if open() failed because descriptors or memory were exhausted. The workers may hold them, so that
///         another attempt can succeed
bool isShort(const DirectoryReading &reading) {
    const bool wasRefused = reading.error == EMFILE || reading.error == ENFILE || reading.error == ENOMEM;
    return reading.outcome == DirectoryReading::Outcome::NotOpened && wasRefused;
}

} // namespace

/// The state that the walk and the workers share, on the heap. The last thread that uses it deletes it.
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

    /// Ends the workers and deletes the pool. If a worker does not end in time, it deletes the pool later.
    void release();

  private:
    /// Holds the mutex while in scope. Does nothing before the first worker is started, when there is no mutex yet.
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
    Directory *unused_ = nullptr; ///< list of the records to reuse, linked by `sibling_`

    bool isShared_ = false; ///< whether the mutex exists: the walk sets it before it starts the first worker
    pthread_mutex_t mutex_ = {};
    pthread_cond_t work_ = {}; ///< signaled if a directory waits to be read, or the workers must end
    /// Signaled if a worker has ended, or has ended a reading that the walk waits for.
    pthread_cond_t done_ = {};

    Directory *firstOpen_ = nullptr; ///< the list of open directories
    std::size_t pending_ = 0;        ///< number of subdirectories of open directories that wait to be read
    std::size_t stored_ = 0; ///< number of directories that workers have begun and the walk has not entered
    std::size_t bytes_ = 0;  ///< bytes of memory for their entries
    /// Whether workers must not begin to read. Set if `stored_` or `bytes_` reaches its limit; cleared when both are
    /// at most half of their limits.
    bool isFull_ = false;

    std::size_t workers_ = 0;
    std::size_t idle_ = 0;              ///< workers that wait for work
    std::size_t woken_ = 0;             ///< idle workers that were signaled and have not run since
    std::size_t busy_ = 0;              ///< workers that are reading a directory
    bool cannotStart_ = false;          ///< whether pthread_create() has failed: no more workers are started
    bool isShortOfDescriptors_ = false; ///< whether open() fails in the walk: workers must not begin to read
    bool isEnded_ = false;              ///< whether the workers must end
    bool isLeft_ = false; ///< whether the walk no longer uses the pool, so that the last worker deletes it
    const Directory *waitedFor_ = nullptr; ///< the directory that the walk waits for; null for none
    bool waitsForAny_ = false;             ///< whether the walk waits for any reading to end
    Waiting waiting_;                      ///< the durations of the last readings
};

// ---- records

/// Makes a record with the path "parentPath/name", or `parentPath` if `name` is empty. Reuses an unused record.
/// @return the record; null if memory is exhausted
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

/// Resets the record and keeps it for reuse, with its buffers up to 4096 bytes. Larger buffers are freed.
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

/// Reads a directory with up to `mostBytes` of entries. Called without the mutex: no other thread uses the fields that
/// are set here before the reading has ended.
void ReadAheadPool::read(Directory &directory, std::size_t mostBytes) {
    const ReadingOptions options = {.identifies = directory.identifies_, .mostBytes = mostBytes};
    directory.reading_ = readDirectory(directory.path(), options, directory.entries_, directory.identity_);
}

/// Reads a directory in the thread of the walk. If open() fails because descriptors or memory are exhausted, no worker
/// begins to read another directory, and the reading is repeated after each reading of a worker that ends. If it still
/// fails when no worker is reading, the failure is final, as it would be without workers.
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

/// Inserts `directory` into the list of open directories.
/// @param before  the element to insert it after; null to insert it at the front
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

/// Removes `directory` from the list of open directories if it is in the list.
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

/// @return true if the walk will enter the remaining subdirectories of `first` before those of `second`
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

/// Inserts `directory` into the list of open directories, in the order of precedes().
void ReadAheadPool::openInOrder(Directory &directory) {
    Directory *before = nullptr;
    for (Directory *each = firstOpen_; each != nullptr && precedes(*each, directory);
         each = each->openAfter_) {
        before = each;
    }
    open(directory, before);
}

/// Marks the next subdirectory of `parent` as begun. Closes `parent` if this was the last one.
/// @param next  position of the entry after this subdirectory
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
        open(*directory, nullptr); // at the front: the walk enters its subdirectories next
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

/// Removes from the children of `parent` the one whose entry has this position.
/// @return the child; null if there is none, because memory for its record was exhausted
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

/// Waits until no worker is reading `directory`.
void ReadAheadPool::waitFor(const Directory &directory, Lock &lock) {
    bool isFlushed = false;
    waitedFor_ = &directory;
    while (directory.state_ == Directory::State::Reading) {
        const timespec time = timeOf(now() + kNsPerSecond);
        if (pthread_cond_timedwait(&done_, &mutex_, &time) == ETIMEDOUT && !isFlushed) {
            // After one second: the reading may hang forever, for instance if a file server does not respond. Flush
            // stdout, so that the reader of a pipe receives all earlier output.
            isFlushed = true;
            lock.unlock();
            static_cast<void>(std::fflush(stdout));
            lock.lock();
        }
    }
    waitedFor_ = nullptr;
}

/// Releases everything that was read ahead below `directory`. A worker that is still reading a directory releases it
/// when the reading ends.
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

/// Subtracts `directories`, which the walk has entered or abandoned, from `stored_`, and the bytes of their entries
/// from `bytes_`. After a limit was reached, workers begin to read again only when both counts are at most half of
/// their limits: waking a worker for each single directory would cost more than reading it.
void ReadAheadPool::countStored(std::size_t directories, std::size_t bytes) {
    stored_ -= directories;
    bytes_ -= bytes;
    if (stored_ <= settings_.mostDirectories / 2 && bytes_ <= settings_.mostBytes / 2) {
        isFull_ = false;
    }
}

// ---- workers

/// @return the number of workers that should be reading: the number of directories that wait to be read, divided by
///         `fastShare` or `slowShare`, but at most mostWorkers(); 0 if workers must not begin to read
std::size_t ReadAheadPool::wantedWorkers() const {
    if (isFull_ || isShortOfDescriptors_) {
        return 0;
    }
    const std::size_t shares = pending_ / (isSlow() ? settings_.slowShare : settings_.fastShare);
    return std::min(shares, mostWorkers());
}

/// Wakes idle workers until as many are reading, or about to, as wantedWorkers() returns.
void ReadAheadPool::wake() {
    if (idle_ == woken_) {
        return;
    }
    for (const std::size_t wanted = wantedWorkers(); idle_ > woken_ && busy_ + woken_ < wanted; ++woken_) {
        static_cast<void>(pthread_cond_signal(&work_));
    }
}

/// Starts workers until there are as many as wantedWorkers() returns. Called by the walk only.
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
    // New threads inherit the signal mask. All signals are blocked in it, so that the first thread handles them.
    sigset_t all;
    sigset_t before;
    static_cast<void>(sigfillset(&all));
    static_cast<void>(pthread_sigmask(SIG_SETMASK, &all, &before));
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) == 0) {
        // readDirectory() needs 32 KiB on the stack; sanitizers add to this.
        constexpr std::size_t kStack = std::size_t{256} << 10;
        static_cast<void>(pthread_attr_setstacksize(&attributes, kStack));
        static_cast<void>(pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED));
        while (workers_ < wanted && !cannotStart_) {
            pthread_t thread = {};
            ++workers_; // before the start: the worker decrements this when it ends
            if (pthread_create(&thread, &attributes, workerMain, this) != 0) {
                --workers_;
                cannotStart_ = true;
            }
        }
        static_cast<void>(pthread_attr_destroy(&attributes));
    }
    static_cast<void>(pthread_sigmask(SIG_SETMASK, &before, nullptr));
}

/// Creates the mutex and the condition variables, and locks the mutex. The caller's Lock, which did nothing because
/// there was no mutex, will unlock it.
/// @return false if memory is exhausted
bool ReadAheadPool::share() {
    pthread_condattr_t attributes;
    if (pthread_condattr_init(&attributes) != 0) {
        return false;
    }
    static_cast<void>(pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC));
    // The results are ignored: with these attributes, the functions cannot fail in the C library of Linux.
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
        const std::size_t mostBytes = settings_.mostBytes / 4; // a larger directory is left to the walk
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

/// Makes a record for the next subdirectory to read and adds it to the children of its parent.
/// @return the record; null if no directory waits to be read, a limit is reached, or memory is exhausted
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
            continue; // left to the walk, which first tests by stat() whether it is a directory
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

/// Stores the result of a worker's reading in the tree and wakes the walk if it waits for it. Releases an abandoned
/// directory.
/// @param ns  the duration of the reading in nanoseconds
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
    // Below a link, subdirectories are not read ahead: the walk may find a cycle and not enter this directory.
    if (directory.unstarted_ > 0 && !directory.isBelowLink_) {
        openInOrder(directory);
        wake();
    }
}

/// Waits at most 100 ms for the workers to end: a worker may hang in a directory that the walk has not entered.
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
