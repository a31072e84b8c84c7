#ifndef VEK_TESTS_SUPPORT_SANDBOX_H
#define VEK_TESTS_SUPPORT_SANDBOX_H

#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace test {

/// A throw-away directory tree. It is made with mode 0755 where every user can reach it, is the working
/// directory while it lives, and is removed at the end together with everything in it.
///
/// Paths are relative to the sandbox. Every builder makes the missing parents (mode 0755), replaces what it
/// made before under the same name, ignores the umask, and throws std::system_error when it fails; none of
/// its calls passes a fault point.
class Sandbox {
  public:
    Sandbox();
    ~Sandbox();
    Sandbox(const Sandbox &) = delete;
    Sandbox &operator=(const Sandbox &) = delete;

    /// The absolute path of `relative`, without any symbolic link in the sandbox's own part of it.
    [[nodiscard]] std::string path(std::string_view relative = {}) const;

    Sandbox &file(std::string_view relative, std::string_view content, mode_t mode = 0644);
    Sandbox &directory(std::string_view relative, mode_t mode = 0755);
    Sandbox &link(std::string_view relative, std::string_view target);
    Sandbox &fifo(std::string_view relative, mode_t mode = 0644);

    /// The whole content of a file.
    [[nodiscard]] std::string read(std::string_view relative) const;

    /// Whether the name exists; a dangling link does.
    [[nodiscard]] bool exists(std::string_view relative) const;

    /// The sorted names in a directory, without "." and "..".
    [[nodiscard]] std::vector<std::string> list(std::string_view relative = {}) const;

  private:
    std::string root_;
    std::string cameFrom_;
    pid_t owner_;
};

/// A new empty directory, mode 0755, under a directory that every user can enter: in $TMPDIR where that
/// holds and it may be made there, else in /tmp. The caller removes it.
std::string makeReachableDirectory();

/// Removes a tree of the caller's own, unreadable directories in it included.
void removeTree(const std::string &path);

} // namespace test

#endif
