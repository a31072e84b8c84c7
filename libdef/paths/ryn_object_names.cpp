#include "libdef/paths/ryni_object_names.h"

#include <cerrno>

namespace ryn {

ObjectNames ObjectNames::levelAbove() const {
    if (isGiven(file)) {
        return {.cell = cell, .view = view};
    }
    if (isGiven(view)) {
        return {.cell = cell};
    }
    return {};
}

int ObjectNames::notFoundCode() const {
    if (isGiven(file)) {
        return RYN_NO_SUCH_FILE;
    }
    if (isGiven(view)) {
        return RYN_NO_SUCH_VIEW;
    }
    return isGiven(cell) ? RYN_NO_SUCH_CELL : RYN_NO_SUCH_DIRECTORY;
}

int ObjectNames::deniedCode() const {
    if (isGiven(file)) {
        return RYN_PERMISSION_DENIED_FILE;
    }
    if (isGiven(view)) {
        return RYN_PERMISSION_DENIED_VIEW;
    }
    return isGiven(cell) ? RYN_PERMISSION_DENIED_CELL : RYN_PERMISSION_DENIED_LIBRARY;
}

int ObjectNames::codeOf(int error) const {
    switch (error) {
    case ENOENT:
        return notFoundCode();
    case EACCES:
        return deniedCode();
    default:
        return RYN_SYSTEM_ERROR;
    }
}

} // namespace ryn
