#ifndef COMMON_LINE_READER_H
#define COMMON_LINE_READER_H

#include "common/base/vek_api.h"

#include <array>
#include <cstddef>
#include <string_view>

namespace vek {

/// A buffer for a line of at most 4095 characters and its NUL.
using LineBuffer = std::array<char, VEK_PATH_SIZE>;

/// Reads lines from a descriptor or from a text, with the same results as vek_fgets(): a line has at most 4095
/// characters including its newline, a longer one is returned in pieces, and a final "\r\n" becomes "\n". It reads
/// without a stream, because closing a stream would close a descriptor that holds a lock, and because a stream costs
/// two more system calls.
class LineReader {
  public:
    /// Reads from the current offset of the descriptor `file`, which the caller closes.
    explicit LineReader(int file) : file_(file) {}
    /// Reads from `text`, which must outlive the reader.
    explicit LineReader(std::string_view text) : rest_(text) {}
    /// Reads from `text` and then from the descriptor `file`, as if both were one file. If `file` is -1, reads only
    /// from `text`.
    LineReader(std::string_view text, int file) : file_(file), rest_(text) {}
    LineReader(const LineReader &) = delete; // rest_ can point into block_
    LineReader &operator=(const LineReader &) = delete;

    /// Reads the next line into `line`.
    /// @return false at the end of the file, and after a read error
    [[nodiscard]] bool next(LineBuffer &line);

    /// @return true if next() returned false because read() failed
    [[nodiscard]] bool hasFailed() const { return failed_; }

    /// @return the bytes that were read, but that next() has not returned yet. They lie in the text that was given to
    ///         the constructor, or in this object.
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
