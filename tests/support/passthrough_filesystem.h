#ifndef VEK_TESTS_SUPPORT_PASSTHROUGH_FILESYSTEM_H
#define VEK_TESTS_SUPPORT_PASSTHROUGH_FILESYSTEM_H

#include <functional>
#include <string>
#include <vector>

namespace test {

/// Runs `body` in a child that has mounted a FUSE file system which passes requests through to a temporary directory
/// (passthrough_fs.cpp says with which options). `directory` is where it is mounted; what is below `source` is seen
/// without it. The running test is skipped for a user who may not open /dev/fuse.
void onPassthroughFilesystem(
    const std::vector<std::string> &options,
    const std::function<void(const std::string &directory, const std::string &source)> &body);

} // namespace test

#endif
