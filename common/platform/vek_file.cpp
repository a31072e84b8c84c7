// Tests of files and directories: existence, size, type, symbolic links, permission to write. Each function makes one or
// a few system calls. vekBuildDirPath() creates a directory with its missing parents, from the top down.

#include "common/platform/vek_file.h"

#include "common/base/owned.h"
#include "common/base/vek_error.h"
#include "common/platform/veki_file.h"
#include "common/text/fixed_text.h"

#include <cerrno>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

struct stat vekStatBuf;

static constexpr int kOpenToTest = O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

static bool isEmpty(const char *path) {
    return path == nullptr || *path == '\0';
}

int vekFileExists(const char *path) {
    return !isEmpty(path) && stat(path, &vekStatBuf) == 0 ? 1 : 0;
}

int64_t vekGetFileSize(const char *path) {
    struct stat status = {};
    return !isEmpty(path) && stat(path, &status) == 0 ? status.st_size : 0;
}

int vekFileIsDirectory(const char *path) {
    struct stat status = {};
    return !isEmpty(path) && stat(path, &status) == 0 && S_ISDIR(status.st_mode) ? 1 : 0;
}

int vekFileIsLink(const char *path) {
    return !isEmpty(path) && lstat(path, &vekStatBuf) == 0 && S_ISLNK(vekStatBuf.st_mode) ? 1 : 0;
}

int64_t vekGetFileSizeInStatbuf(void) {
    return vekStatBuf.st_size;
}

int64_t vekGetTimestampInStatbuf(void) {
    return vekStatBuf.st_mtime;
}

int vekReadSymLink(const char *path, char *buf) {
    if (isEmpty(path) || buf == nullptr) {
        return 0;
    }
    const ssize_t length = readlink(path, buf, VEK_PATH_SIZE);
    if (length < 0) {
        return 0;
    }
    buf[length] = '\0';
    return 1;
}

/// Creates the directory `path`. Its parent directory must exist.
/// @return true if `path` is a directory afterwards; otherwise false, after a message through vekReportError()
static bool makeDirectory(const char *path) {
    // Documented: mkdir() receives the mode 0xFFFF, in which all permission bits and the sticky bit are set. The
    // umask then removes permissions.
    if (mkdir(path, 0xFFFF) == 0) {
        return true;
    }
    // mkdir() also fails if the directory already exists, which is no error. Another process may have created it. Or
    // `path` is "a/b/", and the call of this function for "a/b" has created it.
    if (vekFileIsDirectory(path) == 1) {
        return true;
    }
    vekReportError("Error (vekBuildDirPath): mkdir call failed.\n");
    return false;
}

int vekBuildDirPath(const char *path) {
    if (isEmpty(path)) {
        return 0;
    }
    struct stat status = {};
    if (stat(path, &status) == 0) {
        return S_ISDIR(status.st_mode) ? 1 : 0;
    }
    const vek::OwnedText copy = vek::copyText(path);
    if (!copy) {
        return 0;
    }
    // First loop: cut the path at each "/", from right to left, until the rest is an existing directory. Second loop:
    // restore each "/", from left to right, and create the directory that the path then names.
    const std::size_t length = std::strlen(path);
    std::size_t end = length;
    while (true) {
        const std::size_t slash = std::string_view(copy.get(), end).rfind('/');
        if (slash == std::string_view::npos || slash == 0) {
            break;
        }
        end = slash;
        copy.get()[end] = '\0';
        if (stat(copy.get(), &status) == 0) {
            if (!S_ISDIR(status.st_mode)) {
                return 0;
            }
            copy.get()[end] = '/';
            end += 1 + std::strlen(copy.get() + end + 1);
            break;
        }
    }
    while (makeDirectory(copy.get())) {
        if (end == length) {
            return 1;
        }
        copy.get()[end] = '/';
        end += 1 + std::strlen(copy.get() + end + 1);
    }
    return 0;
}

/// Tests whether the process may create files in the directory `path`: creates the file vekFileWritableTest there,
/// and removes it. @return 1 if the file was created, otherwise 0
static int isDirectoryWritable(const char *path) {
    vek::PathText file;
    if (!file.assign(std::string_view(path), '/', std::string_view("vekFileWritableTest"))) {
        return 0;
    }
    vek::OwnedDescriptor opened(open(file.c_str(), kOpenToTest | O_CREAT | O_NOFOLLOW, 0644));
    if (!opened.valid()) {
        // If the name is a symbolic link, open() with O_NOFOLLOW fails with ELOOP. In this case, remove the link:
        // unlink() needs the same permission for the directory as creating a file. If unlink() succeeds, the process
        // can therefore create files.
        return errno == ELOOP && unlink(file.c_str()) == 0 ? 1 : 0;
    }
    static_cast<void>(opened.close());
    static_cast<void>(unlink(file.c_str()));
    return 1;
}

int vekFileWritable(const char *path) {
    if (isEmpty(path)) {
        return 0;
    }
    const vek::OwnedDescriptor opened(open(path, kOpenToTest));
    if (opened.valid()) {
        return 1;
    }
    // open() for writing fails with EISDIR only if `path` is a directory. Therefore no stat() is needed to find out.
    return errno == EISDIR ? isDirectoryWritable(path) : 0;
}
