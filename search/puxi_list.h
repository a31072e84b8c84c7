#ifndef PUXI_LIST_H
#define PUXI_LIST_H

/// The state of this layer: the default list, and what lists are built with.

namespace pux {

struct Settings {
    char **list;          ///< the default list; null while there is none
    bool listIsShared;    ///< whether a caller received the default list
    char *startDirectory; ///< replaces "." in lists that are built later; null to keep "."
    bool hasArchitecture; ///< whether VEK_ARCH is in the environment
};

/// @return the settings of the process
Settings &processSettings();

/// puxInitialize() of the given settings.
/// @param h  as for puxInitialize()
[[nodiscard]] int initialize(Settings &settings, char ***h);

/// puxInsertToSearchList() of the given settings.
[[nodiscard]] int insert(Settings &settings, char ***h, const char *dir);

/// puxReleaseHandle() of the given settings.
[[nodiscard]] int release(Settings &settings, char **list);

} // namespace pux

#endif
