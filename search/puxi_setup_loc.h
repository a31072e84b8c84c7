#ifndef PUXI_SETUP_LOC_H
#define PUXI_SETUP_LOC_H

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Reads the search list of the `setup.loc` file `path`.
///
/// @param list  receives a new list, empty if no line names a usable directory; null after a failure
/// @return PUX_OK, PUX_FILE_NOT_FOUND if the file cannot be opened, or PUX_MEMORY_ERROR
int pux_parse_setup_loc(const char *path, char ***list);

VEK_END_DECLS

#endif
