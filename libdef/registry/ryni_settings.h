#ifndef RYNI_SETTINGS_H
#define RYNI_SETTINGS_H

/// Process-wide state of this layer: the default handle, and the settings that apply to every registry.

#include "libdef/ryn.h"

VEK_BEGIN_DECLS

/// @return the library-check setting: 1 if libraries must have a VEKLIBRARY entry, otherwise 0
int ryni_doVekLibCheck(void);

VEK_END_DECLS

namespace ryn {

/// The state of the process.
struct Settings {
    rynHandle defaultHandle;
    bool everInitialized; ///< whether a registry was ever created
    rynUnknownAssignHook unknownAssignHook;
    bool mustExist;    ///< the path-existence setting: whether paths must exist
    bool libraryCheck; ///< libraries need a VEKLIBRARY entry; set when a registry is created from a file
    bool ignoresCase;  ///< the lookup case setting; set when a registry is created from a file
};

extern Settings settings;

/// @return the registry that a public function works on: `handle`, or the default handle if `handle` is null; null if
///         there is no default handle either
inline rynRegistry *registryOf(rynHandle handle) {
    return handle != nullptr ? handle : settings.defaultHandle;
}

/// Returns the lookup case setting: whether the case of library names is ignored.
inline bool ignoresCase() {
    return settings.ignoresCase;
}

} // namespace ryn

#endif
