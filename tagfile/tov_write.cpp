#include "tagfile/tovi_write.h"

#include "common/owned.h"
#include "common/vek_file.h"
#include "tagfile/tovi_path.h"
#include "tagfile/tovi_replace.h"

#include <cstdio>
#include <cstdlib>
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

/// A text that is written as if it were a file, so that it is whole before any file is touched.
class ComposedText {
  public:
    ComposedText() : stream_(open_memstream(&text_, &size_)) {}
    ComposedText(const ComposedText &) = delete;
    ComposedText &operator=(const ComposedText &) = delete;
    ~ComposedText() {
        stream_.reset();
        std::free(text_);
    }

    /// Null when memory is exhausted.
    [[nodiscard]] FILE *stream() const { return stream_.get(); }

    /// Ends the composing. @return false when memory was exhausted on the way
    [[nodiscard]] bool finish() {
        const bool whole = stream_ && std::ferror(stream_.get()) == 0;
        return stream_ && std::fclose(stream_.release()) == 0 && whole;
    }

    [[nodiscard]] std::string_view view() const { return {text_, size_}; }

  private:
    char *text_ = nullptr;
    std::size_t size_ = 0;
    vek::OwnedStream stream_;
};

void writeSettings(FILE *file, const VekinfoObj &obj) {
    if (obj.library == 1) {
        std::fputs("VEKLIBRARY\n", file);
    }
    // Only ON is written: an OFF setting vanishes with the first edit, as users know it.
    if (obj.libcheck == 1) {
        std::fputs("VEKLIBCHECK ON\n", file);
    }
    if (obj.dmtype != nullptr && *obj.dmtype != '\0') {
        std::fprintf(file, "DMTYPE %s\n", obj.dmtype);
    }
    if (obj.nameSpace == TOV_NAMESPACE_NT) {
        std::fputs("NAMESPACE LibraryNT\n", file);
    } else if (obj.nameSpace == TOV_NAMESPACE_UNIX) {
        std::fputs("NAMESPACE LibraryUnix\n", file);
    }
    for (int i = 0; obj.names != nullptr && obj.names[i] != nullptr; ++i) {
        std::fprintf(file, "%s %s\n", obj.names[i], obj.values[i]);
    }
}

void writeLines(FILE *file, char **lines) {
    for (char **line = lines; line != nullptr && *line != nullptr; ++line) {
        std::fprintf(file, "%s\n", *line);
    }
}

/// Composes the template and what `writeRest` adds, and makes it the content of `path`.
template <typename WriteRest>
bool writeTagFile(const char *path, WriteRest writeRest) {
    ComposedText text;
    if (path == nullptr || text.stream() == nullptr) {
        return false;
    }
    tovWriteDefaultVekinfotag(text.stream());
    writeRest(text.stream());
    return text.finish() && toviReplaceFile(path, text.view());
}

} // namespace

void tovWriteDefaultVekinfotag(FILE *file) {
    std::fputs(kTemplate, file);
}

int updateInfoFile(const char *dir, const VekinfoObj *obj) {
    const vek::OwnedText path = toviTagFilePath(dir);
    if (!writeTagFile(path.get(), [obj](FILE *file) { writeSettings(file, *obj); })) {
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
    if (!writeTagFile(path.get(), [lines](FILE *file) { writeLines(file, lines); })) {
        tovPrintError(TOV_SYSTEM_ERROR, "open for write", path.get(), 0);
        return 0;
    }
    return 1;
}
