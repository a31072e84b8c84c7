#ifndef RYN_H
#define RYN_H

/// Library definitions (`vek.lib`): registries of libraries, what they say, where their data lies on disk, and
/// iteration over both.
///
/// A registry is created from a library definition file and held by a handle. Wherever a handle is asked for,
/// null means the default handle: the registry created last. Every function returns a RYN_ code unless it says
/// otherwise. A missing handle, or a null argument that is not marked as allowed, is reported through the fatal
/// handler and gives RYN_INVALID_PARAMETER.

#include "common/vek_api.h"
#include "fs/vek_fs.h"

#include <stdint.h>
#include <stdio.h>

VEK_BEGIN_DECLS

/// Codes of this layer.
enum {
    RYN_OK = 0,
    RYN_INTERNAL_ERROR = 1,
    RYN_MEMORY_ERROR = 2,
    RYN_SYSTEM_ERROR = 3,
    RYN_NO_SUCH_DIRECTORY = 4,
    RYN_LIBRARY_NOT_DEFINED = 5,
    RYN_NO_SUCH_CELL = 6,
    RYN_NO_SUCH_VIEW = 7,
    RYN_NO_SUCH_FILE = 8,
    RYN_ATTRIBUTE_NOT_ASSIGNED = 9,
    RYN_FILE_NOT_INCLUDED = 10,
    RYN_PERMISSION_DENIED = 11,
    RYN_PERMISSION_DENIED_LIBRARY = 12,
    RYN_PERMISSION_DENIED_CELL = 13,
    RYN_PERMISSION_DENIED_VIEW = 14,
    RYN_PERMISSION_DENIED_FILE = 15,
    RYN_SYNTAX_ERROR = 16,
    RYN_DIRECTORY_REUSED = 17,
    RYN_FILE_INCLUDED_TWICE = 18,
    RYN_INVALID_ATTRIBUTE = 19,
    RYN_INVALID_PATH = 20,
    RYN_INVALID_ENVIRONMENT = 21,
    RYN_INVALID_PARAMETER = 22,
    RYN_BUFFER_TOO_SMALL = 23,
    RYN_META_DATA_EXISTS = 24,
    RYN_META_DATA_LOCKED = 25,
    RYN_WRONG_CONTEXT_TYPE = 26,
    RYN_ITERATION_COMPLETE = 27,
    RYN_NO_VEKLIBRARY_ENTRY = 28,
    RYN_DIFFERS_ONLY_BY_CASE = 29,
    RYN_REDEFINED_IN_SAME_FILE = 30,
    RYN_REDEFINED = 31,
    RYN_VEKLIB_NOT_FOUND = 32,
    RYN_NO_LINE_FOR_COMMAND = 33,
    RYN_NOT_DEFINED_IN_FILE = 34,
    RYN_CANNOT_LOCK = 35,
    RYN_NOT_FOR_PACKED = 36,
    RYN_INVALID_ERROR_NUMBER = 37
};

/// A registry of libraries.
typedef struct rynRegistry rynRegistry;
typedef rynRegistry *rynHandle;

/// An iteration context.
typedef struct rynContext rynContext;

/// Receives a diagnostic of a library definition file: the code, the object it is about (may be null), the file
/// and the line. Returns 0 to go on reading, anything else to end the current file with that status.
typedef int (*rynWarningHandler)(int code, const char *object, const char *file, int line);

/// Receives an error or a misuse: the code and its context, twice. The result is ignored.
typedef int (*rynErrorHandler)(int code, const char *text, const char *sameText);

/// Judges an ASSIGN of an attribute other than TMP. Returns 0 to accept it.
typedef int (*rynUnknownAssignHook)(const char *attribute, const char *value, const char *file, int line);

/// Options of rynInitEx(), read as far as the size that comes with them reaches.
typedef struct rynInitOptions {
    rynErrorHandler errorHandler;           ///< receives errors of rynSetImplicitTmp(); may be null
    const char *implicitTmpDirectory;       ///< the implicit temporary directory, or null for none
    int implicitTmpFlags;                   ///< its flags; 0 for none
    rynUnknownAssignHook unknownAssignHook; ///< may be null
} rynInitOptions;

/// Flags of a registry.
enum {
    RYN_FLAG_UMASK_SET = 1U << 0U,           ///< set by rynSetUmask()
    RYN_FLAG_OWN_EXISTENCE_CHECK = 1U << 4U, ///< this registry has its own path-existence setting
    RYN_FLAG_EXISTENCE_CHECK_OFF = 1U << 5U, ///< and it is off
    RYN_FLAG_PACKED_LIBRARIES = 1U << 6U     ///< packed libraries are supported
};

/// @return the constant text of `code`; "Invalid error number" for one that does not exist
VEK_API const char *rynGetErrorMsg(int code);

// ---- registries

/// Creates a registry and makes it the default handle.
///
/// @param libraryFile     the library definition file to read; null for an empty registry
/// @param flags           RYN_FLAG_...
/// @param warningHandler  receives diagnostics; null for the default one, which prints them on standard error
///                        and makes any diagnostic fail the reading
/// @param fatalHandler    receives misuse; may be null. The first one ever given also serves calls without a
///                        registry
/// @param options         may be null
/// @param optionsSize     bytes of `options` that are valid: 24 for all but the hook, 32 for all; less ignores it
/// @param handleOut       receives the handle, null after a failure; may be null
/// @return RYN_OK, or the code of the failure; no registry is left then
VEK_API int rynInitEx(const char *libraryFile, unsigned flags, rynWarningHandler warningHandler,
                      rynErrorHandler fatalHandler, const rynInitOptions *options, size_t optionsSize,
                      rynHandle *handleOut);

/// rynInitEx() without options: `libraryFile`, `flags`, `warningHandler`, `fatalHandler` and `handleOut` are as
/// there.
VEK_API int rynInit(const char *libraryFile, unsigned flags, rynWarningHandler warningHandler,
                    rynErrorHandler fatalHandler, rynHandle *handleOut);

/// rynInit() without flags and fatal handler: `libraryFile`, `warningHandler` and `handleOut` are as there.
VEK_API int rynInitialize(const char *libraryFile, rynWarningHandler warningHandler, rynHandle *handleOut);

/// Frees the registry `handle` with all it owns. Releasing the default handle leaves none.
VEK_API int rynReleaseHandle(rynHandle handle);

/// @return the variable that holds the default handle; null before any registry was created
VEK_API rynHandle *rynGetCurHandle(void);

/// Sets the permission bits (group and other; `mask` AND 63) that directories made by the registry `handle` go
/// without.
VEK_API int rynSetUmask(rynHandle handle, unsigned mask);

/// Sets the hook that later registries start with.
/// @param hook  null accepts every attribute
/// @return the previous one
VEK_API rynUnknownAssignHook rynSetUnknownASSIGNfunc(rynUnknownAssignHook hook);

/// Sets, for registries without a setting of their own, whether paths must exist: they must when `on` is not 0.
/// Initially off.
VEK_API void rynSetPathNoneExistWarnFlag(int on);

/// Executes `text`, one statement of the library definition language, in the registry `handle`. A bad one has
/// no effect and gives no message.
VEK_API void rynAddCommand(rynHandle handle, const char *text);

/// Prints the registry `handle`: its files, its libraries with their attributes, the buckets of its names.
/// @param stream  null for standard output
VEK_API void rynDumpEverything(rynHandle handle, FILE *stream);

// ---- implicit temporary directory

/// Sets the implicit temporary directory, the root under which every library has a temporary directory.
///
/// @param handle        null gives RYN_INVALID_PARAMETER without a report
/// @param directory     must exist, or null or empty (with `flags` 0) to remove it
/// @param flags         0 removes it; RYN_IMPLICIT_ONLY beside other bits makes its failures final
/// @param errorHandler  null leaves the registry's
VEK_API int rynSetImplicitTmp(rynHandle handle, const char *directory, unsigned flags,
                              rynErrorHandler errorHandler);

enum { RYN_IMPLICIT_ONLY = 1 };

/// Stores the flags of the implicit temporary directory of the registry `handle` in `*flagsOut`: 0 if it has no
/// such directory. `*flagsOut` is unchanged after a failure.
VEK_API int rynGetImplicitTmpFlags(rynHandle handle, unsigned *flagsOut);

// ---- queries
//
// A design object is a library with an optional cell, view and file in it; names that are not wanted are null or
// empty.

/// Where rynGetPath() looks, and for what.
enum {
    RYN_PATH_READ = 0,             ///< temporary directories, then the library; to be read
    RYN_PATH_WRITE = 1,            ///< the one directory to write to; missing directories are made
    RYN_PATH_READ_TMP = 2,         ///< temporary directories only; to be read
    RYN_PATH_WRITE_TMP = 3,        ///< the temporary directory to write to
    RYN_PATH_READ_LIBRARY = 4,     ///< the library only; to be read
    RYN_PATH_WRITE_LIBRARY = 5,    ///< the library only; to be written
    RYN_PATH_REPLACE = 6,          ///< an existing object, to be replaced
    RYN_PATH_REPLACE_EXPLICIT = 7, ///< the same; a failure in the explicit temporary directory is final
    RYN_PATH_REPLACE_TMP = 8,      ///< the same in temporary directories only
    RYN_PATH_REPLACE_LIBRARY = 9   ///< the same in the library only
};

/// Finds the path of the design object `library`, `cell`, `view`, `file`.
///
/// @param handle  the registry; null for the default handle
/// @param mode    one of RYN_PATH_...
/// @param path    receives the path
/// @param size    bytes of `path`, the NUL included
/// @return RYN_OK; RYN_LIBRARY_NOT_DEFINED; RYN_BUFFER_TOO_SMALL; RYN_NO_SUCH_DIRECTORY when a mode that asks
///         for a temporary directory finds none; RYN_NOT_FOR_PACKED; or what ails the object, named by its
///         most specific level
VEK_API int rynGetPath(rynHandle handle, unsigned mode, const char *library, const char *cell,
                       const char *view, const char *file, char *path, size_t size);

/// Where rynQuery() looks and what it checks; without a place, both; without a check, existence.
enum {
    RYN_QUERY_LIBRARY = 1U << 0U,
    RYN_QUERY_TMP = 1U << 1U,
    RYN_QUERY_EXISTS = 1U << 2U,
    RYN_QUERY_READABLE = 1U << 3U,
    RYN_QUERY_WRITABLE = 1U << 4U,
    RYN_QUERY_EXECUTABLE = 1U << 5U
};

/// Tells whether the design object `library`, `cell`, `view`, `file` exists in the registry `handle` and passes
/// the checks of `flags`, which combine by OR.
///
/// @return RYN_OK; RYN_LIBRARY_NOT_DEFINED; the RYN_NO_SUCH_... or RYN_PERMISSION_DENIED_... code of the most
///         specific name given; RYN_SYSTEM_ERROR
VEK_API int rynQuery(rynHandle handle, unsigned flags, const char *library, const char *cell,
                     const char *view, const char *file);

// The paths that these deliver point into the registry.

/// Tells where `library` was last defined in the registry `handle`: `*file` receives the path of the library
/// definition file, `*line` the line. Without an answer they become null and 0.
/// @return RYN_OK; RYN_LIBRARY_NOT_DEFINED; RYN_INTERNAL_ERROR when no place is known
VEK_API int rynWhereDefined(rynHandle handle, const char *library, const char **file, int *line);

/// Tells where `attribute` of `library` was last assigned in the registry `handle`; `file` and `line` are as
/// for rynWhereDefined(). The name of the attribute may be in any case.
/// @return RYN_OK; RYN_LIBRARY_NOT_DEFINED; RYN_ATTRIBUTE_NOT_ASSIGNED
VEK_API int rynWhereAssigned(rynHandle handle, const char *library, const char *attribute, const char **file,
                             int *line);

/// Tells where the global temporary root of the registry `handle` was last assigned; `file` and `line` are as
/// for rynWhereDefined(), and may be null.
/// @return RYN_OK, or RYN_ATTRIBUTE_NOT_ASSIGNED
VEK_API int rynWhereGlobalExplicitTmp(rynHandle handle, const char **file, int *line);

/// Tells which statement made the registry `handle` read the library definition file `path`: `*file` receives
/// the path of the file that includes it, `*line` the line; null and 0 for the top file.
/// @return RYN_OK; RYN_FILE_NOT_INCLUDED; or why `path` cannot be resolved
VEK_API int rynWhereIncluded(rynHandle handle, const char *path, const char **file, int *line);

/// @return RYN_OK when `library` is defined in the registry `handle`, else RYN_LIBRARY_NOT_DEFINED
VEK_API int rynIsDefined(rynHandle handle, const char *library);

/// @return RYN_OK when `attribute` of `library` is assigned in the registry `handle`, else
///         RYN_LIBRARY_NOT_DEFINED or RYN_ATTRIBUTE_NOT_ASSIGNED
VEK_API int rynIsAssigned(rynHandle handle, const char *library, const char *attribute);

/// @return RYN_OK when the registry `handle` has read the library definition file `path`, else
///         RYN_FILE_NOT_INCLUDED, or why `path` cannot be resolved
VEK_API int rynIsIncluded(rynHandle handle, const char *path);

/// Kinds of temporary directories.
enum { RYN_TMP_EXPLICIT = 1, RYN_TMP_GLOBAL = 2, RYN_TMP_IMPLICIT = 4 };

/// @return RYN_OK when `library` of the registry `handle` has a temporary directory of one of the kinds in
///         `which`, which combine by OR; else RYN_ATTRIBUTE_NOT_ASSIGNED, RYN_LIBRARY_NOT_DEFINED, or
///         (without a report) RYN_INVALID_PARAMETER
VEK_API int rynLibHasTmp(rynHandle handle, const char *library, unsigned which);

// ---- searches by library
//
// These look a file up along a search list of their own (pux.h), which they build and release: the default list
// is built anew afterwards. Wherever that list says "@LIBRARY" they search the ".tolvane" of a library's
// directories: its explicit or global, its implicit temporary directory, and its own. The caller's directories
// are the search groups, the subdirectories that are searched in every other directory of the list. A library
// that is not defined or not there adds nothing, nor does a null name; a missing handle is reported, and the
// search goes on.
//
// Their failures are RYN_INTERNAL_ERROR without a search list (before vekInit(), or without memory),
// RYN_INVALID_PARAMETER, without a report, for a null name or output, RYN_BUFFER_TOO_SMALL, RYN_NO_SUCH_FILE,
// and RYN_PERMISSION_DENIED_FILE, with the path in the buffer, when a match exists but cannot be read.

/// Finds the first match of the file name `name`.
///
/// @param handle     the registry; looked at only for a library
/// @param directory  a search group; null for the default groups
/// @param library    the library whose directories "@LIBRARY" stands for, or null
/// @param path       receives the path
/// @param size       bytes of `path`, the NUL included
VEK_API int rynSearch(rynHandle handle, const char *name, const char *directory, const char *library,
                      char *path, size_t size);

/// rynSearch() of `name` for `handle` and `library` into the `size` bytes at `path`, with all of `directories`,
/// a string list, as its search groups; null for the default groups.
VEK_API int rynSearchList(rynHandle handle, const char *name, char **directories, const char *library,
                          char *path, size_t size);

/// Finds the first match of `name` for each directory of a library: every search is one of rynSearch() with
/// that directory alone in the place of "@LIBRARY". The same path may be found more than once.
///
/// @param handle     the registry
/// @param directory  a search group; null for the default groups
/// @param library    without a library that is there, nothing is searched
/// @param paths      receives a string list that the caller frees with vekFreeStrlist(); null unless the
///                   result is RYN_OK
/// @return RYN_OK; RYN_NO_SUCH_FILE when no search finds anything, whatever the reason; RYN_INTERNAL_ERROR
///         without a search list; RYN_MEMORY_ERROR; RYN_INVALID_PARAMETER when `paths` is null
VEK_API int rynFullSearch(rynHandle handle, const char *name, const char *directory, const char *library,
                          char ***paths);

/// rynFullSearch() of `name` for `handle` and `library` into `paths`, with all of `directories`, a string list,
/// as its search groups; null for the default groups.
VEK_API int rynFullSearchList(rynHandle handle, const char *name, char **directories, const char *library,
                              char ***paths);

/// Finds the first match of `name` that can be written, in the default groups, with the directories of
/// `library` in the registry `handle` that can be written. `library` may be null; the `size` bytes at `path`
/// receive the result.
VEK_API int rynFindWritable(rynHandle handle, const char *name, const char *library, char *path, size_t size);

// ---- stat cache

/// Switches the process-wide stat cache on or off; calls nest. The cache is in use while the counter is above 0.
/// Every rynInit...() sets the counter to 1 or 0, as `RYN_STAT_CACHE_ON` says; 0 empties the cache.
/// @param on  non-zero increments the counter; 0 decrements it, and empties the cache if the counter is then 0
/// @return the new counter
VEK_API int rynStatCacheCtl(int on);

// ---- iteration
//
// An iterator is created by one call, asked for item after item until RYN_ITERATION_COMPLETE, and freed by
// rynIterateEnd(). What lies on disk is gathered at creation. Strings handed out belong to the context or the
// registry. A failed creation stores null. Each X form takes a source selector.

/// Sources of the X forms; 0 means both.
enum { RYN_SOURCE_LIBRARY = 1, RYN_SOURCE_TMP = 2 };

/// Iterates over the libraries of the registry `handle`, in the order of their definition: `*context` receives
/// the iterator, for rynNextLib().
VEK_API int rynIterateLibs(rynHandle handle, rynContext **context);

/// Iterates over the cells of `library` in the registry `handle`: `*context` receives the iterator, for
/// rynNextCell(). A cell is a name of letters, digits, "_", "@" and "#".
VEK_API int rynIterateCells(rynHandle handle, const char *library, rynContext **context);

/// Iterates over the views of `cell` of `library` in the registry `handle`: `*context` receives the iterator,
/// for rynNextView(). Their names are made as those of cells.
VEK_API int rynIterateViews(rynHandle handle, const char *library, const char *cell, rynContext **context);

/// Iterates over the files of `library` in the registry `handle`, which are the names that no cell may have:
/// `*context` receives the iterator, for rynNextFile().
VEK_API int rynIterateLibFiles(rynHandle handle, const char *library, rynContext **context);

/// rynIterateLibFiles() of `handle`, for the directory of `cell` of `library`; `context` is as there.
VEK_API int rynIterateCellFiles(rynHandle handle, const char *library, const char *cell,
                                rynContext **context);

/// rynIterateLibFiles() of `handle`, for the directory of `view` of `cell` of `library`; `context` is as there.
VEK_API int rynIterateViewFiles(rynHandle handle, const char *library, const char *cell, const char *view,
                                rynContext **context);

/// Iterates over everything at any depth below `view` of `cell` of `library` in the registry `handle` that is
/// no directory: `*context` receives the iterator, for rynNextFile(), which gives paths relative to the view.
VEK_API int rynIterateAllViewFiles(rynHandle handle, const char *library, const char *cell, const char *view,
                                   rynContext **context);

/// Iterates over the library definition files that the registry `handle` has read: `*context` receives the
/// iterator, for rynNextFile(), which gives full paths.
VEK_API int rynIterateVekLibFiles(rynHandle handle, rynContext **context);

/// Iterates over the attributes of `library` in the registry `handle`, the newest first: `*context`
/// receives the iterator, for rynNextAttr().
VEK_API int rynIterateAttrs(rynHandle handle, const char *library, rynContext **context);

/// rynIterateCells() of `handle` and `library`, of the places that `source` names; `context` is as there.
VEK_API int rynXIterateCells(rynHandle handle, unsigned source, const char *library, rynContext **context);

/// rynIterateViews() of `handle`, `library` and `cell`, of the places that `source` names; `context` is as
/// there.
VEK_API int rynXIterateViews(rynHandle handle, unsigned source, const char *library, const char *cell,
                             rynContext **context);

/// rynIterateLibFiles() of `handle` and `library`, of the places that `source` names; `context` is as there.
VEK_API int rynXIterateLibFiles(rynHandle handle, unsigned source, const char *library, rynContext **context);

/// rynIterateCellFiles() of `handle`, `library` and `cell`, of the places that `source` names; `context` is as
/// there.
VEK_API int rynXIterateCellFiles(rynHandle handle, unsigned source, const char *library, const char *cell,
                                 rynContext **context);

/// rynIterateViewFiles() of `handle`, `library`, `cell` and `view`, of the places that `source` names;
/// `context` is as there.
VEK_API int rynXIterateViewFiles(rynHandle handle, unsigned source, const char *library, const char *cell,
                                 const char *view, rynContext **context);

/// rynIterateAllViewFiles() of `handle`, `library`, `cell` and `view`, of the places that `source` names;
/// `context` is as there.
VEK_API int rynXIterateAllViewFiles(rynHandle handle, unsigned source, const char *library, const char *cell,
                                    const char *view, rynContext **context);

/// Stores the name of the next library of `context` in `*name`.
/// @return RYN_OK; RYN_ITERATION_COMPLETE; RYN_WRONG_CONTEXT_TYPE, which is reported, when it is no iteration
///         over libraries
VEK_API int rynNextLib(rynContext *context, const char **name);

/// Stores the name of the next cell of `context` in `*name`; else as rynNextLib().
VEK_API int rynNextCell(rynContext *context, const char **name);

/// Stores the name of the next view of `context` in `*name`; else as rynNextLib().
VEK_API int rynNextView(rynContext *context, const char **name);

/// Stores the name or path of the next file of `context` in `*name`; else as rynNextLib().
VEK_API int rynNextFile(rynContext *context, const char **name);

/// Stores the next attribute of `context` in `*name` and `*value`; else as rynNextLib().
VEK_API int rynNextAttr(rynContext *context, const char **name, const char **value);

/// Frees `context`.
VEK_API int rynIterateEnd(rynContext *context);

/// Prints `context`: what it iterates over, the next item, all items.
/// @param stream  null for standard output
VEK_API void rynDumpContext(const rynContext *context, FILE *stream);

// ---- specifiers and packed libraries

/// Makes a specifier for the design object `library`, `cell`, `view`, `file`, which the caller frees with
/// vekFSFreeSpec().
///
/// @param handle   null gives RYN_INVALID_PARAMETER; there is no default here
/// @param mode     a mode of rynGetPath()
/// @param library  may be null when `parent` is given
/// @param parent   null, or a specifier of this function whose object the names extend; returned itself when
///                 there are none
/// @param flags    1 for a specifier whose files can be read line by line
/// @param spec     receives the specifier; null after a failure
VEK_API int rynGetSpec(rynHandle handle, unsigned mode, const char *library, const char *cell,
                       const char *view, const char *file, vekFSSpec *parent, unsigned flags,
                       vekFSSpec **spec);

/// @return 1 when `spec` names a directory, else 0
VEK_API int rynIsSpecDir(vekFSSpec *spec);

/// Puts the archive of the packed `library` in the registry `handle` aside, under its name with "%" behind; the
/// library reads its directory from then on.
/// @return RYN_OK; RYN_LIBRARY_NOT_DEFINED when it is not defined or not packed; RYN_SYSTEM_ERROR
VEK_API int rynInvalidatePackedLib(rynHandle handle, const char *library);

VEK_END_DECLS

#endif
