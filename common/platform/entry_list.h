#ifndef COMMON_ENTRY_LIST_H
#define COMMON_ENTRY_LIST_H

/// A list in memory of the entries (names and types) of one directory, and readDirectory(), which fills the list. A
/// recursive walk that reads each directory completely before it enters a subdirectory has only one directory open at
/// a time. The number of open file descriptors therefore does not grow with the depth of the tree.

#include "common/containers/directory_identity.h"
#include "common/containers/growing_array.h"

#include <cstddef>
#include <cstring>
#include <dirent.h>
#include <optional>
#include <string_view>

namespace vek {

inline bool isDotOrDotDot(std::string_view name) {
    return name == "." || name == "..";
}

/// The names and types of the entries of one directory, packed into one block of memory. An entry uses 1 byte for its
/// type, a DT_ value of <dirent.h> such as DT_REG. The bytes of its name and a NUL follow.
class EntryList {
  public:
    /// Appends an entry with the type `type` (a DT_ value of <dirent.h>) and the name `name`.
    /// @return true; false if memory is exhausted, and the list is then unchanged
    [[nodiscard]] bool add(unsigned char type, std::string_view name) {
        char *entry = bytes_.extend(name.size() + 2);
        if (entry == nullptr) {
            return false;
        }
        mayHoldLinks_ = mayHoldLinks_ || type == DT_LNK || type == DT_UNKNOWN;
        directories_ += type == DT_DIR ? 1 : 0;
        *entry++ = static_cast<char>(type);
        std::memcpy(entry, name.data(), name.size());
        entry[name.size()] = '\0';
        return true;
    }

    /// Removes all entries. Does not free the memory, so that later calls of add() can use it again.
    void clear() {
        bytes_.shrink(0);
        mayHoldLinks_ = false;
        directories_ = 0;
    }

    /// One entry of the list, as at() returns it. `type` is a DT_ value of <dirent.h>. `next` is the byte offset at
    /// which the next entry begins.
    struct Entry {
        unsigned char type;
        std::string_view name; ///< with a NUL after it; valid until entries are added or removed
        std::size_t next;
    };

    [[nodiscard]] bool isEnd(std::size_t position) const { return position >= bytes_.size(); }

    /// @param position  byte offset of an entry: 0 for the first one, or the field `next` of the entry before it;
    ///                  isEnd(position) must be false
    /// @return the entry that begins at `position`
    [[nodiscard]] Entry at(std::size_t position) const {
        const char *entry = &bytes_[position];
        const std::string_view name(entry + 1);
        return {static_cast<unsigned char>(*entry), name, position + 1 + name.size() + 1};
    }

    /// @return the number of bytes that all entries use together
    [[nodiscard]] std::size_t size() const { return bytes_.size(); }

    /// @return the number of bytes that are allocated for entries, used or not
    [[nodiscard]] std::size_t capacity() const { return bytes_.capacity(); }

    /// @return true if an entry has the type DT_LNK (symbolic link) or DT_UNKNOWN. The file system did not report the
    ///         type of a DT_UNKNOWN entry, so this entry can be a symbolic link
    [[nodiscard]] bool mayHoldLinks() const { return mayHoldLinks_; }

    /// @return the number of entries of type DT_DIR (directory)
    [[nodiscard]] std::size_t directories() const { return directories_; }

  private:
    GrowingArray<char> bytes_;
    bool mayHoldLinks_ = false;
    std::size_t directories_ = 0;
};

/// The outcome of readDirectory().
struct DirectoryReading {
    enum class Outcome { Read, NotOpened, NoMemory };

    Outcome outcome = Outcome::Read;
    int error = 0; ///< the errno value of opendir() after NotOpened
};

/// Reads all entries of the directory `path` into `entries`, except "." and "..". Several threads can call this
/// function at the same time, because it uses no process-wide state. If readdir() fails, no error is reported, and
/// `entries` ends with the last entry that was read.
///
/// @param entries   receives the entries; must be empty
/// @param identity  if not null, receives the device and inode number of the opened directory, or nullopt if fstat()
///                  fails
/// @return the outcome: Read; NotOpened, with the errno value, if opendir() fails; NoMemory if memory is exhausted
DirectoryReading readDirectory(const char *path, EntryList &entries,
                               std::optional<DirectoryIdentity> *identity = nullptr);

} // namespace vek

#endif
