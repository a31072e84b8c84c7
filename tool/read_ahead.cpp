// ReadAhead calls the functions of a ReadAheadQueue object, which it creates at the first use. That object is on the
// heap, because a worker that is blocked in a system call can outlive the ReadAhead object.

#include "tool/read_ahead.h"

#include "tagfile/keyword.h"
#include "tool/read_ahead_queue.h"

#include <cstdlib>
#include <memory>

namespace vekinfo {

ReadAhead::~ReadAhead() {
    if (queue_ != nullptr) {
        queue_->release();
    }
}

/// Makes the queue if there is none. @return false if memory is exhausted
bool ReadAhead::hasQueue() {
    if (queue_ == nullptr) {
        void *memory = std::malloc(sizeof(ReadAheadQueue));
        queue_ =
            memory == nullptr ? nullptr : std::construct_at(static_cast<ReadAheadQueue *>(memory), settings_);
    }
    return queue_ != nullptr;
}

Directory *ReadAhead::enter(const char *path, const Step &step) {
    return hasQueue() ? queue_->enter(path, step) : nullptr;
}

void ReadAhead::pass(const Step &step) {
    queue_->pass(step);
}

void ReadAhead::leave(Directory *directory) {
    queue_->leave(directory);
}

bool ReadAhead::wantsLibrary() {
    return queue_ != nullptr && queue_->wantsLibrary();
}

bool ReadAhead::announceLibrary(const char *directory, const char *tagPath) {
    return hasQueue() && queue_->announceLibrary(directory, tagPath);
}

int ReadAhead::readTag(const char *tagPath, VekinfoObj &obj, bool &isFound) {
    if (hasQueue()) {
        return queue_->readTag(tagPath, obj, isFound);
    }
    int found = 0;
    const int status = tovGetVekinfoAtLoc(tagPath, tov::kVeklibrary, &obj, &found);
    isFound = found != 0;
    return status;
}

int ReadAhead::probe(const char *directory) {
    return hasQueue() ? queue_->probe(directory) : probeWithSignalsBlocked(directory);
}

void ReadAhead::endLibrary(const char *directory) {
    if (queue_ != nullptr) {
        queue_->endLibrary(directory);
    }
}

std::size_t ReadAhead::workers() const {
    return queue_ == nullptr ? 0 : queue_->workers();
}

} // namespace vekinfo
