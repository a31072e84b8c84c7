#include "common/platform/system_path.h"
#include "common/platform/vek_install_root.h"
#include "common/platform/vek_path.h"
#include "common/platform/veki_install_root.h"
#include "common/platform/veki_path.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace vek {

bool DirectoryList::next(std::string_view &directory) {
    if (rest_ == nullptr) {
        return false;
    }
    const char *colon = std::strchr(rest_, ':');
    directory = colon == nullptr ? std::string_view(rest_)
                                 : std::string_view(rest_, static_cast<std::size_t>(colon - rest_));
    rest_ = colon == nullptr ? nullptr : colon + 1;
    if (directory.empty()) {
        directory = ".";
    }
    return true;
}

/// Finds `name` along `PATH`. @return whether it is there
static bool findAlongPath(std::string_view name, ExecutableText &path) {
    const char *list = std::getenv("PATH");
    if (list == nullptr) {
        static_cast<void>(
            std::fputs("ERROR! unable to determine search path - check PATH setting\n", stderr));
    }
    DirectoryList directories(list);
    std::string_view directory;
    while (directories.next(directory)) {
        if (path.assign(directory, '/', name) && vekiFileExistsExecutable(path.c_str()) == 1) {
            return true;
        }
    }
    return false;
}

/// Puts the working directory in front of `path`. @return whether the result fitted
static bool makeRooted(ExecutableText &path) {
    PathText directory;
    if (!readWorkingDirectory(directory)) {
        static_cast<void>(std::fputs("Unable to get working directory.\n", stderr));
        // A stand-in that no installation is above of, instead of a failure.
        return path.assign(std::string_view("/UNKNOWN"));
    }
    ExecutableText rooted;
    return rooted.assign(directory.view(), '/', path.view()) && path.assign(rooted.view());
}

void findExecutable(std::string_view name, ExecutableText &path) {
    const bool hasDirectory = name.find('/') != std::string_view::npos;
    bool found = !name.empty() && (hasDirectory ? path.assign(name) : findAlongPath(name, path));
    if (found) {
        path.edit(vekCanonicalizeDirSep);
        found = vekIsRooted(path.c_str()) == 1 || makeRooted(path);
    }
    if (!found) {
        path.clear();
        return;
    }
    path.edit(vekiCleanupRootedPath);
}

} // namespace vek

char *vekFindExecInPath(const char *name) {
    if (name == nullptr) {
        return nullptr;
    }
    vek::ExecutableText path;
    vek::findExecutable(name, path);
    return path.empty() ? nullptr : vek::copyReported(path.view());
}
