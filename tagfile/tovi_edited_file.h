#ifndef TOVI_EDITED_FILE_H
#define TOVI_EDITED_FILE_H

/// A tag file that is opened and locked for an edit: its content is read, and replaced in place or extended.

#include "common/base/owned.h"
#include "tagfile/tovi_lock.h"

#include <optional>
#include <string_view>
#include <sys/stat.h>

namespace tov {

/// Which file an edit opens.
enum class Opening {
    Existing,        ///< only one that exists
    CreateIfMissing, ///< one that exists, or a new one
    CreateNew,       ///< only a new one
    ForAppending     ///< as CreateIfMissing; it must be readable, and append() writes to it
};

enum class Opened {
    Yes,
    Missing,     ///< there is no file, and none is created
    Exists,      ///< CreateNew: another process has created it
    NotWritable, ///< it cannot be opened for writing, or not be created
    TimedOut     ///< another process holds the lock
};

/// What reading the content resulted in.
enum class ContentRead { Done, Failed, NoMemory };

class EditedFile {
  public:
    /// @param path  a tag file or a symbolic link to one; outlives the object
    explicit EditedFile(const char *path) : path_(path) {}

    /// Opens the file, and locks it if it is a regular one. If the file is replaced or removed before it is locked, it is
    /// opened again. On a file system without locks it is opened without one.
    [[nodiscard]] Opened open(Opening opening, const Deadline &deadline);

    [[nodiscard]] bool isRegular() const { return S_ISREG(status_.st_mode); }
    /// Whether open() created the file and nobody has written to it before it was locked.
    [[nodiscard]] bool isNew() const { return isNew_; }
    /// The descriptor, for reading. Its offset is 0 after open().
    [[nodiscard]] int descriptor() const { return file_.get(); }

    /// Reads the content of a regular file, unless it has been read already.
    [[nodiscard]] ContentRead readContent();
    [[nodiscard]] std::string_view content() const { return {content_.get(), contentSize_}; }
    /// Releases the memory of the content, and rewinds the descriptor. @return false if that is impossible
    [[nodiscard]] bool rereadFromStart();

    /// Makes `text` the content, in place: inode, owner, mode and links stay. If a step fails, the file has its old
    /// content again (if it may be read: what cannot be read cannot be restored).
    ///
    /// A reader at the same time finds the old text, or the new one with empty lines after it. If the file system cannot
    /// reserve space with fallocate(), it can also find the old text with the end of the new one after it.
    [[nodiscard]] bool replace(std::string_view text);

    /// Whether the file has its old content after a failed replace().
    [[nodiscard]] bool isRestored() const { return isRestored_; }

    /// Whether the file is one that can be appended to: a regular file whose last byte can be read, or a device.
    [[nodiscard]] bool canAppend();
    /// Whether the last line has no newline. canAppend() reads this.
    [[nodiscard]] bool endsInsideLine() const { return lastByte_ != '\n'; }

    /// Appends all of `text` with one write(), or nothing.
    [[nodiscard]] bool append(std::string_view text);

    /// Removes the file if it is new: after a failure. A symbolic link that leads to it stays, and so does the file if it
    /// has content and there was no lock to keep others from writing it.
    void removeIfNew();

  private:
    enum class AtPath { Same, Another, Unknown };

    /// The name of a file that was created, in its directory.
    struct Creation {
        vek::OwnedDescriptor directory;
        vek::OwnedText name;
    };

    [[nodiscard]] std::optional<Opened> tryOpen(Opening opening, const Deadline &deadline);
    [[nodiscard]] Opened openOrCreate(Opening opening);
    [[nodiscard]] bool openExisting(Opening opening, int flags);
    [[nodiscard]] Opened create(int flags);
    [[nodiscard]] AtPath findAtPath();
    void close();

    [[nodiscard]] bool writeAll(std::string_view text);
    [[nodiscard]] bool reserveSpace(std::string_view text);
    [[nodiscard]] bool extendBy(std::string_view text);
    [[nodiscard]] bool overwrite(std::string_view text);
    [[nodiscard]] bool closeDuplicate();
    void restore();

    [[nodiscard]] std::size_t oldSize() const { return static_cast<std::size_t>(status_.st_size); }

    const char *path_;
    vek::OwnedDescriptor file_;
    FileLock lock_; // after file_: it is released before the descriptor is closed
    struct stat status_ = {};
    bool isReadable_ = true;
    bool isNew_ = false;
    bool isRestored_ = true;
    Creation creation_;
    vek::OwnedText content_;
    std::size_t contentSize_ = 0;
    char lastByte_ = '\n';
};

} // namespace tov

#endif
