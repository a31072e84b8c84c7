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

/// @return the constant text of a code; "Invalid error number" for one that does not exist
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

/// rynInitEx() without options.
VEK_API int rynInit(const char *libraryFile, unsigned flags, rynWarningHandler warningHandler,
                    rynErrorHandler fatalHandler, rynHandle *handleOut);

/// rynInit() without flags and fatal handler.
VEK_API int rynInitialize(const char *libraryFile, rynWarningHandler warningHandler, rynHandle *handleOut);

/// Frees a registry with all it owns. Releasing the default handle leaves none.
VEK_API int rynReleaseHandle(rynHandle handle);

/// @return the variable that holds the default handle; null before any registry was created
VEK_API rynHandle *rynGetCurHandle(void);

/// Sets the permission bits (group and other; `mask` AND 63) that directories made by this registry go without.
VEK_API int rynSetUmask(rynHandle handle, unsigned mask);

/// Sets the hook that later registries start with. @return the previous one
VEK_API rynUnknownAssignHook rynSetUnknownASSIGNfunc(rynUnknownAssignHook hook);

/// Sets, for registries without a setting of their own, whether paths must exist. Initially off.
VEK_API void rynSetPathNoneExistWarnFlag(int on);

/// Executes one statement of the library definition language. A bad one has no effect and gives no message.
VEK_API void rynAddCommand(rynHandle handle, const char *text);

/// Prints a registry. @param stream null for standard output
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

/// Stores the flags of the implicit temporary directory.
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

/// Finds the path of a design object. @param size bytes of `path`, the NUL included
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

/// Tells whether a design object exists and passes the checks.
VEK_API int rynQuery(rynHandle handle, unsigned flags, const char *library, const char *cell,
                     const char *view, const char *file);

// The paths that these deliver point into the registry.

/// Tells where a library was last defined.
VEK_API int rynWhereDefined(rynHandle handle, const char *library, const char **file, int *line);
/// Tells where an attribute of a library was last assigned.
VEK_API int rynWhereAssigned(rynHandle handle, const char *library, const char *attribute, const char **file,
                             int *line);
/// Tells where the global temporary root was last assigned. Both outputs may be null.
VEK_API int rynWhereGlobalExplicitTmp(rynHandle handle, const char **file, int *line);
/// Tells which statement included a library definition file; null and 0 for the top file.
VEK_API int rynWhereIncluded(rynHandle handle, const char *path, const char **file, int *line);

VEK_API int rynIsDefined(rynHandle handle, const char *library);
VEK_API int rynIsAssigned(rynHandle handle, const char *library, const char *attribute);
VEK_API int rynIsIncluded(rynHandle handle, const char *path);

/// Kinds of temporary directories.
enum { RYN_TMP_EXPLICIT = 1, RYN_TMP_GLOBAL = 2, RYN_TMP_IMPLICIT = 4 };

/// @return RYN_OK when the library has a temporary directory of one of the kinds in `which`, else
///         RYN_ATTRIBUTE_NOT_ASSIGNED, RYN_LIBRARY_NOT_DEFINED, or (without a report) RYN_INVALID_PARAMETER
VEK_API int rynLibHasTmp(rynHandle handle, const char *library, unsigned which);

// ---- stat cache

/// Switches the process-wide stat cache; calls nest. While the counter is 0 nothing is remembered.
/// @param on  non-zero counts up; 0 counts down, and forgets everything whenever the counter is then 0
/// @return the new counter
VEK_API int rynStatCacheCtl(int on);

// ---- iteration
//
// An iterator is created by one call, asked for item after item until RYN_ITERATION_COMPLETE, and freed by
// rynIterateEnd(). What lies on disk is gathered at creation. Strings handed out belong to the context or the
// registry. A failed creation stores null. Each X form takes a source selector.

/// Sources of the X forms; 0 means both.
enum { RYN_SOURCE_LIBRARY = 1, RYN_SOURCE_TMP = 2 };

VEK_API int rynIterateLibs(rynHandle handle, rynContext **context);
VEK_API int rynIterateCells(rynHandle handle, const char *library, rynContext **context);
VEK_API int rynIterateViews(rynHandle handle, const char *library, const char *cell, rynContext **context);
VEK_API int rynIterateLibFiles(rynHandle handle, const char *library, rynContext **context);
VEK_API int rynIterateCellFiles(rynHandle handle, const char *library, const char *cell,
                                rynContext **context);
VEK_API int rynIterateViewFiles(rynHandle handle, const char *library, const char *cell, const char *view,
                                rynContext **context);
VEK_API int rynIterateAllViewFiles(rynHandle handle, const char *library, const char *cell, const char *view,
                                   rynContext **context);
VEK_API int rynIterateVekLibFiles(rynHandle handle, rynContext **context);
VEK_API int rynIterateAttrs(rynHandle handle, const char *library, rynContext **context);

VEK_API int rynXIterateCells(rynHandle handle, unsigned source, const char *library, rynContext **context);
VEK_API int rynXIterateViews(rynHandle handle, unsigned source, const char *library, const char *cell,
                             rynContext **context);
VEK_API int rynXIterateLibFiles(rynHandle handle, unsigned source, const char *library, rynContext **context);
VEK_API int rynXIterateCellFiles(rynHandle handle, unsigned source, const char *library, const char *cell,
                                 rynContext **context);
VEK_API int rynXIterateViewFiles(rynHandle handle, unsigned source, const char *library, const char *cell,
                                 const char *view, rynContext **context);
VEK_API int rynXIterateAllViewFiles(rynHandle handle, unsigned source, const char *library, const char *cell,
                                    const char *view, rynContext **context);

VEK_API int rynNextLib(rynContext *context, const char **name);
VEK_API int rynNextCell(rynContext *context, const char **name);
VEK_API int rynNextView(rynContext *context, const char **name);
VEK_API int rynNextFile(rynContext *context, const char **name);
VEK_API int rynNextAttr(rynContext *context, const char **name, const char **value);

/// Frees a context.
VEK_API int rynIterateEnd(rynContext *context);

/// Prints a context. @param stream null for standard output
VEK_API void rynDumpContext(const rynContext *context, FILE *stream);

// ---- specifiers and packed libraries

/// Makes a specifier for a design object, which the caller frees with vekFSFreeSpec().
///
/// @param handle   null gives RYN_INVALID_PARAMETER; there is no default here
/// @param mode     a mode of rynGetPath()
/// @param library  may be null when `parent` is given
/// @param parent   null, or a specifier of this function whose object the names extend; returned itself when
///                 there are none
/// @param flags    1 for a specifier whose files can be read line by line
VEK_API int rynGetSpec(rynHandle handle, unsigned mode, const char *library, const char *cell,
                       const char *view, const char *file, vekFSSpec *parent, unsigned flags,
                       vekFSSpec **spec);

/// @return 1 when `spec` names a directory, else 0
VEK_API int rynIsSpecDir(vekFSSpec *spec);

/// Puts a packed library's archive aside, under its name with "%" behind; the library reads its directory from
/// then on.
VEK_API int rynInvalidatePackedLib(rynHandle handle, const char *library);

VEK_END_DECLS

#endif
