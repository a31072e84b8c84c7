#ifndef PUXI_SETUP_LOC_H
#define PUXI_SETUP_LOC_H

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Builds a search list of the directories in the `setup.loc` file `path`. Directories that cannot be read are
/// skipped.
///
/// @param list  receives a new list, empty if no line names a usable directory; null after a failure
/// @return PUX_OK; PUX_FILE_NOT_FOUND if the file cannot be opened; PUX_INVALID_PARAMETER for a null argument; or
///         PUX_MEMORY_ERROR
int pux_parse_setup_loc(const char *path, char ***list);

VEK_END_DECLS

#endif
