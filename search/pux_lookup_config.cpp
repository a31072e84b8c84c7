// Evaluates a lookup configuration (the file `puxLookupConfig`) for one file name. Lines about other names cannot
// change the result, so only the state of this name is kept: one pass over the file, no tables, no allocation for each
// line.

#include "search/pux.h"

#include "common/base/owned.h"
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

/// The commands of a configuration file, which are compared without regard to case. If a line begins with any other
/// word, this word is a file name, and the line means INCLUDE.
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

/// The state of one file name while the lines of a configuration are executed in order.
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
    /// The effect of the last line that contains the name. ALL and NONE reset it to Rule::None.
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

    /// Sets the rule if `name` is the file name of this object. INCLUDE and EXCLUDE without a name have no effect.
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
    const vek::OwnedStream file = vek::openForReading(path.data());
    if (!file) {
        return PUX_PERMISSION_DENIED;
    }
    pux::NameConfig config(fileName);
    std::array<char, 1024> line; // NOLINT(cppcoreguidelines-pro-type-member-init): fgets() fills it
    while (std::fgets(line.data(), static_cast<int>(line.size()), file.get()) != nullptr) {
        config.execute(line.data());
    }
    return config.isLookedUp() ? PUX_OK : PUX_FILE_NOT_FOUND;
}
