// Reads a tag file that may be edited at the same time. Edits write in place and hold an exclusive lock. A file whose
// modification time is older than a minute is read without a lock; fstat() afterwards shows whether it changed. If it
// changed, or was modified within the last minute, it is read with a shared lock.

#include "tagfile/tovi_read.h"

#include "common/base/owned.h"
#include "common/platform/retry.h"
#include "tagfile/tovi_lock.h"
#include "tagfile/tovi_object.h"
#include "tagfile/tovi_parse.h"

#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tov {

namespace {

/// A file modified within this time may still be changing. 60 s: network file systems cache timestamps for up to that
/// long by default.
constexpr time_t kRecentSeconds = 60;

/// Returns true if the modification time is less than kRecentSeconds ago or in the future: an edit may be in progress.
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

Report parseFile(const Keywords &keywords, int file, const char *element, VekinfoObj &obj, bool &found) {
    vek::LineReader lines(file);
    return parseLines(keywords, lines, element, obj, found);
}

} // namespace

Report readTagFile(const Keywords &keywords, const char *path, const char *element, VekinfoObj &obj,
                   bool &found) {
    // O_NONBLOCK: otherwise open() of a named pipe would block until a process opens it for writing.
    const vek::OwnedDescriptor file(
        vek::retryInterrupted([path] { return open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); }));
    struct stat status = {};
    if (!file.valid() || fstat(file.get(), &status) != 0) {
        return kCannotRead;
    }
    if (!S_ISREG(status.st_mode)) {
        return kNoError; // treat a directory, pipe or device as an empty file: reading a pipe could block
    }
    if (!isRecent(status)) {
        const Report report = parseFile(keywords, file.get(), element, obj, found);
        if (!hasChanged(file.get(), status)) {
            return report;
        }
        toviClearInfoObj(&obj);
        found = false;
        if (lseek(file.get(), 0, SEEK_SET) != 0) {
            return kCannotRead; // Not reached: lseek() to the start of a regular file does not fail
        }
    }
    // The result is ignored: if the lock is not granted in time, the file is read without it.
    FileLock lock;
    static_cast<void>(lock.acquire(file.get(), LockKind::Shared, Deadline(kReadWaitMs)));
    return parseFile(keywords, file.get(), element, obj, found);
}

} // namespace tov
