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
        char *const token = pux::firstToken(line.data());
        if (token == nullptr || *token == '\0' || *token == ';' || *token == '#' ||
            vek::startsWith(token, "--")) {
            continue; // an invalid line, no text, or a comment
        }
        std::array<char, VEK_SEARCH_PATH_SIZE> directory; // NOLINT(cppcoreguidelines-pro-type-member-init)
        const char *entry = token;
        if (token != pux::kLibraryEntry) {
            vekCanonicalizeDirSep(token);
            if (puxConvertPathEx(token, directory.data(), path) != PUX_OK) {
                continue; // the directory cannot be read
            }
            entry = directory.data();
        }
        if (!directories.add(entry)) {
            return PUX_MEMORY_ERROR;
        }
    }
    *list = directories.empty() ? vekGrowStrlist(nullptr, 0, 1) : directories.take().release();
    return *list == nullptr ? PUX_MEMORY_ERROR : PUX_OK;
}
