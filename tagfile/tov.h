#ifndef TOV_H
#define TOV_H

/// Tag files (`vekinfo.tag`): what they say about a path, with inheritance from the directories above it and
/// along the search list; edits; the error codes of this layer.

#include "common/vek_api.h"

#include <stdint.h>

VEK_BEGIN_DECLS

/// Codes of this layer.
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

/// Values of VekinfoObj's `library` and `libcheck` while the file does not set them.
#define TOV_UNSET 255

/// Values of VekinfoObj's `nameSpace`.
enum { TOV_NAMESPACE_UNSET = 0, TOV_NAMESPACE_NT = 1, TOV_NAMESPACE_UNIX = 2 };

/// The parsed form of one tag file. Objects live in the tag cache; callers borrow them.
typedef struct VekinfoObj {
    struct VekinfoObj *next; ///< chain link inside the cache
    char *path;              ///< the path of the tag file
    uint32_t line;           ///< the line being read; after a successful parse, the number of lines
    uint8_t library;         ///< VEKLIBRARY: TOV_UNSET, 1 present, 0 cleared by an edit
    uint8_t libcheck;        ///< VEKLIBCHECK: TOV_UNSET, 1 ON, 0 OFF
    char *dmtype;            ///< DMTYPE as written, or null
    uint32_t nameSpace;      ///< NAMESPACE: one of TOV_NAMESPACE_...
    char **names;            ///< string list: the application entries' names, in file order
    int32_t namesSize;       ///< its allocated size
    char **values;           ///< string list: their values, parallel to `names`
    int32_t valuesSize;      ///< its allocated size
} VekinfoObj;

// ---- errors

/// Receives what tovPrintError() would report. `text` and `where` are borrowed for the call; `where` may be
/// null; `line` is 0 when there is none.
typedef void (*tovErrorHandler)(int code, const char *text, const char *where, int line);

/// @return the constant text of `code`; "invalid error number" for one that does not exist
VEK_API const char *tovGetErrorMsg(int code);

/// Reports an error: to the registered handler or, when there is none, as one composed line to
/// vekReportError().
///
/// @param text   what the error is about
/// @param where  the place of the error, or null or empty for none
/// @param line   the line number in it, or 0 for none
/// @return `code`
VEK_API int tovPrintError(int code, const char *text, const char *where, int line);

/// Installs `handler`, which receives every error from now on; null restores the default.
/// @return the handler installed before, null when there was none
VEK_API tovErrorHandler tovRegisterErrorHandler(tovErrorHandler handler);

/// Translates the library layer's codes (the index) into codes of this layer.
VEK_API extern const int ryn_to_tov_errorcode_map[32];

// ---- queries
//
// `path` may name a file or a directory. Strings returned are borrowed from the tag cache (until an edit of
// their file or tovResetCache()) or constants. `where` is null, or a buffer of VEK_PATH_SIZE bytes that
// receives the path of the tag file that answered and becomes empty when none did. Errors met on the way are
// reported through tovPrintError(); "not found" is not an error.

/// Looks up the entry `name` for `path`: in the tag file of the nearest directory at or above it that defines
/// the entry. Symbolic links on the way are followed; the walk ends where another file system begins.
///
/// @param where  null, or receives the path of the tag file that answered
/// @return the value (empty for VEKLIBRARY), or null
VEK_API const char *tovLookupEntry(const char *path, const char *name, char *where);

/// tovLookupEntry() of `name` for `path`; when that gives null or an empty value, the first `vekinfo.tag` along
/// the search list that defines the entry answers.
///
/// @param where  null, or receives the path of the tag file that answered
/// @return the value, or null
VEK_API const char *tovLookupEntryX(const char *path, const char *name, char *where);

/// @return the DM type of `path`, as tovLookupEntryX() finds it, or null
VEK_API const char *tovGetDmType(const char *path);

/// tovGetDmType() of `path` that also tells, in `where`, which file answered.
VEK_API const char *tovGetDmTypeX(const char *path, char *where);

/// @return the namespace of `path`: "LibraryNT" or "LibraryUnix", the latter also when no tag file defines
///         one. Never null
VEK_API const char *tovGetNameSpace(const char *path);

/// tovGetNameSpace() of `path` that also tells, in `where`, which file answered.
VEK_API const char *tovGetNameSpaceX(const char *path, char *where);

/// @return 1 when the tag file in `path` itself (or in the nearest existing directory above a path that does
///         not exist) marks a library, else 0
VEK_API int tovIsLibrary(const char *path);

/// tovIsLibrary() of `path` that also tells, in `where`, which file answered.
VEK_API int tovIsLibraryX(const char *path, char *where);

/// @return 1 when `path` or a directory above it is marked as a library, else 0
VEK_API int tovIsInLibrary(const char *path);

/// tovIsInLibrary() of `path` that also tells, in `where`, which file answered.
VEK_API int tovIsInLibraryX(const char *path, char *where);

/// @return the VEKLIBCHECK setting that counts for the working directory: 1 ON, 0 OFF or not defined
VEK_API int tovCheckLibrary(void);

/// tovCheckLibrary() that also tells, in `where`, which file answered.
VEK_API int tovCheckLibraryX(char *where);

// ---- tag files and paths

/// Answers what the tag file `tagPath` says, from the cache when it has been read before.
///
/// @param tagPath  the path of the file; the spelling is the key of the cache
/// @param element  the entry that is looked for, or null
/// @param out      receives a shallow copy: its strings and lists belong to the cache
/// @param found    receives 1 when the file is taken to define `element`. For a file that was read before, an
///                 application entry counts as defined when any entry has another name, and as absent when all
///                 have that name; a null `element` gives 1 there and 0 on the first read
/// @return TOV_OK; TOV_NO_SUCH_FILE without a report; or the reported code of a failed read
VEK_API int tovGetVekinfoAtLoc(const char *tagPath, const char *element, VekinfoObj *out, int *found);

/// Walks from the directory `startDir` toward the root to the first tag file that is taken to define `element`
/// (see tovGetVekinfoAtLoc()).
///
/// @param out, found  as there; `*found` is 0 when no file answers
/// @return TOV_OK, also when nothing was found; or a reported code
VEK_API int tovLocalSearchElement(const char *startDir, const char *element, VekinfoObj *out, int *found);

/// Interpolates `path`, requires the result to exist and be readable, and makes it absolute. Neither ".." nor
/// symbolic links are resolved.
///
/// @param out  receives the result, in VEK_PATH_SIZE bytes
/// @return TOV_OK, or TOV_PATH_PROCESSING after reporting it
VEK_API int tovNormalizePath(const char *path, char *out);

/// tovNormalizePath() that falls back to the nearest existing ancestor of `path`: what is missing is dropped.
/// `out` receives the result, in VEK_PATH_SIZE bytes.
VEK_API int tovNormalizePathSorta(const char *path, char *out);

/// Forgets every parsed tag file and every resolved link. Nothing else ever does.
VEK_API void tovResetCache(void);

// ---- edits
//
// An edit rewrites the whole tag file of `dir` from its parsed form: comments and layout are not kept. A write
// that fails leaves the old file. All return 1 when the file is as asked, 0 after reporting a failure.

/// Clears the entry `name` of the tag file of `dir`. A file that is missing or cannot be read counts as success
/// and stays as it is.
/// Clearing an application entry keeps the entries of that name and drops all others.
VEK_API int tovRemoveEntry(const char *dir, const char *name);

/// Clears the entry `name` of the tag file of `dir` as tovRemoveEntry() does, then adds it with `value`
/// (ignored for VEKLIBRARY). A value the keyword does not allow is reported and not applied, which is no
/// failure.
VEK_API int tovAddEntry(const char *dir, const char *name, const char *value);

/// tovAddEntry() of the DMTYPE entry of `dir`, with `value`.
VEK_API int tovSetPathDmType(const char *dir, const char *value);

/// tovSetPathDmType() of `dir`, with "none".
VEK_API int tovSetPathUnmanaged(const char *dir);

/// tovRemoveEntry() of the DMTYPE entry of `dir`.
VEK_API int tovClearPathUnmanaged(const char *dir);

/// Creates the tag file of `dir`: the template text, then each string of the string list `lines` on a line of
/// its own. Never overwrites a file.
VEK_API int tovCreateInfoFile(const char *dir, char **lines);

VEK_END_DECLS

#endif
