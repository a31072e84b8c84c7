#ifndef COMMON_SYSTEM_PATH_H
#define COMMON_SYSTEM_PATH_H

/// System calls that return a path.

#include "common/text/fixed_text.h"

#include <cerrno>
#include <unistd.h>

namespace vek {

/// Reads the working directory with getcwd(). @return false after an error, which errno holds; `directory` is then
/// empty
[[nodiscard]] inline bool readWorkingDirectory(PathText &directory) {
    const bool isRead =
        directory.fill([](char *buffer, std::size_t size) { return getcwd(buffer, size) != nullptr; });
    if (!isRead) {
        directory.clear(); // POSIX leaves the buffer undefined
    }
    return isRead;
}

/// Reads the target of a symbolic link, at most 4095 characters of it.
/// @return 0, or the errno value of readlink(), for instance EINVAL if `path` is no link; `target` is then empty
[[nodiscard]] inline int readLink(const char *path, PathText &target) {
    const ssize_t length =
        target.fillCounted([path](char *buffer, std::size_t size) { return readlink(path, buffer, size); });
    return length < 0 ? errno : 0;
}

} // namespace vek

#endif
