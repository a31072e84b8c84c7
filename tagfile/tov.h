#ifndef TOV_H
#define TOV_H

/// Tag files (`vekinfo.tag`): lookup of entries with inheritance from the directories above and along the search
/// list, edits, and the error codes of this layer.
///
/// An entry is a keyword (VEKLIBRARY, VEKLIBCHECK, DMTYPE or NAMESPACE, in any case) or an application entry.
/// Every tag file is parsed once and kept in a process-wide tag cache until tovResetCache().

#include "common/base/vek_api.h"

#include <stdint.h>

VEK_BEGIN_DECLS

/// Result and error codes of the tag file functions.
enum {
    TOV_OK = 0,
    TOV_INTERNAL_ERROR = 1,
    TOV_MEMORY_ERROR = 2,
    TOV_SYSTEM_ERROR = 3,
    TOV_NO_SUCH_DIRECTORY = 4,
    TOV_LIBRARY_NOT_DEFINED = 5,
    TOV_NO_SUCH_FILE = 6,
    TOV_ATTRIBUTE_NOT_ASSIGNED = 7,
    TOV_ACCESS_ERROR = 8,
    TOV_SYNTAX_ERROR = 9,
    TOV_INVALID_PATH = 10,
    TOV_PATH_PROCESSING = 11,
    TOV_INVALID_ENVIRONMENT = 12,
    TOV_BUFFER_TOO_SMALL = 13,
    TOV_INCONSISTENT = 14,
    TOV_FILE_EXISTS = 15,
    TOV_INVALID_ERROR_NUMBER = 16
};

/// Value of `library` and `libcheck` in VekinfoObj if the file does not set them.
#define TOV_UNSET 255

/// Values of `nameSpace` in VekinfoObj.
enum { TOV_NAMESPACE_UNSET = 0, TOV_NAMESPACE_NT = 1, TOV_NAMESPACE_UNIX = 2 };

/// The parsed form of one tag file. The tag cache owns its strings and lists.
typedef struct VekinfoObj {
    struct VekinfoObj *next; ///< next object in the bucket of the cache
    char *path;              ///< path of the tag file
    uint32_t line;           ///< line being parsed; after a successful parse, the number of lines
    uint8_t library;         ///< VEKLIBRARY: TOV_UNSET, 1 present, 0 cleared by an edit
    uint8_t libcheck;        ///< VEKLIBCHECK: TOV_UNSET, 1 ON, 0 OFF
    char *dmtype;            ///< DMTYPE as written in the file, or null
    uint32_t nameSpace;      ///< NAMESPACE: a TOV_NAMESPACE_... value
    char **names;            ///< string list: names of the application entries, in file order
    int32_t namesSize;       ///< allocated size of `names`
    char **values;           ///< string list: their values, in the same order
    int32_t valuesSize;      ///< allocated size of `values`
} VekinfoObj;

// ---- errors

/// An error handler: receives the arguments of tovPrintError() instead of the default report. `text` and `where`
/// are valid during the call only; `where` may be null; `line` is 0 if there is none. The handler may call any
/// function of this layer. It must return: no longjmp(), no C++ exception.
typedef void (*tovErrorHandler)(int code, const char *text, const char *where, int line);

/// @return the constant text of `code`; "invalid error number" for an unknown code
VEK_API const char *tovGetErrorMsg(int code);

/// Reports an error: calls the registered handler with these arguments. Without a handler, composes one message
/// from them and passes it to vekReportError().
///
/// @param text   describes the error
/// @param where  the file or directory that it is about; null or empty for none
/// @param line   the line number in it; 0 for none
/// @return `code`
VEK_API int tovPrintError(int code, const char *text, const char *where, int line);

/// Registers `handler` for all later errors; null restores the default.
/// @return the previous handler; null if there was none
VEK_API tovErrorHandler tovRegisterErrorHandler(tovErrorHandler handler);

/// Maps RYN_ codes to TOV_ codes: the element at index N is the TOV_ code for the RYN_ code N, 0 to 31. It is
/// TOV_INVALID_ERROR_NUMBER if there is no corresponding code.
VEK_API extern const int ryn_to_tov_errorcode_map[32];

// ---- queries
//
// `path` is a file or a directory. References in it, such as `$NAME` and `~`, are replaced first; see
// vekInterpolate(). The search for an entry then goes from directory to directory by the text of the path: after
// "a/.." it continues with "a". Write `$$` for a "$" in a directory name. A name with "~" cannot be given.
//
// Strings that queries return are constants or belong to the tag cache: they are valid until tovResetCache() or
// an edit of their file. `where` is null, or a buffer of VEK_PATH_SIZE bytes. It receives the path of the tag
// file that defines the entry, or the empty string. Errors are reported through tovPrintError(). "Not found" is
// not an error.
//
// Documented: only the lookup that first reads a file tests whether the file has the application entry. For a file
// that is already in the cache, an application entry counts as defined if any entry of the file has another name,
// and as not defined if all entries have the name that is looked up. The search can therefore stop at a file
// without the entry and return null. Call tovResetCache() before each lookup of an application entry.

/// Looks up the entry `name` for `path` in the tag file of the nearest directory, at or above `path`, that
/// defines it. Directories above `path` that are symbolic links are followed. The search ends at the mount point
/// of the file system, at "/net", "/nfs", "/afs" and "/...", at a tag file that cannot be read and at one with a
/// syntax error.
///
/// @param where  null, or receives the path of the tag file
/// @return the value, empty for VEKLIBRARY; null if no tag file defines the entry or after an error
VEK_API const char *tovLookupEntry(const char *path, const char *name, char *where);

/// Looks up the entry `name` for `path` like tovLookupEntry(). If the result is null or empty, looks it up in
/// every `vekinfo.tag` along the search list (puxFullSearch()), in order.
///
/// @param where  null, or receives the path of the tag file
/// @return the value, or null
VEK_API const char *tovLookupEntryX(const char *path, const char *name, char *where);

/// @return the value of DMTYPE for `path`, as from tovLookupEntryX(), or null
VEK_API const char *tovGetDmType(const char *path);

/// Looks up DMTYPE for `path` like tovGetDmType(). `where` receives the path of the tag file that defines it.
VEK_API const char *tovGetDmTypeX(const char *path, char *where);

/// @return the value of NAMESPACE for `path`: "LibraryNT" or "LibraryUnix"; "LibraryUnix" if no tag file defines
///         it. Never null
VEK_API const char *tovGetNameSpace(const char *path);

/// Looks up NAMESPACE for `path` like tovGetNameSpace(). `where` receives the path of the tag file that defines it.
VEK_API const char *tovGetNameSpaceX(const char *path, char *where);

/// @return 1 if the tag file in the directory `path` has the VEKLIBRARY entry, otherwise 0. If `path` does not
///         exist, its nearest existing parent is used
VEK_API int tovIsLibrary(const char *path);

/// Tests `path` like tovIsLibrary(). `where` receives the path of the tag file that has the entry.
VEK_API int tovIsLibraryX(const char *path, char *where);

/// @return 1 if a tag file at or above `path` has the VEKLIBRARY entry, otherwise 0
VEK_API int tovIsInLibrary(const char *path);

/// Tests `path` like tovIsInLibrary(). `where` receives the path of the tag file that has the entry.
VEK_API int tovIsInLibraryX(const char *path, char *where);

/// @return the value of VEKLIBCHECK for the working directory: 1 for ON; 0 for OFF or if no tag file defines it
VEK_API int tovCheckLibrary(void);

/// Looks up VEKLIBCHECK like tovCheckLibrary(). `where` receives the path of the tag file that defines it.
VEK_API int tovCheckLibraryX(char *where);

// ---- tag files and paths

/// Stores the settings of the tag file `tagPath` in `out`. The first call parses the file and adds it to the tag
/// cache; later calls read the cache.
///
/// The call that parses the file sets `*found` to 1 if the file has the entry `element`, otherwise to 0; a null
/// `element` gives 0. Documented: for a file in the cache, an application entry counts as defined if any entry has
/// another name, and as not defined if all entries have this name; a null `element` counts as defined.
///
/// @param tagPath  the path of the file; the same file under another spelling is parsed again
/// @param element  the name of an entry, or null
/// @param out      receives a shallow copy, whose strings and lists belong to the cache; may be null
/// @param found    receives 1 or 0; may be null
/// @return TOV_OK; TOV_NO_SUCH_FILE without a report; or the reported code of a failed reading
VEK_API int tovGetVekinfoAtLoc(const char *tagPath, const char *element, VekinfoObj *out, int *found);

/// Searches from `startDir` up to the root for the first tag file that defines the entry `element`, as
/// tovGetVekinfoAtLoc() tests it.
///
/// @param startDir    an absolute path; null finds nothing
/// @param out, found  as in tovGetVekinfoAtLoc(); `*found` is 0 if no tag file was found
/// @return TOV_OK, also if nothing was found; or a reported code
VEK_API int tovLocalSearchElement(const char *startDir, const char *element, VekinfoObj *out, int *found);

/// Replaces the references in `path`, checks that the result exists and can be read, and makes it absolute. ".."
/// and symbolic links remain.
///
/// @param out  receives the result; must have VEK_PATH_SIZE bytes
/// @return TOV_OK, or TOV_PATH_PROCESSING after reporting it. A path of more than 1023 characters fails
VEK_API int tovNormalizePath(const char *path, char *out);

/// Normalizes `path` like tovNormalizePath(). If `path` does not exist or cannot be read, normalizes its nearest
/// parent that exists and can be read.
///
/// @param out  receives the result; must have VEK_PATH_SIZE bytes
/// @return TOV_OK, or TOV_PATH_PROCESSING after reporting it
VEK_API int tovNormalizePathSorta(const char *path, char *out);

/// Empties the tag cache and the cache of symbolic links. Strings that queries returned are freed.
VEK_API void tovResetCache(void);

// ---- edits
//
// EDITS OF APPLICATION ENTRIES DELETE OTHER APPLICATION ENTRIES; see tovAddEntry() and tovRemoveEntry(). To
// change an application entry, change the file as text.
//
// An edit rewrites the whole tag file of `dir`. Comments, layout, and the third and later words of a line are
// lost. If writing fails, the old file is restored. A tag file that is a symbolic link is followed, and its
// target is written: do not edit as root in directories that others can write.
//
// Edits of one file by several processes are serialized. An edit waits up to 30 s for an exclusive lock on the
// file (fcntl(), F_OFD_SETLK) and then reads the file again, even if it is in the tag cache. If the wait ends
// without the lock, the edit fails with TOV_SYSTEM_ERROR and writes nothing. On a file system without locks, the
// edit continues without one.
//
// The lock is released before an error handler is called. Afterwards the tag cache holds what was written. `dir`
// is used as given: references in it are not replaced. All functions return 1 for success, and 0 after a reported
// failure.

/// Clears the entry `name` in the tag file of `dir`. A file that is missing, cannot be read or has a syntax error
/// is left unchanged, which is a success.
///
/// DATA LOSS. Documented: if `name` is not a keyword, the application entries of this name are kept, and all
/// others are deleted. If there are no others, the entries do not change.
VEK_API int tovRemoveEntry(const char *dir, const char *name);

/// Clears the entry `name` in the tag file of `dir` like tovRemoveEntry(), then adds it with `value`. A missing
/// file is created.
///
/// DATA LOSS. Documented: if `name` is not a keyword, all application entries with other names are deleted, and
/// an old entry of the same name remains before the new one, so that lookups return the old value. If the file
/// cannot be read or has a syntax error, the new file contains only this entry.
///
/// A name or value that would be a syntax error in the file is reported and not written; the result is 1. If
/// `name` is a keyword, its entry is then cleared; otherwise the file is unchanged.
///
/// @param value  ignored for VEKLIBRARY. For DMTYPE one word, or empty to clear the entry. Documented:
///               VEKLIBCHECK with "OFF" only clears the entry
VEK_API int tovAddEntry(const char *dir, const char *name, const char *value);

/// Adds the entry DMTYPE with `value` to the tag file of `dir`, like tovAddEntry().
VEK_API int tovSetPathDmType(const char *dir, const char *value);

/// Adds the entry DMTYPE with the value "none" to the tag file of `dir`, like tovAddEntry().
VEK_API int tovSetPathUnmanaged(const char *dir);

/// Clears the entry DMTYPE in the tag file of `dir`, like tovRemoveEntry().
VEK_API int tovClearPathUnmanaged(const char *dir);

/// Creates the tag file of `dir` with the template text, followed by each string of the string list `lines` on a
/// line of its own. A line that would be a syntax error is reported and left out, which is not a failure. An
/// existing file is never overwritten: this fails with TOV_FILE_EXISTS.
VEK_API int tovCreateInfoFile(const char *dir, char **lines);

VEK_END_DECLS

#endif
