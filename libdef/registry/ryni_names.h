#ifndef RYNI_NAMES_H
#define RYNI_NAMES_H

/// The names that address a design object, and the codes that its level decides.

#include "libdef/ryn.h"

inline bool isNameGiven(const char *name) {
    return name != nullptr && *name != '\0';
}

/// A design object; names that are not wanted are null or empty.
struct ryniObjectNames {
    const char *library;
    const char *cell;
    const char *view;
    const char *file;

    /// @return whether the names reach below the library, so that there is a level above them
    [[nodiscard]] bool hasLevelAbove() const {
        return isNameGiven(cell) || isNameGiven(view) || isNameGiven(file);
    }

    /// The same without the last name that is given.
    [[nodiscard]] ryniObjectNames levelAbove() const {
        if (isNameGiven(file)) {
            return {library, cell, view, nullptr};
        }
        if (isNameGiven(view)) {
            return {library, cell, nullptr, nullptr};
        }
        return {library, nullptr, nullptr, nullptr};
    }

    [[nodiscard]] int notFoundCode() const {
        if (isNameGiven(file)) {
            return RYN_NO_SUCH_FILE;
        }
        if (isNameGiven(view)) {
            return RYN_NO_SUCH_VIEW;
        }
        return isNameGiven(cell) ? RYN_NO_SUCH_CELL : RYN_NO_SUCH_DIRECTORY;
    }

    [[nodiscard]] int deniedCode() const {
        if (isNameGiven(file)) {
            return RYN_PERMISSION_DENIED_FILE;
        }
        if (isNameGiven(view)) {
            return RYN_PERMISSION_DENIED_VIEW;
        }
        return isNameGiven(cell) ? RYN_PERMISSION_DENIED_CELL : RYN_PERMISSION_DENIED_LIBRARY;
    }

    /// @return the code for a failed look at the object. @param error an `errno` value
    [[nodiscard]] int codeOf(int error) const;
};

#endif
