#include "tagfile/tovi_parse.h"

#include "common/ascii.h"
#include "common/open_text.h"
#include "common/vek_api.h"
#include "common/vek_path.h"
#include "common/vek_strlist.h"
#include "tagfile/tovi_cache.h"
#include "tagfile/tovi_object.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <string_view>

static struct { char text[VEK_PATH_SIZE]; } wordBuffer;

namespace {

// ---- a line's words

/// A comment begins with one of these, at the start of the line or behind a blank or a tab.
constexpr std::array<std::string_view, 3> kCommentMarkers = {"--", "#", ";"};

bool opensComment(std::string_view text) {
    for (const std::string_view marker : kCommentMarkers) {
        if (vek::startsWith(text, marker)) {
            return true;
        }
    }
    return false;
}

std::string_view prefix(std::string_view text, std::size_t size) {
    return {text.data(), size};
}

std::string_view withoutComment(std::string_view line) {
    for (std::size_t i = 0; i < line.size(); ++i) {
        const bool atWordStart = i == 0 || vek::isBlank(line[i - 1]);
        if (atWordStart && opensComment({line.data() + i, line.size() - i})) {
            return prefix(line, i == 0 ? 0 : i - 1);
        }
    }
    return line;
}

std::string_view withoutBlanksAround(std::string_view line) {
    while (!line.empty() && vek::isBlank(line.back())) {
        line.remove_suffix(1);
    }
    while (!line.empty() && vek::isSpace(line.front())) {
        line.remove_prefix(1);
    }
    return line;
}

std::string_view reduceLine(const char *line) {
    const std::size_t length = strnlen(line, sizeof wordBuffer.text - 1);
    const void *newline = std::memchr(line, '\n', length);
    const std::size_t end =
        newline == nullptr ? length : static_cast<std::size_t>(static_cast<const char *>(newline) - line);
    return withoutBlanksAround(withoutComment({line, end}));
}

// ---- what the words mean

enum class Applied { Done, NoMemory };

/// The cached object that follows each keyword change of `obj`, or null.
VekinfoObj *cachedTwin(const VekinfoObj *obj) {
    return tempVekinfoFromHash == obj ? nullptr : tempVekinfoFromHash;
}

/// Makes `change` on `obj` and on the cached object.
template <typename Change>
Applied changeBoth(VekinfoObj *obj, Change change) {
    change(obj);
    if (VekinfoObj *twin = cachedTwin(obj)) {
        change(twin);
    }
    return Applied::Done;
}

Applied setLibrary(VekinfoObj *obj, const char * /*value*/) {
    return changeBoth(obj, [](VekinfoObj *target) { target->library = 1; });
}

Applied setLibcheck(VekinfoObj *obj, const char *value) {
    const uint8_t setting = vek::equalNoCase(value, "ON") ? 1 : 0;
    return changeBoth(obj, [setting](VekinfoObj *target) { target->libcheck = setting; });
}

Applied setNameSpace(VekinfoObj *obj, const char *value) {
    const uint32_t nameSpace = vek::equalNoCase(value, "LibraryNT") ? TOV_NAMESPACE_NT : TOV_NAMESPACE_UNIX;
    return changeBoth(obj, [nameSpace](VekinfoObj *target) { target->nameSpace = nameSpace; });
}

/// A shallow copy and the cached object it was made from hold one string between them and go on doing so; any
/// other object gets a copy of its own.
Applied setDmtype(VekinfoObj *obj, const char *value) {
    VekinfoObj *twin = cachedTwin(obj);
    const bool shared = twin != nullptr && ((twin->path != nullptr && twin->path == obj->path) ||
                                            (twin->dmtype != nullptr && twin->dmtype == obj->dmtype));
    const bool needsTwo = twin != nullptr && !shared;
    vek::OwnedText mine = vek::copyText(value);
    vek::OwnedText twins = needsTwo ? vek::copyText(value) : nullptr;
    if (!mine || (needsTwo && !twins)) {
        return Applied::NoMemory;
    }
    std::free(obj->dmtype);
    obj->dmtype = mine.release();
    if (shared) {
        twin->dmtype = obj->dmtype;
    } else if (twin != nullptr) {
        std::free(twin->dmtype);
        twin->dmtype = twins.release();
    }
    return Applied::Done;
}

bool isAnything(const char * /*value*/) {
    return true;
}

bool isOnOrOff(const char *value) {
    return vek::equalNoCase(value, "ON") || vek::equalNoCase(value, "OFF");
}

bool isNameSpace(const char *value) {
    return vek::equalNoCase(value, "LibraryNT") || vek::equalNoCase(value, "LibraryUnix");
}

struct Keyword {
    std::string_view name;
    int words; ///< the word count the line must have; the last word is the value
    bool (*allows)(const char *value);
    Applied (*apply)(VekinfoObj *obj, const char *value);
    const char *errorText;

    [[nodiscard]] bool allowsLine(int count, char **line) const {
        return count == words && allows(line[words - 1]);
    }
};

constexpr std::array<Keyword, 4> kKeywords = {{
    {"VEKLIBRARY", 1, isAnything, setLibrary, "VEKLIBRARY line in vekinfo.tag file"},
    {"VEKLIBCHECK", 2, isOnOrOff, setLibcheck, "VEKLIBCHECK line in vekinfo.tag file"},
    {"DMTYPE", 2, isAnything, setDmtype, "DMTYPE line in vekinfo.tag file"},
    {"NAMESPACE", 2, isNameSpace, setNameSpace, "NAMESPACE line in vekinfo.tag file"},
}};

const Keyword *findKeyword(std::string_view word) {
    for (const Keyword &keyword : kKeywords) {
        if (vek::equalNoCase(word, keyword.name)) {
            return &keyword;
        }
    }
    return nullptr;
}

bool appendString(char ***list, const char *text, int32_t *size) {
    char **grown = vekAddToStrlist(*list, text, size);
    if (grown == nullptr) {
        return false;
    }
    *list = grown;
    return true;
}

void dropLastString(char **list) {
    char **last = list + vekGetStrlistSize(list) - 1;
    std::free(*last);
    *last = nullptr;
}

/// The two lists stay parallel when memory runs out in between.
Applied appendEntry(VekinfoObj *obj, const char *name, const char *value) {
    if (!appendString(&obj->names, name, &obj->namesSize)) {
        return Applied::NoMemory;
    }
    if (!appendString(&obj->values, value, &obj->valuesSize)) {
        dropLastString(obj->names);
        return Applied::NoMemory;
    }
    return Applied::Done;
}

/// Application entries are added to `obj` alone. But a shallow copy and the cached object it was made from hold
/// their lists between them, and go on doing so when the lists move.
Applied addEntry(VekinfoObj *obj, const char *name, const char *value) {
    VekinfoObj *twin = cachedTwin(obj);
    const bool shared = twin != nullptr && twin->names != nullptr && twin->names == obj->names;
    const Applied applied = appendEntry(obj, name, value);
    if (shared) {
        twin->names = obj->names;
        twin->namesSize = obj->namesSize;
        twin->values = obj->values;
        twin->valuesSize = obj->valuesSize;
    }
    return applied;
}

/// @return `status`
int giveUp(int *found, int status) {
    if (found != nullptr) {
        *found = 0;
    }
    return status;
}

} // namespace

void toviProcessLine(const char *line, int *count, char **words) {
    const std::string_view text = reduceLine(line);
    std::memmove(wordBuffer.text, text.data(), text.size());
    wordBuffer.text[text.size()] = '\0';

    char *at = wordBuffer.text;
    for (*count = 0; *at != '\0' && *count < TOVI_LINE_WORDS;) {
        words[(*count)++] = at;
        if (*count == TOVI_LINE_WORDS) {
            return; // the last word is the whole rest
        }
        while (*at != '\0' && !vek::isSpace(*at)) {
            ++at;
        }
        while (vek::isSpace(*at)) {
            *at++ = '\0';
        }
    }
}

int toviHandleInputLine(VekinfoObj *obj, const char *path, const char *element, int *found, int count,
                        char **words) {
    if (element != nullptr && found != nullptr && vek::equalNoCase(words[0], element)) {
        *found = 1;
    }
    const Keyword *keyword = findKeyword(words[0]);
    if (keyword != nullptr && !keyword->allowsLine(count, words)) {
        return tovPrintError(TOV_SYNTAX_ERROR, keyword->errorText, path, static_cast<int>(obj->line));
    }
    const Applied applied = keyword == nullptr ? addEntry(obj, words[0], count > 1 ? words[1] : "")
                                               : keyword->apply(obj, words[count - 1]);
    return applied == Applied::Done ? TOV_OK : toviReportNoMemory();
}

int toviIsAllowedLine(int count, char **words) {
    const Keyword *keyword = findKeyword(words[0]);
    return keyword == nullptr || keyword->allowsLine(count, words) ? 1 : 0;
}

int tovProcessVekinfoCommand(const char *line, const char *element, int *found, VekinfoObj *obj,
                             const char *path) {
    int count = 0;
    std::array<char *, TOVI_LINE_WORDS> words = {};
    toviProcessLine(line, &count, words.data());
    return count == 0 ? TOV_OK : toviHandleInputLine(obj, path, element, found, count, words.data());
}

int tovParseVekinfo(const char *path, const char *element, VekinfoObj *obj, int *found) {
    const vek::OwnedStream file = vek::openForReading(path);
    if (!file) {
        return tovPrintError(TOV_SYSTEM_ERROR, "while opening vekinfo.tag file", path, 0);
    }
    char line[VEK_PATH_SIZE]; // NOLINT(cppcoreguidelines-pro-type-member-init): fgets fills it
    for (uint32_t number = 1; vek_fgets(line, sizeof line, file.get()) != nullptr; ++number) {
        obj->line = number;
        const int status = tovProcessVekinfoCommand(line, element, found, obj, path);
        if (status != TOV_OK) {
            return giveUp(found, status);
        }
    }
    // A file that breaks off is not a shorter file: an edit would lose the rest of it.
    if (std::ferror(file.get()) != 0) {
        return giveUp(found, tovPrintError(TOV_SYSTEM_ERROR, "while opening vekinfo.tag file", path, 0));
    }
    return TOV_OK;
}
