#include "tests/support/capture.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "tests/support/child.h"
#include "tests/support/real_calls.h"

// Present in a sanitizer build only: its reports must not be captured when the process ends.
extern "C" void __sanitizer_set_report_fd(void *descriptor) __attribute__((weak));

namespace test {

namespace {

void sendSanitizerReportsTo(int descriptor) {
    if (__sanitizer_set_report_fd != nullptr) {
        // A descriptor dressed as a pointer is what the interface wants. NOLINTNEXTLINE(performance-no-int-to-ptr)
        __sanitizer_set_report_fd(reinterpret_cast<void *>(static_cast<std::intptr_t>(descriptor)));
    }
}

void writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = __real_write(descriptor, text.data(), text.size());
        if (written <= 0) {
            return;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

} // namespace

Capture::Stream Capture::redirect(int number) {
    const Stream stream{number, fcntl(number, F_DUPFD_CLOEXEC, 3), memfd_create("capture", MFD_CLOEXEC)};
    if (stream.caught < 0 || dup2(stream.caught, number) < 0) {
        throw std::system_error(errno, std::generic_category(), "capture");
    }
    return stream;
}

void Capture::restore(const Stream &stream) {
    const std::string text = hasFailed() ? content(stream) : std::string();
    dup2(stream.saved, stream.number);
    __real_close(stream.saved);
    __real_close(stream.caught);
    writeAll(stream.number, text);
}

std::string Capture::content(const Stream &stream) {
    std::string text;
    std::array<char, 65536> buffer;
    ssize_t count = 0;
    while ((count = pread(stream.caught, buffer.data(), buffer.size(), static_cast<off_t>(text.size()))) >
           0) {
        text.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return text;
}

Capture::Capture() : out_{}, err_{} {
    __real_fflush(nullptr);
    out_ = redirect(STDOUT_FILENO);
    err_ = redirect(STDERR_FILENO);
    sendSanitizerReportsTo(err_.saved);
}

Capture::~Capture() {
    __real_fflush(nullptr);
    sendSanitizerReportsTo(STDERR_FILENO);
    restore(err_);
    restore(out_);
}

std::string Capture::out() {
    __real_fflush(stdout);
    return content(out_);
}

std::string Capture::err() {
    __real_fflush(stderr);
    return content(err_);
}

} // namespace test
