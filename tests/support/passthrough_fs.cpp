// A FUSE file system that passes every request through to a directory, after a delay if one is asked for. It
// simulates a network file system: each request takes a round trip, many are processed at the same time, and lock requests
// can fail.
//
// Usage: vek_passthrough_fs [--delay-us N] [--threads N] [--lock-error ERRNO] [--blockable 1] DIRECTORY MOUNTPOINT
//
// With --blockable 1, a directory that holds a file ".block" cannot be opened until that file is removed.
//
// It stays in the foreground until it is unmounted or gets SIGTERM. The kernel caches neither attributes nor names, so
// that every system call of a program is a request.

#define FUSE_USE_VERSION 312

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <string_view>

#include <dirent.h>
#include <fcntl.h>
#include <fuse.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace {

struct Settings {
    long delayUs = 0;
    unsigned threads = 64;
    int lockError = 0; ///< an errno value, 0 to leave locks to the kernel
    bool isBlockable = false;
    int root = -1; ///< the directory that requests are passed to
};

Settings settings;

/// Waits for the time of a round trip.
void delay() {
    if (settings.delayUs > 0) {
        const timespec duration = {settings.delayUs / 1'000'000, settings.delayUs % 1'000'000 * 1000};
        nanosleep(&duration, nullptr);
    }
}

/// The path below the root directory; "." for the root itself.
const char *below(const char *path) {
    return path[1] == '\0' ? "." : path + 1;
}

int result(int value) {
    return value < 0 ? -errno : 0;
}

int getattr(const char *path, struct stat *status, fuse_file_info *file) {
    delay();
    return result(file != nullptr ? fstat(static_cast<int>(file->fh), status)
                                  : fstatat(settings.root, below(path), status, AT_SYMLINK_NOFOLLOW));
}

int readLink(const char *path, char *buffer, std::size_t size) {
    delay();
    const ssize_t length = readlinkat(settings.root, below(path), buffer, size - 1);
    if (length < 0) {
        return -errno;
    }
    buffer[length] = '\0';
    return 0;
}

int makeDirectory(const char *path, mode_t mode) {
    delay();
    return result(mkdirat(settings.root, below(path), mode));
}

int unlinkFile(const char *path) {
    delay();
    return result(unlinkat(settings.root, below(path), 0));
}

int removeDirectory(const char *path) {
    delay();
    return result(unlinkat(settings.root, below(path), AT_REMOVEDIR));
}

int makeLink(const char *target, const char *path) {
    delay();
    return result(symlinkat(target, settings.root, below(path)));
}

int renameFile(const char *from, const char *to, unsigned flags) {
    delay();
    return flags != 0 ? -EINVAL : result(renameat(settings.root, below(from), settings.root, below(to)));
}

int changeMode(const char *path, mode_t mode, fuse_file_info * /*file*/) {
    delay();
    return result(fchmodat(settings.root, below(path), mode, 0));
}

int changeOwner(const char *path, uid_t user, gid_t group, fuse_file_info * /*file*/) {
    delay();
    return result(fchownat(settings.root, below(path), user, group, AT_SYMLINK_NOFOLLOW));
}

int truncateFile(const char *path, off_t size, fuse_file_info *file) {
    delay();
    if (file != nullptr) {
        return result(ftruncate(static_cast<int>(file->fh), size));
    }
    const int opened = openat(settings.root, below(path), O_WRONLY | O_CLOEXEC);
    if (opened < 0) {
        return -errno;
    }
    const int done = result(ftruncate(opened, size));
    close(opened);
    return done;
}

int setTimes(const char *path, const timespec times[2], fuse_file_info * /*file*/) {
    delay();
    return result(utimensat(settings.root, below(path), times, AT_SYMLINK_NOFOLLOW));
}

int openAt(const char *path, int flags, mode_t mode, fuse_file_info *file) {
    delay();
    const int opened = openat(settings.root, below(path), flags | O_CLOEXEC, mode);
    file->fh = static_cast<std::uint64_t>(opened);
    return result(opened);
}

int createFile(const char *path, mode_t mode, fuse_file_info *file) {
    return openAt(path, file->flags, mode, file);
}

int openFile(const char *path, fuse_file_info *file) {
    return openAt(path, file->flags, 0, file);
}

int readFile(const char * /*path*/, char *buffer, std::size_t size, off_t offset, fuse_file_info *file) {
    delay();
    const ssize_t got = pread(static_cast<int>(file->fh), buffer, size, offset);
    return got < 0 ? -errno : static_cast<int>(got);
}

int writeFile(const char * /*path*/, const char *data, std::size_t size, off_t offset, fuse_file_info *file) {
    delay();
    const ssize_t written = pwrite(static_cast<int>(file->fh), data, size, offset);
    return written < 0 ? -errno : static_cast<int>(written);
}

int statFileSystem(const char * /*path*/, struct statvfs *status) {
    delay();
    return result(fstatvfs(settings.root, status));
}

int releaseFile(const char * /*path*/, fuse_file_info *file) {
    close(static_cast<int>(file->fh)); // nobody waits for this request
    return 0;
}

int synchronize(const char * /*path*/, int /*dataOnly*/, fuse_file_info *file) {
    delay();
    return result(fsync(static_cast<int>(file->fh)));
}

/// Waits while the directory contains a file ".block".
void waitUntilUnblocked(const char *path) {
    const std::string block = std::string(below(path)) + "/.block";
    while (settings.isBlockable && faccessat(settings.root, block.c_str(), F_OK, 0) == 0) {
        const timespec duration = {0, 1'000'000};
        nanosleep(&duration, nullptr);
    }
}

int openDirectory(const char *path, fuse_file_info *file) {
    delay();
    waitUntilUnblocked(path);
    const int opened = openat(settings.root, below(path), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR *stream = opened < 0 ? nullptr : fdopendir(opened);
    file->fh = reinterpret_cast<std::uint64_t>(stream);
    return stream == nullptr ? -errno : 0;
}

int readDirectory(const char * /*path*/, void *buffer, fuse_fill_dir_t fill, off_t offset,
                  fuse_file_info *file, fuse_readdir_flags /*flags*/) {
    delay();
    DIR *stream = reinterpret_cast<DIR *>(file->fh); // NOLINT(performance-no-int-to-ptr): FUSE keeps a number
    seekdir(stream, offset);
    while (const dirent *entry = readdir(stream)) {
        struct stat status = {};
        status.st_ino = entry->d_ino;
        status.st_mode = static_cast<mode_t>(DTTOIF(entry->d_type));
        if (fill(buffer, entry->d_name, &status, telldir(stream), fuse_fill_dir_flags()) != 0) {
            break;
        }
    }
    return 0;
}

int releaseDirectory(const char * /*path*/, fuse_file_info *file) {
    closedir(reinterpret_cast<DIR *>(file->fh)); // NOLINT(performance-no-int-to-ptr)
    return 0;
}

int answerLock(const char * /*path*/, fuse_file_info * /*file*/, int /*command*/, struct flock * /*lock*/) {
    delay();
    return -settings.lockError;
}

void *start(fuse_conn_info * /*connection*/, fuse_config *config) {
    config->use_ino = 1;
    config->entry_timeout = 0;
    config->attr_timeout = 0;
    config->negative_timeout = 0;
    config->hard_remove = 1;
    return nullptr;
}

fuse_operations operations() {
    fuse_operations table = {};
    table.getattr = getattr;
    table.readlink = readLink;
    table.mkdir = makeDirectory;
    table.unlink = unlinkFile;
    table.rmdir = removeDirectory;
    table.symlink = makeLink;
    table.rename = renameFile;
    table.chmod = changeMode;
    table.chown = changeOwner;
    table.truncate = truncateFile;
    table.utimens = setTimes;
    table.open = openFile;
    table.create = createFile;
    table.read = readFile;
    table.write = writeFile;
    table.statfs = statFileSystem;
    table.release = releaseFile;
    table.fsync = synchronize;
    table.opendir = openDirectory;
    table.readdir = readDirectory;
    table.releasedir = releaseDirectory;
    table.init = start;
    table.lock = settings.lockError == 0 ? nullptr : answerLock;
    return table;
}

int usage(const char *program) {
    std::fprintf(
        stderr,
        "Usage: %s [--delay-us N] [--threads N] [--lock-error ERRNO] [--blockable 1] DIRECTORY MOUNTPOINT\n",
        program);
    return 2;
}

} // namespace

int main(int argc, char **argv) {
    int at = 1;
    for (; at + 1 < argc && std::string_view(argv[at]).starts_with("--"); at += 2) {
        const std::string_view option = argv[at];
        const long value = std::strtol(argv[at + 1], nullptr, 10);
        if (option == "--delay-us") {
            settings.delayUs = value;
        } else if (option == "--threads") {
            settings.threads = static_cast<unsigned>(value);
        } else if (option == "--lock-error") {
            settings.lockError = static_cast<int>(value);
        } else if (option == "--blockable") {
            settings.isBlockable = value != 0;
        } else {
            return usage(argv[0]);
        }
    }
    if (argc - at != 2) {
        return usage(argv[0]);
    }
    settings.root = open(argv[at], O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (settings.root < 0) {
        std::perror(argv[at]);
        return 1;
    }
    umask(0);

    std::string name = argv[0];
    std::array<char *, 2> arguments = {name.data(), nullptr};
    fuse_args options = FUSE_ARGS_INIT(1, arguments.data());
    const fuse_operations table = operations();
    fuse *server = fuse_new(&options, &table, sizeof table, nullptr);
    if (server == nullptr || fuse_mount(server, argv[at + 1]) != 0) {
        return 1;
    }
    fuse_set_signal_handlers(fuse_get_session(server));
    fuse_loop_config *loop = fuse_loop_cfg_create();
    fuse_loop_cfg_set_max_threads(loop, settings.threads);
    fuse_loop_cfg_set_idle_threads(loop, settings.threads);
    fuse_loop_mt(server, loop);
    fuse_loop_cfg_destroy(loop);
    fuse_unmount(server);
    fuse_destroy(server);
    return 0;
}
