#ifndef VEKI_INSTALL_ROOT_H
#define VEKI_INSTALL_ROOT_H

/// The search for installation roots, and the stored installation of the running tool.

#include "common/platform/veki_executable.h"
#include "common/text/fixed_text.h"

#include <cstddef>
#include <optional>
#include <string_view>

namespace vek {

/// The result of discoverInstallation().
struct Discovery {
    ExecutableText executable; ///< the path of the executable; empty if it was not found
    ExecutableError error = ExecutableError::None;
    /// The length of the root, which is a prefix of `executable`; 0 if the root is "/". nullopt if no directory above
    /// the executable is an installation root.
    std::optional<std::size_t> rootSize;

    [[nodiscard]] std::string_view root() const { return {executable.c_str(), rootSize.value_or(0)}; }
};

/// Finds the installation of the tool that `command` starts. Reads PATH, VEK_STRM_ACTIVE and the file system. Prints
/// nothing and changes no process-wide state.
[[nodiscard]] Discovery discoverInstallation(const char *command);

/// A path under an installation root.
using InstalledText = FixedText<4097>;

/// The stored search results of one installation.
struct Installation {
    /// The executable that the last discovery found; empty if it found none.
    ExecutableText executable{kZeroFilled};
    InstalledText tools{kZeroFilled};
    bool hasTools = false; ///< true if `tools` holds the path of the tools directory
};

/// The installation of the running tool. Its root is stored in vekiRootPath.
extern Installation runningInstallation;

/// Finds the installation root of the running tool, which was started as vekiExecutableName. Stores the root in
/// vekiRootPath, or null if there is none. Prints errors on standard error.
void storeInstallRoot();

/// Calls storeInstallRoot() unless a root is stored.
/// @return vekiRootPath, which the caller must not free; null if there is no root
[[nodiscard]] const char *installRoot();

} // namespace vek

#endif
