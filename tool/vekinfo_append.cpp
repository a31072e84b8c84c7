#include "tool/vekinfo_append.h"

#include "common/composed_text.h"
#include "common/owned.h"
#include "common/size_limit.h"
#include "common/vek_path.h"
#include "tool/vekinfo_check.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

void composeNameSpace(const char *dir, vek::ComposedText &text) {
    switch (vekGetFilesysCaseSensitivity(dir)) {
    case VEK_CASE_SENSITIVE:
        text.append("#\n"
                    "# Directory ",
                    dir,
                    " is \n"
                    "# determined to be case sensitive, therefore\n"
                    "# NAMESPACE is set to LibraryUnix\n"
                    "NAMESPACE LibraryUnix\n");
        break;
    case VEK_CASE_INSENSITIVE:
        text.append("#\n"
                    "# Directory ",
                    dir,
                    " is\n"
                    "# determined to be NOT case sensitive, therefore\n"
                    "# NAMESPACE is set to LibraryNT\n"
                    "NAMESPACE LibraryNT\n");
        break;
    default:
        std::fputs("ERROR! can't determine file system case sensitivity on writable directory\n", stderr);
        break;
    }
}

void composeEntries(const char *dir, vek::ComposedText &text) {
    text.append("# The next line was written by the\n"
                "# vekinfo -configurelibrary command.\n"
                "VEKLIBRARY\n");
    if (lookForNoneTag(dir) != 0) {
        text.append("#\n"
                    "# DMType is explicitly set to none here\n"
                    "# because there was a dm.tag file with a\n"
                    "# 'none' entry in it.\n"
                    "DMTYPE none\n");
    }
    composeNameSpace(dir, text);
}

/// A file that text is appended to. Unless that succeeds, the file is as it was when its owner goes.
class AppendedFile {
  public:
    explicit AppendedFile(const char *path) : path_(path) {}
    AppendedFile(const AppendedFile &) = delete;
    AppendedFile &operator=(const AppendedFile &) = delete;
    ~AppendedFile() {
        if (!done_) {
            takeBack();
        }
    }

    bool open() {
        file_ = openWith(O_RDWR);
        if (!file_.valid() && errno == ENOENT) {
            file_ = openWith(O_RDWR | O_CREAT);
            created_ = file_.valid();
        }
        // A device has no content to lose. Nobody reads a pipe's.
        return file_.valid() && fstat(file_.get(), &status_) == 0 &&
               (S_ISREG(status_.st_mode) || S_ISCHR(status_.st_mode)) && readLastCharacter();
    }

    [[nodiscard]] bool endsInsideLine() const { return last_ != '\n'; }

    /// Appends all of `text` with one call.
    bool append(std::string_view text) {
        written_ = ::write(file_.get(), text.data(), text.size());
        end_ = lseek(file_.get(), 0, SEEK_CUR);
        const bool whole = written_ == static_cast<ssize_t>(text.size());
        done_ = file_.close() == 0 && whole;
        return done_;
    }

  private:
    [[nodiscard]] vek::OwnedDescriptor openWith(int flags) const {
        constexpr int kFlags = O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
        return vek::OwnedDescriptor(::open(path_, flags | kFlags, 0666));
    }

    bool readLastCharacter() {
        return status_.st_size == 0 || pread(file_.get(), &last_, 1, status_.st_size - 1) == 1;
    }

    /// Takes off what was written, where it still is the end of the file, and a file that is new.
    void takeBack() {
        if (!file_.valid()) {
            file_ = openWith(O_WRONLY);
        }
        if (!file_.valid() || fstat(file_.get(), &status_) != 0 || !S_ISREG(status_.st_mode)) {
            return;
        }
        if (written_ > 0 && status_.st_size == end_) {
            status_.st_size -= written_;
            static_cast<void>(ftruncate(file_.get(), status_.st_size) == 0);
        }
        if (created_ && status_.st_size == 0) {
            const vek::OwnedText real(realpath(path_, nullptr)); // a symbolic link to it stays
            static_cast<void>(unlink(real ? real.get() : path_));
        }
    }

    const char *path_;
    vek::OwnedDescriptor file_;
    struct stat status_ = {};
    char last_ = '\n';
    ssize_t written_ = 0;
    off_t end_ = 0; ///< where what was written ends
    bool created_ = false;
    bool done_ = false;
};

} // namespace

bool vekinfoAppendLibraryEntries(const char *dir, const char *tagPath) {
    const vek::SizeLimitIsNoSignal guard;
    AppendedFile file(tagPath);
    if (!file.open()) {
        return false;
    }
    vek::ComposedText text;
    if (file.endsInsideLine()) {
        text.append("\n"); // else the first line would become the end of theirs
    }
    composeEntries(dir, text);
    return text.isWhole() && file.append(text.view());
}
