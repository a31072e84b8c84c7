#ifndef TOOL_WALK_ORDER_H
#define TOOL_WALK_ORDER_H

/// The directories of depth-first walks, and the order in which they should be read ahead. See walk_order.cpp.

#include "common/containers/directory_identity.h"
#include "common/containers/growing_array.h"
#include "common/platform/entry_list.h"
#include "tool/directory_reader.h"
#include "tool/worker_task.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace vekinfo {

/// A directory that a walk has entered, or that a worker has read or is reading.
class Directory : public WorkerTask {
  public:
    Directory() : WorkerTask(Kind::Directory) {}

    [[nodiscard]] const char *path() const { return &path_[0]; }
    [[nodiscard]] const vek::EntryList &entries() const { return entries_; }
    [[nodiscard]] const DirectoryReading &reading() const { return reading_; }
    /// @return the device and inode; nullopt if they were not to be determined, or fstat() failed
    [[nodiscard]] const std::optional<vek::DirectoryIdentity> &identity() const { return identity_; }

    /// Reads the directory. If the entries need more than `mostBytes` bytes, stops with the outcome TooLarge. Any
    /// thread may call this function without the mutex of the pool, because no other thread uses the result before the
    /// function has returned.
    void read(std::size_t mostBytes);

    /// Removes the result of the reading, so that the directory can be read again.
    void clear();

  private:
    friend class WalkOrder;
    friend class ReadAheadQueue;

    // The path, and the result of the reading. They do not change after the reading, so the walk uses them without the
    // mutex of the pool.
    vek::GrowingArray<char> path_; ///< NUL-terminated
    vek::EntryList entries_;
    DirectoryReading reading_;
    std::optional<vek::DirectoryIdentity> identity_;

    // The location of the directory in the tree of the walk.
    Directory *parent_ = nullptr; ///< null for the start of the walk
    std::size_t depth_ = 0;       ///< 0 for the start of the walk
    /// Position of the entry of this directory in `parent_->entries_`. The directory in which a walk starts has no
    /// parent: its position is the number of the walk, so that positions also order several walks.
    std::size_t position_ = 0;
    std::size_t walk_ = 0;     ///< the number of the walk; later walks have larger numbers
    bool identifies_ = false;  ///< whether to determine `identity_`
    bool isBelowLink_ = false; ///< whether the walk has followed a link to it or to an ancestor of it

    // Guarded by the mutex of the pool.
    /// Position of the entry after the last subdirectory that was begun. A subdirectory is begun if a worker has begun
    /// to read it, or the walk has entered or skipped it.
    std::size_t next_ = 0;
    std::size_t unstarted_ = 0; ///< the number of DT_DIR entries at or after `next_`
    Directory *firstChild_ =
        nullptr; ///< list, in entry order, of the children that workers have begun to read and the walk has not entered
    Directory *lastChild_ = nullptr;
    Directory *sibling_ = nullptr; ///< the next child in that list; in an unused record, the next unused one
    Directory *openBefore_ = nullptr; ///< the previous one in the list of open directories
    Directory *openAfter_ = nullptr;  ///< the next one in the list of open directories
    bool isOpen_ = false;             ///< whether the directory is in the list of open directories
};

/// The directory entry through which the walk has reached a directory.
struct WalkStep {
    Directory *parent = nullptr; ///< the directory that holds the entry; null for the start of the walk
    std::size_t position = 0;    ///< position of the entry in `parent->entries()`
    std::size_t next = 0;        ///< position of the entry after it
    bool isListed =
        false; ///< whether the entry has the type DT_DIR and ReadAhead::pass() was not called for it
    bool identifies = false;  ///< whether the identity of the directory is needed
    bool isBelowLink = false; ///< whether the directory is a link target or below one
};

/// The tree of the directories, and the list of those that have subdirectories to read. Not thread-safe.
class WalkOrder {
  public:
    WalkOrder() = default;
    WalkOrder(const WalkOrder &) = delete;
    WalkOrder &operator=(const WalkOrder &) = delete;
    /// Frees the unused records. All other records must have been released with recycle().
    ~WalkOrder();

    /// Makes a record with the path "parentPath/name", or `parentPath` if `name` is empty. Reuses an unused record.
    /// @return the record; null if memory is exhausted
    [[nodiscard]] Directory *make(std::string_view parentPath, std::string_view name);

    /// Resets the record and keeps it for reuse. Its buffers are also kept, except that buffers of more than 4096 bytes
    /// are freed.
    void recycle(Directory *directory);

    /// Inserts `directory`, which the walk has entered or a worker has read, into the list of open directories. Does
    /// nothing if `directory` is in the list already, or has no subdirectories that wait to be read.
    /// @param isEntered  true if the walk has entered `directory`. It is then inserted at the front, because the walk
    ///                   will enter its subdirectories next
    void open(Directory &directory, bool isEntered);

    /// Removes `directory` from the list of open directories if it is in the list.
    void close(Directory &directory);

    /// Marks the next subdirectory of `parent` as begun. If it is the last one, removes `parent` from the list of open
    /// directories.
    /// @param next  position of the entry after this subdirectory
    void skipTo(Directory &parent, std::size_t next);

    /// Makes a record for the start of a walk, in the state Running.
    /// @param walk  the number of the walk
    /// @return the record; null if memory is exhausted
    [[nodiscard]] Directory *beginRoot(std::string_view path, std::size_t walk);

    /// @return the number of the walk to which the directory `firstOpen_` belongs; SIZE_MAX if `firstOpen_` is null
    [[nodiscard]] std::size_t nextWalk() const {
        return firstOpen_ == nullptr ? SIZE_MAX : firstOpen_->walk_;
    }

    /// Makes a record for the subdirectory to read next, in the state Running, and adds it to the children of its
    /// parent.
    /// @return the record; null if no subdirectory waits to be read, or memory is exhausted
    [[nodiscard]] Directory *beginNext();

    /// Removes the child whose entry is at `position` from the children of `parent` that workers have begun to read.
    /// @return the child; null if it is not the first one, for instance because memory for its record was exhausted
    [[nodiscard]] static Directory *takeChild(Directory &parent, std::size_t position);

    /// Removes one directory that was read ahead below `directory` from the tree and from the list of open directories.
    /// @return the removed directory; null if there is none left
    [[nodiscard]] Directory *takeBelow(Directory &directory);

    /// @return the number of subdirectories of open directories that wait to be read
    [[nodiscard]] std::size_t pending() const { return pending_; }

  private:
    static bool precedes(const Directory &first, const Directory &second);
    void insert(Directory &directory, Directory *before);

    Directory *unused_ = nullptr;    ///< list of the records to reuse, linked by `sibling_`
    Directory *firstOpen_ = nullptr; ///< the list of open directories
    std::size_t pending_ = 0;        ///< number of subdirectories of open directories that wait to be read
};

} // namespace vekinfo

#endif
