#ifndef RYNI_PATH_H
#define RYNI_PATH_H

/// Paths: from the text of a library definition file to the full path and the nsl path; the count of reused
/// directories. Every buffer has VEK_PATH_SIZE bytes.

#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// Expands variables and "~" in `text`, makes it absolute against `baseDirectory` and cleans it.
///
/// @param fullOut   receives the full path; `text` itself when a variable is not set
/// @param errorOut  receives the text to report after a failure; may be null
/// @param registry  may be null: then no link is remembered, and no file is being read
/// @return RYN_OK, RYN_INTERNAL_ERROR, RYN_MEMORY_ERROR, or RYN_INVALID_PATH
int ryni_generate_full_path(const char *text, const char *baseDirectory, char *fullOut, char *errorOut,
                            rynRegistry *registry);

/// Resolves every symbolic link in `path`.
///
/// @param nslOut, errorOut  may be null
/// @param checkExistence    whether the path-existence setting is to be heeded
/// @return RYN_OK, RYN_INTERNAL_ERROR, RYN_SYSTEM_ERROR, RYN_PERMISSION_DENIED or RYN_INVALID_PATH
int ryni_generate_nsl_path_ex(const char *path, char *nslOut, char *errorOut, rynRegistry *registry,
                              int checkExistence);

/// ryni_generate_nsl_path_ex() with the existence check on.
int ryni_generate_nsl_path(const char *path, char *nslOut, char *errorOut, rynRegistry *registry);

/// Joins a library's path with the names of a cell, a view and a file that are given and not empty.
/// @return RYN_OK, or RYN_INVALID_PATH for a view without a cell or a path that is too long
int ryni_mkpath(const char *libraryPath, const char *cell, const char *view, const char *file, char *out);

/// Stores a copy of `text` in the owned string `*field`. @return RYN_OK, or RYN_MEMORY_ERROR with `*field` null
int ryniStrcpy(char **field, const char *text);

/// Tells whether `path` can serve as a library directory for an access kind of ryni_access_path().
int ryniIsGoodLibPath(rynRegistry *registry, const char *path, int mode);

/// Generates the full and the nsl path of a directory that must be good for reading.
/// @param errorOut  receives the text to report after a failure; may be null
int ryniMkGoodLibPath(rynRegistry *registry, const char *text, const char *baseDirectory, char *fullOut,
                      char *nslOut, char *errorOut);

/// Counts the library and explicit temporary directories that are `path`, lie in it or hold it.
///
/// @param matchesOut  null, or room for `capacity` libraries; receives the first ones and a null
int ryniLibPathReused(rynRegistry *registry, const char *path, rynLibrary **matchesOut, int capacity);

VEK_END_DECLS

#endif
