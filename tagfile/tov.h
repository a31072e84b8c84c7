#ifndef TOV_H
#define TOV_H

/// Tag files: text files with the name `vekinfo.tag` that contain one entry, a name and an optional value, per line.
/// The functions look up entries, edit tag files and report errors. A lookup reads the tag file of a directory and
/// those of the directories above it. Some functions also search the directories of the search list.
///
/// An entry is a keyword or an application entry. The keywords are VEKLIBRARY, VEKLIBCHECK, DMTYPE and NAMESPACE, in
/// upper or lower case. Any other name is that of an application entry. A lookup parses a tag file once and keeps the
/// result in the tag cache, a cache of the process, until tovResetCache().

#include "common/base/vek_api.h"

#include <stdint.h>

VEK_BEGIN_DECLS

/// Result and error codes of the functions in this header. TOV_OK is success; every other code is an error.
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

/// Value of the fields `library` and `libcheck` of VekinfoObj if the tag file does not contain the keyword VEKLIBRARY
/// or VEKLIBCHECK.
#define TOV_UNSET 255

/// Values of the field `nameSpace` of VekinfoObj: NAMESPACE is not set, is `LibraryNT`, or is `LibraryUnix`.
enum { TOV_NAMESPACE_UNSET = 0, TOV_NAMESPACE_NT = 1, TOV_NAMESPACE_UNIX = 2 };

/// The settings of one parsed tag file. The tag cache owns the strings and lists of an object that a function of this
/// header has filled: the caller must not free or change them.
typedef struct VekinfoObj {
    struct VekinfoObj *next; ///< next object of the tag cache with the same hash value
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

/// An error handler. If one is registered, tovPrintError() passes its arguments to the handler instead of printing a
/// message. `text` and `where` are valid only during the call; `where` may be null. `line` is 0 if there is no line
/// number. The handler may call any function of this header. It must return normally: longjmp() and C++ exceptions are
/// not allowed.
typedef void (*tovErrorHandler)(int code, const char *text, const char *where, int line);

/// @return a constant text that describes the TOV_ code `code`; "invalid error number" for an unknown code
VEK_API const char *tovGetErrorMsg(int code);

/// Reports an error. If a handler is registered, calls the handler with these arguments. Otherwise composes one message
/// from the arguments and passes the message to vekReportError().
///
/// @param code   the TOV_ code of the error
/// @param text   describes the error
/// @param where  the path of the file or directory in which the error occurred; null or empty if there is none
/// @param line   the line number in that file; 0 if there is none
/// @return `code`
VEK_API int tovPrintError(int code, const char *text, const char *where, int line);

/// Registers `handler` to receive all later errors of the process. If `handler` is null, later errors are reported
/// through vekReportError(), as before the first registration.
/// @return the previous handler; null if there was none
VEK_API tovErrorHandler tovRegisterErrorHandler(tovErrorHandler handler);

/// Translates the RYN_ codes of ryn.h to TOV_ codes: element N, for N from 0 to 31, is the TOV_ code for the RYN_ code
/// N. The element is TOV_INVALID_ERROR_NUMBER if no TOV_ code corresponds to N.
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

/// Looks up the entry `name` in the tag files of the directory `path` and of the directories above it. Stops at the
/// first file that defines the entry. If a directory above `path` is a symbolic link, the search continues at the
/// target of the link.
///
/// The search ends without a result after the tag file of the mount point of the file system. It also ends before the
/// directories "/net", "/nfs", "/afs" and "/...", where remote file systems are mounted. A tag file that cannot be read
/// or has a syntax error also ends the search.
///
/// @param where  null, or a buffer that receives the path of the tag file that defines the entry, or ""
/// @return the value, empty for VEKLIBRARY; null if no tag file defines the entry or after an error
VEK_API const char *tovLookupEntry(const char *path, const char *name, char *where);

/// Looks up the entry `name` for `path` like tovLookupEntry(). If the result is null or empty, searches every
/// `vekinfo.tag` along the search list (puxFullSearch()), in order, and returns the value found there. An empty value
/// found at or above `path` is therefore not returned.
///
/// @param where  null, or a buffer that receives the path of the tag file that defines the entry, or ""
/// @return the value; null if no tag file defines the entry or after an error
VEK_API const char *tovLookupEntryX(const char *path, const char *name, char *where);

/// @return the value that tovLookupEntryX() returns for `path` and DMTYPE; null if no tag file defines DMTYPE
VEK_API const char *tovGetDmType(const char *path);

/// Looks up DMTYPE for `path` like tovGetDmType(). `where` receives the path of the tag file that defines DMTYPE, or
/// "".
VEK_API const char *tovGetDmTypeX(const char *path, char *where);

/// @return the value that tovLookupEntryX() returns for `path` and NAMESPACE: "LibraryNT" or "LibraryUnix". The result
///         is "LibraryUnix" if no tag file defines NAMESPACE or after an error; it is never null
VEK_API const char *tovGetNameSpace(const char *path);

/// Looks up NAMESPACE for `path` like tovGetNameSpace(). `where` receives the path of the tag file that defines
/// NAMESPACE, or "".
VEK_API const char *tovGetNameSpaceX(const char *path, char *where);

/// @return 1 if the tag file in the directory `path` contains VEKLIBRARY, otherwise 0. If `path` does not exist, the
///         nearest existing directory above `path` is tested instead
VEK_API int tovIsLibrary(const char *path);

/// Tests `path` like tovIsLibrary(). `where` receives the path of the tag file that contains VEKLIBRARY, or "".
VEK_API int tovIsLibraryX(const char *path, char *where);

/// @return 1 if tovLookupEntry() finds VEKLIBRARY in the tag file of `path` or of a directory above it, otherwise 0
VEK_API int tovIsInLibrary(const char *path);

/// Tests `path` like tovIsInLibrary(). `where` receives the path of the tag file that contains VEKLIBRARY, or "".
VEK_API int tovIsInLibraryX(const char *path, char *where);

/// @return the value of VEKLIBCHECK for the working directory: 1 for ON; 0 for OFF, if no tag file defines VEKLIBCHECK,
///         or after an error. The tag files at and above the working directory are searched first, then those along the
///         search list
VEK_API int tovCheckLibrary(void);

/// Looks up VEKLIBCHECK like tovCheckLibrary(). `where` receives the path of the tag file that defines VEKLIBCHECK, or
/// "".
VEK_API int tovCheckLibraryX(char *where);

// ---- tag files and paths

/// Stores the settings of the tag file `tagPath` in `out`. The first call parses the file and adds it to the tag cache;
/// later calls read the cache.
///
/// A call that parses the file sets `*found` to 1 if the file has the entry `element`, otherwise to 0. If `element` is
/// null, `*found` is 0.
///
/// Documented: a call that reads the cache sets `*found` differently. If `element` is a keyword, `*found` is 1 if the
/// file defines it. If `element` is another name, `*found` is 1 if the file has an application entry with any name
/// other than `element`, otherwise 0. If `element` is null, `*found` is 1.
///
/// @param tagPath  the path of the file; the same file under another spelling is parsed again
/// @param element  the name of an entry, or null
/// @param out      receives a shallow copy, whose strings and lists belong to the cache; may be null
/// @param found    receives 1 or 0; may be null
/// @return TOV_OK; TOV_NO_SUCH_FILE, which is not reported, if there is no such file; or the code of a reported error
///         if the file cannot be read or parsed
VEK_API int tovGetVekinfoAtLoc(const char *tagPath, const char *element, VekinfoObj *out, int *found);

/// Searches the tag files of the directory `startDir` and of the directories above it for the entry `element`. Stops at
/// the first file for which tovGetVekinfoAtLoc() sets `*found` to 1. See tovLookupEntry() for symbolic links and for
/// the directories at which the search ends.
///
/// @param startDir    an absolute path; if it is null, no directory is searched
/// @param out, found  as in tovGetVekinfoAtLoc(); `*found` is 0 if no tag file was found
/// @return TOV_OK, even if no tag file was found; or the code of a reported error
VEK_API int tovLocalSearchElement(const char *startDir, const char *element, VekinfoObj *out, int *found);

/// Replaces references such as `$NAME` in `path`, checks that the resulting path exists and can be read, and makes it
/// absolute. ".." and symbolic links in the path are kept.
///
/// @param out  receives the result; must have VEK_PATH_SIZE bytes
/// @return TOV_OK; or TOV_PATH_PROCESSING after reporting the error. A path of more than 1023 characters is an error
VEK_API int tovNormalizePath(const char *path, char *out);

/// Normalizes `path` like tovNormalizePath(). If `path` does not exist or cannot be read, normalizes the nearest
/// directory above `path` that exists and can be read.
///
/// @param out  receives the result; must have VEK_PATH_SIZE bytes
/// @return TOV_OK; or TOV_PATH_PROCESSING after reporting the error
VEK_API int tovNormalizePathSorta(const char *path, char *out);

/// Empties the tag cache and the cache of symbolic links. Frees all strings that lookups have returned, so they must
/// not be used any more.
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

/// Clears the entry `name` in the tag file of the directory `dir`. If the file is missing, cannot be read or has a
/// syntax error, it is left unchanged and the result is 1.
///
/// DATA LOSS. Documented: if `name` is not a keyword, the opposite happens, and programs depend on this: the
/// application entries with this name are kept, and all other application entries are deleted. If there are no others,
/// no entry changes.
VEK_API int tovRemoveEntry(const char *dir, const char *name);

/// Clears the entry `name` in the tag file of the directory `dir` like tovRemoveEntry(), then adds the entry `name`
/// with `value`. If the file is missing, it is created.
///
/// DATA LOSS. Documented: if `name` is not a keyword, all application entries with other names are deleted. An old
/// entry with this name remains before the new one, so that lookups return the old value. If the file cannot be read or
/// has a syntax error, its content is replaced by this one entry.
///
/// If `name` and `value` would form a line with a syntax error, the error is reported, the entry is not added, and the
/// result is 1. If `name` is a keyword, its entry is still cleared; otherwise the file is not changed.
///
/// @param value  ignored for VEKLIBRARY. For DMTYPE one word, or empty to clear the entry. Documented: VEKLIBCHECK with
///               "OFF" only clears the entry
VEK_API int tovAddEntry(const char *dir, const char *name, const char *value);

/// Adds the entry DMTYPE with `value` to the tag file of the directory `dir`, like tovAddEntry().
VEK_API int tovSetPathDmType(const char *dir, const char *value);

/// Adds the entry DMTYPE with the value "none" to the tag file of the directory `dir`, like tovAddEntry().
VEK_API int tovSetPathUnmanaged(const char *dir);

/// Clears the entry DMTYPE in the tag file of the directory `dir`, like tovRemoveEntry().
VEK_API int tovClearPathUnmanaged(const char *dir);

/// Creates the tag file of the directory `dir`. The file contains the template, a fixed text of comment lines, and then
/// each string of the string list `lines` on a line of its own. A string that would be a line with a syntax error is
/// reported and left out, and the result is still 1. If the file already exists, it is not changed: TOV_FILE_EXISTS is
/// reported, and the result is 0.
VEK_API int tovCreateInfoFile(const char *dir, char **lines);

VEK_END_DECLS

#endif
