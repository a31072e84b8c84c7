#ifndef COMMON_LINE_READER_H
#define COMMON_LINE_READER_H

#include "common/base/vek_api.h"

#include <array>
#include <cstddef>
#include <string_view>

namespace vek {

/// A line of at most 4095 characters and its NUL.
using LineBuffer = std::array<char, VEK_PATH_SIZE>;

/// Reads the lines of a descriptor or of a text exactly as vek_fgets() reads them from a stream: at most 4095
/// characters a line, the newline included, and "\r\n" at the end becomes "\n". It needs no stream, so that a file can
/// be read again through a descriptor that holds a lock, and costs two system calls less than a stream.
class LineReader {
  public:
    /// Reads from the descriptor's present offset. The descriptor stays the caller's.
    explicit LineReader(int file) : file_(file) {}
    /// Reads from `text`, which must outlive the reader.
    explicit LineReader(std::string_view text) : rest_(text) {}
    /// Reads from `text` and then from the descriptor, as if both were one file. The descriptor may be -1.
    LineReader(std::string_view text, int file) : file_(file), rest_(text) {}
    LineReader(const LineReader &) = delete; // the unread bytes can lie in the object itself
    LineReader &operator=(const LineReader &) = delete;

    /// Reads the next line into `line`.
    /// @return false at the end, and after a read error
    [[nodiscard]] bool next(LineBuffer &line);

    /// Whether reading ended because of an error.
    [[nodiscard]] bool hasFailed() const { return failed_; }

    /// The bytes that were read but not returned yet: a part of the text, or of the object itself.
    [[nodiscard]] std::string_view unread() const { return rest_; }

  private:
    bool fill();

    static constexpr std::size_t kBlockSize = 4096; // a tag file or vek.lib seldom has more

    int file_ = -1;
    bool failed_ = false;
    std::string_view rest_; ///< the bytes that are read but not returned yet
    std::array<char, kBlockSize> block_;
};

} // namespace vek

#endif
