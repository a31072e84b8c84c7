#ifndef VEKINFO_REPORT_H
#define VEKINFO_REPORT_H

/// The actions `-show` and `-lookup`: find entries of tag files and print them on standard output.

#include "tagfile/keyword.h"
#include "tagfile/tov.h"

VEK_BEGIN_DECLS

/// Finds the tag file of the nearest directory at or above `start`. Documented: unlike a lookup, it does not follow
/// links, does not stop at mount points, and does not use a tag file in the root directory.
///
/// @param tagPath  receives the path of the tag file; must have VEK_PATH_SIZE bytes
/// @return TOV_OK; TOV_NO_SUCH_FILE; or TOV_INVALID_PATH, which is also reported, if `start` cannot be made a full
///         path
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

/// Prints the entry `name` with its `value`.
/// @param tagPath    the path of the tag file that defines the entry
/// @param pathShown  1 if `tagPath` has already been printed; 0 to print it with the entry
void printVfmt(const char *tagPath, const char *name, const char *value, int pathShown);

/// Runs `-show`: prints the keywords of the nearest tag file at or above the operand of `-path`, or at or above the
/// working directory if `-path` was not given.
/// @return TOV_OK if the file was printed, otherwise the result of tovFindInfoFile()
int tovVekinfoShow(void);

/// Runs `-lookup`: looks up each entry of the null-terminated array `names` and prints its value. The searches start
/// from the operand of `-path`, or from the working directory if `-path` was not given.
/// @return always 0
int tovVekinfoLookup(char **names);

VEK_END_DECLS

namespace vekinfo {

/// Prints the keywords of `obj` like tovPrintVekinfo(), for the keyword table `keywords`.
void print(const tov::Keywords &keywords, const char *filter, const VekinfoObj &obj);

} // namespace vekinfo

#endif
