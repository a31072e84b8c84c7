#ifndef VEK_INIT_H
#define VEK_INIT_H

/// Start-up, the platform name, and the `-version` banner.

#include "common/vek_api.h"

VEK_BEGIN_DECLS

/// Initializes the infrastructure; to be called before anything else. Records the name the program was
/// started under (at most 4096 characters of it) as the starting point of installation-root discovery and
/// marks the installation root as required. A second call changes nothing.
///
/// @param argc  not read; may be null
/// @param argv  the program's argument vector; null, or one whose first element is null or empty, records
///              the empty name
/// @return always 0
VEK_API int vekInit(int *argc, char **argv);

/// Initializes as vekInit() does, for programs outside the tool suite.
///
/// @param exeName  the name the program was started under; null or empty records the empty name
/// @return always 0
VEK_API int vekInitNonVEKApp(const char *exeName);

/// @return 1 once vekInit() or vekInitNonVEKApp() has been called, else 0
VEK_API int vekInitDone(void);

/// Says that no installation root is needed. Has an effect only before initialization, which undoes it: use
/// cmnSetInstallRootRequired() after vekInit() instead.
VEK_API void cmnNoInstallRootRequired(void);

/// @return the install-root-required flag: 1 from start-up on, or what was set last; 0 makes every
///         installation-root query answer "none" without searching
VEK_API int cmnGetInstallRootRequired(void);

/// Sets the install-root-required flag to `required`, initialized or not.
VEK_API void cmnSetInstallRootRequired(int required);

/// @return the platform name "lnx86", a constant the caller does not free
VEK_API const char *vekPlat(void);

/// Answers a `-version` argument: at the first of `argv[1]` to `argv[argc - 1]` that is exactly "-version",
/// prints the banner of `versionString` on standard output and ends the process with status 0. Returns when
/// there is none.
///
/// @param argv           may be null when `argc` is 1 or less
/// @param versionString  a what-string such as vekIdentString, or null ("No Version string")
VEK_API void vekProcMinusVersionArg(int argc, char **argv, const char *versionString);

VEK_END_DECLS

#endif
