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

/// Begins to read `rest_` and then the file.
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

/// Whether `unread` is the end of what an earlier suspension copied, so that nothing needs to be copied again.
bool FileText::isHeld(std::string_view unread) const {
    if (!file_.valid()) {
        return true; // there was nothing else to read from
    }
    return !unread.empty() && !rest_.empty() && &unread.back() == &rest_.back();
}

/// Copies `unread` and what follows it in the file, up to kMaxHeld bytes. Closes the file at its end.
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
            break; // the offset is unchanged: next() repeats the read() after resume()
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

/// Closes the file and records where to continue. If that cannot be found out, the file stays open.
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

/// Opens the file that closeUntilResumed() closed. @return false if it is not there
bool FileText::openAgain(const char *path) {
    const ClosedAt expected = std::exchange(closedAt_, ClosedAt{});
    file_ = vek::openDescriptorForReading(path);
    struct stat status = {};
    return file_.valid() && fstat(file_.get(), &status) == 0 && status.st_dev == expected.device &&
           status.st_ino == expected.inode &&
           lseek(file_.get(), expected.offset, SEEK_SET) == expected.offset;
}

} // namespace ryn
