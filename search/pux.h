#ifndef PUX_H
#define PUX_H

/// The search list: the directories in which configuration files are searched, and the functions that search it.
///
/// A search list is a null-terminated array of strings: directories, and the keyword "@LIBRARY" for the library
/// directories that a search is given. Array and strings are allocated with malloc(). A handle is a variable that
/// points to such a list. Wherever a function takes a list, null means the default list of the process, which the
/// first search builds.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Result codes of the functions in this header.
enum {
    PUX_OK = 0,
    PUX_INTERNAL_ERROR = 1,
    PUX_MEMORY_ERROR = 2,
    PUX_INVALID_PARAMETER = 3,
    PUX_BUFFER_TOO_SMALL = 4,
    PUX_FILE_NOT_FOUND = 5,
    PUX_PERMISSION_DENIED = 6,
    PUX_INITIALIZATION_FAILED = 7,
    PUX_NOT_INITIALIZED = 8
};

/// @return the constant text of `code`; "Invalid error number" for an unknown code
VEK_API const char *puxGetErrorMsg(int code);

/// Builds a search list and makes it the default list. The list is read from the first `setup.loc` that is found
/// along the built-in list. If there is none, or it cannot be read or contains no usable directory, the built-in list
/// is used. The first call puts "VEK_ARCH=lnx86" into the environment.
///
/// The previous default list is freed, unless a caller received it in a handle.
///
/// UNLOADED PLUGINS: the environment then contains a string that is stored in the library, so the library must
/// remain mapped. `libvek.so` is linked with `-z nodelete` for this. Link a plugin that contains `libvek.a` with
/// `-z nodelete`, too; otherwise getenv() reads unmapped memory after dlclose() of the plugin.
///
/// @param h  receives the list, which the caller releases with puxReleaseHandle(); null to set the default list
///           only
/// @return PUX_OK; PUX_NOT_INITIALIZED before vekInit(); PUX_INITIALIZATION_FAILED if no directory of the
///         built-in list exists; PUX_MEMORY_ERROR; or the code of a failed search for `setup.loc`. After a
///         failure the default list is unchanged
VEK_API int puxInitialize(char ***h);

/// Frees a list and its strings. If it is the default list, there is no default list afterwards, and the next
/// search builds a new one.
///
/// @param list  the list; null for the default list
/// @return PUX_OK; PUX_INVALID_PARAMETER if `list` is null and there is no default list
VEK_API int puxReleaseHandle(char **list);

/// Stores a copy of `dir`, which replaces "." in lists that are built later. If `dir` is null or empty, nothing
/// changes.
VEK_API void puxSetCwdToSearchList(const char *dir);

/// Inserts a copy of `dir` at the front of a list. The array is freed and replaced by a new one; its strings move
/// to the new one. The new list becomes the default list.
///
/// USE AFTER FREE: with a null `h`, the array of the default list is freed. If puxInitialize() returned this list
/// in a handle, the handle then points to freed memory. Pass the address of that handle instead of null.
///
/// @param h    the handle, which receives the new list; null for the default list. If it points to a null list,
///             the new list contains only `dir`
/// @param dir  the directory; if it is null, nothing changes
/// @return PUX_OK; PUX_MEMORY_ERROR, and the list is unchanged
VEK_API int puxInsertToSearchList(char ***h, const char *dir);

/// Replaces the references in `in` (see vekInterpolate()) and checks that the result exists and can be read.
///
/// @param in        the path
/// @param out       receives the result; must have VEK_SEARCH_PATH_SIZE bytes; empty after a failure
/// @param fileName  the file that contains the path, or null
/// @return PUX_OK; PUX_FILE_NOT_FOUND if a reference could not be replaced; PUX_INTERNAL_ERROR if the result
///         cannot be read
VEK_API int puxConvertPathEx(const char *in, char *out, const char *fileName);

/// Converts `in` into `out` like puxConvertPathEx(), with null for the file name.
VEK_API int puxConvertPath(const char *in, char *out);

/// Replaces the references in `in`. Unlike puxConvertPathEx(), it does not check that the result exists.
///
/// @param in        the path
/// @param out       receives the result; must have VEK_SEARCH_PATH_SIZE bytes. After a failure it contains the
///                  partly replaced text
/// @param fileName  the file that contains the path, or null
/// @return PUX_OK; PUX_FILE_NOT_FOUND if a reference could not be replaced
VEK_API int puxConvertPathNotThereEx(const char *in, char *out, const char *fileName);

/// Converts `in` into `out` like puxConvertPathNotThereEx(), with null for the file name.
VEK_API int puxConvertPathNotThere(const char *in, char *out);

/// @return a copy of `s`, which the caller frees; null if `s` is null or memory is exhausted
VEK_API char *pux_mkstring(const char *s);

// Searches. `list` is a search list; null for the default list. If there is no default list, every search builds
// it first and returns the error if that fails. In each directory, a search tries its search groups in order. A
// search group is a subdirectory name, or "." for the directory itself. The default groups are ".tolvane", "."
// and "veksetup". In library directories, only ".tolvane" is searched.
//
// A match is a path that exists, or for which stat() fails with another error than ENOENT. The first match ends
// the search. Its path can have at most 1023 characters, even if `out` is larger. `outSize` is the
// size of `out` in bytes, including the NUL.
//
// The results are PUX_OK; PUX_FILE_NOT_FOUND if there is no match; PUX_PERMISSION_DENIED, with the path in `out`,
// if the match cannot be read; PUX_BUFFER_TOO_SMALL if the path of the match, readable or not, has more than 1023
// characters or does not fit into `out`; and PUX_INVALID_PARAMETER for a null argument that is not allowed.

/// Finds the first match of the file name `name`.
///
/// @param list     the search list; null for the default list
/// @param groups   the search groups; null for the default groups
/// @param libDirs  the directories that replace "@LIBRARY"; null to skip it
/// @param out      receives the path
/// @param outSize  size of `out` in bytes, including the NUL
VEK_API int puxSearchEx(char **list, const char *name, char **groups, char **libDirs, char *out,
                        size_t outSize);

/// Finds the first match of `name` along `list` in the default groups, and stores its path in the `outSize` bytes
/// at `out`. "@LIBRARY" is skipped.
VEK_API int puxSearch(char **list, const char *name, char *out, size_t outSize);

/// Finds the first match of `name` along `list` and stores its path in the `outSize` bytes at `out`.
///
/// @param group  null, "veksetup" or ".tolvane" for the default groups; another name for the groups "." and
///               `group`
VEK_API int puxSearchGroup(char **list, const char *name, const char *group, char *out, size_t outSize);

/// Finds the first match of `name` along `list` and stores its path in the `outSize` bytes at `out`.
///
/// @param groups  null for the default groups; otherwise "." is searched first, and then these groups
VEK_API int puxSearchDirList(char **list, const char *name, char **groups, char *out, size_t outSize);

/// Finds all matches of `name`, at most one in each directory of `list`. A match that cannot be read, or whose
/// path is too long, is skipped.
///
/// @param group   as for puxSearchGroup()
/// @param result  receives a null-terminated array of paths; the caller frees array and strings
///                (vekFreeStrlist()). Null unless the result is PUX_OK
VEK_API int puxFullSearch(char **list, const char *name, const char *group, char ***result);

/// Finds all matches of `name` along `list` like puxFullSearch(), and stores them in `*result`.
///
/// @param groups  as for puxSearchDirList()
VEK_API int puxFullSearchDirList(char **list, const char *name, char **groups, char ***result);

/// Finds the first match of `name` along `list` in the default groups that can be written, see vekFileWritable(),
/// and stores its path in the `outSize` bytes at `out`.
///
/// @param libDirs  the directories that replace "@LIBRARY"; null to skip it
VEK_API int puxFindWritableEx(char **list, const char *name, char **libDirs, char *out, size_t outSize);

/// Finds the first writable match of `name` along `list` like puxFindWritableEx(), without library directories, and
/// stores its path in the `outSize` bytes at `out`.
VEK_API int puxFindWritable(char **list, const char *name, char *out, size_t outSize);

/// Tests whether files with the name `fileName` are to be searched along the search list. The file
/// `puxLookupConfig` decides this; it is found along `list` with puxSearch() and read by every call. See
/// puxLookupConfig(5).
///
/// @param list      the search list; null for the default list
/// @param fileName  the name; a name of more than 1023 characters cannot be in the file
/// @return PUX_OK for yes; PUX_FILE_NOT_FOUND for no, also if there is no `puxLookupConfig`;
///         PUX_PERMISSION_DENIED if `puxLookupConfig` cannot be opened; PUX_INVALID_PARAMETER if `fileName` is null;
///         PUX_MEMORY_ERROR; or another code of the search
VEK_API int puxUsePuxFor(char **list, const char *fileName);

VEK_END_DECLS

#endif
