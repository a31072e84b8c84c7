#ifndef COMMON_CASE_PROBE_H
#define COMMON_CASE_PROBE_H

/// The two steps of vekGetFilesysCaseSensitivity() as separate functions, for a program that tests several directories
/// at the same time.

#include "common/base/owned.h"
#include "common/containers/directory_identity.h"

namespace vek {

/// The directory in which vekGetFilesysCaseSensitivity() creates its files.
struct ProbeDirectory {
    OwnedText path; ///< null if there is no such directory, or it is not writable
    DirectoryIdentity identity = {};
};

/// Finds the nearest existing directory at or above `path`, as vekGetFilesysCaseSensitivity() does. "/a" is not
/// shortened to "/", but "//a" is. Any thread may call this function.
[[nodiscard]] ProbeDirectory findProbeDirectory(const char *path);

/// The result of probeDirectory().
struct ProbeResult {
    int sensitivity; ///< a VEK_CASE_... value
    bool isShort;    ///< whether the probe failed because descriptors or memory are exhausted
};

/// Tests whether file names in `directory` are case-sensitive: creates two files there, reads one of them, and removes
/// both. Threads may call this function at the same time, but only for different directories, because the names of the
/// files depend only on the process ID.
[[nodiscard]] ProbeResult probeDirectory(const ProbeDirectory &directory);

} // namespace vek

#endif
