#include "libdef/ryn.h"

#include "common/text/fixed_text.h"
#include "fs/owned_spec.h"
#include "libdef/access/ryni_access.h"
#include "libdef/access/ryni_spec.h"
#include "libdef/paths/ryni_path_text.h"
#include "libdef/registry/ryni_error.h"
#include "libdef/registry/ryni_names.h"
#include "libdef/registry/ryni_settings.h"

#include <array>
#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr unsigned kPlaces = RYN_QUERY_LIBRARY | RYN_QUERY_TMP;
constexpr unsigned kChecks =
    RYN_QUERY_EXISTS | RYN_QUERY_READABLE | RYN_QUERY_WRITABLE | RYN_QUERY_EXECUTABLE;

struct Check {
    unsigned flag;
    int accessMode;
    mode_t ownerBit; ///< what the stored mode of a packed object must have; 0 for nothing
};

constexpr std::array<Check, 4> kCheckTable = {{
    {RYN_QUERY_EXISTS, F_OK, 0},
    {RYN_QUERY_READABLE, R_OK, S_IRUSR},
    {RYN_QUERY_WRITABLE, W_OK, S_IWUSR},
    {RYN_QUERY_EXECUTABLE, X_OK, S_IXUSR},
}};

/// One question about a design object.
class Query {
  public:
    Query(rynRegistry *registry, const rynLibrary *library, unsigned flags, const ryniObjectNames &names)
        : registry_(registry), library_(library), names_(names),
          places_((flags & kPlaces) == 0 ? kPlaces : flags & kPlaces),
          checks_((flags & kChecks) == 0 ? static_cast<unsigned>(RYN_QUERY_EXISTS) : flags & kChecks) {}

    int run() {
        if ((places_ & RYN_QUERY_TMP) != 0 && lookInTemporary()) {
            return status_;
        }
        if ((places_ & RYN_QUERY_LIBRARY) == 0) {
            return RYN_NO_SUCH_DIRECTORY;
        }
        if (library_->packedFile != nullptr) {
            return lookInArchive();
        }
        static_cast<void>(lookIn(library_->fullPath));
        return status_;
    }

  private:
    /// @return whether the answer is in status_: the object is there, or its path cannot be formed. Else error_
    ///         says why it is not there, and status_ what that comes to
    bool lookIn(const char *directory) {
        vek::PathText path;
        status_ = ryn::makePath(directory, names_.cell, names_.view, names_.file, path);
        if (status_ != RYN_OK) {
            return true;
        }
        struct stat record = {};
        if (stat(path.c_str(), &record) == 0) {
            status_ = check(path.c_str(), record);
            return true;
        }
        error_ = errno;
        status_ = names_.codeOf(error_);
        return false;
    }

    int check(const char *path, struct stat &record) const {
        for (const Check &test : kCheckTable) {
            if ((checks_ & test.flag) != 0 &&
                ryni_quick_access(registry_, path, test.accessMode, &record) != 0) {
                return names_.deniedCode();
            }
        }
        return RYN_OK;
    }

    /// @return whether the answer is in status_
    bool lookInTemporary() {
        const bool implicitOnly = (registry_->implicitTmpFlags & RYN_IMPLICIT_ONLY) != 0;
        const bool hasImplicit = registry_->implicitTmpFlags != 0 && library_->implicitTmp != nullptr;
        if (hasImplicit && lookIn(library_->implicitTmp)) {
            return true;
        }
        if (implicitOnly) {
            return hasImplicit && (error_ == ENOENT || error_ == EACCES);
        }
        return library_->explicitTmp != nullptr && lookIn(library_->explicitTmp);
    }

    int lookInArchive() {
        vekFSSpec *made = nullptr;
        const int status =
            ryni_mkspec(registry_, names_.library, names_.cell, names_.view, names_.file, nullptr, &made);
        if (status != RYN_OK) {
            return status;
        }
        const vek::OwnedSpec spec(made);
        vekFSStat record = {};
        if (const int error = vekFS_stat(spec.get(), &record); error != VEK_FS_OK) {
            return names_.codeOf(error);
        }
        mode_t mode = 0;
        return vekFS_getFileMode(&record, &mode) == VEK_FS_OK ? checkMode(mode) : RYN_SYSTEM_ERROR;
    }

    [[nodiscard]] int checkMode(mode_t mode) const {
        for (const Check &test : kCheckTable) {
            if ((checks_ & test.flag) != 0 && (mode & test.ownerBit) != test.ownerBit) {
                return names_.deniedCode();
            }
        }
        return RYN_OK;
    }

    rynRegistry *registry_;
    const rynLibrary *library_;
    ryniObjectNames names_;
    unsigned places_;
    unsigned checks_;
    int status_ = RYN_OK;
    int error_ = 0;
};

} // namespace

int rynQuery(rynHandle handle, unsigned flags, const char *library, const char *cell, const char *view,
             const char *file) {
    rynRegistry *registry = ryn::registryOf(handle);
    if (registry == nullptr || library == nullptr) {
        return ryni_do_fatal(registry, RYN_INVALID_PARAMETER, "rynQuery()");
    }
    const rynLibrary *record = ryni_get_libp(registry, library);
    if (record == nullptr) {
        return RYN_LIBRARY_NOT_DEFINED;
    }
    return Query(registry, record, flags, {library, cell, view, file}).run();
}
