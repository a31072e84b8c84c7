#ifndef COMMON_LINE_READER_H
#define COMMON_LINE_READER_H

#include "common/base/vek_api.h"

#include <array>
#include <cstddef>
#include <span>
#include <string_view>

namespace vek {

/// A buffer for one line: at most 4095 characters, and a NUL after them.
using LineBuffer = std::array<char, VEK_PATH_SIZE>;

/// Reads text lines from a file descriptor, from a text in memory, or from a text and then a descriptor. The results
/// are the same as those of vek_fgets(): a line that is longer than the buffer is returned in pieces, and "\r\n"
/// becomes "\n".
///
/// Does not use a stdio stream (FILE), because fclose() closes the descriptor, and a lock on the file is released
/// when its descriptor is closed. A stream would also cost two more system calls.
class LineReader {
  public:
    /// Creates a reader for the descriptor `file`, from its current file offset on. The caller closes `file`.
    explicit LineReader(int file) : file_(file) {}
    /// Creates a reader for the lines of `text`. The text is not copied, so it must stay valid while the reader is
    /// used.
    explicit LineReader(std::string_view text) : rest_(text) {}
    /// Creates a reader that returns the lines of `text` followed by those of the descriptor `file`, as if both were
    /// one file. If `file` is -1, returns only the lines of `text`.
    LineReader(std::string_view text, int file) : file_(file), rest_(text) {}
    LineReader(const LineReader &) = delete; // rest_ can point into block_
    LineReader &operator=(const LineReader &) = delete;

    /// Stores the next line, including its newline, and a NUL in `line`. A line of more than line.size() - 1
    /// characters is returned in pieces by several calls.
    /// @return true; false at the end of the file, or if read() has failed
    [[nodiscard]] bool next(std::span<char> line);

    /// @return true if next() has returned false because read() failed, not because of the end of the file
    [[nodiscard]] bool hasFailed() const { return failed_; }

    /// @return the bytes that were read, but that next() has not returned yet. They are not copied: the view points
    ///         into the text given to the constructor, or into the buffer of this object
    [[nodiscard]] std::string_view unread() const { return rest_; }

  private:
    bool fill();

    static constexpr std::size_t kBlockSize = 4096; // most tag files and vek.lib files are smaller

    int file_ = -1;
    bool failed_ = false;
    std::string_view rest_; ///< the result of unread()
    std::array<char, kBlockSize> block_;
};

} // namespace vek

#endif
