// Reading ahead during the check of libraries. The main thread checks one library after the other, makes all
// decisions, prints all reports and is the only one that uses process-wide state, such as the tag cache. Meanwhile,
// workers (worker_pool.h) perform tasks whose results the main thread will need: they read the tag files of the next
// libraries, probe their file systems, and read the directories that the walk will enter. library_queue.cpp and
// walk_order.cpp describe the order of these tasks.
//
// The mutex of the pool guards the states of all tasks. The result of a task does not change after the task has ended
// and is used without the mutex.

#include "tool/read_ahead_queue.h"

#include "tagfile/keyword.h"
#include "tool/signal_mask.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

namespace vekinfo {

namespace {

/// @return true if open() failed because descriptors or memory were exhausted. Another attempt can then succeed after a
///         worker has ended its task and released them
bool isShort(const DirectoryReading &reading) {
    const bool wasRefused = reading.error == EMFILE || reading.error == ENFILE || reading.error == ENOMEM;
    return reading.outcome == DirectoryReading::Outcome::NotOpened && wasRefused;
}

/// @return true if the tag file sets a namespace, so that the result of a probe can change what is printed
bool needsProbe(std::uint32_t nameSpace) {
    return nameSpace == TOV_NAMESPACE_NT || nameSpace == TOV_NAMESPACE_UNIX;
}

} // namespace

// ---- the walk

Directory *ReadAheadQueue::enter(const char *path, const WalkStep &step) {
    deliverBrokenPipe();
    Lock lock(pool_);
    Directory *directory = takeBegun(path, step);
    if (directory != nullptr) {
        pool_.waitFor(*directory, lock);
        countTaken(*directory);
    }
    if (directory == nullptr || directory->state == State::Failed) {
        directory = readInWalk(directory, path, step, lock);
        if (directory == nullptr) {
            return nullptr;
        }
    }
    order_.open(*directory, true);
    pool_.start(pending());
    return directory;
}

/// @return the record of the directory if a worker has begun to read it; otherwise null, and no worker will begin
///         to do so
Directory *ReadAheadQueue::takeBegun(const char *path, const WalkStep &step) {
    if (step.parent == nullptr) {
        AheadLibrary *library = announced(path);
        if (library == nullptr) {
            return nullptr;
        }
        libraries_.withdraw(library->rootState);
        return std::exchange(library->root, nullptr);
    }
    if (!step.isListed) {
        return nullptr;
    }
    if (step.position < step.parent->next_) {
        return WalkOrder::takeChild(*step.parent, step.position);
    }
    order_.skipTo(*step.parent, step.next);
    return nullptr;
}

/// Reads a directory in the thread of the walk.
/// @param directory  the record of the directory; null to make one
/// @return the record; null if memory is exhausted
Directory *ReadAheadQueue::readInWalk(Directory *directory, const char *path, const WalkStep &step,
                                      Lock &lock) {
    if (directory == nullptr) {
        directory = order_.make(path, {});
    }
    if (directory == nullptr) {
        return nullptr;
    }
    if (step.parent != nullptr) {
        directory->parent_ = step.parent;
        directory->depth_ = step.parent->depth_ + 1;
        directory->position_ = step.position;
        directory->walk_ = step.parent->walk_;
    } else if (const AheadLibrary *library = announced(path)) {
        directory->position_ = library->number;
        directory->walk_ = library->number;
    }
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

void ReadAheadQueue::pass(const WalkStep &step) {
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

/// Reverts the counts of a directory that a worker has begun, and whose result the walk takes or abandons.
void ReadAheadQueue::countTaken(const Directory &directory) {
    pool_.countTaken(directory.state == State::Done ? directory.entries_.capacity() : 0);
}

/// Releases everything that was read ahead below `directory`.
void ReadAheadQueue::abandonBelow(Directory &directory) {
    while (Directory *each = order_.takeBelow(directory)) {
        abandon(each);
    }
}

/// Releases a directory that the walk will not enter. If a worker has begun to read it, the worker releases it when its
/// reading ends.
void ReadAheadQueue::abandon(Directory *directory) {
    pool_.takeBack(*directory);
    if (directory->state == State::Running) {
        pool_.countTaken(0);
        directory->state = State::Abandoned;
    } else {
        countTaken(*directory);
        order_.recycle(directory);
    }
}

// ---- libraries

/// Lets a SIGPIPE that the gate has blocked end the tool after the reader of its output has closed the pipe.
void ReadAheadQueue::deliverBrokenPipe() {
    if (ferror_unlocked(stdout) != 0 || ferror_unlocked(stderr) != 0) { // inline, unlike ferror()
        gate_.deliverBrokenPipe();
    }
}

/// @return the announced library with this directory, if it is the one that is checked now; otherwise null
AheadLibrary *ReadAheadQueue::announced(const char *directory) {
    AheadLibrary *library = libraries_.first();
    return library != nullptr && std::strcmp(library->directory.get(), directory) == 0 ? library : nullptr;
}

bool ReadAheadQueue::wantsLibrary() {
    const Lock lock(pool_);
    return pool_.isSlow() && libraries_.size() < pool_.settings().mostLibraries && !cannotWatch_;
}

bool ReadAheadQueue::announceLibrary(const char *directory, const char *tagPath) {
    if (!gate_.isWatched() && !gate_.startWatch()) {
        cannotWatch_ = true;
        return false;
    }
    const Lock lock(pool_);
    const bool isAppended = libraries_.append(directory, tagPath);
    pool_.start(pending());
    return isAppended;
}

int ReadAheadQueue::readTag(const char *tagPath, VekinfoObj &obj, bool &isFound) {
    deliverBrokenPipe();
    int found = 0;
    AheadLibrary *library = nullptr;
    {
        Lock lock(pool_);
        library = libraries_.first();
        if (library != nullptr) {
            libraries_.withdraw(library->tag.state);
            pool_.waitFor(library->tag, lock);
        }
    }
    const bool isRead = library != nullptr && library->tag.state == State::Done &&
                        std::strcmp(library->tagPath.get(), tagPath) == 0;
    const int status = isRead && library->reading.isUsable() && !library->isMissing
                           ? library->reading.take(tagPath, tov::kVeklibrary, &obj, &found)
                           : readTagInMainThread(tagPath, obj, found);
    isFound = found != 0;
    return status;
}

int ReadAheadQueue::readTagInMainThread(const char *tagPath, VekinfoObj &obj, int &found) {
    if (workers() > 0) {
        tov::TagReading reading;
        reading.read(tagPath, tov::kVeklibrary);
        if (reading.isShort()) {
            Lock lock(pool_);
            pool_.repeatWhileShort(lock, [&reading, tagPath] {
                reading = {};
                reading.read(tagPath, tov::kVeklibrary);
                return !reading.isShort();
            });
        }
        return reading.take(tagPath, tov::kVeklibrary, &obj, &found);
    }
    const std::int64_t begin = monotonicNs();
    const int status = tovGetVekinfoAtLoc(tagPath, tov::kVeklibrary, &obj, &found);
    const std::int64_t end = monotonicNs();
    const Lock lock(pool_);
    lastTagNs_ = pool_.addDuration(end - begin);
    return status;
}

int ReadAheadQueue::probe(const char *directory) {
    {
        Lock lock(pool_);
        if (AheadLibrary *library = announced(directory)) {
            libraries_.withdraw(library->probe.state);
            pool_.waitFor(library->probe, lock);
            if (library->probe.state == State::Done && !library->probeResult.isShort) {
                return library->probeResult.sensitivity;
            }
        }
    }
    return probeInMainThread(directory);
}

int ReadAheadQueue::probeInMainThread(const char *directory) {
    // If the file system is slow, start the thread that handles signals. Without it, all signals are blocked during the
    // probe, and no signal could end the tool if the file server did not respond.
    if (!gate_.isWatched() && !cannotWatch_ && lastTagNs_ >= pool_.settings().slowNs) {
        cannotWatch_ = !gate_.startWatch();
    }
    const auto attempt = [this, directory] {
        if (gate_.isWatched()) {
            return gate_.probe(directory);
        }
        const AllSignalsBlocked blocked;
        return gate_.probe(directory);
    };
    vek::ProbeResult result = attempt();
    if (result.isShort) {
        Lock lock(pool_);
        pool_.repeatWhileShort(lock, [&attempt, &result] {
            result = attempt();
            return !result.isShort;
        });
    }
    return result.sensitivity;
}

void ReadAheadQueue::endLibrary(const char *directory) {
    Lock lock(pool_);
    AheadLibrary *library = announced(directory);
    if (library == nullptr) {
        return;
    }
    pool_.waitFor(library->tag, lock);
    libraries_.withdraw(library->probe.state);
    pool_.waitFor(library->probe, lock);
    if (library->root != nullptr) {
        abandonBelow(*library->root);
        order_.close(*library->root);
        abandon(library->root);
    }
    libraries_.removeFirst();
    pool_.wake(pending());
}

void ReadAheadQueue::release() {
    while (libraries_.first() != nullptr) {
        endLibrary(libraries_.first()->directory.get());
    }
    gate_.stopWatch();
    pool_.release();
}

// ---- the workers

WorkerTask *ReadAheadQueue::begin(void *queue) {
    auto &self = *static_cast<ReadAheadQueue *>(queue);
    WorkerTask *task = self.libraries_.beginNext(self.order_.nextWalk(), self.order_);
    if (task == nullptr) {
        task = self.order_.beginNext();
    }
    if (task != nullptr && task->kind == WorkerTask::Kind::Directory) {
        self.pool_.countBegun();
    }
    return task;
}

std::size_t ReadAheadQueue::perform(void *queue, WorkerTask &task, std::size_t mostBytes) {
    switch (task.kind) {
    case WorkerTask::Kind::Directory:
        static_cast<Directory &>(task).read(mostBytes);
        return static_cast<Directory &>(task).entries_.capacity();
    case WorkerTask::Kind::Tag: {
        AheadLibrary &library = *static_cast<LibraryTask &>(task).library;
        library.reading.read(library.tagPath.get(), tov::kVeklibrary);
        library.isMissing =
            library.reading.isMissing() && !vek::DirectoryIdentity::of(library.directory.get()).has_value();
        break;
    }
    case WorkerTask::Kind::Probe: {
        AheadLibrary &library = *static_cast<LibraryTask &>(task).library;
        library.probeResult = static_cast<ReadAheadQueue *>(queue)->gate_.probe(library.directory.get());
        break;
    }
    }
    return 0;
}

void ReadAheadQueue::end(void *queue, WorkerTask &task) {
    auto &self = *static_cast<ReadAheadQueue *>(queue);
    if (task.kind == WorkerTask::Kind::Directory) {
        self.endReading(static_cast<Directory &>(task));
        return;
    }
    task.state = State::Done;
    AheadLibrary &library = *static_cast<LibraryTask &>(task).library;
    if (task.kind == WorkerTask::Kind::Tag && needsProbe(library.reading.nameSpace())) {
        self.libraries_.request(library.probe);
        self.pool_.wake(self.pending());
    }
}

/// Sets the state of a directory that a worker has read, and lets workers read its subdirectories. If the walk has
/// abandoned the directory, releases it instead.
void ReadAheadQueue::endReading(Directory &directory) {
    if (directory.state == State::Abandoned) {
        order_.recycle(&directory);
        return;
    }
    using Outcome = DirectoryReading::Outcome;
    const Outcome outcome = directory.reading_.outcome;
    // See separateDescriptors() in worker_pool.cpp.
    const bool mayExist = outcome == Outcome::NotOpened && directory.reading_.error == ENOENT;
    if (outcome == Outcome::NoMemory || outcome == Outcome::TooLarge || mayExist ||
        isShort(directory.reading_)) {
        directory.clear();
        directory.state = State::Failed;
        return;
    }
    directory.state = State::Done;
    pool_.countBytes(directory.entries_.capacity());
    directory.unstarted_ = directory.entries_.directories();
    // If the walk has followed a link to `directory` or to an ancestor of it, its subdirectories are not read ahead:
    // the walk may find that `directory` closes a cycle, and not enter it.
    if (!directory.isBelowLink_) {
        order_.open(directory, false);
        pool_.wake(pending());
    }
}

void ReadAheadQueue::destroy(void *queue) {
    std::destroy_at(static_cast<ReadAheadQueue *>(queue));
    std::free(queue);
}

} // namespace vekinfo
