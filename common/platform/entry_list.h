#ifndef COMMON_ENTRY_LIST_H
#define COMMON_ENTRY_LIST_H

/// EntryList holds the entries of one directory in memory. A walk that reads each directory completely before it
/// enters a subdirectory has only one directory open at a time, however deep the tree is.

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

/// The entries of one directory, in one block of memory. An entry is stored as one byte for its type (a DT_ value
/// of <dirent.h>), its name and a NUL.
class EntryList {
  public:
    /// @return false if memory is exhausted; the list is then unchanged
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

    /// Removes all entries and keeps the memory.
    void clear() {
        bytes_.shrink(0);
        mayHoldLinks_ = false;
        directories_ = 0;
    }

    /// A view of one entry. `next` is the position of the next entry in the list.
    struct Entry {
        unsigned char type;
        std::string_view name; ///< with a NUL after it; valid until entries are added or removed
        std::size_t next;
    };

    [[nodiscard]] bool isEnd(std::size_t position) const { return position >= bytes_.size(); }

    /// @param position  0, or the field `next` of another entry; isEnd(position) must be false
    /// @return the entry at `position`
    [[nodiscard]] Entry at(std::size_t position) const {
        const char *entry = &bytes_[position];
        const std::string_view name(entry + 1);
        return {static_cast<unsigned char>(*entry), name, position + 1 + name.size() + 1};
    }

    /// @return the size of all entries in bytes
    [[nodiscard]] std::size_t size() const { return bytes_.size(); }

    /// @return the size of the memory in bytes
    [[nodiscard]] std::size_t capacity() const { return bytes_.capacity(); }

    /// @return true if an entry is a symbolic link, or has the type DT_UNKNOWN and can therefore be one
    [[nodiscard]] bool mayHoldLinks() const { return mayHoldLinks_; }

    /// @return the number of entries whose type is DT_DIR
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

/// Reads all entries of the directory `path` except "." and "..". Uses no process-wide state, so several threads
/// can call it at the same time. A failure of readdir() is not reported: the list then ends with the last entry
/// that was read.
///
/// @param entries   receives the entries; must be empty
/// @param identity  null, or receives the identity of the directory that was opened; nullopt if fstat() fails
DirectoryReading readDirectory(const char *path, EntryList &entries,
                               std::optional<DirectoryIdentity> *identity = nullptr);

} // namespace vek

#endif
