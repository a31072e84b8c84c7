#include "common/base/owned.h"
#include "common/platform/size_limit.h"
#include "common/platform/vek_file.h"
#include "common/platform/vek_path.h"
#include "common/text/fixed_text.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

// Each probe file holds its own name; which name the first one holds in the end is the answer.
static constexpr std::string_view kLowerName = "vekfscasesensitivity";
static constexpr std::string_view kMixedName = "vekFsCaseSensitivity";

namespace {

/// A probe file, removed when its owner goes.
class ProbeFile {
  public:
    ProbeFile() = default;
    ProbeFile(const ProbeFile &) = delete;
    ProbeFile &operator=(const ProbeFile &) = delete;
    ProbeFile(ProbeFile &&) = delete;
    ProbeFile &operator=(ProbeFile &&) = delete;
    ~ProbeFile() {
        if (file_.valid()) {
            static_cast<void>(unlink(path_.c_str()));
        }
    }

    /// Opens the file `name` of this process in `directory`, creating it if need be. A name that somebody
    /// else has taken for a link, pipe or device is refused and stays.
    bool open(std::string_view directory, std::string_view name);

    /// Shares the file of `other` when this file's name is a symbolic link to it.
    bool openAliasOf(const ProbeFile &other);

    /// Replaces the content.
    [[nodiscard]] bool write(std::string_view text) const;

    /// Opens the file anew, by its name. @return the answer that its content gives
    [[nodiscard]] int answer() const;

  private:
    vek::PathText path_;
    vek::OwnedDescriptor file_;
    struct stat status_ = {};
};

bool ProbeFile::open(std::string_view directory, std::string_view name) {
    std::array<char, 16> id;
    const char *idEnd = std::to_chars(id.data(), id.data() + id.size(), getpid()).ptr;
    const std::string_view idText(id.data(), static_cast<std::size_t>(idEnd - id.data()));
    if (!path_.assign(directory, '/', name, '.', idText)) {
        errno = ENAMETOOLONG;
        return false;
    }
    constexpr int kFlags = O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    file_ = vek::OwnedDescriptor(::open(path_.c_str(), kFlags, 0666));
    if (!file_.valid() || fstat(file_.get(), &status_) != 0) {
        return false;
    }
    if (!S_ISREG(status_.st_mode) || status_.st_nlink > 1) {
        file_ = {};
        errno = EEXIST;
        return false;
    }
    return true;
}

bool ProbeFile::openAliasOf(const ProbeFile &other) {
    struct stat target = {};
    if (stat(path_.c_str(), &target) != 0 || target.st_dev != other.status_.st_dev ||
        target.st_ino != other.status_.st_ino) {
        return false;
    }
    file_ = vek::OwnedDescriptor(fcntl(other.file_.get(), F_DUPFD_CLOEXEC, 0));
    return file_.valid();
}

bool ProbeFile::write(std::string_view text) const {
    if (ftruncate(file_.get(), 0) != 0) {
        return false;
    }
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count =
            pwrite(file_.get(), text.data() + written, text.size() - written, static_cast<off_t>(written));
        if (count <= 0) {
            return false;
        }
        written += static_cast<std::size_t>(count);
    }
    return true;
}

int ProbeFile::answer() const {
    const vek::OwnedDescriptor file(
        ::open(path_.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file.valid()) {
        return VEK_CASE_UNKNOWN;
    }
    std::array<char, 127> buffer;
    const ssize_t size = read(file.get(), buffer.data(), buffer.size());
    const std::string_view content(buffer.data(), size < 0 ? 0 : static_cast<std::size_t>(size));
    if (content == kLowerName) {
        return VEK_CASE_SENSITIVE;
    }
    return content == kMixedName ? VEK_CASE_INSENSITIVE : VEK_CASE_UNKNOWN;
}

} // namespace

/// Cuts `path` back to the nearest existing directory. @return whether there is one
static bool cutToDirectory(char *path) {
    std::string_view rest(path);
    while (vekFileIsDirectory(path) == 0) {
        const std::size_t slash = rest.rfind('/');
        // Cutting never arrives at the root directory: what lies directly below it stays unknown.
        if (slash == std::string_view::npos || slash == 0) {
            return false;
        }
        path[slash] = '\0';
        rest = {path, slash};
    }
    return true;
}

static int probe(std::string_view directory) {
    const vek::SizeLimitIsNoSignal guard;
    ProbeFile lower;
    if (!lower.open(directory, kLowerName) || !lower.write(kLowerName)) {
        return VEK_CASE_UNKNOWN;
    }
    ProbeFile mixed;
    const bool opened = mixed.open(directory, kMixedName) || (errno == ELOOP && mixed.openAliasOf(lower));
    if (!opened || !mixed.write(kMixedName)) {
        return VEK_CASE_UNKNOWN;
    }
    return lower.answer();
}

int vekGetFilesysCaseSensitivity(const char *path) {
    if (path == nullptr || *path == '\0') {
        return VEK_CASE_UNKNOWN;
    }
    const vek::OwnedText directory = vek::copyText(path);
    if (!directory) {
        return VEK_CASE_UNKNOWN;
    }
    vekCanonicalizeDirSep(directory.get());
    if (!cutToDirectory(directory.get()) || access(directory.get(), W_OK) != 0) {
        return VEK_CASE_UNKNOWN;
    }
    return probe(directory.get());
}
