#include "common/base/print.h"
#include "common/platform/line_reader.h"
#include "common/platform/open_text.h"
#include "common/platform/vek_init.h"
#include "common/platform/vek_install_root.h"
#include "common/platform/vek_path.h"
#include "common/platform/veki_init.h"
#include "common/platform/veki_install_root.h"
#include "common/platform/veki_path.h"

#include <cstdlib>
#include <cstring>

// Documented: vekGetInstPathInBuf() returns 0 if the path below the installation root has more than 4096 characters.
static constexpr std::size_t kLongestSub = 4096;

/// Writes `directory`, `separator` and `sub`, in this order, and a NUL into `buf`, which has `size` bytes. `sub` may
/// point into `buf`.
/// @return true; false if the text does not fit, and `buf` is then unchanged
static bool joinInBuffer(char *buf, std::size_t size, std::string_view directory, std::string_view separator,
                         std::string_view sub) {
    const std::size_t before = directory.size() + separator.size();
    if (before + sub.size() >= size) {
        return false;
    }
    std::memmove(buf + before, sub.data(), sub.size());
    std::memmove(buf, directory.data(), directory.size());
    std::memmove(buf + directory.size(), separator.data(), separator.size());
    buf[before + sub.size()] = '\0';
    return true;
}

/// Prints on standard error that the running program has no installation root, and from which path the search for the
/// root started.
static void printMissingRoot() {
    const char *const marker = "tools/bin/vek_root";
    const char *const arg0 = vekiExecutableName;
    const char *const fullPath = vek::runningInstallation.executable.c_str();
    const char *const pathSetting = std::getenv("PATH");
    const char *const shownPath = pathSetting == nullptr ? "<UNSET>" : pathSetting;
    if (vekIsRooted(arg0) == 1) {
        vek::printError("ERROR: can't determine installation root.\n"
                        "       can't find %s in any parent directory of %s\n",
                        marker, arg0);
    } else if (*fullPath != '\0') {
        vek::printError("ERROR: can't determine installation root.\n"
                        "       can't find %s in any parent directory of executable %s\n"
                        "       (found using arg0 \"%s\" and current working dir or\n"
                        "        $PATH %s)\n",
                        marker, fullPath, arg0, shownPath);
    } else {
        vek::printError("ERROR: can't determine installation root.\n"
                        "       can't create rooted path to arg0 \"%s\"\n"
                        "       using current working directory or $PATH: %s\n",
                        arg0, shownPath);
    }
}

int vekGetInstPathInBuf(char *buf, size_t size, const char *sub) {
    if (cmnGetInstallRootRequired() == 0 || buf == nullptr) {
        return 0;
    }
    const std::string_view below(sub == nullptr ? "" : sub);
    if (below.size() > kLongestSub) {
        return 0;
    }
    const char *root = vek::installRoot();
    if (root == nullptr) {
        printMissingRoot();
        return 0;
    }
    const std::string_view separator(below.empty() || below[0] == '/' ? "" : "/");
    return joinInBuffer(buf, size, root, separator, below) ? 1 : 0;
}

char *vekGetInstPath(const char *sub) {
    vek::InstalledText path;
    const bool isFound = path.fill(
        [sub](char *buffer, std::size_t size) { return vekGetInstPathInBuf(buffer, size, sub) != 0; });
    return isFound ? vekiCopyString(path.c_str()) : nullptr;
}

/// Reads the first line of the file bin/vek_plat.dat in the tools directory `tools`: the name of the platform for
/// which this directory was installed.
/// @return the first 15 characters of the line, which suffice for a comparison with "lnx86"; empty if the file is
///         missing or empty
static vek::FixedText<16> readPlatform(std::string_view tools) {
    vek::FixedText<16> platform;
    vek::InstalledText file;
    if (!file.assign(tools, std::string_view("/bin/vek_plat.dat"))) {
        return platform;
    }
    const vek::OwnedDescriptor table = vek::openForReading(file.c_str());
    vek::LineReader lines(table.get());
    static_cast<void>(platform.fill([&lines](char *buffer, std::size_t size) {
        return lines.next({buffer, size});
    }));
    if (platform.back() == '\n') {
        platform.truncate(platform.size() - 1);
    }
    return platform;
}

/// Finds the tools directory of this platform in the installation root `root`, and stores its path in `tools`. The
/// tools directory is ROOT/tools or ROOT/tools.lnx86.
/// @return true; false if there is none, and the content of `tools` is then undefined
static bool findTools(std::string_view root, vek::InstalledText &tools) {
    if (!tools.assign(root, std::string_view("/tools"))) {
        return false; // Not reached: a longer path, that of the marker of `root`, exists
    }
    const vek::FixedText<16> platform = readPlatform(tools.view());
    if (platform.view() == vekPlat()) {
        return true;
    }
    if (!platform.empty()) {
        return false; // the installation is for another platform
    }
    vek::InstalledText ofPlatform;
    if (ofPlatform.assign(tools.view(), '.', std::string_view(vekPlat())) &&
        vekiPathExists(ofPlatform.c_str()) == 1) {
        return tools.assign(ofPlatform.view());
    }
    return vekiPathExists(tools.c_str()) == 1;
}

/// Returns the path of the tools directory of the running program. The first successful search stores the path in
/// `installation`, so that later calls return it without a search.
/// @return the path; null if there is no tools directory
static const char *toolsDirectory(vek::Installation &installation) {
    if (!installation.hasTools) {
        // Documented: the tools directory is searched for even if cmnGetInstallRootRequired() returns 0.
        const char *root = vek::installRoot();
        installation.hasTools = root != nullptr && findTools(root, installation.tools);
    }
    return installation.hasTools ? installation.tools.c_str() : nullptr;
}

int vekGetToolsPathInBuf(char *buf, size_t size, const char *sub) {
    const char *tools = buf == nullptr ? nullptr : toolsDirectory(vek::runningInstallation);
    if (tools == nullptr) {
        return 0;
    }
    // If `sub` is empty, the result is the tools directory followed by "/". If `sub` is null, the result has no final
    // "/".
    const bool joined =
        sub == nullptr ? vek::copyToBuffer(tools, buf, size) : joinInBuffer(buf, size, tools, "/", sub);
    return joined ? 1 : 0;
}

char *vekGetToolsPath(const char *sub) {
    const char *tools = toolsDirectory(vek::runningInstallation);
    if (tools == nullptr || sub == nullptr) {
        return vekiCopyString(tools);
    }
    const std::size_t size = std::strlen(tools) + 1 + std::strlen(sub) + 1;
    vek::Owned<char> path(static_cast<char *>(vekiMalloc(size)));
    return path && joinInBuffer(path.get(), size, tools, "/", sub) ? path.release() : nullptr;
}
