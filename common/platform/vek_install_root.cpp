#include "common/platform/vek_install_root.h"

// An installation root is found by walking up from the executable (or from a given file) and testing for the marker in
// each directory. A discovery takes at most two stat() calls for each directory of the path. The running tool's root is
// stored for the process, a failure is not.

#include "common/base/owned.h"
#include "common/base/print_error.h"
#include "common/platform/system_path.h"
#include "common/platform/vek_init.h"
#include "common/platform/vek_path.h"
#include "common/platform/veki_executable.h"
#include "common/platform/veki_init.h"
#include "common/platform/veki_install_root.h"
#include "common/platform/veki_path.h"
#include "common/platform/veki_real_path.h"
#include "common/text/vek_strlist.h"

#include <array>
#include <cstdlib>
#include <cstring>

// The marker of an installation root; "tools" is tested first in each directory.
static constexpr std::array<std::string_view, 2> kMarkers = {"/tools/bin/vek_root",
                                                             "/tools.lnx86/bin/vek_root"};

constinit vek::Installation vek::runningInstallation;

namespace {
/// The directory in which findRoot() begins.
enum class FirstDirectory { Path, Parent };
} // namespace

/// Walks up `path` to the nearest installation root. The root directory is tested last, as the empty string.
/// @return the size of the root, which is a prefix of `path`
static std::optional<std::size_t> findRoot(std::string_view path, FirstDirectory first) {
    vek::ExecutableText candidate;
    if (!candidate.assign(path)) {
        return std::nullopt; // Not reached: callers pass texts of buffers that are not larger
    }
    std::size_t length = first == FirstDirectory::Path ? path.size() : path.rfind('/');
    while (length != std::string_view::npos) {
        for (const std::string_view marker : kMarkers) {
            candidate.truncate(length);
            // A marker whose path does not fit into the buffer is longer than PATH_MAX and cannot exist.
            if (candidate.append(marker) && vekiFileExistsExecutable(candidate.c_str()) == 1) {
                return length;
            }
        }
        length = std::string_view(path.data(), length).rfind('/');
    }
    return std::nullopt;
}

/// Replaces `executable` by the path that the command table in its directory has for `command`, if there is one.
static void followCommandTable(const char *command, vek::ExecutableText &executable) {
    const std::string_view directory(executable.c_str(), executable.view().rfind('/') + 1);
    vek::PathText table;
    if (!table.assign(directory, std::string_view(".command_table.dat"))) {
        return;
    }
    const vek::OwnedText real(vekiGetRealPath(command, table.c_str()));
    if (real) {
        static_cast<void>(executable.assign(std::string_view(real.get())));
    }
}

vek::Discovery vek::discoverInstallation(const char *command) {
    const Executable found = findExecutable(command);
    Discovery discovery;
    discovery.error = found.error;
    if (found.path.empty() || !discovery.executable.assign(found.path.view())) {
        return discovery;
    }
    if (std::getenv("VEK_STRM_ACTIVE") != nullptr) {
        followCommandTable(command, discovery.executable);
    }
    discovery.rootSize = findRoot(discovery.executable.view(), FirstDirectory::Parent);
    return discovery;
}

/// Runs discoverInstallation() if vekInit() was called, and prints its error.
static vek::Discovery discoverOrReport(const char *command) {
    if (vekInitDone() == 0) {
        vek::printError("ERROR! vekInit has not been called\n");
        return {};
    }
    vek::Discovery discovery = vek::discoverInstallation(command);
    vek::printExecutableError(discovery.error);
    return discovery;
}

static char *copyRoot(const vek::Discovery &discovery) {
    return discovery.rootSize ? vek::copyOrReport(discovery.root()) : nullptr;
}

void vek::storeInstallRoot() {
    vekCanonicalizeDirSep(vekiExecutableName);
    const Discovery discovery = discoverOrReport(vekiExecutableName);
    static_cast<void>(runningInstallation.executable.assign(discovery.executable.view()));
    vekiRootPath = copyRoot(discovery);
}

const char *vek::installRoot() {
    if (vekiRootPath == nullptr) {
        storeInstallRoot();
    }
    return vekiRootPath;
}

int vekIsTolvaneHier(void) {
    if (cmnGetInstallRootRequired() == 0 || vekInitDone() == 0) {
        return 0;
    }
    return vek::installRoot() != nullptr ? 1 : 0;
}

char *vekGetInstallRoot(void) {
    return cmnGetInstallRootRequired() == 0 ? nullptr : vekiCopyString(vek::installRoot());
}

int vekGetInstallRootInBuf(char *buf, size_t size) {
    if (cmnGetInstallRootRequired() == 0 || buf == nullptr) {
        return 0;
    }
    const char *root = vek::installRoot();
    return root != nullptr && vek::copyToBuffer(root, buf, size) ? 1 : 0;
}

char *vekGetInstallRootFromPath(const char *exePath) {
    if (cmnGetInstallRootRequired() == 0 || exePath == nullptr || *exePath == '\0') {
        return nullptr;
    }
    // Documented: the result is that of a tool started as `exePath`, and vekInit() keeps 4096 characters of a name.
    vek::FixedText<sizeof vekiExecutableName> command;
    command.appendCut(exePath);
    command.edit(vekCanonicalizeDirSep);
    return copyRoot(discoverOrReport(command.c_str()));
}

/// Finds the root of the installation that contains `file`.
/// @return false if there is none; otherwise `root` receives the root
static bool findRootOfFile(std::string_view file, vek::PathText &root) {
    vek::PathText path;
    if (file.empty() || file[0] != '/') {
        if (!vek::readWorkingDirectory(path)) {
            vek::printNoWorkingDirectory();
            return false;
        }
        if (!path.append('/')) {
            return false;
        }
    }
    if (!path.append(file)) {
        return false;
    }
    path.edit(vekCanonicalizeDirSep);
    path.edit(vekiCleanupRootedPath);
    const std::optional<std::size_t> size = findRoot(path.view(), FirstDirectory::Path);
    return size && root.assign(std::string_view(path.c_str(), *size));
}

char *vekGetInstallRootFromFilePath(const char *path) {
    if (cmnGetInstallRootRequired() == 0 || path == nullptr || *path == '\0') {
        return nullptr;
    }
    vek::PathText root;
    return findRootOfFile(path, root) ? vek::copyOrReport(root.view()) : nullptr;
}

/// The list of directories that are searched for installations; null if the variable is not set.
static const char *installationList() {
    return std::getenv(std::getenv("VEK_STRM_ACTIVE") != nullptr ? "VEK_STRM_DIR_LIST" : "PATH");
}

char *vekGetInstallRootWithPath(const char *relPath) {
    if (cmnGetInstallRootRequired() == 0 || relPath == nullptr || *relPath == '\0') {
        return nullptr;
    }
    const char *list = installationList();
    if (list == nullptr) {
        vek::printNoPathVariable();
        return nullptr;
    }
    const std::string_view wanted(*relPath == '/' ? relPath + 1 : relPath);
    vek::DirectoryList directories(list);
    std::string_view directory;
    vek::PathText root;
    vek::PathText candidate;
    while (directories.next(directory)) {
        if (findRootOfFile(directory, root) && candidate.assign(root.view(), '/', wanted) &&
            vekiPathExists(candidate.c_str()) == 1) {
            return vek::copyOrReport(root.view());
        }
    }
    return nullptr;
}

static bool contains(char **list, const char *text) {
    while (list != nullptr && *list != nullptr) {
        if (std::strcmp(*list++, text) == 0) {
            return true;
        }
    }
    return false;
}

char **vekGetAllInstallRoots(void) {
    if (cmnGetInstallRootRequired() == 0) {
        return nullptr;
    }
    const char *list = installationList();
    if (list == nullptr) {
        vek::printError("ERROR! unable to determine search path or stream list"
                        " - check PATH or VEK_STRM_DIR_LIST setting\n");
        return nullptr;
    }
    char **roots = nullptr;
    int count = 0;
    int size = 0;
    vek::DirectoryList directories(list);
    std::string_view directory;
    vek::PathText root;
    while (directories.next(directory)) {
        if (!findRootOfFile(directory, root) || contains(roots, root.c_str())) {
            continue;
        }
        char **grown = vekFastAddToStrlist(roots, root.c_str(), &count, &size);
        if (grown == nullptr) {
            vekFreeStrlist(roots);
            return nullptr;
        }
        roots = grown;
    }
    return roots;
}

char *vekFindExecInPath(const char *name) {
    if (name == nullptr) {
        return nullptr;
    }
    const vek::Executable found = vek::findExecutable(name);
    vek::printExecutableError(found.error);
    return found.path.empty() ? nullptr : vek::copyOrReport(found.path.view());
}
