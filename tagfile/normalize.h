#ifndef TAGFILE_NORMALIZE_H
#define TAGFILE_NORMALIZE_H

/// Normalizes paths: replaces references such as `$NAME` and makes the path absolute. Implements tovNormalizePath() and
/// tovNormalizePathSorta().

#include "common/text/fixed_text.h"

namespace tov {

/// Normalizes `path` like tovNormalizePath().
/// @param normalized  receives the result; its content is undefined after an error
/// @return TOV_OK, or TOV_PATH_PROCESSING after reporting it
[[nodiscard]] int normalizePath(const char *path, vek::PathText &normalized);

/// Normalizes `path`, or its nearest parent that exists and can be read, like tovNormalizePathSorta().
/// @param normalized  receives the result; its content is undefined after an error
/// @return TOV_OK, or TOV_PATH_PROCESSING after reporting it
[[nodiscard]] int normalizeExistingPart(const char *path, vek::PathText &normalized);

} // namespace tov

#endif
