#ifndef VEKI_INIT_H
#define VEKI_INIT_H

/// Process-wide state of start-up that installation-root discovery shares.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Characters of the executable name that are kept.
enum { VEKI_EXECUTABLE_NAME_MAX = 4096 };

/// Argument 0 as vekInit() got it. Installation-root discovery overwrites it for a while.
extern char vekiExecutableName[VEKI_EXECUTABLE_NAME_MAX + 1];

/// The cached installation root, a heap string, or null while none has been found.
extern char *vekiRootPath;

/// What-string of this layer.
extern const char vekIdentString[];

/// Prints the banner "TOOL:", a tab, the second word of `versionString`, a tab and its third word; for null
/// "No Version string". Each word ends at white space or at the end of the string.
void vekiPrintVersion(const char *versionString);

VEK_END_DECLS

#endif
