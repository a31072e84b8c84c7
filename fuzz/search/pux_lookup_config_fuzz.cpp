// Lookup configurations: the first section of an input is a file name, the rest the file "puxLookupConfig". The
// answer is the one that its definition gives.

#include "common/platform/vek_init.h"
#include "fuzz/support/target.h"
#include "search/pux.h"

#include <array>
#include <cstring>
#include <set>
#include <string>

namespace {

constexpr const char *kSpaces = " \t\n\v\f\r";

std::string upToNul(std::string_view text) {
    return std::string(text.substr(0, text.find('\0')));
}

std::string trimmed(const std::string &text) {
    const std::size_t begin = text.find_first_not_of(kSpaces);
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(kSpaces) + 1 - begin);
}

std::string lowerCase(std::string text) {
    for (char &c : text) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 'a' - 'A') : c;
    }
    return text;
}

class Model {
  public:
    explicit Model(std::string_view file) {
        constexpr std::size_t kLongest = 1023;
        while (!file.empty()) {
            const std::string_view part = file.substr(0, kLongest);
            const std::string_view line =
                part.substr(0, part.find('\n') == std::string_view::npos ? part.size() : part.find('\n') + 1);
            execute(trimmed(upToNul(line)));
            file.remove_prefix(line.size());
        }
    }

    [[nodiscard]] bool looksUp(const std::string &name) const {
        return included_.contains(name) || (all_ && !excluded_.contains(name));
    }

  private:
    void execute(const std::string &line) {
        if (line.empty() || line[0] == '#' || line[0] == ';' || line.starts_with("--")) {
            return;
        }
        const std::string word = line.substr(0, line.find_first_of(kSpaces));
        const std::string name = trimmed(line.substr(word.size()));
        const std::string command = lowerCase(word);
        if (command == "all" || command == "none") {
            all_ = command == "all";
            included_.clear();
            excluded_.clear();
        } else if (command == "include" || command == "exclude") {
            move(name, command == "include");
        } else {
            move(word, true);
        }
    }

    void move(const std::string &name, bool include) {
        if (!name.empty()) {
            (include ? included_ : excluded_).insert(name);
            (include ? excluded_ : included_).erase(name);
        }
    }

    bool all_ = false;
    std::set<std::string> included_;
    std::set<std::string> excluded_;
};

} // namespace

namespace fuzz {

void prepare(Box & /*box*/) {
    vekInitNonVEKApp("tool");
    cmnSetInstallRootRequired(0);
}

void run(Box &box, Input input) {
    const std::string name = upToNul(input.section());
    const std::string_view file = input.rest();
    box.file("puxLookupConfig", file);
    std::string here = ".";
    std::array<char *, 2> list = {here.data(), nullptr};
    const int expected = Model(file).looksUp(name) ? PUX_OK : PUX_FILE_NOT_FOUND;
    require(puxUsePuxFor(list.data(), name.c_str()) == expected, "the file decides as defined", name, file);
}

} // namespace fuzz
