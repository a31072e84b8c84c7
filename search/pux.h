#ifndef PUX_H
#define PUX_H

/// The search list: an ordered list of directories that are searched for configuration files, and the functions
/// for such searches.
///
/// A search list is a null-terminated array of strings. Each string is a directory, or the keyword "@LIBRARY",
/// which represents the library directories that the caller of a search passes. The array and the strings are
/// allocated with malloc(). A handle is a variable that points to such a list. If a function receives a null
/// list, it uses the default list of the process, which the first search builds.

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

/// @return the constant text of the result code `code`; "Invalid error number" for an unknown code
VEK_API const char *puxGetErrorMsg(int code);

/// Builds a search list and makes it the default list. First searches a fixed list of directories, the built-in list,
/// for the file `setup.loc`; see setup.loc(5). The directories listed in the first such file become the default list.
/// If there is no such file, or it cannot be read or lists no usable directory, the built-in list becomes the default
/// list. The first call puts "VEK_ARCH=lnx86" into the environment.
///
/// The previous default list is freed, unless a caller received it in a handle.
///
/// UNLOADED PLUGINS: the string in the environment is stored in the library, so the library must remain mapped.
/// `libvek.so` is linked with `-z nodelete` for this. Link a plugin that contains `libvek.a` with `-z
/// nodelete`, too; otherwise getenv() reads unmapped memory after dlclose() of the plugin.
///
/// @param h  receives the list, which the caller releases with puxReleaseHandle(); null to set the default list
///           only
/// @return PUX_OK; PUX_NOT_INITIALIZED before vekInit(); PUX_INITIALIZATION_FAILED if no directory of the
///         built-in list exists; PUX_MEMORY_ERROR; or the code of another error in the search for `setup.loc`.
///         After a failure the default list is unchanged
VEK_API int puxInitialize(char ***h);

/// Frees a search list and its strings. If the list is the default list, there is no default list afterwards,
/// and the next search builds a new one.
///
/// @param list  the list; null for the default list
/// @return PUX_OK; PUX_INVALID_PARAMETER if `list` is null and there is no default list
VEK_API int puxReleaseHandle(char **list);

/// Sets the directory that replaces the entry "." in search lists that are built later. Stores a copy of `dir`.
/// If `dir` is null or empty, nothing changes.
VEK_API void puxSetCwdToSearchList(const char *dir);

/// Inserts a copy of `dir` at the front of a search list, and makes the result the default list. The old array
/// is freed and replaced by a new array, which contains the strings of the old array.
///
/// USE AFTER FREE: with a null `h`, the array of the default list is freed. If puxInitialize() returned this
/// list in a handle, the handle then points to freed memory. Pass the address of that handle instead of null.
///
/// @param h    the address of the handle, which receives the new list; null for the default list. If the handle
///             is null, the new list contains only `dir`
/// @param dir  the directory; if it is null, nothing changes
/// @return PUX_OK; PUX_MEMORY_ERROR, and the list is unchanged
VEK_API int puxInsertToSearchList(char ***h, const char *dir);

/// Replaces the references in the path `in`, such as `$NAME` and `~`, and tests whether the resulting path
/// exists and can be read. See vekInterpolate() for the references.
///
/// @param in        the path
/// @param out       receives the result; must have VEK_SEARCH_PATH_SIZE bytes; empty after a failure
/// @param fileName  the file that contains the path, or null
/// @return PUX_OK; PUX_FILE_NOT_FOUND if a reference could not be replaced; PUX_INTERNAL_ERROR if the result
///         cannot be read
VEK_API int puxConvertPathEx(const char *in, char *out, const char *fileName);

/// Converts the path `in` into `out` like puxConvertPathEx() with a null `fileName`.
VEK_API int puxConvertPath(const char *in, char *out);

/// Replaces the references in the path `in`, such as `$NAME` and `~`, but does not test whether the resulting
/// path exists. Otherwise like puxConvertPathEx().
///
/// @param in        the path
/// @param out       receives the result; must have VEK_SEARCH_PATH_SIZE bytes. After a failure it contains the
///                  partly replaced text
/// @param fileName  the file that contains the path, or null
/// @return PUX_OK; PUX_FILE_NOT_FOUND if a reference could not be replaced
VEK_API int puxConvertPathNotThereEx(const char *in, char *out, const char *fileName);

/// Converts the path `in` into `out` like puxConvertPathNotThereEx() with a null `fileName`.
VEK_API int puxConvertPathNotThere(const char *in, char *out);

/// @return a copy of the string `s`, which the caller frees with free(); null if `s` is null or memory is
///         exhausted
VEK_API char *pux_mkstring(const char *s);

// The search functions. `list` is a search list; null means the default list. If there is no default list, every
// search builds it first, and returns the error if that fails.
//
// In each directory of the list, a search tests its search groups in order. A search group is the name of a
// subdirectory, or "." for the directory itself. The default groups are ".tolvane", "." and "veksetup". In library
// directories, only ".tolvane" is searched.
//
// A match is a path for which stat() succeeds, or fails with an error other than ENOENT. A search for one file ends
// at the first match. The path of a match can have at most 1023 characters, even if `out` is larger. `outSize` is
// the size of `out` in bytes, including the NUL.
//
// The functions return PUX_OK for a match. They return PUX_FILE_NOT_FOUND if there is no match. They return
// PUX_PERMISSION_DENIED, with the path in `out`, if the match cannot be read. They return PUX_BUFFER_TOO_SMALL if
// the path of the match, readable or not, has more than 1023 characters or does not fit into `out`. They return
// PUX_INVALID_PARAMETER for a null argument that is not allowed.

/// Searches `list` for the first match of the file name `name`, and stores the path of the match in `out`.
///
/// @param list     the search list; null for the default list
/// @param groups   the search groups, which are names of subdirectories; null for the default groups
/// @param libDirs  the directories that replace "@LIBRARY"; null to skip it
/// @param out      receives the path
/// @param outSize  size of `out` in bytes, including the NUL
VEK_API int puxSearchEx(char **list, const char *name, char **groups, char **libDirs, char *out,
                        size_t outSize);

/// Searches `list` for the first match of the file name `name` in the default groups. These are, for each directory,
/// the subdirectory ".tolvane", the directory itself, and the subdirectory "veksetup", in this order. Stores the path
/// of the match in `out`, which has `outSize` bytes. "@LIBRARY" is skipped.
VEK_API int puxSearch(char **list, const char *name, char *out, size_t outSize);

/// Searches `list` for the first match of the file name `name`, in the subdirectories that `group` selects. Stores
/// the path of the match in `out`, which has `outSize` bytes.
///
/// @param group  null, "veksetup" or ".tolvane" for the default groups of puxSearch(). With any other name,
///               a search looks in each directory of `list` itself and then in its subdirectory `group`
VEK_API int puxSearchGroup(char **list, const char *name, const char *group, char *out, size_t outSize);

/// Searches `list` for the first match of the file name `name`, in the subdirectories that `groups` selects.
/// Stores the path of the match in `out`, which has `outSize` bytes.
///
/// @param groups  null for the default groups of puxSearch(); otherwise names of subdirectories. A search looks in
///                each directory of `list` itself and then in these subdirectories of it
VEK_API int puxSearchDirList(char **list, const char *name, char **groups, char *out, size_t outSize);

/// Finds all matches of the file name `name`, at most one in each directory of `list`. A match is skipped if it
/// cannot be read or if its path has more than 1023 characters.
///
/// @param group   selects the subdirectories that are searched, as for puxSearchGroup()
/// @param result  receives a null-terminated array of paths; the caller frees array and strings
///                (vekFreeStrlist()). Null unless the result is PUX_OK
VEK_API int puxFullSearch(char **list, const char *name, const char *group, char ***result);

/// Finds all matches of the file name `name` along `list` like puxFullSearch(), and stores the paths of the
/// matches in `*result`.
///
/// @param groups  selects the subdirectories that are searched, as for puxSearchDirList()
VEK_API int puxFullSearchDirList(char **list, const char *name, char **groups, char ***result);

/// Searches `list` for the first match of the file name `name` that can be written, see vekFileWritable().
/// Searches the same subdirectories as puxSearch(). Stores the path of the match in `out`, which has `outSize` bytes.
///
/// @param libDirs  the directories that replace "@LIBRARY"; null to skip it
VEK_API int puxFindWritableEx(char **list, const char *name, char **libDirs, char *out, size_t outSize);

/// Searches `list` for the first match of the file name `name` that can be written, like puxFindWritableEx()
/// without library directories. Stores the path of the match in `out`, which has `outSize` bytes.
VEK_API int puxFindWritable(char **list, const char *name, char *out, size_t outSize);

/// Tests whether files with the name `fileName` are to be searched for along the search list. The rules for this
/// are in the configuration file `puxLookupConfig`, see puxLookupConfig(5). Every call finds `puxLookupConfig` along
/// `list` with puxSearch() and reads it.
///
/// @param list      the search list; null for the default list
/// @param fileName  the name; a name of more than 1023 characters cannot be in the file
/// @return PUX_OK for yes; PUX_FILE_NOT_FOUND for no, also if there is no `puxLookupConfig`;
///         PUX_PERMISSION_DENIED if `puxLookupConfig` cannot be opened; PUX_INVALID_PARAMETER if `fileName` is
///         null; PUX_MEMORY_ERROR; or another code of the search
VEK_API int puxUsePuxFor(char **list, const char *fileName);

VEK_END_DECLS

#endif
