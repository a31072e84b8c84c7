#include "tool/directory_reader.h"

#include "common/base/owned.h"

#include <array>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <string_view>

namespace vekinfo {

namespace {

using Outcome = DirectoryReading::Outcome;

/// A buffer that receives the directory records of one getdents64() call.
struct Block {
    alignas(dirent64) std::array<char, 32768> bytes; // 32 KiB, as the C library uses for readdir()
    std::size_t size = 0;

    /// Reads the next records of a directory into the buffer. `directory` is the descriptor of the open directory.
    /// @return false if there are no more records or a read error occurs
    bool read(int directory) {
        const ssize_t count = getdents64(directory, bytes.data(), bytes.size());
        size = count > 0 ? static_cast<std::size_t>(count) : 0;
        return size > 0;
    }
};

/// Adds the name and the type of each record in `block` to `entries`, except for "." and "..".
/// @return false if memory is exhausted
bool addEntries(const Block &block, vek::EntryList &entries) {
    for (std::size_t at = 0; at < block.size;) {
        const auto *entry = reinterpret_cast<const dirent64 *>(&block.bytes[at]);
        const std::string_view name(&entry->d_name[0]);
        if (!vek::isDotOrDotDot(name) && !entries.add(entry->d_type, name)) {
            return false;
        }
        at += entry->d_reclen;
    }
    return true;
}

} // namespace

DirectoryReading readDirectory(const char *path, const ReadingOptions &options, vek::EntryList &entries,
                               std::optional<vek::DirectoryIdentity> &identity) {
    const vek::OwnedDescriptor directory(open(path, O_RDONLY | O_NONBLOCK | O_DIRECTORY | O_CLOEXEC));
    if (!directory.valid()) {
        return {Outcome::NotOpened, errno};
    }
    if (options.identifies) {
        identity = vek::DirectoryIdentity::of(directory.get());
    }
    Block block;
    while (block.read(directory.get())) {
        if (!addEntries(block, entries)) {
            return {Outcome::NoMemory};
        }
        if (entries.size() > options.mostBytes) {
            return {Outcome::TooLarge};
        }
    }
    return {};
}

} // namespace vekinfo
