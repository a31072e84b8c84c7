#ifndef TOOL_READ_AHEAD_H
#define TOOL_READ_AHEAD_H

/// Reads directories ahead of a walk, by worker threads. See read_ahead.cpp.

#include "common/containers/directory_identity.h"
#include "common/containers/growing_array.h"
#include "common/platform/entry_list.h"
#include "tool/directory_reader.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace vekinfo {

/// How many workers there are, and when they are started.
struct ReadAheadSettings {
    /// For directories that are read without waiting, from the caches of the kernel. 0: one for each processor, at most 8.
    std::size_t fastWorkers = 0;
    /// For directories that each take at least `slowNs`: their readers wait for the disk or the network. Servers of
    /// network file systems answer some tens of requests at the same time.
    std::size_t slowWorkers = 32;
    std::int64_t slowNs = 200'000;
    /// Directories that are read before workers are started for a fast file system: starting them takes as long as
    /// reading some tens of directories.
    std::size_t directoriesBefore = 256;
    /// Directories that must wait to be read, for each worker that is started or woken, on a fast file system and on a
    /// slow one. Waking a worker takes as long as reading one or two directories from the caches.
    std::size_t fastShare = 16;
    std::size_t slowShare = 1;
    /// Directories on a slow file system that must wait before the first worker is started.
    std::size_t slowBefore = 4;
    /// The most that may be read and not be taken yet: directories, and bytes of all entries.
    std::size_t mostDirectories = 1024;
    std::size_t mostBytes = std::size_t{16} << 20;
};

class ReadAheadPool;

/// A directory that has been read, or is being read.
class Directory {
  public:
    [[nodiscard]] const char *path() const { return &path_[0]; }
    [[nodiscard]] const vek::EntryList &entries() const { return entries_; }
    [[nodiscard]] const DirectoryReading &reading() const { return reading_; }
    /// @return nothing if it was not wanted, or could not be found out
    [[nodiscard]] const std::optional<vek::DirectoryIdentity> &identity() const { return identity_; }

  private:
    friend class ReadAheadPool;

    enum class State : unsigned char { Reading, Read, Unread, Abandoned };

    // What the walk sees. It does not change after reading.
    vek::GrowingArray<char> path_; ///< with a NUL
    vek::EntryList entries_;
    DirectoryReading reading_;
    std::optional<vek::DirectoryIdentity> identity_;

    // Its place in the tree.
    Directory *parent_ = nullptr;
    std::size_t depth_ = 0;
    std::size_t position_ = 0; ///< of its entry in the parent
    bool identifies_ = false;
    bool isBelowLink_ = false;

    // Guarded by the mutex of the pool once there are workers.
    State state_ = State::Read;
    std::size_t next_ = 0;      ///< position of the first entry that is neither started nor passed
    std::size_t unstarted_ = 0; ///< the number of DT_DIR entries from there on
    Directory *firstChild_ =
        nullptr; ///< the children that are started and not taken yet, in the order of the entries
    Directory *lastChild_ = nullptr;
    Directory *sibling_ = nullptr; ///< the next one of those; also the next one of the pool's unused records
    Directory *openBefore_ = nullptr;
    Directory *openAfter_ = nullptr;
    bool isOpen_ = false; ///< whether it is in the pool's list of open directories
};

/// Reads the directories of walks. Not for several threads; it has its own.
class ReadAhead {
  public:
    explicit ReadAhead(const ReadAheadSettings &settings = {}) : settings_(settings) {}
    ReadAhead(const ReadAhead &) = delete;
    ReadAhead &operator=(const ReadAhead &) = delete;
    /// Ends the workers, without waiting for one that hangs in a system call. No directory may be in use.
    ~ReadAhead();

    /// How the walk has come to a directory.
    struct Step {
        Directory *parent = nullptr; ///< the directory that holds the entry; null for the top of the walk
        std::size_t position = 0;    ///< of the entry
        std::size_t next = 0;        ///< of the entry after it
        bool isListed = false;    ///< whether the type of the entry is DT_DIR and it is not a link's target
        bool identifies = false;  ///< whether the identity of the directory is needed
        bool isBelowLink = false; ///< whether the identities of the directories below it are needed
    };

    /// Takes a directory that was read ahead, or reads it. The entries of each directory must be taken or passed in
    /// their order.
    /// @return a directory for leave(); null if memory is exhausted
    [[nodiscard]] Directory *enter(const char *path, const Step &step);

    /// Goes on to the next entry without entering this one, which has the type DT_DIR.
    void pass(const Step &step);

    /// Ends the use of a directory, and of everything that was read ahead below it.
    void leave(Directory *directory);

    /// @return the number of workers that have been started
    [[nodiscard]] std::size_t workers() const;

  private:
    ReadAheadSettings settings_;
    ReadAheadPool *pool_ = nullptr; ///< shared with the workers
};

} // namespace vekinfo

#endif
