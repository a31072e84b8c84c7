#include "common/platform/open_text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <utility>

namespace vek {

OwnedDescriptor openForReading(const char *path) {
    // O_NONBLOCK: without it, open() of a named pipe waits until another process opens the pipe for writing.
    OwnedDescriptor file(::open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status = {};
    if (!file.valid() || fstat(file.get(), &status) != 0) {
        return {};
    }
    return S_ISREG(status.st_mode) ? std::move(file)
                                   : OwnedDescriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC));
}

} // namespace vek
