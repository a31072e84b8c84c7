#include "common/base/owned.h"
#include "common/containers/directory_identity.h"
#include "common/platform/case_probe.h"
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

// Tests whether a file system distinguishes upper and lower case in file names. Creates two files whose names differ
// only in case, and writes to each file its own name. If the first file then contains the name of the second file,
// both names belong to one file, so names are not case-sensitive.
//
// If neither file exists before, the test makes 15 system calls: getpid(), stat(), access() and getrlimit(); open(),
// pwrite(), unlink() and close() for each of the two files; open(), read() and close() to read the first file.

static constexpr std::string_view kLowerName = "vekfscasesensitivity";
static constexpr std::string_view kMixedName = "vekFsCaseSensitivity";

namespace {

using vek::DirectoryIdentity;

/// One of the two files that the test creates: its path and its open descriptor. The destructor removes the file.
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

    /// Creates the file DIRECTORY/NAME.PROCESS and opens it for writing; PROCESS is the process ID. If a file of this
    /// name exists, opens it only if it is a regular file with one hard link; any other file is left unchanged.
    /// @return true; false with `errno` set if the file cannot be used
    bool open(std::string_view directory, std::string_view name, pid_t process);

    /// If the path of this object is a symbolic link to the file `other`, stores a duplicate of the descriptor of
    /// `other`. write() then writes to that file.
    /// @return true; false if the path does not lead to the file `other`, or if a system call fails
    bool openAliasOf(const ProbeFile &other);

    /// Replaces the content of the file by `text`. @return true; false if ftruncate() or pwrite() fails
    [[nodiscard]] bool write(std::string_view text) const;

    /// Opens this file again by its path and reads its content. Must be called for the file kLowerName, after write()
    /// has been called for both files.
    /// @return VEK_CASE_SENSITIVE if the content is kLowerName; VEK_CASE_INSENSITIVE if it is kMixedName, because
    ///         both names then belong to one file; VEK_CASE_UNKNOWN for other content or after an error
    [[nodiscard]] int readResult() const;

  private:
    /// Opens the existing file `path_` for writing and stores its size in bytes in `size_`.
    /// @return true; false with `errno` set: EEXIST if it is not a regular file with one hard link, otherwise the
    ///         error of open() or fstat()
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
    // If open() with O_EXCL succeeds, the file is new: a regular, empty file with one hard link. Only an existing
    // file must therefore be checked, in openExisting().
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
    // Truncate only if the old content is longer than the new one: when a file was truncated to size 0, close() on
    // ext4 starts to write its new data to the disk (mount option auto_da_alloc), which takes long.
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

/// Removes components from the end of `path`, in place, until `path` is an existing directory.
/// @return the device and inode of this directory; nullopt if no existing directory remains
static std::optional<DirectoryIdentity> cutToDirectory(char *path) {
    std::string_view rest(path);
    struct stat status = {};
    while (stat(path, &status) != 0 || !S_ISDIR(status.st_mode)) {
        const std::size_t slash = rest.rfind('/');
        // Documented: "/a" is not shortened to "/", but "//a" is. If "/a" is not a directory, the function fails.
        if (slash == std::string_view::npos || slash == 0) {
            return std::nullopt;
        }
        path[slash] = '\0';
        rest = {path, slash};
    }
    return DirectoryIdentity::of(status);
}

/// @return true if the file size limit RLIMIT_FSIZE allows a file of `size` bytes, so that writing it does not send
///         SIGXFSZ
static bool mayWrite(std::size_t size) {
    rlimit limit = {};
    return getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur >= size;
}

/// @return the result of a probe that has failed with the errno value `error`
static vek::ProbeResult failed(int error) {
    return {.sensitivity = VEK_CASE_UNKNOWN,
            .isShort = error == EMFILE || error == ENFILE || error == ENOMEM};
}

vek::ProbeDirectory vek::findProbeDirectory(const char *path) {
    ProbeDirectory directory = {.path = path == nullptr || *path == '\0' ? nullptr : copyText(path)};
    if (!directory.path) {
        return {};
    }
    vekCanonicalizeDirSep(directory.path.get());
    const std::optional<DirectoryIdentity> identity = cutToDirectory(directory.path.get());
    if (!identity || access(directory.path.get(), W_OK) != 0) {
        return {};
    }
    directory.identity = *identity;
    return directory;
}

vek::ProbeResult vek::probeDirectory(const ProbeDirectory &directory) {
    // Test the file size limit first: a pwrite() beyond it would send SIGXFSZ, which ends the process, or fail with
    // EFBIG.
    if (!directory.path || !mayWrite(kLowerName.size())) {
        return failed(0);
    }
    const char *path = directory.path.get();
    const pid_t process = getpid();
    ProbeFile lower;
    if (!lower.open(path, kLowerName, process) || !lower.write(kLowerName)) {
        return failed(errno);
    }
    ProbeFile mixed;
    const bool isOpen = mixed.open(path, kMixedName, process) || (errno == ELOOP && mixed.openAliasOf(lower));
    if (!isOpen || !mixed.write(kMixedName)) {
        return failed(errno);
    }
    errno = 0; // remains if the first file has an unexpected content
    const int sensitivity = lower.readResult();
    return sensitivity == VEK_CASE_UNKNOWN ? failed(errno)
                                           : ProbeResult{.sensitivity = sensitivity, .isShort = false};
}

int vekGetFilesysCaseSensitivity(const char *path) {
    return vek::probeDirectory(vek::findProbeDirectory(path)).sensitivity;
}
