#ifndef VEK_TESTS_SUPPORT_MOUNT_NAMESPACE_H
#define VEK_TESTS_SUPPORT_MOUNT_NAMESPACE_H

namespace test {

/// Moves this process to a new mount namespace: only it and its children see its mounts. A user other than root gets a
/// user namespace with the same ids first. Call it in a child process. Throws std::system_error if the kernel does not
/// allow it.
void enterMountNamespace();

} // namespace test

#endif
