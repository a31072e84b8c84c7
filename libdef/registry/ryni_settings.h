#ifndef RYNI_SETTINGS_H
#define RYNI_SETTINGS_H

/// Process-wide state: the default registry, and the settings that apply to all registries.

#include "libdef/ryn.h"

VEK_BEGIN_DECLS

/// @return 1 if the directory of each library must have a tag file with the entry VEKLIBRARY, otherwise 0
int ryni_doVekLibCheck(void);

VEK_END_DECLS

namespace ryn {

/// Process-wide variables, shared by all registries. The only object of this type is `settings`.
struct Settings {
    rynHandle defaultHandle;
    bool everInitialized; ///< whether a registry was ever created
    rynUnknownAssignHook unknownAssignHook;
    bool mustExist;    ///< the path-existence setting: whether paths must exist
    bool libraryCheck; ///< libraries need a VEKLIBRARY entry; set when a registry is created from a file
    bool ignoresCase;  ///< the lookup case setting; set when a registry is created from a file
};

extern Settings settings;

/// Returns the registry that a public function uses: `handle`, or the default registry if `handle` is null. Returns
/// null if there is no default registry either.
inline rynRegistry *registryOf(rynHandle handle) {
    return handle != nullptr ? handle : settings.defaultHandle;
}

/// Returns true if lookups of library names ignore the case of letters.
inline bool ignoresCase() {
    return settings.ignoresCase;
}

} // namespace ryn

#endif
