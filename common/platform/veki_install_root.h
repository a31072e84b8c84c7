#ifndef VEKI_INSTALL_ROOT_H
#define VEKI_INSTALL_ROOT_H

/// Functions that search for installation roots. An installation root is the top directory of an installation, see
/// vek_install_root.h. The paths that belong to the running program are stored after they have been found.

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
    /// The length of the path of the installation root, which is the beginning of `executable`; 0 if the installation
    /// root is "/". nullopt if no directory above the executable is an installation root.
    std::optional<std::size_t> rootSize;

    [[nodiscard]] std::string_view root() const { return {executable.c_str(), rootSize.value_or(0)}; }
};

/// Finds the executable file that the command name `command` starts, and its installation root. Reads the environment
/// variables PATH and VEK_STRM_ACTIVE. Prints nothing and changes no process-wide state.
[[nodiscard]] Discovery discoverInstallation(const char *command);

/// A buffer for a path under an installation root: at most 4096 characters and a NUL.
using InstalledText = FixedText<4097>;

/// Paths that earlier searches have found: those of an executable and of its tools directory.
struct Installation {
    /// The path of the executable file that the last call of storeInstallRoot() found; empty if it found none.
    ExecutableText executable{kZeroFilled};
    InstalledText tools{kZeroFilled};
    bool hasTools = false; ///< true if `tools` holds the path of the tools directory
};

/// The paths of the running program and its tools directory. Its installation root is stored in vekiRootPath.
extern Installation runningInstallation;

/// Searches for the installation root of the running program, whose name is in vekiExecutableName. Stores its path in
/// vekiRootPath, or null if there is none. Prints errors on standard error.
void storeInstallRoot();

/// Returns the installation root of the running program. Calls storeInstallRoot() to find it if vekiRootPath is null.
/// @return vekiRootPath, which the caller must not free; null if there is no installation root
[[nodiscard]] const char *installRoot();

} // namespace vek

#endif
