#ifndef VEK_TESTS_SUPPORT_SMALL_FILESYSTEM_H
#define VEK_TESTS_SUPPORT_SMALL_FILESYSTEM_H

#include <cstddef>
#include <functional>
#include <string>

namespace test {

/// Mounts a file system of `bytes` bytes (rounded up to pages) on a temporary directory in a child process and runs `body`
/// there with the directory's path. Only the child sees the mount. Failures in the body are reported as failures of the
/// running test. Needs root or the permission to create a user namespace; otherwise the running test fails.
void onSmallFilesystem(std::size_t bytes, const std::function<void(const std::string &directory)> &body);

/// The same on an existing directory, whose content is then on another device.
void withMountAt(const std::string &directory, std::size_t bytes, const std::function<void()> &body);

} // namespace test

#endif
