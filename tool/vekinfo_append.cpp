#include "tool/vekinfo_append.h"

#include "common/owned.h"
#include "common/vek_path.h"
#include "tool/vekinfo_check.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

void composeNameSpace(const char *dir, FILE *text) {
    switch (vekGetFilesysCaseSensitivity(dir)) {
    case VEK_CASE_SENSITIVE:
        std::fprintf(text,
                     "#\n"
                     "# Directory %s is \n"
                     "# determined to be case sensitive, therefore\n"
                     "# NAMESPACE is set to LibraryUnix\n"
                     "NAMESPACE LibraryUnix\n",
                     dir);
        break;
    case VEK_CASE_INSENSITIVE:
        std::fprintf(text,
                     "#\n"
                     "# Directory %s is\n"
                     "# determined to be NOT case sensitive, therefore\n"
                     "# NAMESPACE is set to LibraryNT\n"
                     "NAMESPACE LibraryNT\n",
                     dir);
        break;
    default:
        std::fputs("ERROR! can't determine file system case sensitivity on writable directory\n", stderr);
        break;
    }
}

void composeEntries(const char *dir, FILE *text) {
    std::fputs("# The next line was written by the\n"
               "# vekinfo -configurelibrary command.\n"
               "VEKLIBRARY\n",
               text);
    if (lookForNoneTag(dir) != 0) {
        std::fputs("#\n"
                   "# DMType is explicitly set to none here\n"
                   "# because there was a dm.tag file with a\n"
                   "# 'none' entry in it.\n"
                   "DMTYPE none\n",
                   text);
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

/// A text that is composed with the functions for streams.
class ComposedText {
  public:
    ComposedText() : stream_(open_memstream(&text_, &size_)) {}
    ComposedText(const ComposedText &) = delete;
    ComposedText &operator=(const ComposedText &) = delete;
    ~ComposedText() {
        stream_.reset();
        std::free(text_);
    }

    /// @return null when memory is exhausted
    [[nodiscard]] FILE *stream() const { return stream_.get(); }

    /// Ends the text. @return false when memory was exhausted
    bool finish() {
        const bool composed = std::ferror(stream_.get()) == 0;
        return std::fclose(stream_.release()) == 0 && composed;
    }
    [[nodiscard]] std::string_view view() const { return {text_, size_}; }

  private:
    char *text_ = nullptr;
    std::size_t size_ = 0;
    vek::OwnedStream stream_;
};

} // namespace

bool vekinfoAppendLibraryEntries(const char *dir, const char *tagPath) {
    AppendedFile file(tagPath);
    ComposedText text;
    if (!file.open() || text.stream() == nullptr) {
        return false;
    }
    if (file.endsInsideLine()) {
        std::fputc('\n', text.stream()); // else the first line would become the end of theirs
    }
    composeEntries(dir, text.stream());
    return text.finish() && file.append(text.view());
}
