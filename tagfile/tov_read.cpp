// Reading of a tag file that another process may be editing. An edit holds an exclusive lock and writes in place. A
// file that was last modified more than 60 s ago is read without a lock. fstat() afterwards detects whether the file
// changed during the reading. If it changed, or was modified within the last 60 s, it is read with a shared lock.

#include "tagfile/tovi_read.h"

#include "common/base/owned.h"
#include "common/platform/retry.h"
#include "tagfile/tovi_lock.h"
#include "tagfile/tovi_object.h"
#include "tagfile/tovi_parse.h"

#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tov {

namespace {

/// A file that was modified less than this number of seconds ago may still be changing. 60, because network file
/// systems by default cache the time of modification for up to 60 s: a newer modification may not be visible yet.
constexpr time_t kRecentSeconds = 60;

/// Returns true if the file was modified less than kRecentSeconds ago or its modification time is in the future. An
/// edit may then be in progress.
bool isRecent(const struct stat &status) {
    timespec now = {};
    static_cast<void>(clock_gettime(CLOCK_REALTIME, &now));
    return status.st_mtim.tv_sec > now.tv_sec - kRecentSeconds;
}

bool hasChanged(int file, const struct stat &before) {
    struct stat after = {};
    return fstat(file, &after) == 0 &&
           (after.st_size != before.st_size || after.st_mtim.tv_sec != before.st_mtim.tv_sec ||
            after.st_mtim.tv_nsec != before.st_mtim.tv_nsec);
}

ParseResult parseFile(const Keywords &keywords, int file, const char *element, VekinfoObj &obj) {
    vek::LineReader lines(file);
    return parseLines(keywords, lines, element, obj);
}

} // namespace

ParseResult readTagFile(const Keywords &keywords, const char *path, const char *element, VekinfoObj &obj) {
    // O_NONBLOCK: without this flag, open() of a named pipe would block until another process opens the pipe for
    // writing.
    const vek::OwnedDescriptor file(
        vek::retryInterrupted([path] { return open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); }));
    struct stat status = {};
    if (!file.valid() || fstat(file.get(), &status) != 0) {
        return {.report = kCannotRead, .openError = errno};
    }
    if (!S_ISREG(status.st_mode)) {
        return {}; // no error: treat a directory, pipe or device as an empty file: reading a pipe could block
    }
    if (!isRecent(status)) {
        const ParseResult result = parseFile(keywords, file.get(), element, obj);
        if (!hasChanged(file.get(), status)) {
            return result;
        }
        clearInfoObj(&obj);
        if (lseek(file.get(), 0, SEEK_SET) != 0) {
            return {.report =
                        kCannotRead}; // Not reached: lseek() to the start of a regular file does not fail
        }
    }
    // The result of acquire() is ignored: if the lock is not granted within kReadWaitMs, the file is read without the
    // lock.
    FileLock lock;
    static_cast<void>(lock.acquire(file.get(), LockKind::Shared, Deadline(kReadWaitMs)));
    return parseFile(keywords, file.get(), element, obj);
}

} // namespace tov
