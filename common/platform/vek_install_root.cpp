#include "common/platform/vek_install_root.h"

// Search for installation roots. An installation root is a directory that contains a marker file, see kMarkers. The
// search tests the directory of an executable, or a given directory, and then each directory above it, with at most
// two stat() calls per directory. The installation root of the running program is stored for the process. A failure
// is not stored, so the next query searches again.

#include "common/base/owned.h"
#include "common/base/print.h"
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

// The marker files, as texts that are appended to the path of a directory. The directory is an installation root if
// one of them exists in it as an executable file. They are tested in this order.
static constexpr std::array<std::string_view, 2> kMarkers = {"/tools/bin/vek_root",
                                                             "/tools.lnx86/bin/vek_root"};

constinit vek::Installation vek::runningInstallation;

namespace {
/// The first directory that findRoot() tests: `path` itself, or the parent directory of `path`.
enum class FirstDirectory { Path, Parent };
} // namespace

/// Finds the nearest installation root at or above `path`. Tests `path` or its parent directory, as `first` selects,
/// and then each directory above it, up to "/".
/// @return the length of the installation root, which is a prefix of `path` (0 if the root is "/"); nullopt if no
///         directory is an installation root
static std::optional<std::size_t> findRoot(std::string_view path, FirstDirectory first) {
    vek::ExecutableText candidate;
    if (!candidate.assign(path)) {
        return std::nullopt; // Not reached: callers pass texts of buffers that are not larger
    }
    std::size_t length = first == FirstDirectory::Path ? path.size() : path.rfind('/');
    while (length != std::string_view::npos) {
        for (const std::string_view marker : kMarkers) {
            candidate.truncate(length);
            // append() fails if the path of the marker file does not fit into `candidate`. The buffer is larger than
            // PATH_MAX, so a file with such a path cannot exist.
            if (candidate.append(marker) && vekiFileExistsExecutable(candidate.c_str()) == 1) {
                return length;
            }
        }
        length = std::string_view(path.data(), length).rfind('/');
    }
    return std::nullopt;
}

/// Replaces `executable` by the path that the command table lists for `command`. The command table is the file
/// `.command_table.dat` in the directory of `executable`. If the file does not exist or does not list the command,
/// `executable` is unchanged.
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

/// Calls discoverInstallation() for `command` and prints its error, if any, on standard error. If vekInit() was not
/// called, only prints an error message and returns an empty result.
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
    // Documented: only the first 4096 characters of `exePath` are used, because vekInit() also stores only the first
    // 4096 characters of a program's name.
    vek::FixedText<sizeof vekiExecutableName> command;
    command.appendCut(exePath);
    command.edit(vekCanonicalizeDirSep);
    return copyRoot(discoverOrReport(command.c_str()));
}

/// Finds the installation root of the installation that contains the file or directory `file`, and stores its path in
/// `root`. If `file` is relative, it is relative to the working directory.
/// @return true; false if there is no installation root, if a path is too long, or if getcwd() fails. Only a failure
///         of getcwd() is printed on standard error
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

/// @return a list of directories, separated by ":": the value of the environment variable VEK_STRM_DIR_LIST if the
///         variable VEK_STRM_ACTIVE is set, otherwise the value of PATH. Null if the selected variable is not set
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
