#ifndef RYNI_SETTINGS_H
#define RYNI_SETTINGS_H

/// Process-wide settings of this layer: the default handle, and what applies to every registry.

#include "libdef/ryn.h"

VEK_BEGIN_DECLS

/// @return the library-check setting: 1 if libraries must have a VEKLIBRARY entry, otherwise 0
int ryni_doVekLibCheck(void);

VEK_END_DECLS

namespace ryn {

struct Settings {
    rynHandle defaultHandle;
    bool everInitialized; ///< whether a creation has succeeded
    rynUnknownAssignHook unknownAssignHook;
    bool mustExist;    ///< the path-existence setting
    bool libraryCheck; ///< read by every creation that reads a file
    bool ignoresCase;  ///< the lookup case setting, read by every creation that reads a file
};

extern Settings settings;

/// @return the registry of a public call: `handle`, or the default handle if it is null; null if there is neither
inline rynRegistry *registryOf(rynHandle handle) {
    return handle != nullptr ? handle : settings.defaultHandle;
}

/// Whether library names are looked up without regard to case.
inline bool ignoresCase() {
    return settings.ignoresCase;
}

} // namespace ryn

#endif
