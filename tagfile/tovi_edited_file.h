#ifndef TOVI_EDITED_FILE_H
#define TOVI_EDITED_FILE_H

/// A tag file that is open and locked for an edit. The class reads its content, and either replaces it in place or
/// appends to it. A failed replacement restores the old content.

#include "common/base/owned.h"
#include "tagfile/tovi_lock.h"

#include <optional>
#include <string_view>
#include <sys/stat.h>

namespace tov {

/// Which file an edit opens.
enum class Opening {
    Existing,        ///< an existing file
    CreateIfMissing, ///< an existing file; if there is none, it is created
    CreateNew,       ///< a new file; open() fails if the file exists
    ForAppending ///< as CreateIfMissing, for append(): opened with O_APPEND, fails if the file cannot be read
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

class EditedFile {
  public:
    /// @param path  a tag file or a symbolic link to one; not copied, so it must stay valid as long as the object
    explicit EditedFile(const char *path) : path_(path) {}

    /// Opens the file, and locks it if it is a regular file. If another process replaces or removes the file before it
    /// is locked, opens it again. On a file system without locks, opens the file without a lock.
    [[nodiscard]] Opened open(Opening opening, const Deadline &deadline);

    [[nodiscard]] bool isRegular() const { return S_ISREG(status_.st_mode); }
    /// Returns true if open() created the file and the file was still empty when open() had locked it.
    [[nodiscard]] bool isNew() const { return isNew_; }
    /// Returns the descriptor of the open file, for reading. Its file offset is 0 after open().
    [[nodiscard]] int descriptor() const { return file_.get(); }

    /// Reads the whole content into memory, for content() and for restoring it. Does nothing if it has been read
    /// already or the file is not a regular file.
    [[nodiscard]] ContentRead readContent();
    [[nodiscard]] std::string_view content() const { return {content_.get(), contentSize_}; }
    /// Frees the memory of the content and sets the file offset of the descriptor to 0. @return false if lseek() fails
    [[nodiscard]] bool rereadFromStart();

    /// Replaces the content by `text` in place, so that inode, owner, mode and hard links do not change. If a step
    /// fails, writes the old content back; isRestored() returns whether that succeeded. The old content of a file
    /// without read permission cannot be restored.
    ///
    /// A process that reads at the same time without a lock finds the old text, or the new text followed by empty
    /// lines. If the file system does not support fallocate(), it can also find the old text followed by the end of the
    /// new one.
    [[nodiscard]] bool replace(std::string_view text);

    /// After a failed replace(): returns true if the file has its old content.
    [[nodiscard]] bool isRestored() const { return isRestored_; }

    /// Returns true if text can be appended: the file is empty, a regular file whose last byte can be read, or a
    /// character device. Stores the last byte for endsInsideLine().
    [[nodiscard]] bool canAppend();
    /// Returns true if the file does not end with a newline. Valid after canAppend(), which reads the last byte.
    [[nodiscard]] bool endsInsideLine() const { return lastByte_ != '\n'; }

    /// Appends `text` with one write(). If only a part is written, removes that part. @return true if all was appended
    [[nodiscard]] bool append(std::string_view text);

    /// After a failure: removes the file if open() has created it. A symbolic link to the file is not removed. A file
    /// with content is not removed unless it is locked: without a lock, another process may have written the content.
    void removeIfNew();

  private:
    /// Result of findAtPath().
    enum class AtPath { Same, Another, Unknown };

    /// Where open() created the file: a descriptor of the directory, and the file's name in it. Not the path, which can
    /// lead to another directory later.
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
    FileLock lock_; // declared after file_, so that it is destroyed before the descriptor is closed
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
