// Implements rynQuery(): tests whether a library, cell, view or file exists and can be accessed.
// Searches the implicit temporary directory, the explicit one, and then the library's own directory or archive. The
// search ends at the first directory that contains the object, even if the access tests fail there.

#include "libdef/access/ryni_query.h"

#include "common/text/fixed_text.h"
#include "fs/owned_spec.h"
#include "libdef/access/ryni_spec.h"
#include "libdef/paths/ryni_object_path.h"
#include "libdef/paths/ryni_quick_access.h"
#include "libdef/registry/ryni_error.h"
#include "libdef/registry/ryni_settings.h"

#include <array>
#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using ryn::ObjectNames;

constexpr unsigned kDirectoryFlags = RYN_QUERY_LIBRARY | RYN_QUERY_TMP;
constexpr unsigned kCheckFlags =
    RYN_QUERY_EXISTS | RYN_QUERY_READABLE | RYN_QUERY_WRITABLE | RYN_QUERY_EXECUTABLE;

struct Check {
    unsigned flag;
    int accessMode;
    mode_t ownerBit; ///< mode bit that an object in an archive must have; 0 for none
};

constexpr std::array<Check, 4> kChecks = {{
    {.flag = RYN_QUERY_EXISTS, .accessMode = F_OK, .ownerBit = 0},
    {.flag = RYN_QUERY_READABLE, .accessMode = R_OK, .ownerBit = S_IRUSR},
    {.flag = RYN_QUERY_WRITABLE, .accessMode = W_OK, .ownerBit = S_IWUSR},
    {.flag = RYN_QUERY_EXECUTABLE, .accessMode = X_OK, .ownerBit = S_IXUSR},
}};

/// One call of rynQuery(): searches for a library, cell, view or file in the directories of its library, and tests the
/// access to it.
class Query {
  public:
    Query(rynRegistry *registry, rynLibrary &library, unsigned flags, const ObjectNames &names)
        : registry_(registry), library_(library), names_(names),
          directories_((flags & kDirectoryFlags) == 0 ? kDirectoryFlags : flags & kDirectoryFlags),
          checks_((flags & kCheckFlags) == 0 ? static_cast<unsigned>(RYN_QUERY_EXISTS)
                                             : flags & kCheckFlags) {}

    int run() {
        if ((directories_ & RYN_QUERY_TMP) != 0 && lookInTemporary()) {
            return status_;
        }
        if ((directories_ & RYN_QUERY_LIBRARY) == 0) {
            return RYN_NO_SUCH_DIRECTORY;
        }
        if (library_.packedFile != nullptr) {
            return lookInArchive();
        }
        static_cast<void>(lookIn(library_.fullPath));
        return status_;
    }

  private:
    /// Searches for the object in `directory`. Stores the RYN_ code of the result in `status_`, and the errno value of
    /// a failed stat() in `error_`.
    /// @return true if the search is finished: the object exists in `directory`, or its path is invalid; false if
    ///         stat() failed, so that the next directory can be searched
    bool lookIn(const char *directory) {
        vek::PathText path;
        status_ = ryn::makeObjectPath(directory, names_, path);
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

    [[nodiscard]] int check(const char *path, const struct stat &record) const {
        for (const Check &test : kChecks) {
            if ((checks_ & test.flag) != 0 &&
                ryn::testAccess(registry_, path, test.accessMode, &record) != 0) {
                return names_.deniedCode();
            }
        }
        return RYN_OK;
    }

    /// Searches for the object in the implicit and then in the explicit temporary directory of the library.
    /// @return true if the search is finished, with the result in `status_`; false if the next directory must be
    ///         searched
    bool lookInTemporary() {
        const bool implicitOnly = (registry_->implicitTmpFlags & RYN_IMPLICIT_ONLY) != 0;
        const bool hasImplicit = registry_->implicitTmpFlags != 0 && library_.implicitTmp != nullptr;
        if (hasImplicit && lookIn(library_.implicitTmp)) {
            return true;
        }
        if (implicitOnly) {
            return hasImplicit && (error_ == ENOENT || error_ == EACCES);
        }
        return library_.explicitTmp != nullptr && lookIn(library_.explicitTmp);
    }

    [[nodiscard]] int lookInArchive() const {
        vek::OwnedSpec spec;
        const int status = ryn::makeSpec(registry_, library_, names_, spec);
        if (status != RYN_OK) {
            return status;
        }
        vekFSStat record = {};
        if (const int error = vekFS_stat(spec.get(), &record); error != VEK_FS_OK) {
            return names_.codeOf(error);
        }
        mode_t mode = 0;
        return vekFS_getFileMode(&record, &mode) == VEK_FS_OK ? checkMode(mode) : RYN_SYSTEM_ERROR;
    }

    [[nodiscard]] int checkMode(mode_t mode) const {
        for (const Check &test : kChecks) {
            if ((checks_ & test.flag) != 0 && (mode & test.ownerBit) != test.ownerBit) {
                return names_.deniedCode();
            }
        }
        return RYN_OK;
    }

    rynRegistry *registry_;
    rynLibrary &library_;
    ObjectNames names_;
    unsigned directories_;
    unsigned checks_;
    int status_ = RYN_OK;
    int error_ = 0;
};

} // namespace

int ryn::queryObject(rynRegistry *registry, rynLibrary &library, unsigned flags, const ObjectNames &names) {
    return Query(registry, library, flags, names).run();
}

int rynQuery(rynHandle handle, unsigned flags, const char *library, const char *cell, const char *view,
             const char *file) {
    rynRegistry *registry = ryn::registryOf(handle);
    if (registry == nullptr || library == nullptr) {
        return ryni_do_fatal(registry, RYN_INVALID_PARAMETER, "rynQuery()");
    }
    rynLibrary *record = ryni_get_libp(registry, library);
    if (record == nullptr) {
        return RYN_LIBRARY_NOT_DEFINED;
    }
    return ryn::queryObject(registry, *record, flags, {.cell = cell, .view = view, .file = file});
}
