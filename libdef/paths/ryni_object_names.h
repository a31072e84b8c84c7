#ifndef RYNI_OBJECT_NAMES_H
#define RYNI_OBJECT_NAMES_H

/// The names of a design object in its library, and the error codes for its level (library, cell, view or file).

#include "libdef/ryn.h"

namespace ryn {

inline bool isGiven(const char *name) {
    return name != nullptr && *name != '\0';
}

/// The names of a cell, view or file in a library. A name that is null or empty is not given. If no name is given, the
/// object is the library itself.
struct ObjectNames {
    const char *cell = nullptr;
    const char *view = nullptr;
    const char *file = nullptr;

    /// @return true if a name is given: the object is not the library itself, so there is a level above it
    [[nodiscard]] bool hasLevelAbove() const { return isGiven(cell) || isGiven(view) || isGiven(file); }

    /// @return the names of the object one level above: without the last name given
    [[nodiscard]] ObjectNames levelAbove() const;

    /// @return RYN_NO_SUCH_FILE, RYN_NO_SUCH_VIEW or RYN_NO_SUCH_CELL for the last name given; RYN_NO_SUCH_DIRECTORY if
    ///         no name is given
    [[nodiscard]] int notFoundCode() const;

    /// @return RYN_PERMISSION_DENIED_FILE, ..._VIEW or ..._CELL for the last name given; ..._LIBRARY if no name is
    ///         given
    [[nodiscard]] int deniedCode() const;

    /// @return notFoundCode() for ENOENT, deniedCode() for EACCES, RYN_SYSTEM_ERROR for any other errno value
    [[nodiscard]] int codeOf(int error) const;
};

/// A design object: the name of its library, and its names in the library.
struct NamedObject {
    const char *libraryName = nullptr;
    ObjectNames names;
};

} // namespace ryn

#endif
