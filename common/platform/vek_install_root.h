#ifndef VEK_INSTALL_ROOT_H
#define VEK_INSTALL_ROOT_H

/// Installation roots. An installation root is a directory with an executable file `tools/bin/vek_root` or
/// `tools.lnx86/bin/vek_root`.
///
/// The running tool's root is searched when it is first needed, and stored for the process. A failed search is
/// repeated by the next query. Call vekInit() first. If cmnGetInstallRootRequired() returns 0, every function
/// here except vekFindExecInPath(), vekGetToolsPathInBuf() and vekGetToolsPath() returns null or 0 without a
/// message.
///
/// Strings that these functions return are allocated with malloc(), and the caller frees them.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// @return 1 if the running tool belongs to an installation, otherwise 0
VEK_API int vekIsTolvaneHier(void);

/// @return the running tool's installation root; null if it has none
VEK_API char *vekGetInstallRoot(void);

/// Copies the running tool's installation root.
///
/// @param buf   receives the path; unchanged if the result is 0
/// @param size  size of `buf` in bytes, including the NUL
/// @return 1; 0 if there is no root or it does not fit
VEK_API int vekGetInstallRootInBuf(char *buf, size_t size);

/// Finds the root that the tool would have if it had been started as `exePath`. The stored root does not change.
///
/// @param exePath  the name of the tool, as in `argv[0]`; if it is null or empty, the result is null
/// @return the root, or null
VEK_API char *vekGetInstallRootFromPath(const char *exePath);

/// Finds the root of the installation that contains the file or directory `path`. An installation root is its own
/// root.
///
/// @param path  if it is null or empty, the result is null; a relative path is relative to the working directory
/// @return the root, or null
VEK_API char *vekGetInstallRootFromFilePath(const char *path);

/// Finds the first installation that contains `relPath`. The installations are those of the directories in
/// `PATH`, or in `VEK_STRM_DIR_LIST` if `VEK_STRM_ACTIVE` is set.
///
/// @param relPath  a path below the root; one leading "/" is ignored. If it is null or empty, the result is null
/// @return the root, or null
VEK_API char *vekGetInstallRootWithPath(const char *relPath);

/// Finds the installations of all directories in `PATH`, or in `VEK_STRM_DIR_LIST` if `VEK_STRM_ACTIVE` is set.
///
/// @return a null-terminated array of the roots, each once, in the order of the list; the caller frees the
///         strings and the array (vekFreeStrlist()). Null if there is none
VEK_API char **vekGetAllInstallRoots(void);

/// Finds the executable that the command `name` would start. If `name` contains a "/", this is `name`; otherwise
/// it is the first match in `PATH`. The result is absolute and contains no "//", "/./" or "/../".
///
/// @param name  if it is null or empty, the result is null
/// @return the path, or null
VEK_API char *vekFindExecInPath(const char *name);

/// Composes a path under the running tool's installation root. If there is no root, the reason is printed on
/// standard error.
///
/// @param buf   receives the path
/// @param size  size of `buf` in bytes, including the NUL
/// @param sub   the path below the root, with or without a leading "/", at most 4096 characters; null or empty
///              for the root itself
/// @return 1; 0 if there is no root or the path does not fit
VEK_API int vekGetInstPathInBuf(char *buf, size_t size, const char *sub);

/// Composes the path of `sub` like vekGetInstPathInBuf().
/// @return the path, or null
VEK_API char *vekGetInstPath(const char *sub);

/// Composes a path under the tools directory of the running tool's installation. The first line of
/// `tools/bin/vek_plat.dat` determines which directory this is:
///
/// If it is "lnx86", the tools directory is `tools`. If the file is missing or empty, it is `tools.lnx86` if that
/// exists, otherwise `tools`. If it is the name of another platform, the result is 0, even if `tools.lnx86`
/// exists. The first success is stored for the process.
///
/// @param buf   receives the path
/// @param size  size of `buf` in bytes, including the NUL
/// @param sub   the path below the tools directory, appended after "/"; null for the tools directory itself
/// @return 1; 0 if there is no root, no tools directory for this platform, or the path does not fit
VEK_API int vekGetToolsPathInBuf(char *buf, size_t size, const char *sub);

/// Composes the path of `sub` like vekGetToolsPathInBuf().
/// @return the path, or null
VEK_API char *vekGetToolsPath(const char *sub);

VEK_END_DECLS

#endif
