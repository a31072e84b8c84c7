#ifndef COMMON_SYSTEM_PATH_H
#define COMMON_SYSTEM_PATH_H

/// Wrappers of getcwd() and readlink(). They store the path in a PathText, a buffer for at most 4095 characters.

#include "common/text/fixed_text.h"

#include <cerrno>
#include <unistd.h>

namespace vek {

/// Stores the path of the working directory in `directory`.
/// @return true; false with `errno` set if getcwd() fails, and `directory` is then empty
[[nodiscard]] inline bool readWorkingDirectory(PathText &directory) {
    const bool isRead =
        directory.fill([](char *buffer, std::size_t size) { return getcwd(buffer, size) != nullptr; });
    if (!isRead) {
        directory.clear(); // after a failure POSIX leaves the content of the buffer undefined
    }
    return isRead;
}

/// Stores the target of the symbolic link `path` in `target`. Only the first 4095 characters of a longer target are
/// stored.
/// @return 0 if readlink() succeeds; otherwise its errno value, for instance EINVAL if `path` is not a symbolic link,
///         and `target` is then empty
[[nodiscard]] inline int readLink(const char *path, PathText &target) {
    const ssize_t length =
        target.fillCounted([path](char *buffer, std::size_t size) { return readlink(path, buffer, size); });
    return length < 0 ? errno : 0;
}

} // namespace vek

#endif
