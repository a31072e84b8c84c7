#include "common/platform/vek_tmp.h"

// Unique names for temporary files. Each "X" at the end of a template is replaced by a random digit or letter. If the
// name exists, the next name is tried: the replaced characters are incremented as a number in base 62 whose least
// significant digit is the leftmost one. The search ends when a name does not exist, when the number overflows, or
// after an error other than EEXIST.

#include "common/base/owned.h"
#include "common/base/print.h"
#include "common/platform/vek_file.h"
#include "common/platform/veki_tmp.h"
#include "common/text/ascii.h"
#include "common/text/fixed_text.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

constexpr std::string_view kAlphabet = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
constexpr std::string_view kRun = "XXXXXX";
constexpr std::string_view kDefaultPrefix = "tmp.";

/// The directories that vekGetTmpDir() tries, in this order. An element that begins with "$" names an environment
/// variable, whose value is the directory.
constexpr std::array<const char *, 4> kDirectories = {"$VEK_TMP_DIR", "$TMPDIR", "$TEMPDIR", "/tmp"};

/// Computes a seed for rand_r() from the time and the process ID, and stores it in `seed`.
/// @return true; false with `errno` set if gettimeofday() fails, which is also printed on standard error
bool makeSeed(unsigned &seed) {
    timeval now = {};
    if (gettimeofday(&now, nullptr) != 0) {
        const int error = errno;
        vek::printError("Error: gettimeofday() failed. %s\n", std::strerror(error));
        errno = error;
        return false;
    }
    seed = (static_cast<uint32_t>(now.tv_usec) << 7U) ^ static_cast<uint32_t>(now.tv_sec) ^
           static_cast<uint32_t>(getpid());
    return true;
}

/// Replaces the run of "X" directly before `end` by random digits and letters. The run does not extend before `name`,
/// the beginning of the text.
/// @return a pointer to the first character that was replaced; `end` if there is no "X" directly before `end`
char *replaceRun(const char *name, char *end, unsigned seed) {
    char *begin = end;
    while (begin != name && begin[-1] == 'X') {
        *--begin = kAlphabet[static_cast<unsigned>(rand_r(&seed)) % kAlphabet.size()];
    }
    return begin;
}

/// Tests whether the directory part of `name` exists: the text before the last "/" that precedes `run`. `run` points
/// to the characters of `name` that replaced the "X" characters.
/// @return true if it is an existing directory, or if there is no such "/"; otherwise false with `errno` set
bool hasDirectory(char *name, const char *run) {
    const std::size_t slash = std::string_view(name, static_cast<std::size_t>(run - name)).rfind('/');
    if (slash == std::string_view::npos) {
        return true;
    }
    struct stat status = {};
    name[slash] = '\0';
    const int result = stat(slash == 0 ? "/" : name, &status);
    name[slash] = '/';
    if (result == 0 && !S_ISDIR(status.st_mode)) {
        errno = ENOTDIR;
        return false;
    }
    return result == 0;
}

/// @return true if `name` does not exist; otherwise false, with `errno` EEXIST or the error of lstat()
bool doesNotExist(const char *name) {
    struct stat status = {};
    if (lstat(name, &status) == 0) {
        errno = EEXIST;
        return false;
    }
    return errno == ENOENT;
}

/// Creates the file `name` and stores its descriptor, if `descriptor` is not null. Otherwise creates the directory
/// `name`, if `asDirectory` is true. Otherwise creates nothing and tests that `name` does not exist.
/// @return true; false with `errno` set, to EEXIST if `name` exists
bool claimName(const char *name, int *descriptor, bool asDirectory) {
    if (descriptor != nullptr) {
        // Documented: the file is opened without O_CLOEXEC, so a program that this process executes inherits the
        // descriptor.
        *descriptor = open(name, O_RDWR | O_CREAT | O_EXCL, 0600);
        return *descriptor >= 0;
    }
    return asDirectory ? mkdir(name, 0700) == 0 : doesNotExist(name);
}

/// Increments the text from `begin` to `end` as a number in base 62 whose least significant digit is the first
/// character.
/// @return true; false if the number overflows, and all characters are then "0"
bool nextName(char *begin, const char *end) {
    for (; begin != end; ++begin) {
        const std::size_t digit = kAlphabet.find(*begin);
        if (digit < kAlphabet.size() - 1) {
            *begin = kAlphabet[digit + 1];
            return true;
        }
        *begin = kAlphabet[0];
    }
    return false;
}

/// Joins `directory`, `separator`, `prefix` and "XXXXXX" to a template, cuts it to 4095 characters, and stores it in
/// `out`, which has VEK_PATH_SIZE bytes. Then calls vek_mktemp(), which replaces the template by a new name.
/// @return true; false if vek_mktemp() fails
bool makePath(std::string_view directory, std::string_view separator, std::string_view prefix, char *out) {
    vek::PathText path;
    const std::array<std::string_view, 4> pieces = {directory, separator, prefix, kRun};
    for (const std::string_view piece : pieces) {
        path.appendCut(piece);
    }
    return vek::copyToBuffer(path.view(), out, VEK_PATH_SIZE) && vek_mktemp(out) != nullptr;
}

bool makePathIn(const char *directory, std::string_view prefix, char *out) {
    return directory != nullptr && makePath(directory, vek::endsWith(directory, "/") ? "" : "/", prefix, out);
}

/// Returns the directory for an element of kDirectories: if the element begins with "$", the value of that
/// environment variable, otherwise the element itself.
/// @return the path of the directory; null if the variable is not set
const char *expanded(const char *directory) {
    return *directory == '$' ? std::getenv(directory + 1) : directory;
}

} // namespace

int veki_gettemp(char *nameTemplate, int *fdOut, int makeDir, int suffixLen) {
    if (fdOut != nullptr) {
        *fdOut = -1;
    }
    const std::size_t length = nameTemplate == nullptr ? 0 : std::strlen(nameTemplate);
    const bool isWhole = suffixLen >= 0 && static_cast<std::size_t>(suffixLen) < length;
    if (!isWhole || (fdOut != nullptr && makeDir != 0)) {
        errno = EINVAL;
        return 0;
    }
    unsigned seed = 0;
    if (!makeSeed(seed)) {
        return 0;
    }
    char *const end = nameTemplate + (length - static_cast<std::size_t>(suffixLen));
    char *const run = replaceRun(nameTemplate, end, seed);
    const bool creates = fdOut != nullptr || makeDir != 0;
    if (creates && !hasDirectory(nameTemplate, run)) {
        return 0;
    }
    while (!claimName(nameTemplate, fdOut, makeDir != 0)) {
        if (errno != EEXIST || !nextName(run, end)) {
            return 0;
        }
    }
    return 1;
}

int vek_mkstemp(char *nameTemplate) {
    int descriptor = -1;
    static_cast<void>(veki_gettemp(nameTemplate, &descriptor, 0, 0));
    return descriptor;
}

char *vek_mktemp(char *nameTemplate) {
    return veki_gettemp(nameTemplate, nullptr, 0, 0) != 0 ? nameTemplate : nullptr;
}

char *vek_tempnam(const char *dir, const char *prefix) {
    vek::OwnedText path(static_cast<char *>(std::malloc(VEK_PATH_SIZE)));
    if (!path) {
        return nullptr;
    }
    const std::string_view start = prefix == nullptr ? kDefaultPrefix : prefix;
    // Documented: if no name can be made in `dir`, the directory /tmp is tried twice. The second try begins with
    // another random name, because the random numbers depend on the time.
    if (makePathIn(dir, start, path.get()) || makePathIn("/tmp", start, path.get()) ||
        makePathIn("/tmp/", start, path.get())) {
        return path.release();
    }
    const int error = errno;
    path.reset();
    errno = error;
    return nullptr;
}

char *vekMkUniqueFilePath(const char *dir, const char *prefix, char *out) {
    vek::OwnedText path(vek_tempnam(dir, prefix));
    if (out == nullptr || !path) {
        return path.release();
    }
    return vek::copyToBuffer(path.get(), out, VEK_PATH_SIZE) ? out : nullptr;
}

char *vekGetTmpDir(char *buf) {
    vek::OwnedText allocated(buf == nullptr ? static_cast<char *>(std::malloc(VEK_PATH_SIZE)) : nullptr);
    char *const out = buf == nullptr ? allocated.get() : buf;
    if (out == nullptr) {
        return nullptr;
    }
    for (const char *entry : kDirectories) {
        const char *const directory = expanded(entry);
        if (vekFileWritable(directory) != 0 && vek::copyToBuffer(directory, out, VEK_PATH_SIZE)) {
            static_cast<void>(allocated.release());
            return out;
        }
    }
    return nullptr;
}
