#ifndef TAGFILE_TAG_PATH_H
#define TAGFILE_TAG_PATH_H

/// The file name of tag files, and functions that form the path of the tag file in a directory.

#include "common/base/owned.h"
#include "common/text/fixed_text.h"

#include <string_view>

namespace tov {

inline constexpr std::string_view kTagFileName = "vekinfo.tag";

/// Appends the name of the tag file to `directory`, with a "/" between them unless `directory` ends with one.
/// @return false if the path does not fit into VEK_PATH_SIZE bytes; no system call accepts such a path
[[nodiscard]] inline bool appendTagFileName(vek::PathText &directory) {
    return directory.appendAll(directory.back() == '/' ? "" : "/", kTagFileName);
}

/// Returns the path of the tag file that an edit of `dir` writes: `dir` unchanged, "/" and the name, without a limit on
/// the length.
/// @return a heap string; null if `dir` is null or memory is exhausted
[[nodiscard]] vek::OwnedText tagFilePath(const char *dir);

} // namespace tov

#endif
