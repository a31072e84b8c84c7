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

/// The end of a file that text is appended to.
class AppendedFile {
  public:
    explicit AppendedFile(const char *path) : path_(path) {}

    bool open() {
        constexpr int kFlags = O_RDWR | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
        file_ = vek::OwnedDescriptor(::open(path_, kFlags));
        if (!file_.valid() && errno == ENOENT) {
            file_ = vek::OwnedDescriptor(::open(path_, kFlags | O_CREAT, 0666));
            created_ = file_.valid();
        }
        return file_.valid() && fstat(file_.get(), &status_) == 0;
    }

    /// @return whether the last line is without its newline
    [[nodiscard]] bool endsInsideLine() const {
        char last = '\n';
        return status_.st_size > 0 && pread(file_.get(), &last, 1, status_.st_size - 1) == 1 && last != '\n';
    }

    /// Appends all of `text`, or nothing.
    bool append(std::string_view text) {
        const ssize_t written = ::write(file_.get(), text.data(), text.size());
        const bool whole = written == static_cast<ssize_t>(text.size());
        if (!whole) {
            takeBack();
        }
        return file_.close() == 0 && whole;
    }

  private:
    void takeBack() const {
        static_cast<void>(ftruncate(file_.get(), status_.st_size) == 0);
        if (created_) {
            static_cast<void>(unlink(path_));
        }
    }

    const char *path_;
    vek::OwnedDescriptor file_;
    struct stat status_ = {};
    bool created_ = false;
};

} // namespace

bool vekinfoAppendLibraryEntries(const char *dir, const char *tagPath) {
    AppendedFile file(tagPath);
    if (tagPath == nullptr || !file.open()) {
        return false;
    }
    char *text = nullptr;
    std::size_t size = 0;
    vek::OwnedStream stream(open_memstream(&text, &size));
    if (!stream) {
        return false;
    }
    if (file.endsInsideLine()) {
        std::fputc('\n', stream.get()); // else the first line would become the end of theirs
    }
    composeEntries(dir, stream.get());
    const bool composed = std::ferror(stream.get()) == 0;
    stream.reset();
    const vek::OwnedText owner(text);
    return composed && text != nullptr && file.append({text, size});
}
