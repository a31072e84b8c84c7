// Writes whole tag files: composes the complete text in memory, and then creates the file, or locks the existing file
// and replaces its content. If the file is in the cache, its cached object is replaced, too.

#include "tagfile/tovi_write.h"

#include "common/base/owned.h"
#include "common/platform/vek_file.h"
#include "tagfile/tag_path.h"
#include "tagfile/tovi_cache.h"
#include "tagfile/tovi_edited_file.h"
#include "tagfile/tovi_parse.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace tov {

namespace {

constexpr const char *kTemplate = "#\n"
                                  "# This is a vekinfo.tag file.\n"
                                  "#\n"
                                  "# See the \"Tolvane Application Infrastructure Reference Manual\" for\n"
                                  "# details on the format of this file, its semantics, and its use.\n"
                                  "#\n"
                                  "# The `#' character denotes a comment. Removing the leading `#'\n"
                                  "# character from any of the entries below will activate them.\n"
                                  "#\n"
                                  "# VEKLIBRARY entry - add this entry if the directory containing\n"
                                  "# this vekinfo.tag file is the root of a Tolvane library.\n"
                                  "# VEKLIBRARY\n"
                                  "#\n"
                                  "# VEKLIBCHECK - set this entry to require that libraries have\n"
                                  "# a vekinfo.tag file with a VEKLIBRARY entry. Legal values are\n"
                                  "# ON and OFF. By default (OFF), directories named in a vek.lib file\n"
                                  "# do not have to have a vekinfo.tag file with a VEKLIBRARY entry.\n"
                                  "# VEKLIBCHECK ON\n"
                                  "#\n"
                                  "# DMTYPE - set this entry to define the DM system for Tolvane's\n"
                                  "# Generic DM facility. Values will be shifted to lower case.\n"
                                  "# DMTYPE none\n"
                                  "# DMTYPE mrev\n"
                                  "# DMTYPE pkm\n"
                                  "# DMTYPE lopa\n"
                                  "#\n"
                                  "# NAMESPACE - set this entry to define the library namespace according\n"
                                  "# to the type of machine on which the data is stored. Legal values are\n"
                                  "# `LibraryNT' and\n"
                                  "# `LibraryUnix'.\n"
                                  "# NAMESPACE LibraryUnix\n"
                                  "#\n"
                                  "# Other entries may be added for use by specific applications as\n"
                                  "# name-value pairs. Application documentation will describe the\n"
                                  "# use and behaviour of these entries when appropriate.\n"
                                  "#\n"
                                  "# Current Settings:\n"
                                  "#\n";

/// Appends a line that consists of `pieces` to `text`. If the parser would reject this line, removes the line from
/// `text` again, because this line would make the whole file invalid, and adds the syntax error to `reports`.
/// @param lineCount  the line number for the report of a syntax error
/// @return false if the line was removed
template <typename... Pieces>
bool composeLine(const Keywords &keywords, vek::ComposedText &text, Reports &reports, int lineCount,
                 const Pieces &...pieces) {
    const std::size_t begin = text.size();
    text.append(pieces..., "\n");
    if (!text.isWhole()) {
        return true;
    }
    const Keyword *rejected = findRejected(keywords, {text.view().data() + begin, text.size() - begin});
    if (rejected != nullptr) {
        text.truncate(begin);
        reports.add({TOV_SYNTAX_ERROR, rejected->syntaxError, Naming::File, lineCount});
    }
    return rejected == nullptr;
}

} // namespace

bool composeKeywords(const Keywords &keywords, const VekinfoObj &obj, vek::ComposedText &text,
                     Reports &reports) {
    bool hasAllLines = true;
    text.append(kTemplate);
    for (const Keyword &keyword : keywords) {
        const char *value = keyword.writtenValue(obj);
        if (value != nullptr) {
            const char *blank = keyword.wordCount > 1 ? " " : "";
            hasAllLines &=
                composeLine(keywords, text, reports, static_cast<int>(obj.line), keyword.name, blank, value);
        }
    }
    return hasAllLines;
}

bool composeEntry(const Keywords &keywords, const char *name, const char *value, std::uint32_t lineCount,
                  vek::ComposedText &text, Reports &reports) {
    return composeLine(keywords, text, reports, static_cast<int>(lineCount), name, " ", value);
}

bool composeEntries(const Keywords &keywords, const VekinfoObj &obj, vek::ComposedText &text,
                    Reports &reports) {
    bool hasAllLines = true;
    for (int i = 0; obj.names != nullptr && obj.names[i] != nullptr; ++i) {
        const bool hasValue = obj.values != nullptr && obj.values[i] != nullptr;
        const char *value = hasValue ? obj.values[i] : "";
        hasAllLines &= composeEntry(keywords, obj.names[i], value, obj.line, text, reports);
    }
    return hasAllLines;
}

bool composeSettings(const Keywords &keywords, const VekinfoObj &obj, vek::ComposedText &text,
                     Reports &reports) {
    const bool hasAllKeywords = composeKeywords(keywords, obj, text, reports);
    return composeEntries(keywords, obj, text, reports) && hasAllKeywords;
}

namespace {

constexpr Report kCannotCreate = {TOV_SYSTEM_ERROR, "open for write", Naming::File};
constexpr Report kFileExists = {TOV_FILE_EXISTS, "didn't overwrite file", Naming::File};

/// Opens the tag file `path` and replaces its content by `text`. After a failure, removes the file if `opening` has
/// created it.
/// @return Opened::Yes for success; Opened::NotWritable if the text could not be written; otherwise the result of
///         EditedFile::open()
Opened writeFile(const char *path, Opening opening, std::string_view text) {
    EditedFile file(path);
    Opened result = file.open(opening, Deadline(kEditWaitMs));
    if (result == Opened::Yes && !file.replace(text)) {
        result = Opened::NotWritable;
        file.removeIfNew();
    }
    return result;
}

/// Makes a deep copy of `obj` for the cache.
/// @param path  the path of the tag file, which replaces the path of `obj` in the copy
/// @return the copy; null if memory is exhausted
OwnedInfoObj copyForCache(const VekinfoObj &obj, const char *path) {
    VekinfoObj *copy = nullptr;
    tovMakeVekinfoObj(&copy, &obj);
    OwnedInfoObj owned(copy);
    if (!owned) {
        return nullptr;
    }
    std::free(owned->path);
    owned->path = vek::copyText(path).release();
    return owned->path == nullptr ? nullptr : std::move(owned);
}

/// Composes the text of the tag file `path` from `obj`, writes the file and updates the object in the cache. Does not
/// call the error handler, so the caller must report the errors.
/// @param reports  receives the syntax errors of lines that were left out
/// @return kNoError, or the error because of which the file was not written
Report updateFile(const char *path, const VekinfoObj &obj, Reports &reports) {
    vek::ComposedText text;
    const bool hasAllLines = composeSettings(kKeywords, obj, text, reports);
    if (path == nullptr || !text.isWhole()) {
        return kCannotWrite;
    }
    TagCache &cache = processCache();
    OwnedInfoObj copy;
    if (cache.objects.find(path) != nullptr) {
        if (hasAllLines) {
            copy = copyForCache(obj, path);
        } else if (parseText(kKeywords, path, text.view(), copy).isError()) {
            copy.reset();
        }
        if (!copy) {
            return kNoMemory;
        }
    }
    if (writeFile(path, Opening::CreateIfMissing, text.view()) != Opened::Yes) {
        return kCannotWrite;
    }
    if (copy) {
        updateCache(cache, std::move(copy));
    }
    return kNoError;
}

} // namespace

} // namespace tov

void tovWriteDefaultVekinfotag(FILE *file) {
    std::fputs(tov::kTemplate, file);
}

int updateInfoFile(const char *dir, const VekinfoObj *obj) {
    const vek::OwnedText path = tov::tagFilePath(dir);
    const vek::OwnedText directory = dir == nullptr ? nullptr : vek::copyText(dir);
    tov::Reports reports;
    const tov::Report result = tov::updateFile(path.get(), *obj, reports);
    if (result.isError()) {
        reports.add(result);
    }
    reports.make(path.get(), directory ? directory.get() : dir);
    return result.isError() ? 0 : 1;
}

int tovCreateInfoFile(const char *dir, char **lines) {
    const vek::OwnedText path = tov::tagFilePath(dir);
    tov::Reports reports;
    tov::Report result = tov::kFileExists;
    if (vekFileExists(path.get()) == 0) {
        vek::ComposedText text;
        text.append(tov::kTemplate);
        for (char **line = lines; line != nullptr && *line != nullptr; ++line) {
            static_cast<void>(tov::composeLine(tov::kKeywords, text, reports, 0, *line));
        }
        tov::Opened created = tov::Opened::NotWritable;
        if (path != nullptr && text.isWhole()) {
            created = tov::writeFile(path.get(), tov::Opening::CreateNew, text.view());
        }
        if (created != tov::Opened::Exists) {
            result = created == tov::Opened::Yes ? tov::kNoError : tov::kCannotCreate;
        }
    }
    if (result.isError()) {
        reports.add(result);
    } else {
        tov::dropFromCache(tov::processCache(), path.get()); // a cached object would be that of an older file
    }
    reports.make(path.get(), nullptr);
    return result.isError() ? 0 : 1;
}
