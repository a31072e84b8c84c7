#include "common/platform/vek_tmp.h"

// Temporary names. The final "X" of a template are replaced by random digits and letters. While the name exists, the
// digits are counted up like a number with the lowest digit first, until all names are tried or another error occurs.

#include "common/base/owned.h"
#include "common/base/print_error.h"
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

/// The directories for temporary files, in order. "$" marks the name of an environment variable.
constexpr std::array<const char *, 4> kDirectories = {"$VEK_TMP_DIR", "$TMPDIR", "$TEMPDIR", "/tmp"};

/// @return false if gettimeofday() fails, which is printed on standard error
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

/// Replaces each "X" of the run that ends at `end`. @return the beginning of the run
char *replaceRun(const char *name, char *end, unsigned seed) {
    char *begin = end;
    while (begin != name && begin[-1] == 'X') {
        *--begin = kAlphabet[static_cast<unsigned>(rand_r(&seed)) % kAlphabet.size()];
    }
    return begin;
}

/// @return whether the directory part of `name`, which ends before `run`, is a directory; true if there is none
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

/// @return whether `name` does not exist; otherwise errno is EEXIST, or the error of lstat()
bool doesNotExist(const char *name) {
    struct stat status = {};
    if (lstat(name, &status) == 0) {
        errno = EEXIST;
        return false;
    }
    return errno == ENOENT;
}

/// Creates the file or directory `name`, or only tests that it does not exist. @return false with errno, EEXIST if it exists
bool claimName(const char *name, int *descriptor, bool asDirectory) {
    if (descriptor != nullptr) {
        // Documented: without O_CLOEXEC; programs that the caller executes inherit the descriptor.
        *descriptor = open(name, O_RDWR | O_CREAT | O_EXCL, 0600);
        return *descriptor >= 0;
    }
    return asDirectory ? mkdir(name, 0700) == 0 : doesNotExist(name);
}

/// Changes the digits from `begin` to `end` to the next name, the leftmost digit first. @return false after the last one
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

/// Composes a template in `out`, which has VEK_PATH_SIZE bytes, and makes it unique. A longer template is truncated.
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

/// @return the directory of an entry of the table; null if its variable is not set
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
    // Documented: "/tmp" is tried twice, the second time from another random name.
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
