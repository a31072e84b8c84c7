#include "libdef/paths/ryni_path.h"

#include "common/base/owned.h"
#include "common/platform/vek_path.h"
#include "common/text/ascii.h"
#include "common/text/fixed_text.h"
#include "libdef/access/ryni_access.h"
#include "libdef/paths/ryni_path_clean.h"
#include "libdef/registry/ryni_reuse.h"

#include <cstdlib>
#include <cstring>
#include <string_view>
#include <sys/stat.h>

namespace {

/// Replaces every `pattern` by "/", until none is left.
void replaceBySlash(vek::PathText &path, std::string_view pattern) {
    std::size_t from = 0;
    for (;;) {
        const std::size_t at = path.view().find(pattern, from);
        if (at == std::string_view::npos) {
            return;
        }
        path.erase(at, pattern.size() - 1); // its last "/" stays
        from = at;
    }
}

bool isGiven(const char *name) {
    return name != nullptr && *name != '\0';
}

std::size_t lengthOf(const char *name) {
    return name == nullptr ? 0 : std::strlen(name);
}

bool isDirectory(const char *path) {
    struct stat status = {};
    return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

/// One directory holds another when its text begins the other's and a "/" follows there.
bool holds(std::string_view outer, std::string_view inner) {
    return vek::startsWith(inner, outer) && (inner.size() == outer.size() || inner[outer.size()] == '/');
}

bool isReuse(const char *path, const char *directory) {
    return directory != nullptr && (holds(path, directory) || holds(directory, path));
}

/// Lists the libraries that ryniLibPathReused() counts, one with two matching directories twice.
void listReuse(const rynRegistry &registry, const char *path, rynLibrary **matches, int capacity) {
    int count = 0;
    for (rynLibrary *library = registry.libraries.head; library != nullptr; library = library->nextInOrder) {
        for (const char *directory : {library->nslPath, library->explicitTmpNsl}) {
            if (isReuse(path, directory) && count < capacity - 1) {
                matches[count++] = library;
                matches[count] = nullptr;
            }
        }
    }
}

} // namespace

void ryniStoreCut(char *out, std::string_view text) {
    if (out == nullptr) {
        return;
    }
    const std::size_t size = text.size() < VEK_PATH_SIZE ? text.size() : VEK_PATH_SIZE - 1;
    std::memmove(out, text.data(), size);
    out[size] = '\0';
}

void ryniCleanSlashes(vek::PathText &path) {
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

bool ryniRemoveParentStep(vek::PathText &path, std::size_t before, std::size_t size) {
    const std::size_t slash = std::string_view(path.c_str(), before).rfind('/');
    if (slash == std::string_view::npos) {
        return false;
    }
    path.erase(slash, before + size - slash);
    return !path.empty() || path.assign("/");
}

int ryni_mkpath(const char *libraryPath, const char *cell, const char *view, const char *file, char *out) {
    if (libraryPath == nullptr || (isGiven(view) && !isGiven(cell))) {
        return RYN_INVALID_PATH;
    }
    if (lengthOf(libraryPath) + lengthOf(cell) + lengthOf(view) + lengthOf(file) + 4 > VEK_PATH_SIZE) {
        return RYN_INVALID_PATH;
    }
    vek::PathText path;
    bool fits = path.assign(libraryPath);
    for (const char *name : {cell, view, file}) {
        fits = fits && (!isGiven(name) || path.appendAll("/", name));
    }
    return fits && vek::copyToBuffer(path.view(), out, VEK_PATH_SIZE) ? RYN_OK : RYN_INVALID_PATH;
}

int ryniStrcpy(char **field, const char *text) {
    const std::size_t size = std::strlen(text) + 1;
    if (*field != nullptr && std::strlen(*field) + 1 >= size) {
        std::memmove(*field, text, size);
        return RYN_OK;
    }
    vek::OwnedText copy = vek::copyText(text);
    std::free(*field);
    *field = copy.release();
    return *field == nullptr ? RYN_MEMORY_ERROR : RYN_OK;
}

int ryniIsGoodLibPath(rynRegistry *registry, const char *path, int mode) {
    if (!isDirectory(path)) {
        return RYN_INVALID_PATH;
    }
    return ryni_access_path(registry, nullptr, mode, path, nullptr, nullptr, nullptr);
}

int ryniMkGoodLibPath(rynRegistry *registry, const char *text, const char *baseDirectory, char *fullOut,
                      char *nslOut, char *errorOut) {
    vek::PathText copy;
    if (!copy.assign(text)) {
        ryniStoreCut(errorOut, text);
        return RYN_INVALID_PATH;
    }
    copy.edit(vekCanonicalizeDirSep);
    int status = ryni_generate_full_path(copy.c_str(), baseDirectory, fullOut, errorOut, registry);
    if (status == RYN_OK) {
        status = ryni_generate_nsl_path(fullOut, nslOut, errorOut, registry);
    }
    if (status != RYN_OK) {
        return status;
    }
    status = ryniIsGoodLibPath(registry, nslOut, 0);
    if (status != RYN_OK) {
        ryniStoreCut(errorOut, nslOut);
    }
    return status;
}

int ryniLibPathReused(rynRegistry *registry, const char *path, rynLibrary **matchesOut, int capacity) {
    if (matchesOut != nullptr) {
        listReuse(*registry, path, matchesOut, capacity);
    }
    return ryniCountDirectories(registry->directoryIndex, path);
}
