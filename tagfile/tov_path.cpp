#include "tagfile/tovi_path.h"

#include <cstring>

vek::OwnedText toviTagFilePath(const char *dir) {
    if (dir == nullptr) {
        return nullptr;
    }
    const std::string_view directory(dir);
    vek::OwnedText path(static_cast<char *>(std::malloc(directory.size() + 1 + kTagFileName.size() + 1)));
    if (path) {
        char *end = path.get();
        std::memcpy(end, directory.data(), directory.size());
        end += directory.size();
        *end++ = '/';
        std::memcpy(end, kTagFileName.data(), kTagFileName.size());
        end[kTagFileName.size()] = '\0';
    }
    return path;
}
