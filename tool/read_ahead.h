#ifndef TOOL_READ_AHEAD_H
#define TOOL_READ_AHEAD_H

/// Reading ahead during the check of libraries: worker threads read directories and tag files, and probe file systems,
/// before the check needs the results. See read_ahead_queue.cpp.

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
    /// Ends the workers. If a worker is blocked while it reads a directory, waits for it, but at most 100 ms. leave()
    /// must have been called for every directory that enter() has returned.
    ~ReadAhead();

    using Step = WalkStep;

    /// Enters the directory `path`. Reads it, unless a worker has begun to read it; in this case, waits until the
    /// worker has finished. For each DT_DIR entry of the entered directory, in the order of the entries, the caller
    /// must then call either enter() or pass().
    /// @param step  the directory entry that leads to the directory
    /// @return the directory, which the caller must give to leave(); null if memory is exhausted
    [[nodiscard]] Directory *enter(const char *path, const Step &step);

    /// Excludes the subdirectory of `step`, a DT_DIR entry, from reading ahead: no worker will begin to read it.
    void pass(const Step &step);

    /// Releases a directory that enter() has returned, and everything that was read ahead below it.
    void leave(Directory *directory);

    /// @return true if announceLibrary() should be called: reading is slow, and the number of announced libraries that
    ///         endLibrary() has not released yet is below WorkerSettings::mostLibraries
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

    /// Frees everything that workers have read ahead for the library with the directory `directory`. Does nothing if
    /// the library was not announced.
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
