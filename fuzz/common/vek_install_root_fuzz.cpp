// Installation roots: the files that describe an installation. Sections of an input: the command table, the
// platform file, the name that the tool was started under, a directory list; before them a byte of options.

#include "common/platform/vek_init.h"
#include "common/platform/vek_install_root.h"
#include "common/platform/veki_init.h"
#include "common/platform/veki_install_root.h"
#include "common/platform/veki_real_path.h"
#include "common/text/vek_strlist.h"
#include "fuzz/support/target.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

using Text = std::unique_ptr<char, void (*)(void *)>;

enum Option : unsigned {
    kStreams = 1,
    kToolsOfPlatform = 2,
    kNoPlatformFile = 4,
    kNoTable = 8,
    kNotRequired = 16
};

constexpr const char *kTable = "inst/tools/bin/.command_table.dat";
constexpr const char *kPlatform = "inst/tools/bin/vek_plat.dat";
constexpr const char *kToolsOfThisPlatform = "inst/tools.lnx86";

Text owned(char *text) {
    return {text, std::free};
}

std::string upToNul(std::string_view text) {
    return std::string(text.substr(0, text.find('\0')));
}

/// The lines that are read with a buffer of `longest` characters.
std::vector<std::string> linesOf(std::string_view text, std::size_t longest) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::size_t newline = text.find('\n');
        const std::size_t size =
            std::min({newline == std::string_view::npos ? text.size() : newline + 1, longest});
        std::string line = upToNul(text.substr(0, size));
        if (line.ends_with("\r\n")) {
            line.erase(line.size() - 2, 1);
        }
        lines.push_back(line.substr(0, line.find('\n')));
        text.remove_prefix(size);
    }
    return lines;
}

std::optional<std::string> modelOfTable(std::string_view table, const std::string &name) {
    const std::string command = name.substr(name.rfind('/') + 1);
    for (const std::string &line : linesOf(table, 4095)) {
        std::vector<std::string> fields(1);
        for (const char c : line) {
            if (c == ' ' || c == '\t') {
                fields.emplace_back();
            } else {
                fields.back().push_back(c);
            }
        }
        // A line that begins with a separator has no command.
        if (fields.size() >= 5 && !fields[0].empty() && fields[0] == command) {
            return fields[4];
        }
    }
    return std::nullopt;
}

void checkTable(fuzz::Box &box, std::string_view table, const std::string &name) {
    const Text real = owned(vekiGetRealPath(name.c_str(), box.path(kTable).c_str()));
    const std::optional<std::string> expected = modelOfTable(table, name);
    fuzz::require((real != nullptr) == expected.has_value() && (!real || *expected == real.get()),
                  "the command table gives the fifth field of the command's first line", name, table);
}

void checkTools(fuzz::Box &box, std::string_view platformFile, bool ofPlatform) {
    const std::vector<std::string> lines = linesOf(platformFile, 15);
    const std::string platform = lines.empty() ? "" : lines[0];
    const std::string root = box.path("inst");
    std::optional<std::string> expected;
    if (platform == vekPlat()) {
        expected = root + "/tools";
    } else if (platform.empty()) {
        expected = root + (ofPlatform ? "/tools.lnx86" : "/tools");
    }
    vek::runningInstallation.hasTools = false;
    const Text tools = owned(vekGetToolsPath(nullptr));
    fuzz::require((tools != nullptr) == expected.has_value() && (!tools || *expected == tools.get()),
                  "the platform file decides on the tools directory", platformFile);
}

void ask(const std::string &name) {
    std::array<char, 64> buffer = {};
    owned(vekGetInstallRoot());
    owned(vekGetInstallRootFromPath(name.c_str()));
    owned(vekGetInstallRootFromFilePath(name.c_str()));
    owned(vekGetInstallRootWithPath(name.c_str()));
    owned(vekFindExecInPath(name.c_str()));
    owned(vekGetInstPath(name.c_str()));
    owned(vekGetToolsPath(name.c_str()));
    vekGetInstallRootInBuf(buffer.data(), buffer.size());
    vekGetInstPathInBuf(buffer.data(), buffer.size(), name.c_str());
    vekGetToolsPathInBuf(buffer.data(), buffer.size(), name.c_str());
    vekFreeStrlist(vekGetAllInstallRoots());
}

void setName(const std::string &name) {
    const std::size_t size = std::min(name.size(), static_cast<std::size_t>(VEKI_EXECUTABLE_NAME_MAX));
    std::memcpy(vekiExecutableName, name.c_str(), size);
    vekiExecutableName[size] = '\0';
    std::free(vekiRootPath);
    vekiRootPath = nullptr;
}

/// Creates the file, or removes it.
void put(fuzz::Box &box, const char *name, bool isThere, std::string_view content) {
    if (isThere) {
        box.file(name, content);
    } else {
        box.remove(name);
    }
}

} // namespace

namespace fuzz {

void prepare(Box &box) {
    for (const char *directory : {"inst", "inst/tools", "inst/tools/bin", "other", "other/tools.lnx86",
                                  "other/tools.lnx86/bin", "none"}) {
        box.directory(directory);
    }
    for (const char *program : {"inst/tools/bin/vek_root", "inst/tools/bin/tool", "none/tool",
                                "other/tools.lnx86/bin/vek_root", "other/tools.lnx86/bin/tool"}) {
        box.file(program, "", 0755);
    }
    box.link("link", "inst/tools/bin");
    vekInitNonVEKApp("inst/tools/bin/tool");
}

void run(Box &box, Input input) {
    constexpr std::size_t kLongestList = 300; // each directory and each of its parents costs system calls
    const unsigned options = input.byte();
    const std::string_view table = input.section();
    const std::string_view platform = input.section();
    const std::string name = upToNul(input.section());
    const std::string directories = upToNul(input.section().substr(0, kLongestList));
    put(box, kTable, (options & kNoTable) == 0, table);
    put(box, kPlatform, (options & kNoPlatformFile) == 0, platform);
    const bool ofPlatform = (options & kToolsOfPlatform) != 0;
    if (ofPlatform) {
        box.directory(kToolsOfThisPlatform);
    } else {
        box.removeDirectory(kToolsOfThisPlatform);
    }
    if ((options & kStreams) != 0) {
        setenv("VEK_STRM_ACTIVE", "", 1);
    } else {
        unsetenv("VEK_STRM_ACTIVE");
    }
    setenv("PATH", directories.c_str(), 1);
    setenv("VEK_STRM_DIR_LIST", directories.c_str(), 1);
    cmnSetInstallRootRequired((options & kNotRequired) == 0 ? 1 : 0);

    checkTable(box, (options & kNoTable) == 0 ? table : "", name);
    setName(name);
    vek::runningInstallation.hasTools = false;
    ask(name);

    unsetenv("VEK_STRM_ACTIVE");
    setName(box.path("inst/tools/bin/tool"));
    checkTools(box, (options & kNoPlatformFile) == 0 ? platform : "", ofPlatform);
}

} // namespace fuzz
