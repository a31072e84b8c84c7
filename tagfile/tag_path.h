#ifndef TAGFILE_TAG_PATH_H
#define TAGFILE_TAG_PATH_H

/// The name of tag files, `vekinfo.tag`, and functions that form the path of the tag file in a given directory.

#include "common/base/owned.h"
#include "common/text/fixed_text.h"

#include <string_view>

namespace tov {

inline constexpr std::string_view kTagFileName = "vekinfo.tag";

/// Appends "/vekinfo.tag" to the path `directory`, without the "/" if `directory` already ends with "/".
/// @return false if the result does not fit into VEK_PATH_SIZE bytes; system calls reject such a path (ENAMETOOLONG)
[[nodiscard]] inline bool appendTagFileName(vek::PathText &directory) {
    return directory.appendAll(directory.back() == '/' ? "" : "/", kTagFileName);
}

/// Returns `dir` + "/vekinfo.tag", the path of the tag file that an edit of the directory `dir` writes. `dir` is used
/// as given, and its length is not limited.
/// @return a heap string; null if `dir` is null or memory is exhausted
[[nodiscard]] vek::OwnedText tagFilePath(const char *dir);

} // namespace tov

#endif
