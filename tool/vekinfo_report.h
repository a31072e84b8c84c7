#ifndef VEKINFO_REPORT_H
#define VEKINFO_REPORT_H

/// The reports of `-show` and `-lookup`, on standard output.

#include "tagfile/keyword.h"
#include "tagfile/tov.h"

VEK_BEGIN_DECLS

/// Finds the tag file of the nearest directory at or above `start`. Documented: unlike a lookup, it does not follow
/// links, does not stop at mount points, and does not use a tag file in the root directory.
///
/// @param tagPath  receives its path; VEK_PATH_SIZE bytes
/// @return TOV_OK; TOV_NO_SUCH_FILE; or TOV_INVALID_PATH after reporting it
int tovFindInfoFile(const char *start, char *tagPath);

/// @return the content of the tag file `tagPath`, in a static object that the next call overwrites; null if it
///         cannot be read
VekinfoObj *tovGetVekinfo(const char *tagPath);

/// Prints the keywords of `obj`, not its application entries.
///
/// @param filter  null for all items, or the one item to print: "path", "VEKLIBRARY", "VEKLIBCHECK",
///                "DMTYPE" or "NAMESPACE", in any case
/// @return always 0
int tovPrintVekinfo(const char *filter, const VekinfoObj *obj);

/// Prints one entry, with the path of its tag file unless `pathShown` is 1.
void printVfmt(const char *tagPath, const char *name, const char *value, int pathShown);

/// Runs `-show`, from the `-path` operand or the working directory.
/// @return the result of tovFindInfoFile()
int tovVekinfoShow(void);

/// Runs `-lookup` for the null-terminated `names`, from the `-path` operand or the working directory.
/// @return always 0
int tovVekinfoLookup(char **names);

VEK_END_DECLS

namespace vekinfo {

/// tovPrintVekinfo() with a given table of keywords.
void print(const tov::Keywords &keywords, const char *filter, const VekinfoObj &obj);

} // namespace vekinfo

#endif
