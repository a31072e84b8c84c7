#include "tests/support/sandbox.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/real_calls.h"

namespace test {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string &what) {
    throw std::system_error(errno, std::generic_category(), "sandbox: " + what);
}

class Descriptor {
  public:
    explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
    ~Descriptor() { reset(-1); }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    void reset(int descriptor) {
        if (descriptor_ >= 0) {
            __real_close(descriptor_);
        }
        descriptor_ = descriptor;
    }
    [[nodiscard]] int get() const { return descriptor_; }

  private:
    int descriptor_;
};

// Opens the directory `path` component by component and creates missing ones, so that a path can have any length.
int openDirectory(std::string_view path) {
    const bool rooted = path.starts_with('/');
    Descriptor at(openat(AT_FDCWD, rooted ? "/" : ".", O_PATH | O_DIRECTORY | O_CLOEXEC));
    while (!path.empty()) {
        const std::size_t slash = std::min(path.find('/'), path.size());
        const std::string name(path.substr(0, slash));
        path.remove_prefix(std::min(slash + 1, path.size()));
        if (name.empty()) {
            continue;
        }
        if (mkdirat(at.get(), name.c_str(), 0755) == 0) {
            fchmodat(at.get(), name.c_str(), 0755, 0);
        } else if (errno != EEXIST) {
            fail(name);
        }
        const int next = openat(at.get(), name.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        if (next < 0) {
            fail(name);
        }
        at.reset(next);
    }
    return dup(at.get());
}

struct Location {
    Descriptor parent;
    std::string name;
};

Location locationOf(const std::string &path) {
    const std::string trimmed = path.substr(0, path.find_last_not_of('/') + 1);
    const std::size_t slash = trimmed.rfind('/');
    return {Descriptor(openDirectory(std::string_view(trimmed).substr(0, slash))), trimmed.substr(slash + 1)};
}

// Whether this process can create directories in `directory` and every user can search it.
bool servesEveryone(const fs::path &directory) {
    if (eaccess(directory.c_str(), W_OK | X_OK) != 0) {
        return false;
    }
    std::error_code error;
    fs::path path = fs::canonical(directory, error);
    for (; !error; path = path.parent_path()) {
        const fs::perms permissions = fs::status(path, error).permissions();
        if (error || (permissions & fs::perms::others_exec) == fs::perms::none) {
            return false;
        }
        if (path == path.root_path()) {
            return true;
        }
    }
    return false;
}

} // namespace

std::string makeReachableDirectory() {
    const char *const configured = std::getenv("TMPDIR");
    const std::string base =
        configured != nullptr && *configured == '/' && servesEveryone(configured) ? configured : "/tmp";
    std::string name = fs::canonical(base).string() + "/vek-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        fail(name);
    }
    fs::permissions(name, fs::perms(0755));
    return name;
}

void removeTree(const std::string &path) {
    std::error_code ignored;
    if (geteuid() != 0) {
        fs::permissions(path, fs::perms::owner_all, fs::perm_options::add, ignored);
        for (fs::recursive_directory_iterator entry(path, ignored), end; !ignored && entry != end;
             entry.increment(ignored)) {
            if (entry->is_directory(ignored) && !entry->is_symlink(ignored)) {
                fs::permissions(entry->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
            }
        }
    }
    fs::remove_all(path, ignored);
}

Sandbox::Sandbox()
    : root_(makeReachableDirectory()), cameFrom_(fs::current_path().string()), owner_(getpid()) {
    fs::current_path(root_);
}

Sandbox::~Sandbox() {
    // A forked child has a copy of the object, but must not remove the directory.
    if (getpid() != owner_) {
        return;
    }
    std::error_code ignored;
    fs::current_path(cameFrom_, ignored);
    removeTree(root_);
}

std::string Sandbox::path(std::string_view relative) const {
    return relative.empty() ? root_ : root_ + "/" + std::string(relative);
}

Sandbox &Sandbox::file(std::string_view relative, std::string_view content, mode_t mode) {
    const Location location = locationOf(path(relative));
    unlinkat(location.parent.get(), location.name.c_str(), 0);
    const Descriptor file(
        openat(location.parent.get(), location.name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (file.get() < 0) {
        fail(std::string(relative));
    }
    while (!content.empty()) {
        const ssize_t written = __real_write(file.get(), content.data(), content.size());
        if (written < 0) {
            fail(std::string(relative));
        }
        content.remove_prefix(static_cast<std::size_t>(written));
    }
    if (fchmod(file.get(), mode) != 0) {
        fail(std::string(relative));
    }
    return *this;
}

Sandbox &Sandbox::directory(std::string_view relative, mode_t mode) {
    const Descriptor directory(openDirectory(path(relative)));
    // fchmod() fails for O_PATH descriptors.
    const std::string link = "/proc/self/fd/" + std::to_string(directory.get());
    if (fchmodat(AT_FDCWD, link.c_str(), mode, 0) != 0) {
        fail(std::string(relative));
    }
    return *this;
}

Sandbox &Sandbox::link(std::string_view relative, std::string_view target) {
    const Location location = locationOf(path(relative));
    unlinkat(location.parent.get(), location.name.c_str(), 0);
    if (symlinkat(std::string(target).c_str(), location.parent.get(), location.name.c_str()) != 0) {
        fail(std::string(relative));
    }
    return *this;
}

Sandbox &Sandbox::fifo(std::string_view relative, mode_t mode) {
    const Location location = locationOf(path(relative));
    unlinkat(location.parent.get(), location.name.c_str(), 0);
    if (mkfifoat(location.parent.get(), location.name.c_str(), 0600) != 0 ||
        fchmodat(location.parent.get(), location.name.c_str(), mode, 0) != 0) {
        fail(std::string(relative));
    }
    return *this;
}

std::string Sandbox::read(std::string_view relative) const {
    std::ifstream file(path(relative), std::ios::binary);
    if (!file) {
        fail("cannot read " + std::string(relative));
    }
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool Sandbox::exists(std::string_view relative) const {
    std::error_code ignored;
    return fs::exists(fs::symlink_status(path(relative), ignored));
}

std::vector<std::string> Sandbox::list(std::string_view relative) const {
    std::vector<std::string> names;
    for (const fs::directory_entry &entry : fs::directory_iterator(path(relative))) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace test
