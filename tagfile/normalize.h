#ifndef TAGFILE_NORMALIZE_H
#define TAGFILE_NORMALIZE_H

/// Absolute paths with their references replaced: tovNormalizePath() and tovNormalizePathSorta() for C++ callers.

#include "common/text/fixed_text.h"

namespace tov {

/// tovNormalizePath() of `path` into a text, which is undefined after an error.
[[nodiscard]] int normalizePath(const char *path, vek::PathText &normalized);

/// tovNormalizePathSorta() of `path` into a text, which is undefined after an error.
[[nodiscard]] int normalizeExistingPart(const char *path, vek::PathText &normalized);

} // namespace tov

#endif
