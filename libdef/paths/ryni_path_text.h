#ifndef RYNI_PATH_TEXT_H
#define RYNI_PATH_TEXT_H

/// The functions of ryni_path.h that write into buffers, for C++ callers. An argument `error` receives the text to
/// report after a failure.

#include "common/text/fixed_text.h"
#include "libdef/paths/ryni_path.h"

namespace ryn {

inline int generateFullPath(const char *text, const char *baseDirectory, vek::PathText &full,
                            vek::PathText &error, rynRegistry *registry) {
    return full.fill([&](char *fullOut, std::size_t) {
        return error.fill([&](char *errorOut, std::size_t) {
            return ryni_generate_full_path(text, baseDirectory, fullOut, errorOut, registry);
        });
    });
}

/// Whether the path-existence setting applies.
enum class Existence { Checked, NotChecked };

inline int generateNslPath(const char *path, vek::PathText &nsl, vek::PathText &error, rynRegistry *registry,
                           Existence existence = Existence::Checked) {
    return nsl.fill([&](char *nslOut, std::size_t) {
        return error.fill([&](char *errorOut, std::size_t) {
            return ryni_generate_nsl_path_ex(path, nslOut, errorOut, registry,
                                             existence == Existence::Checked ? 1 : 0);
        });
    });
}

inline int makeGoodLibraryPath(rynRegistry *registry, const char *text, const char *baseDirectory,
                               vek::PathText &full, vek::PathText &nsl, vek::PathText &error) {
    return full.fill([&](char *fullOut, std::size_t) {
        return nsl.fill([&](char *nslOut, std::size_t) {
            return error.fill([&](char *errorOut, std::size_t) {
                return ryniMkGoodLibPath(registry, text, baseDirectory, fullOut, nslOut, errorOut);
            });
        });
    });
}

inline int makePath(const char *libraryPath, const char *cell, const char *view, const char *file,
                    vek::PathText &path) {
    return path.fill([=](char *out, std::size_t) { return ryni_mkpath(libraryPath, cell, view, file, out); });
}

} // namespace ryn

#endif
