#include "common/open_text.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace vek {

OwnedStream openForReading(const char *path) {
    // O_NONBLOCK: opening a pipe without a writer would wait for one.
    OwnedDescriptor descriptor(::open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status = {};
    if (!descriptor.valid() || fstat(descriptor.get(), &status) != 0) {
        return nullptr;
    }
    if (!S_ISREG(status.st_mode)) {
        return OwnedStream(std::fopen("/dev/null", "re"));
    }
    OwnedStream stream(fdopen(descriptor.get(), "r"));
    if (stream) {
        static_cast<void>(descriptor.release());
    }
    return stream;
}

} // namespace vek
