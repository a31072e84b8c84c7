#ifndef VEK_TESTS_FS_MEMORY_FS_H
#define VEK_TESTS_FS_MEMORY_FS_H

#include "fs/vek_fs.h"

#include <map>
#include <string>

namespace test {

/// A file-system implementation that stores its files in memory. It shows that a table needs nothing from the native
/// implementation, and that the generic functions depend on the table only.
class MemoryFs {
  public:
    /// Creates a specifier for `path`; the file need not exist. Free it with vekFSFreeSpec().
    int createSpec(const std::string &path, vekFSSpec **spec);

    /// Absolute paths and contents of the files. A directory exists if a file is in it.
    std::map<std::string, std::string> files;
};

} // namespace test

#endif
