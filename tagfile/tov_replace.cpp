#include "tagfile/tovi_replace.h"

#include "common/owned.h"
#include "common/size_limit.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int kOpenFlags = O_NONBLOCK | O_NOCTTY | O_CLOEXEC; // O_NONBLOCK: a pipe must not make an edit wait
constexpr int kMaxInterruptions = 100;

/// Repeats a system call that a signal interrupted, within reason.
template <typename Call>
auto uninterrupted(Call call) {
    auto result = call();
    for (int tries = 1; result < 0 && errno == EINTR && tries < kMaxInterruptions; ++tries) {
        result = call();
    }
    return result;
}

bool writeAt(int file, std::string_view text, off_t offset) {
    while (!text.empty()) {
        const ssize_t written = uninterrupted([&] { return pwrite(file, text.data(), text.size(), offset); });
        if (written <= 0) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
        offset += written;
    }
    return true;
}

bool truncateTo(int file, std::size_t size) {
    return uninterrupted([&] { return ftruncate(file, static_cast<off_t>(size)); }) == 0;
}

/// Some file systems cannot synchronize a file; that is no failed write.
bool synchronize(int file) {
    return uninterrupted([&] { return fsync(file); }) == 0 || errno == EINVAL || errno == ENOTSUP;
}

/// A heap copy of what a file holds.
struct Content {
    vek::OwnedText bytes;
    std::size_t size = 0;

    [[nodiscard]] std::string_view view() const { return {bytes.get(), size}; }

    bool read(int file, std::size_t fileSize) {
        bytes.reset(static_cast<char *>(std::malloc(fileSize + 1)));
        while (bytes && size < fileSize) {
            const ssize_t got = uninterrupted(
                [&] { return pread(file, bytes.get() + size, fileSize - size, static_cast<off_t>(size)); });
            if (got <= 0) {
                return got == 0; // the file has become shorter meanwhile
            }
            size += static_cast<std::size_t>(got);
        }
        return static_cast<bool>(bytes);
    }
};

/// The file that is being replaced: what it was, and the way back to that.
class Target {
  public:
    explicit Target(const char *path) : path_(path) {}

    bool open() {
        file_ = openWith(O_RDWR);
        if (!file_.valid() && errno == EACCES) {
            file_ = openWith(O_WRONLY); // writable, but not readable: there is no way back then
            readable_ = false;
        }
        if (!file_.valid() && errno == ENOENT) {
            create();
        }
        return file_.valid() && fstat(file_.get(), &status_) == 0 && rememberContent();
    }

    bool replaceBy(std::string_view text) {
        if (S_ISCHR(status_.st_mode)) {
            return writeAll(text) && file_.close() == 0; // a device has no content to lose
        }
        if (!S_ISREG(status_.st_mode) || !reserveRoom(text)) {
            return false;
        }
        if (overwrite(text) && truncateTo(file_.get(), text.size()) && synchronize(file_.get())) {
            if (file_.close() == 0) {
                return true;
            }
            file_ = openWith(O_WRONLY);
        }
        restore();
        return false;
    }

    /// Takes away a file that was not there before; where the path is a symbolic link, the link stays.
    void discardIfCreated() const {
        if (created_) {
            const vek::OwnedText real(realpath(path_, nullptr));
            static_cast<void>(unlink(real ? real.get() : path_));
        }
    }

  private:
    vek::OwnedDescriptor openWith(int flags) const {
        return vek::OwnedDescriptor(uninterrupted([&] { return ::open(path_, flags | kOpenFlags, 0666); }));
    }

    void create() {
        file_ = openWith(O_RDWR | O_CREAT | O_EXCL);
        if (!file_.valid() && errno == EEXIST) {
            file_ = openWith(O_RDWR | O_CREAT); // a symbolic link to a file that does not exist yet
        }
        created_ = file_.valid();
    }

    bool rememberContent() {
        if (!S_ISREG(status_.st_mode) || !readable_) {
            return true;
        }
        return old_.read(file_.get(), static_cast<std::size_t>(status_.st_size));
    }

    [[nodiscard]] std::size_t oldSize() const { return static_cast<std::size_t>(status_.st_size); }

    bool writeAll(std::string_view text) {
        while (!text.empty()) {
            const ssize_t written =
                uninterrupted([&] { return ::write(file_.get(), text.data(), text.size()); });
            if (written <= 0) {
                return false;
            }
            text.remove_prefix(static_cast<std::size_t>(written));
        }
        return true;
    }

    /// Secures the blocks that the new text needs, while the old text stays as it is.
    bool reserveRoom(std::string_view text) {
        const auto size = static_cast<off_t>(text.size());
        if (text.empty() ||
            uninterrupted([&] { return fallocate(file_.get(), FALLOC_FL_KEEP_SIZE, 0, size); }) == 0) {
            return true;
        }
        const bool unsupported = errno == EOPNOTSUPP || errno == ENOSYS || errno == EINVAL;
        return unsupported && (text.size() <= oldSize() || extendBy(text));
    }

    /// Where room cannot be reserved, the part of the new text beyond the old one is written first.
    bool extendBy(std::string_view text) {
        const std::string_view tail(text.data() + oldSize(), text.size() - oldSize());
        if (writeAt(file_.get(), tail, status_.st_size)) {
            return true;
        }
        static_cast<void>(truncateTo(file_.get(), oldSize()));
        return false;
    }

    /// Writes over the old text in one call. What the old text was longer by becomes empty lines, so that the
    /// file means the same before and after it is cut to size.
    bool overwrite(std::string_view text) {
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

    void restore() const {
        if (file_.valid() && readable_) {
            static_cast<void>(writeAt(file_.get(), old_.view(), 0));
            static_cast<void>(truncateTo(file_.get(), old_.size));
            static_cast<void>(synchronize(file_.get()));
        }
    }

    const char *path_;
    vek::OwnedDescriptor file_;
    struct stat status_ = {};
    Content old_;
    bool readable_ = true;
    bool created_ = false;
};

} // namespace

bool toviReplaceFile(const char *path, std::string_view text) {
    const vek::SizeLimitIsNoSignal guard;
    Target target(path);
    if (target.open() && target.replaceBy(text)) {
        return true;
    }
    target.discardIfCreated();
    return false;
}
