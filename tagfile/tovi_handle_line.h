#ifndef TOVI_HANDLE_LINE_H
#define TOVI_HANDLE_LINE_H

/// The parser functions with documented signatures. They add two effects to those of tovi_parse.h: they report errors
/// through tovPrintError(), and they also change the cached object that tovGetVekinfoAtLoc() returned last.

#include "tagfile/tov.h"
#include "tagfile/tovi_parse.h"

extern "C" {

/// Reads the tag file `path` into `obj`, up to its end or its first syntax error.
///
/// @param element  the entry to search, or null
/// @param found    set to 1 if the first word of a line is `element`; set to 0 after an error in a line; otherwise
///                 unchanged
/// @return TOV_OK; TOV_SYSTEM_ERROR if the file cannot be opened or read, TOV_SYNTAX_ERROR or TOV_MEMORY_ERROR, all of
///         them reported
int tovParseVekinfo(const char *path, const char *element, VekinfoObj *obj, int *found);

/// Splits one line of the tag file `path` and applies its words to `obj`, like toviHandleInputLine(). Does nothing for
/// a line without words, and returns TOV_OK.
int tovProcessVekinfoCommand(const char *line, const char *element, int *found, VekinfoObj *obj,
                             const char *path);

/// Removes the comment and the surrounding white space of a line and splits the rest into words. Characters after the
/// first 4095 are ignored: the static buffer has VEK_PATH_SIZE bytes.
///
/// @param count  receives the number of words, 0 to TOVI_LINE_WORDS
/// @param words  receives the words, in a static buffer that the next call overwrites
void toviProcessLine(const char *line, int *count, char **words);

/// Applies the words of one line to `obj`. Documented: a keyword is also set on the cached object returned last
/// (tempVekinfoFromHash); an application entry is added to `obj` only.
///
/// @param path     the tag file, named in reports
/// @param element  the entry to search, or null
/// @param found    set to 1 if the first word is `element`, otherwise unchanged; may be null
/// @param count    the number of words; at least 1
/// @return TOV_OK, or the reported TOV_SYNTAX_ERROR or TOV_MEMORY_ERROR
int toviHandleInputLine(VekinfoObj *obj, const char *path, const char *element, int *found, int count,
                        char **words);
}

#endif
