#ifndef VEK_TESTS_SUPPORT_CASELESS_FILESYSTEM_H
#define VEK_TESTS_SUPPORT_CASELESS_FILESYSTEM_H

#include <functional>
#include <string>

namespace test {

/// Runs `body` in a child that has mounted a real case-insensitive file system on a throw-away directory, and passes
/// that directory's path. The mount is seen by the child alone and ends with it. Failures in the body are those of the
/// running test. Where the machine cannot mount one (no root, no /dev/fuse, no mount namespaces), the test is skipped;
/// call it last.
///
/// It is NTFS in an image file, served by lowntfs-3g with its option ignore_case. That needs neither a kernel module
/// nor a loop device and takes about 0.1 s. Directories list their names in lower case.
void onCaselessFilesystem(const std::function<void(const std::string &directory)> &body);

} // namespace test

#endif
