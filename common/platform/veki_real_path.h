#ifndef VEKI_REAL_PATH_H
#define VEKI_REAL_PATH_H

/// Reads command tables. A command table is a text file `.command_table.dat`, in which each line maps a command to
/// the path of an executable file. The first field of a line is the command, and the fifth field is the path.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Searches for a command in the command table `tableFile`. The fields of a line are separated by exactly one blank
/// or tab, so a field can be empty.
///
/// @param nameAsInvoked  the command. The part after its last "/" is compared with the first field of each line
/// @return the fifth field of the first line that matches and has five fields, which the caller frees; null if there
///         is no such line or the file cannot be opened
char *vekiGetRealPath(const char *nameAsInvoked, const char *tableFile);

VEK_END_DECLS

#endif
