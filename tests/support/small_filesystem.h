#ifndef VEK_TESTS_SUPPORT_SMALL_FILESYSTEM_H
#define VEK_TESTS_SUPPORT_SMALL_FILESYSTEM_H

#include <cstddef>
#include <functional>
#include <string>

namespace test {

/// Runs `body` in a child that has mounted a file system of its own, of `bytes` bytes (rounded up to whole
/// pages), on a throw-away directory, and hands it that directory's path. The mount is seen by the child
/// alone and goes with it. Failures in the body are those of the running test. Works as root, and as any
/// user who may create a user namespace; where neither holds, the running test fails.
void onSmallFilesystem(std::size_t bytes, const std::function<void(const std::string &directory)> &body);

/// The same on an existing directory: below it, everything lies on another device.
void withMountAt(const std::string &directory, std::size_t bytes, const std::function<void()> &body);

} // namespace test

#endif
