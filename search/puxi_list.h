#ifndef PUXI_LIST_H
#define PUXI_LIST_H

/// The default search list of the process, and the settings with which search lists are built.

namespace pux {

struct Settings {
    char **list;          ///< the default list; null while there is none
    bool listIsShared;    ///< whether a caller received the default list
    char *startDirectory; ///< replaces "." in lists that are built later; null to keep "."
    bool hasArchitecture; ///< whether VEK_ARCH is in the environment
};

/// @return the settings of the process
Settings &processSettings();

/// Implements puxInitialize(), with `settings` instead of those of the process.
/// @param h  as for puxInitialize()
[[nodiscard]] int initialize(Settings &settings, char ***h);

/// Implements puxInsertToSearchList(), with `settings` instead of those of the process.
[[nodiscard]] int insert(Settings &settings, char ***h, const char *dir);

/// Implements puxReleaseHandle(), with `settings` instead of those of the process.
[[nodiscard]] int release(Settings &settings, char **list);

} // namespace pux

#endif
