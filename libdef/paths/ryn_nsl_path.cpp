// Resolves all symbolic links of a path. Goes from the last component to the root and calls readlink() for each prefix
// of the path. The target of a link replaces the prefix, or its last component if the target is relative; the search
// then continues at the end of the target. Makes O(components + links) cached readlink() calls. Detects cycles by a
// limit on the number of links, and by ELOOP from stat() if the path has grown to the size of its buffer.

#include "libdef/paths/ryni_nsl_path.h"

#include "common/platform/vek_path.h"
#include "common/text/ascii.h"
#include "libdef/paths/ryni_path_buffer.h"
#include "libdef/paths/ryni_path_clean.h"
#include "libdef/paths/ryni_quick_access.h"
#include "libdef/registry/ryni_link_cache.h"
#include "libdef/registry/ryni_settings.h"

#include <cerrno>
#include <cstring>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// After this many links, the path is treated as a cycle. Linux resolves at most 40 links in one path, so every path
/// that can be opened has fewer.
constexpr int kMaxLinks = 4096;

int failWith(int code, std::string_view text, vek::PathText &error) {
    error.clear();
    error.appendCut(text);
    return code;
}

/// Resolves the symbolic links of one path.
class LinkResolver {
  public:
    /// @param strict  if true, resolve() fails if readlink() fails with another error than EINVAL (no link)
    LinkResolver(const char *path, rynRegistry *registry, bool strict, vek::PathText &error)
        : given_(path), registry_(registry), strict_(strict), error_(error) {
        path_.appendCut(path);
    }

    /// @return RYN_OK with the result in path(), otherwise RYN_INTERNAL_ERROR
    int resolve() {
        int links = 0;
        for (std::size_t end = path_.size(); end != 0;) {
            vek::PathText target;
            if (readPrefix(end, target) < 0) {
                if (strict_ && errno != EINVAL) {
                    return failWith(RYN_INTERNAL_ERROR, prefix_.view(), error_);
                }
                end = path_.view().rfind('/', end - 1);
                continue;
            }
            end = substitute(end, target.view());
            if (++links > kMaxLinks || (isFull_ && isCycle())) {
                // Report the link itself: cleaning removes the components that the cycle has added before it.
                static_cast<void>(clean(prefix_));
                return failWith(RYN_INTERNAL_ERROR, prefix_.view(), error_);
            }
        }
        return clean(path_) ? RYN_OK : failWith(RYN_INTERNAL_ERROR, given_, error_);
    }

    [[nodiscard]] const vek::PathText &path() const { return path_; }

  private:
    /// Calls readlink() for the first `end` characters of the path. @return the length of the target, or -1 with errno
    /// set
    ssize_t readPrefix(std::size_t end, vek::PathText &target) {
        static_cast<void>(prefix_.assign(std::string_view(path_.c_str(), end)));
        return target.fill([this](char *targetOut, std::size_t size) {
            return sReadlink(prefix_.c_str(), targetOut, size, registry_);
        });
    }

    /// Replaces the link, which is the prefix that ends at offset `end`, by its target. If the target is relative,
    /// replaces only the last component of the prefix.
    /// @return the offset at which the target ends in the new path
    std::size_t substitute(std::size_t end, std::string_view target) {
        vek::PathText combined;
        if (!vek::startsWith(target, "/")) {
            combined.appendCut({path_.c_str(), path_.view().rfind('/', end - 1) + 1});
        }
        combined.appendCut(target);
        const std::size_t targetEnd = combined.size();
        combined.appendCut({path_.c_str() + end, path_.size() - end});
        isFull_ = combined.size() == vek::PathText::kCapacity;
        static_cast<void>(path_.assign(combined.view()));
        return targetEnd;
    }

    /// Returns true if stat() fails with ELOOP: the path is not only too long but has a cycle.
    [[nodiscard]] bool isCycle() const {
        struct stat unused; // NOLINT(cppcoreguidelines-pro-type-member-init): stat() fills it
        return stat(given_, &unused) != 0 && errno == ELOOP;
    }

    static bool clean(vek::PathText &path) {
        ryn::cleanSlashes(path);
        return ryn::resolveParents(path, [](std::string_view before) {
            return before.find('/') == std::string_view::npos ? ryn::ParentStep::Fail
                                                              : ryn::ParentStep::Remove;
        });
    }

    const char *given_;
    rynRegistry *registry_;
    bool strict_;
    bool isFull_ = false; ///< whether the last substitution filled the buffer and may have been cut off
    vek::PathText &error_;
    vek::PathText path_;
    vek::PathText prefix_;
};

int codeOfFailedRead(int error) {
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

int ryn::generateNslPath(const char *path, vek::PathText &nsl, vek::PathText &error, rynRegistry *registry,
                         Existence existence) {
    nsl.clear();
    error.clear();
    const bool strict = existence == Existence::Checked && ryniCheckPathNoneExistWarnFlag(registry) != 0;
    if (strict) {
        if (const int failure = testAccess(registry, path, R_OK); failure != 0) {
            return failWith(codeOfFailedRead(failure), path, error);
        }
    }
    if (vekIsRooted(path) == 0) {
        return failWith(RYN_INTERNAL_ERROR, path, error);
    }
    if (std::strlen(path) >= VEK_PATH_SIZE) {
        return failWith(RYN_INVALID_PATH, path, error);
    }
    LinkResolver resolver(path, registry, strict, error);
    const int status = resolver.resolve();
    if (status == RYN_OK) {
        static_cast<void>(nsl.assign(resolver.path().view()));
    }
    return status;
}

int ryni_generate_nsl_path_ex(const char *path, char *nslOut, char *errorOut, rynRegistry *registry,
                              int checkExistence) {
    vek::PathText nsl;
    vek::PathText error;
    const int status =
        ryn::generateNslPath(path, nsl, error, registry,
                             checkExistence != 0 ? ryn::Existence::Checked : ryn::Existence::NotChecked);
    if (status == RYN_OK) {
        ryn::storeCut(nsl.view(), nslOut);
    } else {
        ryn::storeCut(error.view(), errorOut);
    }
    return status;
}

int ryni_generate_nsl_path(const char *path, char *nslOut, char *errorOut, rynRegistry *registry) {
    return ryni_generate_nsl_path_ex(path, nslOut, errorOut, registry, 1);
}
