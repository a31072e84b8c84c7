#ifndef TOVI_PATH_H
#define TOVI_PATH_H

/// The name of the tag file, and the two ways of putting it behind a directory.

#include "common/fixed_text.h"
#include "common/owned.h"

#include <string_view>

inline constexpr std::string_view kTagFileName = "vekinfo.tag";

/// Appends the name of the tag file to a directory, behind a "/" unless one is there.
/// @return false when the path does not fit: no such file can exist
[[nodiscard]] inline bool appendTagFileName(vek::PathText &directory) {
    return directory.appendAll(directory.back() == '/' ? "" : "/", kTagFileName);
}

/// The path that edits write: `dir` as it stands, "/" and the name, of any length.
/// @return a heap string; null for null, or when memory is exhausted
[[nodiscard]] vek::OwnedText toviTagFilePath(const char *dir);

#endif
