// In-place replacement of a tag file, so that inode, owner, mode and hard links do not change. The steps are:
// fallocate() reserves disk space for the new text; one pwrite() overwrites the old text; ftruncate() removes the rest
// of the old text; fsync() writes the data to the disk. The old content is kept in memory until all steps have
// succeeded. If a step fails, the old content is written back.

#include "tagfile/tovi_edited_file.h"

#include "common/platform/retry.h"
#include "common/platform/size_limit.h"
#include "common/text/fixed_text.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace tov {

namespace {

constexpr int kOpenFlags = O_NONBLOCK | O_NOCTTY | O_CLOEXEC; // O_NONBLOCK: opening a pipe must not block
constexpr mode_t kNewFileMode = 0666;                         // before the umask is applied
constexpr int kMaxLinks = 40;                                 // Linux resolves at most 40 links in one path

bool writeAll(int file, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written =
            vek::retryInterrupted([&] { return ::write(file, text.data(), text.size()); });
        if (written <= 0) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

bool writeAt(int file, std::string_view text, off_t offset) {
    while (!text.empty()) {
        const ssize_t written =
            vek::retryInterrupted([&] { return pwrite(file, text.data(), text.size(), offset); });
        if (written <= 0) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
        offset += written;
    }
    return true;
}

bool truncateTo(int file, std::size_t size) {
    return vek::retryInterrupted([&] { return ftruncate(file, static_cast<off_t>(size)); }) == 0;
}

/// Calls fsync(). @return true if fsync() succeeds or the file system does not support it (EINVAL or ENOTSUP);
/// otherwise false
bool synchronize(int file) {
    return vek::retryInterrupted([&] { return fsync(file); }) == 0 || errno == EINVAL || errno == ENOTSUP;
}

bool isSameFile(const struct stat &a, const struct stat &b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

/// Splits `path` into the directory that contains its last component, which is opened with O_PATH, and the last
/// component.
/// @param base  a descriptor of the directory from which a relative `path` starts, or AT_FDCWD
/// @return the location; its descriptor is invalid after an error
FileLocation locate(const char *path, int base) {
    const std::size_t nameOffset =
        std::string_view(path).rfind('/') + 1; // 0 if there is no "/", because npos + 1 is 0
    vek::PathText directory;
    vek::OwnedText name = vek::copyText(path + nameOffset);
    if (!directory.assign(std::string_view(path, nameOffset)) || !name) {
        return {};
    }
    const char *where = directory.empty() ? "." : directory.c_str();
    return {.directory = vek::OwnedDescriptor(
                vek::retryInterrupted([=] { return openat(base, where, O_PATH | O_DIRECTORY | O_CLOEXEC); })),
            .name = std::move(name)};
}

/// Tests whether a symbolic link must not be followed, because another user may have created it to redirect the edit to
/// another file. The rule is that of the Linux setting fs.protected_symlinks.
/// @param link       the status of the link
/// @param directory  the status of the directory that contains the link
/// @return true if the directory is sticky and world-writable, such as /tmp, and the owner of the link is neither the
///         current user nor the owner of the directory
bool isUntrusted(const struct stat &link, const struct stat &directory) {
    constexpr mode_t kShared = S_ISVTX | S_IWOTH;
    return (directory.st_mode & kShared) == kShared && link.st_uid != geteuid() &&
           link.st_uid != directory.st_uid;
}

/// Reads the symbolic link `name` in the directory with the descriptor `directory`.
/// @param target  receives the target of the link
/// @return 0 for success, or an errno value: EINVAL if `name` is not a symbolic link, ENOENT if it does not exist,
///         EACCES if isUntrusted() returns true for the link, or the error of a system call
int readLink(int directory, const char *name, vek::PathText &target) {
    // Open the link itself with O_PATH, so that fstat() and readlinkat() examine the same link even if another process
    // replaces `name` between these two calls.
    const vek::OwnedDescriptor link(
        vek::retryInterrupted([=] { return openat(directory, name, O_PATH | O_NOFOLLOW | O_CLOEXEC); }));
    struct stat status = {};
    struct stat holder = {};
    if (!link.valid() || fstat(link.get(), &status) != 0 || fstat(directory, &holder) != 0) {
        return errno; // Not reached: another process must remove the link at this moment
    }
    if (!S_ISLNK(status.st_mode)) {
        return EINVAL;
    }
    if (isUntrusted(status, holder)) {
        return EACCES;
    }
    const ssize_t length = target.fillCounted(
        [&](char *buffer, std::size_t size) { return readlinkat(link.get(), "", buffer, size); });
    return length < 0 ? errno : 0;
}

} // namespace

// ---- opening

Opened EditedFile::open(Opening opening, const Deadline &deadline) {
    for (Backoff backoff;; backoff.pause(deadline)) {
        const std::optional<Opened> opened = tryOpen(opening, deadline);
        if (opened == Opened::Yes) {
            return Opened::Yes;
        }
        removeIfNew();
        close();
        if (opened) {
            return *opened;
        }
        if (deadline.isPast()) {
            return Opened::TimedOut;
        }
    }
}

/// Makes one attempt to open and lock the file.
/// @return the result that open() must return; nullopt if open() must try again, because another process created,
///         replaced or removed the file during the attempt
std::optional<Opened> EditedFile::tryOpen(Opening opening, const Deadline &deadline) {
    if (path_ == nullptr) {
        return Opened::NotWritable;
    }
    const int flags = kOpenFlags | (opening == Opening::ForAppending ? O_APPEND : 0);
    Opened opened = opening == Opening::CreateNew ? Opened::Missing : openExisting(opening, flags);
    if (opened == Opened::Missing && opening != Opening::Existing) {
        opened = create(flags);
    }
    if (opened == Opened::Exists && opening != Opening::CreateNew) {
        return std::nullopt; // another process has just created the file: the next attempt opens it
    }
    if (opened != Opened::Yes || !isRegular()) {
        return opened;
    }
    if (lock_.acquire(file_.get(), LockKind::Exclusive, deadline) == LockResult::TimedOut) {
        return Opened::TimedOut;
    }
    // Another process may have replaced or removed the file before it was locked. An edit of the open file would then
    // be lost. Therefore test whether `path_` still names the open file.
    const bool hasStatus = fstat(file_.get(), &status_) == 0;
    isNew_ = creation_.name != nullptr && status_.st_size == 0;
    struct stat atPath = {};
    const bool isFound = hasStatus && stat(path_, &atPath) == 0;
    if (!hasStatus || (!isFound && errno != ENOENT)) {
        return Opened::NotWritable;
    }
    if (!isFound || !isSameFile(status_, atPath)) {
        return std::nullopt;
    }
    return isNew_ || opening != Opening::CreateNew ? Opened::Yes : Opened::Exists;
}

/// Opens an existing file for reading and writing. If the user has no read permission, opens the file only for writing.
/// If `opening` is Opening::ForAppending, it fails instead, because canAppend() must read the last byte of the file.
/// @return Yes, Missing or NotWritable
Opened EditedFile::openExisting(Opening opening, int flags) {
    const auto openWith = [&](int access) {
        return vek::OwnedDescriptor(vek::retryInterrupted([&] { return ::open(path_, access | flags, 0); }));
    };
    file_ = openWith(O_RDWR);
    isReadable_ = true;
    if (!file_.valid() && errno == EACCES && opening != Opening::ForAppending) {
        vek::OwnedDescriptor writable = openWith(O_WRONLY);
        if (writable.valid()) {
            file_ = openWith(O_RDWR); // try again, because an unreadable file loses its entries in the edit
            isReadable_ = file_.valid();
            if (!isReadable_) {
                file_ = std::move(writable);
            }
        }
    }
    if (!file_.valid()) {
        return errno == ENOENT ? Opened::Missing : Opened::NotWritable;
    }
    return fstat(file_.get(), &status_) == 0 ? Opened::Yes : Opened::NotWritable;
}

/// Creates the file with O_CREAT | O_EXCL, which fails if the file already exists. removeIfNew() therefore never
/// removes a file that another process has created. O_EXCL does not follow symbolic links: if the path is a dangling
/// symbolic link, the loop below reads the link and creates its target.
Opened EditedFile::create(int flags) {
    vek::PathText path; // if not absolute, it starts from `location.directory`
    FileLocation location;
    const bool fits = path.assign(path_);
    for (int links = 0; fits && links <= kMaxLinks; ++links) {
        location = locate(path.c_str(), location.directory.valid() ? location.directory.get() : AT_FDCWD);
        if (!location.directory.valid()) {
            return Opened::NotWritable;
        }
        file_ = vek::OwnedDescriptor(vek::retryInterrupted([&] {
            return openat(location.directory.get(), location.name.get(), O_RDWR | O_CREAT | O_EXCL | flags,
                          kNewFileMode);
        }));
        if (file_.valid()) {
            isReadable_ = true;
            status_.st_mode = S_IFREG;
            creation_ = std::move(location);
            return Opened::Yes;
        }
        if (errno != EEXIST) {
            return Opened::NotWritable;
        }
        const int error = readLink(location.directory.get(), location.name.get(), path);
        if (error != 0) {
            return error == EINVAL || error == ENOENT ? Opened::Exists : Opened::NotWritable;
        }
    }
    return Opened::NotWritable;
}

void EditedFile::close() {
    lock_.release();
    file_ = {};
    creation_ = {};
    status_ = {};
}

void EditedFile::removeIfNew() {
    struct stat atName = {};
    if (isNew_ && fstat(file_.get(), &status_) == 0 && (lock_.isHeld() || status_.st_size == 0) &&
        fstatat(creation_.directory.get(), creation_.name.get(), &atName, AT_SYMLINK_NOFOLLOW) == 0 &&
        isSameFile(status_, atName)) {
        static_cast<void>(unlinkat(creation_.directory.get(), creation_.name.get(), 0));
    }
    isNew_ = false;
}

// ---- reading

ContentRead EditedFile::readContent() {
    if (content_ || !isRegular()) {
        return ContentRead::Done;
    }
    if (!isReadable_) {
        return ContentRead::Failed;
    }
    vek::OwnedText bytes(static_cast<char *>(std::malloc(oldSize() + 1)));
    if (!bytes) {
        return ContentRead::NoMemory;
    }
    std::size_t size = 0;
    while (size < oldSize()) {
        const ssize_t got = vek::retryInterrupted([&] {
            return pread(file_.get(), bytes.get() + size, oldSize() - size, static_cast<off_t>(size));
        });
        if (got < 0) {
            return ContentRead::Failed;
        }
        if (got == 0) {
            break; // Not reached: a program without a lock must truncate the file at this moment
        }
        size += static_cast<std::size_t>(got);
    }
    content_ = std::move(bytes);
    contentSize_ = size;
    return ContentRead::Done;
}

bool EditedFile::rereadFromStart() {
    content_.reset();
    contentSize_ = 0;
    return lseek(file_.get(), 0, SEEK_SET) == 0;
}

// ---- replacing

bool EditedFile::replace(std::string_view text) {
    const vek::SizeLimitSignalGuard guard;
    if (S_ISCHR(status_.st_mode)) {
        // A device has no old content to save or restore.
        return writeAll(file_.get(), text) && closeDuplicate();
    }
    if (!isRegular() || (isReadable_ && readContent() != ContentRead::Done) || !reserveSpace(text)) {
        return false;
    }
    if (overwrite(text) && truncateTo(file_.get(), text.size()) && synchronize(file_.get()) &&
        closeDuplicate()) {
        return true;
    }
    isRestored_ = false;
    if (content_) {
        // Truncate the file only after the old text has been written back. If that write fails, the file may still
        // contain the whole new text, which truncation would damage.
        isRestored_ = writeAt(file_.get(), content(), 0) && truncateTo(file_.get(), contentSize_);
        static_cast<void>(synchronize(file_.get()));
    }
    return false;
}

/// Allocates the disk blocks for the new text before the old text is overwritten. The later pwrite() can then not fail
/// with ENOSPC after it has overwritten a part of the old text.
/// @return false if the blocks cannot be allocated
bool EditedFile::reserveSpace(std::string_view text) {
    const auto size = static_cast<off_t>(text.size());
    if (text.empty() ||
        vek::retryInterrupted([&] { return fallocate(file_.get(), FALLOC_FL_KEEP_SIZE, 0, size); }) == 0) {
        return true;
    }
    if (errno != EOPNOTSUPP && errno != ENOSYS && errno != EINVAL) {
        return false;
    }
    // The file system does not support fallocate(). Write only the part of the new text that lies beyond the end of the
    // old text. This write allocates the disk blocks while the old text is still unchanged.
    if (text.size() <= oldSize() ||
        writeAt(file_.get(), {text.data() + oldSize(), text.size() - oldSize()}, status_.st_size)) {
        return true;
    }
    isRestored_ = truncateTo(file_.get(), oldSize());
    return false;
}

/// Overwrites the old text with one pwrite(). If the old text is longer than `text`, overwrites the rest with newlines.
/// A process that reads the file before ftruncate() removes this rest reads the new settings followed by empty lines.
bool EditedFile::overwrite(std::string_view text) {
    if (text.size() >= oldSize()) {
        return writeAt(file_.get(), text, 0);
    }
    const vek::OwnedText padded(static_cast<char *>(std::malloc(oldSize())));
    if (!padded) {
        return false;
    }
    std::memcpy(padded.get(), text.data(), text.size());
    std::memset(padded.get() + text.size(), '\n', oldSize() - text.size());
    return writeAt(file_.get(), {padded.get(), oldSize()}, 0);
}

/// Detects write errors that network file systems report only when a descriptor is closed. For this test, duplicates
/// the descriptor and closes the duplicate, because the file must stay open and locked until it has been restored after
/// an error. If no descriptor is free for the duplicate, calls fsync() instead.
/// @return false if there was a write error
bool EditedFile::closeDuplicate() {
    vek::OwnedDescriptor duplicate(fcntl(file_.get(), F_DUPFD_CLOEXEC, 0));
    return duplicate.valid() ? duplicate.close() == 0 : synchronize(file_.get());
}

// ---- appending

bool EditedFile::canAppend() {
    if (!isRegular()) {
        return S_ISCHR(status_.st_mode);
    }
    return status_.st_size == 0 || pread(file_.get(), &lastByte_, 1, status_.st_size - 1) == 1;
}

bool EditedFile::append(std::string_view text) {
    const vek::SizeLimitSignalGuard guard;
    const ssize_t written = ::write(file_.get(), text.data(), text.size());
    const off_t end = lseek(file_.get(), 0, SEEK_CUR);
    if (written == static_cast<ssize_t>(text.size()) && closeDuplicate()) {
        return true;
    }
    // Truncate the file to its old size, unless a program that ignores the lock has appended more text since. In that
    // case the size of the file is no longer `end`, and truncation would remove the other text.
    if (isRegular() && fstat(file_.get(), &status_) == 0) {
        if (written > 0 && status_.st_size == end &&
            truncateTo(file_.get(), oldSize() - static_cast<std::size_t>(written))) {
            status_.st_size -= written;
        }
        isNew_ = isNew_ && status_.st_size == 0;
    } else {
        isNew_ = false;
    }
    return false;
}

} // namespace tov
