#include "libdef/paths/ryni_path.h"

#include "common/platform/vek_path.h"
#include "common/text/ascii.h"
#include "common/text/fixed_text.h"
#include "libdef/access/ryni_access.h"
#include "libdef/paths/ryni_path_clean.h"
#include "libdef/registry/ryni_link_cache.h"
#include "libdef/registry/ryni_settings.h"

#include <cerrno>
#include <cstring>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// More links than this in one path are taken for a circle. Real chains are shorter by far.
constexpr int kMaxLinks = 4096;

int failWith(int code, const char *path, char *errorOut) {
    ryniStoreCut(errorOut, path);
    return code;
}

/// Resolves the links of one path.
class LinkResolver {
  public:
    LinkResolver(const char *path, rynRegistry *registry, bool strict, char *errorOut)
        : given_(path), registry_(registry), strict_(strict), errorOut_(errorOut) {
        path_.appendCut(path);
    }

    int resolve() {
        int links = 0;
        for (std::size_t end = path_.size(); end != 0;) {
            vek::PathText target;
            const ssize_t length = readPrefix(end, target);
            if (length < 0) {
                if (strict_ && errno != EINVAL) {
                    return fail(prefix_.c_str());
                }
                end = path_.view().rfind('/', end - 1);
                continue;
            }
            end = substitute(end, target.view());
            if (++links > kMaxLinks || (cut_ && isCircle())) {
                return failAtCircle();
            }
        }
        return cleanUp(path_) ? RYN_OK : fail(given_);
    }

    [[nodiscard]] const vek::PathText &path() const { return path_; }

  private:
    ssize_t readPrefix(std::size_t end, vek::PathText &target) {
        static_cast<void>(prefix_.assign(std::string_view(path_.c_str(), end)));
        return target.fill([this](char *targetOut, std::size_t size) {
            return sReadlink(prefix_.c_str(), targetOut, size, registry_);
        });
    }

    /// Puts the target in the place of the prefix that ends at `end`. @return where the target ends
    std::size_t substitute(std::size_t end, std::string_view target) {
        vek::PathText combined;
        if (!vek::startsWith(target, "/")) {
            combined.appendCut({path_.c_str(), path_.view().rfind('/', end - 1) + 1});
        }
        combined.appendCut(target);
        const std::size_t newEnd = combined.size();
        const std::string_view rest(path_.c_str() + end, path_.size() - end);
        combined.appendCut(rest);
        // A full buffer may have lost something, which is good enough for isCircle() to look into.
        cut_ = combined.size() == vek::PathText::kCapacity;
        static_cast<void>(path_.assign(combined.view()));
        return newEnd;
    }

    /// Tells a path that outgrows the buffer in a circle from one that is just too long.
    [[nodiscard]] bool isCircle() const {
        struct stat unused; // NOLINT(cppcoreguidelines-pro-type-member-init): stat() fills it
        return stat(given_, &unused) != 0 && errno == ELOOP;
    }

    /// Reports the link, without what the rounds put in front of it.
    int failAtCircle() {
        static_cast<void>(path_.assign(prefix_.view()));
        static_cast<void>(cleanUp(path_));
        return fail(path_.c_str());
    }

    static bool cleanUp(vek::PathText &path) {
        ryniCleanSlashes(path);
        return ryniResolveParents(path, [](std::string_view before) {
            return before.find('/') == std::string_view::npos ? ParentStep::Fail : ParentStep::Remove;
        });
    }

    int fail(const char *text) const { return failWith(RYN_INTERNAL_ERROR, text, errorOut_); }

    const char *given_;
    rynRegistry *registry_;
    bool strict_;      ///< whether a prefix that cannot be examined is an error
    bool cut_ = false; ///< whether the last substitution filled the buffer
    char *errorOut_;
    vek::PathText path_;
    vek::PathText prefix_;
};

int codeOfDeniedRead(int error) {
    switch (error) {
    case ENOENT:
        return RYN_INVALID_PATH;
    case EACCES:
        return RYN_PERMISSION_DENIED;
    default:
        return RYN_SYSTEM_ERROR;
    }
}

} // namespace

int ryni_generate_nsl_path_ex(const char *path, char *nslOut, char *errorOut, rynRegistry *registry,
                              int checkExistence) {
    const bool strict = checkExistence != 0 && ryniCheckPathNoneExistWarnFlag(registry) != 0;
    if (strict && ryni_quick_access(registry, path, R_OK, nullptr) != 0) {
        return failWith(codeOfDeniedRead(ryniAccessError()), path, errorOut);
    }
    if (vekIsRooted(path) == 0) {
        return failWith(RYN_INTERNAL_ERROR, path, errorOut);
    }
    if (std::strlen(path) >= VEK_PATH_SIZE) {
        return failWith(RYN_INVALID_PATH, path, errorOut);
    }
    LinkResolver resolver(path, registry, strict, errorOut);
    const int status = resolver.resolve();
    if (status == RYN_OK) {
        ryniStoreCut(nslOut, resolver.path().view());
    }
    return status;
}

int ryni_generate_nsl_path(const char *path, char *nslOut, char *errorOut, rynRegistry *registry) {
    return ryni_generate_nsl_path_ex(path, nslOut, errorOut, registry, 1);
}
