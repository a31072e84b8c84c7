#ifndef VEKI_REAL_PATH_H
#define VEKI_REAL_PATH_H

/// Reads command tables. A command table is a file `.command_table.dat` that maps commands to paths of executables.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Looks up a command in the command table `tableFile`. One blank or tab separates two fields of a line, so a field can
/// be empty.
///
/// @param nameAsInvoked  the command. The part after its last "/" is compared with the first field of each line
/// @return the fifth field of the first line that matches and has five fields, which the caller frees; null if there is
///         no such line or the file cannot be opened
char *vekiGetRealPath(const char *nameAsInvoked, const char *tableFile);

VEK_END_DECLS

#endif
