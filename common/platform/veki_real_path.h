#ifndef VEKI_REAL_PATH_H
#define VEKI_REAL_PATH_H

/// Command tables: files `.command_table.dat` that map a command to the path of its executable.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Looks up a command in a command table. A line has fields; each blank or tab separates two of them.
///
/// @param nameAsInvoked  the part after its last "/" is compared with the first field of each line
/// @return the fifth field of the first matching line that has five, which the caller frees; null if there is none or
///         the file cannot be opened
char *vekiGetRealPath(const char *nameAsInvoked, const char *tableFile);

VEK_END_DECLS

#endif
