#include "libdef/paths/ryni_path_clean.h"

namespace ryn {

namespace {

/// Replaces every `pattern` in `path` by "/", including one that an earlier replacement has created.
/// @param pattern  must end with "/", for example "/./"
void replaceBySlash(vek::PathText &path, std::string_view pattern) {
    std::size_t from = 0;
    for (;;) {
        const std::size_t at = path.view().find(pattern, from);
        if (at == std::string_view::npos) {
            return;
        }
        path.erase(at, pattern.size() - 1);
        from = at;
    }
}

} // namespace

bool isClean(std::string_view path) {
    if (path.empty() || path.back() == '/') {
        return false;
    }
    // One byte per step and no branches, so that the compiler generates vector instructions.
    static_assert(('.' | 1) == '/');
    unsigned char found = 0;
    for (std::size_t i = 1; i < path.size(); ++i) {
        const auto isAfterSlash = static_cast<unsigned char>(path[i - 1] == '/');
        const auto isSlashOrDot = static_cast<unsigned char>((path[i] | 1) == '/');
        found = static_cast<unsigned char>(found | (isAfterSlash & isSlashOrDot));
    }
    return found == 0;
}

void cleanSlashes(vek::PathText &path) {
    for (;;) {
        const std::string_view text = path.view();
        if (vek::endsWith(text, "/")) {
            path.truncate(text.size() - 1);
        } else if (vek::endsWith(text, "/.")) {
            path.truncate(text.size() - 2);
        } else {
            break;
        }
    }
    if (path.empty()) {
        static_cast<void>(path.assign("/"));
    }
    replaceBySlash(path, "/./");
    replaceBySlash(path, "//");
}

bool removeParentStep(vek::PathText &path, std::size_t before, std::size_t size) {
    const std::size_t slash = std::string_view(path.c_str(), before).rfind('/');
    if (slash == std::string_view::npos) {
        return false; // Not reached: callers pass absolute paths
    }
    path.erase(slash, before + size - slash);
    return !path.empty() || path.assign("/");
}

} // namespace ryn
