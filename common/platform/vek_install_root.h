#ifndef VEK_INSTALL_ROOT_H
#define VEK_INSTALL_ROOT_H

/// Installation roots. An installation root is the top directory of an installation: a directory that contains
/// an executable file `tools/bin/vek_root` or `tools.lnx86/bin/vek_root`.
///
/// Call vekInit() first. The first call that needs the installation root of the running program searches for
/// it, and stores it for the process. After a failed search, the next call searches again.
///
/// If cmnGetInstallRootRequired() returns 0, the functions return null or 0 and print no message. This does not
/// apply to vekFindExecInPath(), vekGetToolsPathInBuf() and vekGetToolsPath().
///
/// The strings that these functions return are allocated with malloc(), and the caller frees them.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// @return 1 if the running program has an installation root, that is, if it belongs to an installation;
///         otherwise 0
VEK_API int vekIsTolvaneHier(void);

/// @return the path of the installation root of the running program, which the caller frees; null if there is
///         none
VEK_API char *vekGetInstallRoot(void);

/// Copies the path of the installation root of the running program into `buf`.
///
/// @param buf   receives the path; unchanged if the result is 0
/// @param size  size of `buf` in bytes, including the NUL
/// @return 1; 0 if there is no installation root, or if its path does not fit into `buf`
VEK_API int vekGetInstallRootInBuf(char *buf, size_t size);

/// Finds the installation root that the running program would have if it had been started as `exePath`. The
/// stored installation root does not change.
///
/// @param exePath  the name of the program, as in `argv[0]`; if it is null or empty, the result is null
/// @return the path of the installation root, which the caller frees; null if there is none
VEK_API char *vekGetInstallRootFromPath(const char *exePath);

/// Finds the installation root of the installation that contains the file or directory `path`. If `path` is an
/// installation root, the result is this directory itself.
///
/// @param path  if it is null or empty, the result is null; a relative path is relative to the working
///              directory
/// @return the path of the installation root, which the caller frees; null if there is none
VEK_API char *vekGetInstallRootFromFilePath(const char *path);

/// Finds the first installation in which the file or directory `relPath` exists. Tests the installations that
/// contain the directories of `PATH`, in the order of `PATH`. If the environment variable `VEK_STRM_ACTIVE` is
/// set, uses the variable `VEK_STRM_DIR_LIST` instead of `PATH`.
///
/// @param relPath  a path relative to the installation root; one leading "/" is ignored. If it is null or
///                 empty, the result is null
/// @return the path of the installation root, which the caller frees; null if there is none
VEK_API char *vekGetInstallRootWithPath(const char *relPath);

/// Finds all installations that contain a directory of `PATH`. If the environment variable `VEK_STRM_ACTIVE` is
/// set, uses the variable `VEK_STRM_DIR_LIST` instead of `PATH`.
///
/// @return a null-terminated array of the paths of the installation roots, each once, in the order of the
///         directories; the caller frees the strings and the array with vekFreeStrlist(). Null if there is no
///         installation
VEK_API char **vekGetAllInstallRoots(void);

/// Finds the executable file that the command `name` would start. If `name` contains a "/", the file is `name`,
/// and its existence is not tested. Otherwise it is the first executable file of this name in the directories
/// of `PATH`. The result is absolute and contains no "//", "/./" or "/../".
///
/// @param name  if it is null or empty, the result is null
/// @return the path, which the caller frees; null if no file was found
VEK_API char *vekFindExecInPath(const char *name);

/// Composes the path of `sub` under the installation root of the running program. If there is no installation
/// root, prints the reason on standard error.
///
/// @param buf   receives the path
/// @param size  size of `buf` in bytes, including the NUL
/// @param sub   a path relative to the installation root, with or without a leading "/", at most 4096
///              characters; null or empty for the installation root itself
/// @return 1; 0 if there is no installation root, or if the path does not fit into `buf`
VEK_API int vekGetInstPathInBuf(char *buf, size_t size, const char *sub);

/// Composes the path of `sub` under the installation root of the running program, like vekGetInstPathInBuf().
/// @return the path in a new string, which the caller frees; null after a failure
VEK_API char *vekGetInstPath(const char *sub);

/// Composes the path of `sub` under the tools directory, the directory `tools` or `tools.lnx86` in the
/// installation root of the running program. The first line of the file `tools/bin/vek_plat.dat` selects the
/// directory:
///
/// If the line is "lnx86", the tools directory is `tools`. If the file is missing or empty, it is `tools.lnx86`
/// if that exists, otherwise `tools`. If the line is the name of another platform, there is no tools directory
/// and the result is 0, even if `tools.lnx86` exists. A tools directory that was found is stored for the
/// process.
///
/// @param buf   receives the path
/// @param size  size of `buf` in bytes, including the NUL
/// @param sub   a path relative to the tools directory, appended after "/"; null for the tools directory itself
/// @return 1; 0 if there is no installation root or no tools directory, or if the path does not fit into `buf`
VEK_API int vekGetToolsPathInBuf(char *buf, size_t size, const char *sub);

/// Composes the path of `sub` under the tools directory, like vekGetToolsPathInBuf().
/// @return the path in a new string, which the caller frees; null after a failure
VEK_API char *vekGetToolsPath(const char *sub);

VEK_END_DECLS

#endif
