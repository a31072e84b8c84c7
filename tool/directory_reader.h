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
    bool identifies = false;          ///< whether to get the device and inode, too, by fstat()
    std::size_t mostBytes = SIZE_MAX; ///< limit on EntryList::size(); beyond it the outcome is TooLarge
};

/// Reads all entries of the directory `path` except "." and "..". A read error ends the list, as the end of the
/// directory does. Any thread may call this function.
///
/// Does the same as vek::readDirectory(), but with open(), getdents64() and close() instead of opendir(). This saves
/// one fstat() and a 32 KiB allocation per directory.
///
/// @param entries   must be empty; receives the entries
/// @param identity  receives the device and inode of the opened directory, or nullopt if fstat() fails; unchanged if
///                  `options.identifies` is false
/// @return the outcome, with the errno value if open() failed
DirectoryReading readDirectory(const char *path, const ReadingOptions &options, vek::EntryList &entries,
                               std::optional<vek::DirectoryIdentity> &identity);

} // namespace vekinfo

#endif
