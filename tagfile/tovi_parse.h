#ifndef TOVI_PARSE_H
#define TOVI_PARSE_H

/// The tag file's format, as it is read.

#include "tagfile/tov.h"

VEK_BEGIN_DECLS

/// Words a line is split into at most.
enum { TOVI_LINE_WORDS = 3 };

/// Reads the tag file `path` into `obj`, up to its end or its first syntax error.
///
/// @param element  the entry that is looked for, or null
/// @param found    set to 1 when a line names `element`; cleared by a syntax error; else left alone
/// @return TOV_OK; TOV_SYSTEM_ERROR when the file cannot be opened or read, TOV_SYNTAX_ERROR or
///         TOV_MEMORY_ERROR, all of them reported
int tovParseVekinfo(const char *path, const char *element, VekinfoObj *obj, int *found);

/// Handles one line of the file `path`. A line without words is TOV_OK.
int tovProcessVekinfoCommand(const char *line, const char *element, int *found, VekinfoObj *obj,
                             const char *path);

/// Takes the comment and the white space around off a line and splits the rest into words. Of a line of more
/// than 4095 characters, the first 4095 count.
///
/// @param count  receives the number of words, 0 to TOVI_LINE_WORDS
/// @param words  receives the words, in a static buffer that the next call overwrites
void toviProcessLine(const char *line, int *count, char **words);

/// Applies the words of one line to `obj`; a keyword's change is also made on the cached object last delivered.
///
/// @param path     the tag file, for messages
/// @param element  may be null
/// @param found    set to 1 when the line names `element`; may be null when `element` is
/// @return TOV_OK, or the reported TOV_SYNTAX_ERROR or TOV_MEMORY_ERROR
int toviHandleInputLine(VekinfoObj *obj, const char *path, const char *element, int *found, int count,
                        char **words);

/// @return 1 when toviHandleInputLine() would apply these words, 0 when they are a syntax error
int toviIsAllowedLine(int count, char **words);

VEK_END_DECLS

#endif
