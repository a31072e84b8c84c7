// The order in which the directories of a depth-first walk should be read ahead.
//
// The directories form a tree. A directory is "open" if it has subdirectories that neither the walk nor a worker has
// begun to read. The open directories are in a doubly linked list, in the order in which the walk will enter those
// subdirectories: a directory comes before its ancestors and before its later siblings. A worker takes the next
// subdirectory of the first open directory, reads it, and inserts it into the list. So the directories that the walk
// enters first are read first.
//
// Most operations take O(1) time. The search for the next subdirectory reads each entry of a directory once in total.
// Inserting a directory that a worker has read compares it with the open directories before it. Releasing what was read
// ahead below a directory takes time in proportion to the number of released directories.

#include "tool/walk_order.h"

#include "tagfile/tag_path.h"

#include <algorithm>
#include <cstdlib>
#include <dirent.h>
#include <memory>
#include <utility>

namespace vekinfo {

namespace {

void destroy(Directory *directory) {
    std::destroy_at(directory);
    std::free(directory);
}

} // namespace

void Directory::read(std::size_t mostBytes) {
    const ReadingOptions options = {.identifies = identifies_, .mostBytes = mostBytes};
    reading_ = readDirectory(path(), options, entries_, identity_);
}

void Directory::clear() {
    entries_ = {};
    identity_ = {};
}

// ---- records

WalkOrder::~WalkOrder() {
    while (unused_ != nullptr) {
        Directory *next = unused_->sibling_;
        destroy(unused_);
        unused_ = next;
    }
}

Directory *WalkOrder::make(std::string_view parentPath, std::string_view name) {
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

void WalkOrder::recycle(Directory *directory) {
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

// ---- the list of open directories

void WalkOrder::open(Directory &directory, bool isEntered) {
    if (directory.isOpen_ || directory.unstarted_ == 0) {
        return;
    }
    Directory *before = nullptr;
    if (!isEntered) {
        for (Directory *each = firstOpen_; each != nullptr && precedes(*each, directory);
             each = each->openAfter_) {
            before = each;
        }
    }
    insert(directory, before);
}

/// Inserts `directory` into the list of open directories.
/// @param before  the element of the list after which `directory` is inserted; null to insert it at the front
void WalkOrder::insert(Directory &directory, Directory *before) {
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

void WalkOrder::close(Directory &directory) {
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
bool WalkOrder::precedes(const Directory &first, const Directory &second) {
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

void WalkOrder::skipTo(Directory &parent, std::size_t next) {
    parent.next_ = next;
    --parent.unstarted_;
    if (parent.isOpen_) {
        --pending_;
        if (parent.unstarted_ == 0) {
            close(parent);
        }
    }
}

// ---- children that are read ahead

Directory *WalkOrder::beginRoot(std::string_view path, std::size_t walk) {
    Directory *root = make(path, {});
    if (root != nullptr) {
        root->position_ = walk;
        root->walk_ = walk;
        root->state = WorkerTask::State::Running;
    }
    return root;
}

Directory *WalkOrder::beginNext() {
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
            continue; // not read ahead: the walk first tests with stat() whether it is a directory
        }
        Directory *child = make(parent.path(), entry.name);
        if (child == nullptr) {
            return nullptr;
        }
        child->parent_ = &parent;
        child->depth_ = parent.depth_ + 1;
        child->position_ = position;
        child->walk_ = parent.walk_;
        child->identifies_ = parent.isBelowLink_;
        child->isBelowLink_ = parent.isBelowLink_;
        child->state = WorkerTask::State::Running;
        (parent.lastChild_ == nullptr ? parent.firstChild_ : parent.lastChild_->sibling_) = child;
        parent.lastChild_ = child;
        return child;
    }
    return nullptr;
}

Directory *WalkOrder::takeChild(Directory &parent, std::size_t position) {
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

/// Removes the first child of `directory`. Moves the children of this child to the front of the children of
/// `directory`, so that repeated calls remove the whole subtree without recursion.
Directory *WalkOrder::takeBelow(Directory &directory) {
    Directory *taken = directory.firstChild_;
    if (taken == nullptr) {
        directory.lastChild_ = nullptr;
        return nullptr;
    }
    directory.firstChild_ = taken->sibling_;
    if (taken->lastChild_ != nullptr) {
        taken->lastChild_->sibling_ = directory.firstChild_;
        directory.firstChild_ = taken->firstChild_;
    }
    taken->firstChild_ = nullptr;
    taken->lastChild_ = nullptr;
    taken->sibling_ = nullptr;
    close(*taken);
    return taken;
}

} // namespace vekinfo
