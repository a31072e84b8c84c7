#ifndef PUX_H
#define PUX_H

/// Search files: the list of directories in which configuration files are looked for, and the searches along
/// it.
///
/// A search list is a null-terminated heap array of heap strings: directories, and the keyword entry "@LIBRARY"
/// for the library directories that a search is given. A handle is a variable that points at such a list.
/// A null list means the process-wide default list, which the first search builds.

#include "common/vek_api.h"

VEK_BEGIN_DECLS

/// Codes of this layer.
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

/// @return the constant text of `code`; "Invalid error number" for one that does not exist
VEK_API const char *puxGetErrorMsg(int code);

/// Builds a search list: from the first `setup.loc` that the built-in default list leads to, or from the
/// default list itself. The default handle is left pointing at it, and "VEK_ARCH=lnx86" is put into the
/// environment once. The default list before it is freed when no caller has received it.
///
/// The environment then holds a string of the library itself, which must stay mapped: the shared library is
/// linked with `-z nodelete`. Link a plugin that contains the archive with `-z nodelete`, too; otherwise getenv()
/// reads unmapped memory after dlclose() of the plugin.
///
/// @param h  receives the list; null for the default handle alone
/// @return PUX_OK; PUX_NOT_INITIALIZED before vekInit(); PUX_INITIALIZATION_FAILED when no default directory
///         exists; PUX_MEMORY_ERROR; or the code of a failed search or parse. After a failure the default
///         handle is as it was
VEK_API int puxInitialize(char ***h);

/// Frees a list and its strings.
///
/// @param list  the list; null frees the default list. When it is the default list, the default handle
///              becomes null
/// @return PUX_OK, or PUX_INVALID_PARAMETER when `list` and the default handle are null
VEK_API int puxReleaseHandle(char **list);

/// Keeps a copy of `dir` as the directory that "." stands for in lists built from now on. A null or empty
/// `dir` leaves what was kept.
VEK_API void puxSetCwdToSearchList(const char *dir);

/// Puts a copy of `dir` in front of a list; the array is replaced, its strings go on. The default handle is
/// left pointing at the new array.
///
/// @param h    the handle to change; null for the default handle. A null list becomes a list of one
/// @param dir  null leaves the list as it is
/// @return PUX_OK; PUX_MEMORY_ERROR leaves the list as it was
VEK_API int puxInsertToSearchList(char ***h, const char *dir);

/// Interpolates `in` (vek_interp.h) and requires the result to exist and be readable.
///
/// @param in        the path
/// @param out       receives the result, in VEK_SEARCH_PATH_SIZE bytes; empty after a failure
/// @param fileName  the file the path comes from, or null
/// @return PUX_OK; PUX_INTERNAL_ERROR when the result is not readable; PUX_FILE_NOT_FOUND when interpolation
///         failed
VEK_API int puxConvertPathEx(const char *in, char *out, const char *fileName);

/// puxConvertPathEx() of `in` into `out`, without a file name.
VEK_API int puxConvertPath(const char *in, char *out);

/// Interpolates `in` into the VEK_SEARCH_PATH_SIZE bytes at `out`; the result need not exist. After a failure
/// `out` holds what interpolation left there.
///
/// @param fileName  the file the path comes from, or null
/// @return PUX_OK, or PUX_FILE_NOT_FOUND when interpolation failed
VEK_API int puxConvertPathNotThereEx(const char *in, char *out, const char *fileName);

/// puxConvertPathNotThereEx() of `in` into `out`, without a file name.
VEK_API int puxConvertPathNotThere(const char *in, char *out);

/// @return a heap copy of `s` that the caller frees; null for null, or when memory is exhausted
VEK_API char *pux_mkstring(const char *s);

// The searches. `list` is a search list, null for the default one, which is built when there is none (its
// building's failure is the result). Inside each directory they try search groups in order: subdirectory names,
// "." for the directory itself. The default groups are ".tolvane", "." and "veksetup". A library directory is
// searched in ".tolvane" only. A result has fewer than VEK_SEARCH_PATH_SIZE characters, however large `out` is;
// `outSize` counts the NUL. All return a PUX_ code: PUX_FILE_NOT_FOUND when nothing matches,
// PUX_INVALID_PARAMETER for a null argument that has no meaning, PUX_PERMISSION_DENIED, with the path in `out`,
// when a match exists but cannot be read, and PUX_BUFFER_TOO_SMALL when the path of a match, readable or not,
// does not fit. A path that does not exist ends no search, however long it is.

/// Finds the first readable match of the file name `name`.
///
/// @param list     the search list; null for the default one
/// @param groups   the search groups exactly as given; null for the default groups
/// @param libDirs  the directories that "@LIBRARY" stands for; null skips such entries
/// @param out      receives the path
/// @param outSize  bytes of `out`, the NUL included
VEK_API int puxSearchEx(char **list, const char *name, char **groups, char **libDirs, char *out,
                        size_t outSize);

/// puxSearchEx() of `name` along `list` into the `outSize` bytes at `out`, with the default groups and no
/// library directories.
VEK_API int puxSearch(char **list, const char *name, char *out, size_t outSize);

/// Finds the first match of `name` along `list`, in the default groups (`group` null, "veksetup" or
/// ".tolvane"), or else in "." and then `group`. The `outSize` bytes at `out` receive its path.
VEK_API int puxSearchGroup(char **list, const char *name, const char *group, char *out, size_t outSize);

/// Finds the first match of `name` along `list`, in "." and then `groups`, or in the default groups when
/// `groups` is null. The `outSize` bytes at `out` receive its path.
VEK_API int puxSearchDirList(char **list, const char *name, char **groups, char *out, size_t outSize);

/// Finds all matches of `name`, one at most from each directory of `list`, with the groups of
/// puxSearchGroup() for `group`.
///
/// @param result  receives a null-terminated heap array of heap strings, all the caller's to free; null unless
///                the result is PUX_OK
VEK_API int puxFullSearch(char **list, const char *name, const char *group, char ***result);

/// puxFullSearch() of `name` along `list` into `result`, with the groups of puxSearchDirList() for `groups`.
VEK_API int puxFullSearchDirList(char **list, const char *name, char **groups, char ***result);

/// Finds the first match of `name` along `list` that is also writable (vekFileWritable()), in the default
/// groups. `libDirs` are the directories that "@LIBRARY" stands for, or null; the `outSize` bytes at `out`
/// receive the path.
VEK_API int puxFindWritableEx(char **list, const char *name, char **libDirs, char *out, size_t outSize);

/// puxFindWritableEx() of `name` along `list` into the `outSize` bytes at `out`, without library directories.
VEK_API int puxFindWritable(char **list, const char *name, char *out, size_t outSize);

/// Tells whether files named `fileName` are to be looked up along the search list: what the file
/// "puxLookupConfig" says, which is itself found along `list` and read anew by every call. When memory is
/// exhausted it is not decided.
///
/// @param list      the list on which "puxLookupConfig" is searched, as by puxSearch()
/// @param fileName  the name; one of over 1023 characters is in no such file
/// @return PUX_OK for yes; PUX_FILE_NOT_FOUND for no, also when there is no "puxLookupConfig";
///         PUX_PERMISSION_DENIED when it cannot be opened; PUX_INVALID_PARAMETER for a null name;
///         PUX_MEMORY_ERROR; or another code of the search
VEK_API int puxUsePuxFor(char **list, const char *fileName);

VEK_END_DECLS

#endif
