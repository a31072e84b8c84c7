#ifndef RYNI_FILE_TEXT_H
#define RYNI_FILE_TEXT_H

#include "common/base/owned.h"
#include "common/platform/line_reader.h"
#include "libdef/ryn.h"

#include <cstddef>
#include <string_view>
#include <sys/types.h>

namespace ryn {

/// One library definition file that is read line by line, and that can be suspended while a file that it includes is
/// read. suspend() copies the unread bytes of the file to memory and closes the file, so that deeply nested INCLUDEs do
/// not need one descriptor each. suspend() copies at most kMaxHeld bytes. For a file with more
/// unread bytes, the caller of suspend() chooses: the file stays open, or it is closed until resume() opens it again.
class FileText {
  public:
    /// Maximum number of bytes that a suspended file keeps in memory: 64 KiB, enough for a vek.lib of about 1,000
    /// libraries with 64 bytes per line.
    static constexpr std::size_t kMaxHeld = std::size_t{64} << 10U;

    /// Opens the file `path` and starts reading it.
    /// @return RYN_OK; RYN_SYSTEM_ERROR if the file cannot be opened; RYN_MEMORY_ERROR
    [[nodiscard]] int open(const char *path);

    /// Reads the next line into `line`.
    /// @return false at the end of the file, after an error, and between suspend() and resume()
    [[nodiscard]] bool next(vek::LineBuffer &line) { return lines_ && lines_->next(line); }

    /// @return RYN_OK; after a failure, RYN_SYSTEM_ERROR or RYN_MEMORY_ERROR. After a failure, next() returns false
    [[nodiscard]] int error() const;

    /// Stops reading until resume() is called.
    /// @param mayStayOpen  true to keep the file open if it has more than kMaxHeld unread bytes; false to close it even
    ///                     then
    /// @return false if memory is exhausted; error() then returns RYN_MEMORY_ERROR, and next() returns false
    [[nodiscard]] bool suspend(bool mayStayOpen);

    /// @return true if the file has an open descriptor
    [[nodiscard]] bool isOpen() const { return file_.valid(); }

    /// Continues to read after suspend(). If resume() fails, error() returns the code of the failure.
    /// @param path  the path that was given to open(). If suspend() closed the file before all bytes were read or
    ///              copied, resume() opens `path` again, and fails if it is a different file now
    void resume(const char *path);

  private:
    /// Identity of a file that suspend() closed before all its bytes were read or copied, and the offset of the first
    /// byte that was neither read nor copied.
    struct ClosedAt {
        dev_t device;
        ino_t inode;
        off_t offset; ///< 0 if there is no such file
    };

    void start();
    [[nodiscard]] bool isHeld(std::string_view unread) const;
    bool holdRest(std::string_view unread);
    void closeUntilResumed();
    bool openAgain(const char *path);

    vek::Owned<vek::LineReader> lines_; ///< null while suspended
    vek::OwnedDescriptor file_;         ///< invalid while the file is closed
    vek::OwnedText held_;               ///< bytes of the file that suspend() has copied
    std::string_view rest_ = {};        ///< the unread part of held_
    ClosedAt closedAt_ = {};
    int error_ = RYN_OK;
};

} // namespace ryn

#endif
