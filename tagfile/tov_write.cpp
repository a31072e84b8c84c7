#include "tagfile/tovi_write.h"

#include "common/composed_text.h"
#include "common/owned.h"
#include "common/vek_file.h"
#include "tagfile/tovi_path.h"
#include "tagfile/tovi_replace.h"

#include <cstdio>
#include <string_view>

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

void composeSettings(vek::ComposedText &text, const VekinfoObj &obj) {
    if (obj.library == 1) {
        text.append("VEKLIBRARY\n");
    }
    // Only ON is written: an OFF setting vanishes with the first edit, as users know it.
    if (obj.libcheck == 1) {
        text.append("VEKLIBCHECK ON\n");
    }
    if (obj.dmtype != nullptr && *obj.dmtype != '\0') {
        text.append("DMTYPE ", obj.dmtype, "\n");
    }
    if (obj.nameSpace == TOV_NAMESPACE_NT) {
        text.append("NAMESPACE LibraryNT\n");
    } else if (obj.nameSpace == TOV_NAMESPACE_UNIX) {
        text.append("NAMESPACE LibraryUnix\n");
    }
    for (int i = 0; obj.names != nullptr && obj.names[i] != nullptr; ++i) {
        const bool hasValue = obj.values != nullptr && obj.values[i] != nullptr;
        text.append(obj.names[i], " ", hasValue ? obj.values[i] : "", "\n");
    }
}

void composeLines(vek::ComposedText &text, char **lines) {
    for (char **line = lines; line != nullptr && *line != nullptr; ++line) {
        text.append(*line, "\n");
    }
}

/// Composes the template and what `composeRest` adds, and makes it the content of `path`.
template <typename ComposeRest>
bool writeTagFile(const char *path, ComposeRest composeRest) {
    vek::ComposedText text;
    text.append(kTemplate);
    composeRest(text);
    return path != nullptr && text.isWhole() && toviReplaceFile(path, text.view());
}

} // namespace

void tovWriteDefaultVekinfotag(FILE *file) {
    std::fputs(kTemplate, file);
}

int updateInfoFile(const char *dir, const VekinfoObj *obj) {
    const vek::OwnedText path = toviTagFilePath(dir);
    if (!writeTagFile(path.get(), [obj](vek::ComposedText &text) { composeSettings(text, *obj); })) {
        tovPrintError(TOV_SYSTEM_ERROR, "opening for write", dir, 0);
        return 0;
    }
    return 1;
}

int tovCreateInfoFile(const char *dir, char **lines) {
    const vek::OwnedText path = toviTagFilePath(dir);
    if (vekFileExists(path.get()) != 0) {
        tovPrintError(TOV_FILE_EXISTS, "didn't overwrite file", path.get(), 0);
        return 0;
    }
    if (!writeTagFile(path.get(), [lines](vek::ComposedText &text) { composeLines(text, lines); })) {
        tovPrintError(TOV_SYSTEM_ERROR, "open for write", path.get(), 0);
        return 0;
    }
    return 1;
}
