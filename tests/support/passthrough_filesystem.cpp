#include "tests/support/passthrough_filesystem.h"

#include <cerrno>
#include <csignal>
#include <system_error>

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/c_list.h"
#include "tests/support/child.h"
#include "tests/support/mount_namespace.h"
#include "tests/support/sandbox.h"

namespace test {

namespace {

/// The server of a pass-through file system, which is mounted while the object exists.
class FileSystemServer {
  public:
    FileSystemServer(const std::vector<std::string> &options, const std::string &source,
                     const std::string &directory)
        : directory_(directory) {
        struct stat before = {};
        ::stat(directory.c_str(), &before);
        std::vector<std::string> line = {VEK_TEST_PASSTHROUGH_FS};
        line.insert(line.end(), options.begin(), options.end());
        line.push_back(source);
        line.push_back(directory);
        CList arguments(line);
        id_ = fork();
        if (id_ == 0) {
            execv(VEK_TEST_PASSTHROUGH_FS, arguments);
            _exit(127);
        }
        struct stat now = before;
        for (int tries = 0; tries < 1000 && now.st_dev == before.st_dev; ++tries) {
            usleep(5000);
            ::stat(directory.c_str(), &now);
        }
        if (now.st_dev == before.st_dev) {
            throw std::system_error(ETIMEDOUT, std::generic_category(),
                                    "mounting the pass-through file system");
        }
    }
    ~FileSystemServer() {
        umount2(directory_.c_str(), MNT_DETACH);
        kill(id_, SIGTERM);
        waitpid(id_, nullptr, 0);
    }
    FileSystemServer(const FileSystemServer &) = delete;
    FileSystemServer &operator=(const FileSystemServer &) = delete;

  private:
    std::string directory_;
    pid_t id_ = 0;
};

} // namespace

void onPassthroughFilesystem(const std::vector<std::string> &options,
                             const std::function<void(const std::string &, const std::string &)> &body) {
    if (access("/dev/fuse", R_OK | W_OK) != 0) {
        GTEST_SKIP() << "/dev/fuse cannot be opened";
    }
    const std::string top = makeReachableDirectory();
    const std::string source = top + "/source";
    const std::string directory = top + "/mounted";
    mkdir(source.c_str(), 0755);
    mkdir(directory.c_str(), 0755);
    const Outcome outcome = inChild(
        [&] {
            enterMountNamespace();
            const FileSystemServer server(options, source, directory);
            body(directory, source);
            return 0;
        },
        ChildOptions{.timeoutMs = 60000});
    if (outcome.status != 0) {
        ADD_FAILURE() << "the child on the FUSE file system did not end well: status " << outcome.status
                      << ", signal " << outcome.signal << (outcome.timedOut ? ", timed out" : "") << '\n'
                      << outcome.out << outcome.err;
    }
    removeTree(top);
}

} // namespace test
