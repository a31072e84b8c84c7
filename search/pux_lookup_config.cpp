// Implements puxUsePuxFor(): evaluates the configuration file `puxLookupConfig` for one file name. The file is read
// once, line by line. The last line that applies to the name determines the result, so only the effect of that line is
// stored.

#include "search/pux.h"

#include "common/base/owned.h"
#include "common/platform/line_reader.h"
#include "common/platform/open_text.h"
#include "common/text/ascii.h"

#include <array>
#include <optional>
#include <string_view>

namespace pux {

namespace {

constexpr const char *kConfigName = "puxLookupConfig";

/// A command in `puxLookupConfig`, with its effect on a file name.
struct Command {
    std::string_view word;
    bool hasName;    ///< whether the command applies only to the file name that follows it
    bool isIncluded; ///< whether the command says that files with the name are to be searched for
};

/// The commands, compared without regard to case. If the first word of a line is no command, the word is a file name:
/// the line has the same effect as INCLUDE with this name.
constexpr std::array<Command, 4> kCommands = {{{.word = "ALL", .hasName = false, .isIncluded = true},
                                               {.word = "NONE", .hasName = false, .isIncluded = false},
                                               {.word = "INCLUDE", .hasName = true, .isIncluded = true},
                                               {.word = "EXCLUDE", .hasName = true, .isIncluded = false}}};

std::string_view withoutSpaceAround(std::string_view text) {
    while (!text.empty() && vek::isSpace(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && vek::isSpace(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

/// Evaluates one line of `puxLookupConfig`.
/// @return true if the line says that files named `fileName` are to be searched for, false if it says that they are
///         not; nullopt if the line does not apply to this name
std::optional<bool> evaluateLine(std::string_view line, std::string_view fileName) {
    const std::string_view text = withoutSpaceAround(line);
    if (text.empty() || text.front() == '#' || text.front() == ';' || vek::startsWith(text, "--")) {
        return std::nullopt; // no text, or a comment
    }
    std::size_t end = 0;
    while (end < text.size() && !vek::isSpace(text[end])) {
        ++end;
    }
    const std::string_view word(text.data(), end);
    for (const Command &command : kCommands) {
        if (vek::equalNoCase(word, command.word)) {
            const std::string_view name = withoutSpaceAround({text.data() + end, text.size() - end});
            const bool applies = !command.hasName || (!name.empty() && name == fileName);
            return applies ? std::optional(command.isIncluded) : std::nullopt;
        }
    }
    return word == fileName ? std::optional(true) : std::nullopt;
}

} // namespace

} // namespace pux

int puxUsePuxFor(char **list, const char *fileName) {
    if (fileName == nullptr) {
        return PUX_INVALID_PARAMETER;
    }
    std::array<char, VEK_SEARCH_PATH_SIZE> path; // NOLINT(cppcoreguidelines-pro-type-member-init)
    if (const int code = puxSearch(list, pux::kConfigName, path.data(), path.size()); code != PUX_OK) {
        return code;
    }
    const vek::OwnedDescriptor file = vek::openForReading(path.data());
    if (!file.valid()) {
        return PUX_PERMISSION_DENIED;
    }
    bool isIncluded = false;
    vek::LineReader lines(file.get());
    std::array<char, 1024> line; // NOLINT(cppcoreguidelines-pro-type-member-init): next() fills it
    while (lines.next(line)) {
        isIncluded = pux::evaluateLine(line.data(), fileName).value_or(isIncluded);
    }
    return isIncluded ? PUX_OK : PUX_FILE_NOT_FOUND;
}
