#ifndef TOVI_HANDLE_LINE_H
#define TOVI_HANDLE_LINE_H

/// The documented functions of the parser. They report errors, and change the cached object returned last, too.

#include "tagfile/tov.h"
#include "tagfile/tovi_parse.h"

extern "C" {

/// Reads the tag file `path` into `obj`, up to its end or its first syntax error.
///
/// @param element  the entry to search, or null
/// @param found    set to 1 if a line names `element`; cleared by an error; otherwise left alone
/// @return TOV_OK; TOV_SYSTEM_ERROR if the file cannot be opened or read, TOV_SYNTAX_ERROR or TOV_MEMORY_ERROR, all of
///         them reported
int tovParseVekinfo(const char *path, const char *element, VekinfoObj *obj, int *found);

/// Handles one line of the file `path`. A line without words is TOV_OK.
int tovProcessVekinfoCommand(const char *line, const char *element, int *found, VekinfoObj *obj,
                             const char *path);

/// Reduces a line and splits it. Only the first 4095 characters count.
///
/// @param count  receives the number of words, 0 to TOVI_LINE_WORDS
/// @param words  receives the words, in a static buffer that the next call overwrites
void toviProcessLine(const char *line, int *count, char **words);

/// Applies the words of one line to `obj`. Documented: a keyword is also set on the cached object returned last
/// (tempVekinfoFromHash); an application entry is added to `obj` only.
///
/// @param path     the tag file, for messages
/// @param element  may be null
/// @param found    set to 1 if the line names `element`; may be null if `element` is
/// @return TOV_OK, or the reported TOV_SYNTAX_ERROR or TOV_MEMORY_ERROR
int toviHandleInputLine(VekinfoObj *obj, const char *path, const char *element, int *found, int count,
                        char **words);
}

#endif
