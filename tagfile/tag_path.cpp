#include "tagfile/tag_path.h"

vek::OwnedText tov::tagFilePath(const char *dir) {
    return dir == nullptr ? nullptr : vek::joinText(dir, "/", kTagFileName);
}
