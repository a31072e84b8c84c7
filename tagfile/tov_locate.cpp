// Upward search for an entry: searches the tag file of a directory, then that of its parent directory, and so on. The
// parent is found by removing the last component of the path; a parent that is a symbolic link is followed. The search
// ends at the root directory or at the first directory on another file system. Cost per level: two system calls, stat()
// of the tag file and lstat() of the parent directory.

#include "tagfile/tov.h"

#include "common/base/owned.h"
#include "common/platform/system_path.h"
#include "common/platform/vek_file.h"
#include "common/platform/vek_path.h"
#include "common/text/composed_text.h"
#include "common/text/decimal.h"
#include "common/text/fixed_text.h"
#include "tagfile/normalize.h"
#include "tagfile/tag_path.h"
#include "tagfile/tovi_cache.h"
#include "tagfile/tovi_object.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>
#include <sys/stat.h>

namespace tov {

namespace {

/// Directories in which automounters mount remote file systems. The search ends before them, because the lookup of a
/// file name in such a directory could make the automounter contact another machine.
constexpr std::array<std::string_view, 4> kStops = {"/net", "/nfs", "/afs", "/..."};

bool isStop(std::string_view directory) {
    for (const std::string_view stop : kStops) {
        if (directory == stop) {
            return true;
        }
    }
    return false;
}

/// Result of readAndCacheLink().
struct LinkRead {
    int code; ///< TOV_OK, or the code of an error that has been reported
    const PathlinkObj
        *link; ///< the new record of the cache; null after an error or if the path is no symbolic link
};

/// Reads the symbolic link `path`, normalizes its target and stores both in the cache `links`.
/// @param start  the path of the directory in which the search started, named in a report
LinkRead readAndCacheLink(const vek::PathText &path, const char *start, RecordTable<PathlinkObj> &links) {
    vek::PathText target;
    const int error = vek::readLink(path.c_str(), target);
    if (error == EINVAL) {
        return {TOV_OK, nullptr}; // not a symbolic link
    }
    if (error != 0) {
        vek::ComposedText text;
        // Documented: the text ends with a newline, and tovPrintError() then adds a second newline to the message.
        text.append("readlink on \"", path.view(), "\" produced error \"", std::strerror(error), "\" (",
                    vek::Decimal(error), ")\n");
        const char *composed = text.c_str();
        return {tovPrintError(TOV_INVALID_PATH, composed != nullptr ? composed : path.c_str(), nullptr, 0),
                nullptr};
    }
    vek::PathText absolute;
    const std::string_view parent(path.c_str(), path.view().rfind('/'));
    const bool fits = vekIsRooted(target.c_str()) != 0 ? absolute.assign(target.view())
                                                       : absolute.assign(parent, "/", target.view());
    vek::PathText normalized;
    if (!fits || normalizePath(absolute.c_str(), normalized) != TOV_OK) {
        const char *text = fits ? absolute.c_str() : target.c_str();
        return {tovPrintError(TOV_INVALID_PATH, text, start, 0), nullptr};
    }
    vek::Owned<PathlinkObj> link(static_cast<PathlinkObj *>(std::malloc(sizeof(PathlinkObj))));
    vek::OwnedText pathCopy = vek::copyText(path.view());
    vek::OwnedText targetCopy = vek::copyText(normalized.view());
    if (!link || !pathCopy || !targetCopy) {
        return {reportNoMemory(), nullptr};
    }
    *link = {nullptr, pathCopy.release(), targetCopy.release()};
    links.insert(link.get());
    return {TOV_OK, link.release()};
}

/// One upward search: searches the tag files from a start directory up to the root directory. run() is called once.
class UpwardWalk {
  public:
    /// @param start    the path of the directory in which the search starts
    /// @param element  the name of the entry to search for
    /// @param out      receives the settings of the tag file that defines the entry; may be null
    /// @param found    receives 1 if a tag file defines the entry, otherwise 0; not null
    UpwardWalk(const char *start, const char *element, VekinfoObj *out, int *found)
        : start_(start), element_(element), out_(out), found_(found) {}

    /// Performs the search. @return TOV_OK, or the code of an error that has been reported
    int run() {
        if (!directory_.assign(start_)) {
            return tovPrintError(TOV_INVALID_PATH, start_, nullptr, 0);
        }
        while (isOnSameDevice() && !isStop(directory_.view())) {
            // The length of `directory_`, not counting a "/" at the end. truncate() restores this length after
            // appendTagFileName(). For the root directory "/", the length is 0, and moveToParent() ends the search.
            const std::size_t size = directory_.size() - (directory_.back() == '/' ? 1 : 0);
            if (appendTagFileName(directory_) && vekFileExists(directory_.c_str()) != 0) {
                const int code = tovGetVekinfoAtLoc(directory_.c_str(), element_, out_, found_);
                if (code != TOV_OK || *found_ != 0) {
                    return code;
                }
            }
            directory_.truncate(size);
            if (const int result = moveToParent(); result != kContinue) {
                return result;
            }
        }
        return TOV_OK;
    }

  private:
    /// A result of moveToParent() that does not end the search. No TOV_ code is negative.
    static constexpr int kContinue = -1;

    /// Tests whether `directory_` is on the same file system as the start of the search: compares `st_dev` with that of
    /// the first directory of the search that exists.
    /// @return false if `directory_` exists and is on another file system
    bool isOnSameDevice() {
        if (!hasStatus_ && stat(directory_.c_str(), &status_) != 0) {
            return true;
        }
        hasStatus_ = false;
        if (!device_ && S_ISDIR(status_.st_mode)) {
            device_ = status_.st_dev;
        }
        return !device_ || status_.st_dev == *device_;
    }

    /// Replaces `directory_` by its parent directory. If the parent is a symbolic link, follows the link.
    /// @return kContinue to continue the search in the new `directory_`; otherwise the result of the search
    int moveToParent() {
        const std::size_t slash = directory_.view().rfind('/');
        if (slash == std::string_view::npos || (canBeRoot_ && vekIsRoot(directory_.c_str()) != 0)) {
            return TOV_OK;
        }
        directory_.truncate(slash + 1);
        // `directory_` ends with "/" here. If it is not a root directory, the same path without the "/" is no root
        // directory either. The next moveToParent() then need not call vekIsRoot() for that path.
        canBeRoot_ = vekIsRoot(directory_.c_str()) != 0;
        if (canBeRoot_) {
            return kContinue; // the tag file of the root directory is searched last
        }
        directory_.truncate(slash);
        return directory_.empty() ? TOV_OK : followLink();
    }

    /// If `directory_` is a symbolic link, replaces `directory_` by the target of the link. A cache stores the target,
    /// so that readlink() is called only once for each link.
    /// @return kContinue to continue the search in `directory_`; otherwise the result of the search
    int followLink() {
        const PathlinkObj *link = links_.size() == 0 ? nullptr : links_.find(directory_.c_str());
        if (link == nullptr) {
            if (lstat(directory_.c_str(), &status_) == 0 && !S_ISLNK(status_.st_mode)) {
                hasStatus_ = true;
                return kContinue;
            }
            const LinkRead read = readAndCacheLink(directory_, start_, links_);
            if (read.link == nullptr) {
                return read.code == TOV_OK ? kContinue : read.code;
            }
            link = read.link;
        }
        // Detect a cycle of symbolic links by counting: if there are more than twice as many jumps as cached links, a
        // link is followed for the third time. The search then stops, because a third pass through the cycle would read
        // the same cached tag files as the second pass.
        if (++jumps_ > 2 * links_.size() || !directory_.assign(link->target)) {
            return TOV_OK;
        }
        canBeRoot_ = true;
        return kContinue;
    }

    RecordTable<PathlinkObj> &links_ = processCache().links;
    const char *start_;
    const char *element_;
    VekinfoObj *out_;
    int *found_;
    vek::PathText directory_;
    struct stat status_ = {}; ///< the status of `directory_` if hasStatus_ is true
    bool hasStatus_ = false;
    bool canBeRoot_ = true;       ///< false if `directory_` is known not to be the root directory
    std::optional<dev_t> device_; ///< that of the first directory of the search that exists
    std::size_t jumps_ = 0;       ///< how many links have been followed
};

} // namespace

} // namespace tov

int tovLocalSearchElement(const char *startDir, const char *element, VekinfoObj *out, int *found) {
    int isFound = 0;
    const int status = startDir == nullptr ? TOV_OK : tov::UpwardWalk(startDir, element, out, &isFound).run();
    if (found != nullptr) {
        *found = isFound;
    }
    return status;
}
