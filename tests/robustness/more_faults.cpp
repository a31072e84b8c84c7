#include "tests/robustness/more_faults.h"

#include <cerrno>
#include <cstdio>

#include <dirent.h>
#include <sys/types.h>

#include "tests/support/faults.h"

namespace test::faults {

namespace {

struct Point {
    std::string_view name;
    int calls = 0;
    int failAt = 0;
    int error = 0;
};

// In the order of `Which`.
constinit std::array<Point, 5> points = {{
    {"readdir"},
    {"closedir"},
    {"lseek"},
    {"realpath"},
    {"open_memstream"},
}};

enum class Which { Readdir, Closedir, Lseek, Realpath, OpenMemstream };

Point *find(std::string_view call) {
    for (Point &point : points) {
        if (point.name == call) {
            return &point;
        }
    }
    return nullptr;
}

bool failsHere(Which which) {
    Point &point = points[static_cast<std::size_t>(which)];
    if (++point.calls != point.failAt) {
        return false;
    }
    errno = point.error;
    return true;
}

} // namespace

void failAny(std::string_view call, int nth, int error) {
    Point *const point = find(call);
    if (point == nullptr) {
        fail(call, nth, error);
        return;
    }
    point->failAt = point->calls + nth;
    point->error = error;
}

int countAny(std::string_view call) {
    const Point *const point = find(call);
    return point == nullptr ? count(call) : point->calls;
}

void resetAll() {
    reset();
    for (Point &point : points) {
        point.calls = 0;
        point.failAt = 0;
    }
}

} // namespace test::faults

using test::faults::failsHere;
using test::faults::Which;

extern "C" {

dirent *__real_readdir(DIR *stream);
int __real_closedir(DIR *stream);
off_t __real_lseek(int descriptor, off_t offset, int whence);
char *__real_realpath(const char *path, char *resolved);
FILE *__real_open_memstream(char **text, size_t *size);

dirent *__wrap_readdir(DIR *stream) {
    return failsHere(Which::Readdir) ? nullptr : __real_readdir(stream);
}

int __wrap_closedir(DIR *stream) {
    const bool failing = failsHere(Which::Closedir);
    const int error = errno;
    const int result = __real_closedir(stream);
    if (failing) {
        errno = error;
    }
    return failing ? -1 : result;
}

off_t __wrap_lseek(int descriptor, off_t offset, int whence) {
    return failsHere(Which::Lseek) ? -1 : __real_lseek(descriptor, offset, whence);
}

char *__wrap_realpath(const char *path, char *resolved) {
    return failsHere(Which::Realpath) ? nullptr : __real_realpath(path, resolved);
}

FILE *__wrap_open_memstream(char **text, size_t *size) {
    return failsHere(Which::OpenMemstream) ? nullptr : __real_open_memstream(text, size);
}
}
