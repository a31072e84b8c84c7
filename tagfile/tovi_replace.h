#ifndef TOVI_REPLACE_H
#define TOVI_REPLACE_H

#include <string_view>

/// Makes `text` the content of the file `path`, in place: inode, owner, mode and links stay. The file is created
/// when it does not exist. When a step fails, the file is left with the content it had, or missing if it was
/// missing (a file that may be written but not read can only be protected until the first byte is written).
///
/// At every moment in between the file reads as the old text or as the new one, the latter followed by empty
/// lines; where the file system cannot reserve room (fallocate), the old text may also be followed by the end
/// of the new one.
///
/// @return whether `text` is in the file
[[nodiscard]] bool toviReplaceFile(const char *path, std::string_view text);

#endif
