// Progress line on the terminal. A thread updates the line every 100 ms. The line therefore also appears while the main
// thread is blocked in a system call, for example of a slow network file system.
//
// Other output must erase the line first, and all layers print to `stdout` and `stderr`. While the line is shown, these
// variables therefore point to custom streams (fopencookie()) that erase the line and then write to the original
// descriptor. A mutex serializes all writes to the terminal. The line is written only if the last output ended with a
// newline.

#include "tool/progress.h"

#include "common/text/fixed_text.h"
#include "tool/signal_mask.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <pthread.h>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

namespace vekinfo {

namespace {

using Text = vek::FixedText<512>;

constexpr std::string_view kErase = "\r\033[K"; // carriage return, then ECMA-48: erase to the line's end

bool canErase() {
    const char *terminal = std::getenv("TERM");
    const std::string_view name = terminal == nullptr ? "" : terminal;
    return !name.empty() && name != "dumb";
}

bool isPipe(int descriptor) {
    struct stat status = {};
    return fstat(descriptor, &status) == 0 && (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode));
}

/// Returns true if `descriptor` is open on a terminal, like isatty().
bool isTerminal(int descriptor) {
    termios attributes = {};
    return ioctl(descriptor, TCGETS, &attributes) == 0;
}

/// Returns how many columns the progress line may use: the width of the terminal minus one, because some terminals
/// begin a new line after the last column. If the width is unknown, 80 columns are assumed.
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

/// Appends `name` to `text`, but stops when `text` has `width` bytes. Replaces each byte that is not printable ASCII by
/// "?", because only printable ASCII characters always have one byte and occupy one column.
void appendName(Text &text, std::string_view name, std::size_t width) {
    for (const char byte : name) {
        const std::string_view shown = byte >= ' ' && byte <= '~' ? std::string_view(&byte, 1) : "?";
        if (text.view().size() >= width || !text.append(shown)) {
            return;
        }
    }
}

/// Returns the time of CLOCK_MONOTONIC that is `ns` nanoseconds after the current time.
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

    /// Replaces `stdout` and `stderr` by streams that erase the progress line before each output, and starts the thread
    /// that writes the progress line.
    /// @return false if memory or threads are exhausted; `stdout` and `stderr` are then unchanged
    bool start();
    /// Ends the thread that writes the progress line, erases the progress line and restores `stdout` and `stderr`.
    void stop();
    /// Sets the text that the thread writes to the terminal at its next update.
    void set(const Text &text);

  private:
    static void *threadMain(void *line);
    static ssize_t writeOutput(void *line, const char *data, std::size_t size);
    static ssize_t writeError(void *line, const char *data, std::size_t size);

    void showRepeatedly();
    void show();
    void erase();
    ssize_t write(int descriptor, const char *data, std::size_t size);
    [[nodiscard]] bool replaceStreams();
    void restoreStreams();

    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t stopped_ = PTHREAD_COND_INITIALIZER;
    pthread_t thread_ = {};
    bool isStopped_ = false;
    bool isOnTerminal_ = false; ///< whether the line is on the terminal now
    bool isAtLineStart_ = true; ///< whether the last output ended with a newline
    Text text_;                 ///< the text to write
    Text shown_;                ///< the text on the terminal, if `isOnTerminal_` is true

    FILE *output_ = nullptr;       ///< the stream that replaces stdout; null if stdout is not a terminal
    FILE *error_ = nullptr;        ///< the stream that replaces stderr
    FILE *outputBefore_ = nullptr; ///< stdout before the replacement
    FILE *errorBefore_ = nullptr;  ///< stderr before the replacement
};

bool Progress::Line::start() {
    bool isStarted = false;
    if (replaceStreams()) {
        // The new thread inherits the mask that blocks all signals, so that the main thread still handles all signals.
        const AllSignalsBlocked blocked;
        isStarted = pthread_create(&thread_, nullptr, threadMain, this) == 0;
    }
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
        if (pthread_cond_clockwait(&stopped_, &mutex_, CLOCK_MONOTONIC, &deadline) == ETIMEDOUT) {
            show();
            deadline = after(kNextNs);
        }
    }
    static_cast<void>(pthread_mutex_unlock(&mutex_));
}

/// Writes the progress line to the terminal, unless the terminal already shows the current text, or the last other
/// output did not end with a newline. The caller must hold the mutex.
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

/// Erases the progress line if it is on the terminal. The caller must hold the mutex, unless the thread that writes the
/// progress line has ended.
void Progress::Line::erase() {
    if (isOnTerminal_) {
        isOnTerminal_ = false;
        static_cast<void>(!::write(STDERR_FILENO, kErase.data(), kErase.size()));
    }
}

// ---- the streams

/// Replaces `stderr`, and `stdout` if it is a terminal.
/// @return false if memory is exhausted; restoreStreams() must then be called, too
bool Progress::Line::replaceStreams() {
    static_cast<void>(std::fflush(stdout));
    outputBefore_ = stdout;
    errorBefore_ = stderr;
    error_ =
        fopencookie(this, "w", {.read = nullptr, .write = writeError, .seek = nullptr, .close = nullptr});
    if (error_ == nullptr) {
        return false;
    }
    static_cast<void>(std::setvbuf(error_, nullptr, _IONBF, 0));
    stderr = error_;
    if (!isTerminal(STDOUT_FILENO)) {
        return true;
    }
    output_ =
        fopencookie(this, "w", {.read = nullptr, .write = writeOutput, .seek = nullptr, .close = nullptr});
    if (output_ == nullptr) {
        return false;
    }
    static_cast<void>(std::setvbuf(output_, nullptr, _IOLBF, BUFSIZ));
    stdout = output_;
    return true;
}

void Progress::Line::restoreStreams() {
    stdout = outputBefore_;
    stderr = errorBefore_;
    for (FILE *stream : {output_, error_}) {
        if (stream != nullptr) {
            static_cast<void>(std::fclose(stream)); // also writes what is still buffered
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
    return written > 0 ? written : 0; // fopencookie(): a write function returns 0 after an error
}

// ---- Progress

Progress::Progress() {
    if (!isTerminal(STDERR_FILENO) || isPipe(STDOUT_FILENO) || !canErase()) {
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
        constexpr std::size_t kMostShown = 500; // must fit into a Text together with kErase
        appendName(text, library, std::min(widthOfTerminal(), kMostShown));
        line_->set(text);
    }
}

} // namespace vekinfo
