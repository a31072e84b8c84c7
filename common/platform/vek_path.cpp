// Path texts: tests for absolute paths and for the root directory, and removal of "//", "/./" and "/../" without system
// calls. Also lines with DOS line ends, memory allocation that reports a failure, and tests whether a path exists.

#include "common/platform/vek_path.h"

#include "common/base/owned.h"
#include "common/base/print.h"
#include "common/platform/system_path.h"
#include "common/platform/veki_path.h"
#include "common/text/fixed_text.h"
#include "common/text/path_components.h"

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
    vek::PathComponents components(path + 1);
    std::string_view component;
    while (components.next(component)) {
        // Documented: a component "." or ".." is accepted only if a "/" follows it. Therefore the result for "/." and
        // "/.." is 0, although both paths lead to the root directory.
        const bool isKept = components.isEnd() ? component.empty()
                                               : component.empty() || component == "." || component == "..";
        if (!isKept) {
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
    // Documented: after a failure, the function frees `out`, the buffer of the caller.
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

void vekiCleanupRootedPath(char *path) {
    if (path == nullptr) {
        return;
    }
    // One pass in O(n): moves each component to its final offset. A ".." also removes the component before it. Two
    // parts are never removed: the text before the first "/", which is empty in an absolute path, and the last
    // component.
    vek::PathComponents components{std::string_view(path)};
    std::string_view component;
    static_cast<void>(components.next(component));
    char *const begin = path + component.size();
    char *end = begin;
    while (components.next(component)) {
        if (!components.isEnd() && component == "..") {
            while (end != begin && *--end != '/') {
            }
        } else if (components.isEnd() || (!component.empty() && component != ".")) {
            *end++ = '/';
            std::memmove(end, component.data(), component.size());
            end += component.size();
        }
    }
    *end = '\0';
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
        vek::printError("ERROR! Failed to allocate %ld bytes of space\n", static_cast<long>(size));
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
