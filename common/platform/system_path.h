#ifndef COMMON_SYSTEM_PATH_H
#define COMMON_SYSTEM_PATH_H

/// Wrappers of the system calls that return a path: getcwd() and readlink().

#include "common/text/fixed_text.h"

#include <cerrno>
#include <unistd.h>

namespace vek {

/// Stores the working directory in `directory`.
/// @return true; false with `errno` set if getcwd() fails, `directory` is then empty
[[nodiscard]] inline bool readWorkingDirectory(PathText &directory) {
    const bool isRead =
        directory.fill([](char *buffer, std::size_t size) { return getcwd(buffer, size) != nullptr; });
    if (!isRead) {
        directory.clear(); // after a failure POSIX leaves the content of the buffer undefined
    }
    return isRead;
}

/// Stores the target of the symbolic link `path` in `target`, cut to 4095 characters.
/// @return 0; after a failure the errno value of readlink(), for instance EINVAL if `path` is not a symbolic link, and
///         `target` is then empty
[[nodiscard]] inline int readLink(const char *path, PathText &target) {
    const ssize_t length =
        target.fillCounted([path](char *buffer, std::size_t size) { return readlink(path, buffer, size); });
    return length < 0 ? errno : 0;
}

} // namespace vek

#endif
