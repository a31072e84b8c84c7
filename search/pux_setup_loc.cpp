// Parser for the file `setup.loc`. Each line contains a comment, or one directory or "@LIBRARY", optionally in double
// quotes.

#include "common/platform/line_reader.h"
#include "common/platform/open_text.h"
#include "common/platform/vek_path.h"
#include "common/text/ascii.h"
#include "common/text/owned_strlist.h"
#include "search/pux.h"
#include "search/puxi_match.h"
#include "search/puxi_setup_loc.h"

#include <array>
#include <cstring>
#include <string_view>

namespace pux {

namespace {

/// Finds the first token of `line` and overwrites the character after it with a NUL. A token is a word, or a text in
/// double quotes, which can contain blanks.
/// @return the token, without quotes; empty if the line is empty; null if the closing quote is missing
char *firstToken(char *line) {
    while (vek::isSpace(*line)) {
        ++line;
    }
    if (*line == '"') {
        char *const token = line + 1;
        const std::size_t length = std::string_view(token).find('"');
        if (length == std::string_view::npos) {
            return nullptr;
        }
        token[length] = '\0';
        return token;
    }
    char *end = line;
    while (*end != '\0' && !vek::isSpace(*end)) {
        ++end;
    }
    *end = '\0';
    return line;
}

bool beginsComment(const char *token) {
    return *token == '\0' || *token == ';' || *token == '#' || (token[0] == '-' && token[1] == '-');
}

/// Adds the directory in `line` to `list` if the directory can be read. A line with "@LIBRARY" adds this keyword.
/// @param setupLoc  the path of the `setup.loc` file. The reference $(compute:THIS_FILE_INST_ROOT) is replaced by the
///                  root of the installation that contains this file
/// @return false if memory is exhausted
bool addLine(char *line, const char *setupLoc, vek::StrlistBuilder &list) {
    char *const token = firstToken(line);
    if (token == nullptr || beginsComment(token)) {
        return true;
    }
    if (token == kLibraryEntry) {
        return list.add(token);
    }
    vekCanonicalizeDirSep(token);
    std::array<char, VEK_SEARCH_PATH_SIZE> directory; // NOLINT(cppcoreguidelines-pro-type-member-init)
    if (puxConvertPathEx(token, directory.data(), setupLoc) != PUX_OK) {
        return true;
    }
    return list.add(directory.data());
}

} // namespace

} // namespace pux

int pux_parse_setup_loc(const char *path, char ***list) {
    if (path == nullptr || list == nullptr) {
        return PUX_INVALID_PARAMETER;
    }
    *list = nullptr;
    const vek::OwnedDescriptor file = vek::openForReading(path);
    if (!file.valid()) {
        return PUX_FILE_NOT_FOUND;
    }
    vek::StrlistBuilder directories;
    vek::LineReader lines(file.get());
    std::array<char, 1024> line; // NOLINT(cppcoreguidelines-pro-type-member-init): next() fills it
    while (lines.next(line)) {
        if (!pux::addLine(line.data(), path, directories)) {
            return PUX_MEMORY_ERROR;
        }
    }
    *list = directories.empty() ? vekGrowStrlist(nullptr, 0, 1) : directories.take().release();
    return *list == nullptr ? PUX_MEMORY_ERROR : PUX_OK;
}
