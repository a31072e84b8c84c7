#ifndef VEK_TESTS_SUPPORT_SANDBOX_H
#define VEK_TESTS_SUPPORT_SANDBOX_H

#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace test {

/// A temporary directory with mode 0755 that every user can reach. It is the working directory while in scope and is
/// removed with its content at the end.
/// Paths are relative to the sandbox. Every builder creates missing parents (mode 0755), replaces its earlier file of the
/// same name, ignores the umask, and throws std::system_error if it fails. Its calls pass no fault point.
class Sandbox {
  public:
    Sandbox();
    ~Sandbox();
    Sandbox(const Sandbox &) = delete;
    Sandbox &operator=(const Sandbox &) = delete;

    /// The absolute path of `relative`. The path of the sandbox contains no symbolic link.
    [[nodiscard]] std::string path(std::string_view relative = {}) const;

    Sandbox &file(std::string_view relative, std::string_view content, mode_t mode = 0644);
    Sandbox &directory(std::string_view relative, mode_t mode = 0755);
    Sandbox &link(std::string_view relative, std::string_view target);
    Sandbox &fifo(std::string_view relative, mode_t mode = 0644);

    /// The whole content of a file.
    [[nodiscard]] std::string read(std::string_view relative) const;

    /// Whether the name exists; true for a dangling link.
    [[nodiscard]] bool exists(std::string_view relative) const;

    /// The sorted names in a directory, without "." and "..".
    [[nodiscard]] std::vector<std::string> list(std::string_view relative = {}) const;

  private:
    std::string root_;
    std::string cameFrom_;
    pid_t owner_;
};

/// A new empty directory, mode 0755, under a directory that every user can enter: in $TMPDIR if possible,
/// otherwise in /tmp. The caller removes it.
std::string makeReachableDirectory();

/// Removes a directory tree that the caller owns, including unreadable directories.
void removeTree(const std::string &path);

} // namespace test

#endif
