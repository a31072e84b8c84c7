#ifndef RYNI_FULL_PATH_H
#define RYNI_FULL_PATH_H

/// Generates full paths: the absolute form of a path in a library definition file, with references replaced and "." and
/// ".." resolved.

#include "common/text/fixed_text.h"
#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// Generates the full path of `text` like ryn::generateFullPath(), and stores the results in C buffers of VEK_PATH_SIZE
/// bytes.
///
/// @param fullOut   receives the full path if the result is RYN_OK; may be null
/// @param errorOut  receives the text to report after a failure; may be null
int ryni_generate_full_path(const char *text, const char *baseDirectory, char *fullOut, char *errorOut,
                            rynRegistry *registry);

VEK_END_DECLS

namespace ryn {

/// Replaces variables and "~" in `text`, makes the path absolute, and removes repeated "/", "." and "..".
///
/// @param text           the path as given; must not point into `full` or `error`
/// @param baseDirectory  the directory that relative paths start from
/// @param full           receives the full path. Documented: it is `text`, unchanged, if a variable or HOME is not set
///                       or a reference is not closed
/// @param error          receives the text to report after a failure
/// @param registry       its cache of symbolic links is used, and the last of its files is the file being read; may be
///                       null
/// @return RYN_OK, RYN_INTERNAL_ERROR, RYN_MEMORY_ERROR or RYN_INVALID_PATH
int generateFullPath(const char *text, const char *baseDirectory, vek::PathText &full, vek::PathText &error,
                     rynRegistry *registry);

} // namespace ryn

#endif
