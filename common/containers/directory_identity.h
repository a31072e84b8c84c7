#ifndef COMMON_DIRECTORY_IDENTITY_H
#define COMMON_DIRECTORY_IDENTITY_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <sys/stat.h>
#include <sys/types.h>

namespace vek {

/// Identifies a directory by its device number and inode number. Both are the same for every path of the directory.
struct DirectoryIdentity {
    dev_t device = 0;
    ino_t inode = 0;

    bool operator==(const DirectoryIdentity &) const = default;

    static DirectoryIdentity of(const struct stat &status) { return {status.st_dev, status.st_ino}; }

    /// @return the device and inode number of the directory `path`, or of its target if `path` is a symbolic link;
    ///         nullopt if stat() fails
    static std::optional<DirectoryIdentity> of(const char *path) {
        struct stat status = {};
        return stat(path, &status) == 0 ? std::optional(of(status)) : std::nullopt;
    }

    /// @return the device and inode number of the directory whose file descriptor is `descriptor`; nullopt if fstat()
    ///         fails
    static std::optional<DirectoryIdentity> of(int descriptor) {
        struct stat status = {};
        return fstat(descriptor, &status) == 0 ? std::optional(of(status)) : std::nullopt;
    }
};

} // namespace vek

#endif
