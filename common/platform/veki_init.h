#ifndef VEKI_INIT_H
#define VEKI_INIT_H

/// Process-wide state of the start-up, which installation-root discovery uses.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Number of characters that are stored of the executable name.
enum { VEKI_EXECUTABLE_NAME_MAX = 4096 };

/// The name that the program was started with, as given to vekInit().
extern char vekiExecutableName[VEKI_EXECUTABLE_NAME_MAX + 1];

/// The running tool's installation root, allocated with malloc(); null until it is found.
extern char *vekiRootPath;

/// The what-string of this layer.
extern const char vekIdentString[];

/// Prints "TOOL:", a tab, the second word of `versionString`, a tab and its third word, or "No Version string" for null.
/// Words are separated by white space.
void vekiPrintVersion(const char *versionString);

VEK_END_DECLS

#endif
