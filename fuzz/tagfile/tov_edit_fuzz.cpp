// Tag files: a section of edits and queries, one a line ("+NAME VALUE", "-NAME", "=DMTYPE", "?NAME"), and the tag
// file; without a second section there is none. What the file says is what its definition gives, character by
// character, and what an edit writes says the same again.

#include "common/platform/vek_init.h"
#include "fuzz/support/target.h"
#include "tagfile/tov.h"

#include <array>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr const char *kDirectory = "dir";
constexpr const char *kTagFile = "dir/vekinfo.tag";
constexpr std::size_t kLongestLine = 4095;
// A lookup looks at every ancestor of a path that is not there, which takes long for long paths.
constexpr std::size_t kLongestPath = 256;

std::string upToNul(std::string_view text) {
    return std::string(text.substr(0, text.find('\0')));
}

bool isSpace(char c) {
    return c != '\0' && std::strchr(" \t\n\v\f\r", c) != nullptr;
}

std::string upperCase(std::string text) {
    for (char &c : text) {
        c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    return text;
}

/// What a tag file says.
struct Settings {
    unsigned library = TOV_UNSET;
    unsigned libcheck = TOV_UNSET;
    std::optional<std::string> dmtype;
    unsigned nameSpace = TOV_NAMESPACE_UNSET;
    std::vector<std::pair<std::string, std::string>> entries;

    bool operator==(const Settings &) const = default;
};

Settings settingsOf(const VekinfoObj &obj) {
    Settings settings;
    settings.library = obj.library;
    settings.libcheck = obj.libcheck;
    settings.nameSpace = obj.nameSpace;
    if (obj.dmtype != nullptr) {
        settings.dmtype = obj.dmtype;
    }
    for (int i = 0; obj.names != nullptr && obj.names[i] != nullptr; ++i) {
        if (obj.values == nullptr || obj.values[i] == nullptr) {
            fuzz::fail("every name has a value", obj.names[i]);
        }
        settings.entries.emplace_back(obj.names[i], obj.values[i]);
    }
    return settings;
}

/// What is left of settings once they are written: what was cleared is not there, and OFF is not written.
Settings written(Settings settings) {
    settings.library = settings.library == 1 ? 1 : TOV_UNSET;
    settings.libcheck = settings.libcheck == 1 ? 1 : TOV_UNSET;
    if (settings.dmtype && settings.dmtype->empty()) {
        settings.dmtype.reset();
    }
    return settings;
}

std::string shown(const std::optional<Settings> &given) {
    if (!given) {
        return "nothing";
    }
    const Settings &settings = *given;
    std::string text = "library " + std::to_string(settings.library) + " libcheck " +
                       std::to_string(settings.libcheck) + " namespace " +
                       std::to_string(settings.nameSpace) +
                       (settings.dmtype ? " dmtype <" + *settings.dmtype + ">\n" : "\n");
    for (const auto &[name, value] : settings.entries) {
        text += "<" + name + "> <" + value + ">\n";
    }
    return text;
}

// ---- the format, as it is defined

void cutAt(std::string &line, const std::string &marker) {
    line.resize(std::min(line.find(marker), line.size()));
}

std::vector<std::string> wordsOf(std::string line) {
    cutAt(line, "\n");
    for (const char *marker : {"--", "#", ";"}) {
        if (line.starts_with(marker)) {
            line.clear();
        }
        cutAt(line, std::string(" ") + marker);
        cutAt(line, std::string("\t") + marker);
    }
    while (!line.empty() && (line.back() == ' ' || line.back() == '\t')) {
        line.pop_back();
    }
    std::vector<std::string> words;
    std::size_t at = 0;
    const auto skipSpace = [&] {
        while (at < line.size() && isSpace(line[at])) {
            ++at;
        }
    };
    skipSpace();
    while (at < line.size() && words.size() < 2) {
        const std::size_t begin = at;
        while (at < line.size() && !isSpace(line[at])) {
            ++at;
        }
        words.push_back(line.substr(begin, at - begin));
        skipSpace();
    }
    if (at < line.size()) {
        words.push_back(line.substr(at));
    }
    return words;
}

/// @return false for a syntax error
bool apply(const std::vector<std::string> &words, Settings &settings) {
    const std::string keyword = upperCase(words[0]);
    const std::string value = words.size() == 2 ? upperCase(words[1]) : "";
    if (keyword == "VEKLIBRARY") {
        settings.library = 1;
        return words.size() == 1;
    }
    if (keyword == "VEKLIBCHECK") {
        settings.libcheck = value == "ON" ? 1 : 0;
        return value == "ON" || value == "OFF";
    }
    if (keyword == "DMTYPE") {
        settings.dmtype = words.size() == 2 ? words[1] : "";
        return words.size() == 2;
    }
    if (keyword == "NAMESPACE") {
        settings.nameSpace = value == "LIBRARYNT" ? TOV_NAMESPACE_NT : TOV_NAMESPACE_UNIX;
        return value == "LIBRARYNT" || value == "LIBRARYUNIX";
    }
    settings.entries.emplace_back(words[0], words.size() > 1 ? words[1] : "");
    return true;
}

/// Nothing for a syntax error.
std::optional<Settings> modelOf(std::string_view file) {
    Settings settings;
    while (!file.empty()) {
        const std::size_t newline = file.substr(0, kLongestLine).find('\n');
        const std::size_t size =
            newline == std::string_view::npos ? std::min(kLongestLine, file.size()) : newline + 1;
        const std::vector<std::string> words = wordsOf(upToNul(file.substr(0, size)));
        file.remove_prefix(size);
        if (!words.empty() && !apply(words, settings)) {
            return std::nullopt;
        }
    }
    return settings;
}

// ---- what is checked

/// What the file says now; nothing when it cannot be read.
std::optional<Settings> readSettings() {
    VekinfoObj obj = {};
    int found = 0;
    if (tovGetVekinfoAtLoc(kTagFile, "FOO", &obj, &found) != TOV_OK) {
        return std::nullopt;
    }
    return settingsOf(obj);
}

void checkParse(std::string_view file) {
    const std::optional<Settings> settings = readSettings();
    const std::optional<Settings> expected = modelOf(file);
    if (settings != expected) {
        fuzz::fail("a tag file says what its format gives", shown(settings), shown(expected));
    }
}

/// A word that the format can hold: no white space in it, and no comment.
bool isWord(const std::string &text) {
    bool plain = !text.empty() && !text.starts_with("#") && !text.starts_with(";") && !text.starts_with("--");
    for (const char c : text) {
        plain = plain && !isSpace(c);
    }
    return plain;
}

bool canBeWritten(const Settings &settings) {
    bool holds = !settings.dmtype || settings.dmtype->empty() || isWord(*settings.dmtype);
    std::size_t longest = settings.dmtype ? settings.dmtype->size() : 0;
    for (const auto &[name, value] : settings.entries) {
        holds = holds && isWord(name) && (value.empty() || isWord(value));
        longest = std::max(longest, name.size() + value.size());
    }
    return holds && longest + 8 < kLongestLine;
}

/// Edits the file without a change in what it says.
int writeAgain(const Settings &settings) {
    if (settings.nameSpace == TOV_NAMESPACE_UNSET) {
        return tovRemoveEntry(kDirectory, "namespace");
    }
    return settings.dmtype ? tovSetPathDmType(kDirectory, settings.dmtype->c_str())
                           : tovClearPathUnmanaged(kDirectory);
}

void checkWritten(fuzz::Box &box) {
    const std::optional<Settings> cached = readSettings();
    if (!cached || !canBeWritten(*cached)) {
        return;
    }
    const std::string file = box.read(kTagFile);
    tovResetCache();
    const std::optional<Settings> settings = readSettings();
    if (settings != written(*cached)) {
        fuzz::fail("what an edit writes says the same again", shown(settings), shown(cached));
    }
    fuzz::require(settings == modelOf(file), "what an edit writes is in the format", file);
    fuzz::require(writeAgain(*settings) == 1, "a tag file can be written again", file);
    const std::string again = box.read(kTagFile);
    fuzz::require(again == file, "writing a tag file again changes no byte", again, file);
}

void query(const std::string &name) {
    std::array<char, VEK_PATH_SIZE> where = {};
    tovLookupEntryX(kDirectory, name.c_str(), where.data());
    tovLookupEntry((std::string(kDirectory) + "/sub/" + name).c_str(), name.c_str(), where.data());
    tovGetDmTypeX(kDirectory, where.data());
    tovGetNameSpaceX(name.c_str(), where.data());
    tovIsLibraryX(kDirectory, where.data());
    tovLookupEntry(("dir/up/" + name).c_str(), "FOO", where.data());
    tovIsInLibraryX("dir/sub", where.data());
    tovCheckLibraryX(where.data());
    VekinfoObj obj = {};
    int found = 0;
    tovLocalSearchElement("dir/sub", name.c_str(), &obj, &found);
}

void execute(fuzz::Box &box, const std::string &line) {
    const std::string operand = line.empty() ? "" : line.substr(1);
    const std::string name = operand.substr(0, operand.find(' '));
    const std::string value = name.size() < operand.size() ? operand.substr(name.size() + 1) : "";
    bool holdsWords = true;
    switch (line.empty() ? '\0' : line[0]) {
    case '+':
        tovAddEntry(kDirectory, name.c_str(), value.c_str());
        holdsWords = isWord(name) && (value.empty() || isWord(value));
        break;
    case '-':
        tovRemoveEntry(kDirectory, operand.c_str());
        break;
    case '=':
        tovSetPathDmType(kDirectory, operand.c_str());
        holdsWords = operand.empty() || isWord(operand);
        break;
    default:
        query(operand.substr(0, kLongestPath));
        return;
    }
    if (holdsWords) {
        checkWritten(box);
    }
}

} // namespace

namespace fuzz {

void prepare(Box &box) {
    box.directory("dir");
    box.directory("dir/sub");
    box.directory("dir/sub/below");
    box.link("alias", "dir/sub");
    box.link("dir/up", "sub/../../alias");
    box.link("dir/sub/back", box.root().c_str());
    box.link("dir/sub/below/round", "../below/round2");
    box.link("dir/sub/below/round2", "round");
    box.link("gone", "nowhere");
    setenv("A", "dir", 1);
    vekInitNonVEKApp("tool");
    cmnSetInstallRootRequired(0);
}

void run(Box &box, Input input) {
    constexpr int kMaxEdits = 6;
    Input edits(input.section());
    box.remove(kTagFile);
    tovResetCache();
    if (!input.empty()) {
        const std::string_view file = input.rest();
        box.file(kTagFile, file);
        checkParse(file);
    }
    for (int i = 0; i < kMaxEdits && !edits.empty(); ++i) {
        execute(box, upToNul(edits.line()));
    }
    tovResetCache();
}

} // namespace fuzz
