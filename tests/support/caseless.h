#ifndef VEK_TESTS_SUPPORT_CASELESS_H
#define VEK_TESTS_SUPPORT_CASELESS_H

#include <climits>
#include <cstring>

#include <sys/syscall.h>
#include <unistd.h>

namespace test {

/// A simulated case-insensitive directory: names below it are folded to lower case before a system call. It is used in
/// fault points, so it allocates nothing and makes no call that has a fault point.
class CaselessDirectory {
  public:
    /// `directory` is absolute, without a final "/"; null or "" for none.
    void set(const char *directory) {
        length_ = 0;
        const std::size_t length = directory == nullptr ? 0 : strlen(directory);
        if (length > 0 && length < sizeof directory_) {
            memcpy(directory_, directory, length + 1);
            length_ = length;
        }
    }

    /// @return `path`, or its folded form in `buffer` (2 * PATH_MAX bytes) if it is in the directory
    const char *fold(const char *path, char *buffer) const {
        if (length_ == 0 || path == nullptr || *path == '\0') {
            return path;
        }
        std::size_t prefix = 0;
        if (*path != '/') {
            const long size = syscall(SYS_getcwd, buffer, static_cast<unsigned long>(PATH_MAX));
            if (size <= 0) {
                return path;
            }
            prefix = static_cast<std::size_t>(size) - 1;
            buffer[prefix++] = '/';
        }
        const std::size_t length = strlen(path);
        if (length >= PATH_MAX) {
            return path;
        }
        memcpy(buffer + prefix, path, length + 1);
        if (strncmp(buffer, directory_, length_) != 0 || buffer[length_] != '/') {
            return path;
        }
        for (char *at = buffer + length_; *at != '\0'; ++at) {
            *at = *at >= 'A' && *at <= 'Z' ? static_cast<char>(*at - 'A' + 'a') : *at;
        }
        return buffer;
    }

  private:
    char directory_[PATH_MAX];
    std::size_t length_;
};

constexpr std::size_t FoldedPathSize = 2 * static_cast<std::size_t>(PATH_MAX);

} // namespace test

#endif
