#ifndef RYNI_OBJECT_NAMES_H
#define RYNI_OBJECT_NAMES_H

/// Names of design objects, and the error codes for them. A design object is a library (a directory), a cell (a
/// directory in a library), a view (a directory in a cell), or a file in one of these directories.

#include "libdef/ryn.h"

namespace ryn {

inline bool isGiven(const char *name) {
    return name != nullptr && *name != '\0';
}

/// The names that identify a cell, view or file in a library. A null or empty name is not given. If no name is given,
/// the object is the library itself. The struct does not own the strings.
struct ObjectNames {
    const char *cell = nullptr;
    const char *view = nullptr;
    const char *file = nullptr;

    /// @return true if the object is a cell, view or file, which is inside another object; false if it is the library
    [[nodiscard]] bool hasLevelAbove() const { return isGiven(cell) || isGiven(view) || isGiven(file); }

    /// @return the names of the object one level above, for example of the view that contains a file: all names except
    ///         the last one that is given
    [[nodiscard]] ObjectNames levelAbove() const;

    /// @return the code for an object that does not exist. The code depends on the last name given: RYN_NO_SUCH_FILE,
    ///         RYN_NO_SUCH_VIEW or RYN_NO_SUCH_CELL; RYN_NO_SUCH_DIRECTORY if no name is given
    [[nodiscard]] int notFoundCode() const;

    /// @return the code for a denied permission. The code depends on the last name given: RYN_PERMISSION_DENIED_FILE,
    ///         ..._VIEW or ..._CELL; RYN_PERMISSION_DENIED_LIBRARY if no name is given
    [[nodiscard]] int deniedCode() const;

    /// Converts the errno value `error` to a RYN_ code: ENOENT to notFoundCode(), EACCES to deniedCode(), any other
    /// value to RYN_SYSTEM_ERROR.
    [[nodiscard]] int codeOf(int error) const;
};

/// Identifies a design object: the name of a library, and the names of a cell, view or file in that library.
struct NamedObject {
    const char *libraryName = nullptr;
    ObjectNames names;
};

} // namespace ryn

#endif
