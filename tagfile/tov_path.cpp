#include "tagfile/tovi_path.h"

vek::OwnedText toviTagFilePath(const char *dir) {
    return dir == nullptr ? nullptr : vek::joinText(dir, "/", kTagFileName);
}
