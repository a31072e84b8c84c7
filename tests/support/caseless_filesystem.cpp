#include "tests/support/caseless_filesystem.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/magic.h>
#include <sys/mount.h>
#include <sys/vfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/child.h"
#include "tests/support/mount_namespace.h"
#include "tests/support/sandbox.h"

namespace test {

namespace {

constexpr off_t kImageSize = off_t{4} << 20; // NTFS needs at least 1 MiB
constexpr std::chrono::seconds kLongestMount(30);

[[noreturn]] void fail(const std::string &what) {
    throw std::system_error(errno, std::generic_category(), what);
}

/// Why this machine cannot mount the file system, or "".
std::string obstacle() {
    if (geteuid() != 0) {
        return "only root can mount it";
    }
    const int device = openat(AT_FDCWD, "/dev/fuse", O_RDWR | O_CLOEXEC);
    if (device < 0) {
        return std::string("/dev/fuse: ") + std::strerror(errno);
    }
    close(device);
    const Outcome outcome = inChild([] {
        try {
            enterMountNamespace();
        } catch (const std::system_error &) {
            return 1;
        }
        return 0;
    });
    return outcome.status == 0 ? "" : "no mount namespaces";
}

/// Runs a program in this environment and waits for it. @return its exit status
int runToEnd(const std::vector<std::string> &command) {
    const Outcome outcome = run(command, {.environment = {{"PATH", "/usr/sbin:/usr/bin:/sbin:/bin"}}});
    if (outcome.status != 0) {
        ADD_FAILURE() << command.front() << ": status " << outcome.status << '\n'
                      << outcome.out << outcome.err;
    }
    return outcome.status;
}

bool isMounted(const std::string &directory) {
    struct statfs status = {};
    return statfs(directory.c_str(), &status) == 0 && status.f_type == FUSE_SUPER_MAGIC;
}

/// The server process of the file system; it ends after umount().
class Server {
  public:
    Server(const std::string &image, const std::string &directory) : directory_(directory), process_(fork()) {
        if (process_ < 0) {
            fail("fork");
        }
        if (process_ == 0) {
            // "permissions": with owners and modes. "no_detach": it stays in this process group.
            execlp("lowntfs-3g", "lowntfs-3g", "-o", "ignore_case,permissions,no_detach", image.c_str(),
                   directory.c_str(), nullptr);
            _exit(127);
        }
        waitUntilMounted();
    }
    ~Server() {
        if (chdir("/") != 0 || umount2(directory_.c_str(), 0) != 0) {
            umount2(directory_.c_str(), MNT_DETACH);
            kill(process_, SIGTERM);
        }
        waitpid(process_, nullptr, 0);
    }
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

  private:
    void waitUntilMounted() {
        const auto deadline = std::chrono::steady_clock::now() + kLongestMount;
        while (!isMounted(directory_)) {
            if (waitpid(process_, nullptr, WNOHANG) != 0 || std::chrono::steady_clock::now() > deadline) {
                errno = ETIMEDOUT;
                fail("lowntfs-3g did not mount " + directory_);
            }
            usleep(2000);
        }
    }

    std::string directory_;
    pid_t process_;
};

} // namespace

void onCaselessFilesystem(const std::function<void(const std::string &directory)> &body) {
    const std::string reason = obstacle();
    if (!reason.empty()) {
        GTEST_SKIP() << "no case-insensitive file system: " << reason;
    }
    const std::string base = makeReachableDirectory();
    const Outcome outcome = inChild(
        [&] {
            enterMountNamespace();
            const std::string image = base + "/image";
            const std::string directory = base + "/mounted";
            const int file = openat(AT_FDCWD, image.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
            if (file < 0 || ftruncate(file, kImageSize) != 0 || mkdir(directory.c_str(), 0755) != 0) {
                fail(image);
            }
            close(file);
            if (runToEnd({"mkntfs", "--force", "--fast", "--quiet", image}) != 0) {
                return 1;
            }
            const Server server(image, directory);
            body(directory);
            return 0;
        },
        ChildOptions{.timeoutMs = 100000});
    removeTree(base);
    if (outcome.status != 0) {
        ADD_FAILURE() << "the child on the mounted file system did not end well: status " << outcome.status
                      << ", signal " << outcome.signal << (outcome.timedOut ? ", timed out" : "") << '\n'
                      << outcome.out << outcome.err;
    }
}

} // namespace test
