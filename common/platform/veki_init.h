#ifndef VEKI_INIT_H
#define VEKI_INIT_H

/// Process-wide variables: the name of the running program, its installation root, and the version string of the
/// library.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// The largest number of characters that `vekiExecutableName` can hold. vekInit() stores only the beginning of a longer
/// name.
enum { VEKI_EXECUTABLE_NAME_MAX = 4096 };

/// The name that the program was started with, as passed to vekInit(). Empty before vekInit() is called.
extern char vekiExecutableName[VEKI_EXECUTABLE_NAME_MAX + 1];

/// The path of the installation root of the running program, allocated with malloc(). Null until a search has found
/// it.
extern char *vekiRootPath;

/// The version string of the common layer. The command what(1) finds it in an executable file and prints it.
extern const char vekIdentString[];

/// Prints the line for the argument `-version` on standard output: "TOOL:", a tab, the second word of
/// `versionString`, a tab and its third word. Words are separated by white space. If `versionString` is null, prints
/// "No Version string".
void vekiPrintVersion(const char *versionString);

VEK_END_DECLS

#endif
