// A singly linked list of the libraries that will be checked next. Workers perform the tasks of these libraries in the
// order in which the main thread needs the results: library by library, and for each one first the tag file, then the
// probe, then the directory. The search for the next task begins at the head of the list. WorkerSettings::mostLibraries
// limits the length of the list.

#include "tool/library_queue.h"

#include <cstdlib>
#include <memory>

namespace vekinfo {

namespace {

using State = WorkerTask::State;

void destroy(AheadLibrary *library) {
    std::destroy_at(library);
    std::free(library);
}

} // namespace

LibraryQueue::~LibraryQueue() {
    while (first_ != nullptr) {
        removeFirst();
    }
}

bool LibraryQueue::append(const char *directory, const char *tagPath) {
    void *memory = std::malloc(sizeof(AheadLibrary));
    if (memory == nullptr) {
        return false;
    }
    AheadLibrary *library = std::construct_at(static_cast<AheadLibrary *>(memory));
    library->directory = vek::copyText(directory);
    library->tagPath = vek::copyText(tagPath);
    if (!library->directory || !library->tagPath) {
        destroy(library);
        return false;
    }
    ++appended_;
    library->number = appended_;
    library->tag.state = State::Waiting;
    pending_ += 2; // the tag file and the directory
    (last_ == nullptr ? first_ : last_->next) = library;
    last_ = library;
    ++size_;
    return true;
}

void LibraryQueue::removeFirst() {
    AheadLibrary *removed = first_;
    withdraw(removed->tag.state);
    withdraw(removed->probe.state);
    withdraw(removed->rootState);
    first_ = removed->next;
    if (first_ == nullptr) {
        last_ = nullptr;
    }
    --size_;
    destroy(removed);
}

WorkerTask *LibraryQueue::beginNext(std::size_t last, WalkOrder &order) {
    for (AheadLibrary *each = first_; each != nullptr && each->number <= last; each = each->next) {
        for (LibraryTask *task : {&each->tag, &each->probe}) {
            if (task->state == State::Waiting) {
                task->state = State::Running;
                --pending_;
                return task;
            }
        }
        if (each->rootState == State::Waiting) {
            each->rootState = State::Running;
            --pending_;
            each->root = order.beginRoot(each->directory.get(), each->number);
            return each->root;
        }
    }
    return nullptr;
}

void LibraryQueue::withdraw(WorkerTask::State &state) {
    if (state == State::Waiting) {
        state = State::Failed;
        --pending_;
    }
}

void LibraryQueue::request(LibraryTask &task) {
    task.state = State::Waiting;
    ++pending_;
}

} // namespace vekinfo
