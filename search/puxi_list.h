#ifndef PUXI_LIST_H
#define PUXI_LIST_H

/// The default search list of the process, and the settings with which new search lists are built.

namespace pux {

struct Settings {
    char **list;          ///< the default list; null while there is none
    bool listIsShared;    ///< whether a caller received the default list
    char *startDirectory; ///< replaces "." in lists that are built later; null to keep "."
    bool hasArchitecture; ///< whether VEK_ARCH is in the environment
};

/// @return the only Settings object of the process, which the public functions use
Settings &processSettings();

/// Implements puxInitialize(): builds a search list and makes it the default list in `settings`.
/// @param h  receives the list; null to set the default list only
[[nodiscard]] int initialize(Settings &settings, char ***h);

/// Implements puxInsertToSearchList(): inserts a copy of `dir` at the front of the list `*h`, or of the default list
/// in `settings` if `h` is null.
[[nodiscard]] int insert(Settings &settings, char ***h, const char *dir);

/// Implements puxReleaseHandle(): frees `list`, or the default list in `settings` if `list` is null.
[[nodiscard]] int release(Settings &settings, char **list);

} // namespace pux

#endif
