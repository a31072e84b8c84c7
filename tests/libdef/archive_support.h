#ifndef TESTS_LIBDEF_ARCHIVE_SUPPORT_H
#define TESTS_LIBDEF_ARCHIVE_SUPPORT_H

/// Replacements for the archive layer and for readdir(), linked with --wrap (CMakeLists.txt).

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include <sys/types.h>

namespace test {

/// A simulated archive layer. An archive that is not in `contents` cannot be opened, as with the stubs.
struct ArchiveLayer {
    std::map<std::string, std::string> contents; ///< the directory with the contents of each archive
    std::map<std::string, int> statStatus;       ///< the result of stat() for a path inside an archive
    std::map<std::string, mode_t> modes;         ///< the mode of a path inside an archive
    int createStatus = 0;                        ///< the result of making a specifier
    int modeStatus = 0;                          ///< the result of reading the mode of a stat record
    int freeStatus = 0;                          ///< the result of freeing a specifier
    std::size_t nameBytes = 0;                   ///< the size that entries of directories named "long" report
    /// Whether it has its own readdir(), whose entry record ends before the type.
    bool hasOwnReaddir = false;
    std::vector<std::string> calls; ///< "open ARCHIVE", "spec PATH", "close ARCHIVE", "free PATH"
};

/// Is reset before and after each test.
extern ArchiveLayer archives;

/// Until the end of the test, readdir() returns DT_UNKNOWN for every entry, or no longer does.
void hideEntryTypes(bool hidden = true);

/// Until the end of the test, readdir() fails with `error` after `entries` entries.
void failReadingAfter(int entries, int error);

} // namespace test

#endif
