#ifndef RYNI_FILE_TEXT_H
#define RYNI_FILE_TEXT_H

#include "common/base/owned.h"
#include "common/platform/line_reader.h"
#include "libdef/ryn.h"

#include <cstddef>
#include <string_view>
#include <sys/types.h>

namespace ryn {

/// Reads a library definition file line by line. The reader calls suspend() before it reads an included file, and
/// resume() after that. suspend() copies the unread rest of the file to memory and closes the file, so INCLUDEs can
/// nest deeper than the limit on descriptors. At most kMaxHeld bytes are copied: a file with a longer rest stays
/// open, or is closed and opened again by resume().
class FileText {
  public:
    /// Maximum number of bytes that a suspended file keeps in memory, 64 KiB: enough for a vek.lib of about 1,000
    /// libraries.
    static constexpr std::size_t kMaxHeld = std::size_t{64} << 10U;

    /// Opens the file `path` and starts reading it.
    /// @return RYN_OK, RYN_SYSTEM_ERROR if it cannot be opened, or RYN_MEMORY_ERROR
    [[nodiscard]] int open(const char *path);

    /// Reads the next line into `line`.
    /// @return false at the end of the file, after an error, and between suspend() and resume()
    [[nodiscard]] bool next(vek::LineBuffer &line) { return lines_ && lines_->next(line); }

    /// @return RYN_OK, or the code of the error after which next() returns no more lines
    [[nodiscard]] int error() const;

    /// Stops reading until resume() is called.
    /// @param mayStayOpen  whether a file with a rest of more than kMaxHeld bytes may keep its descriptor
    /// @return false if memory is exhausted; error() is then RYN_MEMORY_ERROR, and no more lines are read
    [[nodiscard]] bool suspend(bool mayStayOpen);

    /// Returns whether the file has a descriptor open.
    [[nodiscard]] bool isOpen() const { return file_.valid(); }

    /// Continues to read after suspend(). A failure sets error().
    /// @param path  the path given to open(). If suspend() closed a file with a long rest, that same file must still
    ///              be there
    void resume(const char *path);

  private:
    /// Identifies a file that was closed with an unread rest, and the offset at which to continue.
    struct ClosedAt {
        dev_t device;
        ino_t inode;
        off_t offset; ///< 0 if no file was closed with an unread rest
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
