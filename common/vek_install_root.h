#ifndef VEK_INSTALL_ROOT_H
#define VEK_INSTALL_ROOT_H

/// Installation-root discovery. An installation root is a directory with an executable `vek_root` in its
/// `tools/bin` or `tools.lnx86/bin`. While cmnGetInstallRootRequired() is 0, all queries answer "none" without
/// a message, except vekFindExecInPath() and the tools-path queries. The running tool's root is looked for on
/// the first query that needs it and kept; a failed search is repeated by the next query.

#include "common/vek_api.h"

VEK_BEGIN_DECLS

/// @return 1 when the running tool belongs to an installation, else 0
VEK_API int vekIsTolvaneHier(void);

/// @return the running tool's installation root as a heap string that the caller frees, or null
VEK_API char *vekGetInstallRoot(void);

/// Copies the running tool's installation root.
///
/// @param buf   receives it; untouched when the answer is 0
/// @param size  bytes of `buf`, the NUL included
/// @return 1, or 0 when there is no root or it does not fit
VEK_API int vekGetInstallRootInBuf(char *buf, size_t size);

/// Finds the root that the tool would have, had it been started as `exePath`. What is cached stays cached.
///
/// @param exePath  null or empty gives null
/// @return a heap string that the caller frees, or null
VEK_API char *vekGetInstallRootFromPath(const char *exePath);

/// Finds the root of the installation that holds `path`, a file or directory; an installation root is its own
/// root.
///
/// @param path  null or empty gives null; a relative one counts from the working directory
/// @return a heap string that the caller frees, or null
VEK_API char *vekGetInstallRootFromFilePath(const char *path);

/// Finds the first installation on `PATH` (on `VEK_STRM_DIR_LIST` while `VEK_STRM_ACTIVE` is set) that has
/// `relPath` under its root.
///
/// @param relPath  one leading "/" is ignored; null or empty gives null
/// @return the root as a heap string that the caller frees, or null
VEK_API char *vekGetInstallRootWithPath(const char *relPath);

/// Collects every installation root on the directory list that vekGetInstallRootWithPath() uses, each once,
/// in the order of the list.
///
/// @return a null-terminated heap array of heap strings, all of them the caller's to free; null when there is
///         none
VEK_API char **vekGetAllInstallRoots(void);

/// Finds the executable that starting `name` would run: `name` itself, made rooted and cleaned, when it holds
/// a "/", else the first match on `PATH`.
///
/// @param name  null or empty gives null
/// @return a heap string that the caller frees, or null
VEK_API char *vekFindExecInPath(const char *name);

/// Forms a path under the running tool's installation root. Without a root, the reason goes to standard error.
///
/// @param buf   receives the path
/// @param size  bytes of `buf`, the NUL included
/// @param sub   the path below the root, with or without a leading "/", at most 4096 characters; null or
///              empty for the root itself
/// @return 1, or 0 when there is no root or the path does not fit
VEK_API int vekGetInstPathInBuf(char *buf, size_t size, const char *sub);

/// Forms the path of `sub` as vekGetInstPathInBuf() does.
/// @return a heap string that the caller frees, or null
VEK_API char *vekGetInstPath(const char *sub);

/// Forms a path under the installation's tools directory: `tools`, or `tools.lnx86` when the platform file in
/// `tools/bin` does not name this platform. The directory is found once and kept for the process.
///
/// @param buf   receives the path
/// @param size  bytes of `buf`, the NUL included
/// @param sub   appended behind "/"; null for the tools directory itself
/// @return 1, or 0 when there is no tools directory for this platform or the path does not fit
VEK_API int vekGetToolsPathInBuf(char *buf, size_t size, const char *sub);

/// Forms the path of `sub` as vekGetToolsPathInBuf() does.
/// @return a heap string that the caller frees, or null
VEK_API char *vekGetToolsPath(const char *sub);

VEK_END_DECLS

#endif
