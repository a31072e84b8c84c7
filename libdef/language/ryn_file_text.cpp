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
    file_ = vek::openDescriptorForReading(path);
    if (!file_.valid()) {
        return RYN_SYSTEM_ERROR;
    }
    start();
    return error_;
}

int FileText::error() const {
    return lines_ && lines_->hasFailed() ? RYN_SYSTEM_ERROR : error_;
}

/// Creates the line reader. It reads `rest_` and, after that, the file from the offset of its descriptor. If memory
/// is exhausted, sets `error_` instead.
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

/// Returns whether `unread` is the tail of the bytes that an earlier suspend() copied to `held_`, so that nothing
/// needs to be copied.
bool FileText::isHeld(std::string_view unread) const {
    if (!file_.valid()) {
        return true; // the file was closed at its end: all unread bytes are in held_
    }
    return !unread.empty() && !rest_.empty() && &unread.back() == &rest_.back();
}

/// Copies to `held_`: `unread`, followed by the next bytes of the file, at most kMaxHeld bytes in total. Closes the
/// file if its end is reached.
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

/// Closes the file and stores its device, inode and offset in `closedAt_`, for openAgain(). If they cannot be
/// determined, for instance for a pipe, the file stays open.
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

/// Opens the file `path`, which closeUntilResumed() closed, and restores the offset.
/// @return false if it cannot be opened or is a different file now
bool FileText::openAgain(const char *path) {
    const ClosedAt expected = std::exchange(closedAt_, ClosedAt{});
    file_ = vek::openDescriptorForReading(path);
    struct stat status = {};
    return file_.valid() && fstat(file_.get(), &status) == 0 && status.st_dev == expected.device &&
           status.st_ino == expected.inode &&
           lseek(file_.get(), expected.offset, SEEK_SET) == expected.offset;
}

} // namespace ryn
