#ifndef TOVI_EDITED_FILE_H
#define TOVI_EDITED_FILE_H

/// Class for a tag file that is open and locked for an edit. It reads the content of the file, and either replaces the
/// content in place or appends to it. If replacing fails, the old content is written back.

#include "common/base/owned.h"
#include "tagfile/tovi_lock.h"

#include <optional>
#include <string_view>
#include <sys/stat.h>

namespace tov {

/// Selects what EditedFile::open() does if the file exists, and what it does if the file is missing.
enum class Opening {
    Existing,        ///< opens an existing file; a missing file is not created
    CreateIfMissing, ///< opens an existing file; creates a missing file
    CreateNew,       ///< creates the file; fails if the file exists
    ForAppending     ///< like CreateIfMissing, but with O_APPEND; fails if the file cannot be read
};

/// Result of EditedFile::open().
enum class Opened {
    Yes,
    Missing,     ///< there is no file, and none is created
    Exists,      ///< CreateNew: the file exists
    NotWritable, ///< the file cannot be opened for writing or cannot be created
    TimedOut     ///< another process held the lock until the deadline
};

/// Result of EditedFile::readContent().
enum class ContentRead { Done, Failed, NoMemory };

/// Location of a file: a descriptor of its directory, and its name in this directory. Unlike a path, it remains valid
/// if the directory is renamed.
struct FileLocation {
    vek::OwnedDescriptor directory;
    vek::OwnedText name;
};

class EditedFile {
  public:
    /// @param path  the path of a tag file or of a symbolic link to one. The string is not copied, so it must exist as
    ///              long as this object
    explicit EditedFile(const char *path) : path_(path) {}

    /// Opens the file. If it is a regular file, also waits for an exclusive lock on it. If another process replaces or
    /// removes the file before it is locked, starts again with the file that the path then names. If the file system
    /// does not support locks, the file is opened without a lock.
    /// @param deadline  the time at which open() stops waiting for the lock and returns TimedOut
    [[nodiscard]] Opened open(Opening opening, const Deadline &deadline);

    [[nodiscard]] bool isRegular() const { return S_ISREG(status_.st_mode); }
    /// Returns true if open() created the file, and the file was still empty when open() obtained the lock.
    [[nodiscard]] bool isNew() const { return isNew_; }
    /// Returns the descriptor of the open file, for reading. Its file offset is 0 after open().
    [[nodiscard]] int descriptor() const { return file_.get(); }

    /// Reads the whole content of the file into memory. content() returns this copy, and a failed replace() writes it
    /// back. Does nothing if the content has already been read or the file is not a regular file.
    [[nodiscard]] ContentRead readContent();
    [[nodiscard]] std::string_view content() const { return {content_.get(), contentSize_}; }
    /// Frees the copy of the content in memory and sets the file offset of descriptor() to 0, so that the file can be
    /// read again from the start. @return false if lseek() fails
    [[nodiscard]] bool rereadFromStart();

    /// Replaces the content of the file by `text` in place, so that inode, owner, mode and hard links do not change. If
    /// a step fails, writes the old content back; isRestored() then returns true if that succeeded. The old content of
    /// a file without read permission cannot be written back, because it was never read.
    ///
    /// Another process may read the file during replace() without a lock. It then reads the old text, or the new text
    /// followed by empty lines. If the file system does not support fallocate(), it may also read the old text followed
    /// by the end of the new text.
    [[nodiscard]] bool replace(std::string_view text);

    /// Returns true if the file has its old content after a failed replace().
    [[nodiscard]] bool isRestored() const { return isRestored_; }

    /// Returns true if append() can be called: the file is a character device, or a regular file that is empty or whose
    /// last byte can be read. Stores the last byte for endsInsideLine().
    [[nodiscard]] bool canAppend();
    /// Returns true if the last byte of the file is not a newline; false for an empty file. canAppend() must be called
    /// before, because it reads the last byte.
    [[nodiscard]] bool endsInsideLine() const { return lastByte_ != '\n'; }

    /// Appends `text` to the file with one write(). If only a part of `text` is written, removes this part again.
    /// @return true if the whole text was appended
    [[nodiscard]] bool append(std::string_view text);

    /// Removes the file if open() created it; must be called after a failure. If the path is a symbolic link, removes
    /// the target, not the link. A file with content is removed only if this object holds the lock, because without a
    /// lock another process may have written the content.
    void removeIfNew();

  private:
    [[nodiscard]] std::optional<Opened> tryOpen(Opening opening, const Deadline &deadline);
    [[nodiscard]] Opened openExisting(Opening opening, int flags);
    [[nodiscard]] Opened create(int flags);
    void close();

    [[nodiscard]] bool reserveSpace(std::string_view text);
    [[nodiscard]] bool overwrite(std::string_view text);
    [[nodiscard]] bool closeDuplicate();

    [[nodiscard]] std::size_t oldSize() const { return static_cast<std::size_t>(status_.st_size); }

    const char *path_;
    vek::OwnedDescriptor file_;
    FileLock lock_; // declared after file_, so that it is destroyed before the descriptor is closed
    struct stat status_ = {};
    bool isReadable_ = true;
    bool isNew_ = false;
    bool isRestored_ = true;
    FileLocation creation_; ///< the location of the file if open() created it, for removeIfNew()
    vek::OwnedText content_;
    std::size_t contentSize_ = 0;
    char lastByte_ = '\n';
};

} // namespace tov

#endif
