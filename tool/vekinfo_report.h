#ifndef VEKINFO_REPORT_H
#define VEKINFO_REPORT_H

/// The reports of `-show` and `-lookup`, on standard output.

#include "tagfile/keyword.h"
#include "tagfile/tov.h"

VEK_BEGIN_DECLS

/// Finds the tag file of the nearest directory at or above `start`. Unlike a lookup, this neither follows links
/// nor stops at mount points, and never looks at the root directory's own file.
///
/// @param tagPath  receives its path, in VEK_PATH_SIZE bytes
/// @return TOV_OK; TOV_NO_SUCH_FILE; or TOV_INVALID_PATH after reporting it
int tovFindInfoFile(const char *start, char *tagPath);

/// @return what the tag file `tagPath` says, in a static object that the next call overwrites; null when it
///         cannot be read
VekinfoObj *tovGetVekinfo(const char *tagPath);

/// Prints what `obj` says, application entries excepted.
///
/// @param filter  null for everything, or the one item to print: "path", "VEKLIBRARY", "VEKLIBCHECK",
///                "DMTYPE" or "NAMESPACE", in any case
/// @return always 0
int tovPrintVekinfo(const char *filter, const VekinfoObj *obj);

/// Prints one entry, with the path of its tag file unless `pathShown` says that it has been printed.
void printVfmt(const char *tagPath, const char *name, const char *value, int pathShown);

/// Runs `-show`, from the `-path` operand or the working directory.
/// @return the result of tovFindInfoFile()
int tovVekinfoShow(void);

/// Runs `-lookup` for the null-terminated `names`, from the `-path` operand or the working directory.
/// @return always 0
int tovVekinfoLookup(char **names);

VEK_END_DECLS

/// tovPrintVekinfo() with a given table of keywords.
void vekinfoPrint(const tov::Keywords &keywords, const char *filter, const VekinfoObj &obj);

#endif
