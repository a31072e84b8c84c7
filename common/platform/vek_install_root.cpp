#include "common/platform/vek_install_root.h"

#include "common/base/owned.h"
#include "common/platform/system_path.h"
#include "common/platform/vek_init.h"
#include "common/platform/vek_path.h"
#include "common/platform/veki_init.h"
#include "common/platform/veki_install_root.h"
#include "common/platform/veki_path.h"
#include "common/text/vek_strlist.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// The executable that the last discovery found, for the messages about a missing root.
static struct { char path[vek::ExecutableText::kCapacity + 1]; } executable;

namespace vek {

char *copyReported(std::string_view text) {
    char *copy = static_cast<char *>(vekiMalloc(text.size() + 1));
    if (copy != nullptr) {
        std::memcpy(copy, text.data(), text.size());
        copy[text.size()] = '\0';
    }
    return copy;
}

// What makes the directory above it an installation root; the order decides within one directory.
static constexpr std::array<std::string_view, 2> kMarkers = {"/tools/bin/vek_root",
                                                             "/tools.lnx86/bin/vek_root"};

bool findRoot(std::string_view path, WalkFrom from, std::string_view &root) {
    ExecutableText candidate;
    if (!candidate.assign(path)) {
        return false;
    }
    std::size_t length = from == WalkFrom::Path ? path.size() : path.rfind('/');
    while (length != std::string_view::npos) {
        root = {path.data(), length};
        for (const std::string_view marker : kMarkers) {
            candidate.truncate(length);
            // A marker too far down for a path cannot exist either.
            if (candidate.append(marker) && vekiFileExistsExecutable(candidate.c_str()) == 1) {
                return true;
            }
        }
        length = root.rfind('/');
    }
    return false;
}

} // namespace vek

static void keepExecutable(std::string_view path) {
    if (!vek::copyToBuffer(path, executable.path, sizeof executable.path)) {
        executable.path[0] = '\0';
    }
}

const char *vekiFullExecutablePath(void) {
    return executable.path;
}

/// Replaces `path` by the executable that the command table beside it names, if there is one.
static void followCommandTable(vek::ExecutableText &path) {
    const std::string_view directory(path.c_str(), path.view().rfind('/') + 1);
    vek::PathText table;
    if (!table.assign(directory, std::string_view(".command_table.dat"))) {
        return;
    }
    const vek::OwnedText real(vekiGetRealPath(vekiExecutableName, table.c_str()));
    if (real && path.assign(std::string_view(real.get()))) {
        keepExecutable(path.view());
    }
}

void vekiGetInstallRoot(void) {
    vekiRootPath = nullptr;
    if (vekInitDone() == 0) {
        static_cast<void>(std::fputs("ERROR! vekInit has not been called\n", stderr));
        return;
    }
    vekCanonicalizeDirSep(vekiExecutableName);
    keepExecutable("");
    vek::ExecutableText path;
    vek::findExecutable(vekiExecutableName, path);
    if (path.empty()) {
        return;
    }
    keepExecutable(path.view());
    if (std::getenv("VEK_STRM_ACTIVE") != nullptr) {
        followCommandTable(path);
    }
    std::string_view root;
    if (vek::findRoot(path.view(), vek::WalkFrom::Parent, root)) {
        vekiRootPath = vek::copyReported(root);
    }
}

const char *vekiFindInstallRoot(void) {
    if (vekiRootPath == nullptr) {
        vekiGetInstallRoot();
    }
    return vekiRootPath;
}

int vekIsTolvaneHier(void) {
    if (cmnGetInstallRootRequired() == 0 || vekInitDone() == 0) {
        return 0;
    }
    return vekiFindInstallRoot() != nullptr ? 1 : 0;
}

char *vekGetInstallRoot(void) {
    return cmnGetInstallRootRequired() == 0 ? nullptr : vekiCopyString(vekiFindInstallRoot());
}

int vekGetInstallRootInBuf(char *buf, size_t size) {
    if (cmnGetInstallRootRequired() == 0 || buf == nullptr) {
        return 0;
    }
    const char *root = vekiFindInstallRoot();
    return root != nullptr && vek::copyToBuffer(root, buf, size) ? 1 : 0;
}

static void setExecutableName(std::string_view name) {
    constexpr std::size_t kMax = VEKI_EXECUTABLE_NAME_MAX;
    const std::size_t length = name.size() < kMax ? name.size() : kMax;
    std::memmove(vekiExecutableName, name.data(), length);
    vekiExecutableName[length] = '\0';
}

char *vekGetInstallRootFromPath(const char *exePath) {
    if (cmnGetInstallRootRequired() == 0 || exePath == nullptr || *exePath == '\0') {
        return nullptr;
    }
    vek::FixedText<sizeof vekiExecutableName> savedName;
    savedName.appendCut(vekiExecutableName);
    char *const savedRoot = vekiRootPath;

    setExecutableName(exePath);
    vekiGetInstallRoot();
    char *const found = vekiRootPath;

    vekiRootPath = savedRoot;
    setExecutableName(savedName.view());
    return found;
}

/// Finds the root of the installation that holds `file`.
///
/// @param path  working space
/// @param root  receives it, a prefix of `path`
/// @return whether there is one
static bool findRootOfFile(std::string_view file, vek::PathText &path, std::string_view &root) {
    path.clear();
    if (file.empty() || file[0] != '/') {
        if (!vek::readWorkingDirectory(path)) {
            static_cast<void>(std::fputs("Unable to get working directory.\n", stderr));
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
    return vek::findRoot(path.view(), vek::WalkFrom::Path, root);
}

char *vekGetInstallRootFromFilePath(const char *path) {
    if (cmnGetInstallRootRequired() == 0 || path == nullptr || *path == '\0') {
        return nullptr;
    }
    vek::PathText rooted;
    std::string_view root;
    return findRootOfFile(path, rooted, root) ? vek::copyReported(root) : nullptr;
}

/// The directories in which installations are looked for, null when the variable is unset.
static const char *installationList() {
    return std::getenv(std::getenv("VEK_STRM_ACTIVE") != nullptr ? "VEK_STRM_DIR_LIST" : "PATH");
}

char *vekGetInstallRootWithPath(const char *relPath) {
    if (cmnGetInstallRootRequired() == 0 || relPath == nullptr || *relPath == '\0') {
        return nullptr;
    }
    const char *list = installationList();
    if (list == nullptr) {
        static_cast<void>(
            std::fputs("ERROR! unable to determine search path - check PATH setting\n", stderr));
        return nullptr;
    }
    const std::string_view wanted(*relPath == '/' ? relPath + 1 : relPath);
    vek::DirectoryList directories(list);
    std::string_view directory;
    vek::PathText path;
    std::string_view root;
    vek::PathText candidate;
    while (directories.next(directory)) {
        if (findRootOfFile(directory, path, root) && candidate.assign(root, '/', wanted) &&
            vekiPathExists(candidate.c_str()) == 1) {
            return vek::copyReported(root);
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
        static_cast<void>(std::fputs("ERROR! unable to determine search path or stream list"
                                     " - check PATH or VEK_STRM_DIR_LIST setting\n",
                                     stderr));
        return nullptr;
    }
    // Grows with what is found; no number of installations is too many.
    char **roots = nullptr;
    int count = 0;
    int size = 0;
    vek::DirectoryList directories(list);
    std::string_view directory;
    vek::PathText path;
    std::string_view root;
    while (directories.next(directory)) {
        if (!findRootOfFile(directory, path, root)) {
            continue;
        }
        path.truncate(root.size());
        if (contains(roots, path.c_str())) {
            continue;
        }
        char **grown = vekFastAddToStrlist(roots, path.c_str(), &count, &size);
        if (grown == nullptr) {
            vekFreeStrlist(roots);
            return nullptr;
        }
        roots = grown;
    }
    return roots;
}
