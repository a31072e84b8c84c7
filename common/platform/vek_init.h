#ifndef VEK_INIT_H
#define VEK_INIT_H

/// Initialization of the library, the name of the platform, and the command-line argument `-version`.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Initializes the library. A program calls this function once, before any other function of the library. A
/// second call has no effect.
///
/// The function stores at most 4096 characters of the program's name, `argv[0]`. Other functions use this name
/// to find the installation root (the top directory of the installed tools). vekInit() also sets the
/// install-root-required flag to 1, see cmnSetInstallRootRequired().
///
/// @param argc  not read; may be null
/// @param argv  the argument vector of main(); if it is null, or its first string is null or empty, the stored
///              name is empty
/// @return always 0
VEK_API int vekInit(int *argc, char **argv);

/// Initializes the library like vekInit(), for programs that are not part of the tool suite. Receives the name
/// of the program instead of its argument vector.
///
/// @param exeName  the name that the program was started with; null or empty stores the empty name
/// @return always 0
VEK_API int vekInitNonVEKApp(const char *exeName);

/// @return 1 if vekInit() or vekInitNonVEKApp() has been called, otherwise 0
VEK_API int vekInitDone(void);

/// Sets the install-root-required flag to 0, if it is called before vekInit(). This has no lasting effect,
/// because vekInit() sets the flag to 1. Call cmnSetInstallRootRequired() after vekInit() instead.
VEK_API void cmnNoInstallRootRequired(void);

/// @return the install-root-required flag, initially 1. If the flag is 0, functions that search for an
///         installation root, such as vekGetInstallRoot(), return null or 0 without a search
VEK_API int cmnGetInstallRootRequired(void);

/// Sets the install-root-required flag to `required`. If the flag is 0, functions that search for an
/// installation root, such as vekGetInstallRoot(), return null or 0 without a search. vekInit() sets the flag
/// to 1, so call this function after vekInit().
VEK_API void cmnSetInstallRootRequired(int required);

/// @return the name of the platform: always "lnx86", a constant string
VEK_API const char *vekPlat(void);

/// Handles the command-line argument `-version`. If one of `argv[1]` to `argv[argc - 1]` is exactly "-version",
/// prints one line about `versionString` on standard output and ends the process with exit status 0. Otherwise
/// it returns.
///
/// The line is "TOOL:", a tab, the second word of `versionString`, a tab and its third word. For "@(#)$VEK:
/// MYTOOL 1.0 $", these words are MYTOOL and 1.0.
///
/// @param argv           may be null if `argc` is 1 or less
/// @param versionString  three words or more, separated by blanks, with a blank after the third; null prints
///                       "No Version string"
VEK_API void vekProcMinusVersionArg(int argc, char **argv, const char *versionString);

VEK_END_DECLS

#endif
