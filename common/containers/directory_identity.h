#ifndef COMMON_DIRECTORY_IDENTITY_H
#define COMMON_DIRECTORY_IDENTITY_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <sys/stat.h>
#include <sys/types.h>

namespace vek {

/// The device and inode of a directory: equal for every path that leads to it.
struct DirectoryIdentity {
    dev_t device = 0;
    ino_t inode = 0;

    bool operator==(const DirectoryIdentity &) const = default;

    static DirectoryIdentity of(const struct stat &status) { return {status.st_dev, status.st_ino}; }

    /// Follows symbolic links. @return nothing if stat() fails
    static std::optional<DirectoryIdentity> of(const char *path) {
        struct stat status = {};
        return stat(path, &status) == 0 ? std::optional(of(status)) : std::nullopt;
    }

    /// @return nothing if fstat() fails
    static std::optional<DirectoryIdentity> of(int descriptor) {
        struct stat status = {};
        return fstat(descriptor, &status) == 0 ? std::optional(of(status)) : std::nullopt;
    }
};

} // namespace vek

#endif
