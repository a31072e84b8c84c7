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

/// @return false if one of the descriptors 0 to 2 is closed
bool areStandardDescriptorsOpen() {
    std::array<pollfd, kStandardDescriptors.size()> polled = {};
    for (std::size_t i = 0; i < polled.size(); ++i) {
        polled[i].fd = kStandardDescriptors[i];
    }
    // One call for all three. It fails if the limit on descriptors is below three.
    bool areOpen = poll(polled.data(), polled.size(), 0) >= 0;
    for (const pollfd &each : polled) {
        areOpen = areOpen && (each.revents & POLLNVAL) == 0;
    }
    return areOpen;
}

/// Opens those of the descriptors 0 to 2 that are closed. Otherwise the next file that is opened, such as the tag file
/// that is edited, would take the place of standard error and receive its texts.
/// @return false if one of them cannot be opened
bool openStandardDescriptors() {
    if (areStandardDescriptorsOpen()) {
        return true;
    }
    for (const int descriptor : kStandardDescriptors) {
        if (fcntl(descriptor, F_GETFD) != -1 || errno != EBADF) {
            continue;
        }
        // The lowest free descriptor is the closed one. Reading and writing an O_PATH descriptor fail with EBADF, as
        // they do on a closed one, and the root directory exists where /dev/null does not.
        if (open("/", O_PATH) != descriptor) {
            return false;
        }
    }
    return true;
}

} // namespace

int main(int argc, char **argv) {
    if (!openStandardDescriptors()) {
        static_cast<void>(std::fputs("ERROR! can't open the standard descriptors\n", stderr));
        return EXIT_FAILURE;
    }
    vekInit(&argc, argv);
    return tovProcessVekinfoArgs(argv) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
