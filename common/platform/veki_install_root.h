#ifndef VEKI_INSTALL_ROOT_H
#define VEKI_INSTALL_ROOT_H

/// Discovery of installation roots, and what is stored of the running tool's installation.

#include "common/platform/veki_executable.h"
#include "common/text/fixed_text.h"

#include <cstddef>
#include <optional>
#include <string_view>

namespace vek {

/// The result of discoverInstallation().
struct Discovery {
    ExecutableText executable; ///< absolute and clean; empty if it was not found
    ExecutableError error = ExecutableError::None;
    /// The root is the first `rootSize` bytes of `executable`, none for the root directory; nothing if no directory
    /// above the executable is an installation root.
    std::optional<std::size_t> rootSize;

    [[nodiscard]] std::string_view root() const { return {executable.c_str(), rootSize.value_or(0)}; }
};

/// Finds the installation that a tool belongs to if it is started as `command`. Uses the environment and the file
/// system, prints nothing and changes no process-wide state.
[[nodiscard]] Discovery discoverInstallation(const char *command);

/// A path under an installation root.
using InstalledText = FixedText<4097>;

/// What is stored of one installation.
struct Installation {
    /// The executable that the last discovery found; empty if it found none.
    ExecutableText executable{kZeroFilled};
    InstalledText tools{kZeroFilled};
    bool hasTools = false; ///< `tools` holds the tools directory
};

/// The running tool's installation. Its root is vekiRootPath, its command vekiExecutableName.
extern Installation runningInstallation;

/// Discovers the running tool's root from vekiExecutableName and stores it in vekiRootPath: null if it has none. Errors
/// are printed on standard error.
void storeInstallRoot();

/// Calls storeInstallRoot() unless a root is stored.
/// @return vekiRootPath, which the caller must not free; null if there is no root
[[nodiscard]] const char *installRoot();

} // namespace vek

#endif
