#ifndef TESTS_LIBDEF_ARCHIVE_SUPPORT_H
#define TESTS_LIBDEF_ARCHIVE_SUPPORT_H

/// Calls that the linker gives to the tests in the place of the system's own (CMakeLists.txt): the archive layer,
/// and directory reading.

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include <sys/types.h>

namespace test {

/// The archive layer of this process. As long as it has no archives, every one fails to open as with the stubs.
struct ArchiveLayer {
    std::map<std::string, std::string> contents; ///< the directory that holds what is in each archive
    std::map<std::string, int> statStatus;       ///< what stat() answers for a path inside an archive
    std::map<std::string, mode_t> modes;         ///< the mode that a path inside an archive has
    int createStatus = 0;                        ///< what making a specifier answers
    int modeStatus = 0;                          ///< what asking a stat record for its mode answers
    int freeStatus = 0;                          ///< what freeing a specifier answers
    std::size_t nameBytes = 0;                   ///< how long entries of directories named "long" claim to be
    /// Whether its readdir() is its own, with an entry holder that ends before the type.
    bool hasOwnReaddir = false;
    std::vector<std::string> calls; ///< "open ARCHIVE", "spec PATH", "close ARCHIVE", "free PATH"
};

/// Reset when a test begins and ends.
extern ArchiveLayer archives;

/// From now on directory entries have no type, or have one again; until the test ends.
void hideEntryTypes(bool hidden = true);

/// From now on reading a directory fails with `error` once `entries` entries were read, until the test ends.
void failReadingAfter(int entries, int error);

} // namespace test

#endif
