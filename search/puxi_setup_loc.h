#ifndef PUXI_SETUP_LOC_H
#define PUXI_SETUP_LOC_H

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Reads the file `path`, a `setup.loc` file, and builds a search list of the directories in it. Skips directories
/// that cannot be read.
///
/// @param list  receives a new list, empty if no line contains a usable directory; null after a failure
/// @return PUX_OK; PUX_FILE_NOT_FOUND if the file cannot be opened; PUX_INVALID_PARAMETER for a null argument; or
///         PUX_MEMORY_ERROR
int pux_parse_setup_loc(const char *path, char ***list);

VEK_END_DECLS

#endif
