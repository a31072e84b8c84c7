#ifndef COMMON_CASE_PROBE_H
#define COMMON_CASE_PROBE_H

/// The steps of vekGetFilesysCaseSensitivity(), for a program that probes several directories at the same time.

#include "common/base/owned.h"
#include "common/containers/directory_identity.h"

namespace vek {

/// The directory in which vekGetFilesysCaseSensitivity() creates its files.
struct ProbeDirectory {
    OwnedText path; ///< null if there is no such directory, or it is not writable
    DirectoryIdentity identity = {};
};

/// Finds the existing directory that `path` names or is in, as vekGetFilesysCaseSensitivity() does. Any thread may call
/// this function.
[[nodiscard]] ProbeDirectory findProbeDirectory(const char *path);

/// The result of probeDirectory().
struct ProbeResult {
    int sensitivity; ///< a VEK_CASE_... value
    bool isShort;    ///< whether the probe failed because descriptors or memory are exhausted
};

/// Creates, reads and removes two files in `directory`. Any thread may call this function, but at most one at a time for
/// the same directory: the names of the files depend only on the process.
[[nodiscard]] ProbeResult probeDirectory(const ProbeDirectory &directory);

} // namespace vek

#endif
