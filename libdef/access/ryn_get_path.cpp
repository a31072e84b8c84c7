#include "libdef/ryn.h"

#include "common/text/fixed_text.h"
#include "libdef/access/ryni_access.h"
#include "libdef/registry/ryni_error.h"
#include "libdef/registry/ryni_registry.h"
#include "libdef/registry/ryni_settings.h"

#include <array>

namespace {

/// When a failure in the explicit temporary directory ends the search.
enum class ExplicitFailure { GoesOn, EndsUnlessMissing, Ends };

/// What a mode of rynGetPath() tries.
struct PathMode {
    int access;         ///< an access kind of ryni_access_path()
    bool temporary;     ///< the implicit, then the explicit temporary directory
    bool library;       ///< at last the library's own directory
    bool firstOnly;     ///< the first of them that there is, and no other
    bool packedAllowed; ///< also for packed libraries
    ExplicitFailure explicitFailure;
};

constexpr int kRead = 0;
constexpr int kWrite = 1;
constexpr int kReplace = 6;

/// Indexed by mode.
constexpr std::array<PathMode, RYN_PATH_REPLACE_LIBRARY + 1> kModes = {{
    /* 0 */ {kRead, true, true, false, false, ExplicitFailure::EndsUnlessMissing},
    /* 1 */ {kWrite, true, true, true, false, ExplicitFailure::Ends},
    /* 2 */ {kRead, true, false, false, true, ExplicitFailure::EndsUnlessMissing},
    /* 3 */ {kWrite, true, false, true, true, ExplicitFailure::Ends},
    /* 4 */ {kRead, false, true, false, false, ExplicitFailure::GoesOn},
    /* 5 */ {kWrite, false, true, false, false, ExplicitFailure::GoesOn},
    /* 6 */ {kReplace, true, true, false, false, ExplicitFailure::GoesOn},
    /* 7 */ {kReplace, true, true, false, false, ExplicitFailure::Ends},
    /* 8 */ {kReplace, true, false, false, true, ExplicitFailure::Ends},
    /* 9 */ {kReplace, false, true, false, false, ExplicitFailure::GoesOn},
}};

bool isMissing(int status) {
    return status == RYN_NO_SUCH_CELL || status == RYN_NO_SUCH_VIEW || status == RYN_NO_SUCH_FILE;
}

/// One search for the path of a design object.
class PathSearch {
  public:
    PathSearch(const rynRegistry *registry, const rynLibrary *library, const PathMode &mode, const char *cell,
               const char *view, const char *file)
        : registry_(registry), library_(library), mode_(mode), cell_(cell), view_(view), file_(file) {}

    /// @return RYN_OK with the path in path(), or the failure
    int run() {
        if (mode_.temporary && searchTemporary()) {
            return status_;
        }
        if (mode_.library) {
            tryDirectory(library_->fullPath);
        }
        return status_;
    }

    [[nodiscard]] const vek::PathText &path() const { return path_; }

  private:
    void tryDirectory(const char *directory) {
        status_ = path_.fill([&](char *out, std::size_t) {
            return ryni_access_path(registry_, out, mode_.access, directory, cell_, view_, file_);
        });
    }

    /// @return whether the search ends here
    bool searchTemporary() {
        if (registry_->implicitTmpFlags != 0 && library_->implicitTmp != nullptr) {
            tryDirectory(library_->implicitTmp);
            const bool implicitOnly = (registry_->implicitTmpFlags & RYN_IMPLICIT_ONLY) != 0;
            if (status_ == RYN_OK || mode_.firstOnly || implicitOnly) {
                return true;
            }
        }
        if (library_->explicitTmp != nullptr) {
            tryDirectory(library_->explicitTmp);
            return status_ == RYN_OK || mode_.firstOnly || explicitFailureEnds();
        }
        return false;
    }

    [[nodiscard]] bool explicitFailureEnds() const {
        return mode_.explicitFailure == ExplicitFailure::Ends ||
               (mode_.explicitFailure == ExplicitFailure::EndsUnlessMissing && !isMissing(status_));
    }

    const rynRegistry *registry_;
    const rynLibrary *library_;
    const PathMode &mode_;
    const char *cell_;
    const char *view_;
    const char *file_;
    vek::PathText path_;
    int status_ = RYN_NO_SUCH_DIRECTORY; ///< what stays when there is nothing to try
};

} // namespace

int rynGetPath(rynHandle handle, unsigned mode, const char *library, const char *cell, const char *view,
               const char *file, char *path, size_t size) {
    rynRegistry *registry = ryn::registryOf(handle);
    if (registry == nullptr || library == nullptr || path == nullptr) {
        return ryni_do_fatal(registry, RYN_INVALID_PARAMETER, "rynGetPath()");
    }
    const rynLibrary *record = ryni_get_libp(registry, library);
    if (record == nullptr) {
        return RYN_LIBRARY_NOT_DEFINED;
    }
    const bool known = mode < kModes.size();
    if (record->packedFile != nullptr && (!known || !kModes[mode].packedAllowed)) {
        return RYN_NOT_FOR_PACKED;
    }
    if (!known) {
        return ryni_do_fatal(registry, RYN_INVALID_PARAMETER, "rynGetPath() - 2");
    }
    PathSearch search(registry, record, kModes[mode], cell, view, file);
    const int status = search.run();
    if (status != RYN_OK) {
        return status;
    }
    return vek::copyToBuffer(search.path().view(), path, size) ? RYN_OK : RYN_BUFFER_TOO_SMALL;
}
