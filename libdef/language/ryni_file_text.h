#ifndef RYNI_FILE_TEXT_H
#define RYNI_FILE_TEXT_H

#include "common/base/owned.h"
#include "common/platform/line_reader.h"
#include "libdef/ryn.h"

#include <cstddef>
#include <string_view>
#include <sys/types.h>

namespace ryn {

/// The text of a library definition file, read line by line. While another file is read, it is suspended: its unread
/// rest is copied to memory and the file closed, so that INCLUDEs nest deeper than a process has descriptors. At most
/// kMaxHeld bytes are copied. A file with a longer rest stays open, or is closed and opened again afterwards.
class FileText {
  public:
    /// The memory that a suspended file takes. A vek.lib of about 1,000 libraries has fewer bytes.
    static constexpr std::size_t kMaxHeld = std::size_t{64} << 10U;

    /// Opens the file `path`. @return RYN_OK, RYN_SYSTEM_ERROR or RYN_MEMORY_ERROR
    [[nodiscard]] int open(const char *path);

    /// Reads the next line. @return false at the end, after an error, and while the text is suspended
    [[nodiscard]] bool next(vek::LineBuffer &line) { return lines_ && lines_->next(line); }

    /// @return RYN_OK, or the code of the error that ended the reading
    [[nodiscard]] int error() const;

    /// Suspends the reading, until resume().
    /// @param mayStayOpen  whether a file with a long rest may keep its descriptor
    /// @return false when memory is exhausted; the reading has then ended
    [[nodiscard]] bool suspend(bool mayStayOpen);

    /// Whether the text holds a descriptor.
    [[nodiscard]] bool isOpen() const { return file_.valid(); }

    /// Continues the reading after suspend(). A failure ends the reading.
    /// @param path  as in open(). A file that was closed with an unread rest must still be there
    void resume(const char *path);

  private:
    /// Where to continue in a file that was closed with an unread rest.
    struct ClosedAt {
        dev_t device;
        ino_t inode;
        off_t offset; ///< 0 if the file was not closed in this way
    };

    void start();
    [[nodiscard]] bool isHeld(std::string_view unread) const;
    bool holdRest(std::string_view unread);
    void closeUntilResumed();
    bool openAgain(const char *path);

    vek::Owned<vek::LineReader> lines_; ///< null while suspended
    vek::OwnedDescriptor file_;         ///< invalid once the whole rest of the file is held
    vek::OwnedText held_;               ///< bytes copied at a suspension
    std::string_view rest_ = {};        ///< the part of them that is still unread
    ClosedAt closedAt_ = {};
    int error_ = RYN_OK;
};

} // namespace ryn

#endif
