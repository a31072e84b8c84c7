#ifndef VEKINFO_REPORT_H
#define VEKINFO_REPORT_H

/// The actions `-show` and `-lookup` of `vekinfo`: find entries of tag files and print them on standard output.

#include "tagfile/keyword.h"
#include "tagfile/tov.h"

VEK_BEGIN_DECLS

/// Finds the nearest tag file: that of the directory `start` or, if it has none, that of the nearest directory above
/// it. Documented: unlike tovLookupEntry(), this search does not follow symbolic links, does not end at mount points,
/// and does not use a tag file in the root directory.
///
/// @param tagPath  receives the path of the tag file; must have VEK_PATH_SIZE bytes
/// @return TOV_OK; TOV_NO_SUCH_FILE if there is no tag file; or TOV_INVALID_PATH, which is also reported, if `start`
///         cannot be made an absolute path
int tovFindInfoFile(const char *start, char *tagPath);

/// Returns the settings of the tag file `tagPath`, in a static object that the next call overwrites; null if the file
/// cannot be read.
VekinfoObj *tovGetVekinfo(const char *tagPath);

/// Prints the path of the tag file and the keywords that `obj` contains, but not the application entries.
///
/// @param filter  null to print all these items, or the name of the one item to print: "path", "VEKLIBRARY",
///                "VEKLIBCHECK", "DMTYPE" or "NAMESPACE", in upper or lower case
/// @return always 0
int tovPrintVekinfo(const char *filter, const VekinfoObj *obj);

/// Prints that a tag file contains the entry `name` with the value `value`.
/// @param tagPath    the path of the tag file
/// @param pathShown  1 if `tagPath` has already been printed; 0 to print it with the entry
void printVfmt(const char *tagPath, const char *name, const char *value, int pathShown);

/// Performs the action `-show`: prints the keywords of the nearest tag file. The search begins in the directory that
/// follows `-path` on the command line, or in the working directory without `-path`, and continues in the directories
/// above it.
/// @return TOV_OK if the file was printed, otherwise the result of tovFindInfoFile()
int tovVekinfoShow(void);

/// Performs the action `-lookup`: looks up each entry whose name is in the null-terminated array `names`, and prints
/// the value. The search begins in the directory that follows `-path` on the command line, or in the working directory
/// without `-path`.
/// @return always 0
int tovVekinfoLookup(char **names);

VEK_END_DECLS

namespace vekinfo {

/// Prints the path and the keywords of `obj` like tovPrintVekinfo(), but takes the table of keywords as an argument.
void print(const tov::Keywords &keywords, const char *filter, const VekinfoObj &obj);

} // namespace vekinfo

#endif
