#ifndef TOVI_HANDLE_LINE_H
#define TOVI_HANDLE_LINE_H

/// Line-by-line parser functions with C linkage, based on the parser in tovi_parse.h. In addition to parsing, they
/// report errors through tovPrintError() and change `tempVekinfoFromHash`, the cached object that tovGetVekinfoAtLoc()
/// used last.

#include "tagfile/tov.h"
#include "tagfile/tovi_parse.h"

extern "C" {

/// Parses the tag file `path` and adds its settings to `obj`, up to the end of the file or the first syntax error.
///
/// @param element  the name of an entry to search for, or null
/// @param found    set to 1 if the first word of a line is `element`; set to 0 after an error in a line; otherwise
///                 unchanged; may be null
/// @return TOV_OK, or the code of a reported error: TOV_SYSTEM_ERROR if the file cannot be opened or read,
///         TOV_SYNTAX_ERROR, or TOV_MEMORY_ERROR
int tovParseVekinfo(const char *path, const char *element, VekinfoObj *obj, int *found);

/// Splits `line`, a line of the tag file `path`, into words and calls toviHandleInputLine() with these words.
/// @return the result of toviHandleInputLine(); TOV_OK if the line has no words, and nothing is then changed
int tovProcessVekinfoCommand(const char *line, const char *element, int *found, VekinfoObj *obj,
                             const char *path);

/// Removes the comment and the white space around the content of `line`, and splits the rest into words. The line is
/// copied to a static buffer of VEK_PATH_SIZE (4096) bytes, so characters after the first 4095 are ignored.
///
/// @param count  receives the number of words, 0 to TOVI_LINE_WORDS (3)
/// @param words  receives pointers to the words in the static buffer, which the next call overwrites
void toviProcessLine(const char *line, int *count, char **words);

/// Adds one line of a tag file to the settings in `obj`. Documented: a keyword is set both in `obj` and in the cached
/// object that was used last (tempVekinfoFromHash). An application entry is added to `obj` only.
///
/// @param path     the tag file, named in reports
/// @param element  the name of an entry to search for, or null
/// @param found    set to 1 if the first word is `element`, otherwise unchanged; may be null
/// @param count    the number of words in the line; at least 1
/// @return TOV_OK, or TOV_SYNTAX_ERROR or TOV_MEMORY_ERROR, which has been reported
int toviHandleInputLine(VekinfoObj *obj, const char *path, const char *element, int *found, int count,
                        char **words);
}

#endif
