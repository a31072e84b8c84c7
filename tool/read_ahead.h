#ifndef TOOL_READ_AHEAD_H
#define TOOL_READ_AHEAD_H

/// What worker threads read ahead of the check of libraries: the directories of depth-first walks, and the tag files
/// and probes of the libraries that are checked next. See read_ahead.cpp.

#include "tagfile/tov.h"
#include "tool/walk_order.h"
#include "tool/worker_pool.h"

#include <cstddef>

namespace vekinfo {

class ReadAheadQueue;

/// Reads the directories of depth-first walks and the tag files of libraries, with worker threads that read ahead. All
/// its functions must be called by the same thread.
class ReadAhead {
  public:
    explicit ReadAhead(const WorkerSettings &settings = {}) : settings_(settings) {}
    ReadAhead(const ReadAhead &) = delete;
    ReadAhead &operator=(const ReadAhead &) = delete;
    /// Ends the workers. Does not wait for a worker that is blocked in a system call for more than 100 ms. leave()
    /// must have been called for every directory.
    ~ReadAhead();

    using Step = WalkStep;

    /// Enters the directory `path`: waits for the worker that is reading it, or reads it if no worker has begun to.
    /// For each DT_DIR entry of a directory, in the order of the entries, either enter() or pass() must be called.
    /// @return the directory, which the caller must give to leave(); null if memory is exhausted
    [[nodiscard]] Directory *enter(const char *path, const Step &step);

    /// Skips the entry of `step`, which has the type DT_DIR: if no worker has begun to read it, none will.
    void pass(const Step &step);

    /// Releases a directory that enter() has returned, and everything that was read ahead below it.
    void leave(Directory *directory);

    /// @return true if reading is slow and few libraries wait to be read, so that announceLibrary() should be called
    [[nodiscard]] bool wantsLibrary();

    /// Lets workers read a library that will be checked: they read its tag file, probe its file system if the tag file
    /// requires this, and read its directories. Announced libraries must be checked in the order of the announcements.
    /// To check a library, call readTag(), probe(), enter() and endLibrary(), in this order.
    /// @param directory  the path of the library directory
    /// @param tagPath    the path of its tag file
    /// @return false if memory is exhausted, or threads cannot be started
    [[nodiscard]] bool announceLibrary(const char *directory, const char *tagPath);

    /// Does the same as tovGetVekinfoAtLoc() with the arguments `tagPath` and VEKLIBRARY, but does not read the file if
    /// a worker has already read it.
    int readTag(const char *tagPath, VekinfoObj &obj, bool &isFound);

    /// @return the result of vekGetFilesysCaseSensitivity() for the library directory `directory`
    [[nodiscard]] int probe(const char *directory);

    /// Releases what was read of the library `directory`, if it was announced.
    void endLibrary(const char *directory);

    /// @return the number of worker threads
    [[nodiscard]] std::size_t workers() const;

  private:
    [[nodiscard]] bool hasQueue();

    WorkerSettings settings_;
    ReadAheadQueue *queue_ = nullptr; ///< shared with the workers; null before it is needed
};

} // namespace vekinfo

#endif
