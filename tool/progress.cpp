// A thread writes the line to the terminal ten times a second, so that it also appears while the action waits for a
// file system. Other output must erase the line first. Every layer prints to stdout and stderr, so for the time of the
// action these are replaced by streams (fopencookie()) that erase the line, then write to the same descriptor. A mutex
// is held for each write. The line is only written if the last output ended with a newline.

#include "tool/progress.h"

#include "common/text/fixed_text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <pthread.h>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vekinfo {

namespace {

using Text = vek::FixedText<512>;

constexpr std::string_view kErase = "\r\033[K"; // ECMA-48: to the first column, erase to the end of the line

bool canErase() {
    const char *terminal = std::getenv("TERM");
    const std::string_view name = terminal == nullptr ? "" : terminal;
    return !name.empty() && name != "dumb";
}

bool isPipe(int descriptor) {
    struct stat status = {};
    return fstat(descriptor, &status) == 0 && (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode));
}

/// The last column stays free: some terminals begin a new line after it.
std::size_t widthOfTerminal() {
    constexpr std::size_t kUsual = 80;
    winsize size = {};
    const bool isKnown = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
    return (isKnown ? size.ws_col : kUsual) - 1;
}

bool appendNumber(Text &text, std::size_t number) {
    std::array<char, 20> digits;
    const char *end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    return text.append(std::string_view(digits.data(), static_cast<std::size_t>(end - digits.data())));
}

/// Appends as much of `name` as fits. Bytes that may be no character of one column become "?".
void appendName(Text &text, std::string_view name, std::size_t width) {
    for (const char byte : name) {
        const std::string_view shown = byte >= ' ' && byte <= '~' ? std::string_view(&byte, 1) : "?";
        if (text.view().size() >= width || !text.append(shown)) {
            return;
        }
    }
}

timespec after(std::int64_t ns) {
    constexpr std::int64_t kNsPerSecond = 1'000'000'000;
    timespec time = {};
    static_cast<void>(clock_gettime(CLOCK_MONOTONIC, &time));
    ns += time.tv_nsec;
    return {time.tv_sec + ns / kNsPerSecond, ns % kNsPerSecond};
}

} // namespace

class Progress::Line {
  public:
    Line() = default;
    Line(const Line &) = delete;
    Line &operator=(const Line &) = delete;
    ~Line() = default;

    /// @return false if memory or threads are exhausted
    bool start();
    void stop();
    void set(const Text &text);

  private:
    static void *threadMain(void *line);
    static ssize_t writeOutput(void *line, const char *data, std::size_t size);
    static ssize_t writeError(void *line, const char *data, std::size_t size);

    void showRepeatedly();
    void show();
    void erase();
    ssize_t write(int descriptor, const char *data, std::size_t size);
    void replaceStreams();
    void restoreStreams();

    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t stopped_ = {};
    pthread_t thread_ = {};
    bool isStopped_ = false;
    bool isOnTerminal_ = false; ///< whether the line is on the terminal now
    bool isAtLineStart_ = true; ///< whether the last output ended with a newline
    Text text_;
    Text shown_;

    FILE *output_ = nullptr; ///< the stream that replaces stdout
    FILE *error_ = nullptr;
    FILE *outputBefore_ = nullptr;
    FILE *errorBefore_ = nullptr;
};

bool Progress::Line::start() {
    pthread_condattr_t attributes;
    if (pthread_condattr_init(&attributes) != 0) {
        return false;
    }
    static_cast<void>(pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC));
    static_cast<void>(pthread_cond_init(&stopped_, &attributes));
    static_cast<void>(pthread_condattr_destroy(&attributes));
    replaceStreams();
    // The signals of the process are handled by its first thread.
    sigset_t all;
    sigset_t before;
    static_cast<void>(sigfillset(&all));
    static_cast<void>(pthread_sigmask(SIG_SETMASK, &all, &before));
    const bool isStarted = error_ != nullptr && pthread_create(&thread_, nullptr, threadMain, this) == 0;
    static_cast<void>(pthread_sigmask(SIG_SETMASK, &before, nullptr));
    if (!isStarted) {
        restoreStreams();
    }
    return isStarted;
}

void Progress::Line::stop() {
    static_cast<void>(pthread_mutex_lock(&mutex_));
    isStopped_ = true;
    static_cast<void>(pthread_cond_signal(&stopped_));
    static_cast<void>(pthread_mutex_unlock(&mutex_));
    static_cast<void>(pthread_join(thread_, nullptr));
    erase();
    restoreStreams();
    static_cast<void>(pthread_cond_destroy(&stopped_));
}

void Progress::Line::set(const Text &text) {
    static_cast<void>(pthread_mutex_lock(&mutex_));
    text_ = text;
    static_cast<void>(pthread_mutex_unlock(&mutex_));
}

// ---- the thread

void *Progress::Line::threadMain(void *line) {
    static_cast<Line *>(line)->showRepeatedly();
    return nullptr;
}

void Progress::Line::showRepeatedly() {
    constexpr std::int64_t kFirstNs = 2'000'000'000;
    constexpr std::int64_t kNextNs = 100'000'000;
    timespec deadline = after(kFirstNs);
    static_cast<void>(pthread_mutex_lock(&mutex_));
    while (!isStopped_) {
        if (pthread_cond_timedwait(&stopped_, &mutex_, &deadline) == ETIMEDOUT) {
            show();
            deadline = after(kNextNs);
        }
    }
    static_cast<void>(pthread_mutex_unlock(&mutex_));
}

/// Under the mutex.
void Progress::Line::show() {
    if (!isAtLineStart_ || text_.empty() || (isOnTerminal_ && shown_.view() == text_.view())) {
        return;
    }
    Text written;
    if (written.assign(kErase, text_.view()) &&
        ::write(STDERR_FILENO, written.c_str(), written.view().size()) > 0) {
        isOnTerminal_ = true;
        shown_ = text_;
    }
}

/// Under the mutex, or without the thread.
void Progress::Line::erase() {
    if (isOnTerminal_) {
        isOnTerminal_ = false;
        static_cast<void>(!::write(STDERR_FILENO, kErase.data(), kErase.size()));
    }
}

// ---- the streams

void Progress::Line::replaceStreams() {
    static_cast<void>(std::fflush(stdout));
    outputBefore_ = stdout;
    errorBefore_ = stderr;
    error_ =
        fopencookie(this, "w", {.read = nullptr, .write = writeError, .seek = nullptr, .close = nullptr});
    if (error_ == nullptr) {
        return;
    }
    static_cast<void>(std::setvbuf(error_, nullptr, _IONBF, 0));
    stderr = error_;
    if (isatty(STDOUT_FILENO) == 0) {
        return;
    }
    output_ =
        fopencookie(this, "w", {.read = nullptr, .write = writeOutput, .seek = nullptr, .close = nullptr});
    if (output_ != nullptr) {
        static_cast<void>(std::setvbuf(output_, nullptr, _IOLBF, BUFSIZ));
        stdout = output_;
    }
}

void Progress::Line::restoreStreams() {
    stdout = outputBefore_;
    stderr = errorBefore_;
    for (FILE *stream : {output_, error_}) {
        if (stream != nullptr) {
            static_cast<void>(std::fclose(stream)); // which writes the rest
        }
    }
}

ssize_t Progress::Line::writeOutput(void *line, const char *data, std::size_t size) {
    return static_cast<Line *>(line)->write(STDOUT_FILENO, data, size);
}

ssize_t Progress::Line::writeError(void *line, const char *data, std::size_t size) {
    return static_cast<Line *>(line)->write(STDERR_FILENO, data, size);
}

ssize_t Progress::Line::write(int descriptor, const char *data, std::size_t size) {
    static_cast<void>(pthread_mutex_lock(&mutex_));
    erase();
    const ssize_t written = ::write(descriptor, data, size);
    if (written > 0) {
        isAtLineStart_ = data[written - 1] == '\n';
    }
    static_cast<void>(pthread_mutex_unlock(&mutex_));
    return written > 0 ? written : 0; // 0 is the error of a cookie stream
}

// ---- Progress

Progress::Progress() {
    if (isatty(STDERR_FILENO) == 0 || isPipe(STDOUT_FILENO) || !canErase()) {
        return;
    }
    void *memory = std::malloc(sizeof(Line));
    if (memory == nullptr) {
        return;
    }
    line_ = std::construct_at(static_cast<Line *>(memory));
    if (!line_->start()) {
        std::destroy_at(line_);
        std::free(line_);
        line_ = nullptr;
    }
}

Progress::~Progress() {
    if (line_ != nullptr) {
        line_->stop();
        std::destroy_at(line_);
        std::free(line_);
    }
}

void Progress::set(std::size_t done, std::size_t count, const char *library) {
    if (line_ == nullptr) {
        return;
    }
    Text text;
    const bool fits = appendNumber(text, done) && text.append(" of ") && appendNumber(text, count) &&
                      text.append(" libraries done, now ");
    if (fits) {
        constexpr std::size_t kMostShown = 500; // leaves room to erase the line in the same write()
        appendName(text, library, std::min(widthOfTerminal(), kMostShown));
        line_->set(text);
    }
}

} // namespace vekinfo
