#include "tests/support/small_filesystem.h"

#include <cerrno>
#include <system_error>

#include <gtest/gtest.h>
#include <sys/mount.h>

#include "tests/support/child.h"
#include "tests/support/mount_namespace.h"
#include "tests/support/sandbox.h"

namespace test {

namespace {

[[noreturn]] void fail(const std::string &what) {
    throw std::system_error(errno, std::generic_category(), what);
}

} // namespace

void withMountAt(const std::string &directory, std::size_t bytes, const std::function<void()> &body) {
    const Outcome outcome = inChild(
        [&] {
            enterMountNamespace();
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
