// Implements nsl paths ("no symbolic links"): resolves all symbolic links of an absolute path.
// Calls readlink() for each prefix of the path, from the whole path to the first component. If a prefix is a link,
// replaces it by the target and continues at the end of the target. Makes O(components + links) readlink() calls, whose
// results are cached.
// Returns an error for a cycle of links: after kMaxLinks links, or if the path fills its buffer and stat() fails with
// ELOOP.

#include "libdef/paths/ryni_nsl_path.h"

#include "common/platform/vek_path.h"
#include "common/text/ascii.h"
#include "libdef/paths/ryni_path_buffer.h"
#include "libdef/paths/ryni_path_clean.h"
#include "libdef/paths/ryni_quick_access.h"
#include "libdef/registry/ryni_indexes.h"
#include "libdef/registry/ryni_link_cache.h"
#include "libdef/registry/ryni_settings.h"

#include <cerrno>
#include <cstring>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Maximum number of symbolic links that are resolved in one path. A path with more links is treated as a cycle. Linux
/// itself resolves at most 40 links in one path, so every path that can be opened has fewer.
constexpr int kMaxLinks = 4096;

int failWith(int code, std::string_view text, vek::PathText &error) {
    error.clear();
    error.appendCut(text);
    return code;
}

/// Resolves the symbolic links of one path: the constructor receives the path, and resolve() is called once.
class LinkResolver {
  public:
    /// @param path      an absolute path
    /// @param registry  its cache of readlink() results is used; may be null
    /// @param strict    if true, resolve() fails if readlink() fails with another error than EINVAL ("not a symbolic
    ///                  link"); if false, such errors are ignored
    /// @param error     if resolve() fails, receives the path that the failure is about
    LinkResolver(const char *path, rynRegistry *registry, bool strict, vek::PathText &error)
        : given_(path), registry_(registry), strict_(strict), error_(error) {
        path_.appendCut(path);
    }

    /// Replaces each symbolic link in the path by its target. After success, path() returns the new path.
    /// @return RYN_OK or RYN_INTERNAL_ERROR
    int resolve() {
        int links = 0;
        bool hasOnlyDirectories = true; // each readlink() has failed with EINVAL
        for (std::size_t end = path_.size(); end != 0 && !isWithoutLinks(end);) {
            vek::PathText buffer;
            static_cast<void>(prefix_.assign(std::string_view(path_.c_str(), end)));
            const ryn::LinkResult link = ryn::readCachedLink(registry_, prefix_, buffer);
            if (link.error != 0) {
                hasOnlyDirectories = hasOnlyDirectories && link.error == EINVAL;
                if (strict_ && link.error != EINVAL) {
                    return failWith(RYN_INTERNAL_ERROR, prefix_.view(), error_);
                }
                end = path_.view().rfind('/', end - 1);
                continue;
            }
            end = substitute(end, link.target);
            if (++links > kMaxLinks || (isFull_ && isCycle())) {
                // Report the path of the last link that was resolved. clean() removes the "/./" and "/../" that earlier
                // links of the cycle have added to this path.
                static_cast<void>(clean(prefix_));
                return failWith(RYN_INTERNAL_ERROR, prefix_.view(), error_);
            }
        }
        if (links == 0 && hasOnlyDirectories && registry_ != nullptr) {
            static_cast<void>(registry_->indexes->directoryWithoutLinks.assign(parentOf(path_.view())));
        }
        return clean(path_) ? RYN_OK : failWith(RYN_INTERNAL_ERROR, given_, error_);
    }

    [[nodiscard]] const vek::PathText &path() const { return path_; }

  private:
    static std::string_view parentOf(std::string_view path) { return {path.data(), path.rfind('/')}; }

    /// Returns true if an earlier call has found that the first `end` characters of the path are a directory without
    /// symbolic links.
    [[nodiscard]] bool isWithoutLinks(std::size_t end) const {
        return registry_ != nullptr &&
               registry_->indexes->directoryWithoutLinks.view() == std::string_view(path_.c_str(), end);
    }

    /// Replaces a symbolic link in the path by `target`. The link is the part of the path before offset `end`. If
    /// `target` is a relative path, only the last component of that part is replaced.
    /// @return the offset of the end of `target` in the new path
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

    /// Tests whether a path that became too long contains a cycle of symbolic links.
    /// @return true if stat() fails with ELOOP: there is a cycle
    [[nodiscard]] bool isCycle() const {
        struct stat unused; // NOLINT(cppcoreguidelines-pro-type-member-init): stat() fills it
        return stat(given_, &unused) != 0 && errno == ELOOP;
    }

    static bool clean(vek::PathText &path) {
        return ryn::cleanPath(path, [](std::string_view before) {
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
