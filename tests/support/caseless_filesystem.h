#ifndef VEK_TESTS_SUPPORT_CASELESS_FILESYSTEM_H
#define VEK_TESTS_SUPPORT_CASELESS_FILESYSTEM_H

#include <functional>
#include <string>

namespace test {

/// Mounts a real case-insensitive file system on a temporary directory in a child process and runs `body` there with the
/// directory's path. Only the child sees the mount. Failures in the body are reported as failures of the running test. If
/// the machine cannot mount it (no root, no /dev/fuse, no mount namespaces), the test is skipped; call it last.
///
/// It is NTFS in an image file, served by lowntfs-3g with its option ignore_case. That needs neither a kernel module
/// nor a loop device and takes about 0.1 s. Directories list their names in lower case.
void onCaselessFilesystem(const std::function<void(const std::string &directory)> &body);

} // namespace test

#endif
