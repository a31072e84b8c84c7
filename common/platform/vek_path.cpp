#include "common/platform/vek_path.h"

#include "common/base/owned.h"
#include "common/platform/system_path.h"
#include "common/platform/veki_path.h"
#include "common/text/fixed_text.h"

#include <cstring>
#include <string_view>
#include <sys/stat.h>

void vekCanonicalizeDirSep(char * /*path*/) {}

int vekIsRooted(const char *path) {
    return path != nullptr && *path == '/' ? 1 : 0;
}

int vekIsRoot(const char *path) {
    if (vekIsRooted(path) == 0) {
        return 0;
    }
    const char *rest = path + 1;
    while (*rest != '\0') {
        // Only whole steps count: "/." and "/.." do not name the root here, and joining depends on it.
        if (*rest == '/') {
            rest += 1;
        } else if (std::strncmp(rest, "./", 2) == 0) {
            rest += 2;
        } else if (std::strncmp(rest, "../", 3) == 0) {
            rest += 3;
        } else {
            return 0;
        }
    }
    return 1;
}

int vekIsUNCRoot(const char * /*path*/) {
    return 0;
}

char *vekMkRootedPath(const char *path, char *out) {
    if (path == nullptr) {
        return nullptr;
    }
    // A failure frees the caller's buffer, too: callers pass heap buffers and count on it.
    vek::OwnedText buffer(out);
    if (vekIsRooted(path) == 1) {
        if (!buffer) {
            return vek::copyText(path).release();
        }
        return vek::copyToBuffer(path, buffer.get(), VEK_PATH_SIZE) ? buffer.release() : nullptr;
    }
    vek::PathText rooted;
    if (!vek::readWorkingDirectory(rooted) || !rooted.appendAll('/', path)) {
        return nullptr;
    }
    if (!buffer) {
        buffer.reset(static_cast<char *>(std::malloc(VEK_PATH_SIZE)));
    }
    return buffer && vek::copyToBuffer(rooted.view(), buffer.get(), VEK_PATH_SIZE) ? buffer.release()
                                                                                   : nullptr;
}

/// The next "/" at or behind `from`, or the end of the text.
static char *stepEnd(char *from) {
    while (*from != '\0' && *from != '/') {
        ++from;
    }
    return from;
}

void vekiCleanupRootedPath(char *path) {
    if (path == nullptr) {
        return;
    }
    // One pass gives what collapsing "//", then "/./", then "/../", always leftmost first, gives: the text
    // before the first "/" (nothing, in a rooted path) is never dropped, nor is a last step "." or "..".
    char *const floor = stepEnd(path);
    char *write = floor;
    char *read = floor;
    while (*read != '\0') {
        char *const end = stepEnd(read + 1);
        const std::string_view step(read + 1, static_cast<std::size_t>(end - read - 1));
        const bool last = *end == '\0';
        if (!last && step == "..") {
            while (write != floor && *--write != '/') {
            }
        } else if (last || (!step.empty() && step != ".")) {
            if (write != read) {
                std::memmove(write, read, step.size() + 1);
            }
            write += step.size() + 1;
        }
        read = end;
    }
    if (write != read) {
        *write = '\0';
    }
}

char *vek_fgets(char *buffer, int size, FILE *file) {
    char *line = std::fgets(buffer, size, file);
    vekNtToUnixLine(line);
    return line;
}

void vekNtToUnixLine(char *line) {
    const std::size_t length = line == nullptr ? 0 : std::strlen(line);
    if (length >= 2 && line[length - 2] == '\r' && line[length - 1] == '\n') {
        line[length - 2] = '\n';
        line[length - 1] = '\0';
    }
}

void *vekiMalloc(size_t size) {
    void *memory = std::malloc(size);
    if (memory == nullptr) {
        static_cast<void>(
            std::fprintf(stderr, "ERROR! Failed to allocate %ld bytes of space\n", static_cast<long>(size)));
    }
    return memory;
}

char *vek::copyOrReport(std::string_view text) {
    char *copy = static_cast<char *>(vekiMalloc(text.size() + 1));
    if (copy != nullptr) {
        std::memcpy(copy, text.data(), text.size());
        copy[text.size()] = '\0';
    }
    return copy;
}

char *vekiCopyString(const char *text) {
    return text == nullptr ? nullptr : vek::copyOrReport(text);
}

int vekiFileExistsExecutable(const char *path) {
    struct stat status = {};
    const bool found = path != nullptr && stat(path, &status) == 0;
    return found && S_ISREG(status.st_mode) && (status.st_mode & S_IXUSR) != 0 ? 1 : 0;
}

int vekiPathExists(const char *path) {
    struct stat status = {};
    return path != nullptr && stat(path, &status) == 0 ? 1 : 0;
}
