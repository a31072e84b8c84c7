#ifndef VEKI_INIT_H
#define VEKI_INIT_H

/// Process-wide variables: the program's name, its installation root and the version string.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// The largest number of characters in vekiExecutableName. vekInit() cuts a longer name.
enum { VEKI_EXECUTABLE_NAME_MAX = 4096 };

/// The name that the program was started with, as given to vekInit().
extern char vekiExecutableName[VEKI_EXECUTABLE_NAME_MAX + 1];

/// The running tool's installation root, allocated with malloc(); null until it is found.
extern char *vekiRootPath;

/// The version string of the folder common/. what(1) finds it in an executable.
extern const char vekIdentString[];

/// Prints a line on standard output: "TOOL:", a tab, the second word of `versionString`, a tab and its third word. If
/// `versionString` is null, the line is "No Version string". Words are separated by white space.
void vekiPrintVersion(const char *versionString);

VEK_END_DECLS

#endif
