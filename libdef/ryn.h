#ifndef RYN_H
#define RYN_H

/// Library definitions (`vek.lib` files): reads them into registries, finds the paths of libraries, cells, views
/// and files on disk, and iterates over these objects.
///
/// A registry is a set of library definitions. rynInitEx() creates one from a library definition file and stores a
/// handle: a pointer to the registry. Where a function takes a handle, null means the default handle: the registry
/// that was created last. Every function returns a RYN_ code unless its comment says otherwise. If no handle is
/// given and there is no default handle, or if an argument is null that must not be null, the function reports
/// this to the fatal handler and returns RYN_INVALID_PARAMETER.
///
/// Programs that use temporary directories call rynSetPathNoneExistWarnFlag(1) before they create a registry.
/// Otherwise RYN_PATH_READ returns a path without testing that it exists, and an iteration over a cell fails if
/// one directory of the library does not contain the cell.

#include "common/base/vek_api.h"
#include "fs/vek_fs.h"

#include <stdint.h>
#include <stdio.h>

VEK_BEGIN_DECLS

/// Codes: the results of functions, and the codes that warning handlers, error handlers and fatal handlers
/// receive.
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

// A callback may call any function of the library for other registries. It must not change or release the registry
// that calls it. A callback must return normally: it must not call longjmp() or throw a C++ exception. The texts
// that a callback receives are valid only during the call. Errors in tag files are not passed to these callbacks,
// but to the handlers of tovRegisterErrorHandler() and vekRegErrorFunc().

/// A warning handler: receives a diagnostic, which is a problem in one line of a library definition file.
///
/// @param code    the RYN_ code
/// @param object  the name or path that the diagnostic is about; may be null. For the codes
///                RYN_NO_VEKLIBRARY_ENTRY to RYN_REDEFINED it is a text of several lines
/// @param file    the path of the library definition file
/// @param line    the number of the line in that file
/// @return 0 to continue with the next line. Any other value ends the file: its remaining lines are not read. The
///         value becomes the status of the file, see rynInitEx()
typedef int (*rynWarningHandler)(int code, const char *object, const char *file, int line);

/// An error handler or a fatal handler. An error handler receives the failures of rynSetImplicitTmp(). A fatal
/// handler receives invalid arguments, and failures that end an operation. The result of the handler is ignored.
///
/// @param code      the RYN_ code
/// @param text      the object of the failure, such as a path or the name of the called function
/// @param sameText  the same text as `text`
typedef int (*rynErrorHandler)(int code, const char *text, const char *sameText);

/// An unknown-ASSIGN hook: accepts or rejects a statement `ASSIGN library attribute value`. It is called for every
/// attribute except TMP, and except TmpRootDir of AllLibs.
///
/// @param attribute  the name of the attribute, in upper case
/// @param value      the value that the statement gives to the attribute
/// @param file       the path of the library definition file
/// @param line       the number of the line in that file
/// @return 0 to accept the statement; any other value rejects it with the diagnostic RYN_INVALID_ATTRIBUTE
typedef int (*rynUnknownAssignHook)(const char *attribute, const char *value, const char *file, int line);

/// Options of rynInitEx(). Its argument `optionsSize` selects how many of these fields are read.
typedef struct rynInitOptions {
    rynErrorHandler errorHandler;           ///< receives errors of rynSetImplicitTmp(); may be null
    const char *implicitTmpDirectory;       ///< as in rynSetImplicitTmp(); null for none
    int implicitTmpFlags;                   ///< RYN_IMPLICIT_... values; 0 for no directory
    rynUnknownAssignHook unknownAssignHook; ///< null for that of rynSetUnknownASSIGNfunc()
} rynInitOptions;

/// Flags of a registry.
enum {
    RYN_FLAG_UMASK_SET = 1U << 0U,           ///< set by rynSetUmask()
    RYN_FLAG_OWN_EXISTENCE_CHECK = 1U << 4U, ///< the registry has its own path-existence setting
    RYN_FLAG_EXISTENCE_CHECK_OFF = 1U << 5U, ///< with RYN_FLAG_OWN_EXISTENCE_CHECK: that setting is off
    RYN_FLAG_PACKED_LIBRARIES = 1U << 6U     ///< packed libraries are supported
};

/// @return the constant text of `code`; "Invalid error number" for an unknown code
VEK_API const char *rynGetErrorMsg(int code);

// ---- registries

/// Creates a registry and makes it the default handle, which functions use if their argument `handle` is null.
///
/// If `warningHandler` is null, the default warning handler receives the diagnostics and prints them on standard
/// error. ONE REGISTRY WITH THE DEFAULT WARNING HANDLER CHANGES THE RESULT OF ALL LATER CREATIONS IN THE PROCESS.
/// Documented: from then on, the status (the result of reading) of each library definition file is the code of the
/// last diagnostic that the default warning handler has received since any library definition file was last
/// opened. The values that other warning handlers return do not change the status.
///
/// This has these effects. After a diagnostic of the default warning handler, all remaining lines of the file are
/// read, and then the creation fails. If that file is included, the including file ends at the INCLUDE. But if the
/// file includes another file in a later line and no diagnostic follows, the earlier diagnostic is ignored, and the
/// creation succeeds. If the warning handler of another registry returns a value other than 0, the file ends at
/// that line, but the creation succeeds with the libraries that were defined before.
///
/// @param libraryFile     the library definition file; null for an empty registry
/// @param flags           RYN_FLAG_... values, combined by OR
/// @param warningHandler  receives diagnostics; null for the default warning handler
/// @param fatalHandler    receives invalid arguments, and failures that end an operation; may be null. The first
///                        fatal handler of the process also receives reports about registries that have none, and
///                        reports without a registry
/// @param options         may be null
/// @param optionsSize     number of valid bytes of `options`: 32 for all fields, 24 for all except
///                        `unknownAssignHook`; if it is less than 24, `options` is ignored
/// @param handleOut       receives the handle, null after a failure; may be null
/// @return RYN_OK, or the code of the failure; after a failure there is no new registry
VEK_API int rynInitEx(const char *libraryFile, unsigned flags, rynWarningHandler warningHandler,
                      rynErrorHandler fatalHandler, const rynInitOptions *options, size_t optionsSize,
                      rynHandle *handleOut);

/// Creates a registry like rynInitEx(), without options. The arguments `libraryFile`, `flags`, `warningHandler`,
/// `fatalHandler` and `handleOut` are those of rynInitEx().
VEK_API int rynInit(const char *libraryFile, unsigned flags, rynWarningHandler warningHandler,
                    rynErrorHandler fatalHandler, rynHandle *handleOut);

/// Creates a registry like rynInitEx(), without flags, fatal handler and options. The arguments `libraryFile`,
/// `warningHandler` and `handleOut` are those of rynInitEx().
VEK_API int rynInitialize(const char *libraryFile, rynWarningHandler warningHandler, rynHandle *handleOut);

/// Frees the registry `handle` and everything that it owns. First end all iterations over the registry
/// with rynIterateEnd(). If `handle` is the default handle, there is no default handle afterwards.
VEK_API int rynReleaseHandle(rynHandle handle);

/// @return the address of the variable that contains the default handle; null if no registry was ever created
VEK_API rynHandle *rynGetCurHandle(void);

/// Sets the file mode creation mask of the registry `handle`: the permission bits that are removed from the
/// directories that the registry creates. Only the bits for group and other are used: `mask` AND 63 (octal 77).
VEK_API int rynSetUmask(rynHandle handle, unsigned mask);

/// Sets the unknown-ASSIGN hook (rynUnknownAssignHook) for registries that are created later.
/// @param hook  the hook; null to accept every attribute
/// @return the previous hook
VEK_API rynUnknownAssignHook rynSetUnknownASSIGNfunc(rynUnknownAssignHook hook);

/// Switches the path-existence setting of the process on (`on` is not 0) or off. While the setting is on, paths
/// must exist, and functions test this. The setting is off initially. A registry with RYN_FLAG_OWN_EXISTENCE_CHECK
/// uses its own setting instead.
///
/// WHILE THE SETTING IS OFF, OBJECTS IN SOME DIRECTORIES ARE NOT FOUND. RYN_PATH_READ and RYN_PATH_READ_TMP return
/// the path in the first directory of the library without testing whether the object exists there. An iteration
/// over a cell or view fails with RYN_SYSTEM_ERROR if one of the library's directories does not contain that cell
/// or view.
///
/// While the setting is on, a DEFINE of a directory that does not exist causes a diagnostic and does not define
/// the library. If VEKLIBCHECK is ON for the working directory, the directory must also contain a tag file with
/// the VEKLIBRARY entry.
VEK_API void rynSetPathNoneExistWarnFlag(int on);

/// Executes `text`, one statement of the library definition language (vek.lib(5)), in the registry `handle`. An
/// invalid statement has no effect and is not reported. Do not call this function while contexts of
/// rynIterateLibs(), rynIterateAttrs() or rynIterateVekLibFiles() exist, because they point into the registry.
VEK_API void rynAddCommand(rynHandle handle, const char *text);

/// Prints the registry `handle`: its files, its libraries with their attributes, its hash buckets, and its global
/// temporary roots.
/// @param stream  null for standard output
VEK_API void rynDumpEverything(rynHandle handle, FILE *stream);

// ---- implicit temporary directory

/// Sets the implicit temporary directory of a registry. In this directory, each library has a subdirectory with
/// the name of the library: the implicit temporary directory of that library. The subdirectories are not created:
/// create the subdirectory of a library before you write to it or iterate over the library.
///
/// @param handle        the registry. Null does not mean the default handle: the result is RYN_INVALID_PARAMETER,
///                      without a report
/// @param directory     an existing directory; null or empty, with `flags` 0, removes the setting
/// @param flags         RYN_IMPLICIT_NONE, RYN_IMPLICIT_ONLY or RYN_IMPLICIT_FIRST
/// @param errorHandler  receives the failures of this call and of all later calls for the same registry; null keeps
///                      the registry's error handler
/// @return RYN_OK; RYN_INVALID_PARAMETER, without a report, for invalid arguments; or the code of another failure,
///         which is reported and removes the setting
VEK_API int rynSetImplicitTmp(rynHandle handle, const char *directory, unsigned flags,
                              rynErrorHandler errorHandler);

/// Flags of the implicit temporary directory, for rynSetImplicitTmp().
enum {
    RYN_IMPLICIT_NONE = 0, ///< no implicit temporary directory; removes the setting
    RYN_IMPLICIT_ONLY = 1, ///< after a failure in this directory, no other is tried
    RYN_IMPLICIT_FIRST = 2 ///< after a failure, the library's other temporary directory is tried
};

/// Stores the flags that were given to rynSetImplicitTmp() for the registry `handle` in `*flagsOut`; 0 if there is
/// no implicit temporary directory. After a failure, `*flagsOut` is unchanged.
VEK_API int rynGetImplicitTmpFlags(rynHandle handle, unsigned *flagsOut);

// ---- queries
//
// A design object is a library, or a cell, view or file in it. Names that an object does not have are null or
// empty.

/// Modes of rynGetPath(): which directories are searched, and which access to the object is tested. A library has
/// its own directory and up to two temporary directories: first the implicit one is searched, then the explicit
/// one. WHILE PATHS NEED NOT EXIST, which is the default, the modes that read return the path in the first
/// directory, even if the object is not there; see rynSetPathNoneExistWarnFlag().
enum {
    RYN_PATH_READ = 0,             ///< temporary directories, then the library; to be read
    RYN_PATH_WRITE = 1,            ///< the first that is set: implicit, explicit, library; to be written
    RYN_PATH_READ_TMP = 2,         ///< temporary directories only; to be read
    RYN_PATH_WRITE_TMP = 3,        ///< the first that is set: implicit, explicit; to be written
    RYN_PATH_READ_LIBRARY = 4,     ///< the library only; to be read
    RYN_PATH_WRITE_LIBRARY = 5,    ///< the library only; to be written
    RYN_PATH_REPLACE = 6,          ///< as RYN_PATH_READ; must exist and be replaceable
    RYN_PATH_REPLACE_EXPLICIT = 7, ///< as RYN_PATH_REPLACE; a failure in the explicit one ends the search
    RYN_PATH_REPLACE_TMP = 8,      ///< as RYN_PATH_REPLACE_EXPLICIT, in temporary directories only
    RYN_PATH_REPLACE_LIBRARY = 9   ///< as RYN_PATH_REPLACE, in the library only
};

/// Finds the path of a design object in the registry `handle`: of `library`, or of the `cell`, `view` or `file` in
/// it.
///
/// WHILE PATHS NEED NOT EXIST, which is the default, the modes that read do not test whether the object exists;
/// see rynSetPathNoneExistWarnFlag(). Modes that write create missing cell and view directories, but never the
/// directory of the library. If RYN_PATH_READ or RYN_PATH_READ_TMP fails in the explicit temporary directory for
/// another reason than a missing object, that failure is the result, and the library's own directory is not
/// searched.
///
/// @param handle  the registry; null for the default handle
/// @param mode    a RYN_PATH_... value
/// @param path    receives the path
/// @param size    size of `path` in bytes, including the NUL
/// @return RYN_OK; RYN_LIBRARY_NOT_DEFINED; RYN_BUFFER_TOO_SMALL; RYN_INVALID_PATH if the path is too long, or if
///         a view is given without a cell; RYN_NO_SUCH_DIRECTORY if the library's directory does not exist, or if
///         the mode needs a temporary directory and there is none; RYN_NOT_FOR_PACKED; RYN_SYSTEM_ERROR; or the
///         RYN_NO_SUCH_... or RYN_PERMISSION_DENIED_... code of the outermost level (library, cell, view, file) for
///         which the test fails
VEK_API int rynGetPath(rynHandle handle, unsigned mode, const char *library, const char *cell,
                       const char *view, const char *file, char *path, size_t size);

/// Flags of rynQuery(), combined by OR. RYN_QUERY_LIBRARY searches the library's own directory, RYN_QUERY_TMP its
/// temporary directories. If neither is given, all these directories are searched. The other flags select what is
/// tested; if none of them is given, only the existence of the object is tested.
enum {
    RYN_QUERY_LIBRARY = 1U << 0U,
    RYN_QUERY_TMP = 1U << 1U,
    RYN_QUERY_EXISTS = 1U << 2U,
    RYN_QUERY_READABLE = 1U << 3U,
    RYN_QUERY_WRITABLE = 1U << 4U,
    RYN_QUERY_EXECUTABLE = 1U << 5U
};

/// Tests whether a design object in the registry `handle` exists: `library`, or the `cell`, `view` or `file` in
/// it. Also makes the tests in `flags`, which are RYN_QUERY_... values, combined by OR. The existence is always
/// read from disk, not from the stat cache.
///
/// @return RYN_OK if the object exists and passes the tests; RYN_LIBRARY_NOT_DEFINED; the RYN_NO_SUCH_... or
///         RYN_PERMISSION_DENIED_... code of the most specific name given; RYN_NO_SUCH_DIRECTORY if only temporary
///         directories are searched and none contains the object; RYN_INVALID_PATH; or RYN_SYSTEM_ERROR
VEK_API int rynQuery(rynHandle handle, unsigned flags, const char *library, const char *cell,
                     const char *view, const char *file);

// The registry owns the paths that the next functions store. A path is valid until the registry is released.

/// Finds the statement that last defined `library` in the registry `handle`. Stores the path of its library
/// definition file in `*file` and its line number in `*line`; null and 0 after a failure.
/// @return RYN_OK; RYN_LIBRARY_NOT_DEFINED; RYN_INTERNAL_ERROR if no file is recorded
VEK_API int rynWhereDefined(rynHandle handle, const char *library, const char **file, int *line);

/// Finds the statement that last assigned `attribute` of `library` in the registry `handle`. Stores its location
/// in `*file` and `*line` like rynWhereDefined(). The case of the attribute's name is ignored.
/// @return RYN_OK; RYN_LIBRARY_NOT_DEFINED; RYN_ATTRIBUTE_NOT_ASSIGNED
VEK_API int rynWhereAssigned(rynHandle handle, const char *library, const char *attribute, const char **file,
                             int *line);

/// Finds the statement that last assigned the global temporary root (ASSIGN AllLibs TmpRootDir) in the registry
/// `handle`. Stores its location in `*file` and `*line` like rynWhereDefined(), but `file` and `line` may be null.
/// @return RYN_OK or RYN_ATTRIBUTE_NOT_ASSIGNED
VEK_API int rynWhereGlobalExplicitTmp(rynHandle handle, const char **file, int *line);

/// Finds the statement that included the library definition file `path` in the registry `handle`. Stores the path
/// of the including file in `*file` and the line number of the statement in `*line`; null and 0 for the file that
/// was given to rynInitEx().
/// @return RYN_OK; RYN_FILE_NOT_INCLUDED; or the code of the failure to resolve `path`
VEK_API int rynWhereIncluded(rynHandle handle, const char *path, const char **file, int *line);

/// @return RYN_OK if `library` is defined in the registry `handle`, otherwise RYN_LIBRARY_NOT_DEFINED
VEK_API int rynIsDefined(rynHandle handle, const char *library);

/// @return RYN_OK if `attribute` of `library` is assigned in the registry `handle`, otherwise
///         RYN_LIBRARY_NOT_DEFINED or RYN_ATTRIBUTE_NOT_ASSIGNED
VEK_API int rynIsAssigned(rynHandle handle, const char *library, const char *attribute);

/// @return RYN_OK if the registry `handle` has read the library definition file `path`, otherwise
///         RYN_FILE_NOT_INCLUDED, or the code of the failure to resolve `path`
VEK_API int rynIsIncluded(rynHandle handle, const char *path);

/// Kinds of temporary directories of a library, by what sets them: ASSIGN library TMP (explicit), ASSIGN AllLibs
/// TmpRootDir (global), rynSetImplicitTmp() (implicit).
enum { RYN_TMP_EXPLICIT = 1, RYN_TMP_GLOBAL = 2, RYN_TMP_IMPLICIT = 4 };

/// Tests whether `library` of the registry `handle` has a temporary directory of one of the kinds in `which`. The
/// kinds are RYN_TMP_... values, combined by OR.
///
/// @return RYN_OK if there is one; RYN_ATTRIBUTE_NOT_ASSIGNED if there is none; RYN_LIBRARY_NOT_DEFINED;
///         RYN_INVALID_PARAMETER, without a report, for a missing handle or a null library
VEK_API int rynLibHasTmp(rynHandle handle, const char *library, unsigned which);

// ---- searches by library
//
// Each of these functions creates a search list, searches it for a file, and releases it; see pux(3). The next
// search along the default search list therefore builds that list again. "@LIBRARY" in the list represents the
// directories of a library: its explicit or global temporary directory, its implicit temporary directory, and its
// own. In these directories, only ".tolvane" is searched. In all other directories of the list, the given
// subdirectories (search groups) are searched. A library that is null, not defined or does not exist adds no
// directories. A missing handle is reported, and the search continues.
//
// The results are RYN_OK; RYN_INTERNAL_ERROR if there is no search list (before vekInit(), or if memory is
// exhausted); RYN_INVALID_PARAMETER, without a report, for a null name or output; RYN_BUFFER_TOO_SMALL;
// RYN_NO_SUCH_FILE; and RYN_PERMISSION_DENIED_FILE, with the path in the buffer, if the first match cannot be
// read.

/// Finds the first file with the name `name` in the directories of the search list.
///
/// @param handle     the registry that defines `library`; ignored if `library` is null
/// @param directory  the name of the subdirectory to search in each directory of the search list; null for the
///                   default subdirectories, see pux(3)
/// @param library    the library whose directories replace "@LIBRARY" in the search list, or null
/// @param path       receives the path
/// @param size       size of `path` in bytes, including the NUL
VEK_API int rynSearch(rynHandle handle, const char *name, const char *directory, const char *library,
                      char *path, size_t size);

/// Finds the first file with the name `name`, like rynSearch() with `handle` and `library`, but searches several
/// subdirectories in each directory of the search list. Their names are in the string list `directories`; if it is
/// null, the default subdirectories are searched. Stores the path in the `size` bytes at `path`.
VEK_API int rynSearchList(rynHandle handle, const char *name, char **directories, const char *library,
                          char *path, size_t size);

/// Finds files with the name `name`: one search for each directory of a library. Each search is like rynSearch(),
/// with only that directory in the place of "@LIBRARY". Documented: if several searches find the same file, its
/// path is stored several times.
///
/// @param handle     the registry
/// @param directory  the name of the subdirectory to search in each directory of the search list; null for the
///                   default subdirectories
/// @param library    if it is null, not defined or does not exist, nothing is searched
/// @param paths      receives a string list, which the caller frees with vekFreeStrlist(); null unless the result
///                   is RYN_OK
/// @return RYN_OK; RYN_NO_SUCH_FILE if no search succeeds, for any reason; RYN_INTERNAL_ERROR if there is no
///         search list; RYN_MEMORY_ERROR; RYN_INVALID_PARAMETER if `paths` is null
VEK_API int rynFullSearch(rynHandle handle, const char *name, const char *directory, const char *library,
                          char ***paths);

/// Finds files with the name `name`, like rynFullSearch() with `handle` and `library`, but searches several
/// subdirectories in each directory of the search list. Their names are in the string list `directories`; if it is
/// null, the default subdirectories are searched. Stores the paths in `*paths`.
VEK_API int rynFullSearchList(rynHandle handle, const char *name, char **directories, const char *library,
                              char ***paths);

/// Finds the first file with the name `name` that can be written, like rynSearch() with the default subdirectories.
/// Stores the path in the `size` bytes at `path`. Only directories of `library` in the registry `handle` that can
/// be written replace "@LIBRARY" in the search list; `library` may be null.
VEK_API int rynFindWritable(rynHandle handle, const char *name, const char *library, char *path, size_t size);

// ---- stat cache

/// Increases or decreases the counter that switches the stat cache of the process. While the counter is above 0,
/// results of stat() and access() are stored and used again, so that later changes on disk are not seen. When the
/// counter becomes 0, the cache is emptied. Creating a registry sets the counter: to 1 if the environment variable
/// `RYN_STAT_CACHE_ON` is set to anything but "no" (in upper or lower case), otherwise to 0.
/// @param on  1, or any other value except 0, increases the counter by 1. 0 decreases the counter by 1, but not below
///            zero
/// @return the new value of the counter
VEK_API int rynStatCacheCtl(int on);

// ---- iteration
//
// An iteration is created by a rynIterate...() or rynXIterate...() function, which stores a context. Each call of
// a rynNext...() function stores the next item, until it returns RYN_ITERATION_COMPLETE. rynIterateEnd() frees the
// context. The strings that are stored belong to the context or the registry.
//
// CONTEXTS MUST NOT OUTLIVE CHANGES OF THE REGISTRY. The contexts of rynIterateLibs(), rynIterateAttrs() and
// rynIterateVekLibFiles() point into the registry: end them before rynAddCommand() or rynReleaseHandle(). The
// other functions read the disk when the context is created: end their contexts before rynReleaseHandle().
//
// A rynXIterate...() function reads only the directories that its argument `source` selects. A name that is in
// several directories is returned once. Cells, views and files are returned in no particular order.
//
// Results of all functions that create a context (after a failure, the context is null): RYN_OK, also if there are
// no items; RYN_INVALID_PARAMETER, reported, for a missing handle, a null library or context, and a null or empty
// cell or view; RYN_LIBRARY_NOT_DEFINED; RYN_MEMORY_ERROR, reported.
//
// Further results of functions that read the disk:
//
// RYN_NO_SUCH_DIRECTORY: only temporary directories are to be read and the library has none; or paths must exist
// and the library's directory does not exist.
//
// RYN_NO_SUCH_CELL, RYN_NO_SUCH_VIEW: paths must exist, and no directory of the library contains the given cell
// (for iterations over a cell) or view (for iterations over a view, also if the cell is missing).
//
// RYN_SYSTEM_ERROR: a directory cannot be opened. rynIterateCells() and rynIterateLibFiles() return this code if a
// temporary directory of the library does not exist. WHILE PATHS NEED NOT EXIST, the other functions also return it if
// one of the library's directories does not contain the given cell or view; see rynSetPathNoneExistWarnFlag().
//
// RYN_PERMISSION_DENIED: opening a directory fails with EACCES. If paths must exist, also
// RYN_PERMISSION_DENIED_LIBRARY, RYN_PERMISSION_DENIED_CELL or RYN_PERMISSION_DENIED_VIEW.
//
// RYN_INVALID_PATH: a path has more than 4095 characters. RYN_INTERNAL_ERROR: a name in a directory has more than
// 255 bytes. RYN_NOT_FOR_PACKED: the library is packed and packed libraries are not supported.

/// Flags for the argument `source` of the rynXIterate...() functions, combined by OR. RYN_SOURCE_LIBRARY reads the
/// library's own directory, RYN_SOURCE_TMP its temporary directories. 0 reads all of them.
enum { RYN_SOURCE_LIBRARY = 1, RYN_SOURCE_TMP = 2 };

/// Creates an iteration over the libraries of the registry `handle`, in the order of their definition. Stores it
/// in `*context`, for rynNextLib().
VEK_API int rynIterateLibs(rynHandle handle, rynContext **context);

/// Creates an iteration over the cells of `library` in the registry `handle`. Stores it in `*context`, for
/// rynNextCell(). Every name in the library that consists only of ASCII letters, digits, "_", "@" and "#" is a
/// cell.
VEK_API int rynIterateCells(rynHandle handle, const char *library, rynContext **context);

/// Creates an iteration over the views of `cell` of `library` in the registry `handle`. Stores it in `*context`,
/// for rynNextView(). Every name in the cell that consists only of ASCII letters, digits, "_", "@" and "#" is a
/// view.
VEK_API int rynIterateViews(rynHandle handle, const char *library, const char *cell, rynContext **context);

/// Creates an iteration over the files of `library` in the registry `handle`. Stores it in `*context`, for
/// rynNextFile(). Every name in the library that is not a valid cell name is a file, even if it names a directory.
VEK_API int rynIterateLibFiles(rynHandle handle, const char *library, rynContext **context);

/// Creates an iteration over the files of `cell` of `library` in the registry `handle`. Stores it in `*context`,
/// for rynNextFile(). Every name in the cell that is not a valid view name is a file, even if it names a
/// directory.
VEK_API int rynIterateCellFiles(rynHandle handle, const char *library, const char *cell,
                                rynContext **context);

/// Creates an iteration over the files of `view` of `cell` of `library` in the registry `handle`. Stores it in
/// `*context`, for rynNextFile(). Every name in the view that is not a valid view name is a file: a name of only
/// letters, digits, "_", "@" and "#" is left out.
VEK_API int rynIterateViewFiles(rynHandle handle, const char *library, const char *cell, const char *view,
                                rynContext **context);

/// Creates an iteration over everything below `view` of `cell` of `library` in the registry `handle` that is not a
/// directory, at any depth. Stores it in `*context`, for rynNextFile(). The items are paths relative to the view.
///
/// Symbolic links to directories are followed. Cycles of symbolic links are not detected: a cycle is followed
/// until a path contains more links than the system resolves (40). If such a path is in the library's own
/// directory, it is returned as an item. If it is in a temporary directory, the creation fails with
/// RYN_SYSTEM_ERROR.
///
/// Several cycles can give an exponential number of paths. Therefore links to directories are followed at most
/// 1,000,000 times, plus 64 times for each different link. The library's own directory and each temporary
/// directory have separate limits. Above the limit, the creation fails with RYN_SYSTEM_ERROR, without a report.
VEK_API int rynIterateAllViewFiles(rynHandle handle, const char *library, const char *cell, const char *view,
                                   rynContext **context);

/// Creates an iteration over the library definition files that the registry `handle` has read. Stores it in
/// `*context`, for rynNextFile(). The items are full paths.
VEK_API int rynIterateVekLibFiles(rynHandle handle, rynContext **context);

/// Creates an iteration over the attributes of `library` in the registry `handle`, the newest first. Stores it in
/// `*context`, for rynNextAttr().
VEK_API int rynIterateAttrs(rynHandle handle, const char *library, rynContext **context);

/// Creates an iteration over the cells of `library` in the registry `handle`, like rynIterateCells(), but reads
/// only the directories that `source` selects: RYN_SOURCE_... values, combined by OR. Stores it in `*context`.
VEK_API int rynXIterateCells(rynHandle handle, unsigned source, const char *library, rynContext **context);

/// Creates an iteration over the views of `cell` of `library` in the registry `handle`, like rynIterateViews(),
/// but reads only the directories that `source` selects: RYN_SOURCE_... values, combined by OR. Stores it in
/// `*context`.
VEK_API int rynXIterateViews(rynHandle handle, unsigned source, const char *library, const char *cell,
                             rynContext **context);

/// Creates an iteration over the files of `library` in the registry `handle`, like rynIterateLibFiles(), but reads
/// only the directories that `source` selects: RYN_SOURCE_... values, combined by OR. Stores it in `*context`.
VEK_API int rynXIterateLibFiles(rynHandle handle, unsigned source, const char *library, rynContext **context);

/// Creates an iteration over the files of `cell` of `library` in the registry `handle`, like
/// rynIterateCellFiles(), but reads only the directories that `source` selects: RYN_SOURCE_... values, combined by
/// OR. Stores it in `*context`.
VEK_API int rynXIterateCellFiles(rynHandle handle, unsigned source, const char *library, const char *cell,
                                 rynContext **context);

/// Creates an iteration over the files of `view` of `cell` of `library` in the registry `handle`, like
/// rynIterateViewFiles(), but reads only the directories that `source` selects: RYN_SOURCE_... values, combined by
/// OR. Stores it in `*context`.
VEK_API int rynXIterateViewFiles(rynHandle handle, unsigned source, const char *library, const char *cell,
                                 const char *view, rynContext **context);

/// Creates an iteration over all files below `view` of `cell` of `library` in the registry `handle`, like
/// rynIterateAllViewFiles(), but reads only the directories that `source` selects: RYN_SOURCE_... values, combined
/// by OR. Stores it in `*context`.
VEK_API int rynXIterateAllViewFiles(rynHandle handle, unsigned source, const char *library, const char *cell,
                                    const char *view, rynContext **context);

/// Stores the name of the next library of `context` in `*name`.
/// @return RYN_OK; RYN_ITERATION_COMPLETE if there is no next item; RYN_WRONG_CONTEXT_TYPE, reported, if the
///         context has items of another kind; RYN_INVALID_PARAMETER, reported, for a null argument
VEK_API int rynNextLib(rynContext *context, const char **name);

/// Stores the name of the next cell of `context` in `*name`. Returns the same codes as rynNextLib().
VEK_API int rynNextCell(rynContext *context, const char **name);

/// Stores the name of the next view of `context` in `*name`. Returns the same codes as rynNextLib().
VEK_API int rynNextView(rynContext *context, const char **name);

/// Stores the name or path of the next file of `context` in `*name`. Returns the same codes as rynNextLib().
VEK_API int rynNextFile(rynContext *context, const char **name);

/// Stores the name of the next attribute of `context` in `*name` and its value in `*value`. Returns the same codes
/// as rynNextLib().
VEK_API int rynNextAttr(rynContext *context, const char **name, const char **value);

/// Ends an iteration and frees `context`.
VEK_API int rynIterateEnd(rynContext *context);

/// Prints `context`: the kind of its items, the next item, and all items.
/// @param stream  null for standard output
VEK_API void rynDumpContext(const rynContext *context, FILE *stream);

// ---- specifiers and packed libraries

/// Creates a specifier (vekFSSpec, see vekfs(3)) for a design object: `library`, or the `cell`, `view` or `file`
/// in it. The caller frees the specifier with vekFSFreeSpec().
///
/// @param handle   the registry. Null does not mean the default handle: the result is RYN_INVALID_PARAMETER
/// @param mode     a mode of rynGetPath()
/// @param library  may be null if `parent` is given
/// @param parent   null, or a specifier from this function; its names are then combined with the given names.
///                 Documented: if no names are given, `parent` itself is returned; free it only once
/// @param flags    RYN_SPEC_NATIVE or RYN_SPEC_STDIO
/// @param spec     receives the specifier; null after a failure
/// @return RYN_OK; RYN_INVALID_PARAMETER without a report; RYN_MEMORY_ERROR; or a result of rynGetPath()
VEK_API int rynGetSpec(rynHandle handle, unsigned mode, const char *library, const char *cell,
                       const char *view, const char *file, vekFSSpec *parent, unsigned flags,
                       vekFSSpec **spec);

/// Flags of rynGetSpec().
enum {
    RYN_SPEC_NATIVE = 0, ///< files are opened with open()
    RYN_SPEC_STDIO = 1   ///< files are opened as buffered streams, see vekFSStdioCreatePathSpec()
};

/// @return 1 if `spec` is a directory or a symbolic link to a directory, otherwise 0
VEK_API int rynIsSpecDir(vekFSSpec *spec);

/// Makes the packed `library` in the registry `handle` an unpacked one: appends "%" to the name of its archive, so
/// that the library is read from its directory afterwards.
/// @return RYN_OK; RYN_LIBRARY_NOT_DEFINED if the library is not defined or not packed; RYN_SYSTEM_ERROR if the
///         archive cannot be renamed
VEK_API int rynInvalidatePackedLib(rynHandle handle, const char *library);

VEK_END_DECLS

#endif
