#include "libdef/paths/ryni_object_path.h"

#include "libdef/paths/ryni_path_buffer.h"

#include <cstring>

namespace {

std::size_t lengthOf(const char *name) {
    return name == nullptr ? 0 : std::strlen(name);
}

} // namespace

bool ryn::objectPathFits(const char *libraryDirectory, const ObjectNames &names) {
    constexpr std::size_t kSeparators = 4; // Documented: always three "/" and the NUL
    return std::strlen(libraryDirectory) + lengthOf(names.cell) + lengthOf(names.view) +
               lengthOf(names.file) + kSeparators <=
           VEK_PATH_SIZE;
}

int ryn::makeObjectPath(const char *libraryDirectory, const ObjectNames &names, vek::PathText &path) {
    path.clear();
    if (libraryDirectory == nullptr || (isGiven(names.view) && !isGiven(names.cell))) {
        return RYN_INVALID_PATH;
    }
    if (!objectPathFits(libraryDirectory, names)) {
        return RYN_INVALID_PATH;
    }
    path.appendCut(libraryDirectory);
    for (const char *name : {names.cell, names.view, names.file}) {
        if (isGiven(name)) {
            path.appendCut("/");
            path.appendCut(name);
        }
    }
    return RYN_OK;
}

int ryni_mkpath(const char *libraryPath, const char *cell, const char *view, const char *file, char *out) {
    vek::PathText path;
    const int status = ryn::makeObjectPath(libraryPath, {.cell = cell, .view = view, .file = file}, path);
    if (status == RYN_OK) {
        ryn::storeCut(path.view(), out);
    }
    return status;
}
