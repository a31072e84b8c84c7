#ifndef TAGFILE_NORMALIZE_H
#define TAGFILE_NORMALIZE_H

/// Path normalization: replaces references such as `$NAME` and `~` in a path by their values, and makes the path
/// absolute. tovNormalizePath() and tovNormalizePathSorta() call these functions.

#include "common/text/fixed_text.h"

namespace tov {

/// Replaces references such as `$NAME` in `path` and makes the result absolute. Fails if the result does not exist or
/// cannot be read.
/// @param normalized  receives the absolute path; its content is undefined after an error
/// @return TOV_OK; or TOV_PATH_PROCESSING after an error, which has been reported through tovPrintError()
[[nodiscard]] int normalizePath(const char *path, vek::PathText &normalized);

/// Normalizes `path` like normalizePath(). If `path` does not exist or cannot be read, normalizes the nearest directory
/// above `path` that exists and can be read.
/// @param normalized  receives the absolute path; its content is undefined after an error
/// @return TOV_OK; or TOV_PATH_PROCESSING after an error, which has been reported through tovPrintError()
[[nodiscard]] int normalizeExistingPart(const char *path, vek::PathText &normalized);

} // namespace tov

#endif
