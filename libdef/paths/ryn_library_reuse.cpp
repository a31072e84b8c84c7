#include "libdef/paths/ryni_library_reuse.h"

#include "common/text/ascii.h"
#include "libdef/registry/ryni_indexes.h"

#include <string_view>

namespace {

bool holds(std::string_view outer, std::string_view inner) {
    return vek::startsWith(inner, outer) && (inner.size() == outer.size() || inner[outer.size()] == '/');
}

bool isReuse(const char *path, const char *directory) {
    return directory != nullptr && (holds(path, directory) || holds(directory, path));
}

void listMatches(const rynRegistry &registry, const char *path, rynLibrary **matches, int capacity) {
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

int ryniLibPathReused(rynRegistry *registry, const char *path, rynLibrary **matchesOut, int capacity) {
    if (matchesOut != nullptr) {
        listMatches(*registry, path, matchesOut, capacity);
    }
    return registry->indexes->directories.count(path);
}
