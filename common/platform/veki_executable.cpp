#include "common/platform/veki_executable.h"

#include "common/base/print.h"
#include "common/platform/system_path.h"
#include "common/platform/vek_path.h"
#include "common/platform/veki_path.h"

#include <cstdlib>
#include <cstring>

namespace vek {

bool DirectoryList::next(std::string_view &directory) {
    if (rest_ == nullptr) {
        return false;
    }
    directory = rest_;
    const std::size_t colon = directory.find(':');
    if (colon == std::string_view::npos) {
        rest_ = nullptr;
    } else {
        directory = {rest_, colon};
        rest_ += colon + 1;
    }
    if (directory.empty()) {
        directory = ".";
    }
    return true;
}

static ExecutableError searchAlongPath(std::string_view command, ExecutableText &path) {
    const char *list = std::getenv("PATH");
    if (list == nullptr) {
        return ExecutableError::NoPathVariable;
    }
    DirectoryList directories(list);
    std::string_view directory;
    while (directories.next(directory)) {
        if (path.assign(directory, '/', command) && vekiFileExistsExecutable(path.c_str()) == 1) {
            return ExecutableError::None;
        }
    }
    return ExecutableError::NotFound;
}

static ExecutableError makeAbsolute(ExecutableText &path) {
    PathText directory;
    if (!readWorkingDirectory(directory)) {
        // Documented: if getcwd() fails, the result is the path /UNKNOWN. A search for an installation root that
        // starts from this path finds nothing.
        static_cast<void>(path.assign(std::string_view("/UNKNOWN")));
        return ExecutableError::NoWorkingDirectory;
    }
    ExecutableText absolute;
    return absolute.assign(directory.view(), '/', path.view()) && path.assign(absolute.view())
               ? ExecutableError::None
               : ExecutableError::NotFound;
}

Executable findExecutable(std::string_view command) {
    Executable found;
    const bool hasDirectory = command.find('/') != std::string_view::npos;
    if (command.empty() || (hasDirectory && !found.path.assign(command))) {
        found.error = ExecutableError::NotFound;
    } else if (!hasDirectory) {
        found.error = searchAlongPath(command, found.path);
    }
    if (found.error == ExecutableError::None) {
        found.path.edit(vekCanonicalizeDirSep);
        if (vekIsRooted(found.path.c_str()) == 0) {
            found.error = makeAbsolute(found.path);
        }
    }
    if (found.error == ExecutableError::None || found.error == ExecutableError::NoWorkingDirectory) {
        found.path.edit(vekiCleanupRootedPath);
    } else {
        found.path.clear();
    }
    return found;
}

void printNoWorkingDirectory() {
    printError("Unable to get working directory.\n");
}

void printNoPathVariable() {
    printError("ERROR! unable to determine search path - check PATH setting\n");
}

void printExecutableError(ExecutableError error) {
    if (error == ExecutableError::NoPathVariable) {
        printNoPathVariable();
    } else if (error == ExecutableError::NoWorkingDirectory) {
        printNoWorkingDirectory();
    }
}

} // namespace vek
