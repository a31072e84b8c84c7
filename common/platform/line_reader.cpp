#include "common/platform/line_reader.h"

#include "common/platform/retry.h"
#include "common/platform/vek_path.h"

#include <cstring>
#include <unistd.h>

namespace vek {

bool LineReader::fill() {
    if (file_ < 0 || failed_) {
        return false;
    }
    const ssize_t size = retryInterrupted([this] { return ::read(file_, block_.data(), block_.size()); });
    failed_ = size < 0;
    rest_ = {block_.data(), size > 0 ? static_cast<std::size_t>(size) : 0};
    return size > 0;
}

bool LineReader::next(std::span<char> line) {
    std::size_t length = 0;
    bool isWhole = false;
    while (!isWhole && (!rest_.empty() || fill())) {
        const std::size_t room = line.size() - 1 - length;
        std::string_view piece(rest_.data(), rest_.size() < room ? rest_.size() : room);
        const void *newline = std::memchr(piece.data(), '\n', piece.size());
        if (newline != nullptr) {
            piece = {piece.data(),
                     static_cast<std::size_t>(static_cast<const char *>(newline) - piece.data()) + 1};
        }
        std::memcpy(line.data() + length, piece.data(), piece.size());
        length += piece.size();
        rest_.remove_prefix(piece.size());
        isWhole = newline != nullptr || length == line.size() - 1;
    }
    line[failed_ ? 0 : length] = '\0';
    vekNtToUnixLine(line.data());
    return length > 0 && !failed_;
}

} // namespace vek
