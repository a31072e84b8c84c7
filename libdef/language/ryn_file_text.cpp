// Implements FileText: a library definition file that is read line by line, and suspended while a file that it includes
// is read. suspend() copies at most kMaxHeld unread bytes to memory and closes the file. If the file has more unread
// bytes, suspend(true) does not close it. After suspend(false), resume() opens it again and continues at the saved
// offset.

#include "libdef/language/ryni_file_text.h"

#include "common/platform/open_text.h"
#include "common/platform/retry.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <sys/stat.h>
#include <type_traits>
#include <unistd.h>
#include <utility>

static_assert(std::is_trivially_destructible_v<vek::LineReader>,
              "its memory is freed without its destructor");

namespace ryn {

int FileText::open(const char *path) {
    file_ = vek::openForReading(path);
    if (!file_.valid()) {
        return RYN_SYSTEM_ERROR;
    }
    start();
    return error_;
}

int FileText::error() const {
    return lines_ && lines_->hasFailed() ? RYN_SYSTEM_ERROR : error_;
}

/// Creates the line reader. The reader first returns the lines in `rest_` (bytes in memory), then reads the file from
/// the current offset of its descriptor. If memory is exhausted, sets `error_` and creates no reader.
void FileText::start() {
    void *const memory = std::malloc(sizeof(vek::LineReader));
    if (memory == nullptr) {
        error_ = RYN_MEMORY_ERROR;
        return;
    }
    lines_.reset(std::construct_at(static_cast<vek::LineReader *>(memory), rest_, file_.get()));
}

bool FileText::suspend(bool mayStayOpen) {
    const std::string_view unread = lines_->unread();
    if (isHeld(unread)) {
        rest_ = unread;
    } else if (!holdRest(unread)) {
        error_ = RYN_MEMORY_ERROR;
    }
    lines_.reset();
    if (file_.valid() && !mayStayOpen) {
        closeUntilResumed();
    }
    return error_ == RYN_OK;
}

/// Returns true if the bytes of `unread` are already in the buffer `held_`, because an earlier suspend() copied them.
/// The caller then does not need to copy them.
bool FileText::isHeld(std::string_view unread) const {
    if (!file_.valid()) {
        return true; // the file was closed at its end: all unread bytes are in held_
    }
    return !unread.empty() && !rest_.empty() && &unread.back() == &rest_.back();
}

/// Fills the buffer `held_` with `unread`, followed by the next bytes of the file, at most kMaxHeld bytes in total.
/// Closes the file if its end is reached.
/// @return false if memory is exhausted
bool FileText::holdRest(std::string_view unread) {
    const vek::OwnedText buffer(static_cast<char *>(std::malloc(kMaxHeld)));
    if (!buffer) {
        return false;
    }
    std::copy(unread.begin(), unread.end(), buffer.get());
    std::size_t size = unread.size();
    while (file_.valid() && size < kMaxHeld) {
        const ssize_t count =
            vek::retryInterrupted([&] { return ::read(file_.get(), buffer.get() + size, kMaxHeld - size); });
        if (count < 0) {
            break; // not an error yet: after resume(), next() repeats the read() at this offset
        }
        if (count == 0) {
            file_ = vek::OwnedDescriptor();
        }
        size += static_cast<std::size_t>(count);
    }
    held_ = vek::copyText({buffer.get(), size});
    rest_ = {held_.get(), size};
    return held_ != nullptr;
}

/// Closes the suspended file, so that it needs no descriptor. Stores its device, inode number and offset in
/// `closedAt_`; openAgain() opens the file again and continues at this offset. A file without an offset, such as a
/// pipe, stays open.
void FileText::closeUntilResumed() {
    struct stat status = {};
    const off_t offset = lseek(file_.get(), 0, SEEK_CUR);
    if (offset > 0 && fstat(file_.get(), &status) == 0) {
        closedAt_ = {status.st_dev, status.st_ino, offset};
        file_ = vek::OwnedDescriptor();
    }
}

void FileText::resume(const char *path) {
    if (closedAt_.offset != 0 && !openAgain(path)) {
        error_ = RYN_SYSTEM_ERROR;
        return;
    }
    start();
}

/// Opens the file `path` again after closeUntilResumed(), and sets its file offset to the offset in `closedAt_`.
/// @return false if a system call fails, or if `path` is a different file now (another device or inode number)
bool FileText::openAgain(const char *path) {
    const ClosedAt expected = std::exchange(closedAt_, ClosedAt{});
    file_ = vek::openForReading(path);
    struct stat status = {};
    return file_.valid() && fstat(file_.get(), &status) == 0 && status.st_dev == expected.device &&
           status.st_ino == expected.inode &&
           lseek(file_.get(), expected.offset, SEEK_SET) == expected.offset;
}

} // namespace ryn
