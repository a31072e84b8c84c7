#ifndef TOOL_READ_AHEAD_H
#define TOOL_READ_AHEAD_H

/// Worker threads that read the directories that a depth-first walk will enter next. See read_ahead.cpp.

#include "common/containers/directory_identity.h"
#include "common/containers/growing_array.h"
#include "common/platform/entry_list.h"
#include "tool/directory_reader.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace vekinfo {

/// The number of worker threads, the conditions under which they are started, and the limits on what they read ahead.
struct ReadAheadSettings {
    /// The most workers on a fast file system, where directories are read from the caches of the kernel. 0: one for
    /// each processor, at most 8.
    std::size_t fastWorkers = 0;
    /// The most workers on a slow file system, where readers wait for the disk or the network. Servers of network file
    /// systems process some tens of requests at the same time.
    std::size_t slowWorkers = 32;
    /// A file system is slow if reading each of the last three directories took at least this time in nanoseconds.
    std::int64_t slowNs = 200'000;
    /// On a fast file system, workers are started after the walk has read this many directories. Starting workers
    /// takes as long as reading some tens of directories.
    std::size_t directoriesBefore = 256;
    /// On a fast file system, one worker is started or woken for this number of directories that wait to be read.
    /// Waking a worker takes as long as reading one or two directories from the caches.
    std::size_t fastShare = 16;
    /// The same number for a slow file system, where reading a directory takes much longer than waking a worker.
    std::size_t slowShare = 1;
    /// On a slow file system, the first worker is started when this number of directories wait to be read.
    std::size_t slowBefore = 4;
    /// The most directories that workers have read, or are reading, and that the walk has not entered yet.
    std::size_t mostDirectories = 1024;
    /// The most bytes of memory for the entries of such directories.
    std::size_t mostBytes = std::size_t{16} << 20;
};

class ReadAheadPool;

/// A directory that the walk or a worker has read, or is reading.
class Directory {
  public:
    [[nodiscard]] const char *path() const { return &path_[0]; }
    [[nodiscard]] const vek::EntryList &entries() const { return entries_; }
    [[nodiscard]] const DirectoryReading &reading() const { return reading_; }
    /// @return the device and inode; nullopt if `identifies` was false in the Step, or fstat() failed
    [[nodiscard]] const std::optional<vek::DirectoryIdentity> &identity() const { return identity_; }

  private:
    friend class ReadAheadPool;

    /// Reading: a worker reads the directory. Read: the reading has ended, with the outcome in `reading_`.
    /// Unread: a worker could not read it for lack of memory or descriptors, or because it is too large, so the walk
    /// must read it. Abandoned: a worker still reads it, but the walk will not enter it; the worker releases it.
    enum class State : unsigned char { Reading, Read, Unread, Abandoned };

    // The result of the reading. It does not change afterwards, so the walk uses it without the mutex.
    vek::GrowingArray<char> path_; ///< NUL-terminated
    vek::EntryList entries_;
    DirectoryReading reading_;
    std::optional<vek::DirectoryIdentity> identity_;

    // The location of the directory in the tree of the walk.
    Directory *parent_ = nullptr; ///< null for the start of the walk
    std::size_t depth_ = 0;       ///< 0 for the start of the walk
    std::size_t position_ = 0;    ///< position of its entry in `parent_->entries_`
    bool identifies_ = false;     ///< whether to determine `identity_`
    bool isBelowLink_ = false;    ///< whether the walk has followed a link to it or to an ancestor of it

    // Guarded by the mutex of the pool once there are workers.
    State state_ = State::Read;
    /// Position of the entry after the last subdirectory that was begun: read by a worker, entered or passed.
    std::size_t next_ = 0;
    std::size_t unstarted_ = 0; ///< the number of DT_DIR entries at or after `next_`
    Directory *firstChild_ =
        nullptr; ///< list of the children that workers have begun and the walk has not entered, in entry order
    Directory *lastChild_ = nullptr;
    Directory *sibling_ = nullptr; ///< the next child in that list; in an unused record, the next unused one
    Directory *openBefore_ = nullptr; ///< the previous one in the pool's list of open directories
    Directory *openAfter_ = nullptr;  ///< the next one in the pool's list of open directories
    bool isOpen_ = false;             ///< whether the directory is in the pool's list of open directories
};

/// Reads the directories of depth-first walks, with worker threads that read ahead. All its functions must be called
/// by the same thread.
class ReadAhead {
  public:
    explicit ReadAhead(const ReadAheadSettings &settings = {}) : settings_(settings) {}
    ReadAhead(const ReadAhead &) = delete;
    ReadAhead &operator=(const ReadAhead &) = delete;
    /// Ends the workers. Does not wait for a worker that is blocked in a system call for more than 100 ms. leave()
    /// must have been called for every directory.
    ~ReadAhead();

    /// The directory entry through which the walk has reached a directory.
    struct Step {
        Directory *parent = nullptr; ///< the directory that holds the entry; null for the start of the walk
        std::size_t position = 0;    ///< position of the entry in `parent->entries()`
        std::size_t next = 0;        ///< position of the entry after it
        bool isListed = false;    ///< whether the entry has the type DT_DIR and pass() was not called for it
        bool identifies = false;  ///< whether the identity of the directory is needed
        bool isBelowLink = false; ///< whether the directory is a link target or below one
    };

    /// Enters the directory `path`: waits for the worker that is reading it, or reads it if no worker has begun to.
    /// Each DT_DIR entry of a directory must be either entered or passed, in the order of the entries.
    /// @return the directory, which the caller must give to leave(); null if memory is exhausted
    [[nodiscard]] Directory *enter(const char *path, const Step &step);

    /// Skips the entry of `step`, which has the type DT_DIR: if no worker has begun to read it, none will.
    void pass(const Step &step);

    /// Releases a directory that enter() has returned, and everything that was read ahead below it.
    void leave(Directory *directory);

    /// @return the number of worker threads
    [[nodiscard]] std::size_t workers() const;

  private:
    ReadAheadSettings settings_;
    ReadAheadPool *pool_ = nullptr; ///< shared with the workers; null before the first enter()
};

} // namespace vekinfo

#endif
