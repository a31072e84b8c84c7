#ifndef TOOL_DIRECTORY_READER_H
#define TOOL_DIRECTORY_READER_H

#include "common/containers/directory_identity.h"
#include "common/platform/entry_list.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace vekinfo {

/// The outcome of readDirectory().
struct DirectoryReading {
    enum class Outcome { Read, NotOpened, NoMemory, TooLarge };

    Outcome outcome = Outcome::Read;
    int error = 0; ///< the errno value of open() after NotOpened
};

struct ReadingOptions {
    bool identifies = false;          ///< true: call fstat() to obtain the directory's device and inode
    std::size_t mostBytes = SIZE_MAX; ///< limit on EntryList::size(); above it, the outcome is TooLarge
};

/// Reads the names and types of all entries of the directory `path`, except "." and "..". A read error is treated like
/// the end of the directory. Several threads may call this function at the same time.
///
/// The result is that of vek::readDirectory(), but this function calls open(), getdents64() and close() instead of
/// opendir(). This saves one fstat() and an allocation of 32 KiB for each directory.
///
/// @param entries   must be empty; receives the entries
/// @param identity  receives the device and inode of the opened directory, or nullopt if fstat() fails; unchanged if
///                  `options.identifies` is false
/// @return the outcome; if open() failed, also the errno value
DirectoryReading readDirectory(const char *path, const ReadingOptions &options, vek::EntryList &entries,
                               std::optional<vek::DirectoryIdentity> &identity);

} // namespace vekinfo

#endif
