#ifndef TAGFILE_TAG_PATH_H
#define TAGFILE_TAG_PATH_H

/// The name of the tag file, and its path in a directory.

#include "common/base/owned.h"
#include "common/text/fixed_text.h"

#include <string_view>

namespace tov {

inline constexpr std::string_view kTagFileName = "vekinfo.tag";

/// Appends the name of the tag file to a directory, after a "/" unless one is there.
/// @return false if the path does not fit: no such file can exist
[[nodiscard]] inline bool appendTagFileName(vek::PathText &directory) {
    return directory.appendAll(directory.back() == '/' ? "" : "/", kTagFileName);
}

/// The path that edits write: `dir` as it is, "/" and the name, of any length.
/// @return a heap string; null for null, or if memory is exhausted
[[nodiscard]] vek::OwnedText tagFilePath(const char *dir);

} // namespace tov

#endif
