#ifndef RYNI_SETTINGS_H
#define RYNI_SETTINGS_H

/// Process-wide settings of this layer.

#include "libdef/ryn.h"

VEK_BEGIN_DECLS

/// @return 1 while paths must exist, for `registry` or, when it is null, in general
int ryniCheckPathNoneExistWarnFlag(const rynRegistry *registry);

/// @return 1 when libraries must carry a VEKLIBRARY entry, as read by the last creation that read a file
int ryni_doVekLibCheck(void);

VEK_END_DECLS

#endif
