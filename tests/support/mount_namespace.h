#ifndef VEK_TESTS_SUPPORT_MOUNT_NAMESPACE_H
#define VEK_TESTS_SUPPORT_MOUNT_NAMESPACE_H

namespace test {

/// Gives this process a mount namespace of its own, so that its mounts are seen by itself and its children only. A
/// user who is not root gets a user namespace around it, with the same ids. For bodies that run in a child. Throws
/// std::system_error where the kernel does not allow it.
void enterMountNamespace();

} // namespace test

#endif
