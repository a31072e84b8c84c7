#include "fuzz/support/box.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

extern "C" {
int __real_open(const char *path, int flags, ...);
int __real_mkdir(const char *path, mode_t mode);
int __real_unlink(const char *path);
int __real_rename(const char *from, const char *to);
int __real_chmod(const char *path, mode_t mode);
int __wrap_open(const char *path, int flags, ...);
int __wrap_mkdir(const char *path, mode_t mode);
int __wrap_unlink(const char *path);
int __wrap_rename(const char *from, const char *to);
int __wrap_chmod(const char *path, mode_t mode);
}

static struct {
    std::string root; ///< where writing is allowed, while `active`
    bool active;
} confinement;

namespace {

[[noreturn]] void fail(const char *what, const char *name) {
    std::fprintf(stderr, "fuzz: %s '%s': %s\n", what, name, std::strerror(errno));
    std::_Exit(3);
}

bool isWritableDirectory(const char *path) {
    return path != nullptr && *path == '/' && access(path, W_OK | X_OK) == 0;
}

std::string makeDirectory() {
    const char *parent = "/tmp";
    for (const char *candidate : {std::getenv("TMPDIR"), const_cast<char *>("/dev/shm")}) {
        if (isWritableDirectory(candidate)) {
            parent = candidate;
            break;
        }
    }
    std::string path = std::string(parent) + "/vek-fuzz-XXXXXX";
    std::array<char, PATH_MAX> real; // NOLINT(cppcoreguidelines-pro-type-member-init)
    if (mkdtemp(path.data()) == nullptr || realpath(path.c_str(), real.data()) == nullptr) {
        fail("cannot make", path.c_str());
    }
    return real.data();
}

void emptyDirectory(int directory) {
    DIR *stream = directory < 0 ? nullptr : fdopendir(directory);
    if (stream == nullptr) {
        return;
    }
    while (const dirent *entry = readdir(stream)) {
        const std::string name = entry->d_name;
        if (name == "." || name == "..") {
            continue;
        }
        if (unlinkat(dirfd(stream), name.c_str(), 0) != 0) {
            emptyDirectory(openat(dirfd(stream), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW));
            unlinkat(dirfd(stream), name.c_str(), AT_REMOVEDIR);
        }
    }
    closedir(stream);
}

bool isInBox(std::string_view path) {
    const std::string &root = confinement.root;
    return path.starts_with(root) && (path.size() == root.size() || path[root.size()] == '/');
}

std::string parentOf(const char *path) {
    const char *slash = std::strrchr(path, '/');
    if (slash == nullptr) {
        return ".";
    }
    return slash == path ? "/" : std::string(path, slash);
}

/// Whether a change of `path`, or of what it leads to, stays in the box.
bool mayChange(const char *path) {
    if (!confinement.active || path == nullptr) {
        return true;
    }
    std::array<char, PATH_MAX> real; // NOLINT(cppcoreguidelines-pro-type-member-init)
    struct stat status = {};
    bool allowed = false;
    if (realpath(path, real.data()) != nullptr) {
        allowed = isInBox(real.data());
    } else if (lstat(path, &status) != 0) {
        // Not there: what counts is where it would be. A link that leads nowhere could lead anywhere.
        allowed = realpath(parentOf(path).c_str(), real.data()) != nullptr && isInBox(real.data());
    }
    if (!allowed) {
        errno = EACCES;
    }
    return allowed;
}

} // namespace

int __wrap_open(const char *path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = (flags & O_CREAT) != 0 ? va_arg(arguments, unsigned) : 0;
    va_end(arguments);
    const bool writes = (flags & (O_WRONLY | O_RDWR | O_CREAT | O_TRUNC)) != 0;
    return writes && !mayChange(path) ? -1 : __real_open(path, flags, mode);
}

int __wrap_mkdir(const char *path, mode_t mode) {
    return mayChange(path) ? __real_mkdir(path, mode) : -1;
}

int __wrap_unlink(const char *path) {
    return mayChange(path) ? __real_unlink(path) : -1;
}

int __wrap_rename(const char *from, const char *to) {
    return mayChange(from) && mayChange(to) ? __real_rename(from, to) : -1;
}

int __wrap_chmod(const char *path, mode_t mode) {
    return mayChange(path) ? __real_chmod(path, mode) : -1;
}

namespace fuzz {

Box::Box()
    : root_(makeDirectory()), directory_(::open(root_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)),
      cameFrom_(::open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (directory_ < 0 || cameFrom_ < 0) {
        fail("cannot open", root_.c_str());
    }
    confinement.root = root_;
}

Box::~Box() {
    leave();
    emptyDirectory(directory_);
    rmdir(root_.c_str());
    ::close(cameFrom_);
}

std::string Box::path(std::string_view name) const {
    return root_ + "/" + std::string(name);
}

void Box::file(const char *name, std::string_view content, mode_t mode) const {
    const int file = openat(directory_, name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode);
    if (file < 0 || ::write(file, content.data(), content.size()) != static_cast<ssize_t>(content.size())) {
        fail("cannot write", name);
    }
    ::close(file);
}

void Box::directory(const char *name) const {
    if (mkdirat(directory_, name, 0755) != 0 && errno != EEXIST) {
        fail("cannot make", name);
    }
}

void Box::link(const char *name, const char *target) const {
    if (symlinkat(target, directory_, name) != 0 && errno != EEXIST) {
        fail("cannot link", name);
    }
}

void Box::remove(const char *name) const {
    unlinkat(directory_, name, 0);
}

void Box::removeDirectory(const char *name) const {
    unlinkat(directory_, name, AT_REMOVEDIR);
}

void Box::empty(const char *name) const {
    emptyDirectory(openat(directory_, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

bool Box::exists(const char *name) const {
    return faccessat(directory_, name, F_OK, AT_SYMLINK_NOFOLLOW) == 0;
}

std::string Box::read(const char *name) const {
    const int file = openat(directory_, name, O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return {};
    }
    std::string content;
    std::array<char, 4096> buffer; // NOLINT(cppcoreguidelines-pro-type-member-init)
    ssize_t length = 0;
    while ((length = ::read(file, buffer.data(), buffer.size())) > 0) {
        content.append(buffer.data(), static_cast<std::size_t>(length));
    }
    ::close(file);
    return content;
}

void Box::enter() const {
    if (fchdir(directory_) != 0) {
        fail("cannot enter", root_.c_str());
    }
    confinement.active = true;
}

void Box::leave() const {
    confinement.active = false;
    if (fchdir(cameFrom_) != 0) {
        fail("cannot leave", root_.c_str());
    }
}

} // namespace fuzz
