#include "common/base/print.h"
#include "common/platform/vek_init.h"
#include "tool/vekinfo_args.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace {

constexpr std::array kStandardDescriptors = {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO};

/// Tests whether the descriptors of standard input, output and error (0, 1 and 2) are all open.
/// @return false if one of them is closed, or if poll() fails
bool areStandardDescriptorsOpen() {
    std::array<pollfd, kStandardDescriptors.size()> polled = {};
    for (std::size_t i = 0; i < polled.size(); ++i) {
        polled[i].fd = kStandardDescriptors[i];
    }
    // One poll() tests all three descriptors: it sets POLLNVAL for each closed one. If RLIMIT_NOFILE is below three,
    // poll() fails with EINVAL. The result is then false, and the caller tests each descriptor with fcntl().
    bool areOpen = poll(polled.data(), polled.size(), 0) >= 0;
    for (const pollfd &each : polled) {
        areOpen = areOpen && (each.revents & POLLNVAL) == 0;
    }
    return areOpen;
}

/// Opens each of the descriptors of standard input, output and error (0, 1 and 2) that is closed. Otherwise a later
/// open() would return one of these numbers: a tag file could get descriptor 2, and error messages would be written
/// into it.
/// @return false if a closed descriptor cannot be opened
bool openStandardDescriptors() {
    if (areStandardDescriptorsOpen()) {
        return true;
    }
    for (const int descriptor : kStandardDescriptors) {
        if (fcntl(descriptor, F_GETFD) != -1 || errno != EBADF) {
            continue;
        }
        // open() returns the lowest free descriptor, which is `descriptor`. With O_PATH, read() and write() fail with
        // EBADF, as on a closed descriptor. "/" is opened because it always exists, whereas /dev/null may be missing.
        if (open("/", O_PATH) != descriptor) {
            return false;
        }
    }
    return true;
}

} // namespace

int main(int argc, char **argv) {
    if (!openStandardDescriptors()) {
        vek::printError("ERROR! can't open the standard descriptors\n");
        return EXIT_FAILURE;
    }
    vekInit(&argc, argv);
    return tovProcessVekinfoArgs(argv) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
