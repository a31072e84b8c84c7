#include "tagfile/tov.h"

#include "common/base/owned.h"
#include "common/platform/system_path.h"
#include "common/platform/vek_file.h"
#include "common/platform/vek_path.h"
#include "common/text/fixed_text.h"
#include "tagfile/normalize.h"
#include "tagfile/tag_path.h"
#include "tagfile/tovi_cache.h"
#include "tagfile/tovi_object.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <sys/stat.h>

namespace {

/// Directories of automount points: looking above or beside them could mount a whole network.
constexpr std::array<std::string_view, 4> kStops = {"/net", "/nfs", "/afs", "/..."};

bool isStop(std::string_view directory) {
    for (const std::string_view stop : kStops) {
        if (directory == stop) {
            return true;
        }
    }
    return false;
}

/// Keeps the walk on the file system of the first directory it meets.
class DeviceLatch {
  public:
    /// @return false when `path` exists on another file system
    bool admits(const char *path) {
        struct stat status = {};
        if (stat(path, &status) != 0) {
            return true;
        }
        if (latched_) {
            return status.st_dev == device_;
        }
        if (S_ISDIR(status.st_mode)) {
            latched_ = true;
            device_ = status.st_dev;
        }
        return true;
    }

  private:
    bool latched_ = false;
    dev_t device_ = 0;
};

/// What the walk does after a step.
enum class Next { Stop, Continue };

/// One walk from a directory toward the root.
class UpwardWalk {
  public:
    UpwardWalk(const char *start, const char *element, VekinfoObj *out, int *found)
        : start_(start), element_(element), out_(out), found_(found) {}

    int run() {
        if (!directory_.assign(start_)) {
            return tovPrintError(TOV_INVALID_PATH, start_, nullptr, 0);
        }
        while (latch_.admits(directory_.c_str()) && !isStop(directory_.view())) {
            if (askTagFile() == Next::Stop || toParent() == Next::Stop) {
                break;
            }
        }
        return status_;
    }

  private:
    /// Asks the tag file of the directory; leaves the directory without a final "/".
    Next askTagFile() {
        const bool fits = tov::appendTagFileName(directory_);
        if (fits && vekFileExists(directory_.c_str()) != 0) {
            status_ = tovGetVekinfoAtLoc(directory_.c_str(), element_, out_, found_);
            if (status_ != TOV_OK || *found_ != 0) {
                return Next::Stop;
            }
        }
        if (fits || directory_.back() == '/') {
            directory_.truncate(directory_.view().rfind('/'));
        }
        return Next::Continue;
    }

    Next toParent() {
        const std::size_t slash = directory_.view().rfind('/');
        if (slash == std::string_view::npos || vekIsRoot(directory_.c_str()) != 0) {
            return Next::Stop;
        }
        directory_.truncate(slash + 1);
        if (vekIsRoot(directory_.c_str()) != 0) {
            return Next::Continue; // the root's own tag file is asked last
        }
        directory_.truncate(slash);
        return directory_.empty() ? Next::Stop : followLink();
    }

    /// Goes on where the directory leads, when it is a symbolic link.
    Next followLink() {
        PathlinkObj probe = {nullptr, const_cast<char *>(directory_.c_str()), nullptr}; // a key, only read
        const PathlinkObj *known = tov::countCachedLinks() == 0 ? nullptr : tovLinkHashPeek(&probe);
        if (known != nullptr) {
            return jump(*known);
        }
        vek::PathText target;
        const int error = vek::readLink(directory_.c_str(), target);
        if (error == 0) {
            return followNewLink(target);
        }
        return error == EINVAL ? Next::Continue : reportReadlink(error);
    }

    Next followNewLink(const vek::PathText &target) {
        vek::PathText absolute;
        const std::string_view holder(directory_.c_str(), directory_.view().rfind('/'));
        const bool fits = vekIsRooted(target.c_str()) != 0 ? absolute.assign(target.view())
                                                           : absolute.assign(holder, "/", target.view());
        vek::PathText normalized;
        if (!fits || tov::normalizePath(absolute.c_str(), normalized) != TOV_OK) {
            const char *text = fits ? absolute.c_str() : target.c_str();
            return stopWith(tovPrintError(TOV_INVALID_PATH, text, start_, 0));
        }
        const PathlinkObj *link = remember(normalized.view());
        return link == nullptr ? stopWith(toviReportNoMemory()) : jump(*link);
    }

    const PathlinkObj *remember(std::string_view target) {
        vek::Owned<PathlinkObj> link(static_cast<PathlinkObj *>(std::malloc(sizeof(PathlinkObj))));
        vek::OwnedText path = vek::copyText(directory_.view());
        vek::OwnedText copy = vek::copyText(target);
        if (!link || !path || !copy) {
            return nullptr;
        }
        *link = {nullptr, path.release(), copy.release()};
        tovLinkHashCreate(link.get());
        return link.release();
    }

    /// Links can lead in a circle. After two jumps by every known link one of them has been taken three times;
    /// its second round met only files that were read before, so the third would end as that one did.
    Next jump(const PathlinkObj &link) {
        if (++jumps_ > 2 * tov::countCachedLinks()) {
            return Next::Stop;
        }
        return directory_.assign(link.target) ? Next::Continue : Next::Stop;
    }

    Next reportReadlink(int error) {
        char *text = nullptr;
        // The newline belongs to the text, though the report ends in one of its own.
        const int length = asprintf(&text, "readlink on \"%s\" produced error \"%s\" (%d)\n",
                                    directory_.c_str(), std::strerror(error), error);
        const vek::OwnedText owner(length < 0 ? nullptr : text);
        return stopWith(
            tovPrintError(TOV_INVALID_PATH, owner ? owner.get() : directory_.c_str(), nullptr, 0));
    }

    Next stopWith(int status) {
        status_ = status;
        return Next::Stop;
    }

    const char *start_;
    const char *element_;
    VekinfoObj *out_;
    int *found_;
    vek::PathText directory_;
    DeviceLatch latch_;
    std::size_t jumps_ = 0;
    int status_ = TOV_OK;
};

} // namespace

int tovLocalSearchElement(const char *startDir, const char *element, VekinfoObj *out, int *found) {
    VekinfoObj unwantedObj = {};
    int isFound = 0;
    const int status =
        startDir == nullptr
            ? TOV_OK
            : UpwardWalk(startDir, element, out == nullptr ? &unwantedObj : out, &isFound).run();
    if (found != nullptr) {
        *found = isFound;
    }
    return status;
}
