#ifndef VEK_INIT_H
#define VEK_INIT_H

/// Initialization, the platform name, and the `-version` argument.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Initializes the library. A program calls it before any other function. It stores the name that the program was
/// started with, at most 4096 characters of it, for finding the installation root, and it sets the
/// install-root-required flag to 1. A second call has no effect.
///
/// @param argc  not read; may be null
/// @param argv  the program's argument vector; if it is null, or its first string is null or empty, the stored
///              name is empty
/// @return always 0
VEK_API int vekInit(int *argc, char **argv);

/// Initializes the library like vekInit(), for programs outside the tool suite.
///
/// @param exeName  the name that the program was started with; null or empty stores the empty name
/// @return always 0
VEK_API int vekInitNonVEKApp(const char *exeName);

/// @return 1 after vekInit() or vekInitNonVEKApp(), otherwise 0
VEK_API int vekInitDone(void);

/// Sets the install-root-required flag to 0, before initialization only. It has no lasting effect, because
/// vekInit() sets the flag to 1. Call cmnSetInstallRootRequired() after vekInit() instead.
VEK_API void cmnNoInstallRootRequired(void);

/// @return the install-root-required flag: initially 1. If it is 0, the queries for the installation root return
///         null or 0 without searching
VEK_API int cmnGetInstallRootRequired(void);

/// Sets the install-root-required flag to `required`, before or after initialization.
VEK_API void cmnSetInstallRootRequired(int required);

/// @return the platform name "lnx86", a constant string
VEK_API const char *vekPlat(void);

/// Handles a `-version` argument. If one of `argv[1]` to `argv[argc - 1]` is exactly "-version", prints a line
/// about `versionString` on standard output and ends the process with status 0. Otherwise it returns.
///
/// The line is "TOOL:", a tab, the second word of `versionString`, a tab and its third word. For "@(#)$VEK:
/// MYTOOL 1.0 $" it shows MYTOOL and 1.0.
///
/// @param argv           may be null if `argc` is 1 or less
/// @param versionString  three words or more, separated by blanks, with a blank after the third; null prints "No
///                       Version string"
VEK_API void vekProcMinusVersionArg(int argc, char **argv, const char *versionString);

VEK_END_DECLS

#endif
