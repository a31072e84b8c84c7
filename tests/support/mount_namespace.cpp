#include "tests/support/mount_namespace.h"

#include <cerrno>
#include <fstream>
#include <string>
#include <system_error>

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

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

} // namespace

void enterMountNamespace() {
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

} // namespace test
