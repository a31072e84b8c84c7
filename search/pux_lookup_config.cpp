// Implements puxUsePuxFor(): evaluates the configuration file `puxLookupConfig` for one file name. Lines about other
// names cannot change the result. Therefore only the state of this name is stored while the file is read once, line by
// line.

#include "search/pux.h"

#include "common/base/owned.h"
#include "common/platform/line_reader.h"
#include "common/platform/open_text.h"
#include "common/text/ascii.h"

#include <array>
#include <cstdio>
#include <string_view>

namespace pux {

namespace {

constexpr const char *kConfigName = "puxLookupConfig";

enum class Command { All, None, Include, Exclude };

struct CommandWord {
    std::string_view word;
    Command command;
};

/// The commands in `puxLookupConfig`, compared without regard to case. If the first word of a line is no command, the
/// word is a file name: the line has the same effect as INCLUDE with this name.
constexpr std::array<CommandWord, 4> kCommandWords = {{{"ALL", Command::All},
                                                       {"NONE", Command::None},
                                                       {"INCLUDE", Command::Include},
                                                       {"EXCLUDE", Command::Exclude}}};

std::string_view withoutSpaceAround(std::string_view text) {
    while (!text.empty() && vek::isSpace(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && vek::isSpace(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

bool beginsComment(std::string_view line) {
    return line.empty() || line.front() == '#' || line.front() == ';' || vek::startsWith(line, "--");
}

/// Executes the lines of `puxLookupConfig` in order and stores their effect on one file name: whether files with this
/// name are to be searched.
class NameConfig {
  public:
    explicit NameConfig(std::string_view name) : name_(name) {}

    void execute(std::string_view line) {
        const std::string_view text = withoutSpaceAround(line);
        if (beginsComment(text)) {
            return;
        }
        std::size_t end = 0;
        while (end < text.size() && !vek::isSpace(text[end])) {
            ++end;
        }
        const std::string_view word(text.data(), end);
        const std::string_view rest(text.data() + end, text.size() - end);
        for (const CommandWord &known : kCommandWords) {
            if (word.size() == known.word.size() && vek::equalNoCase(word, known.word)) {
                execute(known.command, withoutSpaceAround(rest));
                return;
            }
        }
        mention(word, Rule::Included);
    }

    [[nodiscard]] bool isLookedUp() const { return rule_ == Rule::None ? all_ : rule_ == Rule::Included; }

  private:
    /// The effect of the last INCLUDE or EXCLUDE line with the name `name_`. Rule::None means that there was no such
    /// line after the last line with the command ALL or NONE.
    enum class Rule { None, Included, Excluded };

    void execute(Command command, std::string_view argument) {
        switch (command) {
        case Command::All:
        case Command::None:
            all_ = command == Command::All;
            rule_ = Rule::None;
            break;
        case Command::Include:
            mention(argument, Rule::Included);
            break;
        case Command::Exclude:
            mention(argument, Rule::Excluded);
            break;
        }
    }

    /// Executes an INCLUDE or EXCLUDE line: stores `rule` if the name in the line, `name`, is the name of this object.
    /// A line without a name has no effect.
    void mention(std::string_view name, Rule rule) {
        if (!name.empty() && name == name_) {
            rule_ = rule;
        }
    }

    std::string_view name_;
    bool all_ = false;
    Rule rule_ = Rule::None;
};

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
    pux::NameConfig config(fileName);
    vek::LineReader lines(file.get());
    std::array<char, 1024> line; // NOLINT(cppcoreguidelines-pro-type-member-init): next() fills it
    while (lines.next(line)) {
        config.execute(line.data());
    }
    return config.isLookedUp() ? PUX_OK : PUX_FILE_NOT_FOUND;
}
