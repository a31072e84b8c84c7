// Fault injection in a whole program: libvek_preload_faults.so, loaded with LD_PRELOAD.
// test::run() does so when ChildOptions::preload is set; by hand:
//
//     LD_PRELOAD=build/release/tests/support/libvek_preload_faults.so VEK_TEST_FAIL=open:2:EACCES vekinfo -show
// Three environment variables control it. Calls are counted from the beginning of main():
//
//     VEK_TEST_CASELESS_DIR=/absolute/directory   names below the directory are folded to lower case
//     VEK_TEST_FAIL=write:3:ENOSPC                the third call of write() fails with ENOSPC; a final "+"
//                                                 (write:3:ENOSPC+) makes every later one fail, too
//     VEK_TEST_FAIL_MALLOC=5                      the fifth allocation fails; "5+" makes every later one fail
// Two more report events:
//
//     VEK_TEST_COUNT=/absolute/file               receives, when main() has ended, the number of allocations
//     VEK_TEST_MARK=1                             getpgid(VEK_TEST_MARK_ID) is called when main() begins, and
//                                                 getpgid(VEK_TEST_END_MARK_ID) when it has ended and the streams
//                                                 are flushed, for a tracer of the program
//                                                 (tests/robustness/traced_run.h)
// A program built with the address sanitizer needs verify_asan_link_order=0 in ASAN_OPTIONS, because its run-time library
// is then not the first one loaded. This object is never instrumented; allocations are passed on to the sanitizer.
// It intercepts calls of the program and allocations of the C library, but not other calls within the C library, such as
// the write() of fclose().

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/caseless.h"
#include "tests/support/main_mark.h"

namespace {

// In the order of `points`.
enum class Point {
    Open,
    Openat,
    Fopen,
    Fdopen,
    Read,
    Write,
    Pwrite,
    Close,
    Fclose,
    Fflush,
    Fsync,
    Ftruncate,
    Fallocate,
    PosixFallocate,
    Stat,
    Lstat,
    Fstat,
    Readlink,
    Opendir,
    Mkdir,
    Unlink,
    Rename,
    Getcwd,
    Getpwnam,
    Access,
    Allocation,
};

struct PointState {
    const char *name;
    int calls;
    int failAt; // the number of the call that fails, 0 for none
    int error;
    bool andAfter;
};

constinit std::array<PointState, 26> points = {{
    {"open", 0, 0, 0, false},      {"openat", 0, 0, 0, false},
    {"fopen", 0, 0, 0, false},     {"fdopen", 0, 0, 0, false},
    {"read", 0, 0, 0, false},      {"write", 0, 0, 0, false},
    {"pwrite", 0, 0, 0, false},    {"close", 0, 0, 0, false},
    {"fclose", 0, 0, 0, false},    {"fflush", 0, 0, 0, false},
    {"fsync", 0, 0, 0, false},     {"ftruncate", 0, 0, 0, false},
    {"fallocate", 0, 0, 0, false}, {"posix_fallocate", 0, 0, 0, false},
    {"stat", 0, 0, 0, false},      {"lstat", 0, 0, 0, false},
    {"fstat", 0, 0, 0, false},     {"readlink", 0, 0, 0, false},
    {"opendir", 0, 0, 0, false},   {"mkdir", 0, 0, 0, false},
    {"unlink", 0, 0, 0, false},    {"rename", 0, 0, 0, false},
    {"getcwd", 0, 0, 0, false},    {"getpwnam", 0, 0, 0, false},
    {"access", 0, 0, 0, false},    {"malloc", 0, 0, 0, false},
}};

struct ErrorName {
    const char *name;
    int error;
};

constexpr std::array<ErrorName, 16> errorNames = {{
    {"EACCES", EACCES},
    {"EBADF", EBADF},
    {"EDQUOT", EDQUOT},
    {"EFBIG", EFBIG},
    {"EINTR", EINTR},
    {"EINVAL", EINVAL},
    {"EIO", EIO},
    {"ELOOP", ELOOP},
    {"EMFILE", EMFILE},
    {"ENOENT", ENOENT},
    {"ENOMEM", ENOMEM},
    {"ENOSPC", ENOSPC},
    {"ENOSYS", ENOSYS},
    {"EOPNOTSUPP", EOPNOTSUPP},
    {"EPERM", EPERM},
    {"EROFS", EROFS},
}};

constinit struct {
    bool running = false; // main() has begun
    test::CaselessDirectory caseless = {};
} program;

// The function of this name that this object replaces.
template <typename Function>
Function *realFunction(Function *&known, const char *name) {
    if (known == nullptr) {
        known = reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
    }
    return known;
}

// Whether pthread_getattr_np() runs. The address sanitizer calls it when a thread starts, and ends the process if it fails.
// [[gnu::tls_model]]: otherwise the first use in a thread can allocate memory.
[[gnu::tls_model("initial-exec")]] constinit thread_local bool isAskingForAttributes = false;

bool fails(Point which) {
    if (!program.running || isAskingForAttributes) {
        return false;
    }
    PointState &point = points[static_cast<std::size_t>(which)];
    ++point.calls;
    if (point.failAt == 0 || point.calls < point.failAt || (point.calls > point.failAt && !point.andAfter)) {
        return false;
    }
    errno = point.error;
    return true;
}

class Folded {
  public:
    explicit Folded(const char *path) : path_(path) {
        if (program.running) {
            path_ = program.caseless.fold(path, room_);
        }
    }
    [[nodiscard]] const char *get() const { return path_; }

  private:
    char room_[test::FoldedPathSize];
    const char *path_;
};

[[noreturn]] void refuse(const char *variable, const char *value) {
    static_cast<void>(dprintf(STDERR_FILENO, "preload_faults: %s cannot be '%s'\n", variable, value));
    _exit(126);
}

bool matches(const char *name, const char *text, std::size_t length) {
    return std::strlen(name) == length && std::strncmp(name, text, length) == 0;
}

// Sets the fault of `point` from "<nth>", which ends at `end`. Returns false if it is not a number.
bool arm(PointState &point, const char *nth, char last, int error, bool andAfter) {
    char *end = nullptr;
    point.failAt = static_cast<int>(std::strtol(nth, &end, 10));
    point.error = error;
    point.andAfter = andAfter;
    return point.failAt > 0 && *end == last;
}

// "<call>:<nth>:<name of the error>", with "+" at the end for every later call.
bool armCall(const char *value, bool andAfter) {
    const char *const nth = std::strchr(value, ':');
    const char *const name = nth == nullptr ? nullptr : std::strchr(nth + 1, ':');
    if (name == nullptr) {
        return false;
    }
    const std::size_t length = std::strlen(name + 1) - (andAfter ? 1 : 0);
    auto *const point = std::find_if(points.begin(), points.end(), [&](const PointState &candidate) {
        return matches(candidate.name, value, static_cast<std::size_t>(nth - value));
    });
    const auto *const error =
        std::find_if(errorNames.begin(), errorNames.end(),
                     [&](const ErrorName &candidate) { return matches(candidate.name, name + 1, length); });
    return point != points.end() && error != errorNames.end() &&
           arm(*point, nth + 1, ':', error->error, andAfter);
}

// "<nth>", with "+" at the end for every later allocation.
bool armAllocation(const char *value, bool andAfter) {
    PointState &point = points[static_cast<std::size_t>(Point::Allocation)];
    return arm(point, value, andAfter ? '+' : '\0', ENOMEM, andAfter);
}

void readSetting(const char *variable, bool (*armFrom)(const char *value, bool andAfter)) {
    const char *const value = std::getenv(variable);
    if (value != nullptr && (*value == '\0' || !armFrom(value, value[std::strlen(value) - 1] == '+'))) {
        refuse(variable, value);
    }
}

void readSettings() {
    program.caseless.set(std::getenv("VEK_TEST_CASELESS_DIR"));
    readSetting("VEK_TEST_FAIL", armCall);
    readSetting("VEK_TEST_FAIL_MALLOC", armAllocation);
}

using Main = int(int, char **, char **);

constinit Main *programMain = nullptr;

void markBegin() {
    if (std::getenv("VEK_TEST_MARK") != nullptr) {
        static_cast<void>(getpgid(VEK_TEST_MARK_ID));
    }
}

// Calls after the flush, for instance of a sanitizer or a coverage build, are not the program's.
void markEnd() {
    if (std::getenv("VEK_TEST_MARK") != nullptr) {
        static_cast<void>(std::fflush(nullptr));
        static_cast<void>(getpgid(VEK_TEST_END_MARK_ID));
    }
}

void reportCount() {
    const char *const path = std::getenv("VEK_TEST_COUNT");
    const int file = path == nullptr ? -1 : ::open(path, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (file >= 0) {
        const int calls = points[static_cast<std::size_t>(Point::Allocation)].calls;
        static_cast<void>(dprintf(file, "%d\n", calls));
        ::close(file);
    }
}

int mainWithFaults(int count, char **arguments, char **environment) {
    readSettings();
    markBegin();
    program.running = true;
    const int status = programMain(count, arguments, environment);
    program.running = false;
    markEnd();
    reportCount();
    return status;
}

// Memory for the allocations of dlsym() while it searches the allocator. Never freed.
alignas(16) constinit std::array<char, 16384> arena = {};
constinit std::size_t arenaUsed = 0;

void *fromArena(std::size_t size) {
    const std::size_t rounded = (size + 15U) & ~std::size_t{15};
    if (rounded > arena.size() - arenaUsed) {
        _exit(126);
    }
    void *const block = arena.data() + arenaUsed;
    arenaUsed += rounded;
    return block;
}

bool isFromArena(const void *block) {
    return block >= static_cast<const void *>(arena.data()) &&
           block < static_cast<const void *>(arena.data() + arena.size());
}

struct Allocator {
    void *(*allocate)(std::size_t) = nullptr;
    void *(*allocateZeroed)(std::size_t, std::size_t) = nullptr;
    void *(*resize)(void *, std::size_t) = nullptr;
    void (*release)(void *) = nullptr;
    bool looking = false;
};

constinit Allocator allocator = {};

// The real allocator; null while dlsym() searches it.
const Allocator *realAllocator() {
    if (allocator.looking) {
        return nullptr;
    }
    if (allocator.release == nullptr) {
        allocator.looking = true;
        realFunction(allocator.allocate, "malloc");
        realFunction(allocator.allocateZeroed, "calloc");
        realFunction(allocator.resize, "realloc");
        realFunction(allocator.release, "free");
        allocator.looking = false;
    }
    return &allocator;
}

char *copyOf(const char *text, std::size_t length) {
    const Allocator *const real = fails(Point::Allocation) ? nullptr : realAllocator();
    char *const copy = real == nullptr ? nullptr : static_cast<char *>(real->allocate(length + 1));
    if (copy != nullptr) {
        std::memcpy(copy, text, length);
        copy[length] = '\0';
    }
    return copy;
}

mode_t modeArgument(int flags, va_list arguments) {
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE ? va_arg(arguments, mode_t) : 0;
}

} // namespace

// Each of these replaces the function of the C library or of the sanitizer. (The parameter names of the system headers
// begin with underscores.)
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
#pragma GCC visibility push(default)
extern "C" {

int __libc_start_main(Main *entry, int count, char **arguments, void (*init)(), void (*fini)(),
                      void (*loaderEnd)(), void *stackEnd) {
    using Start = int(Main *, int, char **, void (*)(), void (*)(), void (*)(), void *);
    static Start *real = nullptr;
    programMain = entry;
    return realFunction(real, "__libc_start_main")(mainWithFaults, count, arguments, init, fini, loaderEnd,
                                                   stackEnd);
}

void *malloc(std::size_t size) noexcept {
    if (fails(Point::Allocation)) {
        return nullptr;
    }
    const Allocator *const real = realAllocator();
    return real == nullptr ? fromArena(size) : real->allocate(size);
}

void *calloc(std::size_t count, std::size_t size) noexcept {
    if (fails(Point::Allocation)) {
        return nullptr;
    }
    const Allocator *const real = realAllocator();
    return real == nullptr ? fromArena(count * size) : real->allocateZeroed(count, size);
}

void *realloc(void *block, std::size_t size) noexcept {
    if (fails(Point::Allocation)) {
        return nullptr;
    }
    const Allocator *const real = realAllocator();
    if (real == nullptr) {
        return fromArena(size);
    }
    if (isFromArena(block)) {
        void *const grown = real->allocate(size);
        if (grown != nullptr) {
            std::memcpy(grown, block,
                        std::min(size, static_cast<std::size_t>(arena.data() + arenaUsed -
                                                                static_cast<char *>(block))));
        }
        return grown;
    }
    return real->resize(block, size);
}

void free(void *block) noexcept {
    if (block == nullptr || isFromArena(block)) {
        return;
    }
    const Allocator *const real = realAllocator();
    if (real != nullptr) {
        real->release(block);
    }
}

char *strdup(const char *text) noexcept {
    return copyOf(text, std::strlen(text));
}

char *strndup(const char *text, std::size_t size) noexcept {
    return copyOf(text, strnlen(text, size));
}

int open(const char *path, int flags, ...) {
    static int (*real)(const char *, int, ...) = nullptr;
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeArgument(flags, arguments);
    va_end(arguments);
    return fails(Point::Open) ? -1 : realFunction(real, "open")(Folded(path).get(), flags, mode);
}

int openat(int directory, const char *path, int flags, ...) {
    static int (*real)(int, const char *, int, ...) = nullptr;
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeArgument(flags, arguments);
    va_end(arguments);
    const Folded folded(path);
    return fails(Point::Openat) ? -1
                                : realFunction(real, "openat")(
                                      directory, directory == AT_FDCWD ? folded.get() : path, flags, mode);
}

FILE *fopen(const char *path, const char *mode) {
    static FILE *(*real)(const char *, const char *) = nullptr;
    return fails(Point::Fopen) ? nullptr : realFunction(real, "fopen")(Folded(path).get(), mode);
}

FILE *fdopen(int descriptor, const char *mode) noexcept {
    static FILE *(*real)(int, const char *) = nullptr;
    return fails(Point::Fdopen) ? nullptr : realFunction(real, "fdopen")(descriptor, mode);
}

ssize_t read(int descriptor, void *buffer, std::size_t size) {
    static ssize_t (*real)(int, void *, std::size_t) = nullptr;
    return fails(Point::Read) ? -1 : realFunction(real, "read")(descriptor, buffer, size);
}

ssize_t write(int descriptor, const void *data, std::size_t size) {
    static ssize_t (*real)(int, const void *, std::size_t) = nullptr;
    return fails(Point::Write) ? -1 : realFunction(real, "write")(descriptor, data, size);
}

ssize_t pwrite(int descriptor, const void *data, std::size_t size, off_t offset) {
    static ssize_t (*real)(int, const void *, std::size_t, off_t) = nullptr;
    return fails(Point::Pwrite) ? -1 : realFunction(real, "pwrite")(descriptor, data, size, offset);
}

int close(int descriptor) {
    static int (*real)(int) = nullptr;
    const bool failing = fails(Point::Close);
    const int error = errno;
    const int result = realFunction(real, "close")(descriptor);
    if (failing) {
        errno = error;
    }
    return failing ? -1 : result;
}

int fclose(FILE *stream) {
    static int (*real)(FILE *) = nullptr;
    const bool failing = fails(Point::Fclose);
    const int error = errno;
    const int result = realFunction(real, "fclose")(stream);
    if (failing) {
        errno = error;
    }
    return failing ? EOF : result;
}

int fflush(FILE *stream) {
    static int (*real)(FILE *) = nullptr;
    return fails(Point::Fflush) ? EOF : realFunction(real, "fflush")(stream);
}

int fsync(int descriptor) {
    static int (*real)(int) = nullptr;
    return fails(Point::Fsync) ? -1 : realFunction(real, "fsync")(descriptor);
}

int ftruncate(int descriptor, off_t size) noexcept {
    static int (*real)(int, off_t) = nullptr;
    return fails(Point::Ftruncate) ? -1 : realFunction(real, "ftruncate")(descriptor, size);
}

int fallocate(int descriptor, int mode, off_t offset, off_t size) {
    static int (*real)(int, int, off_t, off_t) = nullptr;
    return fails(Point::Fallocate) ? -1 : realFunction(real, "fallocate")(descriptor, mode, offset, size);
}

int posix_fallocate(int descriptor, off_t offset, off_t size) {
    static int (*real)(int, off_t, off_t) = nullptr;
    const int before = errno;
    if (!fails(Point::PosixFallocate)) {
        return realFunction(real, "posix_fallocate")(descriptor, offset, size);
    }
    const int error = errno;
    errno = before;
    return error;
}

int stat(const char *path, struct stat *status) noexcept {
    static int (*real)(const char *, struct stat *) = nullptr;
    return fails(Point::Stat) ? -1 : realFunction(real, "stat")(Folded(path).get(), status);
}

int lstat(const char *path, struct stat *status) noexcept {
    static int (*real)(const char *, struct stat *) = nullptr;
    return fails(Point::Lstat) ? -1 : realFunction(real, "lstat")(Folded(path).get(), status);
}

int fstat(int descriptor, struct stat *status) noexcept {
    static int (*real)(int, struct stat *) = nullptr;
    return fails(Point::Fstat) ? -1 : realFunction(real, "fstat")(descriptor, status);
}

ssize_t readlink(const char *path, char *buffer, std::size_t size) noexcept {
    static ssize_t (*real)(const char *, char *, std::size_t) = nullptr;
    return fails(Point::Readlink) ? -1 : realFunction(real, "readlink")(Folded(path).get(), buffer, size);
}

DIR *opendir(const char *path) {
    static DIR *(*real)(const char *) = nullptr;
    return fails(Point::Opendir) ? nullptr : realFunction(real, "opendir")(Folded(path).get());
}

int mkdir(const char *path, mode_t mode) noexcept {
    static int (*real)(const char *, mode_t) = nullptr;
    return fails(Point::Mkdir) ? -1 : realFunction(real, "mkdir")(Folded(path).get(), mode);
}

int unlink(const char *path) noexcept {
    static int (*real)(const char *) = nullptr;
    return fails(Point::Unlink) ? -1 : realFunction(real, "unlink")(Folded(path).get());
}

int rename(const char *from, const char *to) noexcept {
    static int (*real)(const char *, const char *) = nullptr;
    return fails(Point::Rename) ? -1 : realFunction(real, "rename")(Folded(from).get(), Folded(to).get());
}

char *getcwd(char *buffer, std::size_t size) noexcept {
    static char *(*real)(char *, std::size_t) = nullptr;
    return fails(Point::Getcwd) ? nullptr : realFunction(real, "getcwd")(buffer, size);
}

struct passwd *getpwnam(const char *name) {
    static struct passwd *(*real)(const char *) = nullptr;
    return fails(Point::Getpwnam) ? nullptr : realFunction(real, "getpwnam")(name);
}

int pthread_getattr_np(pthread_t thread, pthread_attr_t *attributes) noexcept {
    static int (*real)(pthread_t, pthread_attr_t *) = nullptr;
    isAskingForAttributes = true;
    const int error = realFunction(real, "pthread_getattr_np")(thread, attributes);
    isAskingForAttributes = false;
    return error;
}

int access(const char *path, int mode) noexcept {
    static int (*real)(const char *, int) = nullptr;
    return fails(Point::Access) ? -1 : realFunction(real, "access")(Folded(path).get(), mode);
}
}
#pragma GCC visibility pop
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
