#include "tests/support/small_filesystem.h"

#include <cerrno>
#include <fstream>
#include <system_error>

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include "tests/support/child.h"
#include "tests/support/sandbox.h"

namespace test {

namespace {

[[noreturn]] void fail(const std::string &what) {
    throw std::system_error(errno, std::generic_category(), what);
}

void writeLine(const char *file, const std::string &line) {
    std::ofstream stream(file);
    stream << line << std::flush;
    if (!stream) {
        fail(file);
    }
}

// A mount namespace of this process's own; whoever is not root needs a user namespace around it, in which
// the user keeps the same ids.
void leaveMountNamespace() {
    const uid_t uid = geteuid();
    const gid_t gid = getegid();
    if (unshare(uid == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER) != 0) {
        fail("unshare");
    }
    if (uid != 0) {
        writeLine("/proc/self/setgroups", "deny");
        writeLine("/proc/self/uid_map", std::to_string(uid) + " " + std::to_string(uid) + " 1");
        writeLine("/proc/self/gid_map", std::to_string(gid) + " " + std::to_string(gid) + " 1");
    }
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        fail("making the mounts private");
    }
}

} // namespace

void withMountAt(const std::string &directory, std::size_t bytes, const std::function<void()> &body) {
    const Outcome outcome = inChild(
        [&] {
            leaveMountNamespace();
            const std::string options = "mode=0755,size=" + std::to_string(bytes);
            if (mount("small", directory.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, options.c_str()) != 0) {
                fail("mount");
            }
            body();
            return 0;
        },
        ChildOptions{.timeoutMs = 60000});
    if (outcome.status != 0) {
        ADD_FAILURE() << "the child on the mounted file system did not end well: status " << outcome.status
                      << ", signal " << outcome.signal << (outcome.timedOut ? ", timed out" : "") << '\n'
                      << outcome.out << outcome.err;
    }
}

void onSmallFilesystem(std::size_t bytes, const std::function<void(const std::string &directory)> &body) {
    const std::string directory = makeReachableDirectory();
    withMountAt(directory, bytes, [&] { body(directory); });
    removeTree(directory);
}

} // namespace test
