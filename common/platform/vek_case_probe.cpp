#include "common/base/owned.h"
#include "common/containers/directory_identity.h"
#include "common/platform/vek_file.h"
#include "common/platform/vek_path.h"
#include "common/text/fixed_text.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <string_view>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

// Tests whether file names are case-sensitive: creates two files whose names differ only in case, and writes its own
// name to each file. If the first file then contains the name of the second one, both names belong to the same file.
//
// Costs 15 system calls: getpid(), stat(), access() and getrlimit(); open() and pwrite() for each file; open(), read()
// and close() to read the first one again; unlink() and close() for each file. Other calls are made only if a file of
// one of these names exists already.

static constexpr std::string_view kLowerName = "vekfscasesensitivity";
static constexpr std::string_view kMixedName = "vekFsCaseSensitivity";

namespace {

using vek::DirectoryIdentity;

/// A probe file, removed by its destructor.
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

    /// Creates the file NAME.PROCESS in `directory`, or opens an existing one if it is a regular file with one hard
    /// link. Does not change any other file of that name.
    /// @return false with `errno` set if the file cannot be used
    bool open(std::string_view directory, std::string_view name, pid_t process);

    /// Tests whether the path of this file leads to the file `other`, through a symbolic link. If so, duplicates the
    /// descriptor of `other`. @return false if it does not, or after an error
    bool openAliasOf(const ProbeFile &other);

    /// Replaces the content of the file by `text`. @return false after an error
    [[nodiscard]] bool write(std::string_view text) const;

    /// Opens the file again by its path and reads it.
    /// @return VEK_CASE_SENSITIVE if it contains kLowerName, VEK_CASE_INSENSITIVE if it contains kMixedName, otherwise
    ///         VEK_CASE_UNKNOWN
    [[nodiscard]] int readResult() const;

  private:
    /// Opens the existing file `path_` and stores its size in `size_`.
    /// @return false with `errno` set, to EEXIST if it is not a regular file with one hard link
    bool openExisting();

    static constexpr int kFlags = O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

    vek::PathText path_;
    vek::OwnedDescriptor file_;
    off_t size_ = 0; ///< the size of the file before write()
};

bool ProbeFile::open(std::string_view directory, std::string_view name, pid_t process) {
    std::array<char, 16> id;
    const char *idEnd = std::to_chars(id.data(), id.data() + id.size(), process).ptr;
    const std::string_view idText(id.data(), static_cast<std::size_t>(idEnd - id.data()));
    if (!path_.assign(directory, '/', name, '.', idText)) {
        errno = ENAMETOOLONG;
        return false;
    }
    // A file that O_EXCL has created is regular, has one link and is empty.
    file_ = vek::OwnedDescriptor(::open(path_.c_str(), kFlags | O_EXCL, 0666));
    return file_.valid() || (errno == EEXIST && openExisting());
}

bool ProbeFile::openExisting() {
    file_ = vek::OwnedDescriptor(::open(path_.c_str(), kFlags, 0666));
    struct stat status = {};
    if (!file_.valid() || fstat(file_.get(), &status) != 0) {
        return false;
    }
    if (!S_ISREG(status.st_mode) || status.st_nlink > 1) {
        file_ = {};
        errno = EEXIST;
        return false;
    }
    size_ = status.st_size;
    return true;
}

bool ProbeFile::openAliasOf(const ProbeFile &other) {
    const std::optional<DirectoryIdentity> target = DirectoryIdentity::of(path_.c_str());
    if (!target || target != DirectoryIdentity::of(other.file_.get())) {
        return false;
    }
    file_ = vek::OwnedDescriptor(fcntl(other.file_.get(), F_DUPFD_CLOEXEC, 0));
    return file_.valid();
}

bool ProbeFile::write(std::string_view text) const {
    // Truncate only if the old content is longer. After a truncation to size 0, close() waits for the disk on ext4
    // (auto_da_alloc).
    if (size_ > static_cast<off_t>(text.size()) && ftruncate(file_.get(), 0) != 0) {
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

int ProbeFile::readResult() const {
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

/// Removes components from the end of `path` until it is an existing directory. @return false if there is none
static bool cutToDirectory(char *path) {
    std::string_view rest(path);
    while (vekFileIsDirectory(path) == 0) {
        const std::size_t slash = rest.rfind('/');
        // Documented: the directory "/" is used only if `path` is "/".
        if (slash == std::string_view::npos || slash == 0) {
            return false;
        }
        path[slash] = '\0';
        rest = {path, slash};
    }
    return true;
}

/// @return true if RLIMIT_FSIZE allows a file of `size` bytes, so that writing it does not send SIGXFSZ
static bool mayWrite(std::size_t size) {
    rlimit limit = {};
    return getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur >= size;
}

static int probe(std::string_view directory) {
    // Beyond RLIMIT_FSIZE, the first pwrite() would send SIGXFSZ, which ends the process, or fail with EFBIG.
    if (!mayWrite(kLowerName.size())) {
        return VEK_CASE_UNKNOWN; // Not reached: such a process cannot write its counts
    }
    const pid_t process = getpid();
    ProbeFile lower;
    if (!lower.open(directory, kLowerName, process) || !lower.write(kLowerName)) {
        return VEK_CASE_UNKNOWN;
    }
    ProbeFile mixed;
    const bool isOpen =
        mixed.open(directory, kMixedName, process) || (errno == ELOOP && mixed.openAliasOf(lower));
    if (!isOpen || !mixed.write(kMixedName)) {
        return VEK_CASE_UNKNOWN;
    }
    return lower.readResult();
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
